// IPv4 address settings as dotted-quad texts, inside the library.
#pragma once

#include <stdint.h>

// Reads an address setting into out (16 bytes) as a dotted quad: false when
// the store fails.
bool mib_get_ipv4_text(int id, char* out);
// Reads an address setting (network order): false when the store fails.
bool mib_get_ipv4(int id, uint32_t* address);
// Stores an address (network order): false when the store fails.
bool mib_set_ipv4(int id, uint32_t address);
