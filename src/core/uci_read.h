// Bounded reads of UCI values for the feature handlers: vespin_uci_ctx_get
// writes a value of any length into the caller's buffer, which a hand-edited
// package could overflow; these keep every value in a std::string.
#pragma once

#include "uciconfig.h"

#include <string>
#include <vector>

// The value of an option (one item), the items of a list, or the type of a
// section (one item) at `path` in the context. Returns 0, 600104 when the
// path is not found, 600001 for another lookup error or a bad context.
// List items holding whitespace are passed over, as vespin_uci_ctx_get does.
int uci_read_values(uci_context* ctx, const char* path, std::vector<std::string>* values);
// The first value at `path` ("" when a list is empty): 0, 600104 or 600001.
int uci_read_text(uci_context* ctx, const char* path, std::string* value);

// Owns a context from vespin_uci_ctx_new for the length of a scope.
struct uci_context_owner {
    uci_context* ctx;
    uci_context_owner() : ctx(vespin_uci_ctx_new()) {}
    ~uci_context_owner() { vespin_uci_ctx_free(ctx); }
    uci_context_owner(const uci_context_owner&) = delete;
    uci_context_owner& operator=(const uci_context_owner&) = delete;
    bool ok() const { return !vespin_is_error(ctx); }
};
