/* Control of the running system: the router's coarse state (kept in
 * "/tmp/router_state" and cached per process), firewall and Wi-Fi restarts
 * through the platform's sysconf tool, running a program and capturing its
 * output, and handing a delayed command or reboot to the companion programs
 * "vespin_delay_run" and "vespin_reboot" so that the caller is not blocked. */
#ifndef VESPIN_SYSTEM_H
#define VESPIN_SYSTEM_H

#include <stddef.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Router state written by delay_reboot when a reboot is scheduled. */
#define VESPIN_ROUTER_STATE_REBOOTING 2

/* 1 when the state is 0, 1, 2 or 3 (taken as unsigned, below 4), else 0. */
VESPIN_API int validate_state(int state);
/* The router state. The process reads "/tmp/router_state" ("%d") only while
 * its cache holds 4 (the "not read yet" mark): a missing file logs
 * "No file: %s" and sets the cache to 0 for good; a file holding 4 or nothing
 * readable is read again at the next call (and 4 is returned). */
VESPIN_API int router_state_get(void);
/* Writes the state to "/tmp/router_state" ("%d", no line end) and to the
 * cache: 0, 600005 for an invalid state (file untouched), 600001 when the
 * file cannot be opened for writing. */
VESPIN_API int router_state_set(int state);
/* Kills the DHCP server, then runs "sysconf firewall > /dev/null 2>1 &"
 * (the "2>1" is the firmware's own text: standard error goes to a file
 * named 1). 0, or 600001 with "Fail to restart wifi module" logged when the
 * command fails or exits non-zero. */
VESPIN_API int restart_firewall(void);
/* Kills the DHCP server, then runs "sysconf init gw all" in the foreground:
 * 0, or 600001 with "Fail to restart wifi module" logged. */
VESPIN_API int restart_wifi_module(void);
/* Runs program with argv (NULL-terminated, argv[0] included) without a shell
 * and reads its standard output into output: at most size - 1 bytes,
 * zero-filled first, always NUL-terminated. *status (may be NULL) gets the
 * exit code, minus the signal that killed it, or the execvp errno when the
 * program cannot be run (2 for a missing one). Returns 0, -1 when it cannot
 * fork (or program/argv is NULL), -2 after a read error, -3 without a pipe. */
VESPIN_API int mk_popen(const char *program, char *const argv[], int *status, char *output, size_t size);
/* Runs a command text through the shell and reads its standard output into
 * output (at most size - 1 bytes, NUL-terminated). Returns the bytes read, or
 * -1 when it cannot be started or a read fails; the exit status is not reported. */
VESPIN_API int mk_popen2(const char *command, char *output, size_t size);
/* Starts "vespin_delay_run DELAY COMMAND" (the command is one argument, run
 * later by the companion program). Returns the companion's exit code, or
 * 600001 with "Fail to run" logged when it cannot be started or command is NULL. */
VESPIN_API int system_delay_run(int delay, const char *command);
/* Starts "vespin_reboot DELAY" and marks the router state 2. Returns the
 * companion's exit code, or 600001 with "Fail to reboot" logged when it
 * cannot be started (the state is then left alone). */
VESPIN_API int delay_reboot(int delay);

#ifdef __cplusplus
}
#endif

#endif
