// uci: the command-line tool of UCI packages, over the library's UCI engine.
// Paths given with -c, -t, -p and -P, and the defaults /etc/config and
// /tmp/.uci, are router paths (inside VESPIN_ROOT when it is set).
#include "platform.h"
#include "uci/context.h"
#include "uci/parser.h"
#include "uci/path.h"
#include "uci/writer.h"

#include <getopt.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace vuci;

const char* g_app = "uci";

struct options {
    bool quiet = false;
    bool strict = true;
    bool show_names = false;       // -X: anonymous sections by their cfg names
    bool export_names = false;     // -n
    bool no_commit = false;        // -P: state values are never committed
    bool merge = false;            // -m: import adds to a package as pending changes
    std::string delimiter = " ";
    std::string input;             // -f
};

// The usage text, as scripts and engineers know it.
void usage() {
    fprintf(stderr,
            "Usage: %s [<options>] <command> [<arguments>]\n\n"
            "Commands:\n"
            "\tbatch\n"
            "\texport     [<config>]\n"
            "\timport     [<config>]\n"
            "\tchanges    [<config>]\n"
            "\tcommit     [<config>]\n"
            "\tadd        <config> <section-type>\n"
            "\tadd_list   <config>.<section>.<option>=<string>\n"
            "\tdel_list   <config>.<section>.<option>=<string>\n"
            "\tshow       [<config>[.<section>[.<option>]]]\n"
            "\tget        <config>.<section>[.<option>]\n"
            "\tset        <config>.<section>[.<option>]=<value>\n"
            "\tdelete     <config>[.<section>[[.<option>][=<id>]]]\n"
            "\trename     <config>.<section>[.<option>]=<name>\n"
            "\trevert     <config>[.<section>[.<option>]]\n"
            "\treorder    <config>.<section>=<position>\n"
            "\n"
            "Options:\n"
            "\t-c <path>  set the search path for config files (default: /etc/config)\n"
            "\t-C <path>  set the search path for config override files (default: /var/run/uci)\n"
            "\t-d <str>   set the delimiter for list values in uci show\n"
            "\t-f <file>  use <file> as input instead of stdin\n"
            "\t-m         when importing, merge data into an existing package\n"
            "\t-n         name unnamed sections on export (default)\n"
            "\t-N         don't name unnamed sections\n"
            "\t-p <path>  add a search path for config change files\n"
            "\t-P <path>  add a search path for config change files and use as default\n"
            "\t-t <path>  set save path for config change files\n"
            "\t-q         quiet mode (don't print error messages)\n"
            "\t-s         force strict mode (stop on parser errors, default)\n"
            "\t-S         disable strict mode\n"
            "\t-X         do not use extended syntax on 'show'\n"
            "\n",
            g_app);
}

// The exit status of an unknown command or a wrong number of arguments.
const int kUsage = 255;

class tool {
  public:
    tool(const options& opt, context& ctx) : opt_(opt), ctx_(ctx) {}

    // Runs one command: its exit status (kUsage for an unknown command or a
    // wrong number of arguments, the caller prints the usage).
    int run(const std::string& command, const std::vector<std::string>& args);
    // Runs the commands of a text, one per line.
    int batch(const std::string& text);

  private:
    int fail(int err);
    int fail_plain(int err);
    void warn_skipped();
    int split(const std::string& text, path_parts* parts);
    int lookup(const std::string& path, ref* r);
    int load(const std::string& name, package** p);
    int change(const std::vector<std::string>& args, int (context::*op)(ref&));
    int get(const std::vector<std::string>& args);
    int set(const std::vector<std::string>& args);
    int remove(const std::vector<std::string>& args);
    int add(const std::vector<std::string>& args);
    int commit(const std::vector<std::string>& args);
    int revert(const std::vector<std::string>& args);
    int changes(const std::vector<std::string>& args);
    int show(const std::vector<std::string>& args);
    int export_packages(const std::vector<std::string>& args);
    int import_packages(const std::vector<std::string>& args);
    std::string read_input() const;
    // The package the arguments name, or every package: OK or ERR_IO.
    int packages_named(const std::vector<std::string>& args, std::vector<std::string>* names) const;
    int each_loaded(const std::vector<std::string>& names, const std::function<int(package*)>& body);
    void show_section(const package& p, const section& s, const std::string& shown_name) const;
    void show_option(const std::string& prefix, const vuci::option& o) const;
    std::string join_list(const vuci::option& o, bool quote_all) const;

