/* Time-limit rules: a connected device (keyed by its MAC text, 12 hex
 * digits) may use the network only between two times on chosen days. A rule
 * has a one-line text form, "ID|ENABLED|BEGIN|END|DAY,DAY,...", in which it
 * is stored as a value of the UCI list "timelimits.<mac>.entry", and a JSON
 * form. The rule factory owns one UCI context and stores through the
 * time-limit handlers (internal_time_limit.h); its changes are committed or
 * reverted as one. */
#ifndef VESPIN_CONFIG_TIME_LIMIT_H
#define VESPIN_CONFIG_TIME_LIMIT_H

#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;
struct uci_context;

#define TIME_LIMIT_DAYS 7
/* Room for the longest text time_limit_to_string can print, terminator included. */
#define TIME_LIMIT_TEXT_SIZE 72

/* One rule. Texts are NUL-terminated except the day entries: an entry of 4
 * characters fills its slot without a terminator, so read them with a bound
 * of 4. */
typedef struct time_limit {
    char id[6];                           /* five characters, "%05u" when generated */
    char time_begin[8];                   /* at most 7 characters */
    char time_end[8];                     /* at most 7 characters */
    char schedule[TIME_LIMIT_DAYS][4];    /* day entries, at most 4 characters each */
    int32_t schedule_count;               /* day entries used, 0 to 7 */
    uint32_t enabled;                     /* 0 or 1 */
} time_limit;

/* The factory: one UCI context (NULL when none could be had; every
 * operation then fails with 600001). */
typedef struct time_limit_rule_factory {
    struct uci_context *ctx;
} time_limit_rule_factory;

/* Prints "%s|%d|%s|%s|%s" (id, enabled, begin, end, the first
 * schedule_count day entries joined with ",") into out, which must hold
 * TIME_LIMIT_TEXT_SIZE bytes; a count outside 0..7 is taken as 0 or 7. 0. */
VESPIN_API int time_limit_to_string(const time_limit *rule, char *out);
/* Parses the text form: split at "|" at most 4 times (so a sixth part stays
 * in the fifth with its "|"), the day part at "," at most 6 times (so an
 * eighth entry stays in the seventh, cut to 4 characters). Fewer than 5
 * parts log "Invalid time limit string, %d %s" and give 100208 with the
 * record untouched. Fields are cut to their sizes; an empty day part gives
 * one empty entry (count 1). 0 or 100208 (also for NULL arguments). */
VESPIN_API int time_limit_from_string(time_limit *rule, const char *text);
/* {"id", "time_begin", "time_end", "schedule": [days], "enabled": bool}, a
 * new object owned by the caller (NULL for a NULL rule). */
VESPIN_API struct json_object *time_limit_to_json_object(const time_limit *rule);

/* A new factory: NULL (0) when no UCI context can be made, the value
 * -600000 when the cell cannot be allocated. Free with
 * time_limit_rule_factory_free, which drops uncommitted changes. */
VESPIN_API time_limit_rule_factory *time_limit_rule_factory_new(void);
VESPIN_API void time_limit_rule_factory_free(time_limit_rule_factory *factory);
/* Parses the rule text and adds it to the device (time_limit_add: an empty
 * id gets a generated one). 0, 100208 for a bad text or MAC, or the code of
 * time_limit_add; failures log "Fail to add time limit". */
VESPIN_API int time_limit_rule_factory_add_rule(time_limit_rule_factory *factory, const char *mac, const char *rule);
/* Deletes the stored rule with the text's id, then adds the text: a rule
 * that does not exist is added. A delete code other than 0 and 600100 is
 * returned with "Fail to delete time limit"; an add failure logs "Fail to
 * add time limit". */
VESPIN_API int time_limit_rule_factory_update_rule(time_limit_rule_factory *factory, const char *mac, const char *rule);
/* 0, or the code of time_limit_delete ("Fail to delete time limit"). */
VESPIN_API int time_limit_rule_factory_delete_rule(time_limit_rule_factory *factory, const char *mac, const char *rule_id);
/* Removes the device's section: 0 or the code ("Fail to delete device from time limit"). */
VESPIN_API int time_limit_rule_factory_delete_device(time_limit_rule_factory *factory, const char *mac);
/* A new rule record (caller frees with free), NULL when the device or rule
 * does not exist, or a negated code (vespin_is_error). */
VESPIN_API time_limit *time_limit_rule_factory_get_rule(time_limit_rule_factory *factory, const char *mac, const char *rule_id);
/* The device's rules as a new array (caller frees with free) ended by a
 * zero-filled record (empty id); NULL when the device has no rules, or a
 * negated code. */
VESPIN_API time_limit *time_limit_rule_factory_get_by_mac(time_limit_rule_factory *factory, const char *mac);
/* Commits (time_limit_config_commit) or reverts (time_limit_config_rollback)
 * the package "timelimits" through the factory's context. Commit: 0 or
 * 600001, and the package file is as it was when it fails. */
VESPIN_API int time_limit_rule_factory_commit(time_limit_rule_factory *factory);
VESPIN_API int time_limit_rule_factory_rollback(time_limit_rule_factory *factory);

#ifdef __cplusplus
}
#endif

#endif
