// Reading a whole settings-store table into a new array for a caller.
#pragma once

#include "apmib.h"
#include "core/log.h"
#include "platform/platform.h"
#include "result_codes.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

// The failure messages of one table's reader.
struct settings_table_messages {
    const char* count;       // the entry count cannot be read
    const char* allocation;  // the array cannot be allocated
    const char* entry;       // an entry cannot be read
};

// Reads entry n of a table (1-based, placed in the buffer's first byte).
template <typename Stored>
bool settings_table_entry(int get_id, int n, Stored* stored) {
    memset(stored, 0, sizeof *stored);
    *(unsigned char*)stored = (unsigned char)n;
    return apmib_get(get_id, stored) != 0;
}

// Reads the count (count_id) and entries 1..count (get_id), converting each
// into a zero-filled array of Entry that *entries receives (none when the
// table is empty). 0, or 600001 after logging; after an entry failure the
// array and its count stay with the caller, who frees it.
template <typename Stored, typename Entry>
int settings_table_read(int count_id, int get_id, void (*convert)(const Stored&, Entry*),
                        const settings_table_messages& messages, Entry** entries, int32_t* count) {
    *entries = nullptr;
    *count = 0;
    int stored_count = 0;
    if (!apmib_get(count_id, &stored_count) || stored_count < 0) {
        VLOG_INFO("%s", messages.count);
        return VESPIN_ERR_FAILURE;
    }
    if (stored_count == 0) return 0;
    *entries = (Entry*)plat_calloc((size_t)stored_count, sizeof(Entry));
    if (!*entries) {
        VLOG_INFO("%s", messages.allocation);
        return VESPIN_ERR_FAILURE;
    }
    *count = stored_count;
    for (int n = 1; n <= stored_count; n++) {
        Stored stored;
        if (!settings_table_entry(get_id, n, &stored)) {
            VLOG_INFO("%s", messages.entry);
            return VESPIN_ERR_FAILURE;
        }
        convert(stored, &(*entries)[n - 1]);
    }
    return 0;
}
