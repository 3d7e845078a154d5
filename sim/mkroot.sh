#!/bin/sh
# Makes an emulated router root from the template beside this script.
#   mkroot.sh DEST [--tools DIR] [--address A.B.C.D] [--shm-key N] [--sn SERIAL]
#                  [--name NAME] [--mac-seed N] [--work-mode N] [--vendors FILE]
# DEST must not exist or be empty. --tools names the build's tools directory,
# whose stand-in programs (uci, ...) are copied into DEST/bin. The other
# options give the node its own identity: its loopback address (bind address
# and br0), its shared-memory key, its serial number, its device name and the
# last byte of its MACs;
# --work-mode its role (1 the gateway, 2 a satellite); --vendors the vendor
# table to install as etc/device_mac_brand.txt (made by vendor_table.sh;
# without it the template's small table stays).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
dest=${1:?usage: mkroot.sh DEST [options]}
shift
tools="" address="" shm_key="" sn="" name="" mac_seed="" work_mode="" vendors=""
while [ $# -gt 0 ]; do
  case "$1" in
    --tools) tools=$2; shift 2 ;;
    --address) address=$2; shift 2 ;;
    --shm-key) shm_key=$2; shift 2 ;;
    --sn) sn=$2; shift 2 ;;
    --name) name=$2; shift 2 ;;
    --mac-seed) mac_seed=$2; shift 2 ;;
    --work-mode) work_mode=$2; shift 2 ;;
    --vendors) vendors=$2; shift 2 ;;
    *) echo "mkroot.sh: unknown option $1" >&2; exit 2 ;;
  esac
done

mkdir -p "$dest"
cp -R "$here/root/." "$dest/"
find "$dest" -name .keep -delete

# Harmless host tools the stand-ins and the library's command texts use; the
# root's bin/ is the only search path of commands run in the root, so
# anything that could reach the host (kill, reboot, iptables...) is a
# stand-in instead.
for tool in awk cat cp cut date dirname basename echo env expr false grep head ls mkdir mv \
            printf rm sed seq sleep sort tail tee touch tr true uniq wc yes; do
  for dir in /usr/bin /bin; do
    if [ -x "$dir/$tool" ]; then
      [ -e "$dest/bin/$tool" ] || ln -s "$dir/$tool" "$dest/bin/$tool"
      break
    fi
  done
done
ln -sf /bin/sh "$dest/bin/sh"
# Random bytes come from the host's device (files under /dev are read
# through the root too); a test may put a file of chosen bytes there instead.
mkdir -p "$dest/dev"
ln -sf /dev/urandom "$dest/dev/urandom"

if [ -n "$tools" ]; then
  for program in uci; do
    [ -x "$tools/$program" ] && cp "$tools/$program" "$dest/bin/$program"
  done
fi

mac() { printf '02:56:00:00:%02x:%02x' "$1" "${mac_seed:-1}"; }
if [ -n "$address" ]; then
  echo "$address" > "$dest/etc/vespin/bind_address"
  sed -i "s/^br0 .*/br0 addr=$address netmask=255.255.255.0 hwaddr=$(mac 0)/" "$dest/etc/vespin/interfaces"
fi
if [ -n "$mac_seed" ]; then
  sed -i "s/^eth0 \(.*\)hwaddr=[^ ]*/eth0 \1hwaddr=$(mac 6)/; s/^eth1 \(.*\)hwaddr=[^ ]*/eth1 \1hwaddr=$(mac 1)/; s/^wlan0 \(.*\)hwaddr=[^ ]*/wlan0 \1hwaddr=$(mac 2)/; s/^wlan1 \(.*\)hwaddr=[^ ]*/wlan1 \1hwaddr=$(mac 3)/" \
    "$dest/etc/vespin/interfaces"
fi
[ -n "$shm_key" ] && echo "$shm_key" > "$dest/etc/vespin/shm_key"
# The kernel hands out a fresh UUID on every read; each root gets one of its own.
[ -r /proc/sys/kernel/random/uuid ] && cat /proc/sys/kernel/random/uuid > "$dest/proc/sys/kernel/random/uuid"
if [ -n "$sn" ]; then
  sed -i "s/^4001 = .*/4001 = \"$sn\"/" "$dest/flash/mib-default.conf"
fi
if [ -n "$name" ]; then
  echo "186 = \"$name\"" >> "$dest/flash/mib-default.conf"
fi
if [ -n "$work_mode" ]; then
  sed -i "s/^2401 = .*/2401 = $work_mode/" "$dest/flash/mib-default.conf"
fi
[ -n "$vendors" ] && cp "$vendors" "$dest/etc/device_mac_brand.txt"
exit 0
