// The driver's mesh peer list of one radio.
#include "peer_list.h"

#include "core/log.h"
#include "core/text.h"
#include "tools.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

namespace {

// The piece trimmed of blanks into out (room for the piece). trim leaves
// the last character of an all-blank piece: such a piece counts as empty.
const char* trimmed(const char* piece, char* out) {
    if (trim(piece, out) == 1 && (*out == ' ' || *out == '\t' || *out == '\n')) *out = 0;
    return out;
}

// A decimal integer as atoi reads one (leading digits; 0 when none), held
// to the 32-bit range.
int32_t decimal_value(const char* text) {
    long value = strtol(text, nullptr, 10);
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return (int32_t)value;
}

}  // namespace

void mesh_peer_list_parse(FILE* file, mesh_neighbor* neighbors, int32_t* count, int32_t max) {
    if (!file || !neighbors || !count) return;
    char line[513];
    bool in_entry = false, bad = false;
    mesh_neighbor entry{};
    while (*count < max && fgets(line, sizeof line, file)) {
        if (!in_entry) {
            if (!strstr(line, "Mesh MP_info")) continue;
            in_entry = true;
            bad = false;
            entry = mesh_neighbor{};
            continue;
        }
        char* colon = strchr(line, ':');
        if (!colon) continue;  // one piece: not a "key: value" line
        *colon = 0;
        char key_text[sizeof line], value_text[sizeof line];
        const char* key = trimmed(line, key_text);
        const char* value = trimmed(colon + 1, value_text);
        if (strcmp(key, "hwaddr") == 0) {
            if (!*value) {
                VLOG_ERROR("No matching hwaddr");
                bad = true;
            }
            copy_text(entry.mac, sizeof entry.mac, value);
        } else if (strcmp(key, "rssi") == 0) {
            in_entry = false;
            if (!*value) {
                VLOG_ERROR("No matching rssi");
                continue;
            }
            entry.rssi = decimal_value(value);
            if (!bad) neighbors[(*count)++] = entry;
        }
    }
    if (in_entry && !bad && *count < max) neighbors[(*count)++] = entry;
}
