// A satellite takes over the gateway's network record: each part that
// differs from this node's own settings is applied through the node's
// config functions, so that an unchanged part restarts nothing.
#pragma once

#include "mesh_node.h"

// Applies `record` (the gateway's) over this node's settings, part by part
// in this order when it differs from the local record: Wi-Fi, guest Wi-Fi,
// administrator, time zone, mesh bands, LED schedule, station blacklist
// (made the record's in one commit; entries past the 30 the node's list
// holds are left out);
// then flushes the settings. 0, or the first failing part's code with
// *part naming it ("wifi", "guest_wifis", ...). Runs under the library lock.
int apply_network_record(const mbd* record, const char** part);
