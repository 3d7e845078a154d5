// Time-limit rules: the text form and its splitter rules, the JSON form, the
// generated ids, and the factory storing rules in "timelimits" as one commit.
#include "config_time_limit.h"
#include "internal_time_limit.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"
#include "uci/files.h"
#include "uciconfig.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <errno.h>
#include <stdlib.h>

#include <string>

namespace {

const char* kMac = "a0b1c2d3e4f5";

std::string text_of(const time_limit& rule) {
    char out[TIME_LIMIT_TEXT_SIZE];
    EXPECT_EQ(0, time_limit_to_string(&rule, out));
    return out;
}

std::string json_text(json_object* object) {
    std::string text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    return text;
}

struct factory_owner {
    time_limit_rule_factory* factory = time_limit_rule_factory_new();
    ~factory_owner() { time_limit_rule_factory_free(factory); }
};

TEST(TimeLimitText, ParsesAndPrintsTheSameText) {
    test_root root;
    time_limit rule = {};
    ASSERT_EQ(0, time_limit_from_string(&rule, "12345|1|08:00|20:00|1,2,3"));
    EXPECT_STREQ("12345", rule.id);
    EXPECT_EQ(1u, rule.enabled);
    EXPECT_STREQ("08:00", rule.time_begin);
    EXPECT_STREQ("20:00", rule.time_end);
    ASSERT_EQ(3, rule.schedule_count);
    EXPECT_EQ("3", std::string(rule.schedule[2], strnlen(rule.schedule[2], 4)));
    EXPECT_EQ("12345|1|08:00|20:00|1,2,3", text_of(rule));
    EXPECT_EQ("{\"id\":\"12345\",\"time_begin\":\"08:00\",\"time_end\":\"20:00\",\"schedule\":[\"1\",\"2\",\"3\"],"
              "\"enabled\":true}",
              json_text(time_limit_to_json_object(&rule)));
}

TEST(TimeLimitText, SplitterRulesForFourSixPartsAndEightDays) {
    test_root root;
    plat_test_capture_log();
    time_limit rule = {};
    ASSERT_EQ(0, time_limit_from_string(&rule, "11111|0|01:00|02:00|mon"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, time_limit_from_string(&rule, "12345|1|08:00|20:00"));
    EXPECT_TRUE(plat_test_logged("Invalid time limit string, 4 12345|1|08:00|20:00"));
    EXPECT_EQ("11111|0|01:00|02:00|mon", text_of(rule));  // untouched

    // A sixth part stays in the day part with its "|"; the entry is cut to 4.
    ASSERT_EQ(0, time_limit_from_string(&rule, "12345|1|08:00|20:00|1,2|xyz"));
    ASSERT_EQ(2, rule.schedule_count);
    EXPECT_EQ("2|xy", std::string(rule.schedule[1], 4));

    // An eighth day entry stays in the seventh ("7,8"), cut to 4 characters.
    ASSERT_EQ(0, time_limit_from_string(&rule, "1|1|a|b|1,2,3,4,5,6,7,8"));
    EXPECT_EQ(7, rule.schedule_count);
    EXPECT_EQ("7,8", std::string(rule.schedule[6]));
    ASSERT_EQ(0, time_limit_from_string(&rule, "1|1|a|b|1,2,3,4,5,6,sun0,sat"));
    EXPECT_EQ("sun0", std::string(rule.schedule[6], 4));

    // Over-long fields are cut to their sizes.
    ASSERT_EQ(0, time_limit_from_string(&rule, "1234567|1|08:00:00:00|x|d"));
    EXPECT_STREQ("12345", rule.id);
    EXPECT_STREQ("08:00:0", rule.time_begin);
}

TEST(TimeLimitText, NoDaysPrintsEmptyAndReadsBackOneEmptyEntry) {
    time_limit rule = {};
    strcpy(rule.id, "00042");
    strcpy(rule.time_begin, "08:00");
    strcpy(rule.time_end, "09:00");
    rule.enabled = 1;
    EXPECT_EQ("00042|1|08:00|09:00|", text_of(rule));
    time_limit back = {};
    ASSERT_EQ(0, time_limit_from_string(&back, "00042|1|08:00|09:00|"));
    EXPECT_EQ(1, back.schedule_count);
    EXPECT_EQ('\0', back.schedule[0][0]);
}

TEST(TimeLimitFactory, AddsGeneratedIdsUpToFiveAndCommitsAsOne) {
    test_root root;
    plat_test_set_clock(1700000000, 0);
    factory_owner f;
    ASSERT_NE(nullptr, f.factory);
    ASSERT_FALSE(vespin_is_error(f.factory));

    // The generator is seeded with the clock, so a fixed clock gives a fixed id.
    srand(1700000000);
    unsigned r = (unsigned)(rand() % 99999);
    char expected[8];
    snprintf(expected, sizeof expected, "%05u", (r * r) % 99999);

    time_limit rule = {};
    ASSERT_EQ(0, time_limit_from_string(&rule, "|1|08:00|20:00|1,2"));
    ASSERT_EQ(0, time_limit_add(f.factory->ctx, kMac, &rule));
    EXPECT_STREQ(expected, rule.id);
    for (const char* text : {"00002|1|a|b|1", "00003|1|a|b|1", "00004|1|a|b|1", "00005|0|a|b|"})
        ASSERT_EQ(0, time_limit_rule_factory_add_rule(f.factory, kMac, text)) << text;
    EXPECT_EQ(VESPIN_ERR_TABLE_FULL, time_limit_rule_factory_add_rule(f.factory, kMac, "00006|1|a|b|1"));

    // Nothing reaches the file before the commit.
    EXPECT_EQ("\n", root.read("/etc/config/timelimits"));
    ASSERT_EQ(0, time_limit_rule_factory_commit(f.factory));
    EXPECT_EQ(std::string("\nconfig sta 'a0b1c2d3e4f5'\n\toption mac 'a0b1c2d3e4f5'\n\toption enabled 'true'\n") +
                  "\tlist entry '" + expected + "|1|08:00|20:00|1,2'\n\tlist entry '00002|1|a|b|1'\n" +
                  "\tlist entry '00003|1|a|b|1'\n\tlist entry '00004|1|a|b|1'\n\tlist entry '00005|0|a|b|'\n\n",
              root.read("/etc/config/timelimits"));

    time_limit* rules = time_limit_rule_factory_get_by_mac(f.factory, kMac);
    ASSERT_FALSE(vespin_is_error(rules));
    ASSERT_NE(nullptr, rules);
    int n = 0;
    while (rules[n].id[0]) n++;
    EXPECT_EQ(5, n);
    EXPECT_STREQ("00005", rules[4].id);
    free(rules);

    // The filter keeps what it was given.
    EXPECT_EQ(0, time_limit_restart());
    std::string kept = root.read("/var/run/timelimit.rules");
    EXPECT_NE(std::string::npos, kept.find("a0b1c2d3e4f5 00004|1|a|b|1\n")) << kept;
}

TEST(TimeLimitFactory, UpdateDeleteAndLookUp) {
    test_root root;
    factory_owner f;
    // Updating a rule that does not exist adds it (device created too).
    ASSERT_EQ(0, time_limit_rule_factory_update_rule(f.factory, kMac, "00007|1|08:00|09:00|1"));
    ASSERT_EQ(0, time_limit_rule_factory_update_rule(f.factory, kMac, "00007|0|10:00|11:00|2,3"));
    time_limit* rule = time_limit_rule_factory_get_rule(f.factory, kMac, "00007");
    ASSERT_NE(nullptr, rule);
    ASSERT_FALSE(vespin_is_error(rule));
    EXPECT_EQ("00007|0|10:00|11:00|2,3", text_of(*rule));
    free(rule);
    EXPECT_EQ(nullptr, time_limit_rule_factory_get_rule(f.factory, kMac, "99999"));
    EXPECT_EQ(nullptr, time_limit_rule_factory_get_by_mac(f.factory, "0000000000ff"));

    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, time_limit_rule_factory_delete_rule(f.factory, kMac, "99999"));
    EXPECT_EQ(0, time_limit_rule_factory_delete_rule(f.factory, kMac, "00007"));
    EXPECT_EQ(nullptr, time_limit_rule_factory_get_rule(f.factory, kMac, "00007"));
    EXPECT_EQ(nullptr, time_limit_rule_factory_get_by_mac(f.factory, kMac));  // its last rule is gone
    EXPECT_EQ(0, time_limit_rule_factory_delete_device(f.factory, kMac));
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, time_limit_rule_factory_delete_device(f.factory, kMac));

