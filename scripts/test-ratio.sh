#!/usr/bin/env bash
# Prints the non-blank lines of the tests (helpers included) against those of the
# code they test (src/, tools/, bench/), and their ratio. Exits 1 above the limit.
set -euo pipefail
cd "$(dirname "$0")/.."
limit="${TEST_RATIO_LIMIT:-35}"

count() {
  find "$@" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' -o -name '*.py' -o -name '*.sh' \) \
    -print0 | xargs -0 cat | grep -cv '^[[:space:]]*$'
}

tests=$(count tests)
code=$(count src tools bench)
percent=$(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.1f", 100 * t / c }')
echo "test ratio: tests ${tests} non-blank lines, code ${code} (src, tools, bench): ${percent}% (limit ${limit}%)"
awk -v t="$tests" -v c="$code" -v l="$limit" 'BEGIN { exit !(100 * t <= l * c) }'
