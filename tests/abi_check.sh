#!/bin/sh
# The shared library's boundary: it exports C names only, each declared in a
# public header, and an installed copy serves a C program built with
# pkg-config and one built with CMake's find_package.
#   abi_check.sh SOURCE_DIR BUILD_DIR [EXTRA_C_FLAGS]
# The build's own tools come from the environment: NM and CC; for a cross
# build also VESPIN_SYSROOT (the target root), VESPIN_TOOLCHAIN (its CMake
# toolchain file), VESPIN_TARGET_RUN (the command that runs a target program)
# and the toolchain file's PKG_CONFIG_SYSROOT_DIR and PKG_CONFIG_LIBDIR.
set -eu
src=$1 build=$2 cflags=${3:-}
lib="$build/src/libvespin.so"
nm=${NM:-nm} cc=${CC:-cc} sysroot=${VESPIN_SYSROOT:-}
fail=0

# Only global symbols count: on some targets (MIPS) the dynamic symbol table
# also lists those the version script made local (lower-case types).
for name in $(LC_ALL=C "$nm" -D --defined-only "$lib" | awk '$2 ~ /^[A-Z]$/ {print $3}'); do
  case "$name" in
    _Z*) echo "exported C++ symbol: $name"; fail=1; continue ;;
    _init|_fini|_edata|_end|__bss_start|__odr_asan*|__asan*) continue ;;
  esac
  if ! grep -q -E "(^|[^A-Za-z0-9_])$name *[(]|extern int $name;" "$src"/include/*.h; then
    echo "exported but not declared in include/: $name"; fail=1
  fi
done
[ $fail -eq 0 ] || exit 1

# A cross build installs inside the target root, as a package for the target
# would be: pkg-config and CMake then find it and its dependencies there.
mkdir -p "$sysroot/tmp"
work=$(mktemp -d "$sysroot/tmp/vespin-install-XXXXXX")
trap 'rm -rf "$work"' EXIT
# The consumers log through the library: into this emulated root, never the host's syslog.
mkdir -p "$work/root/var/log"
export VESPIN_ROOT="$work/root"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
libdir=$(find "$work/prefix" -name libvespin.so -printf '%h\n' | head -n 1)
[ -f "$work/prefix/include/vespin/request.h" ] || { echo "headers not installed under include/vespin"; exit 1; }

[ -z "$sysroot" ] || cflags="$cflags --sysroot=$sysroot"
PKG_CONFIG_PATH="$libdir/pkgconfig" "$cc" $cflags -o "$work/consumer" "$src/tests/install_consumer/main.c" \
  $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs vespin)
LD_LIBRARY_PATH="$libdir" ${VESPIN_TARGET_RUN:-} "$work/consumer"

toolchain=""
[ -z "$sysroot" ] || toolchain="-DCMAKE_TOOLCHAIN_FILE=$VESPIN_TOOLCHAIN"
cmake -S "$src/tests/install_consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" $toolchain \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$cflags" -DCMAKE_EXE_LINKER_FLAGS="$cflags" >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
LD_LIBRARY_PATH="$libdir" ${VESPIN_TARGET_RUN:-} "$work/cmake-consumer/consumer" >/dev/null
[ "$(grep -c 'Invalid json: not json' "$work/root/var/log/messages")" = 2 ] ||
  { echo "the consumers did not log into their emulated root"; exit 1; }
echo "abi check passed"
