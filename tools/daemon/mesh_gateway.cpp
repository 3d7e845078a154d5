#include "mesh_gateway.h"

#include "core/json_ref.h"
#include "mesh_maintainer.h"
#include "platform/platform.h"

#include <stdlib.h>
#include <string.h>

#include <map>

namespace {

// How long a rebuilt network record, and the gateway's own slim record, are
// taken as current: reports arrive from every node every period, and a
// rebuild reads the whole configuration.
const int64_t kRecordSeconds = 1;
const int64_t kSelfSeconds = 10;

struct gateway_state {
    std::string record_text;
    int64_t record_changed = 0, record_checked = -1;
    std::map<std::string, int64_t> last_sync;
    json_ref self;
    int64_t self_checked = -1;
};

gateway_state& state() {
    static gateway_state instance;
    return instance;
}

// The platform clock, which the node table's own times come from.
int64_t now() { return (int64_t)plat_time(); }

// The gateway's own slim record, rebuilt every kSelfSeconds.
json_object* self_json() {
    gateway_state& s = state();
    if (!s.self || now() - s.self_checked >= kSelfSeconds) {
        mesh_node* self = mesh_node_new();
        if (vespin_is_error(self)) return s.self ? json_object_get(s.self.get()) : nullptr;
        s.self.reset(slim_node_json(self));
        s.self_checked = now();
        mesh_node_free(self);
    }
    return json_object_get(s.self.get());
}

}  // namespace

int gateway_network_record(std::string* text, int64_t* changed) {
    gateway_state& s = state();
    if (s.record_checked < 0 || now() - s.record_checked >= kRecordSeconds) {
        mbd* record = mbd_new();
        if (vespin_is_error(record)) return vespin_error_code(record);
        json_ref json(mbd_to_json(record));
        mbd_free(record);
        if (!json) return VESPIN_ERR_NO_MEMORY;
        std::string fresh = json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN);
        if (fresh != s.record_text) {
            s.record_text = fresh;
            s.record_changed = now();
        }
        s.record_checked = now();
    }
    *text = s.record_text;
    *changed = s.record_changed;
    return 0;
}

void gateway_note_sync(const char* sn, int64_t last_sync) { state().last_sync[sn] = last_sync; }

bool gateway_last_sync(const char* sn, int64_t* last_sync) {
    auto found = state().last_sync.find(sn);
    if (found == state().last_sync.end()) return false;
    *last_sync = found->second;
    return true;
}

json_object* slim_node_json(const mesh_node* node) {
    mesh_node* copy = (mesh_node*)malloc(sizeof *copy);
    if (!copy) return nullptr;
    memcpy(copy, node, sizeof *copy);
    copy->neighbor_count = 0;
    copy->station_count = 0;
    copy->guest_station_count = 0;
    json_object* json = mesh_node_to_json(copy);
    free(copy);
    return json;
}

int gateway_take_report(const bmd* report, json_object** result, std::string* message) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst)) {
        *message = "Fail to map the node table";
        return vespin_error_code(inst);
    }
    int rv = mesh_maintainer_put_node(inst, &report->node);
    if (rv != 0) {
        *message = "Fail to store the node report";
        return rv;
    }
    gateway_note_sync(report->node.sn, report->last_mbd_sync_time);
    std::string record;
    int64_t changed = 0;
    rv = gateway_network_record(&record, &changed);
    if (rv != 0) {
        *message = "Fail to load the network record";
        return rv;
    }
    json_ref answer(json_object_new_object());
    json_object* nodes = json_object_new_array();
    json_object_object_add(answer.get(), "mbd_time", json_object_new_int64(changed));
    json_object_object_add(answer.get(), "nodes", nodes);
    if (json_object* self = self_json()) json_object_array_add(nodes, self);
    mesh_node** valid = nullptr;
    int count = 0;
    if (mesh_maintainer_list_neighbors(inst, &valid, &count) == 0) {
        for (int i = 0; i < count; i++)
            if (strcmp(valid[i]->sn, report->node.sn) != 0) json_object_array_add(nodes, slim_node_json(valid[i]));
        free(valid);
    }
    if (report->last_mbd_sync_time < changed)
        json_object_object_add(answer.get(), "mbd", json_tokener_parse(record.c_str()));
    *result = answer.release();
    return 0;
}
