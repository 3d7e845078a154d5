// UCI delta files, which other processes append to and people edit: any
// bytes read or are skipped cleanly, the changes read write back to lines
// that read the same, and replaying them on a package never fails badly.
#include "uci/delta.h"
#include "uci/parser.h"
#include "uci/writer.h"

#include <stdint.h>
#include <stdlib.h>

#include <string>

namespace {

bool same(const vuci::change& a, const vuci::change& b) {
    return a.kind == b.kind && a.section == b.section && a.option == b.option && a.value == b.value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    std::vector<vuci::change> changes = vuci::parse_delta(text, "fuzz");
    std::string written;
    for (const vuci::change& c : changes) written += vuci::format_change("fuzz", c);
    std::vector<vuci::change> again = vuci::parse_delta(written, "fuzz");
    if (again.size() != changes.size()) abort();
    for (size_t i = 0; i < changes.size(); ++i)
        if (!same(changes[i], again[i])) abort();

    // Replayed on a package, the result still writes text that reads the same.
    vuci::package p;
    p.name = "fuzz";
    vuci::parse_package("config item a\n\toption x 1\n\tlist l p\nconfig rule\n", true, &p, nullptr);
    for (const vuci::change& c : changes) vuci::apply_change(p, c, nullptr);
    std::string package_text = vuci::write_package(p, false, false);
    vuci::package back;
    back.name = "fuzz";
    if (vuci::parse_package(package_text, true, &back, nullptr) != vuci::OK) abort();
    if (vuci::write_package(back, false, false) != package_text) abort();
    return 0;
}
