#!/usr/bin/env bash
# Prepares what a cross build for ARCH (s390x, armhf or mipsel) needs on a Debian 12 build machine:
# the cross compiler and qemu-user as ordinary packages, and the target's OpenSSL, cJSON and
# GoogleTest dev packages unpacked into DIR (a private sysroot).
#
# The target libraries are unpacked rather than installed as multiarch packages because dpkg
# requires "Multi-Arch: same" packages (libssl3, libssl-dev) to have one version across all
# architectures, and the security archive does not carry every architecture: the build machine's
# libssl3 from bookworm-security then blocks libssl3:s390x from bookworm.
#
# Usage: scripts/cross-sysroot.sh ARCH DIR
set -euo pipefail

arch=${1:?usage: cross-sysroot.sh ARCH DIR}
dir=${2:?usage: cross-sysroot.sh ARCH DIR}
case "$arch" in
    s390x) triplet=s390x-linux-gnu ;;
    armhf) triplet=arm-linux-gnueabihf ;;
    mipsel) triplet=mipsel-linux-gnu ;;
    *) echo "cross-sysroot.sh: unknown architecture '$arch'" >&2; exit 2 ;;
esac
target_pkgs=(libssl-dev libssl3 libcjson-dev libcjson1 libgtest-dev)
host_pkgs=("g++-$triplet" "binutils-$triplet" qemu-user pkg-config)

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
updated=0
apt_update() {
    # A mirror that is syncing one index must not stop us; the packages we need come from the
    # main archive. Retry once, then carry on with what was fetched.
    [ "$updated" -eq 1 ] && return 0
    $SUDO apt-get update -qq || { sleep 5; $SUDO apt-get update -qq; } ||
        echo "cross-sysroot.sh: apt-get update reported errors, continuing" >&2
    updated=1
}

missing=()
for p in "${host_pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    apt_update
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends \
        "${missing[@]}"
fi

stamp="$dir/.plug-sysroot-$arch"
if [ -f "$stamp" ]; then
    exit 0
fi
if ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
    $SUDO dpkg --add-architecture "$arch"
    updated=0
fi
if ! apt-cache show "libssl-dev:$arch" >/dev/null 2>&1; then
    updated=0
fi
apt_update
mkdir -p "$dir"
dl=$(mktemp -d)
trap 'rm -rf "$dl"' EXIT
chown _apt "$dl" 2>/dev/null || true
(cd "$dl" && apt-get download -q "${target_pkgs[@]/%/:$arch}")
for deb in "$dl"/*.deb; do
    dpkg-deb -x "$deb" "$dir"
done
test -f "$dir/usr/lib/$triplet/libcrypto.so" || { echo "no libcrypto in $dir" >&2; exit 1; }
test -f "$dir/usr/lib/$triplet/pkgconfig/libcjson.pc" || { echo "no cJSON in $dir" >&2; exit 1; }
test -d "$dir/usr/lib/$triplet/cmake/GTest" || { echo "no GoogleTest in $dir" >&2; exit 1; }
touch "$stamp"
echo "sysroot for $arch ready in $dir"
