// Calls to other nodes by serial number: the transport each version gets, the
// bytes on the wire, and every failure as a response record.
#include "mesh_rpc.h"

#include "core/mesh_maintainer/table_segment.h"
#include "mesh_maintainer.h"
#include "msghandle.h"
#include "platform_testing.h"
#include "test_root.h"
#include "loopback_udp.h"

#include <gtest/gtest.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/rep.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

const long kStart = 1700000000;
const char kRequest[] = "{\"method\":\"system.info\",\"params\":{\"x\":1}}";

// An nng rep0 node on 127.0.0.1 that records each request (bytes as
// received) and answers `reply` (with its NUL), or nothing when silent.
class rep_node {
  public:
    explicit rep_node(std::string reply, bool silent = false) : reply_(std::move(reply)), silent_(silent) {
        EXPECT_EQ(0, nng_rep0_open(&socket_));
        nng_listener listener;
        EXPECT_EQ(0, nng_listen(socket_, "tcp4://127.0.0.1:0", &listener, 0));
        nng_listener_get_int(listener, NNG_OPT_TCP_BOUND_PORT, &port_);
        thread_ = std::thread([this] { serve(); });
    }
    ~rep_node() {
        nng_close(socket_);
        thread_.join();
    }
    int port() const { return port_; }
    std::vector<std::string> requests() {
        std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }

  private:
    void serve() {
        for (;;) {
            char* text = nullptr;
            size_t size = 0;
            if (nng_recv(socket_, &text, &size, NNG_FLAG_ALLOC) != 0) return;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                requests_.emplace_back(text, size);
            }
            nng_free(text, size);
            if (!silent_) nng_send(socket_, const_cast<char*>(reply_.c_str()), reply_.size() + 1, 0);
        }
    }

    std::string reply_;
    bool silent_;
    nng_socket socket_;
    int port_ = 0;
    std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

// A datagram node: serves `calls` datagrams with the message receiver.
class datagram_node {
  public:
    datagram_node(std::string reply, int calls) : reply_(std::move(reply)) {
        receiver_ = new_message_receiver(handle, (uintptr_t)this, 0);
        EXPECT_FALSE(vespin_is_error(receiver_));
        port_ = bound_port(receiver_->socket);
        thread_ = std::thread([this, calls] {
            for (int i = 0; i < calls; i++) message_receiver_listen(receiver_, 1000);
        });
    }
    ~datagram_node() {
        thread_.join();
        destroy_message_receiver(receiver_);
    }
    int port() const { return port_; }
    std::vector<std::string> requests;

  private:
    static int handle(char* buffer, int32_t length, char** reply, uintptr_t context, message_post_action*) {
        auto* self = reinterpret_cast<datagram_node*>(context);
        self->requests.emplace_back(buffer, (size_t)length);
        *reply = strdup(self->reply_.c_str());
        return 0;
    }

    std::string reply_;
    message_receiver* receiver_ = nullptr;
    int port_ = 0;
    std::thread thread_;
};

struct response_free {
    void operator()(vespin_response* r) const { vespin_response_free(r); }
};
using response_ptr = std::unique_ptr<vespin_response, response_free>;

class MeshRpc : public ::testing::Test {
  protected:
    void SetUp() override {
        plat_test_set_clock(kStart, 0);
        plat_test_capture_log();
        inst_ = mesh_maintainer_get_inst();
        ASSERT_FALSE(vespin_is_error(inst_));
        json_object* params = json_tokener_parse("{\"x\":1}");
        request_ = vespin_request_new("system.info", params);
        json_object_put(params);
    }
    void TearDown() override {
        vespin_request_free(request_);
        mesh_table::forget_segment(true);
    }

