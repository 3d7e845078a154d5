// The core's UCI backend over the built-in engine, on the router's
// configuration directory and save directory (inside the emulated root).
#include "uci_backend.h"

#include "context.h"
#include "platform.h"

#include <new>
#include <string.h>

struct uci_backend_context {
    vuci::context ctx{plat_path("/etc/config"), plat_path("/tmp/.uci")};
    vuci::ref current;
    vuci::package* current_package = nullptr;
};

uci_backend_context* uci_backend_new() { return plat_new<uci_backend_context>(); }

void uci_backend_free(uci_backend_context* b) { delete b; }

void uci_backend_set_strict(uci_backend_context* b, bool strict) { b->ctx.set_strict(strict); }

int uci_backend_lookup(uci_backend_context* b, char* path, uci_backend_found* found) {
    std::string text = path;
    path[strcspn(path, ".=")] = 0;
    *found = uci_backend_found();
    int err = b->ctx.lookup(text, &b->current);
    b->current_package = b->current.p;
    if (err) return err;
    const vuci::ref& r = b->current;
    found->complete = r.complete;
    if (r.last == vuci::element::section) {
        found->last = uci_backend_element::section;
        found->text = r.s->type;
    } else if (r.last == vuci::element::option) {
        found->last = r.o->is_list ? uci_backend_element::option_list : uci_backend_element::option_string;
        found->text = r.o->value;
        found->items = r.o->items;
    }
    return 0;
}

int uci_backend_set(uci_backend_context* b) { return b->ctx.set(b->current); }
int uci_backend_delete(uci_backend_context* b) { return b->ctx.remove(b->current); }
int uci_backend_add_list(uci_backend_context* b) { return b->ctx.add_list(b->current); }
int uci_backend_del_list(uci_backend_context* b) { return b->ctx.del_list(b->current); }

int uci_backend_add_section(uci_backend_context* b, const char* type) {
    return b->ctx.add_section(b->current_package, type, nullptr);
}

int uci_backend_load(uci_backend_context* b, const char* package) {
    b->current = vuci::ref();
    b->current_package = nullptr;
    return b->ctx.load(package, &b->current_package);
}

int uci_backend_save(uci_backend_context* b) {
    return b->current_package ? b->ctx.save(b->current_package) : (int)vuci::ERR_INVAL;
}

int uci_backend_commit(uci_backend_context* b) {
    return b->current_package ? b->ctx.commit(b->current_package, false) : (int)vuci::ERR_INVAL;
}

int uci_backend_revert(uci_backend_context* b) {
    if (!b->current_package) return vuci::ERR_INVAL;
    std::string name = b->current_package->name;
    b->current = vuci::ref();
    b->current_package = nullptr;
    return b->ctx.revert(name, "", "");
}

void uci_backend_unload(uci_backend_context* b) {
    if (b->current_package) b->ctx.unload(b->current_package->name);
    b->current = vuci::ref();
    b->current_package = nullptr;
}
