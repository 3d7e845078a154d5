// Base64 texts from other nodes and files: decoding writes no more than the
// documented room, and what encodes back decodes to the same bytes.
#include "base64.h"
#include "fuzz_root.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    if (size > 1 << 16) return 0;
    int length = (int)size;
    // Exactly the documented room, so that the sanitizer sees any byte beyond it.
    std::vector<unsigned char> out(3 * (size / 4) + 3);
    std::vector<char> in(data, data + size);  // not NUL-terminated: dec64 reads length characters
    int decoded = dec64(out.data(), in.data(), length);
    if (decoded < 0 || (size_t)decoded > 3 * (size / 4) + 2 || out[(size_t)decoded] != 0) abort();
    std::vector<char> encoded(4 * ((size_t)decoded / 3 + 1) + 2);
    int characters = enc64(encoded.data(), out.data(), decoded);
    std::vector<unsigned char> back(3 * ((size_t)characters / 4) + 3);
    if (dec64(back.data(), encoded.data(), characters) != decoded || memcmp(back.data(), out.data(), (size_t)decoded) != 0)
        abort();
    return 0;
}
