// UCI access over the UCI backend the build chose (the built-in engine, or
// the system's libuci). The context handle is the backend's context.
#include "uciconfig.h"
#include "uci_ref.h"

#include "log.h"
#include "platform/platform.h"
#include "uci_ref.h"
#include "text.h"
#include "uci/uci_backend.h"

#include <stdio.h>
#include <string.h>
#include <strings.h>

namespace {

uci_backend_context* backend_of(uci_context* ctx) {
    return vespin_is_error(ctx) ? nullptr : reinterpret_cast<uci_backend_context*>(ctx);
}

// The libuci call of each command kind of a context.
int apply_kind(uci_backend_context* b, unsigned int kind) {
    switch (kind) {
    case 0: case 3: case 4: return uci_backend_set(b);
    case 2: case 5: return uci_backend_delete(b);
    case 6: return uci_backend_add_list(b);
    case 7: return uci_backend_del_list(b);
    }
    return -1;
}

// Copies the found element into the caller's output; see uciconfig.h.
int copy_found(const uci_backend_found& found, char* output) {
    switch (found.last) {
    case uci_backend_element::section:
    case uci_backend_element::option_string:
        memcpy(output, found.text.c_str(), found.text.size() + 1);
        return 0;
    case uci_backend_element::option_list: {
        size_t end = 0;
        for (const std::string& item : found.items) {
            if (item.find_first_of(" \t\r\n") != std::string::npos) continue;
            memcpy(output + end, item.c_str(), item.size() + 1);
            end += item.size() + 1;
        }
        output[end + 1] = 0;  // two bytes beyond the last value, as callers expect
        return 0;
    }
    case uci_backend_element::other:
        return 0;
    case uci_backend_element::package:
        break;
    }
    VLOG_ERROR("Invalid type of ptr.last");
    return VESPIN_ERR_MISSING_VALUE;
}

// Looks the package named by `name` up: 0 or the UCI error number.
int lookup_package(uci_backend_context* b, const char* name) {
    char package[64];
    copy_text(package, sizeof package, name);
    uci_backend_found found;
    return uci_backend_lookup(b, package, &found);
}

// Looks a path (cut to 127 characters) up: 0 with *found complete, or the
// code vespin_uci_ctx_get returns; *lookup_error gets the backend's error
// number of a failed lookup (the caller logs it).
int find_in(uci_backend_context* b, const char* path, uci_backend_found* found, int* lookup_error) {
    *lookup_error = 0;
    if (!b || !path) return VESPIN_ERR_FAILURE;
    char cut[128];
    copy_text(cut, sizeof cut, path);
    int err = uci_backend_lookup(b, cut, found);
    if (err == UCI_BACKEND_NOTFOUND) return VESPIN_ERR_NOT_FOUND;
    if (err != 0) {
        *lookup_error = err;
        return VESPIN_ERR_FAILURE;
    }
    return found->complete ? 0 : VESPIN_ERR_NOT_FOUND;
}

int commit_in(uci_backend_context* b, const char* package) {
    if (!b || !package || plat_uci_write_fault() || lookup_package(b, package) != 0 || uci_backend_commit(b) != 0)
        return -VESPIN_ERR_FAILURE;
    uci_backend_unload(b);
    return 0;
}

int rollback_in(uci_backend_context* b, const char* package) {
    if (!b || !package || lookup_package(b, package) != 0) return VESPIN_ERR_FAILURE;
    return uci_backend_revert(b);
}

// Kind 0 with "PACKAGE TYPE": a new anonymous section, saved as pending.
int add_pending_section(uci_backend_context* b, const char* text) {
    char package[64] = "";
    char type[64] = "";
    if (sscanf(text, "%63s %63s", package, type) != 2) return VESPIN_ERR_FAILURE;
    if (uci_backend_load(b, package) != 0 || uci_backend_add_section(b, type) != 0 || uci_backend_save(b) != 0)
        return VESPIN_ERR_FAILURE;
    uci_backend_unload(b);
    return 0;
}

int set_in(uci_backend_context* b, unsigned int kind, const char* text) {
    if (kind == 0 && strchr(text, ' ')) return add_pending_section(b, text);
    char path[256];
    copy_text(path, sizeof path, text);
    uci_backend_set_strict(b, true);
    uci_backend_found found;
    if (uci_backend_lookup(b, path, &found) != 0) {
        VLOG_ERROR("Uci not found");
        return 0;  // by design: a path that cannot be found is not an error here
    }
    int result;
    if (kind == 0) {
        result = uci_backend_commit(b);
    } else if (kind >= 2 && kind <= 7) {
        result = apply_kind(b, kind);
        if (result == 0) result = uci_backend_commit(b);
    } else {
        VLOG_ERROR("Unsupported uci cmd type");
        return 0;
    }
    uci_backend_unload(b);
    return result == 0 ? 0 : VESPIN_ERR_FAILURE;
}

}  // namespace

