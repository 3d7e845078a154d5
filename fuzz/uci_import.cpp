// The import text of the uci tool, which holds several packages ("package
// NAME" starts each): any bytes parse or fail cleanly, and what parses
// exports to a text that imports the same.
#include "uci/parser.h"
#include "uci/writer.h"

#include <stdint.h>
#include <stdlib.h>

#include <string>

namespace {

std::string export_all(const std::vector<std::unique_ptr<vuci::package>>& packages) {
    std::string out;
    for (const auto& p : packages) out += vuci::write_package(*p, true, false);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    for (const char* first : {"", "fuzz"}) {
        for (bool strict : {true, false}) {
            std::vector<std::unique_ptr<vuci::package>> packages;
            std::vector<vuci::parse_error> errors;
            if (vuci::parse_packages(text, first, strict, &packages, &errors) != vuci::OK) {
                if (errors.empty()) abort();  // a failure always says why
                continue;
            }
            std::string exported = export_all(packages);
            std::vector<std::unique_ptr<vuci::package>> again;
            if (vuci::parse_packages(exported, "", true, &again, nullptr) != vuci::OK) abort();
            if (again.size() != packages.size() || export_all(again) != exported) abort();
        }
    }
    return 0;
}
