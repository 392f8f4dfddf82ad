#!/usr/bin/env bash
# Test share of the repository: non-blank lines of C and C++ files under tests/ and fuzz/,
# as a fraction of all non-blank C and C++ lines tracked by git (tests + fuzz + product).
# The aim is a quarter to a third; exits 1 above MAX (default 0.35).
#   scripts/test-share.sh [REPO_DIR]
set -eu
cd "${1:-$(dirname "$0")/..}"
count() { git ls-files -- "$@" | grep -E '\.(c|cc|cpp|cxx|h|hh|hpp)$' | grep -v -E '(^|/)(corpus|third_party)/' |
          xargs -r cat | grep -c -v -E '^\s*$' || true; }
t=$(count tests fuzz)
all=$(count .)
max=${MAX:-0.35}
awk -v t="$t" -v a="$all" -v m="$max" 'BEGIN {
  s = (a > 0) ? t / a : 0
  printf "test share: %d test lines of %d C/C++ lines = %.2f (aim 0.25-0.33, limit %.2f)\n", t, a, s, m
  exit (s > m) ? 1 : 0 }'
