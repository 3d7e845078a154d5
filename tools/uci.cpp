// uci: the command-line tool of UCI packages, over the library's UCI engine.
// Paths given with -c, -t, -p and -P, and the defaults /etc/config and
// /tmp/.uci, are router paths (inside VESPIN_ROOT when it is set).
#include "platform.h"
#include "uci/context.h"
#include "uci/path.h"
#include "uci/writer.h"

#include <getopt.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

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
    std::string delimiter = " ";
    std::string input;             // -f
};

void usage() {
    fprintf(stderr,
            "Usage: %s [<options>] <command> [<arguments>]\n\n"
            "Commands:\n"
            "\tget      <config>.<section>[.<option>]\n"
            "\tset      <config>.<section>[.<option>]=<value>\n"
            "\tdelete   <config>.<section>[.<option>]\n"
            "\tadd      <config> <section-type>\n"
            "\tadd_list <config>.<section>.<option>=<value>\n"
            "\tdel_list <config>.<section>.<option>=<value>\n"
            "\trename   <config>.<section>[.<option>]=<name>\n"
            "\treorder  <config>.<section>=<position>\n"
            "\tcommit   [<config>]\n"
            "\trevert   <config>[.<section>[.<option>]]\n"
            "\tchanges  [<config>]\n"
            "\tshow     [<config>[.<section>[.<option>]]]\n"
            "\texport   [<config>]\n"
            "\timport   [<config>]\n\n"
            "Options:\n"
            "\t-c <path>  configuration directory (default /etc/config)\n"
            "\t-t <path>  save directory of pending changes (default /tmp/.uci)\n"
            "\t-p <path>  another directory of pending changes, read only\n"
            "\t-P <path>  like -p, and the save directory; commit is then skipped\n"
            "\t-d <str>   separator of list values in get\n"
            "\t-f <file>  read import from <file> instead of standard input\n"
            "\t-n / -N    name / do not name anonymous sections on export\n"
            "\t-q         quiet: no error messages\n"
            "\t-s / -S    strict (default) / lenient parsing\n"
            "\t-X         show anonymous sections by their names\n",
            g_app);
}

class tool {
  public:
    tool(const options& opt, context& ctx) : opt_(opt), ctx_(ctx) {}

    int run(const std::string& command, const std::vector<std::string>& args);

