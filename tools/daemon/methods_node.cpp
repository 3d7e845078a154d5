// "node.self", "node.network" and "node.report": the records this node sends
// to the mesh, rebuilt from its live state: its node record, the network
// record it would hand out as a gateway, and its node report.
#include "method_reply.h"
#include "methods.h"
#include "mesh_node.h"
#include "result_codes.h"

namespace {

// The result of a record constructor: its JSON form, or its code.
template <typename Record>
vespin_response* record_reply(Record* record, json_object* (*to_json)(const Record*), void (*free_record)(Record*),
                              const char* what) {
    if (vespin_is_error(record)) return method_error(vespin_error_code(record), "Fail to build the %s", what);
    json_object* result = to_json(record);
    free_record(record);
    return method_result(result);
}

}  // namespace

vespin_response* node_self_method(json_object*) {
    return record_reply(mesh_node_new(), mesh_node_to_json, mesh_node_free, "node record");
}

vespin_response* node_network_method(json_object*) {
    return record_reply(mbd_new(), mbd_to_json, mbd_free, "network record");
}

// The sync time is the mesh agent's to keep: a report built here carries 0.
vespin_response* node_report_method(json_object*) {
    return record_reply(bmd_new(), bmd_to_json, bmd_free, "node report");
}
