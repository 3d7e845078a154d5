/* Network diagnostics: whether the WAN and the Internet are reachable, the
 * operating mode they depend on. */
#ifndef VESPIN_INTERNAL_DIAGNOSTICS_H
#define VESPIN_INTERNAL_DIAGNOSTICS_H

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The operating mode (setting 192: 0, 1 or 2), or 600001 when it cannot be read. */
VESPIN_API int vespin_get_op_mode(void);

#ifdef __cplusplus
}
#endif

#endif
