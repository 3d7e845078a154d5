# Sourced by the cross scripts: checks the router target named in $arch
# (mipsel: little-endian, mips: big-endian) and sets its GNU triplet.
case "$arch" in
  mipsel) triplet=mipsel-linux-gnu ;;
  mips) triplet=mips-linux-gnu ;;
  *) echo "$(basename "$0"): unknown target '$arch' (mipsel or mips)" >&2; exit 2 ;;
esac
