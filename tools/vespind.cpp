// vespind: the node daemon. It answers JSON requests ({"method", "params"})
// with JSON responses over two transports on the node's bind address:
//   - nng request/reply at "tcp4://<address>:<port>";
//   - datagrams on UDP <port>: acknowledged, answered, then the response's
//     after-reply action runs.
// It keeps its pid in "/var/run/vespind.pid" (inside the emulated root when
// VESPIN_ROOT is set) and refuses to start while another live daemon holds
// that file. SIGTERM or SIGINT stops it cleanly.
//
//   vespind [--port N]        (default 10010)
#include "core/log.h"
#include "node_client.h"
#include "pidfile.h"
#include "servers.h"

#include <arpa/inet.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const char kPidFile[] = "/var/run/vespind.pid";

int usage() {
    fprintf(stderr, "usage: vespind [--port N]\n");
    return 64;
}

// Claims the pid file: false (logged) when another daemon owns it.
bool claim_pid_file() {
    int other = check_pid(kPidFile);
    if (other == 0) {
        if (write_pid(kPidFile) != 0) return true;
        // Another starter held the lock, or the file cannot be written.
        other = check_pid(kPidFile);
    }
    if (other != 0)
        VLOG_ERROR("Another vespind (pid %d) is running on this root: %s is taken; not starting", other, kPidFile);
    else
        VLOG_ERROR("Fail to write the pid file %s; not starting", kPidFile);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    long port = NODE_RPC_PORT;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--port") == 0 && i + 1 < argc) {
            char* end;
            port = strtol(argv[++i], &end, 10);
            if (*end || port <= 0 || port > 65535) return usage();
        } else {
            return usage();
        }
    }

    // Stop signals are taken by sigwait below; the serving threads inherit the mask.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    sigaddset(&stop_signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    if (!claim_pid_file()) return 1;

    std::string why;
    datagram_server datagrams;
    if (datagrams.start((uint16_t)port, &why) != 0) {
        VLOG_ERROR("Fail to start: %s", why.c_str());
        remove_pid(kPidFile);
        return 1;
    }
    struct sockaddr_in bound = datagrams.address();
    char address[INET_ADDRSTRLEN] = "0.0.0.0";
    inet_ntop(AF_INET, &bound.sin_addr, address, sizeof address);
    std::string url = std::string("tcp4://") + address + ":" + std::to_string(port);
    rep_server requests;
    if (requests.start(url, &why) != 0) {
        VLOG_ERROR("Fail to start: %s", why.c_str());
        datagrams.stop();
        remove_pid(kPidFile);
        return 1;
    }
    VLOG_INFO("Serving on %s and udp://%s:%ld", url.c_str(), address, port);

    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    VLOG_INFO("Stopping on signal %d", signal_number);
    requests.stop();
    datagrams.stop();
    remove_pid(kPidFile);
    return 0;
}
