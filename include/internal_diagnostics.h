/* Network diagnostics: whether the WAN and the Internet are reachable, the
 * round-trip time to a host, the user-facing ping, traceroute and nslookup,
 * the WAN speed test and the instantaneous throughput of an interface.
 *
 * Reachability is decided by an ICMP echo prober of the library's own
 * (pingsock) against the check host: on the router the name the build was
 * given (CMake cache variable VESPIN_CHECK_HOST); in an emulated root the
 * name in "/etc/vespin/check_host" (a loopback address by default, so that
 * nothing ever probes the outside world).
 *
 * The prober state and the reachability cache are process-wide and
 * unlocked: callers serialise. */
#ifndef VESPIN_INTERNAL_DIAGNOSTICS_H
#define VESPIN_INTERNAL_DIAGNOSTICS_H

#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* WAN states of vespin_is_wan_connected. */
#define VESPIN_WAN_NO_LINK 0
#define VESPIN_WAN_NO_INTERNET 1
#define VESPIN_WAN_INTERNET 2

/* Diagnosis types. */
#define VESPIN_DIAGNOSIS_PING 0
#define VESPIN_DIAGNOSIS_TRACEROUTE 1
#define VESPIN_DIAGNOSIS_NSLOOKUP 2

#define VESPIN_DIAGNOSIS_TARGET_SIZE 256

/* One diagnosis: the tool, its target, and the caller's output buffer (its
 * size is passed to get_network_diagnosis_msg). */
typedef struct diagnosis_request {
    uint8_t type;                              /* 0 ping, 1 traceroute, 2 nslookup */
    char target[VESPIN_DIAGNOSIS_TARGET_SIZE]; /* host name or address, NUL-terminated */
    char *output;                              /* owned by the caller */
} diagnosis_request;

/* Sends three 64-byte ICMP echo requests (type 8, code 0, RFC 1071 checksum,
 * identifier = this process id in network byte order, sequence 0, payload
 * bytes 0 to 55), 5 ms apart, to `host` (dotted text is used as it is, a
 * name is resolved), and waits at most 2 seconds for one datagram.
 * 0 when that datagram is an echo reply (type 0, code 0) with this process's
 * identifier and a sequence found in the 128-slot table of sent probes,
 * else -1 (why is never reported; "socket: <error>" is printed when no raw
 * socket can be opened).
 * Only the first datagram received is examined: any other ICMP message
 * arriving first, a reply to another process's ping included, makes the
 * probe fail. One exception: when the target is a loopback address
 * (127.0.0.0/8) the kernel filters echo requests out of the socket, which
 * would otherwise receive its own requests first and never find a loopback
 * host reachable. Every probe's sequence is 0, so a reply matches only with
 * sequence 0 (the table's free slots hold 0): deliberate, kept as the
 * router's firmware has it. */
VESPIN_API int pingsock(const char *host);

/* 1 when the check host answers, else 0. A resolved address is kept for
 * less than 61 seconds; within that time the host is not looked up again.
 * Probes the address with pingsock up to 4 times; the first answer gives 1.
 * A failed lookup empties the cache and gives 0. */
VESPIN_API int is_server_available(void);

/* The operating mode (setting 192: 0, 1 or 2), or 600001 when it cannot be read. */
VESPIN_API int vespin_get_op_mode(void);

/* The WAN state: 0 no WAN link, 1 link but no Internet, 2 Internet reachable.
 * In work mode 1 the link is read from "/proc/eth1/link_status" (2 bytes,
 * decimal; unreadable: 0): any value other than 0 and 1 is returned as it
 * is; 0 gives 0, except in op mode 1, where the check host decides (2 or 0).
 * With a link (or in another work mode): op mode 0 asks the check host (2
 * or 1); any other op mode, an unreadable one included, gives 1 unprobed. */
VESPIN_API int vespin_is_wan_connected(void);

/* Average round-trip time to `host` in whole milliseconds (truncated), from
 * the summary of "ping -4 HOST -c 5 2>&1" (the fifth '/'-separated piece of
 * its output, the average of "rtt min/avg/max/mdev = a/b/c/d ms").
 * 0; 600001 for a NULL host or ms_out, or when ping cannot be run ("Fail to
 * run cmd"); 100208 when the host is not a host name or an IPv4 or IPv6
 * address (only letters, digits, '.', '-' and ':', not starting with '-'),
 * with nothing run and no probe sent: the host reaches a shell command line;
 * 600101 when the WAN state is not 2 (ping is not run); 100208 when ping
 * exits non-zero or its output has no summary. */
VESPIN_API int get_network_ms(const char *host, uint32_t *ms_out);

/* Runs the request's tool on its target and leaves the combined output
 * (standard output and error, at most size - 1 bytes, NUL-terminated) in
 * request->output: "ping %s -c 5 2>&1", "traceroute -I %s -q 1 -w 2 2>&1" or
 * "nslookup %s 2>&1". 0; 600001 for a NULL request or output, a size below
 * 1, a type other than 0 to 2 (nothing run) or a run that fails ("Fail to
 * run cmd"); 100208 (nothing run) for a target that is not a host name or an
 * IPv4 or IPv6 address, as for get_network_ms. The tool's own exit status is
 * not reported: its output says what happened. */
VESPIN_API int get_network_diagnosis_msg(diagnosis_request *request, int size);

/* Runs "speedtest" ("speedtest -f" when full is non-zero), reads at most 100
 * bytes of its output and parses
 * "code:%d\nup:%d\ndown:%d\nloss_rate:%d\nmin:%d\nmax:%d\navg:%d\njitter:%d"
 * (whitespace matches any run of whitespace, as scanf does; a number beyond
 * the 32-bit range is clamped). The values parsed are stored, the others
 * set to 0 (NULL outputs are skipped). 0 when at least one value was parsed;
 * 600001 with "Fail to read from speedtest" when none was, or with "Fail to
 * run speedtest" when it could not be started. */
VESPIN_API int wan_speed_test(int full, int32_t *code, int32_t *up, int32_t *down, int32_t *loss_rate, int32_t *min,
                              int32_t *max, int32_t *avg, int32_t *jitter);

/* Transmit and receive rates of an interface in bits per second: reads
 * "/sys/class/net/IF/statistics/tx_bytes" and ".../rx_bytes" (at most 64
 * bytes each, decimal, truncated to signed 32-bit), waits 500 ms, reads them
 * again; rate = (second - first) x 16. The difference is computed in 64 bits
 * and clamped to the 32-bit range; a counter beyond 2147483647 bytes gives a
 * meaningless rate. 0, or 600001 when a counter cannot be read (the system
 * error is printed after "popen") or the interface name is NULL, empty,
 * longer than 15 characters, "." or "..", or holds a '/'. */
VESPIN_API int get_realtime_speed(const char *ifname, int32_t *tx_out, int32_t *rx_out);

#ifdef __cplusplus
}
#endif

#endif
