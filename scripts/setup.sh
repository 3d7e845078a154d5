#!/bin/sh
# Installs what the build needs from Debian's packages, when it is missing.
set -eu
packages="build-essential cmake pkg-config libjson-c-dev libnng-dev libcurl4-openssl-dev
          libgtest-dev libgmock-dev libbenchmark-dev bash ieee-data"
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
