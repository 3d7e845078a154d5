// Protocol versions that other nodes announce: any text parses or fails
// cleanly, and a version that parses prints to a text that parses to the
// same version.
#include "fuzz_root.h"
#include "new_mesh.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    std::string text((const char*)data, size);
    version parsed = {1, 2, 3, 4};
    int code = version_from_string(&parsed, text.c_str());
    if (code != 0) {
        if (code != VESPIN_ERR_MISSING_VALUE) abort();
        if (parsed.major != 1 || parsed.minor != 2 || parsed.patch != 3 || parsed.rc != 4) abort();  // unchanged
        return 0;
    }
    char printed[VESPIN_VERSION_TEXT_SIZE];
    version_to_string(&parsed, printed);
    version* again = version_new_from_string(printed);
    if (vespin_is_error(again) || version_compare(&parsed, again) != 0 || memcmp(&parsed, again, sizeof parsed) != 0)
        abort();
    version_free(again);
    return 0;
}
