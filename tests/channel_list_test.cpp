// Country and channel tables, and the choice of the least crowded channel
// from a site survey written into the emulated root.
#include "channel_list.h"
#include "platform_testing.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <string.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

// The country table as the router's regulatory data lists it: code, region
// id and, where it is not 3, the domain.
const char kCountries[] =
    "AL 8, DZ 12, AR 32, AM 51, AU 36, AT 40, AZ 31, BH 48, BY 112, BE 56, BZ 84, BO 68, BR 76, "
    "BN 96, BG 100, CA 124 (1), CL 152, CN 156 (13), CO 170 (1), CR 188, HR 191, CY 196, CZ 203, "
    "DK 208, DO 214 (1), EC 218, EG 818, SV 222, EE 233, FI 246, FR 250, GE 268, DE 276, GR 300, "
    "GT 320 (1), HN 340, HK 344, HU 348, IS 352, IN 356, ID 360, IR 364, IE 372, IL 376 (7), IT 380, "
    "JP 392 (6), JO 400, KZ 398, KR 410, KP 408, KW 414, LV 428, LB 422, LI 438, LT 440, LU 442, "
    "MO 446, MK 807, MY 458, MX 484 (1), MC 492, MA 504, NL 528, NZ 554, NO 578, OM 512, PK 586, "
    "PA 591 (1), PE 604, PH 608, PL 616, PT 620, PR 630 (1), QA 634, RO 642, RS 688, RU 643 (12), "
    "SA 682, SG 702, SK 703, SI 705, ZA 710, ES 724, SE 752, CH 756, SY 760, TW 158 (11), TH 764, "
    "TT 780, TN 788, TR 792, UA 804, AE 784, GB 826, US 840 (1), UY 858, UZ 860 (1), VE 862, "
    "VN 704, YE 887, ZW 716";

struct country {
    std::string code;
    uint32_t id;
    uint32_t domain;
};

std::vector<country> expected_countries() {
    std::vector<country> rows;
    std::istringstream in(kCountries);
    std::string item;
    while (std::getline(in, item, ',')) {
        country c{};
        char code[3] = {0};
        unsigned id = 0, domain = 3;
        int n = sscanf(item.c_str(), " %2s %u (%u)", code, &id, &domain);
        EXPECT_GE(n, 2) << item;
        rows.push_back({code, id, domain});
    }
    return rows;
}

std::vector<uint32_t> range(uint32_t first, uint32_t last) {
    std::vector<uint32_t> v;
    for (uint32_t c = first; c <= last; c++) v.push_back(c);
    return v;
}

const std::vector<uint32_t> kLow5g = {36, 40, 44, 48};
const std::vector<uint32_t> kBoth5g = {36, 40, 44, 48, 149, 153, 157, 161};

// Channels of domains 0 to 15.
const std::vector<std::vector<uint32_t>> kDomains2g = {
    {},           range(1, 11), range(1, 11), range(1, 13), range(1, 13), range(10, 13),
    range(1, 14), range(3, 13), range(1, 14), range(1, 14), range(1, 14), range(1, 11),
    range(1, 13), range(1, 13), range(1, 11), range(1, 11)};
const std::vector<std::vector<uint32_t>> kDomains5g = {
    {},      kBoth5g, kBoth5g, kLow5g, kLow5g, kLow5g, kLow5g, kLow5g, {34, 38, 42, 46}, kLow5g, kLow5g,
    {56, 60, 64, 149, 153, 157, 161}, kBoth5g, kBoth5g, {36, 40, 44, 48, 149, 153, 157}, kBoth5g};

std::vector<uint32_t> list_2g(uint32_t region) {
    uint32_t out[VESPIN_MAX_CHANNELS] = {0};
    int n = get_2g_channel_list(region, out);
    return n < 0 ? std::vector<uint32_t>{999} : std::vector<uint32_t>(out, out + n);
}

std::vector<uint32_t> list_5g(uint32_t region) {
    uint32_t out[VESPIN_MAX_CHANNELS] = {0};
    int n = get_5g_channel_list(region, out);
    return n < 0 ? std::vector<uint32_t>{999} : std::vector<uint32_t>(out, out + n);
}

}  // namespace

