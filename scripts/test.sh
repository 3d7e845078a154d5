#!/bin/sh
# Builds everything with AddressSanitizer and UndefinedBehaviorSanitizer and
# runs the whole test suite. Pass --plain for a build without sanitizers.
set -eu
cd "$(dirname "$0")/.."
sh scripts/setup.sh
sanitize=ON build=build/test-sanitize
if [ "${1:-}" = "--plain" ]; then sanitize=OFF build=build/test-plain; fi
cmake -S . -B "$build" -DVESPIN_SANITIZE=$sanitize -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build "$build" -j "$(nproc)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
