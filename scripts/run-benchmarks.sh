#!/usr/bin/env bash
# Runs every benchmark of a build and prints its figures.
# Usage: scripts/run-benchmarks.sh [build-dir]
set -euo pipefail
build="${1:-build}"
cd "$(dirname "$0")/.."

run() {
  local binary="$build/bench/$1"
  shift
  if [ -x "$binary" ]; then
    echo "== $(basename "$binary")"
    "$binary" "$@"
  else
    echo "== $(basename "$binary"): not built" >&2
  fi
}

run srt_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
run manifest_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
run cea608_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
run texture_bench
run playback_bench
run multi_player_bench
run seek_stress
run shutdown_bench
