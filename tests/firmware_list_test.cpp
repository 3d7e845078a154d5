// The remote firmware list against a real HTTPS service on loopback
// (sim/firmware-service.py), and the firmware record parser.
#include "server.h"

#include "firmware_service.h"
#include "platform_testing.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

const char kQ5Sn[] = "012411000100001";
const char kLarkSn[] = "022411000100002";
const char kFullRecord[] =
    R"({"model": {"id": "0042", "version": {"id": "7"}}, "version": "1.9.8-rc.1+build.20251121",)"
    R"( "url": "https://firmware.vespin.test/q5.bin", "size": 15990784, "released_time": 1763683200,)"
    R"( "changelog": "Faster roaming", "sns": ["012411000100001", "0123456789abcdefXYZ", 7]})";

std::vector<mesh_node> nodes_of(const std::vector<std::string>& sns) {
    std::vector<mesh_node> nodes(sns.size());
    for (size_t i = 0; i < sns.size(); i++) strncpy(nodes[i].sn, sns[i].c_str(), sizeof nodes[i].sn - 1);
    return nodes;
}

// The result of one remote_firmware_list call; frees the records.
struct listing {
    int code = -1;
    remote_firmware* list = nullptr;
    int count = -1;
    listing(const std::vector<std::string>& sns) {
        std::vector<mesh_node> nodes = nodes_of(sns);
        list = reinterpret_cast<remote_firmware*>(1);  // must be reset to NULL on failure
        code = remote_firmware_list(&list, &count, nodes.data(), (int)nodes.size());
    }
    listing(const listing&) = delete;
    ~listing() {
        for (int i = 0; i < count; i++) free(list[i].changelog);
        free(list);
    }
};

// A failed list leaves the outputs NULL and 0.
void expect_failure(const listing& result, int code) {
    EXPECT_EQ(code, result.code);
    EXPECT_EQ(nullptr, result.list);
    EXPECT_EQ(0, result.count);
}

int count_logged(const std::string& message) {
    int n = 0;
    for (const auto& e : plat_test_log()) n += e.channel == PLAT_LOG_STDERR && e.text == message;
    return n;
}

std::string header(const firmware_service_request& request, const std::string& name) {
    for (const auto& h : request.headers)
        if (h.first == name) return h.second;
    return "(absent)";
}

}  // namespace

TEST(FirmwareRecord, FillsEveryFieldAndCutsTexts) {
    test_root root;
    remote_firmware firmware;
    memset(&firmware, 0, sizeof firmware);
    ASSERT_EQ(0, remote_firmware_load_from_json(&firmware, kFullRecord));
    EXPECT_EQ(42, firmware.model_id);
    EXPECT_EQ(7, firmware.model_version_id);
    EXPECT_STREQ("1.9.8-rc.1+build.20", firmware.version);  // 19 characters and the terminator
    EXPECT_STREQ("https://firmware.vespin.test/q5.bin", firmware.url);
    EXPECT_EQ(15990784, firmware.size);
    EXPECT_EQ(1763683200, firmware.released_time);
    ASSERT_NE(nullptr, firmware.changelog);
    EXPECT_STREQ("Faster roaming", firmware.changelog);
    EXPECT_STREQ("012411000100001", firmware.sns[0]);
    EXPECT_STREQ("0123456789abcdef", firmware.sns[1]);  // 16 characters at most
    EXPECT_STREQ("7", firmware.sns[2]);                 // not a string: its JSON text
    EXPECT_STREQ("", firmware.sns[3]);
    free(firmware.changelog);

    // Neither changelog nor sns: accepted, nothing allocated, no serial number.
    memset(&firmware, 0, sizeof firmware);
    EXPECT_EQ(0, remote_firmware_load_from_json(&firmware, R"({"model": {"id": "2", "version": {"id": "1"}},)"
                                                           R"( "url": "u", "version": "v", "size": 1,)"
                                                           R"( "released_time": 2, "changelog": 5, "sns": "x"})"));
    EXPECT_EQ(nullptr, firmware.changelog);
    EXPECT_STREQ("", firmware.sns[0]);
}

