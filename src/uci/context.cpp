#include "context.h"

#include "delta.h"
#include "files.h"
#include "path.h"
#include "writer.h"

#include <dirent.h>
#include <errno.h>
#include <sys/stat.h>

#include <stdlib.h>

#include <algorithm>

namespace vuci {

namespace {

void apply_all(package* p, const std::vector<change>& changes) {
    for (const change& c : changes) apply_change(*p, c, nullptr);  // a stale change is dropped, as on load
}

}  // namespace

context::context(std::string config_dir, std::string save_dir)
    : config_dir_(std::move(config_dir)), save_dir_(std::move(save_dir)) {}

int context::list_packages(std::vector<std::string>* names) const {
    names->clear();
    DIR* dir = opendir(config_dir_.c_str());
    if (!dir) return errno == ENOENT ? OK : ERR_IO;
    for (;;) {
        errno = 0;  // readdir gives null both at the end and on failure
        struct dirent* entry = readdir(dir);
        if (!entry) break;
        std::string name = entry->d_name;
        struct stat st;
        if (valid_package_name(name) && stat(package_path(name).c_str(), &st) == 0 && S_ISREG(st.st_mode))
            names->push_back(name);
    }
    int read_error = errno;
    closedir(dir);
    if (read_error) {
        names->clear();
        return ERR_IO;
    }
    std::sort(names->begin(), names->end());
    return OK;
}

int context::read_package(const std::string& name, std::unique_ptr<package>* out, snapshot* seen) {
    parse_errors_.clear();
    if (!valid_package_name(name)) return ERR_INVAL;
    const std::string path = package_path(name);
    file_identity before = identify_file(path);
    std::string text;
    int err = read_file(path, &text);
    if (err) return err;
    seen->file = identify_file(path);
    seen->file_known = before.exists && before == seen->file;
    auto p = std::make_unique<package>();
    p->name = name;
    err = parse_package(text, strict_, p.get(), &parse_errors_);
    if (err) return err;
    *out = std::move(p);
    return OK;
}

context::deltas context::read_deltas(const std::string& package_name) const {
    deltas d;
    for (const std::string& dir : delta_dirs_) {
        std::string text;
        bool exists = read_file(dir + "/" + package_name, &text) == OK;
        d.extra_texts += exists ? "E" + std::to_string(text.size()) + ":" + text : std::string("M");
        std::vector<change> some = parse_delta(text, package_name);
        d.changes.insert(d.changes.end(), some.begin(), some.end());
    }
    d.saved_from = d.changes.size();
    d.saved_exists = read_file(delta_path(package_name), &d.saved_text) == OK;
    std::vector<change> saved = parse_delta(d.saved_text, package_name);
    d.changes.insert(d.changes.end(), saved.begin(), saved.end());
    return d;
}

std::vector<change> context::saved_changes(const std::string& package_name) const {
    return read_deltas(package_name).changes;
}

int context::load(const std::string& name, package** out) {
    if (package* p = loaded(name)) {
        *out = p;
        return OK;
    }
    std::unique_ptr<package> p;
    snapshot seen;
    int err = read_package(name, &p, &seen);
    if (err) return err;
    seen.read = read_deltas(name);
    apply_all(p.get(), seen.read.changes);
    seen.read.changes.clear();
    *out = p.get();
    packages_[name] = std::move(p);
    snapshots_[name] = std::move(seen);
    return OK;
}

package* context::loaded(const std::string& name) const {
    auto it = packages_.find(name);
    return it == packages_.end() ? nullptr : it->second.get();
}

void context::unload(const std::string& name) {
    std::string key = name;  // `name` may be the package's own, gone with it
    snapshots_.erase(key);
    packages_.erase(key);
}

int context::resolve_section(ref* r, const std::string& written) {
    std::string type;
    long index = 0;
    parse_section_index(written, &type, &index);
    std::vector<section*> matching;
    for (const auto& s : r->p->sections)
        if (type.empty() || s->type == type) matching.push_back(s.get());
    if (index < 0) index += (long)matching.size();
    if (index < 0 || index >= (long)matching.size()) return ERR_NOTFOUND;
    r->s = matching[(size_t)index];
    r->section_name = r->s->name;
    return OK;
}

int context::lookup(const std::string& text, ref* out) {
    *out = ref();
    parse_errors_.clear();
    path_parts parts;
    int err = split_path(text, &parts);
    if (err) return err;
    out->package_name = parts.package;
    out->section_name = parts.section;
    out->option_name = parts.option;
    out->value = parts.value;
    out->has_value = parts.has_value;
    err = load(parts.package, &out->p);
    if (err) return err;
    if (parts.section.empty()) {
        out->complete = true;
        return OK;
    }
    if (parts.section[0] == '@') {
        err = resolve_section(out, parts.section);
        if (err) return err;
    } else {
        out->s = out->p->find(parts.section);
        if (!out->s) return OK;
    }
    out->last = element::section;
    if (!parts.option.empty()) {
        out->o = out->s->find(parts.option);
        if (!out->o) return OK;
        out->last = element::option;
    }
    out->complete = true;
    return OK;
}

int context::record(package& p, const change& c) {
    bool changed = false;
    int err = apply_change(p, c, &changed);
    if (!err && changed) p.pending.push_back(c);
    return err;
}

int context::change_through(ref& r, change_kind kind, const std::string& value) {
    if (!r.p || r.section_name.empty()) return ERR_INVAL;
    int err = record(*r.p, change{kind, r.section_name, r.option_name, value});
    if (err) return err;
    // The change may have moved or dropped what the ref pointed at.
    r.s = r.p->find(kind == change_kind::rename && r.option_name.empty() ? value : r.section_name);
    r.o = r.s && !r.option_name.empty() ? r.s->find(kind == change_kind::rename ? value : r.option_name) : nullptr;
    return OK;
}

int context::set(ref& r) {
    if (!r.has_value) return ERR_INVAL;
    if (!r.p || r.section_name.empty() || (!r.s && !r.option_name.empty())) return ERR_INVAL;
    if (r.value.empty()) {  // an empty value deletes, and is kept as a delete
        bool present = r.option_name.empty() ? r.s != nullptr : r.o != nullptr;
        return present ? change_through(r, change_kind::remove, "") : (int)OK;
    }
    return change_through(r, change_kind::set, r.value);
}

int context::remove(ref& r) {
    if (!r.complete) return ERR_NOTFOUND;
    if (!r.has_value || r.value.empty()) return change_through(r, change_kind::remove, "");
    long index = 0;
    if (!parse_integer(r.value, &index)) return ERR_INVAL;
    // Item N of a list; on a single value (or a section) the value only has to be a number.
    bool item = r.o && r.o->is_list;
    return change_through(r, change_kind::remove, item ? std::to_string(index) : "");
}

int context::add_list(ref& r) {
    if (!r.has_value || r.option_name.empty()) return ERR_INVAL;
    return change_through(r, change_kind::list_add, r.value);
}

int context::del_list(ref& r) {
    if (!r.has_value || r.option_name.empty()) return ERR_INVAL;
    return change_through(r, change_kind::list_del, r.value);
}

int context::rename(ref& r) {
    if (!r.has_value) return ERR_INVAL;
    if (!r.complete) return ERR_NOTFOUND;
    return change_through(r, change_kind::rename, r.value);
}

int context::reorder(ref& r) {
    if (!r.has_value || !r.option_name.empty()) return ERR_INVAL;
    if (!r.complete) return ERR_NOTFOUND;
    // Kept with the position as an integer ("-3" stays, "07" becomes "7").
    return change_through(r, change_kind::reorder, std::to_string(strtol(r.value.c_str(), nullptr, 10)));
}

int context::add_section(package* p, const std::string& type, std::string* name) {
    if (!p || !valid_type(type)) return ERR_INVAL;
    section* s = p->create(type, "");
    p->pending.push_back(change{change_kind::add, s->name, "", type});
    if (name) *name = s->name;
    return OK;
}

int context::merge(package* p, const package& from) {
    for (const auto& s : from.sections) {
        std::string name = s->name;
        int err = s->anonymous ? add_section(p, s->type, &name) : record(*p, change{change_kind::set, name, "", s->type});
        for (const option& o : s->options) {
            if (err) break;
            if (!o.is_list) err = record(*p, change{change_kind::set, name, o.name, o.value});
            for (const std::string& item : o.items) {
                if (!err) err = record(*p, change{change_kind::list_add, name, o.name, item});
            }
        }
        if (err) return err;
    }
    return OK;
}

int context::save(package* p) {
    if (p->pending.empty()) return OK;
    std::string lines;
    for (const change& c : p->pending) lines += format_change(p->name, c);
    int err = append_file(delta_path(p->name), lines, file_mode(package_path(p->name), 0644),
                          file_mode(config_dir_, 0755));
    if (err) return err;
    p->pending.clear();
    auto known = snapshots_.find(p->name);
    if (known != snapshots_.end()) {  // what we appended ourselves needs no reading again
        known->second.read.saved_exists = true;
        known->second.read.saved_text += lines;
    }
    return OK;
}

int context::commit(package* p, bool overwrite) {
    const std::string path = package_path(p->name);
    file_lock lock;
    int err = lock.lock(path);
    if (err) return err;
    if (overwrite) {
        err = replace_file(path, write_package(*p, false, false), file_mode(path, 0600));
        if (err) return err;
        p->pending.clear();
        snapshots_.erase(p->name);
        return OK;
    }
    deltas now = read_deltas(p->name);
    if (now.saved_from == now.changes.size() && p->pending.empty()) return OK;
    // Another process may have committed or saved since we loaded: then
    // start again from the files as they are now, under the lock.
    auto known = snapshots_.find(p->name);
    bool unchanged = known != snapshots_.end() && known->second.file_known &&
                     known->second.file == identify_file(path) && known->second.read.same_texts(now);
    std::unique_ptr<package> fresh;
    if (!unchanged) {
        snapshot ignored;
        err = read_package(p->name, &fresh, &ignored);
        if (err) return err;
        apply_all(fresh.get(), now.changes);
        apply_all(fresh.get(), p->pending);
    }
    err = replace_file(path, write_package(fresh ? *fresh : *p, false, false), file_mode(path, 0644));
    if (err) return err;
    if (now.saved_exists) err = replace_file(delta_path(p->name), "", file_mode(delta_path(p->name), 0644));
    if (fresh) *p = std::move(*fresh);
    p->pending.clear();
    snapshot& after = snapshots_[p->name];
    after.file = identify_file(path);
    after.file_known = true;
    after.read = std::move(now);
    after.read.changes.clear();
    if (!err) after.read.saved_text.clear();
    return err;
}

int context::revert(const std::string& package_name, const std::string& section, const std::string& option) {
    package* p = nullptr;
    int err = load(package_name, &p);
    if (err) return err;
    err = save(p);
    if (err) return err;
    unload(package_name);
    const std::string path = delta_path(package_name);
    std::string text;
    if (read_file(path, &text) != OK) return OK;
    std::string kept;
    for (const change& c : parse_delta(text, package_name)) {
        bool matches = section.empty() || (c.section == section && (option.empty() || c.option == option));
        if (!matches) kept += format_change(package_name, c);
    }
    return replace_file(path, kept, file_mode(path, 0644));
}

}  // namespace vuci