TEST(CountryTable, EveryRowMatchesTheRegulatoryList) {
    std::vector<country> rows = expected_countries();
    ASSERT_EQ(101u, rows.size());
    uint32_t ids[VESPIN_REGION_COUNT + 1];
    ids[VESPIN_REGION_COUNT] = 0xdeadbeef;
    ASSERT_EQ(101, get_all_region_id(ids));
    EXPECT_EQ(0xdeadbeefu, ids[VESPIN_REGION_COUNT]);
    for (size_t i = 0; i < rows.size(); i++) {
        const country& c = rows[i];
        SCOPED_TRACE(c.code);
        EXPECT_EQ(c.id, ids[i]);
        char code[4] = {0, 0, 'x', 0};
        ASSERT_EQ(0, get_country(c.id, code));
        EXPECT_EQ(c.code + "x", std::string(code));  // two letters, no terminator written
        uint32_t id = 0;
        ASSERT_EQ(0, get_region_id(c.code.c_str(), &id));
        EXPECT_EQ(c.id, id);
        uint32_t d2 = 99, d5 = 99;
        ASSERT_EQ(0, get_regulatory_domain_id(c.id, &d2, &d5));
        EXPECT_EQ(c.domain, d2);
        EXPECT_EQ(c.domain, d5);
        EXPECT_EQ(kDomains2g[c.domain], list_2g(c.id));
        EXPECT_EQ(kDomains5g[c.domain], list_5g(c.id));
    }
}

TEST(CountryTable, ExamplesOfTheRegulatoryList) {
    EXPECT_EQ(range(1, 11), list_2g(840));
    EXPECT_EQ(8u, list_5g(840).size());
    EXPECT_EQ(13u, list_2g(276).size());
    EXPECT_EQ(4u, list_5g(276).size());
    EXPECT_EQ(14u, list_2g(392).size());
    EXPECT_EQ(4u, list_5g(392).size());
    EXPECT_EQ(13u, list_2g(156).size());
    EXPECT_EQ(8u, list_5g(156).size());
    EXPECT_EQ(range(1, 11), list_2g(158));
    EXPECT_EQ((std::vector<uint32_t>{56, 60, 64, 149, 153, 157, 161}), list_5g(158));

    uint32_t id = 0;
    EXPECT_EQ(-1, get_region_id("us", &id));
    EXPECT_EQ(0, get_region_id("US", &id));
    EXPECT_EQ(840u, id);

    EXPECT_EQ(0, check_validity_of_channel(276, 149));
    EXPECT_EQ(1, check_validity_of_channel(840, 149));
    EXPECT_EQ(0, check_validity_of_channel(840, 13));
    EXPECT_EQ(1, check_validity_of_channel(276, 13));
}

TEST(CountryTable, UnknownRegionsAndCodesAndNullOutputs) {
    uint32_t channels[VESPIN_MAX_CHANNELS] = {0};
    uint32_t d2 = 7, d5 = 7, id = 7;
    char code[3] = {0};
    EXPECT_EQ(-1, get_regulatory_domain_id(0, &d2, &d5));
    EXPECT_EQ(-1, get_regulatory_domain_id(999, &d2, &d5));
    EXPECT_EQ(7u, d2);
    EXPECT_EQ(7u, d5);
    EXPECT_EQ(-1, get_2g_channel_list(999, channels));
    EXPECT_EQ(-1, get_5g_channel_list(999, channels));
    EXPECT_EQ(-1, get_country(999, code));
    EXPECT_EQ(0, code[0]);
    EXPECT_EQ(0, check_validity_of_channel(999, 1));
    EXPECT_EQ(-1, get_region_id("XX", &id));
    EXPECT_EQ(-1, get_region_id("U", &id));
    EXPECT_EQ(-1, get_region_id("", &id));
    EXPECT_EQ(7u, id);

    EXPECT_EQ(-1, get_regulatory_domain_id(840, nullptr, &d5));
    EXPECT_EQ(-1, get_regulatory_domain_id(840, &d2, nullptr));
    EXPECT_EQ(-1, get_region_id(nullptr, &id));
    EXPECT_EQ(-1, get_region_id("US", nullptr));
    EXPECT_EQ(-1, get_country(840, nullptr));
    EXPECT_EQ(-1, get_2g_channel_list(840, nullptr));
    EXPECT_EQ(-1, get_5g_channel_list(840, nullptr));
    EXPECT_EQ(0, get_all_region_id(nullptr));
}

class BestChannel : public ::testing::Test {
  protected:
    void scan(const std::string& ifname, const std::string& lines) { root.write("/var/scan/" + ifname, lines); }
    // An even or odd second decides ties.
    void clock_at(long seconds) { plat_test_set_clock(seconds, 0); }
    test_root root;
};

