/* UCI access: one-shot get and set of a UCI path, and a context for a batch
 * of changes that is committed or rolled back as one. Paths use the extended
 * syntax: "pkg.section.option", "pkg.@type[index].option" (negative indexes
 * count from the end), "pkg.section=type", "pkg.section.option=value".
 * The packages live in /etc/config and pending changes in /tmp/.uci. */
#ifndef VESPIN_UCICONFIG_H
#define VESPIN_UCICONFIG_H

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The opaque handle of a UCI context. */
struct uci_context;

/* Command kinds (an unsigned number):
 *   kind  vespin_uci_ctx_cmd      vespin_uci_set
 *   0     set                     commit the package, or add an anonymous section
 *   1     add section             unsupported
 *   2, 5  delete                  delete, then commit
 *   3, 4  set                     set, then commit (4 is the usual assignment)
 *   6     add to list             add to list, then commit
 *   7     remove from list        remove from list, then commit
 *   8+    unsupported             unsupported */

/* New context; free with vespin_uci_ctx_free. On failure logs "Fail to alloc
 * uci_context" and returns -600001 cast to the handle (not NULL): test with
 * vespin_is_error. */
VESPIN_API struct uci_context *vespin_uci_ctx_new(void);
/* Applies one change of `kind` (see above; 8 and up are unsupported) to the
 * path in `text`, kept in the context until commit: 0 or 600001. A path not
 * found is accepted so that a set can create it. Kind 1 adds an anonymous
 * section to the path's package whose type is the package's name. Texts
 * longer than 255 characters are cut. */
VESPIN_API int vespin_uci_ctx_cmd(struct uci_context *ctx, unsigned int kind, const char *text);
/* vespin_uci_ctx_cmd with kind 2 (delete). */
VESPIN_API int vespin_uci_ctx_delete_section(struct uci_context *ctx, const char *path);
/* Reads an option's value or, for a section path, the section's type into
 * `output`: 0, 600104 (not found or incomplete path; output untouched),
 * 600001 (other lookup error), 600005 (the path names a package). The path
 * is cut to 127 characters. A list gives its values without whitespace, each
 * NUL-terminated, one after another, and a zero byte two bytes beyond the
 * last one (the byte directly behind it is left alone): hand in a
 * zero-filled buffer and read values until an empty one. The output is not
 * bounded: size it for the longest value stored. */
VESPIN_API int vespin_uci_ctx_get(struct uci_context *ctx, const char *path, char *output);
/* Writes the package's pending changes (of this context and saved ones) to
 * its file and unloads it: 0, or -600001 (negative) on failure. */
VESPIN_API int vespin_uci_ctx_commit(struct uci_context *ctx, const char *package);
/* Reverts the package's saved, uncommitted changes: 600001 when the package
 * cannot be found, else the UCI error number of the revert (0 on success). */
VESPIN_API int vespin_uci_ctx_rollback(struct uci_context *ctx, const char *package);
/* Frees a context; its uncommitted changes are lost. NULL and error values are ignored. */
VESPIN_API void vespin_uci_ctx_free(struct uci_context *ctx);

/* One-shot vespin_uci_ctx_get in a fresh context: 600000 when no context can
 * be made, else the code of vespin_uci_ctx_get. */
VESPIN_API int vespin_uci_get(const char *path, char *output);
/* One-shot change, committed at once. Kind 0: a text without a space is a
 * package to commit; "PACKAGE TYPE" adds an anonymous section and leaves it
 * pending (saved, not committed). Kinds 2-7: apply, then commit. An empty
 * text gives 600001, no context 600000. A path that cannot be found, kind 1
 * and kinds 8 and up return 0 (success) after logging, by design. Otherwise
 * 0, or 600001 when the last step failed. */
VESPIN_API int vespin_uci_set(unsigned int kind, const char *text);
/* 1 for "1", "on", "true" or "enabled" in any case, else 0 ("yes" and NULL included). */
VESPIN_API int vespin_uci_value_is_true(const char *text);

/* Per-feature forwards: each feature names its own package. */
VESPIN_API struct uci_context *guest_network_uci_ctx_new(void);
VESPIN_API struct uci_context *time_limit_uci_ctx_new(void);
VESPIN_API struct uci_context *URL_filter_uci_ctx_new(void);
VESPIN_API int guest_network_config_commit(struct uci_context *ctx);   /* "multipleap" */
VESPIN_API int vespin_device_list_commit(struct uci_context *ctx);     /* "devices" */
VESPIN_API int URL_filter_config_commit(struct uci_context *ctx);      /* "urlfilters" */
VESPIN_API int guest_network_config_rollback(struct uci_context *ctx); /* "multipleap" */
VESPIN_API int vespin_device_list_rollback(struct uci_context *ctx);   /* "devices" */
VESPIN_API int time_limit_config_rollback(struct uci_context *ctx);    /* "timelimits" */
VESPIN_API int URL_filter_config_rollback(struct uci_context *ctx);    /* "urlfilters" */
VESPIN_API int sta_blacklist_rollback(struct uci_context *ctx);        /* "mac_filter_black" */
VESPIN_API void guest_network_config_free(struct uci_context *ctx);
VESPIN_API void time_limit_config_free(struct uci_context *ctx);
VESPIN_API void URL_filter_config_free(struct uci_context *ctx);

#ifdef __cplusplus
}
#endif

#endif
