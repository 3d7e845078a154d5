/* The time-limit handlers: rules kept in the UCI package "timelimits", one
 * section of type "sta" per device, named by its MAC text, with options
 * "mac", "enabled" and the list "entry" whose values are rule texts
 * (config_time_limit.h). A device holds at most 5 rules.
 *
 * Every handler takes a UCI context (time_limit_uci_ctx_new) and leaves its
 * changes pending in it; time_limit_config_commit writes them and
 * time_limit_restart hands the committed rules to the "timelimit" program.
 * A MAC that is not 12 hexadecimal digits is refused with 100208 before any
 * UCI path is built; a rule text holding a blank or a control byte is
 * refused with 100208 (UCI list values cannot keep blanks). A NULL or error
 * context gives 600001. */
#ifndef VESPIN_INTERNAL_TIME_LIMIT_H
#define VESPIN_INTERNAL_TIME_LIMIT_H

#include "config_time_limit.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define TIME_LIMIT_MAX_RULES 5

/* Adds a rule to the device, creating its section ("timelimits.%s=sta",
 * ".mac=%s", ".enabled=true") when it has no "entry" list yet. An empty id
 * gets a generated one, written back into rule->id: srand(now), r = rand()
 * mod 99999, (r * r as 32-bit unsigned, wrapping) mod 99999, "%05u". 0,
 * 200201 when the device has 5 rules, 100208, or 600001. */
VESPIN_API int time_limit_add(struct uci_context *ctx, const char *mac, time_limit *rule);
/* Removes the device's rule whose text starts with the first 5 characters
 * of rule_id (every copy). 0; 600100 when the device or the rule does not
 * exist; 100208; 600001. */
VESPIN_API int time_limit_delete(struct uci_context *ctx, const char *mac, const char *rule_id);
/* The device's rule of that id as a new record (free with free); NULL when
 * the device or the rule does not exist; a negated code. */
VESPIN_API time_limit *time_limit_get_rule(struct uci_context *ctx, const char *mac, const char *rule_id);
/* The device's rules: *rules gets a new array of *count records plus a
 * zero-filled one (free with free). 0; 600104 when the device has no rules
 * (outputs untouched); 100208; 600001; 600000 out of memory. Stored texts
 * that do not parse are skipped. */
VESPIN_API int time_limit_get(struct uci_context *ctx, const char *mac, time_limit **rules, int *count);
/* Deletes the device's section: 0, 600104 when there is none, 100208, 600001. */
VESPIN_API int time_limit_delete_device(struct uci_context *ctx, const char *mac);
/* Commits the package "timelimits": 0, or 600001 (the file is then as it was). */
VESPIN_API int time_limit_config_commit(struct uci_context *ctx);
/* Reloads the rules into the filter: runs "timelimit flush", then
 * "timelimit add" (which reads the committed package). Returns the last
 * command's wait status. */
VESPIN_API int time_limit_restart(void);

#ifdef __cplusplus
}
#endif

#endif
