// Account and time-zone record methods: "admin.get", "admin.set" (the web
// administrator, whose password the root account shares), "user.set" (web
// and root accounts apart), "timezone.config.get", "timezone.config.set"
// (offset and position). Changes are applied at once and flushed after the
// reply.
#include "apmib.h"
#include "config_admin.h"
#include "config_timezone.h"
#include "core/log.h"
#include "dispatch.h"
#include "method_reply.h"
#include "methods.h"
#include "vespin_core.h"

#include <mutex>

namespace {


// Loads the accounts, updates them with `update` and applies them with `apply`.
vespin_response* change_accounts(json_object* params, int (*update)(admin_config*, json_object*),
                                 int (*apply)(const admin_config*)) {
    admin_config config = {};
    int rv = admin_config_load(&config);
    if (rv != 0) return method_error(rv, "Fail to load the accounts");
    rv = update(&config, params);
    if (rv == VESPIN_ERR_NO_CHANGE) return method_error(rv, "Nothing to update");
    if (rv != 0) return method_error(rv, "Invalid account");
    rv = apply(&config);
    if (rv != 0) return method_error(rv, "Fail to store the accounts");
    return method_result(admin_config_to_json(&config), flush_settings_after_reply);
}

}  // namespace

vespin_response* admin_get_method(json_object* params) {
    admin_config config = {};
    int rv = admin_config_load(&config);
    if (rv != 0) return method_error(rv, "Fail to load the accounts");
    return method_result(admin_config_to_json(&config));
}

vespin_response* admin_set_method(json_object* params) {
    return change_accounts(params, admin_config_update_from_json_object, config_admin);
}

vespin_response* user_set_method(json_object* params) {
    return change_accounts(params, user_info_config_update_from_json_object, config_user_info);
}

vespin_response* timezone_config_get_method(json_object* params) {
    timezone_config config = {};
    int rv = timezone_config_load(&config);
    if (rv != 0) return method_error(rv, "Fail to load the time zone");
    return method_result(timezone_config_to_json(&config));
}

// params: {"offset", "position"} (integers, each optional).
vespin_response* timezone_config_set_method(json_object* params) {
    timezone_config config = {};
    int rv = timezone_config_load(&config);
    if (rv != 0) return method_error(rv, "Fail to load the time zone");
    rv = timezone_config_update_from_json_object(&config, params);
    if (rv != 0) return method_error(rv, "Invalid time zone");
    rv = config_timezone(&config);
    if (rv != 0) return method_error(rv, "Fail to store the time zone");
    return method_result(timezone_config_to_json(&config), flush_settings_after_reply);
}
