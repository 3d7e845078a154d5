// Bounded reads of UCI values for the library's own code: the exported
// vespin_uci_ctx_get writes without a bound (its callers size the output),
// these never overrun and keep list values with blanks.
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

struct uci_context;

// Looks a path up in the context: 0, 600104 (not found), 600005 (a package)
// or 600001. *text (may be null) gets an option's value or a section's type;
// *items (may be null) a list's values, or the one value of a plain option.
int uci_ctx_find(uci_context* ctx, const char* path, std::string* text, std::vector<std::string>* items);
// An option's value (or a section's type) cut to capacity - 1 bytes; codes as uci_ctx_find.
int uci_ctx_get_text(uci_context* ctx, const char* path, char* out, size_t capacity);
