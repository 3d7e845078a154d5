# Cross build for the router: 32-bit MIPS, little-endian.
#   VESPIN_SYSROOT=$(sh scripts/cross-sysroot.sh mipsel) cmake -DCMAKE_TOOLCHAIN_FILE=cmake/mipsel-linux-gnu.cmake ..
# (scripts/cross-test.sh mipsel does all of it and runs the tests under qemu-user).
set(VESPIN_TRIPLET mipsel-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/cross-linux-gnu.cmake)