TEST(FirmwareRecord, ChecksInOrderAndKeepsWhatWasStored) {
    test_root root;
    plat_test_capture_log();
    struct step {
        const char* json;
        int32_t model_version_id, model_id;
        const char* url;
        const char* version;
        int32_t size;
    };
    // Each object breaks the next check in order; what was checked before stays stored.
    const step steps[] = {
        {R"([])", 0, 0, "", "", 0},
        {R"({"model": "1"})", 0, 0, "", "", 0},
        {R"({"model": {"id": "1", "version": 1}})", 0, 0, "", "", 0},
        {R"({"model": {"id": "1", "version": {"id": 3}}})", 0, 0, "", "", 0},
        {R"({"model": {"id": 1, "version": {"id": "3"}}})", 3, 0, "", "", 0},
        {R"({"model": {"id": "1", "version": {"id": "3"}}, "url": null})", 3, 1, "", "", 0},
        {R"({"model": {"id": "1", "version": {"id": "3"}}, "url": "u", "version": 2})", 3, 1, "u", "", 0},
        {R"({"model": {"id": "1", "version": {"id": "3"}}, "url": "u", "version": "v", "size": "123"})", 3, 1,
         "u", "v", 0},
        {R"({"model": {"id": "1", "version": {"id": "3"}}, "url": "u", "version": "v", "size": 9,)"
         R"( "released_time": 1.5})",
         3, 1, "u", "v", 9},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.json);
        remote_firmware firmware;
        memset(&firmware, 0, sizeof firmware);
        EXPECT_EQ(100209, remote_firmware_load_from_json(&firmware, s.json));
        EXPECT_EQ(s.model_version_id, firmware.model_version_id);
        EXPECT_EQ(s.model_id, firmware.model_id);
        EXPECT_STREQ(s.url, firmware.url);
        EXPECT_STREQ(s.version, firmware.version);
        EXPECT_EQ(s.size, firmware.size);
        EXPECT_EQ(0, firmware.released_time);
    }
    EXPECT_EQ(9, count_logged("INVALID JSON"));

    // Texts the service must never be trusted with.
    std::string deep = std::string(40, '[') + std::string(40, ']');
    for (const char* bad : {"{\"model\": ", "{} {}", "{}\x00", "{\"url\": \"\xff\xfe\"}", deep.c_str()}) {
        remote_firmware firmware;
        memset(&firmware, 0, sizeof firmware);
        EXPECT_EQ(100209, remote_firmware_load_from_json(&firmware, bad)) << bad;
    }
    EXPECT_EQ(100209, remote_firmware_load_from_json(nullptr, kFullRecord));
}

TEST(FirmwareList, PostsTheSerialNumbersAndReadsTheRecords) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root);
    service.clear_requests();
    plat_test_capture_log();

    listing answer({kQ5Sn, kLarkSn, "032411000100003", kQ5Sn});
    ASSERT_EQ(0, answer.code);
    ASSERT_EQ(2, answer.count);
    const remote_firmware& q5 = answer.list[0];
    EXPECT_EQ(1, q5.model_id);
    EXPECT_EQ(2, q5.model_version_id);
    EXPECT_STREQ("1.9.8", q5.version);
    EXPECT_STREQ("https://firmware.vespin.test/q5/1.9.8/firmware.bin", q5.url);
    EXPECT_EQ(15990784, q5.size);
    EXPECT_EQ(1763683200, q5.released_time);
    EXPECT_STREQ("Faster roaming between nodes; fixes the LED schedule.", q5.changelog);
    EXPECT_STREQ(kQ5Sn, q5.sns[0]);
    EXPECT_STREQ(kQ5Sn, q5.sns[1]);
    EXPECT_STREQ("", q5.sns[2]);
    EXPECT_EQ(2, answer.list[1].model_id);
    EXPECT_EQ(nullptr, answer.list[1].changelog);
    EXPECT_STREQ(kLarkSn, answer.list[1].sns[0]);

    std::vector<firmware_service_request> requests = service.requests();
    ASSERT_EQ(1u, requests.size());
    const std::string body =
        R"({ "method": "firmware.get", "params": { "sns": [ "012411000100001", "022411000100002",)"
        R"( "032411000100003", "012411000100001" ] } })";
    EXPECT_EQ("POST", requests[0].method);
    EXPECT_EQ("/v4/version", requests[0].path);
    EXPECT_EQ(body, requests[0].body);
    EXPECT_EQ("application/json", header(requests[0], "Content-Type"));
    EXPECT_EQ(std::to_string(body.size()), header(requests[0], "Content-Length"));
    EXPECT_EQ("firmware.vespin.test:" + std::to_string(service.port()), header(requests[0], "Host"));

    // libcurl's verbose output is on.
    bool traced = false;
    for (const auto& e : plat_test_log())
        traced |= e.channel == PLAT_LOG_TRACE && e.text == "> POST /v4/version HTTP/1.1";
    EXPECT_TRUE(traced);
}

TEST(FirmwareList, EmptyAnswersAndEmptyRequests) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root);
    service.clear_requests();

    plat_test_capture_log();
    listing unknown({"032411000100003"});  // no firmware for that model: []
    EXPECT_EQ(0, unknown.code);
    EXPECT_EQ(0, unknown.count);
    EXPECT_EQ(nullptr, unknown.list);

    listing none({});
    EXPECT_EQ(0, none.code);
    EXPECT_EQ(0, none.count);
    std::vector<firmware_service_request> requests = service.requests();
    ASSERT_EQ(2u, requests.size());
    EXPECT_EQ(R"({ "method": "firmware.get", "params": { "sns": [ ] } })", requests[1].body);

    EXPECT_EQ(600001, remote_firmware_list(nullptr, nullptr, nullptr, 0));
}

