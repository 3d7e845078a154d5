// The five VPN items of the "vpn" package: load, list, add, update, delete,
// and the OpenVPN files beside them.
#include "config_vpn.h"

#include "core/config/vpn_store.h"
#include "core/log.h"
#include "platform/platform.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "tools.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const char kUploadMark[] = "openvpn.tmp";

// A record's text field, never read past its end.
template <size_t N>
std::string field(const char (&text)[N]) {
    return std::string(text, strnlen(text, N - 1));
}

bool valid_id(int id) { return id >= 1 && id <= VPN_ITEM_MAX; }

std::string openvpn_file(int id) {
    char path[128];
    snprintf(path, sizeof path, "%s/openvpn-%d.ovpn", VPN_OPENVPN_DIR, id);
    return path;
}

// Runs a fixed command; false (logged) when it fails.
bool run_logged(const std::string& command) {
    int status = 0;
    int result = run_command(&status, command.c_str());
    if (result == 0 && status == 0) return true;
    VLOG_ERROR("Fail to run cmd [%s], err[%d]", command.c_str(), result ? result : status);
    return false;
}

// Moves the uploaded file to item id's file and names it in the record.
bool take_upload(vpn_item* item, int id) {
    std::string target = openvpn_file(id);
    if (!run_logged("mv -f " + std::string(VPN_OPENVPN_UPLOAD) + " " + target)) return false;
    copy_text(item->config, sizeof item->config, target.c_str());
    return true;
}

bool is_true(uci_context* ctx, const char* path_format, int id, int* code) {
    std::string value;
    *code = vpn_read(ctx, path_format, id, &value);
    return *code == 0 && vespin_uci_value_is_true(value.c_str());
}

// Reads one option into a fixed field; a missing option is 0 when tolerated.
template <size_t N>
int load_text(uci_context* ctx, const char* path_format, int id, char (&out)[N], bool may_be_missing = false) {
    std::string value;
    int code = vpn_read(ctx, path_format, id, &value);
    if (code == VESPIN_ERR_NOT_FOUND && may_be_missing) return 0;
    if (code == 0) copy_text(out, N, value.c_str());
    return code;
}

int load_number(uci_context* ctx, const char* path_format, int id, int32_t* out) {
    std::string value;
    int code = vpn_read(ctx, path_format, id, &value);
    if (code == 0) *out = (int32_t)strtol(value.c_str(), nullptr, 10);
    return code;
}

int load_protocol_fields(uci_context* ctx, vpn_item* item, int id) {
    int code = 0;
    if (vpn_protocol_is(item->protocol, "openvpn")) {
        if ((code = load_text(ctx, "vpn.%d.username", id, item->username, true)) ||
            (code = load_text(ctx, "vpn.%d.password", id, item->password, true)))
            return code;
        return load_text(ctx, "vpn.%d.config", id, item->config);
    }
    bool pptp = vpn_protocol_is(item->protocol, "pptp");
    if (!pptp && !vpn_protocol_is(item->protocol, "l2tp")) return 0;
    if ((code = load_text(ctx, "vpn.%d.password", id, item->password, true)) ||
        (code = load_text(ctx, "vpn.%d.server", id, item->server)) ||
        (code = load_text(ctx, "vpn.%d.username", id, item->username)))
        return code;
    if (!pptp) return 0;
    if ((code = load_number(ctx, "vpn.%d.mppe", id, &item->mppe))) return code;
    return load_number(ctx, "vpn.%d.mppc", id, &item->mppc);
}

int load_in(uci_context* ctx, vpn_item* item, int id) {
    memset(item, 0, sizeof *item);
    int code = 0;
    if ((code = load_text(ctx, "vpn.%d.name", id, item->name)) || (code = load_number(ctx, "vpn.%d.id", id, &item->id)) ||
        (code = load_text(ctx, "vpn.%d.protocol", id, item->protocol)))
        return code;
    return load_protocol_fields(ctx, item, id);
}

int write_password(uci_context* ctx, int id, const std::string& password) {
    return password.empty() ? vpn_write(ctx, "vpn.%d.password=", id)
                            : vpn_write(ctx, "vpn.%d.password=%s", id, password.c_str());
}

