// The constructors' one pattern: a zeroed record on the heap, filled by a
// loader; on failure freed and the negated code returned in its place.
#pragma once

#include "platform/platform.h"
#include "result_codes.h"

#include <stdlib.h>

template <typename Record, typename Fill>
Record* mesh_record_new(Fill fill) {
    Record* record = static_cast<Record*>(plat_calloc(1, sizeof(Record)));
    if (!record) return VESPIN_ERROR_PTR(Record*, VESPIN_ERR_NO_MEMORY);
    int code = fill(record);
    if (code != 0) {
        free(record);
        return VESPIN_ERROR_PTR(Record*, code);
    }
    return record;
}

// Frees a record; NULL and error values are ignored.
template <typename Record>
void mesh_record_free(Record* record) {
    if (!vespin_is_error(record)) free(record);
}
