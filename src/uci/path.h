// The extended path syntax: package[.section[.option]][=value], where the
// section may also be "@type[index]" or "@[index]" (negative indexes count
// from the end).
#pragma once

#include <string>

namespace vuci {

struct path_parts {
    std::string package;
    std::string section;  // a name, or "@type[index]" as written
    std::string option;
    std::string value;
    bool has_value = false;
};

// Splits a path text. OK; ERR_PARSE for an empty package name, a bad or
// empty option name, more than three parts, or a value holding a control
// byte other than tab, line feed and carriage return; ERR_INVAL for a bad
// package or section name (an empty one, one with '-') or a malformed "@type[index]".
int split_path(const std::string& text, path_parts* out);

// Reads "@type[index]": false when it is not of that form. `type` is empty
// for "@[index]".
bool parse_section_index(const std::string& section, std::string* type, long* index);

}  // namespace vuci
