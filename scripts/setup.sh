#!/bin/sh
# Installs what the build needs from Debian's packages, when it is missing.
# python3 and openssl run the local HTTPS firmware service of the tests and
# the main job (sim/firmware-service.py).
set -eu
packages="build-essential cmake pkg-config libjson-c-dev libnng-dev libcurl4-openssl-dev
          libgtest-dev libgmock-dev libbenchmark-dev bash
          python3 openssl"
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
