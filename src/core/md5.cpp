// MD5 (RFC 1321): 64-byte blocks, four rounds of sixteen steps over four
// 32-bit words, little-endian throughout.
#include "md5.h"

#include "platform.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct md5_state {
    uint32_t words[4];
    uint64_t length;  // bytes absorbed so far
};

namespace {

constexpr size_t block_size = 64;

// The additive constants: the integer part of 2^32 x |sin(i + 1)|, written
// out so that the library needs no floating point and no libm.
const uint32_t sine_table[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee,
    0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be,
    0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa,
    0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed,
    0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c,
    0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05,
    0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039,
    0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1,
    0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

const int rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

uint32_t rotate(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

void absorb_block(md5_state* state, const unsigned char* block) {
    uint32_t m[16];
    decode(m, block, block_size);
    uint32_t a = state->words[0], b = state->words[1], c = state->words[2], d = state->words[3];
    for (int i = 0; i < 64; ++i) {
        int round = i / 16;
        uint32_t mixed;
        int index;
        switch (round) {
            case 0: mixed = (b & c) | (~b & d); index = i; break;
            case 1: mixed = (b & d) | (c & ~d); index = (5 * i + 1) % 16; break;
            case 2: mixed = b ^ c ^ d; index = (3 * i + 5) % 16; break;
            default: mixed = c ^ (b | ~d); index = (7 * i) % 16; break;
        }
        uint32_t next = b + rotate(a + mixed + sine_table[i] + m[index], rotations[round][i % 4]);
        a = d;
        d = c;
        c = b;
        b = next;
    }
    state->words[0] += a;
    state->words[1] += b;
    state->words[2] += c;
    state->words[3] += d;
}

void absorb_blocks(md5_state* state, const unsigned char* data, size_t blocks) {
    for (size_t i = 0; i < blocks; ++i) absorb_block(state, data + i * block_size);
    state->length += blocks * block_size;
}

// Absorbs the last partial block: the bytes, 0x80, zeros, and the message
// length in bits as a little-endian 64-bit number ending a block.
void finish(md5_state* state, const unsigned char* rest, size_t count) {
    unsigned char tail[2 * block_size] = {0};
    memcpy(tail, rest, count);
    tail[count] = 0x80;
    size_t tail_size = count + 1 + 8 <= block_size ? block_size : 2 * block_size;
    uint64_t bits = (state->length + count) * 8;
    uint32_t length_words[2] = {(uint32_t)bits, (uint32_t)(bits >> 32)};
    encode(tail + tail_size - 8, length_words, 8);
    absorb_blocks(state, tail, tail_size / block_size);
}

}  // namespace

void encode(unsigned char* output, const uint32_t* input, size_t length) {
    for (size_t i = 0; i + 4 <= length; i += 4) {
        uint32_t word = input[i / 4];
        output[i] = (unsigned char)word;
        output[i + 1] = (unsigned char)(word >> 8);
        output[i + 2] = (unsigned char)(word >> 16);
        output[i + 3] = (unsigned char)(word >> 24);
    }
}

void decode(uint32_t* output, const unsigned char* input, size_t length) {
    for (size_t i = 0; i + 4 <= length; i += 4)
        output[i / 4] = (uint32_t)input[i] | (uint32_t)input[i + 1] << 8 | (uint32_t)input[i + 2] << 16 |
                        (uint32_t)input[i + 3] << 24;
}

md5_state* md5(const void* data, size_t length, unsigned char* digest, md5_state* state) {
    if (!data) length = 0;
    if (!state) {
        state = (md5_state*)plat_calloc(1, sizeof(md5_state));
        if (!state) return nullptr;
        state->words[0] = 0x67452301;
        state->words[1] = 0xefcdab89;
        state->words[2] = 0x98badcfe;
        state->words[3] = 0x10325476;
    }
    const unsigned char* bytes = (const unsigned char*)data;
    size_t blocks = length / block_size;
    absorb_blocks(state, bytes, blocks);
    if (!digest) return state;
    finish(state, bytes + blocks * block_size, length % block_size);
    encode(digest, state->words, 16);
    free(state);
    return nullptr;
}

char* md5sum(const void* data, size_t length) {
    static char hex[33];
    constexpr size_t chunk_size = 8192;
    unsigned char* work = (unsigned char*)plat_calloc(16 * 1024, 1);
    if (!work) return nullptr;
    const unsigned char* bytes = (const unsigned char*)data;
    if (!bytes) length = 0;
    md5_state* state = nullptr;
    size_t buffered = 0;
    for (size_t offset = 0; offset < length;) {
        size_t chunk = length - offset < chunk_size ? length - offset : chunk_size;
        memcpy(work + buffered, bytes + offset, chunk);
        buffered += chunk;
        offset += chunk;
        if (buffered % block_size == 0) {
            state = md5(work, buffered, nullptr, state);
            if (!state) {
                free(work);
                return nullptr;
            }
            buffered = 0;
        }
    }
    if (!state) state = md5(work, 0, nullptr, nullptr);
    if (!state) {
        free(work);
        return nullptr;
    }
    unsigned char digest[16];
    md5(work, buffered, digest, state);
    free(work);
    for (int i = 0; i < 16; ++i) snprintf(hex + 2 * i, 3, "%.2x", digest[i]);
    return hex;
}
