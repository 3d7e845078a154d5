// Base64: every 3 bytes become 4 characters of a 64-character alphabet.
#include "base64.h"

#include <stdint.h>

namespace {

const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Character -> 6-bit value, or -1 outside the alphabet.
struct reverse_alphabet {
    int8_t value[256];
    reverse_alphabet() {
        for (int i = 0; i < 256; ++i) value[i] = -1;
        for (int i = 0; i < 64; ++i) value[(unsigned char)alphabet[i]] = (int8_t)i;
    }
};

const reverse_alphabet& decoding_table() {
    static const reverse_alphabet table;
    return table;
}

}  // namespace

int enc64(char* out, const unsigned char* in, int length) {
    if (!out) return -1;
    if (length < 0 || (length > 0 && !in)) {
        *out = 0;
        return -1;
    }
    int written = 0;
    int i = 0;
    for (; i + 3 <= length; i += 3) {
        uint32_t group = (uint32_t)in[i] << 16 | (uint32_t)in[i + 1] << 8 | in[i + 2];
        out[written++] = alphabet[group >> 18];
        out[written++] = alphabet[(group >> 12) & 63];
        out[written++] = alphabet[(group >> 6) & 63];
        out[written++] = alphabet[group & 63];
    }
    int rest = length - i;
    if (rest == 0) {
        out[written++] = '=';  // kept for the readers of this encoder's output
    } else {
        uint32_t group = (uint32_t)in[i] << 16 | (rest == 2 ? (uint32_t)in[i + 1] << 8 : 0);
        out[written++] = alphabet[group >> 18];
        out[written++] = alphabet[(group >> 12) & 63];
        out[written++] = rest == 2 ? alphabet[(group >> 6) & 63] : '=';
        out[written++] = '=';
    }
    out[written] = 0;
    return written;
}

int dec64(unsigned char* out, const char* in, int length) {
    if (!out) return -1;
    if (length < 0 || (length > 0 && !in)) {
        *out = 0;
        return -1;
    }
    const reverse_alphabet& table = decoding_table();
    int written = 0;
    uint32_t group = 0;
    int filled = 0;
    for (int i = 0; i < length; ++i) {
        int value = table.value[(unsigned char)in[i]];
        if (value < 0) continue;
        group = group << 6 | (uint32_t)value;
        if (++filled == 4) {
            out[written++] = (unsigned char)(group >> 16);
            out[written++] = (unsigned char)(group >> 8);
            out[written++] = (unsigned char)group;
            group = 0;
            filled = 0;
        }
    }
    if (filled >= 2) {
        group <<= 6 * (4 - filled);
        out[written++] = (unsigned char)(group >> 16);
        if (filled == 3) out[written++] = (unsigned char)(group >> 8);
    }
    out[written] = 0;
    return written;
}