TEST_F(BestChannel, PicksTheChannelWithFewestForeignNetworksAndLeavesOwnSsidOut) {
    // US 2.4 GHz: channels 1-11. Channel 6 holds only our own mesh; every
    // other channel has foreign networks.
    std::string lines;
    for (int ch = 1; ch <= 11; ch++) {
        if (ch == 6) continue;
        lines += std::to_string(ch) + " neighbour-" + std::to_string(ch) + "\n";
        lines += std::to_string(ch) + " Cafe WiFi\n";
    }
    lines += "6 Vespin-Home\n6 Vespin-Home\n1 third\n";
    scan("wlan1", lines);
    clock_at(1001);
    EXPECT_EQ(6, select_best_channel(840, 1, "Vespin-Home", 1));
    // Counted as foreign when the own name differs by case.
    EXPECT_NE(6, select_best_channel(840, 1, "vespin-home", 1));
    // Channels outside the region's list are not candidates: 12 and 13 are
    // empty but the US list stops at 11.
    EXPECT_EQ(6, select_best_channel(840, 1, "Vespin-Home", 11));
}

TEST_F(BestChannel, ATieIsDecidedByTheParityOfTheCurrentSecond) {
    // 5 GHz US: 36 40 44 48 149 153 157 161. 44 and 153 are empty, the rest busy.
    std::string lines;
    for (int ch : {36, 40, 48, 149, 157, 161}) lines += std::to_string(ch) + " busy\n";
    lines += "36 crowd\n";
    scan("wlan0", lines);
    clock_at(2000);  // even: a later channel with an equal count replaces the best
    EXPECT_EQ(153, select_best_channel(840, 0, "mine", 36));
    clock_at(2001);  // odd: the first channel with the lowest count stays
    EXPECT_EQ(44, select_best_channel(840, 0, "mine", 36));
}

TEST_F(BestChannel, TheCurrentChannelIsKeptOnAnEqualCount) {
    scan("wlan0", "36 a\n40 b\n44 c\n149 d\n153 e\n157 f\n161 g\n");
    clock_at(3001);
    EXPECT_EQ(48, select_best_channel(840, 0, "mine", 36));
    // 36 carries one network, like the best channels: no move for an equal gain.
    scan("wlan0", "36 a\n40 b\n44 c\n48 d\n149 e\n153 f\n157 g\n161 h\n");
    EXPECT_EQ(36, select_best_channel(840, 0, "mine", 36));
    // With no foreign network anywhere the current channel stays, allowed or not.
    scan("wlan0", "");
    EXPECT_EQ(165, select_best_channel(840, 0, "mine", 165));
    scan("wlan1", "3 mine\n");
    EXPECT_EQ(14, select_best_channel(840, 1, "mine", 14));
}

TEST_F(BestChannel, UnknownRegionGivesZeroUnlessTheCurrentChannelHas128Networks) {
    scan("wlan1", "1 a\n2 b\n");
    EXPECT_EQ(0, select_best_channel(999, 1, "mine", 1));
    EXPECT_EQ(0, select_best_channel(999, 1, "mine", 5));
    std::string crowd;
    for (int i = 0; i < 128; i++) crowd += "7 net" + std::to_string(i) + "\n";
    scan("wlan1", crowd);
    EXPECT_EQ(7, select_best_channel(999, 1, "mine", 7));
}

TEST_F(BestChannel, AFailedScanLogsAndGivesZero) {
    plat_test_capture_log();
    EXPECT_EQ(0, select_best_channel(840, 1, "mine", 6));  // no survey result for wlan1
    EXPECT_TRUE(plat_test_logged("Fail to scan wlan1"));
    EXPECT_EQ(0, select_best_channel(840, 0, "mine", 36));
    EXPECT_TRUE(plat_test_logged("Fail to scan wlan0"));
    EXPECT_EQ(0, select_best_channel(840, 7, nullptr, 6));
    EXPECT_TRUE(plat_test_logged("Fail to scan wlan7"));
    const auto& log = plat_test_log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ("select_best_channel", log.back().function);
}

TEST_F(BestChannel, ANullOwnNameCountsEveryNetwork) {
    scan("wlan1", "1 x\n2 x\n3 x\n4 x\n5 x\n6 x\n7 x\n8 x\n9 x\n10 x\n11\n");
    clock_at(1);
    EXPECT_EQ(1, select_best_channel(840, 1, "x", 11));
    EXPECT_EQ(11, select_best_channel(840, 1, nullptr, 11));
}
