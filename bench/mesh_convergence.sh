#!/bin/sh
# A mesh of NODES emulated nodes (50 by default) on this PC: the gateway is
# started, then every satellite at once; prints the seconds until all nodes
# are valid in the gateway's table, in report periods (the reference of
# this figure; target: within 2), and the gateway's CPU share and memory
# during that run. The mesh runs on 127.1.0.x, beside a main job.
#   sh bench/mesh_convergence.sh [BUILD-DIR] [NODES] [REPORT-PERIOD]
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/rel} nodes=${2:-50} period=${3:-5}
if [ ! -x "$build/tools/vespin-mesh" ]; then
  echo "mesh_convergence: build first: cmake --build $build --target vespin_tools" >&2
  exit 64
fi
exec "$build/tools/vespin-mesh" --nodes "$nodes" --report-period "$period" --measure --net 127.1.0 \
  --sim sim --tools "$build/tools"
