#!/bin/sh
# The main job: builds the library and its programs, then starts a mesh on
# this PC (a gateway and two satellites, each a vespind on its own emulated
# root, loopback address and shared-memory key), asks every node for
# "system.identity" and "system.info", prints the answers as one table,
# starts the local HTTPS firmware service and prints the firmware it offers
# for each node ("firmware.list" on the gateway), and stops the mesh. Without
# --once, vespin-mesh keeps the mesh up until Ctrl-C.
set -eu
cd "$(dirname "$0")/.."
sh scripts/setup.sh
cmake -S . -B build/main -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESPIN_TESTS=OFF >/dev/null
cmake --build build/main --target vespin_tools -j "$(nproc)"
build/main/tools/vespin-mesh --once --firmware-service --sim sim --tools build/main/tools
