#include "hooks.h"

#include <errno.h>

plat_fault_countdowns& plat_fault_countdowns::operator=(const plat_fault_countdowns& other) {
    for (int kind = 0; kind < kinds; kind++) {
        left[kind] = other.left[kind].load();
        fired[kind] = other.fired[kind].load();
        persists[kind] = other.persists[kind].load();
    }
    skip_fsync = other.skip_fsync.load();
    return *this;
}

plat_hooks& plat_hooks_state() {
    static plat_hooks* state = new plat_hooks();  // never destroyed: usable from atexit paths
    return *state;
}

bool plat_fault_due(plat_fault_kind kind) {
    plat_fault_countdowns& faults = plat_hooks_state().faults;
    std::atomic<int>& countdown = faults.left[kind];
    int left = countdown.load(std::memory_order_relaxed);
    if (__builtin_expect(left == 0, 1)) return false;
    // Another thread may count down at the same time: only the step from 1
    // to 0 fires, and the count never goes below 0.
    while (left > 0 && !countdown.compare_exchange_weak(left, left - 1)) {
    }
    if (left != 1) return false;
    faults.fired[kind] = true;
    if (faults.persists[kind]) countdown = 1;  // the next event fails too
    return true;
}

void plat_test_fail_nth(plat_fault_kind kind, int n, bool persistent) {
    plat_fault_countdowns& faults = plat_hooks_state().faults;
    faults.fired[kind] = false;
    faults.persists[kind] = persistent;
    faults.left[kind] = n > 0 ? n : 0;
}

bool plat_test_fault_fired(plat_fault_kind kind) { return plat_hooks_state().faults.fired[kind]; }

bool plat_hooks_skip_fsync() {
    return plat_hooks_state().faults.skip_fsync.load(std::memory_order_relaxed);
}

void plat_test_skip_fsync(bool skip) { plat_hooks_state().faults.skip_fsync = skip; }

int plat_hooks_open_failure(const char* router_path) {
    if (!router_path) return 0;
    if (plat_fault_due(PLAT_FAULT_OPEN)) return EIO;
    for (const auto& f : plat_hooks_state().failing_opens)
        if (f.first == router_path) return f.second;
    return 0;
}

void plat_test_set_command_script(plat_command_script script) {
    plat_hooks_state().command_script = std::move(script);
}

const std::vector<plat_command>& plat_test_commands() { return plat_hooks_state().commands; }

void plat_test_set_clock(long seconds, long microseconds) {
    auto& h = plat_hooks_state();
    h.fake_clock = true;
    h.clock_now.tv_sec = seconds;
    h.clock_now.tv_usec = microseconds;
}

void plat_test_advance_clock(long long microseconds) {
    auto& h = plat_hooks_state();
    long long total = h.clock_now.tv_usec + microseconds;
    h.clock_now.tv_sec += (time_t)(total / 1000000);
    h.clock_now.tv_usec = (suseconds_t)(total % 1000000);
}

void plat_test_capture_log() { plat_hooks_state().capture_log = true; }

const std::vector<plat_log_entry>& plat_test_log() { return plat_hooks_state().log; }

bool plat_test_logged(const std::string& message) {
    for (const auto& e : plat_hooks_state().log)
        if (e.channel == PLAT_LOG_STDERR && e.text == message) return true;
    return false;
}

void plat_test_fail_setting(int id, bool on_get, bool on_set) {
    plat_hooks_state().failing_settings.emplace_back(id, (on_get ? 1 : 0) | (on_set ? 2 : 0));
}

void plat_test_fail_open(const std::string& router_path, int error_number) {
    plat_hooks_state().failing_opens.emplace_back(router_path, error_number);
}

bool plat_uci_write_fault() { return plat_fault_due(PLAT_FAULT_UCI_WRITE); }

void plat_test_set_icmp_script(plat_icmp_script script) { plat_hooks_state().icmp_script = std::move(script); }

const std::vector<plat_icmp_sent>& plat_test_icmp_sent() { return plat_hooks_state().icmp_sent; }

const std::vector<std::string>& plat_test_resolved() { return plat_hooks_state().resolved; }

void plat_test_set_http_timeouts(long transfer_ms, long connect_ms) {
    auto& h = plat_hooks_state();
    h.http_transfer_timeout_ms = transfer_ms;
    h.http_connect_timeout_ms = connect_ms;
}

void plat_test_reset() { plat_hooks_state() = plat_hooks(); }