    const options& opt_;
    context& ctx_;
};

int tool::fail(int err) {
    if (!opt_.quiet) {
        if (err == ERR_PARSE && !ctx_.parse_errors().empty()) {
            const parse_error& e = ctx_.parse_errors().front();
            fprintf(stderr, "%s: Parse error (%s) at line %d, byte %d\n", g_app, e.reason.c_str(), e.line, e.byte);
        } else {
            fprintf(stderr, "%s: %s\n", g_app, error_text(err));
        }
    }
    return 1;
}

// An error without a place in a file ("uci: Parse error" for a bad path).
int tool::fail_plain(int err) {
    if (!opt_.quiet) fprintf(stderr, "%s: %s\n", g_app, error_text(err));
    return 1;
}

// Lenient reading goes on past broken statements; each one is still reported.
void tool::warn_skipped() {
    if (opt_.strict || opt_.quiet) return;
    for (const parse_error& e : ctx_.parse_errors())
        fprintf(stderr, "Parse error (%s) at line %d, byte %d\n", e.reason.c_str(), e.line, e.byte);
}

int tool::split(const std::string& text, path_parts* parts) {
    int err = split_path(text, parts);
    return err ? fail_plain(err) : 0;
}

int tool::lookup(const std::string& path, ref* r) {
    bool was_loaded = false;
    path_parts parts;
    if (split_path(path, &parts) == OK) was_loaded = ctx_.loaded(parts.package);
    int err = ctx_.lookup(path, r);
    if (!was_loaded) warn_skipped();
    return err;
}

int tool::load(const std::string& name, package** p) {
    bool was_loaded = ctx_.loaded(name);
    int err = ctx_.load(name, p);
    if (!was_loaded) warn_skipped();
    return err;
}

int tool::change(const std::vector<std::string>& args, int (context::*op)(ref&)) {
    ref r;
    int err = lookup(args[0], &r);
    if (!err) err = (ctx_.*op)(r);
    if (!err) err = ctx_.save(r.p);
    return err ? fail(err) : 0;
}

std::string tool::join_list(const vuci::option& o, bool quote_all) const {
    std::string out;
    for (size_t i = 0; i < o.items.size(); ++i) {
        const std::string& item = o.items[i];
        if (i) out += opt_.delimiter;
        out += quote_all || item.find_first_of(" \t\r\n") != std::string::npos ? quote_value(item) : item;
    }
    return out;
}

int tool::get(const std::vector<std::string>& args) {
    path_parts parts;
    if (split(args[0], &parts)) return 1;
    if (parts.has_value) return 1;  // a value has no place here: nothing printed
    ref r;
    int err = lookup(args[0], &r);
    if (err) return fail(err);
    if (!r.complete) return fail(ERR_NOTFOUND);
    if (r.last == element::package) return 0;
    if (r.last == element::section) printf("%s\n", r.s->type.c_str());
    else printf("%s\n", r.o->is_list ? join_list(*r.o, false).c_str() : r.o->value.c_str());
    return 0;
}

int tool::set(const std::vector<std::string>& args) {
    ref r;
    int err = lookup(args[0], &r);
    // A set needs its section: an index out of range is a bad argument.
    if (err == ERR_NOTFOUND && r.p) err = ERR_INVAL;
    if (!err) err = ctx_.set(r);
    if (!err) err = ctx_.save(r.p);
    return err ? fail(err) : 0;
}

