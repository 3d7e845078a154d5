#!/bin/sh
# Installs what the build needs from Debian's packages, when it is missing.
#   setup.sh            the native build and its tests
#   setup.sh mipsel     also the little-endian MIPS cross compilers and qemu-user
#   setup.sh mips       also the big-endian MIPS cross compilers, qemu-user and
#                       dpkg-source for Debian's source packages
#   setup.sh --fuzz     also clang, and dpkg-dev to unpack json-c's source package
#                       in scripts/fuzz-jsonc.sh
# qemu-user comes without its recommended qemu-user-binfmt: target programs run
# through wrapper scripts, and no binfmt handler changes the whole machine.
# python3 and openssl run the local HTTPS firmware service of the tests and
# the main job (sim/firmware-service.py).
set -eu
packages="build-essential cmake pkg-config libjson-c-dev libnng-dev libcurl4-openssl-dev
          libgtest-dev libgmock-dev libbenchmark-dev bash
          python3 openssl ieee-data"
bare=""
for target in "$@"; do
  case "$target" in
    mipsel) packages="$packages gcc-mipsel-linux-gnu g++-mipsel-linux-gnu"; bare="qemu-user" ;;
    mips) packages="$packages gcc-mips-linux-gnu g++-mips-linux-gnu dpkg-dev"; bare="qemu-user" ;;
    --fuzz) packages="$packages clang dpkg-dev" ;;
    *) echo "setup: unknown target '$target' (mipsel or mips)" >&2; exit 2 ;;
  esac
done
missing() {
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || printf ' %s' "$p"
  done
}
missing_packages=$(missing $packages)
missing_bare=$(missing $bare)
if [ -n "$missing_packages$missing_bare" ]; then
  echo "setup: installing$missing_packages$missing_bare"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  [ -z "$missing_packages" ] || DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq $missing_packages
  [ -z "$missing_bare" ] || DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends $missing_bare
fi
