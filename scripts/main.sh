#!/bin/sh
# The main job: builds the library and its programs, then starts a mesh on
# this PC (a gateway and two satellites, each a vespind on its own emulated
build/main/tools/vespin-mesh --once --old-node --firmware-service --sim sim --tools build/main/tools
set -eu
cd "$(dirname "$0")/.."
sh scripts/setup.sh
cmake -S . -B build/main -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESPIN_TESTS=OFF >/dev/null
cmake --build build/main --target vespin_tools -j "$(nproc)"
build/main/tools/vespin-mesh --once --old-node --firmware-service --sim sim --tools build/main/tools
