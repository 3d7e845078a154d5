// UCI contexts inside the library: an owner that frees the context, and
// reading values as whole texts for callers that copy them into fixed fields
// with their own bound (vespin_uci_ctx_get writes without one).
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

#include "uciconfig.h"

// Owns one context from vespin_uci_ctx_new (possibly an error value, which
// ok() tells apart) and frees it, uncommitted changes included.
class uci_ref {
  public:
    uci_ref() : ctx_(vespin_uci_ctx_new()) {}
    ~uci_ref() { vespin_uci_ctx_free(ctx_); }
    uci_ref(const uci_ref&) = delete;
    uci_ref& operator=(const uci_ref&) = delete;
    bool ok() const { return !vespin_is_error(ctx_); }
    uci_context* get() const { return ctx_; }

  private:
    uci_context* ctx_;
};

// Looks a path up in the context: 0, 600104 (not found), 600005 (a package)
// or 600001. *text (may be null) gets an option's value or a section's type;
// *items (may be null) a list's values, or the one value of a plain option.
int uci_ctx_find(uci_context* ctx, const char* path, std::string* text, std::vector<std::string>* items);
// An option's value (or a section's type) cut to capacity - 1 bytes; codes as uci_ctx_find.
int uci_ctx_get_text(uci_context* ctx, const char* path, char* out, size_t capacity);
// An option's value or a section's type into *out, with the codes of
// vespin_uci_ctx_get (0, 600104 not found, 600001, 600005). A list gives its
// values joined by single spaces.
int uci_ctx_get_text(uci_context* ctx, const char* path, std::string* out);
// The items of a list option (a single value gives one item; a section none)
// into *out, with the codes of uci_ctx_get_text. Items holding whitespace are
// passed over, as vespin_uci_ctx_get does.
int uci_ctx_get_list(uci_context* ctx, const char* path, std::vector<std::string>* out);
