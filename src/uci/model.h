// The in-memory form of a UCI package: sections in file order, each with
// its options in file order, and the one set of changes that both the
// engine's operations and the replay of delta files apply.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace vuci {

// Error numbers, in the numbering UCI libraries and tools report.
enum error { OK = 0, ERR_MEM = 1, ERR_INVAL = 2, ERR_NOTFOUND = 3, ERR_IO = 4, ERR_PARSE = 5,
             ERR_DUPLICATE = 6, ERR_UNKNOWN = 7 };
// "Entry not found", "Invalid argument", ... as the tool prints them.
const char* error_text(int err);

// Name rules: sections and options take letters, digits and '_'; types
// also '-' and '.'; packages letters, digits, '_' and '-'.
bool valid_name(const std::string& s);
bool valid_type(const std::string& s);
bool valid_package_name(const std::string& s);

// Reads a whole decimal number (a list index): false for anything else.
bool parse_integer(const std::string& text, long* value);

struct option {
    std::string name;
    bool is_list = false;
    std::string value;               // when !is_list
    std::vector<std::string> items;  // when is_list
};

struct section {
    std::string name;
    std::string type;
    bool anonymous = false;
    std::vector<option> options;

    option* find(const std::string& option_name);
    const option* find(const std::string& option_name) const;
};

enum class change_kind { set, add, remove, rename, reorder, list_add, list_del };

// One change of a package, as kept pending and in delta files. `option` is
// empty for a change of a whole section; `value` holds the value, the type
// (add), the new name (rename), the position (reorder) or, for a delete, the
// index of the list item to delete (empty: the whole option or section).
struct change {
    change_kind kind = change_kind::set;
    std::string section;
    std::string option;
    std::string value;
};

struct package {
    std::string name;
    std::vector<std::unique_ptr<section>> sections;
    std::vector<change> pending;  // made in memory, not yet saved as deltas
    unsigned created = 0;         // sections created by this load; numbers anonymous names

    section* find(const std::string& section_name) const;
    // Appends a section; an empty name makes it anonymous ("cfg" + counter + type hash).
    section* create(const std::string& type, const std::string& section_name);
    void remove(const section* s);
    void rename(section* s, const std::string& new_name);
    // Moves a section to a position (clamped to the end).
    void move(const section* s, size_t position);
    // Index of a section in file order.
    size_t index_of(const section* s) const;

  private:
    std::unordered_map<std::string, section*> by_name_;
};

// The name an anonymous section gets: cfg, the counter in two hex digits,
// then four hex digits of the type's hash.
std::string anonymous_name(unsigned counter, const std::string& type);

// Applies one change to the package. Returns OK, ERR_NOTFOUND (the section
// or option it needs is missing) or ERR_INVAL (a malformed change, a list
// index that is not a number, or a rename onto an invalid or taken name).
// `changed` (may be null) tells whether the change is to be recorded: it
// changed the package, or it is a del_list on a list.
int apply_change(package& p, const change& c, bool* changed);

}  // namespace vuci
