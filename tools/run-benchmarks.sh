#!/usr/bin/env bash
# Runs every benchmark binary of a build directory: tools/run-benchmarks.sh <builddir>
set -euo pipefail
build=${1:-build}
status=0
for b in "$build"/bench/bench_*; do
   [ -x "$b" ] || continue
   echo "== $(basename "$b")"
   "$b" --benchmark_counters_tabular=true || status=1
done
exit $status
