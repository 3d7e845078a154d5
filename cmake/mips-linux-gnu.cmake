# Cross build for the router: 32-bit MIPS, big-endian (the chip family's own order).
#   VESPIN_SYSROOT=$(sh scripts/cross-sysroot.sh mips) cmake -DCMAKE_TOOLCHAIN_FILE=cmake/mips-linux-gnu.cmake ..
# (scripts/cross-test.sh mips does all of it and runs the tests under qemu-user).
set(VESPIN_TRIPLET mips-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR mips)
include(${CMAKE_CURRENT_LIST_DIR}/cross-linux-gnu.cmake)
