// Uptime and the CPU and memory load, as top reports them.
#include "vespin_core.h"

#include "platform/platform.h"

#include <stdio.h>
#include <string.h>

namespace {

// awk prints the memory line first ("used total", in KiB), then 100 minus
// the idle share, which busybox top puts in the 8th field of its CPU line.
const char kLoadCommand[] =
    "top -bn 1 | awk '$1~/CPU:/ || $1~/Mem:/ {if($1==\"CPU:\") print 100-$8; "
    "else if($1==\"Mem:\") print $2/1,($2+$4) }'";

// The next line of text from *cursor, as fgets with a 128-byte buffer reads
// it: at most 127 characters, the line end included. False at the end.
bool next_line(const char** cursor, char line[128]) {
    const char* start = *cursor;
    if (!*start) return false;
    size_t n = 0;
    while (start[n] && n < 127) {
        if (start[n++] == '\n') break;
    }
    memcpy(line, start, n);
    line[n] = 0;
    *cursor = start + n;
    return true;
}

}  // namespace

extern "C" {

long vespin_get_uptime(void) { return plat_uptime(); }

int vespin_get_system_info(system_info* info) {
    if (!info) return -1;
    char output[512];
    int wait_status = 0;
    if (plat_run_capture(kLoadCommand, output, sizeof output, &wait_status) < 0) return 0;
    const char* cursor = output;
    char line[128] = {0};
    unsigned int used = 0, total = 0;
    if (!next_line(&cursor, line) || sscanf(line, "%u %u", &used, &total) < 2) used = total = 0;
    info->mem_used = (uint64_t)used * 1000;
    info->mem_total = (uint64_t)total * 1000;
    if (next_line(&cursor, line) && sscanf(line, "%lf", &info->cpu) != 1) info->cpu = 0;
    return wait_status;
}

}  // extern "C"