extern "C" {

uci_context* vespin_uci_ctx_new(void) {
    uci_backend_context* b = uci_backend_new();
    if (!b) {
        VLOG_ERROR("Fail to alloc uci_context");
        return VESPIN_ERROR_PTR(uci_context*, VESPIN_ERR_FAILURE);
    }
    return reinterpret_cast<uci_context*>(b);
}

int vespin_uci_ctx_cmd(uci_context* ctx, unsigned int kind, const char* text) {
    uci_backend_context* b = backend_of(ctx);
    if (!b || !text || plat_uci_write_fault()) return VESPIN_ERR_FAILURE;
    char path[256];
    char second[64] = "";
    if (kind == 1) {
        // "%s.%s": the first conversion takes the whole word, the second gets nothing.
        path[0] = 0;
        sscanf(text, "%255s.%63s", path, second);
    } else {
        copy_text(path, sizeof path, text);
    }
    uci_backend_set_strict(b, true);
    uci_backend_found found;
    int err = uci_backend_lookup(b, path, &found);
    if (err != 0 && err != UCI_BACKEND_NOTFOUND) {
        VLOG_ERROR("Uci not found");
        return VESPIN_ERR_FAILURE;
    }
    if (kind >= 8) {
        VLOG_ERROR("Unsupported uci cmd type");
        return VESPIN_ERR_FAILURE;
    }
    // Kind 1: the lookup left the package name in `path`; it becomes the type.
    int result = kind == 1 ? uci_backend_add_section(b, path) : apply_kind(b, kind);
    return result == 0 ? 0 : VESPIN_ERR_FAILURE;
}

int vespin_uci_ctx_delete_section(uci_context* ctx, const char* path) { return vespin_uci_ctx_cmd(ctx, 2, path); }

int vespin_uci_ctx_get(uci_context* ctx, const char* path, char* output) {
    if (!output) return VESPIN_ERR_FAILURE;
    uci_backend_found found;
    int lookup_error = 0;
    int result = find_in(backend_of(ctx), path, &found, &lookup_error);
    if (lookup_error) VLOG_ERROR("Uci not found, errcode: %d", lookup_error);
    return result != 0 ? result : copy_found(found, output);
}

}  // extern "C"

int uci_ctx_find(uci_context* ctx, const char* path, std::string* text, std::vector<std::string>* items) {
    uci_backend_context* b = backend_of(ctx);
    if (!b || !path) return VESPIN_ERR_FAILURE;
    char cut[256];
    copy_text(cut, sizeof cut, path);
    uci_backend_found found;
    int err = uci_backend_lookup(b, cut, &found);
    if (err == UCI_BACKEND_NOTFOUND || (err == 0 && !found.complete)) return VESPIN_ERR_NOT_FOUND;
    if (err != 0) {
        VLOG_ERROR("Uci not found, errcode: %d", err);
        return VESPIN_ERR_FAILURE;
    }
    if (found.last == uci_backend_element::package) return VESPIN_ERR_MISSING_VALUE;
    if (text) *text = found.text;
    if (items) {
        if (found.last == uci_backend_element::option_list) *items = found.items;
        else *items = {found.text};
    }
    return 0;
}

int uci_ctx_get_text(uci_context* ctx, const char* path, char* out, size_t capacity) {
    std::string text;
    int result = uci_ctx_find(ctx, path, &text, nullptr);
    if (result == 0) copy_text(out, capacity, text.c_str());
    return result;
}

