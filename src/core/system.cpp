#include "system.h"

#include "log.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "router_state.h"
#include "tools.h"

#include <stdio.h>

namespace {

const char kStateFile[] = "/tmp/router_state";
const int kStateNotRead = 4;

// The router state of this process; other processes are seen only while it
// holds kStateNotRead.
int router_state_cache = kStateNotRead;

// Kills the DHCP server and runs the restart command; both restarts share
// their failure message.
int restart_with(const char* command) {
    plat_system("killall -9 udhcpd");
    int exit_code = 0;
    if (run_command(&exit_code, command) != 0 || exit_code != 0) {
        VLOG_ERROR("Fail to restart wifi module");
        vespin_perror("Fail to restart wifi module");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

// Runs a companion program that detaches at once; *result keeps its exit
// code. False when it could not be started.
bool run_companion(char* const argv[], int* result) {
    char output[100];
    return mk_popen(argv[0], argv, result, output, sizeof output) >= 0;
}

}  // namespace

void router_state_forget() { router_state_cache = kStateNotRead; }

extern "C" {

int validate_state(int state) { return (unsigned int)state < 4 ? 1 : 0; }

int router_state_get(void) {
    if (router_state_cache != kStateNotRead) return router_state_cache;
    FILE* file = plat_fopen(kStateFile, "r");
    if (!file) {
        VLOG_ERROR("No file: %s", kStateFile);
        vespin_perror("Fail to open");
        router_state_cache = 0;
        return 0;
    }
    // With nothing readable the cache keeps the mark, and the file is read again next time.
    int scanned = fscanf(file, "%d", &router_state_cache);
    (void)scanned;
    fclose(file);
    return router_state_cache;
}

int router_state_set(int state) {
    if (!validate_state(state)) return VESPIN_ERR_MISSING_VALUE;
    FILE* file = plat_fopen(kStateFile, "w");
    if (!file) return VESPIN_ERR_FAILURE;
    fprintf(file, "%d", state);
    fclose(file);
    router_state_cache = state;
    return 0;
}

int restart_firewall(void) { return restart_with("sysconf firewall > /dev/null 2>1 &"); }

int restart_wifi_module(void) { return restart_with("sysconf init gw all"); }

int mk_popen(const char* program, char* const argv[], int* status, char* output, size_t size) {
    return plat_spawn_capture(program, argv, status, output, size);
}

int mk_popen2(const char* command, char* output, size_t size) {
    return plat_run_capture(command, output, size, nullptr);
}

int system_delay_run(int delay, const char* command) {
    int result = 0;
    char delay_text[16];
    snprintf(delay_text, sizeof delay_text, "%d", delay);
    char program[] = "vespin_delay_run";
    char* const argv[] = {program, delay_text, const_cast<char*>(command), nullptr};
    if (!command || !run_companion(argv, &result)) {
        VLOG_ERROR("Fail to run");
        vespin_perror("Fail");
        return VESPIN_ERR_FAILURE;
    }
    return result;
}

int delay_reboot(int delay) {
    int result = 0;
    char delay_text[16];
    snprintf(delay_text, sizeof delay_text, "%d", delay);
    char program[] = "vespin_reboot";
    char* const argv[] = {program, delay_text, nullptr};
    if (!run_companion(argv, &result)) {
        VLOG_ERROR("Fail to reboot");
        vespin_perror("Fail");
        return VESPIN_ERR_FAILURE;
    }
    router_state_set(VESPIN_ROUTER_STATE_REBOOTING);
    return result;
}

}  // extern "C"