TEST(FirmwareList, RedirectsKeepThePost) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root);
    plat_test_capture_log();
    for (int status : {301, 302, 303, 307}) {
        SCOPED_TRACE(status);
        service.clear_requests();
        firmware_service::set_url(root, service.url("/redirect-" + std::to_string(status)));
        listing answer({kLarkSn});
        EXPECT_EQ(0, answer.code);
        EXPECT_EQ(1, answer.count);
        std::vector<firmware_service_request> requests = service.requests();
        ASSERT_EQ(2u, requests.size());
        EXPECT_EQ("/redirect-" + std::to_string(status) + "/v4/version", requests[0].path);
        EXPECT_EQ("/v4/version", requests[1].path);
        EXPECT_EQ("POST", requests[1].method);
        EXPECT_EQ(requests[0].body, requests[1].body);
    }

    // Ten redirects are followed, the eleventh is refused.
    service.clear_requests();
    firmware_service::set_url(root, service.url("/loop"));
    expect_failure(listing({kLarkSn}), 600101);
    EXPECT_TRUE(plat_test_logged("HTTP request failed: 47"));
    EXPECT_EQ(11u, service.requests().size());

    // A redirect to another host is not followed from an emulated root, even
    // to a name its "/etc/hosts" holds: no name but the URL's is looked up.
    service.clear_requests();
    root.write("/etc/hosts", root.read("/etc/hosts") + "127.0.0.1\telsewhere.vespin.test\n");
    firmware_service::set_url(root, service.url("/away"));
    expect_failure(listing({kLarkSn}), 600101);
    EXPECT_TRUE(plat_test_logged("HTTP request failed: 6"));  // a failed look-up: tried twice
    std::vector<firmware_service_request> requests = service.requests();
    ASSERT_EQ(2u, requests.size());
    EXPECT_EQ("/away/v4/version", requests[1].path);
}

TEST(FirmwareList, BadStatusAndBadAnswers) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root);
    plat_test_capture_log();

    firmware_service::set_url(root, service.url("/status-503"));
    EXPECT_EQ(600103, listing({kQ5Sn}).code);
    EXPECT_TRUE(plat_test_logged("HTTP request failed: 503"));

    firmware_service::set_url(root, service.url("/broken"));
    EXPECT_EQ(100209, listing({kQ5Sn}).code);
    EXPECT_TRUE(plat_test_logged(R"(Broken json from server: `[{"model": {"id": "1", "version": `)"));

    service.write_answer("object", R"({"sns": []})");
    firmware_service::set_url(root, service.url("/answer-object"));
    EXPECT_EQ(100209, listing({kQ5Sn}).code);
    EXPECT_TRUE(plat_test_logged(R"(Invalid json from server: `{"sns": []}`)"));

    // One good record, then a "size" given as a string: the whole list fails.
    service.write_answer("size_text", std::string("[") + kFullRecord +
                                          R"(, {"model": {"id": "1", "version": {"id": "1"}}, "url": "u",)"
                                          R"( "version": "v", "size": "15990784", "released_time": 1}])");
    firmware_service::set_url(root, service.url("/answer-size_text"));
    expect_failure(listing({kQ5Sn}), 100209);
    EXPECT_TRUE(plat_test_logged("INVALID JSON"));
    EXPECT_TRUE(plat_test_logged("Invalid json from server"));

    // 51 serial numbers in one record: 50 kept.
    std::string sns;
    for (int i = 1; i <= 51; i++)
        sns += std::string(i > 1 ? "," : "") + "\"01241100010" + std::to_string(1000 + i) + "\"";
    service.write_answer("many_sns", R"([{"model": {"id": "1", "version": {"id": "1"}}, "url": "u", "version": "v",)"
                                     R"( "size": 1, "released_time": 1, "sns": [)" + sns + "]}]");
    firmware_service::set_url(root, service.url("/answer-many_sns"));
    listing many({kQ5Sn});
    ASSERT_EQ(0, many.code);
    ASSERT_EQ(1, many.count);
    EXPECT_STREQ("012411000101001", many.list[0].sns[0]);
    EXPECT_STREQ("012411000101050", many.list[0].sns[49]);
}

