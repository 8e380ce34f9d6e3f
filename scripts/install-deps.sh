#!/usr/bin/env bash
# Installs, with apt-get, whatever the build, the tests and the demo need and the machine lacks.
# Usage: scripts/install-deps.sh [extra-package ...]
set -euo pipefail

packages=(build-essential cmake pkg-config libssl-dev libcjson-dev libgtest-dev libmbedtls-dev
          libnss-wrapper openssl procps iputils-ping iproute2 iptables busybox shellcheck
          clang libclang-rt-14-dev "$@")

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi
echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
