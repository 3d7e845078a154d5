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
// It is also the node's mesh agent (daemon/mesh_agent.h): it maps the node
// table at start (restoring it from its image after a restart of the node),
// keeps the node state fresh, reports to the gateway once a period (a
// satellite) or answers the reports (the gateway), and saves the table's
// image on its way out.
//
//   vespind [--port N] [--gateway ADDRESS] [--report-period SECONDS]
//           [--mesh-version VERSION] [--udp-only]
//
// --port: where it serves (default 10010); --gateway: the gateway a
// satellite reports to (without it the node only serves, as the gateway
// does); --report-period: seconds between reports (1 to 59, default 5);
// --mesh-version: the mesh version the node reports (default the
// library's), so that a daemon stands in for an older node; --udp-only:
// serve over datagrams only, as a node older than 1.2.0-rc.1 does.
#include "core/log.h"
#include "dispatch.h"
#include "mesh_agent.h"
#include "mesh_maintainer.h"
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
// A node is valid in the gateway's table for 60 s after its last report:
// a longer period would make every satellite drop out between two reports
// (and the node state, rewritten each period, must not lapse either).
const long kLongestReportPeriod = 59;
// Held (flock) for the daemon's whole life, so that of two daemons started at
// the same instant exactly one goes on: write_pid's own lock lasts only while
// it writes, and both would pass a check made before it.
const char kLockFile[] = "/var/run/vespind.lock";

int usage() {
    fprintf(stderr,
            "usage: vespind [--port N] [--gateway ADDRESS] [--report-period SECONDS] [--mesh-version VERSION] "
            "[--udp-only]\n");
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

bool number_argument(const char* text, long low, long high, long* out) {
    char* end;
    *out = strtol(text, &end, 10);
    return *text && !*end && *out >= low && *out <= high;
}

// The node table mapped (and restored from its image on the node's first
// start) before anything serves.
void map_node_table() {
    std::lock_guard<std::mutex> hold(node_library_lock());
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst)) VLOG_ERROR("Fail to map the node table: %d", vespin_error_code(inst));
}

// Saves the table's image. On an emulated root the segment then goes too,
// as it would when the router is switched off: the node's next start
// restores its table from the image.
void save_node_table() {
    std::lock_guard<std::mutex> hold(node_library_lock());
    int rv = mesh_topo_state_save();
    if (rv != 0) VLOG_ERROR("Fail to save the node table: %d", rv);
    if (!plat_is_emulated()) return;
    plat_shm_remove(plat_shm_key());
}

}  // namespace

int main(int argc, char** argv) {
    long port = NODE_RPC_PORT, period = 5;
    bool udp_only = false;
    mesh_agent_options agent_options;
    for (int i = 1; i < argc; i++) {
        bool has_value = i + 1 < argc;
        if (strcmp(argv[i], "--port") == 0 && has_value) {
            if (!number_argument(argv[++i], 1, 65535, &port)) return usage();
        } else if (strcmp(argv[i], "--report-period") == 0 && has_value) {
            if (!number_argument(argv[++i], 1, kLongestReportPeriod, &period)) return usage();
        } else if (strcmp(argv[i], "--gateway") == 0 && has_value) {
            struct in_addr check;
            agent_options.gateway = argv[++i];
            if (inet_pton(AF_INET, agent_options.gateway.c_str(), &check) != 1) return usage();
        } else if (strcmp(argv[i], "--mesh-version") == 0 && has_value) {
            agent_options.version = argv[++i];
            version checked;
            if (version_from_string(&checked, agent_options.version.c_str()) != 0) return usage();
        } else if (strcmp(argv[i], "--udp-only") == 0) {
            udp_only = true;
        } else {
            return usage();
        }
    }
    agent_options.report_period = (int)period;

    // Stop signals are taken by sigwait below; the serving threads inherit the mask.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGTERM);
    sigaddset(&stop_signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    int lock = claim_pid_file();
    if (lock < 0) return 1;

    map_node_table();
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
    if (!udp_only && requests.start(url, &why) != 0) {
        VLOG_ERROR("Fail to start: %s", why.c_str());
        datagrams.stop();
        release_pid_file(lock);
        return 1;
    }
    if (udp_only)
        VLOG_INFO("Serving on udp://%s:%ld", address, port);
    else
        VLOG_INFO("Serving on %s and udp://%s:%ld", url.c_str(), address, port);
    mesh_agent agent;
    agent.start(agent_options);

    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    VLOG_INFO("Stopping on signal %d", signal_number);
    agent.stop();
    requests.stop();
    datagrams.stop();
    save_node_table();
    release_pid_file(lock);
    return 0;
}
