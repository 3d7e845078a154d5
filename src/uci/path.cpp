#include "path.h"

#include "model.h"

#include <ctype.h>
#include <errno.h>
#include <stdlib.h>

namespace vuci {

bool parse_section_index(const std::string& section, std::string* type, long* index) {
    if (section.size() < 4 || section[0] != '@' || section.back() != ']') return false;
    size_t open = section.find('[');
    if (open == std::string::npos) return false;
    *type = section.substr(1, open - 1);
    if (!type->empty() && !valid_type(*type)) return false;
    std::string digits = section.substr(open + 1, section.size() - open - 2);
    if (digits.empty()) return false;
    char* end = nullptr;
    errno = 0;
    *index = strtol(digits.c_str(), &end, 10);
    return *end == 0 && errno == 0 && (isdigit((unsigned char)digits[0]) || digits[0] == '-');
}

namespace {

// Command-line values may hold tabs and line ends, but no other control byte.
bool valid_value(const std::string& value) {
    for (unsigned char c : value)
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
    return true;
}

}  // namespace

int split_path(const std::string& text, path_parts* out) {
    *out = path_parts();
    size_t eq = text.find('=');
    std::string path = text.substr(0, eq);
    if (eq != std::string::npos) {
        out->has_value = true;
        out->value = text.substr(eq + 1);
        if (!valid_value(out->value)) return ERR_PARSE;
    }
    // A type in "@type[i]" may hold dots, so the section ends at "]." there.
    size_t first = path.find('.');
    out->package = path.substr(0, first);
    if (out->package.empty()) return ERR_PARSE;
    if (!valid_package_name(out->package)) return ERR_INVAL;
    if (first == std::string::npos) return out->has_value ? ERR_INVAL : OK;
    std::string rest = path.substr(first + 1);
    size_t end = rest.find('.');
    if (!rest.empty() && rest[0] == '@') {
        size_t bracket = rest.find("]");
        end = bracket == std::string::npos ? std::string::npos : rest.find('.', bracket);
    }
    out->section = rest.substr(0, end);
    if (end != std::string::npos) {
        out->option = rest.substr(end + 1);
        // A bad option name, a fourth part or an empty option is a parse error, not a bad argument.
        if (!valid_name(out->option)) return ERR_PARSE;
    }
    std::string type;
    long index;
    if (out->section.empty()) return ERR_INVAL;
    if (out->section[0] == '@' ? !parse_section_index(out->section, &type, &index) : !valid_name(out->section))
        return ERR_INVAL;
    return OK;
}

}  // namespace vuci
