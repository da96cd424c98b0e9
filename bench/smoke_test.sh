#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs everything in bench/ on logs so small that the times mean nothing: that it runs, and that
# every row comes out with a number. The argument is the build to run.
set -euo pipefail
build=$(cd "$1" && pwd)
cd "$(dirname "$0")"

fail() {
  echo "$1" >&2
  echo "$2" >&2
  exit 1
}

# One benchmark a line: name, time, unit, and the counters.
output=$("$build/bin/ryx_benchmarks" --benchmark_min_time=0.01 2>&1) ||
  fail "benchmarks failed" "$output"
benchmarks=$(grep -c 'to_floor=[0-9]' <<<"$output") || true
[ "$benchmarks" -eq 15 ] || fail "15 benchmarks were to report, $benchmarks did" "$output"
! grep -q 'ERROR OCCURRED' <<<"$output" || fail "a benchmark failed" "$output"

# All that goes to standard output is the table: a line of headings, and the rows.
table=$(./compare.sh --quick --build "$build" 2>/dev/null) ||
  fail "compare.sh failed" "$(./compare.sh --quick --build "$build" 2>&1)"
lines=$(($(wc -l <<<"$table") - 1))
rows=$(grep -Ec '^[a-zA-Z-].* +[0-9]+\.[0-9]{3} +' <<<"$table") || true
[ "$rows" -ge 16 ] || fail "at least 16 rows were to have a ratio, $rows have" "$table"
[ "$rows" -eq "$lines" ] || fail "$lines rows were to have a ratio, $rows have" "$table"
