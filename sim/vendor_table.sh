#!/bin/sh
# Writes the vendor table of the connected-device list, in the router's
# format: one line per OUI, "XX:XX:XX Vendor name" (upper-case hex, the
# vendor name from the tenth character), grouped by vendor so that the
# reader merges the lines of one vendor into one name.
#   vendor_table.sh OUT [OUI-LIST]
# OUI-LIST is the IEEE list of Debian's ieee-data package
# (/usr/share/ieee-data/oui.txt by default); without it the small table
# beside this script (vendors-fallback.txt) is used.
set -eu
out=${1:?usage: vendor_table.sh OUT [OUI-LIST]}
list=${2:-/usr/share/ieee-data/oui.txt}
here=$(cd "$(dirname "$0")" && pwd)
if [ ! -r "$list" ]; then
  cp "$here/vendors-fallback.txt" "$out"
  exit 0
fi
tab=$(printf '\t')
# "00-1A-11   (hex)		Vendor\r": the vendor first, so that a stable
# sort groups the lines of one vendor and keeps the list's order inside it.
# Names are cut to the 117 characters a 127-character line leaves.
LC_ALL=C awk '
  /^[0-9A-Fa-f][0-9A-Fa-f]-[0-9A-Fa-f][0-9A-Fa-f]-[0-9A-Fa-f][0-9A-Fa-f][ \t]+\(hex\)/ {
    oui = toupper(substr($1, 1, 2) ":" substr($1, 4, 2) ":" substr($1, 7, 2))
    name = $0
    sub(/^[^)]*\)[ \t]*/, "", name)
    gsub(/[\r\t]/, " ", name)
    sub(/[ ]+$/, "", name)
    if (name == "") next
    printf "%s\t%s\n", substr(name, 1, 117), oui
  }' "$list" | LC_ALL=C sort -s -t "$tab" -k1,1 |
  LC_ALL=C awk -F "$tab" '{ printf "%s %s\n", $2, $1 }' > "$out.tmp"
mv "$out.tmp" "$out"
