// Request and response records: their JSON forms, the references they own,
// the 79- and 399-character cuts, and the codes of bad input.
#include "platform_testing.h"
#include "request.h"
#include "response.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

namespace {

class Records : public testing::Test {
  protected:
    void SetUp() override {
        plat_test_reset();
        plat_test_capture_log();
    }
    void TearDown() override { plat_test_reset(); }
};

// The JSON text of a new object from *_to_json, which the caller puts.
std::string json_text(json_object* object) {
    std::string text = object ? json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN) : "(null)";
    json_object_put(object);
    return text;
}

json_object* parse(const char* text) { return json_tokener_parse(text); }

}  // namespace

TEST_F(Records, RequestCopiesMethodCutAt79AndSharesParams) {
    json_object* params = parse(R"({"mac":"aabbccddeeff"})");
    std::string long_method(100, 'm');
    vespin_request* request = vespin_request_new(long_method.c_str(), params);
    ASSERT_FALSE(vespin_is_error(request));
    EXPECT_EQ(std::string(79, 'm'), request->method);
    // The record took its own reference: the caller's put does not free params.
    EXPECT_EQ(0, json_object_put(params));
    EXPECT_EQ("{\"method\":\"" + std::string(79, 'm') + "\",\"params\":{\"mac\":\"aabbccddeeff\"}}",
              json_text(vespin_request_to_json(request)));
    vespin_request_free(request);

    vespin_request* unnamed = vespin_request_new(nullptr, nullptr);
    EXPECT_EQ(R"({"method":""})", json_text(vespin_request_to_json(unnamed)));
    vespin_request_free(unnamed);
}

TEST_F(Records, RequestFromJsonKeepsParamsOfAnyTypeAfterTheDocumentIsDropped) {
    vespin_request* request = vespin_request_new_from_json(R"({"method":"system.echo","params":[1,"two",null]})");
    ASSERT_FALSE(vespin_is_error(request));
    EXPECT_STREQ("system.echo", request->method);
    EXPECT_EQ(R"([1,"two",null])", json_text(json_object_get(request->params)));
    vespin_request_free(request);

    request = vespin_request_new_from_json(R"({"method":"system.get_info","id":7})");
    ASSERT_FALSE(vespin_is_error(request));
    EXPECT_EQ(nullptr, request->params);
    EXPECT_EQ(R"({"method":"system.get_info"})", json_text(vespin_request_to_json(request)));
    vespin_request_free(request);
}

TEST_F(Records, RequestFromBadTextGivesNegatedCodes) {
    EXPECT_EQ(-100209, (intptr_t)vespin_request_new_from_json("method=reboot"));
    EXPECT_EQ(-100209, (intptr_t)vespin_request_new_from_json(nullptr));
    EXPECT_FALSE(plat_test_logged("Missing method"));
    EXPECT_EQ(-100200, (intptr_t)vespin_request_new_from_json(R"({"method":5,"params":{}})"));
    EXPECT_TRUE(plat_test_logged("Missing method"));
    EXPECT_EQ(-100200, (intptr_t)vespin_request_new_from_json(R"({"params":{}})"));
    EXPECT_EQ(-100200, (intptr_t)vespin_request_new_from_json(R"(["method","x"])"));
    const plat_log_entry& first = plat_test_log().front();
    EXPECT_EQ("vespin_request_new_from_json", first.function);
    EXPECT_EQ("src/core/request.cpp", first.file);
}

TEST_F(Records, NullAndErrorValuesAreIgnored) {
    vespin_request* bad_request = VESPIN_ERROR_PTR(vespin_request*, 100209);
    vespin_response* bad_response = VESPIN_ERROR_PTR(vespin_response*, 600000);
    EXPECT_EQ(nullptr, vespin_request_to_json(nullptr));
    EXPECT_EQ(nullptr, vespin_request_to_json(bad_request));
    EXPECT_EQ(nullptr, vespin_response_to_json(nullptr));
    EXPECT_EQ(nullptr, vespin_response_to_json(bad_response));
    EXPECT_EQ(100209, vespin_response_load_json(nullptr, "{}"));
    vespin_request_free(nullptr);
    vespin_request_free(bad_request);
    vespin_response_free(nullptr);
    vespin_response_free(bad_response);
}

TEST_F(Records, ErrorResponseKeepsCodeAndCutMessageButNoResult) {
    json_object* result = parse(R"({"ignored":true})");
    std::string long_message(500, 'x');
    vespin_response* response = vespin_response_new(600001, long_message.c_str(), result);
    ASSERT_FALSE(vespin_is_error(response));
    EXPECT_EQ(nullptr, response->result);
    EXPECT_EQ(1, json_object_put(result));  // no reference was taken
    EXPECT_EQ(std::string(399, 'x'), response->message);
    EXPECT_EQ(R"({"error":{"code":600001,"message":")" + std::string(399, 'x') + "\"}}",
              json_text(vespin_response_to_json(response)));
    vespin_response_free(response);

    response = vespin_response_new(300401, nullptr, nullptr);
    EXPECT_EQ(R"({"error":{"code":300401}})", json_text(vespin_response_to_json(response)));
    vespin_response_free(response);
}

