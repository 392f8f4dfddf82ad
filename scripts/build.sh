#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh [release|sanitize|tsan] [extra cmake args...]
# sanitize is clang at -O1 with AddressSanitizer, UndefinedBehaviorSanitizer and libFuzzer's
# coverage: one build serves the tests under the sanitizers and the fuzz targets of fuzz/.
# XMLDSIG_BUILD_TARGET names the one target to build (default: all).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
flavour=${1:-release}
shift || true
case "$flavour" in
    release)  dir="$root/build/release";  args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
    sanitize) dir="$root/build/sanitize"
              args=(-DCMAKE_BUILD_TYPE=None -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
                    "-DCMAKE_CXX_FLAGS=-O1 -g" "-DCMAKE_C_FLAGS=-O1 -g" -DXMLDSIG_SANITIZE=ON
                    -DXMLDSIG_FUZZ=ON) ;;
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
cmake --build "$dir" -j "$(nproc)" ${XMLDSIG_BUILD_TARGET:+--target "$XMLDSIG_BUILD_TARGET"}
echo "$dir"
