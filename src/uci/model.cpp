#include "model.h"

#include <ctype.h>
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

namespace vuci {

const char* error_text(int err) {
    switch (err) {
    case OK: return "Success";
    case ERR_MEM: return "Out of memory";
    case ERR_INVAL: return "Invalid argument";
    case ERR_NOTFOUND: return "Entry not found";
    case ERR_IO: return "I/O error";
    case ERR_PARSE: return "Parse error";
    case ERR_DUPLICATE: return "Duplicate entry";
    default: return "Unknown error";
    }
}

namespace {

// Which bytes each kind of name may hold.
enum name_kind : unsigned char { kName = 1, kType = 2, kPackage = 4 };
struct name_bytes {
    unsigned char kinds[256] = {};
    name_bytes() {
        for (int c = 0; c < 256; ++c)
            if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')
                kinds[c] = kName | kType | kPackage;
        kinds[(unsigned char)'-'] = kType | kPackage;
        kinds[(unsigned char)'.'] = kType;
    }
};
const name_bytes kNameBytes;

bool valid_chars(const std::string& s, name_kind kind) {
    if (s.empty()) return false;
    for (unsigned char c : s)
        if (!(kNameBytes.kinds[c] & kind)) return false;
    return true;
}

std::vector<option>::iterator find_option(section& s, const std::string& name) {
    return std::find_if(s.options.begin(), s.options.end(),
                        [&](const option& o) { return o.name == name; });
}

}  // namespace

bool parse_integer(const std::string& text, long* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    *value = strtol(text.c_str(), &end, 10);
    return *end == 0 && errno == 0;
}

bool valid_name(const std::string& s) { return valid_chars(s, kName); }
bool valid_type(const std::string& s) { return valid_chars(s, kType); }
bool valid_package_name(const std::string& s) { return valid_chars(s, kPackage); }

option* section::find(const std::string& option_name) {
    auto it = find_option(*this, option_name);
    return it == options.end() ? nullptr : &*it;
}

const option* section::find(const std::string& option_name) const {
    return const_cast<section*>(this)->find(option_name);
}

std::string anonymous_name(unsigned counter, const std::string& type) {
    uint32_t hash = 5381;
    for (unsigned char c : type) hash = ((hash * 33) + c) & 0x7fffffff;
    char name[32];
    snprintf(name, sizeof name, "cfg%02x%04x", counter, (unsigned)(hash % 65536));
    return name;
}

section* package::find(const std::string& section_name) const {
    auto it = by_name_.find(section_name);
    return it == by_name_.end() ? nullptr : it->second;
}

section* package::create(const std::string& type, const std::string& section_name) {
    auto s = std::make_unique<section>();
    ++created;
    s->type = type;
    s->anonymous = section_name.empty();
    s->name = section_name;
    if (s->anonymous) {
        // A generated name never takes the name of a section that exists already.
        s->name = anonymous_name(created, type);
        while (find(s->name)) s->name = anonymous_name(++created, type);
    }
    section* made = s.get();
    by_name_[made->name] = made;
    sections.push_back(std::move(s));
    return made;
}

size_t package::index_of(const section* s) const {
    for (size_t i = 0; i < sections.size(); ++i)
        if (sections[i].get() == s) return i;
    return sections.size();
}

void package::remove(const section* s) {
    by_name_.erase(s->name);
    sections.erase(sections.begin() + (long)index_of(s));
}

void package::rename(section* s, const std::string& new_name) {
    by_name_.erase(s->name);
    s->name = new_name;
    s->anonymous = false;
    by_name_[new_name] = s;
}

void package::move(const section* s, size_t position) {
    size_t from = index_of(s);
    std::unique_ptr<section> taken = std::move(sections[from]);
    sections.erase(sections.begin() + (long)from);
    position = std::min(position, sections.size());
    sections.insert(sections.begin() + (long)position, std::move(taken));
}

namespace {

int set_value(package& p, section* s, const change& c, bool* changed) {
    if (c.option.empty()) {
        if (s) {
            if (s->type == c.value) return OK;
            if (!valid_type(c.value)) return ERR_INVAL;
            // Deliberate, as engineers know it: an anonymous section whose
            // type changes to one of another length is written with its
            // generated name from then on.
            if (s->anonymous && s->type.size() != c.value.size()) s->anonymous = false;
            s->type = c.value;
        } else {
            if (!valid_name(c.section) || !valid_type(c.value)) return ERR_INVAL;
            p.create(c.value, c.section);
        }
        *changed = true;
        return OK;
    }
    if (!s) return ERR_NOTFOUND;
    auto it = find_option(*s, c.option);
    if (c.value.empty()) {  // an empty value deletes
        if (it == s->options.end()) return OK;
        s->options.erase(it);
        *changed = true;
        return OK;
    }
    if (it == s->options.end()) {
        s->options.push_back(option{c.option, false, c.value, {}});
    } else {
        if (!it->is_list && it->value == c.value) return OK;
        it->is_list = false;
        it->items.clear();
        it->value = c.value;
    }
    *changed = true;
    return OK;
}

int remove_entry(package& p, section* s, const change& c, bool* changed) {
    if (!s) return ERR_NOTFOUND;
    if (c.option.empty()) {
        p.remove(s);
        *changed = true;
        return OK;
    }
    auto it = find_option(*s, c.option);
    if (it == s->options.end()) return ERR_NOTFOUND;
    if (!c.value.empty()) {  // "-pkg.sec.opt='N'": item N of a list
        long index = 0;
        if (!parse_integer(c.value, &index)) return ERR_INVAL;
        if (it->is_list) {
            if (index < 0 || index >= (long)it->items.size()) return OK;
            it->items.erase(it->items.begin() + index);
            *changed = true;
            return OK;
        }
    }
    s->options.erase(it);
    *changed = true;
    return OK;
}

int rename_entry(package& p, section* s, const change& c, bool* changed) {
    if (!s) return ERR_NOTFOUND;
    if (!valid_name(c.value)) return ERR_INVAL;
    if (c.option.empty()) {
        if (s->name == c.value) return OK;
        if (p.find(c.value)) return ERR_INVAL;
        p.rename(s, c.value);
    } else {
        option* o = s->find(c.option);
        if (!o) return ERR_NOTFOUND;
        if (o->name == c.value) return OK;
        if (s->find(c.value)) return ERR_INVAL;
        o->name = c.value;
    }
    *changed = true;
    return OK;
}

int reorder_section(package& p, section* s, const change& c, bool* changed) {
    if (!s) return ERR_NOTFOUND;
    // The position is read as an integer; 0 and below are first, past the end is last.
    long position = strtol(c.value.c_str(), nullptr, 10);
    size_t to = position <= 0 ? 0 : std::min((size_t)position, p.sections.size() - 1);
    if (to == p.index_of(s)) return OK;
    p.move(s, to);
    *changed = true;
    return OK;
}

int add_list_item(section* s, const change& c, bool* changed) {
    if (!s) return ERR_NOTFOUND;
    option* o = s->find(c.option);
    if (!o) {
        s->options.push_back(option{c.option, true, "", {c.value}});
    } else {
        if (!o->is_list) {  // a single value becomes the list's first item
            o->is_list = true;
            o->items.assign(1, o->value);
            o->value.clear();
        }
        o->items.push_back(c.value);
    }
    *changed = true;
    return OK;
}

// Removes every copy of the item. It is recorded whenever the option is a
// list, even when the item is absent, and a list it empties stays, empty.
int delete_list_item(section* s, const change& c, bool* changed) {
    if (!s) return ERR_NOTFOUND;
    auto it = find_option(*s, c.option);
    if (it == s->options.end() || !it->is_list) return OK;
    it->items.erase(std::remove(it->items.begin(), it->items.end(), c.value), it->items.end());
    *changed = true;
    return OK;
}

}  // namespace

int apply_change(package& p, const change& c, bool* changed) {
    bool ignored = false;
    if (!changed) changed = &ignored;
    *changed = false;
    if (c.section.empty()) return ERR_INVAL;
    if (!c.option.empty() && !valid_name(c.option)) return ERR_INVAL;
    section* s = p.find(c.section);
    switch (c.kind) {
    case change_kind::set: return set_value(p, s, c, changed);
    case change_kind::add:
        if (s) return ERR_DUPLICATE;
        if (!valid_type(c.value)) return ERR_INVAL;
        p.create(c.value, c.section)->anonymous = true;
        *changed = true;
        return OK;
    case change_kind::remove: return remove_entry(p, s, c, changed);
    case change_kind::rename: return rename_entry(p, s, c, changed);
    case change_kind::reorder: return reorder_section(p, s, c, changed);
    case change_kind::list_add:
        if (c.option.empty()) return ERR_INVAL;
        return add_list_item(s, c, changed);
    case change_kind::list_del:
        if (c.option.empty()) return ERR_INVAL;
        return delete_list_item(s, c, changed);
    }
    return ERR_INVAL;
}

}  // namespace vuci
