// Per-device speed limits in UCI, applied through the QoS program.
#include "internal_speed_limit.h"

#include "core/uci_ref.h"
#include "device_text.h"
#include "platform/platform.h"
#include "result_codes.h"

#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace {

const unsigned kUciDelete = 2;
const unsigned kUciSet = 4;
const char kPackage[] = "speedlimits";

std::string section(const char* mac) { return std::string(kPackage) + "." + mac; }

void apply(const char* mac, bool enabled, int32_t up, int32_t down) {
    char command[96];
    if (enabled) snprintf(command, sizeof command, "vespin_qos add %s %d %d", mac, (int)up, (int)down);
    else snprintf(command, sizeof command, "vespin_qos del %s", mac);
    plat_system(command);
}

int read_number(uci_context* ctx, const std::string& path, int32_t* out) {
    std::string text;
    int rv = uci_ctx_get_text(ctx, path.c_str(), &text);
    if (rv == 0) *out = (int32_t)strtol(text.c_str(), nullptr, 10);
    return rv;
}

}  // namespace

extern "C" {

int mesh_device_speed_limit_set(const char* mac, int32_t up, int32_t down, uint32_t enabled) {
    if (!is_device_mac_text(mac)) return VESPIN_ERR_FAILURE;
    if (up < 0 || down < 0) return VESPIN_ERR_INVALID_PARAM;
    uci_ref ref;
    if (!ref.ok()) return VESPIN_ERR_FAILURE;
    std::string s = section(mac);
    const std::string writes[] = {s + "=sta", s + ".mac=" + mac, s + ".up=" + std::to_string(up), s + ".down=" + std::to_string(down),
                                  s + ".enabled=" + (enabled ? "true" : "false")};
    for (const std::string& w : writes)
        if (vespin_uci_ctx_cmd(ref.get(), kUciSet, w.c_str()) != 0) return VESPIN_ERR_FAILURE;
    if (vespin_uci_ctx_commit(ref.get(), kPackage) != 0) return VESPIN_ERR_FAILURE;
    apply(mac, enabled != 0, up, down);
    return 0;
}

int mesh_device_speed_limit_get(const char* mac, int32_t* up, int32_t* down, uint32_t* enabled) {
    if (!is_device_mac_text(mac) || !up || !down || !enabled) return VESPIN_ERR_FAILURE;
    uci_ref ref;
    if (!ref.ok()) return VESPIN_ERR_FAILURE;
    std::string s = section(mac), on;
    if (int rv = uci_ctx_get_text(ref.get(), s.c_str(), &on)) return rv;
    *up = *down = 0;
    read_number(ref.get(), s + ".up", up);
    read_number(ref.get(), s + ".down", down);
    on.clear();
    uci_ctx_get_text(ref.get(), (s + ".enabled").c_str(), &on);
    *enabled = vespin_uci_value_is_true(on.c_str()) ? 1 : 0;
    return 0;
}

int mesh_device_speed_limit_delete(const char* mac) {
    if (!is_device_mac_text(mac)) return VESPIN_ERR_FAILURE;
    uci_ref ref;
    if (!ref.ok()) return VESPIN_ERR_FAILURE;
    std::string s = section(mac), type;
    if (uci_ctx_get_text(ref.get(), s.c_str(), &type) == VESPIN_ERR_NOT_FOUND) return 0;
    if (vespin_uci_ctx_cmd(ref.get(), kUciDelete, s.c_str()) != 0 || vespin_uci_ctx_commit(ref.get(), kPackage) != 0)
        return VESPIN_ERR_FAILURE;
    apply(mac, false, 0, 0);
    return 0;
}

int device_speed_limit_restart(void) {
    uci_ref ref;
    if (!ref.ok()) return VESPIN_ERR_FAILURE;
    plat_system("vespin_qos flush");
    char path[64];
    for (int index = 0;; index++) {
        snprintf(path, sizeof path, "%s.@sta[%d]", kPackage, index);
        std::string type;
        if (uci_ctx_get_text(ref.get(), path, &type) != 0) break;
        std::string name, on;
        int32_t up = 0, down = 0;
        read_number(ref.get(), std::string(path) + ".up", &up);
        read_number(ref.get(), std::string(path) + ".down", &down);
        uci_ctx_get_text(ref.get(), (std::string(path) + ".enabled").c_str(), &on);
        uci_ctx_get_text(ref.get(), (std::string(path) + ".mac").c_str(), &name);
        if (vespin_uci_value_is_true(on.c_str()) && is_device_mac_text(name.c_str())) apply(name.c_str(), true, up, down);
    }
    return 0;
}

}  // extern "C"
