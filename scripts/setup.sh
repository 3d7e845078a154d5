#!/bin/sh
# Installs what the build needs from Debian's packages, when it is missing.
# With --fuzz also what the fuzz build needs (clang, and dpkg-dev to unpack
# json-c's source package in scripts/fuzz-jsonc.sh).
set -eu
packages="build-essential cmake pkg-config libjson-c-dev libnng-dev libcurl4-openssl-dev
          libgtest-dev libgmock-dev libbenchmark-dev bash"
if [ "${1:-}" = "--fuzz" ]; then packages="$packages clang dpkg-dev"; fi
missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
  echo "setup: installing$missing"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq $missing
fi
