// The platform seam: the only door from the library to the operating system
// and the vendor platform. Core code calls these functions and nothing below
// them. Each has two faces, chosen at run time:
//   - the router (VESPIN_ROOT unset): real paths, /bin/sh, ioctls, syslog;
//   - the emulated router (VESPIN_ROOT=<dir>): the same contracts over a
//     directory tree, its stand-in programs and its emulated settings store.
// Internal to the library; names carry the plat_ prefix.
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>

#include <new>
#include <string>
#include <vector>

// ---- emulated root -------------------------------------------------------

// True when the emulated face is active (VESPIN_ROOT is set and non-empty).
bool plat_is_emulated();
// The emulated root's directory without a trailing '/', or "" on the router.
const std::string& plat_root();
// Re-reads VESPIN_ROOT; tests call it after setenv so that one process can
// move between roots. Does not touch caches of the core.
void plat_reload_root();

// ---- memory --------------------------------------------------------------
// Every allocation of a record, buffer or context of the library passes
// here, so that tests can make the Nth one fail (platform_testing.h) and
// reach every out-of-memory path. std containers inside the library are not
// counted: the library is built without exceptions, so their exhaustion
// ends the process as it would on the router.

// True when this allocation is to fail (the test countdown); false otherwise.
bool plat_allocation_fails();
// malloc and calloc behind the countdown (NULL, errno ENOMEM, when it fires).
// Free with free().
void* plat_malloc(size_t size);
void* plat_calloc(size_t count, size_t size);
// realloc behind the countdown: NULL with the block untouched when it fires.
void* plat_realloc(void* block, size_t size);
// strdup behind the countdown. Free with free().
char* plat_strdup(const char* text);
// new (std::nothrow) T() behind the countdown. Delete with delete.
template <class T>
T* plat_new() {
    return plat_allocation_fails() ? nullptr : new (std::nothrow) T();
}

// ---- paths and files -----------------------------------------------------

// Maps a router path ("/tmp/router_state") to the file to use: the path
// itself on the router; emulated, the path inside the root, after
// plat_normal_path, so that ".." never leads out of the root. A relative
// path starts at the router's "/" (the root), a path already inside the
// root is kept there, and a null path gives "".
std::string plat_path(const char* router_path);
// The path with ".", ".." and repeated slashes resolved by text alone,
// read from "/" (a relative path too): "/a/../../b" and "a/../../b" give
// "/b", "/" and "" give "/". No trailing slash, no symbolic link followed.
std::string plat_normal_path(const std::string& path);

// The file calls below take router paths, resolve them with plat_path and
// behave exactly like the C library call of the same name (errno included).
FILE* plat_fopen(const char* router_path, const char* mode);
int plat_open(const char* router_path, int flags, mode_t mode = 0);
int plat_stat(const char* router_path, struct stat* st);
int plat_access(const char* router_path, int how);
int plat_unlink(const char* router_path);
// Reads a whole file; false (errno set) when it cannot be opened or read.
bool plat_read_file(const char* router_path, std::string* out);
// Replaces a file atomically (temporary file in the same directory, fsync,
// rename). False (errno set) on any failure; the old file is then intact.
bool plat_write_file_atomic(const char* router_path, const std::string& data, mode_t mode = 0644);

// ---- commands ------------------------------------------------------------
// Emulated: every command is recorded in the root's command journal
// ("/var/log/commands", one line each) and runs under bash with the root's
// bin/ as the only search path, the root as working directory, HOME and TMPDIR,
// and the shell's own kill (and "enable", which could bring it back)
// disabled. Absolute paths of the text whose first name is a top-level
// entry of the root ("/tmp/x", "/etc", "/proc/net/arp"; "/" alone too) are
// normalised and moved into the root; other text that starts with '/' (the
// awk pattern of "awk '/^0.0.0.0/{print $2}'") and "/dev/..." stay as they
// are. Where the kernel has Landlock, the command and everything it starts
// can write only inside the root (and /dev/null) and signal only its own
// processes, whatever the text does at run time (root_fence.h).

// Runs a command text through the shell and returns the wait status, as
// system() does (-1 when no shell could be started).
int plat_system(const char* command);

// Runs a command text through the shell (as popen(command, "r")) and reads
// its standard output into `out`: at most size - 1 bytes, always
// NUL-terminated; a full buffer stops the reading without draining the pipe.
// Interrupted reads are retried. Returns the bytes read, or -1 when the
// command cannot be started or a read fails. *wait_status (may be null)
// receives pclose's result.
int plat_run_capture(const char* command, char* out, size_t size, int* wait_status);

