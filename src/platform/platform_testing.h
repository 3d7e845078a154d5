// Test hooks of the platform seam: answer commands in-process, drive a fake
// clock, capture the log, and make settings-store ids, file opens, commands
// or allocations fail. Only tests, benchmarks and fuzz targets include this;
// the hooks are compiled into every build (the router's included) and cost
// one relaxed load and a branch each when unused. plat_test_reset() restores
// every default.
#pragma once

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

enum plat_command_kind { PLAT_CMD_SYSTEM, PLAT_CMD_CAPTURE, PLAT_CMD_SPAWN };

// One command as the core asked for it. For PLAT_CMD_SPAWN `text` is the
// argument vector joined with single spaces.
struct plat_command {
    plat_command_kind kind;
    std::string text;
};

// What a scripted command answers: its standard output and how it ended.
struct plat_command_reply {
    std::string output;
    int exit_code = 0;
    int signal = 0;  // non-zero: the command "was killed" by this signal
};

// Returns true when it answered the command (nothing is then spawned), false
// to let the command run for real.
using plat_command_script = std::function<bool(const plat_command&, plat_command_reply*)>;

void plat_test_set_command_script(plat_command_script script);
// Every command asked for since the last reset, in order, scripted or not.
const std::vector<plat_command>& plat_test_commands();

// Fake clock: once set, time and gettimeofday return it and sleeps advance it.
void plat_test_set_clock(long seconds, long microseconds);
void plat_test_advance_clock(long long microseconds);  // 64-bit: an hour overflows a 32-bit long

// PLAT_LOG_TRACE: one line of libcurl's verbose text ("* ", "> " or "< " and the line).
enum plat_log_channel { PLAT_LOG_STDERR, PLAT_LOG_SYSLOG, PLAT_LOG_PERROR, PLAT_LOG_PRINT, PLAT_LOG_TRACE };

struct plat_log_entry {
    plat_log_channel channel;
    int priority;          // syslog entries only
    std::string function;  // convention entries only
    std::string file;
    int line;
    std::string text;      // the message (perror: "prefix: error text")
};

// Starts capturing (and silencing) every log, perror and print output.
void plat_test_capture_log();
const std::vector<plat_log_entry>& plat_test_log();
// True when some captured stderr entry carries exactly this message.
bool plat_test_logged(const std::string& message);

// Countdown faults: the Nth event of a kind from now fails (n = 1: the very
// next one; 0 disarms), once, or with `persistent` every event from the Nth
// on. A test calls a function with n = 1, 2, 3, ... until
// plat_test_fault_fired says the fault no longer fired: by then every event
// of the call has failed in turn. The kinds:
//   PLAT_FAULT_ALLOC    plat_malloc, plat_calloc, plat_new and json_made: the
//                       library's records, buffers and contexts, and the
//                       json-c objects it builds (json-c's allocations while
//                       parsing a text are its own and not counted);
//   PLAT_FAULT_SETTING  apmib_get, apmib_getDef, apmib_set and apmib_update
//                       of the built-in store (the call answers failure);
//   PLAT_FAULT_OPEN     plat_open, plat_fopen (and so plat_read_file) and
//                       plat_write_file_atomic (errno EIO);
//   PLAT_FAULT_COMMAND  plat_system, plat_run_capture and plat_spawn_capture:
//                       the command cannot be started and is not journaled;
//   PLAT_FAULT_UCI_WRITE a UCI write: a change through a context, a commit,
//                       or a one-shot set (the write answers failure).
enum plat_fault_kind { PLAT_FAULT_ALLOC, PLAT_FAULT_SETTING, PLAT_FAULT_OPEN, PLAT_FAULT_COMMAND, PLAT_FAULT_UCI_WRITE };
void plat_test_fail_nth(plat_fault_kind kind, int n, bool persistent = false);
// True when the armed fault of that kind has fired since it was armed.
bool plat_test_fault_fired(plat_fault_kind kind);

// Lets plat_write_file_atomic skip its fsync (fuzz targets write thousands of
// files a second; the rename stays atomic, only durability is given up).
void plat_test_skip_fsync(bool skip);

// Makes apmib_get (on_get) and/or apmib_set (on_set) of one id fail.
void plat_test_fail_setting(int id, bool on_get, bool on_set);
// Makes plat_open/plat_fopen of a router path fail with the errno given.
void plat_test_fail_open(const std::string& router_path, int error_number);

// One ICMP message the core sent: destination (network order) and bytes.
struct plat_icmp_sent {
    uint32_t address;
    std::string message;
};

// Answers the ICMP sockets in-process: once set, plat_icmp_open gives a
// scripted socket that records what is sent and, when the core waits, asks
// the script with every message sent on that socket so far. The script
// returns true with one datagram to deliver (IP header included), or false
// for silence: the wait then times out (advancing the fake clock by the
// timeout when it is set).
using plat_icmp_script = std::function<bool(const std::vector<plat_icmp_sent>& sent, std::string* datagram)>;
void plat_test_set_icmp_script(plat_icmp_script script);
// Every message sent on scripted sockets since the last reset.
const std::vector<plat_icmp_sent>& plat_test_icmp_sent();
// Every host name handed to plat_resolve_ipv4 since the last reset.
const std::vector<std::string>& plat_test_resolved();

// Shortens the time-outs of every HTTPS session performed from now (whole
// transfer and connect, in milliseconds; 0 keeps the one the core set).
void plat_test_set_http_timeouts(long transfer_ms, long connect_ms);
// Holds the alarm signal in the test: plat_alarm then records its delay and
// handler instead of arming the real alarm. plat_test_fire_alarm runs a held
// alarm as if it went off: it advances the fake clock (when set) by the
// delay, disarms it and calls the handler; false when none was armed.
void plat_test_hold_alarm();
bool plat_test_fire_alarm();
// The delay of the held alarm, 0 when none is armed.
unsigned plat_test_alarm_seconds();

void plat_test_reset();