    // Bad MAC texts and unstorable rule texts are refused before any path is built.
    for (const char* mac : {"", "a0b1c2d3e4f", "a0b1c2d3e4f5a", "a0:b1:c2:d3:e4", "a0b1c2d3e4g5", "a0b1c2d3e4f5;"})
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, time_limit_rule_factory_add_rule(f.factory, mac, "1|1|a|b|1")) << mac;
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, time_limit_rule_factory_add_rule(f.factory, kMac, "1|1|a b|b|1"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, time_limit_rule_factory_add_rule(f.factory, kMac, "1|1|a\n|b|1"));
    EXPECT_TRUE(vespin_is_error(time_limit_rule_factory_get_by_mac(f.factory, "x")));
}

TEST(TimeLimitFactory, RollbackAndFailedCommitLeaveTheFile) {
    test_root root;
    {
        factory_owner f;
        ASSERT_EQ(0, time_limit_rule_factory_add_rule(f.factory, kMac, "00001|1|a|b|1"));
        ASSERT_EQ(0, time_limit_rule_factory_commit(f.factory));
    }
    const std::string committed = root.read("/etc/config/timelimits");
    factory_owner f;
    ASSERT_EQ(0, time_limit_rule_factory_add_rule(f.factory, kMac, "00002|1|a|b|1"));
    ASSERT_EQ(0, time_limit_rule_factory_delete_rule(f.factory, kMac, "00001"));
    // A disk that fills up half-way through the write.
    vuci::set_write_fault(ENOSPC);
    EXPECT_EQ(VESPIN_ERR_FAILURE, time_limit_rule_factory_commit(f.factory));
    vuci::set_write_fault(0);
    EXPECT_EQ(committed, root.read("/etc/config/timelimits"));
    EXPECT_EQ(0, time_limit_rule_factory_rollback(f.factory));
    ASSERT_EQ(0, time_limit_rule_factory_commit(f.factory));
    EXPECT_EQ(committed, root.read("/etc/config/timelimits"));
}

}  // namespace
