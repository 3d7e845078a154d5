// Mesh protocol versions: which texts are versions, how they print, and their order.
#include "new_mesh.h"

#include "platform_testing.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string printed(const version* v) {
    char text[VESPIN_VERSION_TEXT_SIZE];
    return version_to_string(v, text);
}

int compare_texts(const char* a, const char* b) {
    version* x = version_new_from_string(a);
    version* y = version_new_from_string(b);
    EXPECT_FALSE(vespin_is_error(x)) << a;
    EXPECT_FALSE(vespin_is_error(y)) << b;
    int order = version_compare(x, y);
    version_free(x);
    version_free(y);
    return order;
}

}  // namespace

TEST(Version, ParsesReleasesAndCandidates) {
    version v = {9, 9, 9, 9};
    EXPECT_EQ(0, version_from_string(&v, "1.2.0"));
    EXPECT_EQ(1u, v.major);
    EXPECT_EQ(2u, v.minor);
    EXPECT_EQ(0u, v.patch);
    EXPECT_EQ(0u, v.rc);  // a release resets the candidate number
    EXPECT_EQ("1.2.0", printed(&v));

    EXPECT_EQ(0, version_from_string(&v, "1.2.0-rc.1"));
    EXPECT_EQ(1u, v.rc);
    EXPECT_EQ("1.2.0-rc.1", printed(&v));

    EXPECT_EQ(0, version_from_string(&v, "01.002.3"));
    EXPECT_EQ("1.2.3", printed(&v));
    EXPECT_EQ(0, version_from_string(&v, "10.20.30-rc.45"));
    EXPECT_EQ("10.20.30-rc.45", printed(&v));
}

TEST(Version, RejectsTextsThatAreNotVersions) {
    plat_test_reset();
    plat_test_capture_log();
    const char* invalid[] = {"1.2",        "1.2.3.4",    "v1.2.3", "1.2.3-rc.0", "1.2.3-rc.01", "1.2.3-beta",
                             "1.2.3 ",     " 1.2.3",     "",       "1..3",       "1.2.3-rc.",   "1.2.3-rc1",
                             "1.2.3\n",    "1.2.-3"};
    for (const char* text : invalid) {
        version v = {7, 7, 7, 7};
        EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, version_from_string(&v, text)) << "'" << text << "'";
        EXPECT_EQ("7.7.7-rc.7", printed(&v)) << "'" << text << "'";
    }
    EXPECT_TRUE(plat_test_logged("Invalid version: 1.2.3-beta"));
    EXPECT_TRUE(plat_test_logged("Invalid version: 1.2.3 "));

    version v = {0, 0, 0, 0};
    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, version_from_string(&v, nullptr));
    version* made = version_new_from_string("1.2");
    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, vespin_error_code(made));
    version_free(made);
    plat_test_reset();
}

TEST(Version, NumbersBeyond32BitsStillMatch) {
    version v = {0, 0, 0, 0};
    EXPECT_EQ(0, version_from_string(&v, "4294967296.0.1"));
    EXPECT_EQ(0u, v.minor);
    EXPECT_EQ(1u, v.patch);
    EXPECT_EQ(0, version_from_string(&v, "4294967295.4294967295.4294967295-rc.4294967295"));
    EXPECT_EQ("4294967295.4294967295.4294967295-rc.4294967295", printed(&v));
}

TEST(Version, NewRecordsAndPrinting) {
    version* v = version_new(3, 0, 12, 0);
    ASSERT_FALSE(vespin_is_error(v));
    EXPECT_EQ("3.0.12", printed(v));
    version_free(v);
    v = version_new_from_string("2.5.1-rc.3");
    ASSERT_FALSE(vespin_is_error(v));
    EXPECT_EQ("2.5.1-rc.3", printed(v));
    version_free(v);
    version_free(nullptr);
}

TEST(Version, ReleasesAreNewerThanTheirCandidates) {
    EXPECT_EQ(1, compare_texts("1.2.0", "1.2.0-rc.1"));
    EXPECT_EQ(-1, compare_texts("1.2.0-rc.1", "1.2.0"));
    EXPECT_EQ(0, compare_texts("1.2.0-rc.1", "1.2.0-rc.1"));
    EXPECT_EQ(0, compare_texts("1.2.0", "01.2.00"));
    EXPECT_EQ(1, compare_texts("1.2.0", "1.2.0-rc.9"));
    EXPECT_EQ(1, compare_texts("1.2.0-rc.9", "1.2.0-rc.1"));
    EXPECT_EQ(1, compare_texts("1.2.0-rc.1", "1.1.99"));
    EXPECT_EQ(-1, compare_texts("1.1.99", "1.2.0-rc.1"));
    EXPECT_EQ(1, compare_texts("2.0.0", "1.99.99"));
    EXPECT_EQ(-1, compare_texts("1.2.3", "1.2.10"));
    // Unsigned: the largest number is the newest.
    EXPECT_EQ(1, compare_texts("4294967295.0.0", "1.0.0"));

    version v = {1, 0, 0, 0};
    EXPECT_EQ(1, version_compare(&v, nullptr));
    EXPECT_EQ(-1, version_compare(nullptr, &v));
    EXPECT_EQ(0, version_compare(nullptr, nullptr));
}
