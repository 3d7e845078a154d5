// The library's one allocation seam, with the test countdown in front.
#include "platform.h"
#include "hooks.h"

#include <errno.h>
#include <stdlib.h>

bool plat_allocation_fails() { return plat_fault_due(PLAT_FAULT_ALLOC); }

void* plat_malloc(size_t size) {
    if (plat_allocation_fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return malloc(size);
}

void* plat_calloc(size_t count, size_t size) {
    if (plat_allocation_fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return calloc(count, size);
}
