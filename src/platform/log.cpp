// The one logger: a "%s(%s:%d) " line on stderr and a "(%s:%d) " entry in
// syslog (emulated: the root's "/var/log/messages").
#include "platform.h"
#include "hooks.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

namespace {

void append_to_root_syslog(int priority, const std::string& entry) {
    int fd = plat_open("/var/log/messages", O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd < 0) return;
    std::string line = "<" + std::to_string(priority) + "> " + entry + "\n";
    ssize_t ignored = write(fd, line.data(), line.size());
    (void)ignored;
    close(fd);
}

}  // namespace

void plat_log(int priority, const char* function, const char* file, int line, const char* message) {
    int saved_errno = errno;  // callers print the system error after logging
    const char* fn = function ? function : "";
    const char* src = file ? file : "";
    const char* msg = message ? message : "";
    auto& h = plat_hooks_state();
    if (h.capture_log) {
        h.log.push_back({PLAT_LOG_STDERR, priority, fn, src, line, msg});
        h.log.push_back({PLAT_LOG_SYSLOG, priority, fn, src, line, msg});
        errno = saved_errno;
        return;
    }
    fprintf(stderr, "%s(%s:%d) %s\n", fn, src, line, msg);
    if (plat_is_emulated()) {
        char head[300];
        snprintf(head, sizeof head, "(%s:%d) ", fn, line);
        append_to_root_syslog(priority, head + std::string(msg));
    } else {
        syslog(priority, "(%s:%d) %s", fn, line, msg);
    }
    errno = saved_errno;
}

void plat_perror(const char* prefix) {
    int saved_errno = errno;
    auto& h = plat_hooks_state();
    if (h.capture_log) {
        std::string text = std::string(prefix ? prefix : "") + ": " + strerror(saved_errno);
        h.log.push_back({PLAT_LOG_PERROR, 0, "", "", 0, text});
    } else {
        perror(prefix);
    }
    errno = saved_errno;
}

void plat_print(const char* text) {
    auto& h = plat_hooks_state();
    if (h.capture_log) {
        h.log.push_back({PLAT_LOG_PRINT, 0, "", "", 0, text ? text : ""});
        return;
    }
    fputs(text ? text : "", stdout);
}