// Runs a program with an argument vector, without a shell, and reads its
// standard output as plat_run_capture does. Returns 0, -1 when it cannot
// fork, -2 after a read error, -3 when no pipe can be made. *status gets the
// exit code, or minus the signal that killed it; it is left alone when the
// child is only stopped. A program that cannot be executed exits with its
// errno (2 for a missing one). Emulated: a bare name is looked up in the
// root's bin/ only; a path, relative ones ("./prog") included, is looked up
// in the root with plat_path.
int plat_spawn_capture(const char* program, char* const argv[], int* status, char* out, size_t size);

// ---- settings store ------------------------------------------------------
// The vendor-style store is reached through the exported apmib_* entry
// points (apmib.h). Test hooks live in platform_testing.h.

// ---- UCI faults ----------------------------------------------------------

// True when a test asked the UCI write about to happen to fail (see
// platform_testing.h); the UCI access layer asks before each write.
bool plat_uci_write_fault();

// ---- network interfaces --------------------------------------------------

enum plat_if_kind { PLAT_IF_ADDR = 0, PLAT_IF_DSTADDR = 1, PLAT_IF_NETMASK = 2, PLAT_IF_HWADDR = 4 };

// Asks for one property of a network interface.
//   returns -1 when the interface does not exist (or no socket could be had),
//   0 when it exists; *found tells whether the property itself was answered.
// On success `out` receives 4 bytes (IPv4, network order) or, for
// PLAT_IF_HWADDR, a 16-byte socket address (family, then the MAC in the
// first 6 data bytes). Emulated: the root's interface table
// "/etc/vespin/interfaces".
int plat_if_query(const char* ifname, int kind, void* out, bool* found);

// The IPv4 address (network order) a node's servers bind to: INADDR_ANY on
// the router; emulated, the address in "/etc/vespin/bind_address" or
// 127.0.0.1 when the root names none.
uint32_t plat_bind_address();

// ---- ICMP echo and name resolution -------------------------------------

// Opens a raw IPv4 ICMP socket with a 131072-byte receive buffer, made
// non-blocking. Returns the socket, or -1 (errno set; EPERM when the process
// may not open raw sockets).
int plat_icmp_open();
// Sets the kernel's ICMP filter so that echo requests (type 8) never reach
// the socket: a probe of a loopback address would read its own requests.
void plat_icmp_drop_echo_requests(int sock);
// Sends one ICMP message to an IPv4 address (network order): the bytes sent,
// or -1. Emulated: only loopback addresses (127.0.0.0/8) are reached; any
// other is refused with ENETUNREACH, so that nothing leaves the machine
// (scripted test sockets take any address).
int plat_icmp_send(int sock, const void* message, size_t size, uint32_t address);
// Waits until the socket is readable: 1, 0 after `timeout_ms`, -1 on error.
int plat_icmp_wait(int sock, int timeout_ms);
// Reads one datagram (IP header included): its size, or -1.
int plat_icmp_receive(int sock, void* buffer, size_t size);
void plat_icmp_close(int sock);

// The first IPv4 address (network order) of a host name: true, or false when
// it cannot be resolved. Router: the system resolver. Emulated: the root's
// "/etc/hosts" only (no lookup ever leaves the machine).
bool plat_resolve_ipv4(const char* host, uint32_t* address);

// ---- HTTPS ---------------------------------------------------------------

typedef void CURL;  // a libcurl easy session (curl/curl.h declares it the same way)

// Performs a libcurl easy session the core has prepared (URL, options, sinks)
// and returns libcurl's result code. Router: curl_easy_perform as it stands,
// the system resolver, libcurl's verbose text on stderr. Emulated: nothing
// leaves the machine: the URL's host is looked up in the root's "/etc/hosts"
// only (a name it lacks fails with CURLE_COULDNT_RESOLVE_HOST, nothing
// sent), only loopback addresses (127.0.0.0/8) are connected
// (CURLE_COULDNT_CONNECT otherwise), proxies of the environment are not
// used, and a redirect to another host name is refused before any lookup.
// With the log captured (tests), libcurl's verbose text is captured too.
int plat_http_perform(CURL* session, const char* url);

// ---- clock ---------------------------------------------------------------

