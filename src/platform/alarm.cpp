// The alarm signal, held in tests so that they can drive each tick.
#include "hooks.h"
#include "platform.h"

#include <signal.h>
#include <unistd.h>

void plat_alarm(unsigned seconds, void (*handler)(int)) {
    plat_hooks& h = plat_hooks_state();
    if (h.alarm_held) {
        h.alarm_seconds = handler ? seconds : 0;
        h.alarm_handler = seconds ? handler : nullptr;
        return;
    }
    if (seconds == 0 || !handler) {
        alarm(0);
        signal(SIGALRM, SIG_DFL);
        return;
    }
    signal(SIGALRM, handler);
    alarm(seconds);
}

void plat_test_hold_alarm() { plat_hooks_state().alarm_held = true; }

unsigned plat_test_alarm_seconds() { return plat_hooks_state().alarm_seconds; }

bool plat_test_fire_alarm() {
    plat_hooks& h = plat_hooks_state();
    if (h.alarm_seconds == 0 || !h.alarm_handler) return false;
    void (*handler)(int) = h.alarm_handler;
    if (h.fake_clock) plat_test_advance_clock((long)h.alarm_seconds * 1000000L);
    h.alarm_seconds = 0;
    h.alarm_handler = nullptr;
    handler(SIGALRM);
    return true;
}
