/* The administrator and root accounts as one record, with their JSON form
 * and their application through get_user_and_password and
 * set_user_and_password (vespin_core.h; index 0 is the root account, 1 the
 * web administrator). On this platform both indexes reach the one stored
 * account: the setter ignores its index, so what is applied last wins. */
#ifndef VESPIN_CONFIG_ADMIN_H
#define VESPIN_CONFIG_ADMIN_H

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

#define ADMIN_TEXT_SIZE 31

typedef struct admin_config {
    char username[ADMIN_TEXT_SIZE];        /* web administrator */
    char password[ADMIN_TEXT_SIZE];
    char super_username[ADMIN_TEXT_SIZE];  /* root account of the system */
    char super_password[ADMIN_TEXT_SIZE];
} admin_config;

/* Super account from get_user_and_password(0, ...), then the web account
 * from (1, ...): 0, or 600002 when either gives -1. */
VESPIN_API int admin_config_load(admin_config *config);
/* {"username", "password", "super": {"username", "password"}}, new object. */
VESPIN_API struct json_object *admin_config_to_json(const admin_config *config);
/* Parses the text (not JSON: 100209), then admin_config_update_from_json_object. */
VESPIN_API int admin_config_update_from_json(admin_config *config, const char *text);
/* Not an object: 100209. "username": not a string 100200, 31 characters or
 * more 100208. "password": absent gives 0 when a username was given, else
 * 600100; not a string or 25 characters or more 100200; a byte outside
 * 0x20-0x7E logs "Invalid password" and gives 100208. The password goes to
 * both password and super_password: the web administrator and the root
 * account share it. Fields set before a failure stay set. */
VESPIN_API int admin_config_update_from_json_object(admin_config *config, struct json_object *object);
/* set_user_and_password(1, username or "admin" when empty, password), then
 * (0, "root", super_password): 0, or 600002 when either gives -1. */
VESPIN_API int config_admin(const admin_config *config);
/* As the admin update for "username" and "password" (the password goes to
 * password only), then "super" (an object, else 100200) with its own
 * "username" (31 or more: 100208) and "password" (tests as above; bad bytes
 * log "Invalid super password", 100208). Without "super": 0 when a username
 * or password was given, else 600100. */
VESPIN_API int user_info_config_update_from_json_object(admin_config *config, struct json_object *object);
/* (0, "root", super_password) with its result ignored, then (1, username or
 * "admin", password): 0, or 600002. The super username is never applied. */
VESPIN_API int config_user_info(const admin_config *config);

#ifdef __cplusplus
}
#endif

#endif
