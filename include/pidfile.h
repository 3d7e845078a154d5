/* Pid files: one decimal number and a line feed ("%d\n"), mode 0644, written
 * under an exclusive flock so that the second starter of a daemon backs off.
 * Paths are router paths. */
#ifndef VESPIN_PIDFILE_H
#define VESPIN_PIDFILE_H

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Writes the caller's pid at the start of the file (created if needed, not
 * truncated) while holding the lock, then releases the lock. Returns the pid,
 * or 0 when another process holds the lock or on any failure (logged). */
VESPIN_API int write_pid(const char *path);
/* The number in the file; 0 when it cannot be opened or holds no number. */
VESPIN_API int read_pid(const char *path);
/* The pid in the file when it names another live process (signal 0 succeeds
 * or fails with anything but "no such process"); 0 for the caller's own pid,
 * a missing file, or a number that is not a positive pid. */
VESPIN_API int check_pid(const char *path);
/* Deletes the file; the result of unlink (0 or -1 with errno). */
VESPIN_API int remove_pid(const char *path);

#ifdef __cplusplus
}
#endif

#endif
