#!/bin/sh
# Builds the router's target root (headers, libraries, dynamic loader) under
# build/sysroot-ARCH and prints its path. The result is kept, keyed by a stamp
# that names this script and the package lists: a second run returns at once.
#   cross-sysroot.sh mipsel   Debian's mipsel binary packages, downloaded by an
#                             apt with its own state and unpacked
#   cross-sysroot.sh mips     big-endian: Debian has no such architecture, so
#                             the libraries are built from Debian's source
#                             packages over the cross toolchain's C library
# Nothing is installed on the host: apt runs with a private state directory and
# sources list, and downloads only.
set -eu
arch=${1:?usage: cross-sysroot.sh mipsel|mips}
cd "$(dirname "$0")/.."
project=$(pwd)
. /etc/os-release
codename=$VERSION_CODENAME
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
security=${DEBIAN_SECURITY_MIRROR:-http://deb.debian.org/debian-security}
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

. scripts/cross-target.sh
if [ "$arch" = mipsel ]; then  # binary packages
  packages="libc6-dev libstdc++-12-dev libjson-c-dev libnng-dev libcurl4-openssl-dev libgtest-dev libgmock-dev"
else                           # source packages
  packages="json-c nng mbedtls curl googletest"
fi

sysroot=$project/build/sysroot-$arch
state=$project/build/apt-$arch
stamp="$arch $codename $packages $(cksum < "$0" | cut -d' ' -f1) $(cksum < "cmake/$triplet.cmake" | cut -d' ' -f1)"
if [ -f "$sysroot/.stamp" ] && [ "$(cat "$sysroot/.stamp")" = "$stamp" ]; then
  echo "$sysroot"
  exit 0
fi
rm -rf "$sysroot" "$state"
mkdir -p "$sysroot" "$state/lists/partial" "$state/cache/archives/partial" "$state/parts" "$state/prefs"
: > "$state/status"

# apt over the private state: APT::Architecture makes the target's packages
# the native ones, so no multiarch version matching with the host applies.
sandbox=""
[ "$(id -u)" -ne 0 ] || sandbox="-o APT::Sandbox::User=root"
apt_private() {
  apt-get -q -o Dir::State="$state" -o Dir::State::status="$state/status" -o Dir::Cache="$state/cache" \
    -o Dir::Etc::SourceList="$state/sources.list" -o Dir::Etc::SourceParts="$state/parts" \
    -o Dir::Etc::PreferencesParts="$state/prefs" -o Debug::NoLocking=1 $sandbox \
    -o APT::Architecture="$arch" -o APT::Architectures="$arch" "$@"
}
list_entry() {  # TYPE: the archive's three suites
  echo "$1 [arch=$arch signed-by=$keyring] $mirror $codename main"
  echo "$1 [arch=$arch signed-by=$keyring] $mirror $codename-updates main"
  echo "$1 [arch=$arch signed-by=$keyring] $security $codename-security main"
}

# Absolute symbolic links (libfoo.so -> /lib/...) would leave the root.
relink_inside() {
  find "$sysroot" -type l | while read -r link; do
    target=$(readlink "$link")
    case "$target" in
      /*) ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$sysroot$target")" "$link" ;;
    esac
  done
}

if [ "$arch" = mipsel ]; then
  list_entry deb > "$state/sources.list"
  apt_private update >/dev/null
  apt_private install --download-only --no-install-recommends -y $packages >/dev/null
  for deb in "$state"/cache/archives/*.deb; do dpkg-deb -x "$deb" "$sysroot"; done
  relink_inside
else
  # The cross toolchain's C and C++ runtime (Debian's *-mips-cross packages)
  # gives the loader and libraries that qemu-mips finds under the root.
  mkdir -p "$sysroot/lib" "$sysroot/usr"
  cp -a "/usr/$triplet/lib/"*.so.* "$sysroot/lib/"
  list_entry deb-src > "$state/sources.list"
  apt_private update >/dev/null
  src=$state/src
  mkdir -p "$src"
  (cd "$src" && apt_private source $packages >/dev/null 2>&1)
  build_one() {  # NAME CMAKE-OPTIONS...
    name=$1; shift
    dir=$(find "$src" -maxdepth 1 -type d -name "$name-*" | head -n 1)
    VESPIN_SYSROOT=$sysroot cmake -S "$dir" -B "$state/build-$name" -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_TOOLCHAIN_FILE="$project/cmake/$triplet.cmake" -DCMAKE_INSTALL_PREFIX=/usr \
      -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_TESTING=OFF "$@" > "$state/$name.log" 2>&1 &&
    cmake --build "$state/build-$name" -j "${VESPIN_JOBS:-2}" >> "$state/$name.log" 2>&1 &&
    DESTDIR=$sysroot cmake --install "$state/build-$name" >> "$state/$name.log" 2>&1 ||
      { tail -n 30 "$state/$name.log" >&2; echo "cross-sysroot: building $name failed" >&2; exit 1; }
  }
  build_one json-c -DDISABLE_WERROR=ON -DBUILD_STATIC_LIBS=OFF
  build_one nng -DBUILD_SHARED_LIBS=ON -DNNG_TESTS=OFF -DNNG_TOOLS=OFF -DNNG_ENABLE_NNGCAT=OFF -DNNG_ENABLE_TLS=OFF
  # curl speaks HTTPS through mbed TLS: it builds in a minute, OpenSSL in ten.
  # No CA bundle is built in: callers name theirs (CURLOPT_CAINFO). mbed TLS
  # 2.28 checks host names against a certificate's DNS names only, so a URL
  # with an IP address fails host name verification here.
  build_one mbedtls -DUSE_SHARED_MBEDTLS_LIBRARY=ON -DUSE_STATIC_MBEDTLS_LIBRARY=OFF -DENABLE_PROGRAMS=OFF \
    -DENABLE_TESTING=OFF -DGEN_FILES=OFF -DMBEDTLS_FATAL_WARNINGS=OFF
  build_one curl -DHTTP_ONLY=ON -DCURL_USE_MBEDTLS=ON -DCURL_USE_OPENSSL=OFF -DCURL_USE_LIBPSL=OFF \
    -DCURL_USE_LIBSSH2=OFF -DCURL_ZLIB=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF -DUSE_NGHTTP2=OFF \
    -DUSE_LIBIDN2=OFF -DENABLE_MANUAL=OFF -DBUILD_CURL_EXE=OFF -DCURL_DISABLE_LDAP=ON \
    -DCURL_CA_BUNDLE=none -DCURL_CA_PATH=none
  # libcurl.pc names mbed TLS by its path in this root; a static link needs -l.
  sed -i "s|$sysroot/usr/lib/lib\([a-z0-9]*\)\.so|-l\1|g" "$sysroot/usr/lib/pkgconfig/libcurl.pc"
  build_one googletest -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON
  relink_inside
  rm -rf "$src" "$state"/build-*
fi
echo "$stamp" > "$sysroot/.stamp"
echo "$sysroot"
