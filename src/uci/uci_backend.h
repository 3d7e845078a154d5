// The UCI library as the core's UCI access uses it: one context, paths
// looked up in the extended syntax, and changes, saves, commits and reverts
// of the package last looked up. Implemented over the built-in engine
// (engine_backend.cpp) or over the system's libuci (libuci_backend.cpp),
// chosen by the build. Errors are UCI error numbers (3 is "not found").
#pragma once

#include <string>
#include <vector>

struct uci_backend_context;

enum { UCI_BACKEND_NOTFOUND = 3 };

enum class uci_backend_element { package, section, option_string, option_list, other };

// The element a lookup ended at.
struct uci_backend_found {
    bool complete = false;  // every element of the path was found
    uci_backend_element last = uci_backend_element::package;
    std::string text;                // section type, or option value
    std::vector<std::string> items;  // list values
};

// A new context over the router's configuration and save directories, or null.
uci_backend_context* uci_backend_new();
void uci_backend_free(uci_backend_context* b);
void uci_backend_set_strict(uci_backend_context* b, bool strict);
// Looks a path up (extended syntax) and remembers it for the calls below.
// Like libuci, it cuts `path` in place at the first '.' (and '='), leaving
// the package name in it.
int uci_backend_lookup(uci_backend_context* b, char* path, uci_backend_found* found);
// Changes at the path last looked up.
int uci_backend_set(uci_backend_context* b);
int uci_backend_delete(uci_backend_context* b);
int uci_backend_add_list(uci_backend_context* b);
int uci_backend_del_list(uci_backend_context* b);
// Adds an anonymous section of `type` to the package last looked up or loaded.
int uci_backend_add_section(uci_backend_context* b, const char* type);
// Loads a package by name and makes it the current one.
int uci_backend_load(uci_backend_context* b, const char* package);
// Of the current package: save its changes as pending (delta) changes,
// commit them into its file, revert its pending changes, unload it.
int uci_backend_save(uci_backend_context* b);
int uci_backend_commit(uci_backend_context* b);
int uci_backend_revert(uci_backend_context* b);
void uci_backend_unload(uci_backend_context* b);
