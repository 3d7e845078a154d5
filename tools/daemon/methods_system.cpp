// "system.info", "system.identity" and "system.set_name": how the node is
// doing, who it is, and its device name.
#include "apmib.h"
#include "core/log.h"
#include "dispatch.h"
#include "method_reply.h"
#include "methods.h"
#include "vespin_core.h"

vespin_response* system_info_method(json_object* params) {
    long uptime = vespin_get_uptime();
    system_info load = {};
    int status = vespin_get_system_info(&load);
    if (status != 0)
        return method_error(VESPIN_ERR_COMMAND, "Fail to read the CPU and memory load: top ended with status %d",
                            status);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "uptime", json_object_new_int64(uptime));
    json_object_object_add(result, "cpu", json_object_new_double(load.cpu));
    json_object_object_add(result, "memory_total", json_object_new_int64((int64_t)load.mem_total));
    json_object_object_add(result, "memory_used", json_object_new_int64((int64_t)load.mem_used));
    return method_result(result);
}

vespin_response* system_identity_method(json_object* params) {
    char sn[VESPIN_SN_SIZE] = {0}, name[VESPIN_DEVICE_NAME_SIZE] = {0}, customer[VESPIN_CUSTOMER_ID_SIZE] = {0};
    char firmware[sizeof VESPIN_FM_VERSION + 16] = {0};
    int rv = get_sn(sn);
    if (rv != 0) return method_error(rv, "Fail to read the serial number");
    rv = get_device_name(name);
    if (rv != 0) return method_error(rv, "Fail to read the device name");
    rv = get_customer_id(customer);
    if (rv != 0) return method_error(rv, "Fail to read the customer id");
    get_fm_version(firmware);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "sn", json_object_new_string(sn));
    json_object_object_add(result, "model", json_object_new_string(sn_2_model(sn)));
    json_object_object_add(result, "name", json_object_new_string(name));
    json_object_object_add(result, "customer_id", json_object_new_string(customer));
    json_object_object_add(result, "firmware", json_object_new_string(firmware));
    return method_result(result);
}

vespin_response* system_set_name_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* name;
    if (!param_text(params, "name", &name, &error)) return error;
    int rv = set_device_name(name);
    if (rv == VESPIN_ERR_MISSING_PARAM) return method_error(rv, "Name too long: at most 32 characters");
    if (rv != 0) return method_error(rv, "Fail to store the device name");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "name", json_object_new_string(name));
    return method_result(result, flush_settings_after_reply);
}
