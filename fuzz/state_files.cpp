// Pid files and the router-state file, which other processes write: any
// content reads as a number or as none, never as a crash.
#include "fuzz_root.h"
#include "pidfile.h"
#include "system.h"

#include "core/router_state.h"

#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    fuzz_write("/var/run/fuzz.pid", data, size);
    int pid = read_pid("/var/run/fuzz.pid");
    int other = check_pid("/var/run/fuzz.pid");
    // check_pid names a live process other than the caller, or none.
    if (other != 0 && (other != pid || other == getpid() || other < 1)) abort();
    fuzz_write("/tmp/router_state", data, size);
    router_state_forget();
    router_state_get();
    return 0;
}
