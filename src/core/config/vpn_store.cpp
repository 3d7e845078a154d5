// Reading and writing the "vpn" package.
#include "core/config/vpn_store.h"

#include "core/uci_ref.h"

#include <stdarg.h>
#include <stdio.h>
#include <strings.h>

bool vpn_protocol_is(const char* protocol, const char* name) { return protocol && strcasecmp(protocol, name) == 0; }

int vpn_read(uci_context* ctx, const char* path_format, int id, std::string* value) {
    char path[64];
    snprintf(path, sizeof path, path_format, id);
    return uci_ctx_get_text(ctx, path, value);
}

int vpn_write(uci_context* ctx, const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return vespin_uci_ctx_cmd(ctx, 0, text) == 0 ? 0 : VESPIN_ERR_FAILURE;
}

int vpn_commit(uci_context* ctx) { return vespin_uci_ctx_commit(ctx, "vpn") == 0 ? 0 : VESPIN_ERR_FAILURE; }
