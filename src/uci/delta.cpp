#include "delta.h"

#include "parser.h"
#include "writer.h"

namespace vuci {

namespace {

const struct {
    change_kind kind;
    char prefix;  // 0: none
} kPrefixes[] = {
    {change_kind::set, 0},        {change_kind::add, '+'},      {change_kind::remove, '-'},
    {change_kind::rename, '@'},   {change_kind::reorder, '^'},  {change_kind::list_add, '|'},
    {change_kind::list_del, '~'},
};

// Splits "pkg.sec[.opt]" into its names; false when malformed.
bool split_path(const std::string& path, const std::string& package_name, change* c) {
    size_t first = path.find('.');
    if (first == std::string::npos || path.compare(0, first, package_name) != 0 || first != package_name.size())
        return false;
    size_t second = path.find('.', first + 1);
    c->section = path.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
    c->option = second == std::string::npos ? std::string() : path.substr(second + 1);
    return valid_name(c->section) && (c->option.empty() || valid_name(c->option));
}

bool takes_value(change_kind kind) { return kind != change_kind::remove; }

}  // namespace

std::string format_change(const std::string& package_name, const change& c) {
    std::string line;
    for (const auto& p : kPrefixes)
        if (p.kind == c.kind && p.prefix) line += p.prefix;
    line += package_name + "." + c.section;
    if (!c.option.empty()) line += "." + c.option;
    if (takes_value(c.kind)) line += "=" + quote_value(c.value);
    return line + "\n";
}

std::vector<change> parse_delta(const std::string& text, const std::string& package_name) {
    std::vector<change> changes;
    word_scanner scan(text);
    std::string word;
    bool more = !text.empty();
    while (more) {
        parse_error ignored;
        bool ok = scan.more_words() && scan.read_word(&word, &ignored);
        std::vector<std::string> rest;
        while (ok && scan.more_words()) {
            std::string extra;
            ok = scan.read_word(&extra, &ignored);
            rest.push_back(extra);
        }
        // The line is one word "PREFIX PATH=VALUE": the value's quotes have
        // already been taken off by the scanner, which also joined the pieces.
        if (ok && rest.empty() && !word.empty()) {
            change c;
            size_t start = 0;
            for (const auto& p : kPrefixes)
                if (p.prefix && word[0] == p.prefix) {
                    c.kind = p.kind;
                    start = 1;
                }
            size_t eq = word.find('=', start);
            bool has_value = eq != std::string::npos;
            std::string path = word.substr(start, has_value ? eq - start : std::string::npos);
            if (has_value) c.value = word.substr(eq + 1);
            if (split_path(path, package_name, &c) && has_value == takes_value(c.kind) &&
                !((c.kind == change_kind::list_add || c.kind == change_kind::list_del) && c.option.empty()))
                changes.push_back(c);
        }
        more = scan.next_statement(true);
    }
    return changes;
}

}  // namespace vuci
