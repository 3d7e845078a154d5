#include "method_reply.h"
#include "methods.h"

vespin_response* timezone_get_method(json_object* params) {
    return method_error(VESPIN_ERR_FAILURE, "Not available on this node");
}

vespin_response* timezone_set_method(json_object* params) {
    return method_error(VESPIN_ERR_FAILURE, "Not available on this node");
}

