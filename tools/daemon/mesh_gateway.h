// The gateway's side of the mesh agent: its network record with the time
// the record last changed, the last sync time every node reported, and the
// slim node list it hands back so that every node can call every other.
// Everything here runs under the library lock (node_library_lock).
#pragma once

#include <json-c/json.h>
#include <stdint.h>

#include <string>

#include "mesh_node.h"

// The gateway's network record as JSON text and the time (seconds since the
// epoch) its content last changed. The record is rebuilt (mbd_reload) when
// the copy in hand is a second old or more; a content that differs from the
// previous one moves the change time to now. 0, or the rebuild's code.
int gateway_network_record(std::string* text, int64_t* changed);

// Remembers the last sync time a node reported.
void gateway_note_sync(const char* sn, int64_t last_sync);
// The last sync time a node reported; false when it has not reported since
// the gateway started.
bool gateway_last_sync(const char* sn, int64_t* last_sync);

// A node record without its neighbours and stations, as JSON: all that a
// node needs to call another (address, port, version, role, name, MACs).
json_object* slim_node_json(const mesh_node* node);

// The answer to a node report: stores the report in the node table, notes
// its sync time, and gives {"mbd_time": T, "nodes": [the gateway and every
// valid node but the reporter, slim], "mbd": record} (the record only when
// the report's last sync is older than T). 0 with *result set, or a code
// with *message set.
int gateway_take_report(const bmd* report, json_object** result, std::string* message);
