#!/usr/bin/env bash
# Runs every benchmark of a build directory: tools/run-benchmarks.sh <builddir>
# Each benchmark runs in a process of its own, so one does not inherit the heap another
# left fragmented.
set -euo pipefail
build=${1:-build}
status=0
for b in "$build"/bench/bench_*; do
   [ -x "$b" ] || continue
   echo "== $(basename "$b")"
   while read -r name; do
      "$b" --benchmark_filter="^${name}\$" --benchmark_counters_tabular=true 2>&1 |
         grep -E '^(BM_|Benchmark|-{10})' | sed -n '1,3p;/^BM_/p' | awk '!seen[$0]++' || status=1
   done < <("$b" --benchmark_list_tests)
done
exit $status
