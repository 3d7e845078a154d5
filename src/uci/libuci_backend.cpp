// The core's UCI backend over the system's libuci (built with
// -DVESPIN_WITH_LIBUCI=ON where libuci is installed). The router's
// directories are libuci's own defaults; the emulated root's are set.
#include "uci_backend.h"

#include "platform.h"

#include <new>

extern "C" {
#include <uci.h>
}

struct uci_backend_context {
    struct uci_context* ctx = nullptr;
    struct uci_ptr ptr = {};
    struct uci_package* package = nullptr;
};

uci_backend_context* uci_backend_new() {
    auto* b = plat_new<uci_backend_context>();
    if (!b) return nullptr;
    b->ctx = uci_alloc_context();
    if (!b->ctx) {
        delete b;
        return nullptr;
    }
    if (plat_is_emulated()) {
        uci_set_confdir(b->ctx, plat_path("/etc/config").c_str());
        uci_set_savedir(b->ctx, plat_path("/tmp/.uci").c_str());
    }
    return b;
}

void uci_backend_free(uci_backend_context* b) {
    if (!b) return;
    uci_free_context(b->ctx);
    delete b;
}

void uci_backend_set_strict(uci_backend_context* b, bool strict) {
    // The flags field is an enum: C++ wants the bit arithmetic cast back.
    int flags = strict ? (b->ctx->flags | UCI_FLAG_STRICT) : (b->ctx->flags & ~UCI_FLAG_STRICT);
    b->ctx->flags = (enum uci_flags)flags;
}

int uci_backend_lookup(uci_backend_context* b, char* path, uci_backend_found* found) {
    *found = uci_backend_found();
    b->ptr = uci_ptr();
    int err = uci_lookup_ptr(b->ctx, &b->ptr, path, true);
    b->package = b->ptr.p;
    if (err != UCI_OK) return err;
    found->complete = (b->ptr.flags & UCI_LOOKUP_COMPLETE) != 0;
    if (!b->ptr.last) return UCI_OK;
    switch (b->ptr.last->type) {
    case UCI_TYPE_PACKAGE:
        found->last = uci_backend_element::package;
        break;
    case UCI_TYPE_SECTION:
        found->last = uci_backend_element::section;
        found->text = uci_to_section(b->ptr.last)->type;
        break;
    case UCI_TYPE_OPTION: {
        struct uci_option* o = uci_to_option(b->ptr.last);
        if (o->type == UCI_TYPE_STRING) {
            found->last = uci_backend_element::option_string;
            found->text = o->v.string;
        } else if (o->type == UCI_TYPE_LIST) {
            found->last = uci_backend_element::option_list;
            struct uci_element* e;
            uci_foreach_element(&o->v.list, e) found->items.push_back(e->name);
        } else {
            found->last = uci_backend_element::other;
        }
        break;
    }
    default:
        found->last = uci_backend_element::package;  // reported as an unexpected element
        break;
    }
    return UCI_OK;
}

int uci_backend_set(uci_backend_context* b) { return uci_set(b->ctx, &b->ptr); }
int uci_backend_delete(uci_backend_context* b) { return uci_delete(b->ctx, &b->ptr); }
int uci_backend_add_list(uci_backend_context* b) { return uci_add_list(b->ctx, &b->ptr); }
int uci_backend_del_list(uci_backend_context* b) { return uci_del_list(b->ctx, &b->ptr); }

int uci_backend_add_section(uci_backend_context* b, const char* type) {
    if (!b->package) return UCI_ERR_INVAL;
    struct uci_section* s = nullptr;
    return uci_add_section(b->ctx, b->package, type, &s);
}

int uci_backend_load(uci_backend_context* b, const char* package) {
    b->ptr = uci_ptr();
    b->package = nullptr;
    return uci_load(b->ctx, package, &b->package);
}

int uci_backend_save(uci_backend_context* b) { return b->package ? uci_save(b->ctx, b->package) : UCI_ERR_INVAL; }

int uci_backend_commit(uci_backend_context* b) {
    return b->package ? uci_commit(b->ctx, &b->package, false) : UCI_ERR_INVAL;
}

int uci_backend_revert(uci_backend_context* b) {
    if (!b->package) return UCI_ERR_INVAL;
    b->ptr.p = b->package;
    return uci_revert(b->ctx, &b->ptr);
}

void uci_backend_unload(uci_backend_context* b) {
    if (b->package) uci_unload(b->ctx, b->package);
    b->package = nullptr;
    b->ptr = uci_ptr();
}
