// "firmware.list": the firmware the firmware service offers for the nodes of
// the validated topology (this node first, then every valid entry of the
// node table). Meant for the gateway, which holds the whole mesh.
#include "method_reply.h"
#include "methods.h"
#include "mesh_maintainer.h"
#include "server.h"
#include "utf8_text.h"

#include <stdlib.h>
#include <string.h>

namespace {

json_object* firmware_json(const remote_firmware& firmware) {
    json_object* object = json_object_new_object();
    json_object_object_add(object, "model_id", json_object_new_int(firmware.model_id));
    json_object_object_add(object, "model_version_id", json_object_new_int(firmware.model_version_id));
    json_object_object_add(object, "version", json_object_new_string(utf8_clean(firmware.version).c_str()));
    json_object_object_add(object, "url", json_object_new_string(utf8_clean(firmware.url).c_str()));
    json_object_object_add(object, "size", json_object_new_int(firmware.size));
    json_object_object_add(object, "released_time", json_object_new_int(firmware.released_time));
    if (firmware.changelog)
        json_object_object_add(object, "changelog", json_object_new_string(utf8_clean(firmware.changelog).c_str()));
    json_object* sns = json_object_new_array();
    for (int i = 0; i < REMOTE_FIRMWARE_SN_COUNT && firmware.sns[i][0]; i++)
        json_object_array_add(sns, json_object_new_string(utf8_clean(firmware.sns[i]).c_str()));
    json_object_object_add(object, "sns", sns);
    return object;
}

// The topology's records side by side (remote_firmware_list takes an array
// of records; only their serial numbers are copied). NULL when memory runs out.
mesh_node* topology_sns(mesh_node** top, int count, json_object* sns) {
    mesh_node* nodes = static_cast<mesh_node*>(calloc(count > 0 ? (size_t)count : 1, sizeof(mesh_node)));
    for (int i = 0; nodes && i < count; i++) {
        memcpy(nodes[i].sn, top[i]->sn, sizeof nodes[i].sn);
        nodes[i].sn[sizeof nodes[i].sn - 1] = '\0';
        json_object_array_add(sns, json_object_new_string(utf8_clean(nodes[i].sn).c_str()));
    }
    return nodes;
}

}  // namespace

// Result: "sns", the serial numbers asked for (topology order), and
// "firmware", the service's records: "model_id", "model_version_id",
// "version", "url", "size", "released_time", "changelog" (when given) and
// "sns". Errors: the node table's code, or remote_firmware_list's.
vespin_response* firmware_list_method(json_object* params) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst)) return method_error(vespin_error_code(inst), "Fail to get the node table");
    mesh_node** top = nullptr;
    int count = 0;
    int rv = mesh_maintainer_network_top(inst, &top, &count);
    if (rv != 0) return method_error(rv, "Fail to get the topology");
    json_object* sns = json_object_new_array();
    mesh_node* nodes = topology_sns(top, count, sns);
    free(top);
    if (!nodes) {
        json_object_put(sns);
        return method_error(VESPIN_ERR_NO_MEMORY, "Out of memory");
    }
    remote_firmware* list = nullptr;
    int listed = 0;
    rv = remote_firmware_list(&list, &listed, nodes, count);
    free(nodes);
    if (rv != 0) {
        json_object_put(sns);
        return method_error(rv, "Fail to get the firmware list");
    }
    json_object* firmware = json_object_new_array();
    for (int i = 0; i < listed; i++) {
        json_object_array_add(firmware, firmware_json(list[i]));
        free(list[i].changelog);
    }
    free(list);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "sns", sns);
    json_object_object_add(result, "firmware", firmware);
    return method_result(result);
}
