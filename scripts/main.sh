#!/bin/sh
# The main job: builds the library and its programs, then starts a mesh on
# this PC (a gateway and two satellites, each a vespind on its own emulated
# root, loopback address and shared-memory key; the second satellite an old
# node served over datagrams only). Once every node is on the gateway's
# network record it asks every node for "system.identity" and "system.info"
# and prints the answers as one table, prints the topology and the connected
# devices of the whole mesh, calls each satellite by serial number through
# the gateway, and stops the mesh. Without --once, vespin-mesh keeps the
# mesh up until Ctrl-C.
set -eu
cd "$(dirname "$0")/.."
sh scripts/setup.sh
cmake -S . -B build/main -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESPIN_TESTS=OFF >/dev/null
cmake --build build/main --target vespin_tools -j "$(nproc)"
build/main/tools/vespin-mesh --once --old-node --sim sim --tools build/main/tools
