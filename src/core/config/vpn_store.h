// The "vpn" package as the VPN sources read and write it.
#pragma once

#include <string>

#include "uciconfig.h"

// True when a stored or requested protocol is `name` ("pptp", "l2tp",
// "openvpn"), compared without regard to case.
bool vpn_protocol_is(const char* protocol, const char* name);

// Reads the value at a path made from a format with one slot number
// ("vpn.%d.name") or none: the codes of vespin_uci_ctx_get.
int vpn_read(uci_context* ctx, const char* path_format, int id, std::string* value);

// One change, "vpn.%d.name=%s" and the like, kept in the context until
// commit: 0 or 600001.
int vpn_write(uci_context* ctx, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Commits the package: 0, or 600001.
int vpn_commit(uci_context* ctx);
