#include "utf8_text.h"

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// The length of the valid sequence at text[0], 0 when it is invalid, or -1
// when it is a valid start that the end of the text cuts short.
int sequence_length(const unsigned char* text, size_t available) {
    unsigned char lead = text[0];
    if (lead < 0x80) return 1;
    int length;
    unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;   // overlong
        if (lead == 0xED) high = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;   // overlong
        if (lead == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
        return 0;
    }
    for (int i = 1; i < length; i++) {
        if ((size_t)i >= available) return -1;
        unsigned char low_i = i == 1 ? low : 0x80, high_i = i == 1 ? high : 0xBF;
        if (text[i] < low_i || text[i] > high_i) return 0;
    }
    return length;
}

}  // namespace

std::string utf8_clean(const char* bytes, size_t length) {
    std::string clean;
    clean.reserve(length);
    const unsigned char* text = reinterpret_cast<const unsigned char*>(bytes);
    size_t at = 0;
    while (at < length) {
        int n = sequence_length(text + at, length - at);
        if (n < 0) break;  // cut inside the last character
        if (n == 0) {
            clean += kReplacement;
            at++;
            continue;
        }
        clean.append(bytes + at, (size_t)n);
        at += (size_t)n;
    }
    return clean;
}
