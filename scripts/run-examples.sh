#!/usr/bin/env bash
# Installs what is missing, builds the tool (its progress shown), and runs it on the bundled
# examples: verifying a signed document, a tampered copy and the JSON answer, then what `info`
# and `c14n` show of them.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
dir=$("$root/scripts/build.sh" release | tee /dev/stderr | tail -n 1)
tool="$dir/xmldsig"
cd "$root/examples"
show() {  # prints the command as a user would type it, then runs it
    echo "\$ xmldsig $*"
    "$tool" "$@" || echo "(exit status $?)"
    echo
}
tampered=$(mktemp)
trap 'rm -f "$tampered"' EXIT
sed 's/20.00</21.00</' invoice-enveloped.xml >"$tampered"

echo "== verifying"
show verify invoice-enveloped.xml soap-body-by-id.xml detached-file.xml
echo "\$ sed 's/20.00</21.00</' invoice-enveloped.xml | xmldsig verify -"
"$tool" verify - <"$tampered" || echo "(exit status $?)"
echo
show verify --json soap-body-by-id.xml
echo "== what a signature holds"
for f in *.xml; do show info "$f"; done
echo "\$ xmldsig c14n --exclusive --id Body-1 soap-body-by-id.xml"
"$tool" c14n --exclusive --id Body-1 soap-body-by-id.xml
echo
