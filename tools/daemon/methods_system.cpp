#include "method_reply.h"
#include "methods.h"

vespin_response* system_info_method(json_object* params) {
    return method_error(VESPIN_ERR_FAILURE, "Not available on this node");
}

vespin_response* system_identity_method(json_object* params) {
    return method_error(VESPIN_ERR_FAILURE, "Not available on this node");
}

vespin_response* system_set_name_method(json_object* params) {
    return method_error(VESPIN_ERR_FAILURE, "Not available on this node");
}

