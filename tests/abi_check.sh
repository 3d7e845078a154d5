#!/bin/sh
# The shared library's boundary: it exports C names only, each declared in a
# public header, and an installed copy serves a C program built with
# pkg-config and one built with CMake's find_package.
#   abi_check.sh SOURCE_DIR BUILD_DIR [EXTRA_C_FLAGS]
set -eu
src=$1 build=$2 cflags=${3:-}
lib="$build/src/libvespin.so"
fail=0

for name in $(nm -D --defined-only "$lib" | awk '{print $3}'); do
  case "$name" in
    _Z*) echo "exported C++ symbol: $name"; fail=1; continue ;;
    _init|_fini|_edata|_end|__bss_start|__odr_asan*|__asan*) continue ;;
  esac
  if ! grep -q -E "(^|[^A-Za-z0-9_])$name *[(]|extern int $name;" "$src"/include/*.h; then
    echo "exported but not declared in include/: $name"; fail=1
  fi
done
[ $fail -eq 0 ] || exit 1

work=$(mktemp -d /tmp/vespin-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
# The consumers log through the library: into this emulated root, never the host's syslog.
mkdir -p "$work/root/var/log"
export VESPIN_ROOT="$work/root"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
libdir=$(find "$work/prefix" -name libvespin.so -printf '%h\n' | head -n 1)
[ -f "$work/prefix/include/vespin/request.h" ] || { echo "headers not installed under include/vespin"; exit 1; }

PKG_CONFIG_PATH="$libdir/pkgconfig" cc $cflags -o "$work/consumer" "$src/tests/install_consumer/main.c" \
  $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs vespin)
LD_LIBRARY_PATH="$libdir" "$work/consumer"

cmake -S "$src/tests/install_consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_C_FLAGS="$cflags" -DCMAKE_EXE_LINKER_FLAGS="$cflags" >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
LD_LIBRARY_PATH="$libdir" "$work/cmake-consumer/consumer" >/dev/null
[ "$(grep -c 'Invalid json: not json' "$work/root/var/log/messages")" = 2 ] ||
  { echo "the consumers did not log into their emulated root"; exit 1; }
echo "abi check passed"
