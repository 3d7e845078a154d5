// The library's one allocation seam, with the test countdown in front.
#include "platform.h"
#include "hooks.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

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

void* plat_realloc(void* block, size_t size) {
    if (plat_allocation_fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(block, size);
}

char* plat_strdup(const char* text) {
    if (plat_allocation_fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    return strdup(text);
}
