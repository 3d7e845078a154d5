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

// Every change but a delete carries a value; a delete may (a list item's index).
bool value_fits(change_kind kind, bool has_value) { return has_value || kind == change_kind::remove; }

}  // namespace

std::string format_change(const std::string& package_name, const change& c) {
    std::string line;
    for (const auto& p : kPrefixes)
        if (p.kind == c.kind && p.prefix) line += p.prefix;
    line += package_name + "." + c.section;
    if (!c.option.empty()) line += "." + c.option;
    if (c.kind != change_kind::remove || !c.value.empty()) line += "=" + quote_value(c.value);
    return line + "\n";
}

std::vector<change> parse_delta(const std::string& text, const std::string& package_name) {
    std::vector<change> changes;
    statement_scanner scan(text);
    std::string word;
    while (scan.next_statement()) {
        // A line is one word "PREFIX PATH=VALUE": the scanner has taken the
        // value's quotes off and joined the pieces.
        parse_error ignored;
        bool ok = scan.more_words() && scan.read_word(&word, &ignored) && !scan.more_words() && !word.empty();
        scan.skip_line();
        if (!ok) continue;
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
        bool needs_option = c.kind == change_kind::list_add || c.kind == change_kind::list_del;
        if (!split_path(path, package_name, &c) || !value_fits(c.kind, has_value) || (needs_option && c.option.empty()))
            continue;
        if (c.kind == change_kind::rename && !valid_name(c.value)) continue;
        long index;
        if (c.kind == change_kind::remove && has_value && !parse_integer(c.value, &index)) continue;
        changes.push_back(c);
    }
    return changes;
}

}  // namespace vuci