TEST(FirmwareList, HugeNestedAndNonUtf8AnswersGetAClearCode) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root);
    plat_test_capture_log();
    const std::string record = R"({"model": {"id": "1", "version": {"id": "1"}}, "url": "u", "version": "v",)"
                               R"( "size": 1, "released_time": 1})";

    // Several MB: not read past 1 MiB.
    std::string huge = "[" + record;
    while (huge.size() < 3u << 20) huge += ", " + record;
    service.write_answer("huge", huge + "]");
    firmware_service::set_url(root, service.url("/answer-huge"));
    expect_failure(listing({kQ5Sn}), 600101);
    EXPECT_TRUE(plat_test_logged("HTTP request failed: 23"));

    // Small texts that would cost much more than their size as JSON trees.
    std::string flood = "[{}";
    while (flood.size() < 500000) flood += ",{}";
    service.write_answer("flood", flood + "]");
    service.write_answer("nested", std::string(100000, '[') + std::string(100000, ']'));
    service.write_answer("latin1", "[{\"model\": {\"id\": \"1\", \"version\": {\"id\": \"1\"}}, \"url\": \"u\", "
                                   "\"version\": \"v\xe9\", \"size\": 1, \"released_time\": 1}]");
    for (const char* name : {"flood", "nested", "latin1"}) {
        SCOPED_TRACE(name);
        firmware_service::set_url(root, service.url(std::string("/answer-") + name));
        expect_failure(listing({kQ5Sn}), 100209);
    }
}

TEST(FirmwareList, CertificatesAreCheckedAgainstTheRootsBundle) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root);
    service.clear_requests();
    plat_test_capture_log();

    // A name the certificate does not carry.
    firmware_service::set_url(root, service.url("", "wrong.vespin.test"));
    EXPECT_EQ(600101, listing({kQ5Sn}).code);
    EXPECT_TRUE(plat_test_logged("HTTP request failed: 60"));

    // A root that trusts another CA only.
    firmware_service::set_url(root, service.url());
    root.write("/etc/ssl/certs/ca-certificates.crt", service.other_ca());
    EXPECT_EQ(600101, listing({kQ5Sn}).code);
    EXPECT_EQ(2, count_logged("HTTP request failed: 60"));
    EXPECT_EQ(0, count_logged("HTTP request retry: 1"));
    EXPECT_TRUE(service.requests().empty());  // nothing was sent over a refused connection
}

TEST(FirmwareList, RetriesOnceAfterATimeOut) {
    test_root root;
    firmware_service& service = firmware_service::shared();
    service.serve(root, "/stall-first-" + std::to_string(getpid()));
    service.clear_requests();
    plat_test_capture_log();
    plat_test_set_http_timeouts(1500, 1500);

    listing answer({kQ5Sn});
    EXPECT_EQ(0, answer.code);
    EXPECT_EQ(1, answer.count);
    EXPECT_EQ(1, count_logged("HTTP request timeout: 28"));
    EXPECT_EQ(1, count_logged("HTTP request retry: 1"));
    EXPECT_EQ(0, count_logged("HTTP request failed: 28"));
    EXPECT_EQ(2u, service.requests().size());
}

TEST(FirmwareList, BaseUrlFromUciElseTheBuildDefault) {
    test_root root;
    plat_test_capture_log();
    // The factory package names the vendor's cloud, which the emulated root
    // cannot resolve: two look-ups, one retry, then 600101.
    EXPECT_EQ(600101, listing({kQ5Sn}).code);
    EXPECT_EQ(2, count_logged("HTTP request timeout: 6"));
    EXPECT_EQ(1, count_logged("HTTP request retry: 1"));
    EXPECT_EQ(1, count_logged("HTTP request failed: 6"));
    EXPECT_EQ((std::vector<std::string>{"firmware.vespin-cloud.net", "firmware.vespin-cloud.net"}),
              plat_test_resolved());

    firmware_service::set_url(root, "https://elsewhere.vespin.test:8443/api");
    plat_test_reset();
    plat_test_capture_log();
    EXPECT_EQ(600101, listing({kQ5Sn}).code);
    EXPECT_EQ("elsewhere.vespin.test", plat_test_resolved().at(0));

    // Without the option: the build's default. Its host resolves to an
    // address off loopback, which the emulated root never connects to.
    root.write("/etc/config/vespin_cloud", "\nconfig firmware 'firmware'\n\n");
    std::string host = std::string(VESPIN_FIRMWARE_URL).substr(8);
    host = host.substr(0, host.find_first_of(":/"));
    root.write("/etc/hosts", "127.0.0.1\tlocalhost\n10.1.2.3\t" + host + "\n");
    plat_test_reset();
    plat_test_capture_log();
    EXPECT_EQ(600101, listing({kQ5Sn}).code);
    EXPECT_EQ(std::vector<std::string>{host}, plat_test_resolved());
    EXPECT_TRUE(plat_test_logged("HTTP request failed: 7"));
}