int write_mppe_mppc(uci_context* ctx, const vpn_item* item, int id) {
    int code = vpn_write(ctx, "vpn.%d.mppe=%d", id, item->mppe);
    return code ? code : vpn_write(ctx, "vpn.%d.mppc=%d", id, item->mppc);
}

// Add, from the name on, into slot id.
int add_in(uci_context* ctx, vpn_item* item, int id) {
    std::string name = field(item->name), protocol = field(item->protocol);
    int code = 0;
    if ((code = vpn_write(ctx, "vpn.%d.valid=1", id)) || (code = vpn_write(ctx, "vpn.%d.id=%d", id, id))) return code;
    if (name.empty() || protocol.empty()) {
        VLOG_ERROR("Missing name or protocol");
        return VESPIN_ERR_MISSING_PARAM;
    }
    if ((code = vpn_write(ctx, "vpn.%d.name=%s", id, name.c_str())) ||
        (code = vpn_write(ctx, "vpn.%d.protocol=%s", id, protocol.c_str())))
        return code;
    bool pptp = vpn_protocol_is(protocol.c_str(), "pptp");
    if (pptp || vpn_protocol_is(protocol.c_str(), "l2tp")) {
        std::string server = field(item->server), username = field(item->username);
        if ((code = write_password(ctx, id, field(item->password)))) return code;
        if (server.empty() || username.empty()) {
            VLOG_ERROR("Missing server or username");
            return VESPIN_ERR_MISSING_PARAM;
        }
        if ((code = vpn_write(ctx, "vpn.%d.server=%s", id, server.c_str())) ||
            (code = vpn_write(ctx, "vpn.%d.username=%s", id, username.c_str())))
            return code;
        if (pptp && (code = write_mppe_mppc(ctx, item, id))) return code;
        if ((code = vpn_write(ctx, "vpn.%d.config=", id))) return code;
    } else if (vpn_protocol_is(protocol.c_str(), "openvpn")) {
        if ((code = vpn_write(ctx, "vpn.%d.username=%s", id, field(item->username).c_str())) ||
            (code = write_password(ctx, id, field(item->password))))
            return code;
        if (field(item->config).find(kUploadMark) == std::string::npos) {
            VLOG_ERROR("Invalid openvpn config");
            return VESPIN_ERR_FAILURE;
        }
        if (!take_upload(item, id)) return VESPIN_ERR_FAILURE;
        if ((code = vpn_write(ctx, "vpn.%d.config=%s", id, item->config))) return code;
    }
    item->id = id;
    return vpn_commit(ctx);
}

// Update, from step 3 on: the slot exists and `stored` is its old item.
int update_in(uci_context* ctx, vpn_item* item, const vpn_item& stored) {
    int id = item->id;
    std::string name = field(item->name), protocol = field(item->protocol);
    int code = 0;
    if ((code = vpn_write(ctx, "vpn.%d.valid=1", id)) || (code = vpn_write(ctx, "vpn.%d.id=%d", id, id))) return code;
    if (!name.empty() && (code = vpn_write(ctx, "vpn.%d.name=%s", id, name.c_str()))) return code;
    if (!protocol.empty() && (code = vpn_write(ctx, "vpn.%d.protocol=%s", id, protocol.c_str()))) return code;
    bool was_openvpn = vpn_protocol_is(stored.protocol, "openvpn");
    if (vpn_protocol_is(protocol.c_str(), "openvpn")) {
        if ((code = vpn_write(ctx, "vpn.%d.username=%s", id, field(item->username).c_str())) ||
            (code = write_password(ctx, id, field(item->password))))
            return code;
        if (field(item->config).find(kUploadMark) != std::string::npos) {
            if (!take_upload(item, id)) return VESPIN_ERR_FAILURE;
            if ((code = vpn_write(ctx, "vpn.%d.config=%s", id, item->config))) return code;
        } else if (!was_openvpn) {
            VLOG_ERROR("Invalid openvpn config");
            return VESPIN_ERR_FAILURE;
        }
        return vpn_commit(ctx);
    }
    if (!vpn_protocol_is(protocol.c_str(), "pptp") && !vpn_protocol_is(protocol.c_str(), "l2tp"))
        return vpn_commit(ctx);
    std::string server = field(item->server), username = field(item->username);
    if ((code = write_password(ctx, id, field(item->password)))) return code;
    if (!server.empty() && (code = vpn_write(ctx, "vpn.%d.server=%s", id, server.c_str()))) return code;
    if (!username.empty() && (code = vpn_write(ctx, "vpn.%d.username=%s", id, username.c_str()))) return code;
    if ((code = write_mppe_mppc(ctx, item, id))) return code;
    if (was_openvpn) {
        ovpn_cfgfile_del(id);
        if ((code = vpn_write(ctx, "vpn.%d.config=", id))) return code;
    }
    return vpn_commit(ctx);
}

}  // namespace

