// VPN items and status to and from JSON.
#include "config_vpn.h"

#include "core/config/vpn_store.h"
#include "core/log.h"
#include "core/text.h"

#include <stdio.h>
#include <string.h>

namespace {

// Takes a string member into a fixed field when it is present and a string.
// `required`: absent or of another type is 100208 too. Too long: 100208.
template <size_t N>
int take_text(json_object* object, const char* key, char (&out)[N], bool required) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(object, key, &member) || !json_object_is_type(member, json_type_string)) {
        if (!required) return 0;
        VLOG_ERROR("Missing %s", key);
        return VESPIN_ERR_INVALID_PARAM;
    }
    if ((size_t)json_object_get_string_len(member) >= N) {
        VLOG_ERROR("Invalid %s", key);
        return VESPIN_ERR_INVALID_PARAM;
    }
    copy_text(out, N, json_object_get_string(member));
    return 0;
}

// The object member `key`, or null when it is absent or not an object.
json_object* object_member(json_object* object, const char* key) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(object, key, &member) || !json_object_is_type(member, json_type_object))
        return nullptr;
    return member;
}

bool boolean_member(json_object* object, const char* key, json_object** member) {
    return json_object_object_get_ex(object, key, member) && json_object_is_type(*member, json_type_boolean);
}

// "id": a string holding a decimal 1 to 5.
int take_id(json_object* object, int32_t* id) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(object, "id", &member) || !json_object_is_type(member, json_type_string)) {
        VLOG_ERROR("Missing id");
        return VESPIN_ERR_INVALID_PARAM;
    }
    const char* text = json_object_get_string(member);
    if (strlen(text) != 1 || text[0] < '1' || text[0] > '0' + VPN_ITEM_MAX) {
        VLOG_ERROR("Invalid id");
        return VESPIN_ERR_INVALID_PARAM;
    }
    *id = text[0] - '0';
    return 0;
}

// "openvpn": {"url": text}, its url stored in config.
int take_openvpn(json_object* object, vpn_item* item) {
    json_object* openvpn = object_member(object, "openvpn");
    if (!openvpn) {
        VLOG_ERROR("Invalid openvpn");
        return VESPIN_ERR_INVALID_PARAM;
    }
    return take_text(openvpn, "url", item->config, true);
}

const char* base_name(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

void add_text(json_object* object, const char* key, const char* text) {
    json_object_object_add(object, key, json_object_new_string(text));
}

}  // namespace

