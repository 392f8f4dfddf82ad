#!/usr/bin/env bash
# Builds the libFuzzer targets (build/sanitize: clang with AddressSanitizer and
# UndefinedBehaviorSanitizer, the build scripts/build.sh sanitize makes) and runs one of them,
# or each in turn, for SECONDS.
#   scripts/fuzz.sh TARGET|all SECONDS [libFuzzer options...]
#   scripts/fuzz.sh list
# TARGET is a file name of fuzz/ without .cpp (verify_fuzzer, canon_fuzzer...). Inputs found
# grow build/sanitize/corpus/TARGET; the seeds (made from tests/corpus by scripts/fuzz-seeds.py) are
# read from build/sanitize/seeds/TARGET. A crash leaves its input in build/sanitize/artifacts/ and makes
# the script fail. FUZZ_JOBS (default 1) runs that many targets side by side under "all".
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir="$root/build/sanitize"
targets=$(cd "$root/fuzz" && ls ./*_fuzzer.cpp | sed 's|^\./||; s|\.cpp$||')
if [ "${1:-}" = list ]; then echo "$targets"; exit 0; fi
if [ $# -lt 2 ]; then
    echo "usage: scripts/fuzz.sh TARGET|all SECONDS [libFuzzer options...]; targets:" $targets >&2
    exit 2
fi
target=$1 seconds=$2
shift 2
if [ "$target" != all ] && ! grep -qx "$target" <<<"$targets"; then
    echo "fuzz.sh: unknown target '$target' (one of:" $targets ")" >&2
    exit 2
fi

# The sanitize flavour of build.sh: the same build runs the tests under the sanitizers.
XMLDSIG_BUILD_TARGET="$([ "$target" = all ] && echo fuzzers || echo "$target")" \
    "$root/scripts/build.sh" sanitize >/dev/null
[ -d "$dir/seeds" ] || python3 "$root/scripts/fuzz-seeds.py" "$dir/seeds"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:allocator_may_return_null=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
run_one() {
    local t=$1; shift
    mkdir -p "$dir/corpus/$t" "$dir/seeds/$t" "$dir/artifacts" "$dir/logs"
    echo "== $t for ${seconds}s (log: build/sanitize/logs/$t.log)"
    if "$dir/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
        -dict="$root/fuzz/xmldsig.dict" -artifact_prefix="$dir/artifacts/$t-" \
        -print_final_stats=1 "$@" "$dir/corpus/$t" "$dir/seeds/$t" >"$dir/logs/$t.log" 2>&1; then
        grep -E '^#[0-9]+.*(DONE|pulse)' "$dir/logs/$t.log" | tail -n 1 || true
        grep -E 'stat::number_of_executed_units' "$dir/logs/$t.log" || true
    else
        echo "== $t FAILED:"; tail -n 40 "$dir/logs/$t.log"; return 1
    fi
}
if [ "$target" != all ]; then run_one "$target" "$@"; exit; fi
status=0
jobs_max=${FUZZ_JOBS:-1}
for t in $targets; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs_max" ]; do wait -n || status=1; done
    run_one "$t" "$@" &
done
while [ "$(jobs -rp | wc -l)" -gt 0 ]; do wait -n || status=1; done
exit $status