    void add_node(const char* sn, int port, const char* protocol) {
        mesh_node node = {};
        snprintf(node.sn, sizeof node.sn, "%s", sn);
        snprintf(node.ip, sizeof node.ip, "127.0.0.1");
        snprintf(node.name, sizeof node.name, "%s", sn);
        node.rpc_port = port;
        ASSERT_EQ(0, version_from_string(&node.version, protocol));
        ASSERT_EQ(0, mesh_maintainer_put_node(inst_, &node));
    }
    response_ptr call(const char* sn, int oneway = 0) { return response_ptr(mesh_rpc(sn, request_, oneway)); }
    static std::string result_text(const vespin_response* r) {
        return r->result ? json_object_to_json_string_ext(r->result, JSON_C_TO_STRING_PLAIN) : "";
    }

    test_root root_;
    mesh_maintainer* inst_ = nullptr;
    vespin_request* request_ = nullptr;
};

TEST_F(MeshRpc, NewNodesAreCalledOverNngAndOldOnesOverDatagrams) {
    rep_node candidate("{\"result\":{\"node\":\"rc\"}}"), release("{\"result\":{\"node\":\"release\"}}");
    datagram_node old("{\"result\":{\"node\":\"old\"}}", 1);
    add_node("0224081231A1001", candidate.port(), "1.2.0-rc.1");
    add_node("0224081231A1002", release.port(), "1.2.0");
    add_node("0224081231A1003", old.port(), "1.1.9");

    for (auto [sn, expected] : {std::make_pair("0224081231A1001", "{\"node\":\"rc\"}"),
                                std::make_pair("0224081231A1002", "{\"node\":\"release\"}"),
                                std::make_pair("0224081231A1003", "{\"node\":\"old\"}")}) {
        response_ptr r = call(sn);
        ASSERT_FALSE(vespin_is_error(r.get()));
        EXPECT_EQ(0, r->code) << sn << " " << r->message;
        EXPECT_EQ(expected, result_text(r.get()));
    }
    // nng carries the request with its NUL, a datagram without it.
    std::string with_nul(kRequest, sizeof kRequest);
    EXPECT_EQ(std::vector<std::string>{with_nul}, candidate.requests());
    EXPECT_EQ(std::vector<std::string>{with_nul}, release.requests());
    EXPECT_EQ(std::vector<std::string>{kRequest}, old.requests);
}

TEST_F(MeshRpc, UnknownOrSilentNodesAreUnknownSerialNumbers) {
    rep_node node("{\"result\":{}}");
    add_node("0224081231A1001", node.port(), "1.2.0");
    response_ptr r = call("0224081231A1999");
    EXPECT_EQ(300401, r->code);
    EXPECT_STREQ("Unknown sn", r->message);
    EXPECT_TRUE(plat_test_logged("Invalid sn: 0224081231A1999"));
    plat_test_advance_clock(61 * 1000000L);
    r = call("0224081231A1001");
    EXPECT_EQ(300401, r->code);
    EXPECT_STREQ("Unknown sn", r->message);
    EXPECT_TRUE(node.requests().empty());
}

TEST_F(MeshRpc, RepliesThatAreNotResponsesAndRemoteErrors) {
    rep_node garbage("not json"), failing("{\"error\":{\"code\":600002,\"message\":\"Fail to get MIB\"}}");
    datagram_node old_garbage("<html>", 1);
    add_node("0224081231A1001", garbage.port(), "1.2.0");
    add_node("0224081231A1002", failing.port(), "1.2.0-rc.1");
    add_node("0224081231A1003", old_garbage.port(), "1.1.9");
    response_ptr r = call("0224081231A1001");
    EXPECT_EQ(600406, r->code);
    EXPECT_STREQ("Wrong response from node", r->message);
    r = call("0224081231A1002");
    EXPECT_EQ(600002, r->code);
    EXPECT_STREQ("Fail to get MIB", r->message);
    r = call("0224081231A1003");
    EXPECT_EQ(600406, r->code);
    EXPECT_STREQ("Wrong response from node", r->message);
}

