#!/bin/sh
# Builds json-c from Debian's source package with clang, the fuzzer's
# coverage instrumentation and the sanitizers, into build/fuzz-jsonc/install,
# so that the fuzz build (-DVESPIN_FUZZ=ON -DVESPIN_SANITIZE=ON) sees into
# json-c's tokenizer. The source comes through apt-get with a private deb-src
# list, lists and cache under build/fuzz-jsonc/apt: nothing outside build/ is
# written and no root rights are needed. Run it once; the fuzz build's CMake
# finds the result.
set -eu
cd "$(dirname "$0")/.."
sh scripts/setup.sh --fuzz
top=$PWD/build/fuzz-jsonc
apt_dir=$top/apt
suite=${VESPIN_JSONC_SUITE:-bookworm}
mkdir -p "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$top/source"
echo "deb-src http://deb.debian.org/debian $suite main" >"$apt_dir/sources.list"
: >"$apt_dir/status"
set -- -o Dir::Etc::SourceList="$apt_dir/sources.list" -o Dir::Etc::SourceParts=/nonexistent \
  -o Dir::State::Lists="$apt_dir/lists" -o Dir::State::status="$apt_dir/status" \
  -o Dir::Cache="$apt_dir/cache" -o Debug::NoLocking=1 -o APT::Sandbox::User="$(id -un)"
apt-get "$@" update -qq
(cd "$top/source" && apt-get "$@" source -qq json-c)
source_dir=$(find "$top/source" -mindepth 1 -maxdepth 1 -type d -name 'json-c-*' | sort | tail -n 1)
[ -n "$source_dir" ] || { echo "fuzz-jsonc: no json-c source unpacked" >&2; exit 1; }

flags="-g -O1 -fno-omit-frame-pointer -fsanitize=fuzzer-no-link,address,undefined"
cmake -S "$source_dir" -B "$top/build" -DCMAKE_C_COMPILER=clang -DCMAKE_BUILD_TYPE=None \
  -DCMAKE_C_FLAGS="$flags" -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DBUILD_TESTING=OFF \
  -DDISABLE_WERROR=ON -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DCMAKE_INSTALL_PREFIX="$top/install" \
  -DCMAKE_INSTALL_LIBDIR=lib >/dev/null
cmake --build "$top/build" -j 2
cmake --install "$top/build" >/dev/null
echo "fuzz-jsonc: $(basename "$source_dir") installed in $top/install"
