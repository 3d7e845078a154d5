#include "method_reply.h"
#include "methods.h"

vespin_response* version_compare_method(json_object* params) {
    return method_error(VESPIN_ERR_FAILURE, "Not available on this node");
}

