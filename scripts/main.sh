#!/bin/sh
# The main job: builds the library and its programs, makes an emulated root
# from sim/ and shows a request travelling from one process to another over
# the datagram transport on 127.0.0.1.
set -eu
cd "$(dirname "$0")/.."
sh scripts/setup.sh
cmake -S . -B build/main -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVESPIN_TESTS=OFF >/dev/null
cmake --build build/main -j "$(nproc)"
root=$(mktemp -d /tmp/vespin-main-XXXXXX)
trap 'rm -rf "$root"' EXIT
sh sim/mkroot.sh "$root" --tools build/main/tools --address 127.0.0.1
VESPIN_ROOT="$root" build/main/tools/vespin-datagram-demo
