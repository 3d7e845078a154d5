// Checks of the device texts that the feature handlers put into UCI paths,
// settings and commands.
#pragma once

#include "core/device_mac.h"

#include <stddef.h>
#include <stdint.h>

// The 6 bytes of a 12-digit MAC text; false when it is not one.
bool mac_text_to_bytes(const char* text, unsigned char mac[6]);
// Non-empty and only letters, digits and '_': a UCI section name that cannot
// change the path it is put into ('.', '=', '[', whitespace, quotes).
bool is_uci_name_text(const char* text);
// Non-empty and only letters, digits, '.', '-' and '_': a host name.
bool is_host_text(const char* text);
// A dotted IPv4 address in a fixed field of `capacity` bytes (it need not be
// NUL-terminated) into *address (network order); false, with 0 stored, when
// it does not parse.
bool ipv4_from_field(const char* field, size_t capacity, uint32_t* address);
