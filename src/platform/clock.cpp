// The clock every time of the core comes from; tests drive it with a fake.
#include "platform.h"
#include "hooks.h"

#include <sys/sysinfo.h>
#include <time.h>
#include <unistd.h>

#include <stdlib.h>

void plat_gettimeofday(struct timeval* tv) {
    auto& h = plat_hooks_state();
    if (h.fake_clock) {
        *tv = h.clock_now;
        return;
    }
    gettimeofday(tv, nullptr);
}

time_t plat_time() {
    struct timeval tv;
    plat_gettimeofday(&tv);
    return tv.tv_sec;
}

void plat_usleep(unsigned long microseconds) {
    if (plat_hooks_state().fake_clock) {
        plat_test_advance_clock((long long)microseconds);
        return;
    }
    usleep((useconds_t)microseconds);
}

long plat_uptime() {
    if (!plat_is_emulated()) {
        struct sysinfo info;
        return sysinfo(&info) == 0 ? info.uptime : 0;
    }
    std::string text;
    if (plat_read_file("/proc/uptime", &text)) return strtol(text.c_str(), nullptr, 10);
    struct stat st;
    if (plat_stat("/", &st) != 0) return 0;
    long up = (long)(plat_time() - st.st_ctime);
    return up > 0 ? up : 0;
}

int64_t plat_monotonic_ms() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (int64_t)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}