extern "C" {

int vpn_item_config_load(vpn_item* item, int id) {
    if (!item || !valid_id(id)) {
        VLOG_ERROR("Invalid vpn id %d", id);
        return VESPIN_ERR_FAILURE;
    }
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    return load_in(ctx.get(), item, id);
}

int vpn_item_list(vpn_item** items, int* count) {
    if (!items || !count) return VESPIN_ERR_FAILURE;
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    vpn_item* list = (vpn_item*)plat_calloc(VPN_ITEM_MAX, sizeof(vpn_item));
    if (!list) return VESPIN_ERR_FAILURE;
    int filled = 0;
    for (int id = 1; id <= VPN_ITEM_MAX; id++) {
        int code = 0;
        bool in_use = is_true(ctx.get(), "vpn.%d.valid", id, &code);
        if (code == 0 && in_use) code = load_in(ctx.get(), &list[filled++], id);
        if (code != 0) {
            free(list);
            return code;
        }
    }
    *items = list;
    *count = filled;
    return 0;
}

int vpn_item_add(vpn_item* item) {
    uci_ref ctx;
    if (!ctx.ok() || !item) return VESPIN_ERR_FAILURE;
    for (int id = 1; id <= VPN_ITEM_MAX; id++) {
        int code = 0;
        bool in_use = is_true(ctx.get(), "vpn.%d.valid", id, &code);
        if (code != 0) return code;
        if (!in_use) return add_in(ctx.get(), item, id);
    }
    VLOG_ERROR("No free vpn item");
    return VESPIN_ERR_TABLE_FULL;
}

int vpn_item_update(vpn_item* item) {
    if (!item || !valid_id(item->id)) {
        VLOG_ERROR("Invalid vpn id");
        return VESPIN_ERR_INVALID_PARAM;
    }
    vpn_item stored;
    int code = vpn_item_config_load(&stored, item->id);
    if (code != 0) {
        VLOG_ERROR("Fail to load orig vpn item [%d] config", item->id);
        return code;
    }
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    bool in_use = is_true(ctx.get(), "vpn.%d.valid", item->id, &code);
    if (code != 0) return code;
    if (!in_use) {
        VLOG_ERROR("Vpn item [%d] doesn't exist", item->id);
        return VESPIN_ERR_NOT_FOUND;
    }
    return update_in(ctx.get(), item, stored);
}

int vpn_item_del(int id) {
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    if (!valid_id(id)) {
        VLOG_ERROR("Invalid vpn id %d", id);
        return VESPIN_ERR_INVALID_PARAM;
    }
    std::string vpnid, status;
    int code = 0;
    if ((code = vpn_read(ctx.get(), "vpn.globalcfg.vpnid", 0, &vpnid))) return code;
    bool enabled = is_true(ctx.get(), "vpn.globalcfg.enabled", 0, &code);
    if (code != 0) return code;
    if ((code = vpn_read(ctx.get(), "vpn.curstat.status", 0, &status))) return code;
    if (atoi(vpnid.c_str()) == id && enabled && status != "disconnected") {
        VLOG_ERROR("Vpn item [%d] is in use", id);
        return VESPIN_ERR_VPN_DISCONNECTED;
    }
    if ((code = vpn_write(ctx.get(), "vpn.%d.valid=0", id)) || (code = vpn_commit(ctx.get()))) return code;
    ovpn_cfgfile_del(id);
    return 0;
}

int ovpn_cfgfile_del(int id) {
    char command[160];
    snprintf(command, sizeof command, "rm %s/openvpn-%d.ovpn", VPN_OPENVPN_DIR, id);
    return run_logged(command) ? 0 : VESPIN_ERR_COMMAND;
}

}  // extern "C"
