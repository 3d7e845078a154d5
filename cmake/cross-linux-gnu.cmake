# What the router's toolchain files share; each names VESPIN_TRIPLET and the
# processor first. With a target root (the VESPIN_SYSROOT environment variable
# or cache entry, as scripts/cross-sysroot.sh builds it) headers, libraries and
# pkg-config files all come from that root, never from the host.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${VESPIN_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VESPIN_TRIPLET}-g++)
if(NOT "$ENV{VESPIN_SYSROOT}" STREQUAL "")
  set(VESPIN_SYSROOT "$ENV{VESPIN_SYSROOT}" CACHE PATH "The target root" FORCE)
endif()
if(VESPIN_SYSROOT)
  set(ENV{VESPIN_SYSROOT} "${VESPIN_SYSROOT}")  # for try_compile's own projects
  set(CMAKE_SYSROOT "${VESPIN_SYSROOT}")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${VESPIN_SYSROOT}")
  set(ENV{PKG_CONFIG_LIBDIR} "${VESPIN_SYSROOT}/usr/lib/${VESPIN_TRIPLET}/pkgconfig:${VESPIN_SYSROOT}/usr/lib/pkgconfig:${VESPIN_SYSROOT}/usr/share/pkgconfig")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
