// The node report: a node record and the time its node last took over a
// network record.
#include "mesh_node.h"

#include "core/json_ref.h"
#include "core/log.h"
#include "node_json.h"
#include "record_new.h"

int bmd_reload(bmd* report) {
    if (!report || vespin_is_error(report)) return VESPIN_ERR_FAILURE;
    return mesh_node_reload(&report->node);
}

// The node object is read as it stands; the original printed it back to
// text and parsed that again, which reads the same values.
int bmd_load_json(bmd* report, const char* text) {
    if (!report || vespin_is_error(report)) return VESPIN_ERR_MISSING_VALUE;
    json_ref object(text ? json_tokener_parse(text) : nullptr);
    json_object* meta = mesh_json_member(object.get(), "meta");
    if (!json_object_is_type(meta, json_type_object)) {
        VLOG_ERROR("Missing meta");
        return VESPIN_ERR_MISSING_VALUE;
    }
    json_object* sync_time = mesh_json_member(meta, "last_mbd_sync_time");
    if (!json_object_is_type(sync_time, json_type_int)) {
        VLOG_ERROR("Missing meta.last_mbd_sync_time");
        return VESPIN_ERR_MISSING_VALUE;
    }
    json_object* node = mesh_json_member(object.get(), "node");
    if (!json_object_is_type(node, json_type_object)) {
        VLOG_ERROR("Missing node");
        return VESPIN_ERR_MISSING_VALUE;
    }
    report->last_mbd_sync_time = json_object_get_int64(sync_time);
    int code = mesh_node_load_json_object(&report->node, node);
    if (code != 0) VLOG_ERROR("Missing node");
    return code;
}

// The sync time goes out as a 32-bit integer, as the nodes have always sent it.
json_object* bmd_to_json(const bmd* report) {
    if (!report || vespin_is_error(report)) return nullptr;
    json_object* object = json_object_new_object();
    if (!object) return nullptr;
    json_object* meta = json_object_new_object();
    json_add_new_key(meta, "last_mbd_sync_time", json_object_new_int((int32_t)report->last_mbd_sync_time));
    json_add_new_key(object, "meta", meta);
    json_add_new_key(object, "node", mesh_node_to_json(&report->node));
    return object;
}

bmd* bmd_new(void) { return mesh_record_new<bmd>([](bmd* report) { return bmd_reload(report); }); }

bmd* bmd_new_from_json(const char* text) {
    return mesh_record_new<bmd>([text](bmd* report) { return bmd_load_json(report, text); });
}

void bmd_free(bmd* report) { mesh_record_free(report); }
