// vespind: the node daemon. It answers JSON requests ({"method", "params"})
// with JSON responses over two transports on the node's bind address:
//   - nng request/reply at "tcp4://<address>:<port>";
//   - datagrams on UDP <port>: acknowledged, answered, then the response's
//     after-reply action runs.
// It keeps its pid in "/var/run/vespind.pid" (inside the emulated root when
// VESPIN_ROOT is set) and refuses to start while another live daemon holds
// that file, or holds the lock "/var/run/vespind.lock" that makes two
// simultaneous starts safe. On its way out it removes the pid file only when
// the file still holds its own pid. SIGTERM or SIGINT stops it cleanly.
//
//   vespind [--port N]        (default 10010)
#include "core/log.h"
#include "node_client.h"
#include "pidfile.h"
#include "platform/platform.h"
#include "servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <string>

namespace {

const char kPidFile[] = "/var/run/vespind.pid";
// Held (flock) for the daemon's whole life, so that of two daemons started at
// the same instant exactly one goes on: write_pid's own lock lasts only while
// it writes, and both would pass a check made before it.
const char kLockFile[] = "/var/run/vespind.lock";

int usage() {
    fprintf(stderr, "usage: vespind [--port N]\n");
    return 64;
}

// The pid of the daemon that holds the lock, as its pid file names it; the
// holder may still be writing it, so this waits up to a second for a number.
int running_daemon() {
    for (int tries = 0; tries < 100; tries++) {
        if (int other = check_pid(kPidFile)) return other;
        usleep(10 * 1000);
    }
    return 0;
}

// Claims the pid file: the lock's descriptor (kept open until exit), or -1
// (logged) when another daemon owns the root or the files cannot be written.
int claim_pid_file() {
    int lock = plat_open(kLockFile, O_RDWR | O_CREAT, 0644);
    if (lock < 0) {
        VLOG_ERROR("Fail to open the lock file %s; not starting", kLockFile);
        return -1;
    }
    int other = 0;
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        other = running_daemon();
    } else {
        // A live process named by the file without the lock (a daemon of an
        // older build) owns the root too; a dead one left a stale file.
        other = check_pid(kPidFile);
        if (other == 0 && write_pid(kPidFile) != 0) return lock;
        if (other == 0) other = check_pid(kPidFile);
    }
    close(lock);
    if (other != 0)
        VLOG_ERROR("Another vespind (pid %d) is running on this root: %s is taken; not starting", other, kPidFile);
    else
        VLOG_ERROR("Fail to write the pid file %s; not starting", kPidFile);
    return -1;
}

// Removes the pid file only when it still names this process: another daemon
// may have taken the root over since.
void release_pid_file(int lock) {
    if (read_pid(kPidFile) == (int)getpid()) remove_pid(kPidFile);
    close(lock);
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

    int lock = claim_pid_file();
    if (lock < 0) return 1;

    std::string why;
    datagram_server datagrams;
    if (datagrams.start((uint16_t)port, &why) != 0) {
        VLOG_ERROR("Fail to start: %s", why.c_str());
        release_pid_file(lock);
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
        release_pid_file(lock);
        return 1;
    }
    VLOG_INFO("Serving on %s and udp://%s:%ld", url.c_str(), address, port);

    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    VLOG_INFO("Stopping on signal %d", signal_number);
    requests.stop();
    datagrams.stop();
    release_pid_file(lock);
    return 0;
}
