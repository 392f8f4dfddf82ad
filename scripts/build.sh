#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh [release|sanitize|tsan] [extra cmake args...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
flavour=${1:-release}
shift || true
case "$flavour" in
    release)  dir="$root/build/release";  args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
    sanitize) dir="$root/build/sanitize"; args=(-DCMAKE_BUILD_TYPE=Debug -DXMLDSIG_SANITIZE=ON) ;;
    tsan)     dir="$root/build/tsan";     args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DXMLDSIG_TSAN=ON) ;;
    *) echo "build.sh: unknown flavour '$flavour' (release, sanitize or tsan)" >&2; exit 2 ;;
esac
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
# ccache, when present, makes rebuilds of other checkouts of the same sources cheap: paths
# are taken relative to the checkout so that one cache serves all of them.
if command -v ccache >/dev/null; then
    export CCACHE_BASEDIR="$root"
    args+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cmake -S "$root" -B "$dir" "${generator[@]}" "${args[@]}" "$@" >/dev/null
cmake --build "$dir" -j "$(nproc)"
echo "$dir"
