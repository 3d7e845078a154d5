// The per-device URL filter: its UCI package and the rules sent to the module.
#include "internal_url_filter.h"

#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "device_text.h"
#include "knet_message.h"
#include "platform/platform.h"
#include "result_codes.h"

#include <ctype.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>
#include <vector>

namespace {

const int kUciSet = 4;
const int kUciAddList = 6;
const int kUciDelList = 7;
const int kUciDelete = 2;

// Formats one UCI command text and applies it in the context.
int uci_command(uci_context* ctx, int kind, const char* format, ...) __attribute__((format(printf, 3, 4)));
int uci_command(uci_context* ctx, int kind, const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return vespin_uci_ctx_cmd(ctx, (unsigned)kind, text);
}

std::string device_path(const char* mac, const char* option) {
    std::string path = std::string("urlfilters.") + mac;
    return option ? path + "." + option : path;
}

bool device_enabled(uci_context* ctx, const char* mac) {
    std::string value;
    return uci_ctx_get_text(ctx, device_path(mac, "enabled").c_str(), &value) == 0 &&
           vespin_uci_value_is_true(value.c_str());
}

std::vector<std::string> device_hosts(uci_context* ctx, const char* path) {
    std::vector<std::string> hosts;
    uci_ctx_get_list(ctx, path, &hosts);
    return hosts;
}

// The host checks shared by add and delete; the lower-cased host in *out.
int checked_host(const char* host, char out[URL_FILTER_HOST_SIZE]) {
    if (!host || !*host || strlen(host) >= URL_FILTER_HOST_SIZE) return VESPIN_ERR_MISSING_PARAM;
    copy_text(out, URL_FILTER_HOST_SIZE, host);
    for (char* p = out; *p; p++) *p = (char)tolower((unsigned char)*p);
    if (!is_host_text(out)) {
        VLOG_INFO("Invalid host");
        return VESPIN_ERR_INVALID_PARAM;
    }
    return 0;
}

int checked_mac(const char* mac) {
    if (is_device_mac_text(mac)) return 0;
    VLOG_INFO("Invalid MAC address");
    return VESPIN_ERR_FAILURE;
}

// Sends one rule per host; 600001 when the module refused any of them.
int send_hosts(int operation, const char* mac, const std::vector<std::string>& hosts) {
    int result = 0;
    for (const std::string& host : hosts)
        if (take_effect_URL_filter_rule(operation, mac, host.c_str()) != 0) result = VESPIN_ERR_FAILURE;
    return result;
}

int fill_device(uci_context* ctx, int index, const std::string& mac, url_filter_device* device) {
    copy_text(device->mac, sizeof device->mac, mac.c_str());
    char path[64];
    snprintf(path, sizeof path, "urlfilters.@sta[%d].enabled", index);
    std::string enabled;
    device->enabled = uci_ctx_get_text(ctx, path, &enabled) == 0 && vespin_uci_value_is_true(enabled.c_str());
    snprintf(path, sizeof path, "urlfilters.@sta[%d].host", index);
    for (const std::string& host : device_hosts(ctx, path)) {
        if (device->host_count == URL_FILTER_MAX_HOSTS) break;
        copy_text(device->hosts[device->host_count++], URL_FILTER_HOST_SIZE, host.c_str());
    }
    return 0;
}

}  // namespace

