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

// Splits a path text. OK, or ERR_INVAL when a name has characters its kind
// does not allow or the text has too many parts.
int split_path(const std::string& text, path_parts* out);

// Reads "@type[index]": false when it is not of that form. `type` is empty
// for "@[index]".
bool parse_section_index(const std::string& section, std::string* type, long* index);

}  // namespace vuci
