// The main job's firmware view: the local firmware service started, the
// gateway pointed at it, and the firmware offered for each node printed.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "local_firmware_service.h"

// Starts the service (sim_dir's script, in dir, on address), makes the
// gateway's root use it, calls "firmware.list" on the gateway and prints one
// line per node (name, serial number) with the firmware offered for it.
// False, with the reason printed, when any step fails; the service may then
// be running still (stop it with local_firmware_service_stop).
bool show_firmware(const std::string& sim_dir, const std::string& dir, const std::string& address,
                   const std::string& gateway_address, const std::string& gateway_root,
                   const std::vector<std::pair<std::string, std::string>>& nodes, local_firmware_service* service);