int tool::remove(const std::vector<std::string>& args) {
    ref r;
    int err = lookup(args[0], &r);
    if (err) return fail(err);
    long index;
    // "=N" is a list item's index: anything but a number fails without a message.
    if (r.has_value && !r.value.empty() && !parse_integer(r.value, &index)) return 1;
    err = ctx_.remove(r);
    if (!err) err = ctx_.save(r.p);
    return err ? fail(err) : 0;
}

// add exits with the error's number ("Entry not found" is 3); a bad type,
// which we refuse on purpose, exits 1.
int tool::add(const std::vector<std::string>& args) {
    package* p = nullptr;
    std::string name;
    int err = load(args[0], &p);
    if (err) {
        fail(err);
        return err;
    }
    err = ctx_.add_section(p, args[1], &name);
    if (!err) err = ctx_.save(p);
    if (err) return fail(err);
    printf("%s\n", name.c_str());
    return 0;
}

int tool::packages_named(const std::vector<std::string>& args, std::vector<std::string>* names) const {
    if (args.empty()) return ctx_.list_packages(names);
    *names = {args[0]};
    return OK;
}

// Loads each named package and hands it to body; a package that cannot be
// loaded, or whose body fails, is reported and the next one taken. The
// status of the last failure, 0 when none.
int tool::each_loaded(const std::vector<std::string>& names, const std::function<int(package*)>& body) {
    int status = 0;
    for (const std::string& name : names) {
        package* p = nullptr;
        int err = load(name, &p);
        if (!err) err = body(p);
        if (err) status = fail(err);
    }
    return status;
}

// Without a package, every package is committed; a broken one is reported and skipped.
int tool::commit(const std::vector<std::string>& args) {
    if (opt_.no_commit) return 0;
    std::vector<std::string> names;
    if (int err = packages_named(args, &names)) return fail(err);
    int status = each_loaded(names, [&](package* p) { return ctx_.commit(p, false); });
    return args.empty() ? 0 : status;
}

int tool::revert(const std::vector<std::string>& args) {
    path_parts parts;
    if (split(args[0], &parts)) return 1;
    if (parts.has_value) return 1;
    package* p = nullptr;
    int err = load(parts.package, &p);
    if (err) return fail(err);
    // A missing section or option has nothing to revert, which is fine.
    ref r;
    std::string section = ctx_.lookup(args[0], &r) == OK ? r.section_name : parts.section;
    err = ctx_.revert(parts.package, section, parts.option);
    return err ? fail(err) : 0;
}

// Each saved change as a set would print it; deletes and list changes marked.
int tool::changes(const std::vector<std::string>& args) {
    std::vector<std::string> names;
    if (int err = packages_named(args, &names)) return fail(err);
    int status = each_loaded(names, [&](package* p) {
        for (const vuci::change& c : ctx_.saved_changes(p->name)) {
            std::string line = (c.kind == change_kind::remove ? "-" : "") + p->name + "." + c.section;
            if (!c.option.empty()) line += "." + c.option;
            if (c.kind == change_kind::list_add) line += "+";
            if (c.kind == change_kind::list_del) line += "-";
            if (c.kind != change_kind::remove) line += "=" + quote_value(c.value);
            printf("%s\n", line.c_str());
        }
        return 0;
    });
    return args.empty() ? 0 : status;
}

void tool::show_option(const std::string& prefix, const vuci::option& o) const {
    std::string value = o.is_list ? join_list(o, true) : quote_value(o.value);
    printf("%s.%s=%s\n", prefix.c_str(), o.name.c_str(), value.c_str());
}

void tool::show_section(const package& p, const section& s, const std::string& shown_name) const {
    std::string prefix = p.name + "." + shown_name;
    printf("%s=%s\n", prefix.c_str(), s.type.c_str());
    for (const vuci::option& o : s.options) show_option(prefix, o);
}