// Seconds and microseconds now (gettimeofday); driven by the fake clock in tests.
void plat_gettimeofday(struct timeval* tv);
// Seconds now (time()).
time_t plat_time();
// Sleeps (usleep); with the fake clock it advances the clock instead.
void plat_usleep(unsigned long microseconds);
// Milliseconds of a monotonic clock, for bounds on waits between processes;
// never driven by the fake clock.
int64_t plat_monotonic_ms();
// The process's alarm signal: with seconds > 0 and a handler, installs the
// handler for SIGALRM and arms alarm(seconds); with 0, cancels the alarm and
// restores the signal's default handling. Tests can hold it (platform_testing.h).
void plat_alarm(unsigned seconds, void (*handler)(int));
// Seconds since boot (sysinfo uptime). Emulated: the first number in the
// root's "/proc/uptime", else seconds since the root was first used.
long plat_uptime();

// ---- log -----------------------------------------------------------------

enum { PLAT_LOG_ERR = 3, PLAT_LOG_INFO = 6 };

// Reports one message on both channels: "%s(%s:%d) msg\n" on stderr
// (function, source file, line) and "(%s:%d) msg" to syslog at the priority
// (emulated: a line in the root's "/var/log/messages").
void plat_log(int priority, const char* function, const char* file, int line, const char* message);
// Prints "prefix: <strerror(errno)>" on stderr, as perror does.
void plat_perror(const char* prefix);
// Prints a plain text on stdout (the few paths that print without the
// convention); captured with the log in tests.
void plat_print(const char* text);

// ---- shared memory -------------------------------------------------------

// The System V key of the mesh table: 1024 on the router; emulated, the
// number in the root's "/etc/vespin/shm_key", else one derived from the
// root's path so that two roots never share a segment.
int plat_shm_key();
// The segment of `key` with `size` bytes, created with permissions 0666 when
// absent (shmget): its id, or -1 with errno set.
int plat_shm_get(int key, size_t size);
// Maps a segment (shmat): its address, or null with errno set.
void* plat_shm_attach(int id);
// Unmaps a segment mapped by plat_shm_attach; null is ignored.
void plat_shm_detach(const void* address);
// Marks the segment of `key` for removal (it goes when the last process
// detaches): 0, or -1 when there is none. Tests and tools only: on a node the
// segment lives until the system restarts.
int plat_shm_remove(int key);

// ---- radio ---------------------------------------------------------------

struct plat_scan_entry {
    int channel;
    std::string ssid;
};

// A mesh node that the survey found waiting to join: its serial number and
// the MACs of its 2.4 GHz and 5 GHz radios, as the driver reports them.
struct plat_joinable_node {
    std::string sn;
    std::string mac_24g;
    std::string mac_5g;
};

// One site survey of a radio ("wlan0", "wlan1"). False when the survey
// fails. The router face reports failure until the driver is wired; the
// emulated face reads "/var/scan/<ifname>": lines "CHANNEL SSID" for the
// networks (at most 128) and lines "mesh SN MAC_2.4G MAC_5G" for the
// joinable mesh nodes (at most 128), which go to `joinable` when it is given.
bool plat_site_survey(const char* ifname, std::vector<plat_scan_entry>* out,
                      std::vector<plat_joinable_node>* joinable = nullptr);

// The beacon-information module that candidate discovery loads. Start loads
// it and hands it the candidate's serial number; stop unloads it. Both return
// true on success. The router face reports failure until the driver is wired;
// the emulated face runs the root's "insmod /lib/modules/beacon_info.ko" and
// "rmmod beacon_info" stand-ins (so /proc/modules and the command journal
// record every load and unload) and writes the serial number to
// "/proc/beacon_info".
bool plat_beacon_start(const char* sn);
bool plat_beacon_stop();

// ---- URL-filter kernel module ------------------------------------------

// Where one exchange with the module stopped; errno tells why.
enum plat_knet_result { PLAT_KNET_OK = 0, PLAT_KNET_SOCKET, PLAT_KNET_BIND, PLAT_KNET_SEND, PLAT_KNET_RECV };

// Sends one netlink datagram (header and body, built by the caller) to the
// URL-filter module and receives one reply of at most reply_size bytes into
// `reply` (*received gets its length). Router: a raw netlink socket of
// protocol 30 bound to port id 100, sent to port id 0 (the kernel).
// Emulated: the module of the root (see knet_emulated.cpp): while it is not
// loaded the socket cannot be made (EPROTONOSUPPORT), as on a kernel without it.
plat_knet_result plat_knet_exchange(const void* message, size_t length, void* reply, size_t reply_size,
                                    size_t* received);
