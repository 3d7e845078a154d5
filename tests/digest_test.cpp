// MD5 digests and base64, with the encoder's trailing "=".
#include "base64.h"
#include "md5.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

std::string md5_text(const std::string& data) {
    const char* text = md5sum(data.data(), data.size());
    return text ? text : "<null>";
}

std::string encoded(const std::string& bytes, int* length) {
    std::vector<char> out(4 * ((bytes.size() + 2) / 3) + 2, 'X');
    *length = enc64(out.data(), (const unsigned char*)bytes.data(), (int)bytes.size());
    return out.data();
}

std::string decoded(const std::string& text, int* length) {
    std::vector<unsigned char> out(3 * (text.size() / 4) + 3, 'X');
    *length = dec64(out.data(), text.data(), (int)text.size());
    return std::string((const char*)out.data(), *length >= 0 ? (size_t)*length : 0);
}

}  // namespace

TEST(Md5, KnownDigests) {
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", md5_text(""));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", md5_text("abc"));
    EXPECT_EQ("9e107d9d372bb6826bd81d3542a419d6", md5_text("The quick brown fox jumps over the lazy dog"));
    // Padding that spills into a second block, and exactly one block.
    EXPECT_EQ("3b0c8ac703f828b04c6c197006d17218", md5_text(std::string(56, 'a')));
    EXPECT_EQ("014842d480b571495a4a0363793f7367", md5_text(std::string(64, 'a')));
    std::string digits;
    for (int i = 0; i < 8; ++i) digits += "1234567890";
    EXPECT_EQ("57edf4a22be3c955ac49da2e2107b67a", md5_text(digits));
}

TEST(Md5, LongInputsGoThroughSeveralChunks) {
    std::string data(20000, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = (char)((i * 7 + 3) & 255);
    EXPECT_EQ("6633ba8338d338dc3f3b642b440364ac", md5_text(data));
    // The static result is overwritten by the next call.
    char* first = md5sum("abc", 3);
    char* second = md5sum("", 0);
    EXPECT_EQ(first, second);
    EXPECT_STREQ("d41d8cd98f00b204e9800998ecf8427e", second);
}

TEST(Md5, IncrementalStateMatchesTheOneCallDigest) {
    std::string data(200, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = (char)(i * 13);
    md5_state* state = md5(data.data(), 128, nullptr, nullptr);
    ASSERT_NE(nullptr, state);
    state = md5(data.data() + 128, 64, nullptr, state);
    ASSERT_NE(nullptr, state);
    unsigned char digest[16];
    EXPECT_EQ(nullptr, md5(data.data() + 192, 8, digest, state));
    char hex[33];
    for (int i = 0; i < 16; ++i) snprintf(hex + 2 * i, 3, "%.2x", digest[i]);
    EXPECT_EQ(md5_text(data), hex);

    // Without an output only whole blocks count: the 10 extra bytes are not absorbed.
    state = md5(data.data(), 74, nullptr, nullptr);
    EXPECT_EQ(nullptr, md5(data.data() + 64, 0, digest, state));
    for (int i = 0; i < 16; ++i) snprintf(hex + 2 * i, 3, "%.2x", digest[i]);
    EXPECT_EQ(md5_text(data.substr(0, 64)), hex);
}

TEST(Md5, WordsAreLittleEndian) {
    const uint32_t words[2] = {0x04030201u, 0xa0b0c0d0u};
    unsigned char bytes[8];
    encode(bytes, words, sizeof bytes);
    const unsigned char expected[8] = {1, 2, 3, 4, 0xd0, 0xc0, 0xb0, 0xa0};
    EXPECT_EQ(0, memcmp(expected, bytes, 8));
    uint32_t back[2] = {0, 0};
    decode(back, bytes, sizeof bytes);
    EXPECT_EQ(words[0], back[0]);
    EXPECT_EQ(words[1], back[1]);
}

TEST(Base64, EncodesWithTheExtraEqualsSignAfterWholeGroups) {
    int length = 0;
    EXPECT_EQ("YWI=", encoded("ab", &length));
    EXPECT_EQ(4, length);
    EXPECT_EQ("YQ==", encoded("a", &length));
    EXPECT_EQ(4, length);
    EXPECT_EQ("YWJj=", encoded("abc", &length));
    EXPECT_EQ(5, length);
    EXPECT_EQ("=", encoded("", &length));
    EXPECT_EQ(1, length);
    EXPECT_EQ("+/+/", encoded("\xfb\xff\xbf", &length).substr(0, 4));
    EXPECT_EQ("AP8=", encoded(std::string("\x00\xff", 2), &length));
    EXPECT_EQ("TWFueSBoYW5kcyBtYWtlIGxpZ2h0IHdvcmsu=", encoded("Many hands make light work.", &length));
    EXPECT_EQ(37, length);
}

TEST(Base64, DecodesSkippingEverythingOutsideTheAlphabet) {
    int length = 0;
    EXPECT_EQ("abc", decoded("YWJj=", &length));
    EXPECT_EQ(3, length);
    EXPECT_EQ("a", decoded("YQ==", &length));
    EXPECT_EQ(1, length);
    EXPECT_EQ("ab", decoded("YWI", &length));
    EXPECT_EQ(2, length);
    EXPECT_EQ("Many hands make light work.", decoded("TWFueSBo\r\nYW5kcyBtYWtl IGxpZ2h0IHdvcmsu=", &length));
    EXPECT_EQ(std::string("\x00\xff", 2), decoded("AP8=", &length));
    EXPECT_EQ("", decoded("Y", &length));  // one character carries no whole byte
    EXPECT_EQ(0, length);
    EXPECT_EQ("", decoded("", &length));

    // Every byte value survives a round trip.
    std::string all;
    for (int i = 0; i < 256; ++i) all += (char)i;
    std::string text = encoded(all, &length);
    EXPECT_EQ(all, decoded(text, &length));
}

TEST(Base64, RefusesNegativeLengths) {
    char out[8] = "XXXXXXX";
    EXPECT_EQ(-1, enc64(out, (const unsigned char*)"abc", -1));
    EXPECT_STREQ("", out);
    unsigned char bytes[8] = "XXXXXXX";
    EXPECT_EQ(-1, dec64(bytes, "YWJj", -3));
    EXPECT_EQ(0, bytes[0]);
}
