#include "device_options.h"

#include "core/internal/device_text.h"
#include "core/uci_ref.h"

#include <stdio.h>

bool device_option(uci_context* ctx, const char* mac_text, const char* option, std::string* value) {
    if (!is_uci_name_text(mac_text)) return false;
    char path[128];
    int length = snprintf(path, sizeof path, "devices.%s.%s", mac_text, option);
    if (length < 0 || (size_t)length >= sizeof path) return false;
    return uci_ctx_get_text(ctx, path, value) == 0;
}
