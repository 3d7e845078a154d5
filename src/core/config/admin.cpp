// The administrator and root accounts: JSON form, updates and application.
#include "config_admin.h"

#include "core/json_ref.h"
#include "core/log.h"
#include "core/text.h"
#include "result_codes.h"
#include "vespin_core.h"

#include <string.h>

namespace {

const size_t kMaxPasswordLength = 24;

bool printable_ascii(const char* text) {
    for (const unsigned char* p = (const unsigned char*)text; *p; p++)
        if (*p < 0x20 || *p > 0x7e) return false;
    return true;
}

// One account's "username" and "password" members. The password goes to
// both outputs (the second may be null). *given tells whether either key
// was there. 0 or the code.
int update_account(json_object* object, char* username, char* password, char* password_copy,
                   const char* bad_password_message, bool* given) {
    json_object* member = nullptr;
    *given = false;
    if (json_object_object_get_ex(object, "username", &member)) {
        if (!json_object_is_type(member, json_type_string)) return VESPIN_ERR_MISSING_PARAM;
        if (json_object_get_string_len(member) >= ADMIN_TEXT_SIZE) return VESPIN_ERR_INVALID_PARAM;
        copy_text(username, ADMIN_TEXT_SIZE, json_object_get_string(member));
        *given = true;
    }
    if (!json_object_object_get_ex(object, "password", &member)) return 0;
    if (!json_object_is_type(member, json_type_string) || (size_t)json_object_get_string_len(member) > kMaxPasswordLength)
        return VESPIN_ERR_MISSING_PARAM;
    const char* text = json_object_get_string(member);
    if (strlen(text) != (size_t)json_object_get_string_len(member) || !printable_ascii(text)) {
        VLOG_ERROR("%s", bad_password_message);
        return VESPIN_ERR_INVALID_PARAM;
    }
    copy_text(password, ADMIN_TEXT_SIZE, text);
    if (password_copy) copy_text(password_copy, ADMIN_TEXT_SIZE, text);
    *given = true;
    return 0;
}

json_object* account_json(const char* username, const char* password) {
    json_object* object = json_object_new_object();
    json_object_object_add(object, "username", json_object_new_string(username));
    json_object_object_add(object, "password", json_object_new_string(password));
    return object;
}

const char* or_admin(const char* username) { return username[0] ? username : "admin"; }

}  // namespace

extern "C" {

int admin_config_load(admin_config* config) {
    if (!config) return VESPIN_ERR_SETTING;
    if (get_user_and_password(0, config->super_username, config->super_password) == -1 ||
        get_user_and_password(1, config->username, config->password) == -1)
        return VESPIN_ERR_SETTING;
    return 0;
}

json_object* admin_config_to_json(const admin_config* config) {
    if (!config) return nullptr;
    admin_config c = *config;  // the record's texts may lack a terminator
    c.username[ADMIN_TEXT_SIZE - 1] = c.password[ADMIN_TEXT_SIZE - 1] = 0;
    c.super_username[ADMIN_TEXT_SIZE - 1] = c.super_password[ADMIN_TEXT_SIZE - 1] = 0;
    json_object* object = account_json(c.username, c.password);
    json_object_object_add(object, "super", account_json(c.super_username, c.super_password));
    return object;
}

int admin_config_update_from_json(admin_config* config, const char* text) {
    json_ref object(text ? json_tokener_parse(text) : nullptr);
    if (!object) return VESPIN_ERR_INVALID_JSON;
    return admin_config_update_from_json_object(config, object.get());
}

int admin_config_update_from_json_object(admin_config* config, json_object* object) {
    if (!config || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_JSON;
    bool username_given = json_object_object_get_ex(object, "username", nullptr);
    bool given = false;
    int result = update_account(object, config->username, config->password, config->super_password,
                                "Invalid password", &given);
    if (result != 0) return result;
    if (!json_object_object_get_ex(object, "password", nullptr)) return username_given ? 0 : VESPIN_ERR_NO_CHANGE;
    return 0;
}

int config_admin(const admin_config* config) {
    if (!config) return VESPIN_ERR_SETTING;
    admin_config c = *config;
    c.username[ADMIN_TEXT_SIZE - 1] = c.password[ADMIN_TEXT_SIZE - 1] = c.super_password[ADMIN_TEXT_SIZE - 1] = 0;
    if (set_user_and_password(1, or_admin(c.username), c.password) == -1) return VESPIN_ERR_SETTING;
    if (set_user_and_password(0, "root", c.super_password) == -1) return VESPIN_ERR_SETTING;
    return 0;
}

int user_info_config_update_from_json_object(admin_config* config, json_object* object) {
    if (!config || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_JSON;
    bool given = false;
    int result = update_account(object, config->username, config->password, nullptr, "Invalid password", &given);
    if (result != 0) return result;
    json_object* super = nullptr;
    if (!json_object_object_get_ex(object, "super", &super)) return given ? 0 : VESPIN_ERR_NO_CHANGE;
    if (!json_object_is_type(super, json_type_object)) return VESPIN_ERR_MISSING_PARAM;
    bool super_given = false;
    return update_account(super, config->super_username, config->super_password, nullptr, "Invalid super password",
                          &super_given);
}

int config_user_info(const admin_config* config) {
    if (!config) return VESPIN_ERR_SETTING;
    admin_config c = *config;
    c.username[ADMIN_TEXT_SIZE - 1] = c.password[ADMIN_TEXT_SIZE - 1] = c.super_password[ADMIN_TEXT_SIZE - 1] = 0;
    set_user_and_password(0, "root", c.super_password);  // its result is ignored, as the account is re-applied next
    return set_user_and_password(1, or_admin(c.username), c.password) == -1 ? VESPIN_ERR_SETTING : 0;
}

}  // extern "C"
