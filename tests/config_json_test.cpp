// The shared JSON member checker: found, missing and wrongly typed members,
// with their codes and messages.
#include "config_json.h"
#include "result_codes.h"

#include <gtest/gtest.h>

#include <string>

#include "core/json_ref.h"

TEST(JsonObjectCheck, FoundMissingAndWrongType) {
    json_ref doc(json_tokener_parse(R"({"s":"x","a":[1],"o":{},"b":true,"i":7,"n":null})"));
    ASSERT_TRUE(doc);
    int error = 0;
    char message[JSON_CHECK_MESSAGE_SIZE] = "untouched";

    // Every type found as itself leaves the code and the message alone.
    EXPECT_STREQ("x", json_object_get_string(json_object_check(doc.get(), &error, "s", message, json_type_string)));
    EXPECT_NE(nullptr, json_object_check(doc.get(), &error, "a", message, json_type_array));
    EXPECT_NE(nullptr, json_object_check(doc.get(), &error, "o", message, json_type_object));
    EXPECT_NE(nullptr, json_object_check(doc.get(), &error, "b", message, json_type_boolean));
    EXPECT_NE(nullptr, json_object_check(doc.get(), &error, "i", message, json_type_int));
    EXPECT_EQ(0, error);
    EXPECT_STREQ("untouched", message);

    EXPECT_EQ(nullptr, json_object_check(doc.get(), &error, "gone", message, json_type_string));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, error);
    EXPECT_STREQ("Missing gone", message);

    // A wrongly typed member is returned with 100208, so callers test the code.
    error = 0;
    json_object* wrong = json_object_check(doc.get(), &error, "i", message, json_type_string);
    EXPECT_EQ(7, json_object_get_int(wrong));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, error);
    EXPECT_STREQ("Invalid type of i", message);

    // JSON null is a present member of the wrong type; no message buffer is fine.
    error = 0;
    EXPECT_EQ(nullptr, json_object_check(doc.get(), &error, "n", nullptr, json_type_string));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, error);

    // A non-object, a NULL object or key count as missing; a NULL code pointer is not written.
    json_ref array(json_tokener_parse("[1]"));
    error = 0;
    EXPECT_EQ(nullptr, json_object_check(array.get(), &error, "s", nullptr, json_type_string));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, error);
    error = 0;
    EXPECT_EQ(nullptr, json_object_check(nullptr, &error, "s", message, json_type_string));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, error);
    EXPECT_EQ(nullptr, json_object_check(doc.get(), nullptr, nullptr, message, json_type_string));
    EXPECT_STREQ("Missing ", message);

    // A long key is cut to the buffer.
    std::string key(1000, 'k');
    json_object_object_add(doc.get(), key.c_str(), json_object_new_int(1));
    json_object_check(doc.get(), &error, key.c_str(), message, json_type_string);
    EXPECT_EQ(JSON_CHECK_MESSAGE_SIZE - 1, strlen(message));
}
