#!/bin/sh
# The router's library size: strips a copy of libvespin.so built for 32-bit
# MIPS at -Os and prints its size, its sections and the libraries it needs.
#   lib-size.sh [mipsel|mips] [LIBRARY]
# Without LIBRARY it builds the library alone in build/size-ARCH (the target
# root comes from scripts/cross-sysroot.sh).
set -eu
arch=${1:-mipsel}
cd "$(dirname "$0")/.."
. scripts/cross-target.sh
project=$(pwd)
library=${2:-}
if [ -z "$library" ]; then
  sh scripts/setup.sh "$arch"
  VESPIN_SYSROOT=$(sh scripts/cross-sysroot.sh "$arch")
  export VESPIN_SYSROOT
  build=$project/build/size-$arch
  cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$project/cmake/$triplet.cmake" -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DVESPIN_TESTS=OFF -DVESPIN_TOOLS=OFF -DVESPIN_BENCH=OFF >/dev/null
  cmake --build "$build" -j "${VESPIN_JOBS:-2}" --target vespin >/dev/null
  library=$build/src/libvespin.so
fi
stripped=$(mktemp /tmp/vespin-size-XXXXXX)
trap 'rm -f "$stripped"' EXIT
"$triplet-strip" --strip-all -o "$stripped" "$library"
bytes=$(wc -c < "$stripped")
echo "libvespin.so for $arch, stripped: $bytes bytes ($(( (bytes + 512) / 1024 )) KB)"
"$triplet-size" -A "$stripped" | awk 'NR > 2 && $2 > 0 { printf "  %-20s %8d\n", $1, $2 }'
echo "needs: $("$triplet-readelf" -d "$stripped" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ')"
objects=$(dirname "$library")/CMakeFiles/vespin_objects.dir
if [ -d "$objects" ]; then
  echo "code and data by source folder, before garbage collection:"
  find "$objects" -name '*.o' | sort | xargs "$triplet-size" |
    awk -v base="$objects/" 'NR > 1 { f = $6; sub(base, "", f); n = split(f, part, "/");
                                      area = n > 2 ? part[1] "/" part[2] : part[1]; sum[area] += $1 + $2 }
                             END { for (a in sum) printf "  src/%-18s %8d\n", a, sum[a] }' | sort
fi
