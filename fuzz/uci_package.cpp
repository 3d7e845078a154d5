// UCI package files, which people edit by hand: any bytes parse or fail
// cleanly, and whatever parses writes back to text that reads the same.
#include "uci/parser.h"
#include "uci/writer.h"

#include <stdint.h>
#include <stdlib.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    for (bool strict : {true, false}) {
        vuci::package p;
        p.name = "fuzz";
        std::vector<vuci::parse_error> errors;
        if (vuci::parse_package(text, strict, &p, &errors) != vuci::OK) continue;
        std::string written = vuci::write_package(p, false, false);
        vuci::package again;
        again.name = "fuzz";
        if (vuci::parse_package(written, true, &again, nullptr) != vuci::OK) abort();
        if (vuci::write_package(again, false, false) != written) abort();
    }
    return 0;
}