TEST_F(Records, SuccessResponseKeepsResultIgnoresMessageAndStoresPost) {
    json_object* result = parse(R"({"echo":"system.echo"})");
    vespin_response* response = vespin_response_new_with_post(0, "ignored", result, 0x1234);
    ASSERT_FALSE(vespin_is_error(response));
    EXPECT_EQ(0, json_object_put(result));  // the record holds its own reference
    EXPECT_STREQ("", response->message);
    EXPECT_EQ(0x1234u, response->post);
    EXPECT_EQ(R"({"result":{"echo":"system.echo"}})", json_text(vespin_response_to_json(response)));
    vespin_response_free(response);

    response = vespin_response_new(0, nullptr, nullptr);
    EXPECT_EQ(0u, response->post);
    EXPECT_EQ("{}", json_text(vespin_response_to_json(response)));
    vespin_response_free(response);
}

TEST_F(Records, ResponseWithErrorOfTheWrongShapeLoadsAs100209) {
    const char* wrong[] = {
        R"({"error":{"code":"5"}})",   R"({"error":{"code":5,"message":7}})", R"({"error":{"message":"x"}})",
        R"({"error":"broken"})",       R"({"error":{"code":1.5}})",           R"([{"result":1}])",
        R"("a string")",               "42",
    };
    for (const char* text : wrong) {
        EXPECT_EQ(-100209, (intptr_t)vespin_response_new_from_json(text)) << text;
    }
    EXPECT_FALSE(plat_test_logged("Missing error and result"));
}

TEST_F(Records, TextThatIsNotJsonLoadsAs100209AndLogsTheText) {
    EXPECT_EQ(-100209, (intptr_t)vespin_response_new_from_json("RECVED!"));
    EXPECT_TRUE(plat_test_logged("Invalid json: RECVED!"));
    EXPECT_EQ(-100209, (intptr_t)vespin_response_new_from_json(""));
    EXPECT_EQ(-100209, (intptr_t)vespin_response_new_from_json(nullptr));
}

TEST_F(Records, ResponseWithoutErrorOrResultLoadsAsSuccess) {
    for (const char* text : {"{}", R"({"id":3})"}) {
        vespin_response* response = vespin_response_new_from_json(text);
        ASSERT_FALSE(vespin_is_error(response)) << text;
        EXPECT_EQ(0, response->code);
        EXPECT_EQ(nullptr, response->result);
        vespin_response_free(response);
    }
    EXPECT_TRUE(plat_test_logged("Missing error and result"));
}

TEST_F(Records, ResponseLoadsErrorAndResultTogether) {
    std::string text = R"({"error":{"code":600406,"message":")" + std::string(450, 'y') +
                       R"("},"result":[true]})";
    vespin_response* response = vespin_response_new_from_json(text.c_str());
    ASSERT_FALSE(vespin_is_error(response));
    EXPECT_EQ(600406, response->code);
    EXPECT_EQ(std::string(399, 'y'), response->message);
    EXPECT_EQ("[true]", json_text(json_object_get(response->result)));
    vespin_response_free(response);

    response = vespin_response_new_from_json(R"({"result":null})");
    ASSERT_FALSE(vespin_is_error(response));
    EXPECT_EQ(nullptr, response->result);
    EXPECT_FALSE(plat_test_logged("Missing error and result"));
    vespin_response_free(response);
}

TEST_F(Records, LoadingIntoARecordTwiceKeepsOneResultReference) {
    vespin_response* response = vespin_response_new(0, nullptr, nullptr);
    EXPECT_EQ(0, vespin_response_load_json(response, R"({"result":{"a":1}})"));
    EXPECT_EQ(0, vespin_response_load_json(response, R"({"result":{"b":2}})"));
    EXPECT_EQ(R"({"result":{"b":2}})", json_text(vespin_response_to_json(response)));
    vespin_response_free(response);  // the sanitizer build reports the first result if it leaked
}

TEST_F(Records, FieldsFilledWithoutANulAreReadWithinTheirSize) {
    vespin_request* request = vespin_request_new("x", nullptr);
    memset(request->method, 'a', sizeof request->method);
    EXPECT_EQ(R"({"method":")" + std::string(79, 'a') + "\"}", json_text(vespin_request_to_json(request)));
    vespin_request_free(request);
    vespin_response* response = vespin_response_new(1, "x", nullptr);
    memset(response->message, 'b', sizeof response->message);
    EXPECT_EQ(R"({"error":{"code":1,"message":")" + std::string(399, 'b') + "\"}}",
              json_text(vespin_response_to_json(response)));
    vespin_response_free(response);
}
