#!/bin/sh
# Builds the library, its programs and the whole test suite for the router
# (32-bit MIPS) and runs the suite under qemu-user, then prints the stripped
# library's size and sections.
#   cross-test.sh mipsel     little-endian
#   cross-test.sh mips       big-endian, the chip family's own byte order
# Each target executable is replaced by a two-line script that starts it under
# qemu with the target root, so that programs the tests start themselves
# (death tests, vespind, the root's bin/uci) run as well; no binfmt handler is
# registered. The stage times go to stdout as "time <stage>: <seconds> s".
set -eu
arch=${1:?usage: cross-test.sh mipsel|mips}
cd "$(dirname "$0")/.."
. scripts/cross-target.sh
project=$(pwd)
jobs=${VESPIN_JOBS:-2}
stage_start=0
stage() { stage_start=$(date +%s); }
stage_done() { echo "time $1: $(( $(date +%s) - stage_start )) s"; }

sh scripts/setup.sh "$arch"
stage
VESPIN_SYSROOT=$(sh scripts/cross-sysroot.sh "$arch")
export VESPIN_SYSROOT
stage_done "sysroot $arch"

build=$project/build/cross-$arch
stage
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$project/cmake/$triplet.cmake" \
  -DCMAKE_BUILD_TYPE=MinSizeRel -DVESPIN_BENCH=OFF -DVESPIN_TEST_TIMEOUT=480 >/dev/null
cmake --build "$build" -j "$jobs"
stage_done "cross build $arch"

qemu=$(command -v "qemu-$arch")
# Every target executable becomes NAME (the wrapper) and NAME.elf. A rebuilt
# program is an ELF file again under its own name and is wrapped anew.
find "$build" -path "$build/*/CMakeFiles" -prune -o -type f -perm -u+x ! -name '*.so*' ! -name '*.elf' -print |
  while read -r program; do
    [ "$(head -c 4 "$program" | od -An -c | tr -d ' ')" = '177ELF' ] || continue
    mv -f "$program" "$program.elf"
    printf '#!/bin/sh\nexec '\''%s'\'' -L '\''%s'\'' -0 "$0" '\''%s.elf'\'' "$@"\n' "$qemu" "$VESPIN_SYSROOT" "$program" > "$program"
    chmod +x "$program"
  done

stage
status=0
ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 600 || status=$?
stage_done "qemu suite $arch"

sh scripts/lib-size.sh "$arch" "$build/src/libvespin.so"
exit $status
