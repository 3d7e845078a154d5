#include "writer.h"

namespace vuci {

std::string quote_value(const std::string& value) {
    std::string out;
    out.reserve(value.size() + 2);
    out += '\'';
    for (char c : value) {
        if (c == '\'') out += "'\\''";
        else out += c;
    }
    out += '\'';
    return out;
}

namespace {

// Types are written bare, as the reader takes them; a quote is escaped all the same.
std::string escape_type(const std::string& type) {
    if (type.find('\'') == std::string::npos) return type;
    std::string quoted = quote_value(type);
    return quoted.substr(1, quoted.size() - 2);
}

}  // namespace

std::string write_package(const package& p, bool header, bool name_anonymous) {
    std::string out;
    if (header) out += "package " + p.name + "\n";
    for (const auto& s : p.sections) {
        out += "\nconfig " + escape_type(s->type);
        if (!s->anonymous || name_anonymous) out += " " + quote_value(s->name);
        out += '\n';
        for (const option& o : s->options) {
            if (o.is_list) {
                for (const std::string& item : o.items)
                    out += "\tlist " + o.name + " " + quote_value(item) + "\n";
            } else {
                out += "\toption " + o.name + " " + quote_value(o.value) + "\n";
            }
        }
    }
    out += '\n';
    return out;
}

}  // namespace vuci