extern "C" {

int vespin_uci_ctx_commit(uci_context* ctx, const char* package) { return commit_in(backend_of(ctx), package); }

int vespin_uci_ctx_rollback(uci_context* ctx, const char* package) { return rollback_in(backend_of(ctx), package); }

void vespin_uci_ctx_free(uci_context* ctx) {
    if (uci_backend_context* b = backend_of(ctx)) uci_backend_free(b);
}

int vespin_uci_get(const char* path, char* output) {
    uci_backend_context* b = uci_backend_new();
    if (!b) {
        VLOG_ERROR("Fail to alloc uci_context");
        return VESPIN_ERR_NO_MEMORY;
    }
    int result = vespin_uci_ctx_get(reinterpret_cast<uci_context*>(b), path, output);
    uci_backend_free(b);
    return result;
}

int vespin_uci_set(unsigned int kind, const char* text) {
    if (!text || !*text || plat_uci_write_fault()) return VESPIN_ERR_FAILURE;
    uci_backend_context* b = uci_backend_new();
    if (!b) {
        VLOG_ERROR("Fail to alloc uci_context");
        return VESPIN_ERR_NO_MEMORY;
    }
    char copy[256];
    copy_text(copy, sizeof copy, text);
    int result = set_in(b, kind, copy);
    uci_backend_free(b);
    return result;
}

int vespin_uci_value_is_true(const char* text) {
    if (!text) return 0;
    for (const char* word : {"1", "on", "true", "enabled"})
        if (strcasecmp(text, word) == 0) return 1;
    return 0;
}

uci_context* guest_network_uci_ctx_new(void) { return vespin_uci_ctx_new(); }
uci_context* time_limit_uci_ctx_new(void) { return vespin_uci_ctx_new(); }
uci_context* URL_filter_uci_ctx_new(void) { return vespin_uci_ctx_new(); }
int guest_network_config_commit(uci_context* ctx) { return vespin_uci_ctx_commit(ctx, "multipleap"); }
int vespin_device_list_commit(uci_context* ctx) { return vespin_uci_ctx_commit(ctx, "devices"); }
int URL_filter_config_commit(uci_context* ctx) { return vespin_uci_ctx_commit(ctx, "urlfilters"); }
int guest_network_config_rollback(uci_context* ctx) { return vespin_uci_ctx_rollback(ctx, "multipleap"); }
int vespin_device_list_rollback(uci_context* ctx) { return vespin_uci_ctx_rollback(ctx, "devices"); }
int time_limit_config_rollback(uci_context* ctx) { return vespin_uci_ctx_rollback(ctx, "timelimits"); }
int URL_filter_config_rollback(uci_context* ctx) { return vespin_uci_ctx_rollback(ctx, "urlfilters"); }
int sta_blacklist_rollback(uci_context* ctx) { return vespin_uci_ctx_rollback(ctx, "mac_filter_black"); }
void guest_network_config_free(uci_context* ctx) { vespin_uci_ctx_free(ctx); }
void time_limit_config_free(uci_context* ctx) { vespin_uci_ctx_free(ctx); }
void URL_filter_config_free(uci_context* ctx) { vespin_uci_ctx_free(ctx); }

}  // extern "C"

int uci_ctx_get_text(uci_context* ctx, const char* path, std::string* out) {
    std::vector<std::string> items;
    int result = uci_ctx_find(ctx, path, nullptr, &items);
    if (result == VESPIN_ERR_MISSING_VALUE) VLOG_ERROR("Invalid type of ptr.last");
    if (result != 0) return result;
    out->clear();
    for (const std::string& item : items) *out += (out->empty() ? "" : " ") + item;
    return 0;
}

int uci_ctx_get_list(uci_context* ctx, const char* path, std::vector<std::string>* out) {
    out->clear();
    uci_backend_found found;
    int lookup_error = 0;
    int result = find_in(backend_of(ctx), path, &found, &lookup_error);
    if (lookup_error) VLOG_ERROR("Uci not found, errcode: %d", lookup_error);
    if (result != 0) return result;
    if (found.last == uci_backend_element::option_string) out->push_back(found.text);
    if (found.last != uci_backend_element::option_list) return 0;
    for (const std::string& item : found.items)
        if (item.find_first_of(" \t\r\n") == std::string::npos) out->push_back(item);
    return 0;
}
