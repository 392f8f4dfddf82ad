#!/usr/bin/env bash
# Installs what is missing, builds the tool, and runs it on the bundled examples.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
dir=$("$root/scripts/build.sh" release | tail -n 1)
tool="$dir/xmldsig"
cd "$root/examples"
for f in *.xml; do
    echo "\$ xmldsig info $f"
    "$tool" info "$f" || true
    echo
done
for f in *.xml; do
    echo "\$ xmldsig c14n --exclusive $f | head -c 300"
    "$tool" c14n --exclusive "$f" | head -c 300 || true
    echo; echo
done
