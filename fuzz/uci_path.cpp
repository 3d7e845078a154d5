// UCI paths in the extended syntax, as scripts and other daemons hand them
// in ("pkg.@type[-1].opt=value"): any text splits or is refused cleanly,
// and what splits puts back together into a path that splits the same.
#include "uci/model.h"
#include "uci/path.h"

#include <stdint.h>
#include <stdlib.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    vuci::path_parts parts;
    int err = vuci::split_path(text, &parts);
    if (err != vuci::OK) {
        if (err != vuci::ERR_INVAL && err != vuci::ERR_PARSE) abort();
        return 0;
    }
    if (!vuci::valid_package_name(parts.package)) abort();
    if (!parts.option.empty() && !vuci::valid_name(parts.option)) abort();
    if (!parts.section.empty()) {
        std::string type;
        long index = 0;
        bool indexed = vuci::parse_section_index(parts.section, &type, &index);
        if (parts.section[0] == '@' ? !indexed : !vuci::valid_name(parts.section)) abort();
    }
    std::string joined = parts.package;
    if (!parts.section.empty()) joined += "." + parts.section;
    if (!parts.option.empty()) joined += "." + parts.option;
    if (parts.has_value) joined += "=" + parts.value;
    vuci::path_parts again;
    if (vuci::split_path(joined, &again) != vuci::OK) abort();
    if (again.package != parts.package || again.section != parts.section || again.option != parts.option ||
        again.value != parts.value || again.has_value != parts.has_value)
        abort();
    return 0;
}