TEST_F(MeshRpc, ReplyLongerThanTheReplyAreaIsCutAndWrong) {
    std::string big = "{\"result\":\"" + std::string(1100, 'x') + "\"}";
    rep_node node(big);
    add_node("0224081231A1001", node.port(), "1.2.0");
    response_ptr r = call("0224081231A1001");
    EXPECT_EQ(600406, r->code);
    EXPECT_STREQ("Wrong response from node", r->message);
}

TEST_F(MeshRpc, TransportFailuresAre600406WithoutAMessage) {
    // A port nobody listens on: the dial fails.
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in any = loopback_address(0);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<struct sockaddr*>(&any), sizeof any));
    int closed_port = bound_port(fd);
    close(fd);
    add_node("0224081231A1001", closed_port, "1.2.0");
    response_ptr r = call("0224081231A1001");
    EXPECT_EQ(600406, r->code);
    EXPECT_STREQ("", r->message);
    bool dial_logged = false;
    for (const auto& e : plat_test_log())
        dial_logged = dial_logged || e.text.find("Fail to dial tcp4://127.0.0.1:") == 0;
    EXPECT_TRUE(dial_logged);

    // A node that takes the request and never answers: three tries of a second.
    rep_node silent("", true);
    add_node("0224081231A1002", silent.port(), "1.2.0");
    r = call("0224081231A1002");
    EXPECT_EQ(600406, r->code);
    for (int attempt = 1; attempt <= 3; attempt++)
        EXPECT_TRUE(plat_test_logged("Fail to receive data after " + std::to_string(attempt) +
                                     " retries, errcode: 8(Try again)"));
    EXPECT_TRUE(plat_test_logged("Fail to receive data after 3 retries"));
    EXPECT_EQ(1u, silent.requests().size());
}

// One-way sends wait 20 ms for the connection between tries: real time.
TEST_F(MeshRpc, OneWayCallSendsAndReportsAWrongResponse) {
    plat_test_reset();
    plat_test_capture_log();
    rep_node node("{\"result\":{}}"), other("{\"result\":{}}");
    add_node("0224081231A1001", node.port(), "1.2.0");
    response_ptr r = call("0224081231A1001", 0x100 | 1);  // only the low 8 bits count
    EXPECT_EQ(600406, r->code);
    EXPECT_STREQ("Wrong response from node", r->message);
    for (int i = 0; i < 200 && node.requests().empty(); i++) usleep(10000);
    EXPECT_EQ(1u, node.requests().size());
    r = call("0224081231A1001", 0x100);  // low bits 0: a call that waits
    EXPECT_EQ(0, r->code);

    add_node("0224081231A1002", other.port(), "1.2.0");
    r.reset(notify_all_nodes(request_, 1));  // every node, whatever it answers
    EXPECT_EQ(0, r->code);
    EXPECT_EQ("{\"status\":true}", result_text(r.get()));
    for (int i = 0; i < 200 && (node.requests().size() < 3 || other.requests().empty()); i++) usleep(10000);
    EXPECT_EQ(3u, node.requests().size());
    EXPECT_EQ(1u, other.requests().size());
}

TEST_F(MeshRpc, NotifyAllNodesWithOnlyTheLocalNodeCallsNobody) {
    response_ptr r(notify_all_nodes(request_, 0));
    ASSERT_FALSE(vespin_is_error(r.get()));
    EXPECT_EQ(0, r->code);
    EXPECT_EQ("{\"status\":true}", result_text(r.get()));
}

TEST_F(MeshRpc, NotifyAllNodesStopsAtTheFirstFailingNode) {
    rep_node failing("{\"error\":{\"code\":600002}}"), later("{\"result\":{}}");
    add_node("0224081231A1001", failing.port(), "1.2.0");
    add_node("0224081231A1002", later.port(), "1.2.0");
    response_ptr r(notify_all_nodes(request_, 0));
    EXPECT_EQ(600002, r->code);
    EXPECT_STREQ("Fail to mesh_rpc", r->message);
    EXPECT_EQ(1u, failing.requests().size());
    EXPECT_TRUE(later.requests().empty());
}

}  // namespace
