// The mesh as text, for people: the topology ("mesh.topo") and the
// connected-device list ("devices.list") as tables. Shared by
// `vespinctl topo` and the mesh launcher.
#pragma once

#include <json-c/json.h>

#include <string>

// One line per node of the validated topology: name, role, address, serial,
// state, clients (main+guest), last sync, neighbours with their RSSI; then
// one line per node that dropped out ("is offline" for state 6).
std::string topology_text(json_object* topo);

// One line per connected device: name, address, MAC, vendor, band, the node
// it hangs on.
std::string device_list_text(json_object* devices);