extern "C" {

int vpn_item_json2cfg(vpn_item* item, json_object* object) {
    if (!item || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
    int code = 0;
    if ((code = take_id(object, &item->id)) || (code = take_text(object, "name", item->name, false)) ||
        (code = take_text(object, "protocol", item->protocol, false)))
        return code;
    bool pptp = vpn_protocol_is(item->protocol, "pptp");
    if (pptp || vpn_protocol_is(item->protocol, "l2tp")) {
        if ((code = take_text(object, "server", item->server, false)) ||
            (code = take_text(object, "username", item->username, false)) ||
            (code = take_text(object, "password", item->password, false)))
            return code;
        json_object* options = pptp ? object_member(object, "pptp") : nullptr;
        json_object* member = nullptr;
        // mppe is read as a boolean whatever its type; mppc only when it is one.
        if (options && json_object_object_get_ex(options, "mppe", &member))
            item->mppe = json_object_get_boolean(member) ? 1 : 0;
        if (options && boolean_member(options, "mppc", &member)) item->mppc = json_object_get_boolean(member) ? 1 : 0;
        return 0;
    }
    if (vpn_protocol_is(item->protocol, "openvpn")) {
        if ((code = take_text(object, "username", item->username, false)) ||
            (code = take_text(object, "password", item->password, false)))
            return code;
        json_object* member = nullptr;
        if (json_object_object_get_ex(object, "openvpn", &member)) return take_openvpn(object, item);
    }
    return 0;
}

int vpn_item_json2cfg_all(vpn_item* item, json_object* object) {
    if (!item || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
    int code = 0;
    if ((code = take_text(object, "name", item->name, true)) ||
        (code = take_text(object, "protocol", item->protocol, true)))
        return code;
    bool pptp = vpn_protocol_is(item->protocol, "pptp");
    if (pptp || vpn_protocol_is(item->protocol, "l2tp")) {
        if ((code = take_text(object, "server", item->server, true)) ||
            (code = take_text(object, "username", item->username, true)) ||
            (code = take_text(object, "password", item->password, false)))
            return code;
        if (!pptp) return 0;
        json_object* options = object_member(object, "pptp");
        json_object *mppe = nullptr, *mppc = nullptr;
        if (!options || !boolean_member(options, "mppe", &mppe) || !boolean_member(options, "mppc", &mppc)) {
            VLOG_ERROR("Invalid pptp");
            return VESPIN_ERR_INVALID_PARAM;
        }
        item->mppe = json_object_get_boolean(mppe) ? 1 : 0;
        item->mppc = json_object_get_boolean(mppc) ? 1 : 0;
        return 0;
    }
    if (vpn_protocol_is(item->protocol, "openvpn")) {
        if ((code = take_text(object, "username", item->username, false)) ||
            (code = take_text(object, "password", item->password, false)))
            return code;
        return take_openvpn(object, item);
    }
    return 0;
}

json_object* vpn_item_cfg2json(const vpn_item* item) {
    if (!item) return nullptr;
    vpn_item copy = *item;  // every field NUL-terminated, whatever the caller filled
    copy.name[sizeof copy.name - 1] = copy.protocol[sizeof copy.protocol - 1] = 0;
    copy.server[sizeof copy.server - 1] = copy.username[sizeof copy.username - 1] = 0;
    copy.password[sizeof copy.password - 1] = copy.config[sizeof copy.config - 1] = 0;
    json_object* object = json_object_new_object();
    char id[16];
    snprintf(id, sizeof id, "%d", copy.id);
    add_text(object, "id", id);
    add_text(object, "name", copy.name);
    add_text(object, "protocol", copy.protocol);
    bool pptp = vpn_protocol_is(copy.protocol, "pptp");
    if (pptp || vpn_protocol_is(copy.protocol, "l2tp")) {
        add_text(object, "server", copy.server);
        add_text(object, "username", copy.username);
        add_text(object, "password", copy.password);
        if (pptp) {
            json_object* options = json_object_new_object();
            json_object_object_add(options, "mppe", json_object_new_boolean(copy.mppe != 0));
            json_object_object_add(options, "mppc", json_object_new_boolean(copy.mppc != 0));
            json_object_object_add(object, "pptp", options);
        }
    } else if (vpn_protocol_is(copy.protocol, "openvpn")) {
        add_text(object, "username", copy.username);
        add_text(object, "password", copy.password);
        json_object* openvpn = json_object_new_object();
        add_text(openvpn, "url", base_name(copy.config));
        json_object_object_add(object, "openvpn", openvpn);
    }
    return object;
}

json_object* vpn_statsu_cfg2json(const vpn_status* status) {
    if (!status) return nullptr;
    vpn_status copy = *status;
    copy.status[sizeof copy.status - 1] = copy.errcode[sizeof copy.errcode - 1] = 0;
    copy.errmsg[sizeof copy.errmsg - 1] = 0;
    json_object* object = json_object_new_object();
    char id[16];
    snprintf(id, sizeof id, "%d", copy.vpnid);
    add_text(object, "default_vpn", id);
    json_object_object_add(object, "enabled", json_object_new_boolean(copy.enabled != 0));
    add_text(object, "status", copy.status);
    if (strcmp(copy.status, "connected") == 0)
        json_object_object_add(object, "connected_time", json_object_new_int(copy.connected_time));
    json_object* error = json_object_new_object();
    add_text(error, "code", copy.errcode);
    add_text(error, "message", copy.errmsg);
    json_object_object_add(object, "error", error);
    return object;
}

}  // extern "C"
