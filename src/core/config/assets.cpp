// Device metadata in the UCI package "assets", and the device list's names.
#include "config_assets.h"

#include "core/device_mac.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "platform/platform.h"
#include "uciconfig.h"

#include <json-c/json.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

namespace {

const char kPackage[] = "assets";
const char kPackageFile[] = "/vespin/config/assets";
const size_t kNameSize = sizeof(device_meta::name);

bool factory_ready(const assets_factory* factory) {
    return factory && !vespin_is_error(factory) && factory->ctx && !vespin_is_error(factory->ctx);
}

// The record's MAC, which a C caller may have left without a terminator.
std::string mac_of(const device_meta* meta) { return std::string(meta->mac, strnlen(meta->mac, sizeof meta->mac)); }
std::string name_of(const device_meta* meta) { return std::string(meta->name, strnlen(meta->name, kNameSize)); }

}  // namespace

extern "C" {

json_object* device_meta_to_json(const device_meta* meta) {
    if (!meta) return nullptr;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "mac", json_object_new_string(mac_of(meta).c_str()));
    json_object_object_add(object, "name", json_object_new_string(name_of(meta).c_str()));
    return object;
}

int device_meta_load_from_json_object(device_meta* meta, json_object* object) {
    json_object* mac = nullptr;
    json_object* name = nullptr;
    if (!meta || !json_object_object_get_ex(object, "mac", &mac) || !json_object_is_type(mac, json_type_string) ||
        !json_object_object_get_ex(object, "name", &name) || !json_object_is_type(name, json_type_string))
        return VESPIN_ERR_INVALID_JSON;
    if ((size_t)json_object_get_string_len(name) >= kNameSize) return VESPIN_ERR_INVALID_PARAM;
    copy_text(meta->mac, sizeof meta->mac, json_object_get_string(mac));
    copy_text(meta->name, kNameSize, json_object_get_string(name));
    return 0;
}

assets_factory* assets_factory_new(void) {
    uci_context* ctx = vespin_uci_ctx_new();
    if (vespin_is_error(ctx)) return reinterpret_cast<assets_factory*>(ctx);
    auto* factory = static_cast<assets_factory*>(plat_calloc(1, sizeof(assets_factory)));
    if (!factory) {
        vespin_uci_ctx_free(ctx);
        return VESPIN_ERROR_PTR(assets_factory*, VESPIN_ERR_NO_MEMORY);
    }
    factory->ctx = ctx;
    factory->package = kPackage;
    return factory;
}

void assets_factory_free(assets_factory* factory) {
    if (!factory || vespin_is_error(factory)) return;
    vespin_uci_ctx_free(factory->ctx);
    free(factory);
}

int assets_factory_commit(assets_factory* factory) {
    return factory_ready(factory) && vespin_uci_ctx_commit(factory->ctx, kPackage) == 0 ? 0 : VESPIN_ERR_FAILURE;
}

int assets_factory_rollback(assets_factory* factory) {
    return factory_ready(factory) ? vespin_uci_ctx_rollback(factory->ctx, kPackage) : VESPIN_ERR_FAILURE;
}

int assets_factory_set(assets_factory* factory, const device_meta* meta) {
    if (!factory_ready(factory) || !meta) return VESPIN_ERR_FAILURE;
    const std::string mac = mac_of(meta);
    if (!is_device_mac_text(mac.c_str())) return VESPIN_ERR_INVALID_PARAM;
    if (plat_access(kPackageFile, F_OK) != 0) plat_system("touch /vespin/config/assets");
    const std::string section = std::string(kPackage) + "." + mac;
    vespin_uci_ctx_cmd(factory->ctx, 0, (section + "=sta").c_str());
    vespin_uci_ctx_cmd(factory->ctx, 4, (section + ".mac=" + mac).c_str());
    return vespin_uci_ctx_cmd(factory->ctx, 4, (section + ".name=" + name_of(meta)).c_str());
}

device_meta* assets_factory_get(assets_factory* factory, const char* mac) {
    if (!factory_ready(factory)) return VESPIN_ERROR_PTR(device_meta*, VESPIN_ERR_FAILURE);
    if (!is_device_mac_text(mac)) return VESPIN_ERROR_PTR(device_meta*, VESPIN_ERR_INVALID_PARAM);
    char name[kNameSize] = {0};
    const std::string path = std::string(kPackage) + "." + mac + ".name";
    int result = uci_ctx_get_text(factory->ctx, path.c_str(), name, sizeof name);
    if (result == VESPIN_ERR_NOT_FOUND) return nullptr;
    if (result != 0) return VESPIN_ERROR_PTR(device_meta*, result);
    auto* meta = static_cast<device_meta*>(plat_calloc(1, sizeof(device_meta)));
    if (!meta) return VESPIN_ERROR_PTR(device_meta*, VESPIN_ERR_NO_MEMORY);
    copy_text(meta->mac, sizeof meta->mac, mac);
    copy_text(meta->name, sizeof meta->name, name);
    return meta;
}

int set_device_list_name(uci_context* ctx, const device_meta* meta) {
    if (!ctx || vespin_is_error(ctx) || !meta) return VESPIN_ERR_FAILURE;
    const std::string mac = mac_of(meta);
    if (!is_device_mac_text(mac.c_str())) return VESPIN_ERR_INVALID_PARAM;
    const std::string text = "devices." + mac + ".name=" + name_of(meta);
    if (vespin_uci_ctx_cmd(ctx, 4, text.c_str()) != 0) return VESPIN_ERR_FAILURE;
    return vespin_device_list_commit(ctx) == 0 ? 0 : VESPIN_ERR_FAILURE;
}

}  // extern "C"
