// The datagram transport over real UDP on loopback: the receiver acknowledges,
// replies and then runs the after-reply action; the caller skips
// acknowledgements, cuts replies at 2000 bytes and gives up after three
// receive timeouts. Receivers run in a thread of the test on ephemeral ports.
#include "loopback_udp.h"
#include "msghandle.h"
#include "platform.h"
#include "platform_testing.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

const char kLoopback[] = "127.0.0.1";

// A plain UDP socket on 127.0.0.1 with an ephemeral port, closed at the end.
struct udp_socket {
    int fd;
    udp_socket() : fd(new_loopback_udp_socket()) {
        struct timeval tv = {5, 0};  // a broken receiver fails the test instead of hanging it
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    }
    ~udp_socket() { close(fd); }
    void send_to(uint16_t port, const std::string& bytes) const { send_datagram(fd, loopback_address(port), bytes); }
    // Answers the next datagram with the given ones, in a thread.
    std::thread answer_next_with(std::vector<std::string> answers) const {
        return std::thread([this, answers] {
            struct sockaddr_in from = {};
            if (next(0, &from) == "(none)") return;
            for (const std::string& answer : answers) send_datagram(fd, from, answer);
        });
    }
    // The next datagram, or "(none)" when nothing is waiting (flags 0: wait up to 5 s).
    std::string next(int flags = 0, struct sockaddr_in* from = nullptr) const {
        char buffer[70000];
        socklen_t length = sizeof(struct sockaddr_in);
        ssize_t n = recvfrom(fd, buffer, sizeof buffer, flags, reinterpret_cast<struct sockaddr*>(from),
                             from ? &length : nullptr);
        return n < 0 ? "(none)" : std::string(buffer, (size_t)n);
    }
};

// What a handler saw and what it answers; the receiver passes it as context.
struct handler_script {
    int code = 0;
    std::string reply;  // empty: no reply
    bool with_post = false;
    std::vector<std::string> payloads;
    std::vector<int32_t> lengths;
    std::vector<char> last_byte_after;  // buffer[length] when length < 8192, else '-'
};

// The after-reply action has no arguments: it reads what the client socket
// already holds, which proves the reply was sent before it ran.
const udp_socket* post_client = nullptr;
std::vector<std::string> post_saw;

void record_what_the_client_holds() {
    post_saw.push_back("post");
    if (!post_client) return;
    post_saw.push_back(post_client->next(MSG_DONTWAIT));
    post_saw.push_back(post_client->next(MSG_DONTWAIT));
}

int scripted_handler(char* buffer, int32_t length, char** reply, uintptr_t context, message_post_action* post) {
    auto* script = reinterpret_cast<handler_script*>(context);
    script->payloads.emplace_back(buffer, (size_t)length);  // the buffer may lack a NUL
    script->lengths.push_back(length);
    script->last_byte_after.push_back(length < MESSAGE_RECEIVER_BUFFER_SIZE ? buffer[length] : '-');
    if (!script->reply.empty()) *reply = strdup(script->reply.c_str());
    if (script->with_post) *post = record_what_the_client_holds;
    return script->code;
}

// A receiver on an ephemeral port serving `count` datagrams in a thread. At
// the end it pokes the receiver until the thread is done, so that a failed
// test cannot leave it waiting.
class serving_receiver {
  public:
    serving_receiver(handler_script* script, int count)
        : receiver_(new_message_receiver(scripted_handler, reinterpret_cast<uintptr_t>(script), 0)) {
        if (vespin_is_error(receiver_)) return;
        port_ = bound_port(receiver_->socket);
        thread_ = std::thread([this, count] {
            for (int i = 0; i < count; i++) results_.push_back(message_receiver_listen(receiver_, 0));
            done_ = true;
        });
    }
    ~serving_receiver() {
        if (vespin_is_error(receiver_)) return;
        udp_socket poker;
        while (!done_) {
            poker.send_to(port_, "poke");
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        thread_.join();
        destroy_message_receiver(receiver_);
    }
    bool ok() const { return !vespin_is_error(receiver_); }
    uint16_t port() const { return port_; }
    message_receiver* receiver() const { return receiver_; }
    // Waits for the thread to serve its datagrams and returns their results.
    std::vector<int> results() {
        thread_.join();
        thread_ = std::thread([] {});
        return results_;
    }

  private:
    message_receiver* receiver_;
    uint16_t port_ = 0;
    std::thread thread_;
    std::vector<int> results_;
    std::atomic<bool> done_{false};
};

// The captured stderr lines and printed system errors, as
// "<function> <message>" and "<prefix>: <error>", one a line.
std::string failure_report() {
    std::string report;
    for (const plat_log_entry& entry : plat_test_log()) {
        if (entry.channel == PLAT_LOG_STDERR) report += entry.function + " " + entry.text + "\n";
        if (entry.channel == PLAT_LOG_PERROR) report += entry.text + "\n";
    }
    return report;
}

class Datagram : public testing::Test {
  protected:
    test_root root;  // the emulated node binds its receivers to 127.0.0.1
    void SetUp() override {
        plat_test_capture_log();
        post_client = nullptr;
        post_saw.clear();
    }
};

}  // namespace

