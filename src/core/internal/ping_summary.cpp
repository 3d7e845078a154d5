// The average round-trip time in ping's summary line,
// "rtt min/avg/max/mdev = 0.045/0.051/0.062/0.006 ms".
#include "core/internal/diagnostics_parts.h"

#include "tools.h"

#include <math.h>
#include <stdlib.h>

bool ping_summary_average_ms(const char* output, uint32_t* ms) {
    if (!output || !ms) return false;
    char** pieces = string_split(output, "/", 0);
    if (!pieces) return false;
    int count = 0;
    while (pieces[count]) count++;
    bool found = false;
    if (count >= 5) {
        char* end = nullptr;
        double value = strtod(pieces[4], &end);
        if (end != pieces[4] && isfinite(value) && value >= 0 && value < 4294967296.0) {
            *ms = (uint32_t)value;
            found = true;
        }
    }
    for (int i = 0; i < count; i++) free(pieces[i]);
    free(pieces);
    return found;
}
