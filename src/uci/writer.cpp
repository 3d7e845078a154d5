#include "writer.h"

namespace vuci {

namespace {

// Appends the text with each ' written as '\'' (the quotes around it are the caller's).
void append_escaped(std::string* out, const std::string& text) {
    size_t from = 0;
    for (size_t quote; (quote = text.find('\'', from)) != std::string::npos; from = quote + 1) {
        out->append(text, from, quote - from);
        out->append("'\\''");
    }
    out->append(text, from, std::string::npos);
}

void append_quoted(std::string* out, const std::string& value) {
    out->push_back('\'');
    append_escaped(out, value);
    out->push_back('\'');
}

// One "\tKEYWORD NAME 'VALUE'" line.
void append_value_line(std::string* out, const char* keyword, const std::string& name, const std::string& value) {
    out->append(keyword);
    out->append(name);
    out->push_back(' ');
    append_quoted(out, value);
    out->push_back('\n');
}

}  // namespace

std::string quote_value(const std::string& value) {
    std::string out;
    out.reserve(value.size() + 2);
    append_quoted(&out, value);
    return out;
}

std::string write_package(const package& p, bool header, bool name_anonymous) {
    std::string out;
    if (header) out += "package " + p.name + "\n";
    for (const auto& s : p.sections) {
        // Types are written bare, as the reader takes them; a quote is escaped all the same.
        out += "\nconfig ";
        append_escaped(&out, s->type);
        if (!s->anonymous || name_anonymous) {
            out.push_back(' ');
            append_quoted(&out, s->name);
        }
        out.push_back('\n');
        for (const option& o : s->options) {
            if (o.is_list) {
                for (const std::string& item : o.items) append_value_line(&out, "\tlist ", o.name, item);
            } else {
                append_value_line(&out, "\toption ", o.name, o.value);
            }
        }
    }
    out.push_back('\n');
    return out;
}

}  // namespace vuci