  private:
    int fail(int err);
    void warn_skipped();
    int lookup(const std::string& path, ref* r);
    int load(const std::string& name, package** p);
    int change(const std::vector<std::string>& args, int (context::*op)(ref&));
    int get(const std::vector<std::string>& args);
    int remove(const std::vector<std::string>& args);
    int add(const std::vector<std::string>& args);
    int commit(const std::vector<std::string>& args);
    int revert(const std::vector<std::string>& args);
    int changes(const std::vector<std::string>& args);
    int show(const std::vector<std::string>& args);
    int export_packages(const std::vector<std::string>& args);
    int import_packages(const std::vector<std::string>& args);
    // The package the arguments name, or every package: OK or ERR_IO.
    int packages_named(const std::vector<std::string>& args, std::vector<std::string>* names) const;
    void show_section(const package& p, const section& s, const std::string& shown_name) const;
    void show_option(const std::string& prefix, const vuci::option& o) const;

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

// Lenient reading goes on past broken statements; each one is still reported.
void tool::warn_skipped() {
    if (opt_.strict || opt_.quiet) return;
    for (const parse_error& e : ctx_.parse_errors())
        fprintf(stderr, "Parse error (%s) at line %d, byte %d\n", e.reason.c_str(), e.line, e.byte);
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
    if (args.size() != 1) return fail(ERR_INVAL);
    ref r;
    int err = lookup(args[0], &r);
    if (!err) err = (ctx_.*op)(r);
    if (!err) err = ctx_.save(r.p);
    return err ? fail(err) : 0;
}

int tool::get(const std::vector<std::string>& args) {
    if (args.size() != 1) return fail(ERR_INVAL);
    ref r;
    int err = lookup(args[0], &r);
    if (err) return fail(err);
    if (!r.complete) return fail(ERR_NOTFOUND);
    if (r.last == element::package) return fail(ERR_INVAL);
    std::string out;
    if (r.last == element::section) {
        out = r.s->type;
    } else if (!r.o->is_list) {
        out = r.o->value;
    } else {
        for (size_t i = 0; i < r.o->items.size(); ++i) {
            const std::string& item = r.o->items[i];
            if (i) out += opt_.delimiter;
            out += item.find_first_of(" \t\r\n") == std::string::npos ? item : quote_value(item);
        }
    }
    printf("%s\n", out.c_str());
    return 0;
}

int tool::remove(const std::vector<std::string>& args) {
    if (args.size() != 1) return fail(ERR_INVAL);
    ref r;
    int err = lookup(args[0], &r);
    if (err) return fail(err);
    // "pkg.sec.list=item" deletes one item of a list.
    err = r.has_value && r.o && r.o->is_list ? ctx_.del_list(r) : ctx_.remove(r);
    if (!err) err = ctx_.save(r.p);
    return err ? fail(err) : 0;
}

int tool::add(const std::vector<std::string>& args) {
    if (args.size() != 2) return fail(ERR_INVAL);
    package* p = nullptr;
    std::string name;
    int err = load(args[0], &p);
    if (!err) err = ctx_.add_section(p, args[1], &name);
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

int tool::commit(const std::vector<std::string>& args) {
    if (opt_.no_commit) return 0;
    int status = 0;
    std::vector<std::string> names;
    if (int err = packages_named(args, &names)) return fail(err);
    for (const std::string& name : names) {
        package* p = nullptr;
        int err = load(name, &p);
        if (!err) err = ctx_.commit(p, false);
        if (err) status = fail(err);
    }
    return status;
}

int tool::revert(const std::vector<std::string>& args) {
    if (args.size() != 1) return fail(ERR_INVAL);
    path_parts parts;
    int err = split_path(args[0], &parts);
    if (err) return fail(err);
    package* p = nullptr;
    err = load(parts.package, &p);
    if (err) return fail(err);
    // A missing section or option has nothing to revert, which is fine.
    ref r;
    std::string section = ctx_.lookup(args[0], &r) == OK ? r.section_name : parts.section;
    err = ctx_.revert(parts.package, section, parts.option);
    return err ? fail(err) : 0;
}

int tool::changes(const std::vector<std::string>& args) {
    std::vector<std::string> names;
    if (int err = packages_named(args, &names)) return fail(err);
    for (const std::string& name : names) {
        for (const vuci::change& c : ctx_.saved_changes(name)) {
            const char* prefix = "";
            const char* op = "";
            switch (c.kind) {
            case change_kind::remove: prefix = "-"; break;
            case change_kind::rename: prefix = "@"; break;
            case change_kind::add: prefix = "+"; break;
            case change_kind::reorder: prefix = "^"; break;
            case change_kind::list_add: op = "+"; break;
            case change_kind::list_del: op = "-"; break;
            case change_kind::set: break;
            }
            std::string line = prefix + name + "." + c.section;
            if (!c.option.empty()) line += "." + c.option;
            if (c.kind != change_kind::remove) line += op + std::string("=") + quote_value(c.value);
            printf("%s\n", line.c_str());
        }
    }
    return 0;
}

void tool::show_option(const std::string& prefix, const vuci::option& o) const {
    std::string line = prefix + "." + o.name + "=";
    if (!o.is_list) {
        line += quote_value(o.value);
    } else {
        for (size_t i = 0; i < o.items.size(); ++i) line += (i ? " " : "") + quote_value(o.items[i]);
    }
    printf("%s\n", line.c_str());
}

void tool::show_section(const package& p, const section& s, const std::string& shown_name) const {
    std::string prefix = p.name + "." + shown_name;
    printf("%s=%s\n", prefix.c_str(), s.type.c_str());
    for (const vuci::option& o : s.options) show_option(prefix, o);
}

int tool::show(const std::vector<std::string>& args) {
    if (args.size() > 1) return fail(ERR_INVAL);
    std::vector<std::string> names;
    ref r;
    if (!args.empty()) {
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
    for (const std::string& name : names) {
        package* p = nullptr;
        int err = load(name, &p);
        if (err) {
            fail(err);  // a broken package is reported and skipped
            continue;
        }
        std::map<std::string, int> seen;  // sections of each type so far
        for (const auto& s : p->sections) {
            int index = seen[s->type]++;
            bool by_index = s->anonymous && !opt_.show_names;
            show_section(*p, *s, by_index ? "@" + s->type + "[" + std::to_string(index) + "]" : s->name);
        }
    }
    return 0;
}

int tool::export_packages(const std::vector<std::string>& args) {
    int status = 0;
    std::vector<std::string> names;
    if (int err = packages_named(args, &names)) return fail(err);
    for (const std::string& name : names) {
        package* p = nullptr;
        int err = load(name, &p);
        if (err) {
            status = fail(err);
            continue;
        }
        fputs(write_package(*p, true, opt_.export_names).c_str(), stdout);
    }
    return status;
}

int tool::import_packages(const std::vector<std::string>& args) {
    if (args.size() > 1) return fail(ERR_INVAL);
    std::string text;
    FILE* in = opt_.input.empty() ? stdin : fopen(opt_.input.c_str(), "rb");
    if (!in) return fail(ERR_IO);
    char chunk[16384];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, in)) > 0) text.append(chunk, n);
    if (in != stdin) fclose(in);
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
        err = ctx_.commit(p.get(), true);
        if (err) status = fail(err);
    }
    return status;
}

int tool::run(const std::string& command, const std::vector<std::string>& args) {
    const char* c = command.c_str();
    if (!strcasecmp(c, "get")) return get(args);
    if (!strcasecmp(c, "set")) return change(args, &context::set);
    if (!strcasecmp(c, "delete")) return remove(args);
    if (!strcasecmp(c, "add")) return add(args);
    if (!strcasecmp(c, "add_list")) return change(args, &context::add_list);
    if (!strcasecmp(c, "del_list")) return change(args, &context::del_list);
    if (!strcasecmp(c, "rename")) return change(args, &context::rename);
    if (!strcasecmp(c, "reorder")) return change(args, &context::reorder);
    if (!strcasecmp(c, "commit")) return commit(args);
    if (!strcasecmp(c, "revert")) return revert(args);
    if (!strcasecmp(c, "changes")) return changes(args);
    if (!strcasecmp(c, "show")) return show(args);
    if (!strcasecmp(c, "export")) return export_packages(args);
    if (!strcasecmp(c, "import")) return import_packages(args);
    usage();
    return 255;
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
    while ((c = getopt(argc, argv, "c:d:f:mnNp:P:qsSt:X")) != -1) {
        switch (c) {
        case 'c': ctx.set_config_dir(plat_path(optarg)); break;
        case 'd': opt.delimiter = optarg; break;
        case 'f': opt.input = optarg; break;
        case 'm': break;  // import always replaces the package
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
            usage();
            return 0;
        }
    }
    if (optind >= argc) {
        usage();
        return 0;
    }
    ctx.set_strict(opt.strict);
    std::vector<std::string> args(argv + optind + 1, argv + argc);
    return tool(opt, ctx).run(argv[optind], args);
}