extern "C" {

int take_effect_URL_filter_rule(int operation, const char* mac, const char* host) {
    if (operation < 2 || operation > 5) {
        vespin_print("Optype error!\n");
        return 0;
    }
    unsigned char mac_bytes[6];
    if (!mac_text_to_bytes(mac, mac_bytes) || !host || !*host) {
        VLOG_INFO("Invalid MAC address");
        return VESPIN_ERR_FAILURE;
    }
    unsigned char message[KNET_MESSAGE_SIZE];
    knet_message_build(operation, mac_bytes, host, message);
    unsigned char reply[KNET_MESSAGE_SIZE + 1] = {0};
    size_t received = 0;
    switch (plat_knet_exchange(message, sizeof message, reply, KNET_MESSAGE_SIZE, &received)) {
        case PLAT_KNET_SOCKET: vespin_perror("Create socket error"); return VESPIN_ERR_FAILURE;
        case PLAT_KNET_BIND: vespin_perror("Bind error"); return VESPIN_ERR_FAILURE;
        case PLAT_KNET_SEND: vespin_perror("Sendto error"); return VESPIN_ERR_FAILURE;
        case PLAT_KNET_RECV: vespin_perror("Recv form kernel error"); return VESPIN_ERR_FAILURE;
        case PLAT_KNET_OK: break;
    }
    int ret = -1;
    std::string text;
    bool answered = knet_reply_result(reply, received, &ret, &text);
    vespin_print("From kernel:%s\n", text.c_str());
    // Open flows must meet the new rule: flush the fast-NAT cache.
    if (operation == 2 || operation == 4) plat_system("echo 2 > /proc/fast_nat");
    return answered && ret >= 0 ? 0 : VESPIN_ERR_FAILURE;
}

int URL_filter_add(uci_context* ctx, const void* unused, const char* host, const char* mac) {
    (void)unused;
    char lower[URL_FILTER_HOST_SIZE];
    int rv = checked_host(host, lower);
    if (rv == VESPIN_ERR_MISSING_PARAM) return rv;
    if (int bad_mac = checked_mac(mac)) return bad_mac;
    if (rv != 0) return rv;
    std::string section_type;
    rv = uci_ctx_get_text(ctx, device_path(mac, nullptr).c_str(), &section_type);
    if (rv == VESPIN_ERR_NOT_FOUND) {
        if ((rv = uci_command(ctx, kUciSet, "urlfilters.%s=sta", mac)) != 0 ||
            (rv = uci_command(ctx, kUciSet, "urlfilters.%s.mac=%s", mac, mac)) != 0 ||
            (rv = uci_command(ctx, kUciSet, "urlfilters.%s.enabled=false", mac)) != 0)
            return rv;
    } else if (rv != 0) {
        return rv;
    } else {
        std::vector<std::string> hosts = device_hosts(ctx, device_path(mac, "host").c_str());
        for (const std::string& stored : hosts)
            if (strcasecmp(stored.c_str(), lower) == 0) return VESPIN_ERR_EXISTS;
        if (hosts.size() >= URL_FILTER_MAX_HOSTS) return VESPIN_ERR_TABLE_FULL;
    }
    rv = uci_command(ctx, kUciAddList, "urlfilters.%s.host=%s", mac, lower);
    if (rv != 0 || !device_enabled(ctx, mac)) return rv;
    return take_effect_URL_filter_rule(URL_FILTER_OP_ADD, mac, lower);
}

int URL_filter_delete(uci_context* ctx, const char* mac, const char* host) {
    if (int bad_mac = checked_mac(mac)) return bad_mac;
    char lower[URL_FILTER_HOST_SIZE];
    if (int bad_host = checked_host(host, lower)) return bad_host;
    int rv = uci_command(ctx, kUciDelList, "urlfilters.%s.host=%s", mac, lower);
    if (rv != 0) return rv;
    bool enabled = device_enabled(ctx, mac);
    int sent = take_effect_URL_filter_rule(URL_FILTER_OP_DELETE, mac, lower);
    return enabled ? sent : 0;
}

int URL_filter_enable_get(int32_t* state_out, const char* mac) {
    if (!state_out || checked_mac(mac) != 0) return VESPIN_ERR_FAILURE;
    uci_ref owner;
    *state_out = owner.ok() && device_enabled(owner.get(), mac) ? URL_FILTER_ENABLED : URL_FILTER_DISABLED;
    return 0;
}

int URL_filter_enable_set(uci_context* ctx, int32_t state, const char* mac) {
    if (int bad_mac = checked_mac(mac)) return bad_mac;
    std::string stored;
    int rv = uci_ctx_get_text(ctx, device_path(mac, "enabled").c_str(), &stored);
    if (rv != 0) {
        if ((rv = uci_command(ctx, kUciSet, "urlfilters.%s=sta", mac)) != 0 ||
            (rv = uci_command(ctx, kUciSet, "urlfilters.%s.mac=%s", mac, mac)) != 0)
            return rv;
    }
    bool enable = state != URL_FILTER_DISABLED;
    bool enabled = vespin_uci_value_is_true(stored.c_str());
    if (enable == enabled) return 0;
    rv = uci_command(ctx, kUciSet, "urlfilters.%s.enabled=%s", mac, enable ? "true" : "false");
    if (rv != 0) return rv;
    std::vector<std::string> hosts = device_hosts(ctx, device_path(mac, "host").c_str());
    return send_hosts(enable ? URL_FILTER_OP_ADD : URL_FILTER_OP_DELETE, mac, hosts);
}

int URL_filter_restart(void) {
    plat_system("rmmod vespin_knet && insmod /lib/vespin_knet.ko");
    uci_ref owner;
    if (!owner.ok()) return VESPIN_ERR_FAILURE;
    bool deleted = false;
    int rv = 0;
    char path[64];
    for (int index = 0;;) {
        std::string mac;
        snprintf(path, sizeof path, "urlfilters.@sta[%d].mac", index);
        if ((rv = uci_ctx_get_text(owner.get(), path, &mac)) != 0) break;
        snprintf(path, sizeof path, "urlfilters.@sta[%d].enabled", index);
        std::string enabled;
        uci_ctx_get_text(owner.get(), path, &enabled);
        snprintf(path, sizeof path, "urlfilters.@sta[%d].host", index);
        std::vector<std::string> hosts = device_hosts(owner.get(), path);
        if (vespin_uci_value_is_true(enabled.c_str())) {
            if (is_device_mac_text(mac.c_str())) send_hosts(URL_FILTER_OP_ADD, mac.c_str(), hosts);
        } else if (hosts.empty()) {
            snprintf(path, sizeof path, "urlfilters.@sta[%d]", index);
            if (vespin_uci_ctx_cmd(owner.get(), kUciDelete, path) == 0) {
                deleted = true;
                continue;  // the next section now has this index
            }
        }
        index++;
    }
    if (deleted) URL_filter_config_commit(owner.get());
    // Deliberate: the walk's last lookup result is the answer (600104 after a full walk).
    return rv;
}

int URL_filter_list(url_filter_device** list, int32_t* count) {
    if (!list || !count) return VESPIN_ERR_FAILURE;
    *list = nullptr;
    *count = 0;
    uci_ref owner;
    if (!owner.ok()) return VESPIN_ERR_FAILURE;
    std::string mode;
    if (uci_ctx_get_text(owner.get(), "urlfilters.@global[0].mode", &mode) != 0 || mode != "blacklist") return 0;
    std::vector<std::string> macs;
    char path[64];
    for (int index = 0;; index++) {
        std::string mac;
        snprintf(path, sizeof path, "urlfilters.@sta[%d].mac", index);
        if (uci_ctx_get_text(owner.get(), path, &mac) != 0) break;
        macs.push_back(mac);
    }
    if (macs.empty()) return 0;
    auto* devices = (url_filter_device*)plat_calloc(macs.size(), sizeof(url_filter_device));
    if (!devices) return VESPIN_ERR_NO_MEMORY;
    for (size_t i = 0; i < macs.size(); i++) fill_device(owner.get(), (int)i, macs[i], &devices[i]);
    *list = devices;
    *count = (int32_t)macs.size();
    return 0;
}

}  // extern "C"
