// Pid files guarded by an advisory lock.
#include "pidfile.h"

#include "log.h"
#include "platform.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

int write_pid(const char* path) {
    int fd = path ? plat_open(path, O_RDWR | O_CREAT, 0644) : -1;
    if (fd < 0) {
        VLOG_ERROR("Can't open or create %s", path ? path : "(null)");
        return 0;
    }
    FILE* file = fdopen(fd, "r+");
    if (!file) {
        close(fd);
        VLOG_ERROR("Can't open or create %s", path);
        return 0;
    }
    // Closing the stream closes the descriptor too; the stream is never left behind.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {  // another starter holds it
        fclose(file);
        return 0;
    }
    int pid = (int)getpid();
    if (fprintf(file, "%d\n", pid) <= 0 || fflush(file) != 0) {
        VLOG_INFO("Can't write pid, %s", strerror(errno));
        fclose(file);
        return 0;
    }
    if (flock(fd, LOCK_UN) != 0) {
        VLOG_INFO("Can't unlock pidfile %s, %s", path, strerror(errno));
        fclose(file);
        return 0;
    }
    fclose(file);
    return pid;
}

int read_pid(const char* path) {
    FILE* file = path ? plat_fopen(path, "r") : nullptr;
    if (!file) return 0;
    int pid = 0;
    if (fscanf(file, "%d", &pid) != 1) pid = 0;
    fclose(file);
    return pid;
}

int check_pid(const char* path) {
    int pid = read_pid(path);
    // Zero and negative numbers name no single process (signal 0 to them
    // would probe a process group or every process).
    if (pid <= 0 || pid == (int)getpid()) return 0;
    errno = 0;
    if (kill(pid, 0) == 0 || errno != ESRCH) return pid;
    return 0;
}

int remove_pid(const char* path) {
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    return plat_unlink(path);
}
