// Mesh candidates: nodes waiting to join, found by the site survey, and the
// adding phase of one of them, which carries its serial number in the local
// beacons (the beacon module) for at most 45 ticks of 2 seconds.
#include "mesh.h"

#include "apmib.h"
#include "beacon.h"
#include "core/json_ref.h"
#include "core/log.h"
#include "core/text.h"
#include "mesh_maintainer.h"
#include "platform.h"
#include "radios.h"
#include "vespin_core.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

const int kScanRounds = 3;
const unsigned long kScanPauseMicroseconds = 1000000;
const unsigned kTickSeconds = 2;
const int kTickLimit = 45;

// The adding phase (process-wide); the beacon flag that marks it lives in
// the shared table, so that other processes see it.
struct adding_phase {
    char sn[MESH_CANDIDATE_TEXT_SIZE];
    char mac_24g[MESH_CANDIDATE_TEXT_SIZE];
    char mac_5g[MESH_CANDIDATE_TEXT_SIZE];
    volatile int ticks;
};
adding_phase phase;

// Radio 1 then radio 0: true when both were read.
bool read_enabled(bool* enabled) {
    for (int radio = 1; radio >= 0; radio--) {
        int disabled = 0;
        if (!mesh_radio::read_setting(radio, mesh_radio::kRadioDisabled, &disabled)) return false;
        enabled[radio] = disabled == 0;
    }
    return true;
}

void add_joinable(const std::vector<plat_joinable_node>& found, std::vector<plat_joinable_node>* all) {
    for (const plat_joinable_node& node : found) {
        bool known = false;
        for (const plat_joinable_node& seen : *all) known = known || seen.sn == node.sn;
        if (!known) all->push_back(node);
    }
}

bool candidate_arrived(const char* local_sn) {
    if (local_sn && !vespin_is_error(local_sn) && strncmp(phase.sn, local_sn, sizeof phase.sn) == 0) return true;
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    return !vespin_is_error(inst) && mesh_maintainer_get_neighbor_by_sn_nodebug(inst, phase.sn) != nullptr;
}

// Runs on the alarm signal, as the design has it: counts while the candidate
// has not shown up, and ends the phase after 45 ticks or once it has.
void tick(int) {
    if (phase.ticks < kTickLimit && !candidate_arrived(get_sn_2())) {
        phase.ticks = phase.ticks + 1;
        plat_alarm(kTickSeconds, tick);
        return;
    }
    plat_alarm(0, nullptr);
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (!vespin_is_error(inst)) mesh_maintainer_clear_beacon_load_flag(inst);
    exit_beacon_info();
}

}  // namespace

extern "C" {

int mesh_candidate_scan(mesh_candidate** candidates, int* count) {
    if (!candidates || !count) return VESPIN_ERR_FAILURE;
    *candidates = nullptr;
    *count = 0;
    bool enabled[2] = {false, false};
    if (!apmib_init() || !read_enabled(enabled)) return VESPIN_ERR_FAILURE;
    if (!enabled[0] && !enabled[1]) return VESPIN_ERR_FAILURE;
    std::vector<plat_joinable_node> joinable[2];
    for (int round = 0; round < kScanRounds; round++) {
        for (int radio = 1; radio >= 0; radio--) {
            if (!enabled[radio]) continue;
            std::vector<plat_scan_entry> networks;
            plat_site_survey(radio ? "wlan1" : "wlan0", &networks, &joinable[radio]);
            plat_usleep(kScanPauseMicroseconds);
        }
    }
    std::vector<plat_joinable_node> all;
    add_joinable(joinable[1], &all);
    add_joinable(joinable[0], &all);
    auto* list = static_cast<mesh_candidate*>(plat_calloc(MESH_CANDIDATE_MAX, sizeof(mesh_candidate)));
    if (!list) return VESPIN_ERR_FAILURE;
    int filled = 0;
    for (const plat_joinable_node& node : all) {
        if (filled == MESH_CANDIDATE_MAX) break;
        mesh_candidate& c = list[filled++];
        copy_text(c.sn, sizeof c.sn, node.sn.c_str());
        copy_text(c.mac_24g, sizeof c.mac_24g, node.mac_24g.c_str());
        copy_text(c.mac_5g, sizeof c.mac_5g, node.mac_5g.c_str());
    }
    *candidates = list;
    *count = filled;
    return 0;
}

json_object* mesh_candidate_to_json(const mesh_candidate* candidate) {
    if (!candidate) return nullptr;
    char sn[MESH_CANDIDATE_TEXT_SIZE], mac_24g[MESH_CANDIDATE_TEXT_SIZE], mac_5g[MESH_CANDIDATE_TEXT_SIZE];
    copy_text(sn, sizeof sn, candidate->sn);
    copy_text(mac_24g, sizeof mac_24g, candidate->mac_24g);
    copy_text(mac_5g, sizeof mac_5g, candidate->mac_5g);
    json_object* object = json_object_new_object();
    json_object_object_add(object, "sn", json_object_new_string(sn));
    json_object* macs = json_object_new_object();
    json_object_object_add(macs, "2.4G", json_object_new_string(mac_24g));
    json_object_object_add(macs, "5G", json_object_new_string(mac_5g));
    json_object_object_add(object, "mac", macs);
    return object;
}

int mesh_candidate_add(const mesh_candidate* candidate) {
    if (!candidate) return VESPIN_ERR_FAILURE;
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst)) return VESPIN_ERR_FAILURE;
    if (mesh_maintainer_is_beacon_loaded(inst)) {
        VLOG_INFO("Adding node now");
        return VESPIN_ERR_BUSY;
    }
    bool enabled[2] = {false, false};
    if (!read_enabled(enabled) || (!enabled[0] && !enabled[1])) {
        VLOG_AT(4, "no interface open");
        return VESPIN_ERR_FAILURE;
    }
    get_sn_2();  // read now, so that the tick only finds it in the cache
    copy_text(phase.sn, sizeof phase.sn, candidate->sn);
    int result = 0;
    if (init_beacon_info(phase.sn) != 0) {
        VLOG_ERROR("Fail to init beacon");
        exit_beacon_info();
        result = VESPIN_ERR_FAILURE;  // the phase starts all the same, as designed
    }
    copy_text(phase.mac_24g, sizeof phase.mac_24g, candidate->mac_24g);
    copy_text(phase.mac_5g, sizeof phase.mac_5g, candidate->mac_5g);
    phase.ticks = 0;
    mesh_maintainer_set_beacon_load_flag(inst);
    plat_alarm(kTickSeconds, tick);
    return result;
}

}  // extern "C"
