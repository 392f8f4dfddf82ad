#!/usr/bin/env bash
# Installs, from Debian 12 packages, whatever the build, the tests and the test oracles need and
# the machine lacks. Safe to run again: it only installs what is missing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    libexpat1-dev libssl-dev libcurl4-openssl-dev nlohmann-json3-dev libxml2-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libxml2-utils xmlsec1 openssl clang-format python3
    clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "install-deps: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
    SUDO="sudo"
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
