// The DHCP server's lease file (24-byte records) and its pid file: any bytes
// give a list of entries with printable, terminated texts.
#include "fuzz_root.h"
#include "tools.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;  // the server's signal is answered in-process
    // The first line, when the input has one, is the pid file.
    const uint8_t* newline = (const uint8_t*)memchr(data, '\n', size);
    size_t pid_size = newline ? (size_t)(newline - data) + 1 : 0;
    fuzz_write("/var/run/udhcpd.pid", data, pid_size);
    fuzz_write("/var/lib/misc/udhcpd.leases", data + pid_size, size - pid_size);
    dhcp_lease_entry* list = nullptr;
    int count = -1;
    if (get_dhcp_client_list(&list, &count) != 0) return 0;
    if (count < 0 || (size_t)count > (size - pid_size) / 24) abort();
    for (int i = 0; i < count; i++) {
        if (strnlen(list[i].ip, sizeof list[i].ip) == sizeof list[i].ip) abort();
        if (strlen(list[i].mac) != 12 || list[i].expires == 0) abort();
    }
    free(list);
    return 0;
}