TEST_F(Datagram, ReceiverAcknowledgesRepliesThenRunsTheAfterReplyAction) {
    handler_script script;
    script.reply = R"({"result":{}})";
    script.with_post = true;
    udp_socket client;
    post_client = &client;
    serving_receiver server(&script, 1);
    ASSERT_TRUE(server.ok());
    EXPECT_EQ("127.0.0.1", bound_host(server.receiver()->socket));
    client.send_to(server.port(), "hello");
    EXPECT_EQ(std::vector<int>{0}, server.results());
    EXPECT_EQ(std::vector<std::string>{"hello"}, script.payloads);
    EXPECT_EQ(std::vector<char>{0}, script.last_byte_after);  // shorter datagrams end in the zeroed buffer
    // The action ran after both datagrams had reached the client, and only once.
    EXPECT_EQ((std::vector<std::string>{"post", "RECVED!", R"({"result":{}})"}), post_saw);
    EXPECT_EQ(bound_port(client.fd), ntohs(server.receiver()->address.sin_port));
}

TEST_F(Datagram, FailingHandlerGetsOnlyTheAcknowledgementOut) {
    handler_script script;
    script.code = 600001;
    script.reply = "never sent";
    script.with_post = true;
    serving_receiver server(&script, 2);
    ASSERT_TRUE(server.ok());
    // mesh_message returns on the acknowledgement, whatever the handler does next.
    EXPECT_EQ(0, mesh_message(kLoopback, "notify", 6, server.port()));
    udp_socket client;
    client.send_to(server.port(), "again");
    EXPECT_EQ("RECVED!", client.next());
    EXPECT_EQ((std::vector<int>{600001, 600001}), server.results());
    EXPECT_EQ("(none)", client.next(MSG_DONTWAIT));
    EXPECT_TRUE(post_saw.empty());
    EXPECT_EQ((std::vector<std::string>{"notify", "again"}), script.payloads);
}

TEST_F(Datagram, MeshCallReturnsTheSecondDatagramCutAt2000Bytes) {
    handler_script script;
    script.reply = R"({"result":{"echo":"system.echo"}})";
    serving_receiver server(&script, 1);
    ASSERT_TRUE(server.ok());
    std::string request = R"({"method":"system.echo"})";
    char reply[4096];
    memset(reply, 'z', sizeof reply);
    EXPECT_EQ(0, mesh_call(kLoopback, request.c_str(), (int)request.size(), server.port(), reply, 0));
    EXPECT_STREQ(R"({"result":{"echo":"system.echo"}})", reply);
    EXPECT_EQ(std::vector<int>{0}, server.results());

    handler_script long_script;
    long_script.reply = std::string(2000, 'a') + std::string(1000, 'b');
    serving_receiver long_server(&long_script, 1);
    memset(reply, 'z', sizeof reply);
    EXPECT_EQ(0, mesh_call(kLoopback, "x", 1, long_server.port(), reply, 0));
    EXPECT_EQ(std::string(2000, 'a'), std::string(reply));
    EXPECT_EQ(std::vector<int>{0}, long_server.results());
}

