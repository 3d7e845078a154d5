// The emulated root's interface table ("/etc/vespin/interfaces"), which
// people and the mesh launcher write: any content answers every query
// within its output, texts terminated.
#include "fuzz_root.h"
#include "vespin_core.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    fuzz_write("/etc/vespin/interfaces", data, size);
    for (const char* name : {"br0", "eth0", "wlan0", "ath0-with-a-long-name"}) {
        char text[VESPIN_IP_TEXT_SIZE + 8];
        memset(text, '#', sizeof text);
        if (get_ip(name, text) && strnlen(text, VESPIN_IP_TEXT_SIZE) == VESPIN_IP_TEXT_SIZE) abort();
        if (get_subnetmask(name, text) && strnlen(text, VESPIN_IP_TEXT_SIZE) == VESPIN_IP_TEXT_SIZE) abort();
        char mac[VESPIN_MAC_TEXT_SIZE + 8];
        if (get_mac(name, mac) && strlen(mac) != 12) abort();
        unsigned char raw[16];
        for (int kind : {0, 1, 2, 3, 4}) get_addr(name, kind, raw);
    }
    return 0;
}