int tool::show(const std::vector<std::string>& args) {
    std::vector<std::string> names;
    if (!args.empty()) {
        path_parts parts;
        if (split(args[0], &parts)) return 1;
        if (parts.has_value) return 1;
        ref r;
        int err = lookup(args[0], &r);
        if (err) return fail(err);
        if (!r.complete) return fail(ERR_NOTFOUND);
        if (r.last == element::option) {
            show_option(r.package_name + "." + r.section_name, *r.o);
            return 0;
        }
        if (r.last == element::section) {
            show_section(*r.p, *r.s, r.section_name);
            return 0;
        }
        names.push_back(r.package_name);
    } else if (int err = ctx_.list_packages(&names)) {
        return fail(err);
    }
    each_loaded(names, [&](package* p) {  // a broken package is reported and skipped
        std::map<std::string, int> seen;   // sections of each type so far
        for (const auto& s : p->sections) {
            int index = seen[s->type]++;
            bool by_index = s->anonymous && !opt_.show_names;
            show_section(*p, *s, by_index ? "@" + s->type + "[" + std::to_string(index) + "]" : s->name);
        }
        return 0;
    });
    return 0;
}

int tool::export_packages(const std::vector<std::string>& args) {
    std::vector<std::string> names;
    if (int err = packages_named(args, &names)) return fail(err);
    return each_loaded(names, [&](package* p) {
        fputs(write_package(*p, true, opt_.export_names).c_str(), stdout);
        return 0;
    });
}

std::string read_all(FILE* in) {
    std::string text;
    char chunk[16384];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, in)) > 0) text.append(chunk, n);
    return text;
}

// Standard input, or the file given with -f.
std::string tool::read_input() const {
    if (opt_.input.empty()) return read_all(stdin);
    FILE* in = fopen(opt_.input.c_str(), "rb");
    if (!in) return "";
    std::string text = read_all(in);
    fclose(in);
    return text;
}

// Replaces packages with the input's, or with -m adds the input to a
// package as pending changes.
int tool::import_packages(const std::vector<std::string>& args) {
    if (opt_.merge && args.empty()) return kUsage;
    if (!opt_.input.empty() && access(opt_.input.c_str(), R_OK) != 0) return fail(ERR_IO);
    std::string text = read_input();
    std::vector<std::unique_ptr<package>> imported;
    std::vector<parse_error> errors;
    int err = parse_packages(text, args.empty() ? "" : args[0], opt_.strict, &imported, &errors);
    if (err) {
        if (!opt_.quiet)
            fprintf(stderr, "%s: Parse error (%s) at line %d, byte %d\n", g_app, errors[0].reason.c_str(),
                    errors[0].line, errors[0].byte);
        return 1;
    }
    int status = 0;
    for (auto& p : imported) {
        if (!args.empty() && p->name != args[0]) continue;
        if (opt_.merge) {
            package* into = nullptr;
            err = load(p->name, &into);
            if (!err) err = ctx_.merge(into, *p);
            if (!err) err = ctx_.save(into);
        } else {
            err = ctx_.commit(p.get(), true);
        }
        if (err) status = fail(err);
    }
    return status;
}

// Each line is a command with its arguments, split into words as in a
// package file. Errors are printed and the next line runs; "exit" stops.
// Standard input is the batch itself, so "import" (which would replace a
// package with what it finds there) and a nested "batch" are unknown here.
int tool::batch(const std::string& text) {
    statement_scanner scan(text);
    while (scan.next_statement()) {
        std::vector<std::string> words;
        std::string word;
        parse_error error;
        bool ok = true;
        while (ok && scan.more_words()) {
            ok = scan.read_word(&word, &error);
            if (ok) words.push_back(word);
        }
        if (!ok) {
            if (!opt_.quiet)
                fprintf(stderr, "%s: Parse error (%s) at line %d, byte %d\n", g_app, error.reason.c_str(), error.line,
                        error.byte);
            continue;
        }
        if (words.empty()) continue;
        if (!strcasecmp(words[0].c_str(), "exit")) break;
        std::vector<std::string> args(words.begin() + 1, words.end());
        bool refused = !strcasecmp(words[0].c_str(), "batch") || !strcasecmp(words[0].c_str(), "import");
        if (refused || run(words[0], args) == kUsage) {
            if (!opt_.quiet) fprintf(stderr, "Unknown command\n");
        }
        fflush(stdout);
    }
    return 0;
}

