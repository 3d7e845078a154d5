// A UCI context: a configuration directory of packages, a save directory of
// delta files, packages loaded with their pending changes, and the
// operations of the UCI libraries (lookup, set, delete, add, lists, rename,
// reorder, save, commit, revert).
#pragma once

#include "files.h"
#include "model.h"
#include "parser.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vuci {

enum class element { package, section, option };

// A looked-up path. Names are as written, except that an "@type[i]"
// section becomes the name of the section found.
struct ref {
    std::string package_name;
    std::string section_name;
    std::string option_name;
    std::string value;
    bool has_value = false;
    vuci::package* p = nullptr;
    vuci::section* s = nullptr;
    vuci::option* o = nullptr;
    element last = element::package;  // the deepest element found
    bool complete = false;            // every element named was found
};

class context {
  public:
    context(std::string config_dir, std::string save_dir);

    const std::string& config_dir() const { return config_dir_; }
    const std::string& save_dir() const { return save_dir_; }
    void set_config_dir(std::string dir) { config_dir_ = std::move(dir); }
    void set_save_dir(std::string dir) { save_dir_ = std::move(dir); }
    // Directories of read-only delta files, applied before the save directory's.
    void add_delta_dir(std::string dir) { delta_dirs_.push_back(std::move(dir)); }
    // Strict (the default): a parse error fails a load. Otherwise broken
    // statements are skipped and listed in parse_errors().
    void set_strict(bool strict) { strict_ = strict; }
    // Errors of the last load (the failing one, or the skipped ones).
    const std::vector<parse_error>& parse_errors() const { return parse_errors_; }

    // Package names of the configuration directory, sorted (names with a dot are
    // not packages), into *names. OK (a missing directory holds none), or ERR_IO
    // when the directory cannot be opened or read: never a silently short list.
    int list_packages(std::vector<std::string>* names) const;
    // Loads a package (or gives the one loaded): its file, then its deltas.
    // OK, ERR_INVAL (bad name), ERR_NOTFOUND (no file), ERR_IO, ERR_PARSE.
    int load(const std::string& name, package** out);
    package* loaded(const std::string& name) const;
    void unload(const std::string& name);

    // Looks a path up, loading its package. OK also when a named section or
    // option is missing (then !complete); ERR_NOTFOUND when the package is
    // missing or "@type[i]" is out of range; ERR_INVAL for a malformed path.
    int lookup(const std::string& path, ref* out);

    // Changes through a looked-up ref, kept pending in memory.
    // set: section (value = type) or option. An empty value deletes, and is
    // kept as a delete (nothing when there is nothing to delete). A missing
    // section is ERR_INVAL.
    int set(ref& r);
    // Deletes the section or option; with a value, item N of a list option
    // (an index out of range does nothing; a value that is not a number is
    // ERR_INVAL; on a single value the whole option goes).
    int remove(ref& r);
    int add_list(ref& r);
    int del_list(ref& r);
    int rename(ref& r);   // value = new name
    int reorder(ref& r);  // value = position, read as an integer
    // Adds an anonymous section; its name goes to *name.
    int add_section(package* p, const std::string& type, std::string* name);

    // Adds the sections and values of `from` to the package as pending
    // changes: anonymous sections as new sections, list items appended.
    int merge(package* p, const package& from);

    // Appends the pending changes to the package's delta file (a missing
    // save directory is made with the configuration directory's mode).
    int save(package* p);
    // Writes the package with its saved and pending changes to its file
    // under the package's lock, then empties the delta file. With no change
    // the file is left as it was. When the package file or a delta file
    // changed since the package was loaded (another process committed or
    // saved), the file and the deltas are read again under the lock first,
    // so that no change of another process is lost. `overwrite` writes the
    // package as it is in memory instead (import; a new file gets mode 0600).
    int commit(package* p, bool overwrite);
    // Saves pending changes, then drops the saved changes of the package (or
    // of one section or option of it) from the delta file, and unloads it.
    int revert(const std::string& package_name, const std::string& section, const std::string& option);
    // The saved changes of a package, from every delta directory.
    std::vector<change> saved_changes(const std::string& package_name) const;

    std::string package_path(const std::string& name) const { return config_dir_ + "/" + name; }
    std::string delta_path(const std::string& name) const { return save_dir_ + "/" + name; }

  private:
    // The delta files of a package as read: their texts (telling any
    // change apart) and their changes, in the order they apply.
    struct deltas {
        std::string extra_texts;  // of the read-only directories, each marked as missing or not
        bool saved_exists = false;
        std::string saved_text;   // the save directory's delta file
        std::vector<change> changes;
        size_t saved_from = 0;    // the save directory's changes start here

        bool same_texts(const deltas& o) const {
            return extra_texts == o.extra_texts && saved_exists == o.saved_exists && saved_text == o.saved_text;
        }
    };
    // What a loaded package was read from, to tell whether a commit must read again.
    struct snapshot {
        file_identity file;
        bool file_known = false;  // the file did not change while it was read
        deltas read;              // texts only
    };

    // Applies a change and keeps it pending when it is to be recorded.
    int record(package& p, const change& c);
    int change_through(ref& r, change_kind kind, const std::string& value);
    int read_package(const std::string& name, std::unique_ptr<package>* out, snapshot* seen);
    deltas read_deltas(const std::string& package_name) const;
    int resolve_section(ref* r, const std::string& written);

    std::string config_dir_;
    std::string save_dir_;
    std::vector<std::string> delta_dirs_;
    bool strict_ = true;
    std::vector<parse_error> parse_errors_;
    std::map<std::string, std::unique_ptr<package>> packages_;
    std::map<std::string, snapshot> snapshots_;
};

}  // namespace vuci