TEST_F(Datagram, FullBufferReachesTheHandlerWithoutANul) {
    handler_script script;
    serving_receiver server(&script, 3);
    ASSERT_TRUE(server.ok());
    udp_socket client;
    client.send_to(server.port(), std::string(8192, 'f'));
    EXPECT_EQ("RECVED!", client.next());
    client.send_to(server.port(), std::string(8191, 'g'));
    EXPECT_EQ("RECVED!", client.next());
    client.send_to(server.port(), std::string(9000, 'h'));  // the rest of a longer datagram is dropped
    EXPECT_EQ("RECVED!", client.next());
    EXPECT_EQ((std::vector<int>{0, 0, 0}), server.results());
    EXPECT_EQ((std::vector<int32_t>{8192, 8191, 8192}), script.lengths);
    EXPECT_EQ(std::string(8192, 'f'), script.payloads[0]);
    EXPECT_EQ((std::vector<char>{'-', 0, '-'}), script.last_byte_after);
}

// One slow case (three 1-second tries, timeout 0) covers the acknowledgement
// that never turns into a reply, a reply starting "RECVED" taken for an
// acknowledgement, the pauses between tries and the final log.
TEST_F(Datagram, OnlyAcknowledgementsEndIn600406AfterThreeOneSecondTries) {
    udp_socket peer;
    std::thread answering = peer.answer_next_with({"RECVED!", "RECVED, but meant as a reply"});
    plat_test_set_clock(1000, 0);  // the pauses between tries go through the platform's sleep
    char reply[2048] = "untouched";
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(600406, mesh_call(kLoopback, "{}", 2, bound_port(peer.fd), reply, 0));
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    answering.join();
    EXPECT_GE(seconds, 2.9);  // a timeout of 0 still waits one second per try
    EXPECT_STREQ("untouched", reply);
    struct timeval now;
    plat_gettimeofday(&now);
    EXPECT_EQ(1000, now.tv_sec);
    EXPECT_EQ(6000, now.tv_usec);  // two 3 ms pauses
    EXPECT_EQ("mesh_req not recved msg!\nfail to receive: Resource temporarily unavailable\n", failure_report());
}

TEST_F(Datagram, MeshMessageTakesAnyRecvedPrefixAsTheAcknowledgement) {
    udp_socket peer;
    std::thread answering = peer.answer_next_with({"RECVEDxyz"});
    EXPECT_EQ(0, mesh_message(kLoopback, "ping", 4, bound_port(peer.fd)));
    answering.join();
}

TEST_F(Datagram, UnusableDestinationOrPayloadIs600406AtOnce) {
    char reply[2048];
    EXPECT_EQ(600406, mesh_call("router.lan", "{}", 2, 10010, reply, 0));
    EXPECT_EQ("mesh_req ....\nsendto error: Invalid argument\n", failure_report());
    EXPECT_EQ(600406, mesh_call(nullptr, "{}", 2, 10010, reply, 0));
    EXPECT_EQ(600406, mesh_message(kLoopback, nullptr, 2, 10010));
    EXPECT_EQ(600406, mesh_message(kLoopback, "{}", -1, 10010));
    EXPECT_EQ(600406, mesh_message(kLoopback, std::string(70000, 'x').c_str(), 70000, 10010));
    EXPECT_FALSE(plat_test_logged("not recved msg!"));
}

TEST_F(Datagram, ReceiverBindsToTheNodeAddressAndReportsBindFailure) {
    root.write("/etc/vespin/bind_address", "127.0.0.3\n");
    message_receiver* receiver = new_message_receiver(scripted_handler, 0, 0);
    ASSERT_FALSE(vespin_is_error(receiver));
    EXPECT_EQ("127.0.0.3", bound_host(receiver->socket));
    destroy_message_receiver(receiver);

    udp_socket taken;  // bound without address reuse: nobody else may have its port
    root.write("/etc/vespin/bind_address", "127.0.0.1\n");
    EXPECT_EQ(-600001, (intptr_t)new_message_receiver(scripted_handler, 0, bound_port(taken.fd)));
    EXPECT_EQ("new_message_receiver bind\nBind fail: Address already in use\n", failure_report());
    EXPECT_EQ(600001, message_receiver_listen(nullptr, 0));
    destroy_message_receiver(nullptr);
    destroy_message_receiver(VESPIN_ERROR_PTR(message_receiver*, 600001));
}