int tool::run(const std::string& command, const std::vector<std::string>& args) {
    const struct {
        const char* name;
        size_t min_args, max_args;
        std::function<int(tool*, const std::vector<std::string>&)> handler;
    } commands[] = {
        {"get", 1, 1, &tool::get},
        {"set", 1, 1, &tool::set},
        {"delete", 1, 1, &tool::remove},
        {"add", 2, 2, &tool::add},
        {"add_list", 1, 1, [](tool* t, const std::vector<std::string>& a) { return t->change(a, &context::add_list); }},
        {"del_list", 1, 1, [](tool* t, const std::vector<std::string>& a) { return t->change(a, &context::del_list); }},
        {"rename", 1, 1, [](tool* t, const std::vector<std::string>& a) { return t->change(a, &context::rename); }},
        {"reorder", 1, 1, [](tool* t, const std::vector<std::string>& a) { return t->change(a, &context::reorder); }},
        {"commit", 0, 1, &tool::commit},
        {"revert", 1, 1, &tool::revert},
        {"changes", 0, 1, &tool::changes},
        {"show", 0, 1, &tool::show},
        {"export", 0, 1, &tool::export_packages},
        {"import", 0, 1, &tool::import_packages},
    };
    for (const auto& c : commands) {
        if (strcasecmp(command.c_str(), c.name) != 0) continue;
        if (args.size() < c.min_args || args.size() > c.max_args) return kUsage;
        return c.handler(this, args);
    }
    return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 0 && argv[0][0]) {
        const char* slash = strrchr(argv[0], '/');
        g_app = slash ? slash + 1 : argv[0];
    }
    options opt;
    context ctx(plat_path("/etc/config"), plat_path("/tmp/.uci"));
    int c;
    opterr = 0;
    while ((c = getopt(argc, argv, ":c:C:d:f:mnNp:P:qsSt:X")) != -1) {
        switch (c) {
        case 'c': ctx.set_config_dir(plat_path(optarg)); break;
        case 'C': break;  // no override files on this router
        case 'd': opt.delimiter = optarg; break;
        case 'f': opt.input = optarg; break;
        case 'm': opt.merge = true; break;
        case 'n': opt.export_names = true; break;
        case 'N': opt.export_names = false; break;
        case 'p': ctx.add_delta_dir(plat_path(optarg)); break;
        case 'P':
            ctx.add_delta_dir(ctx.save_dir());
            ctx.set_save_dir(plat_path(optarg));
            opt.no_commit = true;
            break;
        case 'q': opt.quiet = true; break;
        case 's': opt.strict = true; break;
        case 'S': opt.strict = false; break;
        case 't': ctx.set_save_dir(plat_path(optarg)); break;
        case 'X': opt.show_names = true; break;
        default:
            // A bad flag is reported, with the usage, and exits 0.
            if (c == ':') fprintf(stderr, "%s: option requires an argument -- '%c'\n", g_app, optopt);
            else fprintf(stderr, "%s: invalid option -- '%c'\n", g_app, optopt);
            usage();
            return 0;
        }
    }
    if (optind >= argc || !strcasecmp(argv[optind], "help")) {
        usage();
        return 0;
    }
    ctx.set_strict(opt.strict);
    tool t(opt, ctx);
    std::vector<std::string> args(argv + optind + 1, argv + argc);
    int status;
    if (!strcasecmp(argv[optind], "batch") && args.empty()) {
        status = t.batch(read_all(stdin));
    } else {
        status = t.run(argv[optind], args);
    }
    if (status == kUsage) usage();
    return status;
}
