#!/usr/bin/env bash
# Runs the benchmarks of a build directory and ends with one summary table: each figure,
# its aim and whether it is met (tools/bench-summary.py).
#
#   tools/run-benchmarks.sh <builddir>        every benchmark, 100k learned hosts
#   tools/run-benchmarks.sh <builddir> 1m     a million learned hosts: the drain, GETs during
#                                             a burst, the walks, whose cost per object is
#                                             compared with the same walks at 10k hosts, and
#                                             a Linux bridge's dump and resync (as root)
#
# Each benchmark runs in a process of its own, so one does not inherit the heap another
# left fragmented. Exits non-zero when a benchmark fails or an aim is not met.
set -euo pipefail
build=${1:-build}
set_name=${2:-100k}
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
status=0

# run <tag> <hosts> <binary> [filter]: the binary's benchmarks (those matching the filter),
# one process each, with BRIDGESNMP_BENCH_HOSTS=<hosts>; results go to <tag>.<name>.json.
run() {
   local tag=$1 hosts=$2 binary=$3 filter=${4:-.}
   [ -x "$binary" ] || return 0
   echo "== $(basename "$binary") ($tag learned hosts)"
   while read -r name; do
      local bench=${name%%/*}
      BRIDGESNMP_BENCH_HOSTS=$hosts "$binary" --benchmark_filter="^${name}\$" \
         --benchmark_counters_tabular=true --benchmark_out_format=json \
         --benchmark_out="$results/$tag.$bench.json" 2>&1 |
         grep -E '^(BM_|Benchmark|-{10})' | sed -n '1,3p;/^BM_/p' | awk '!seen[$0]++' || status=1
   done < <("$binary" --benchmark_list_tests --benchmark_filter="$filter")
}

case "$set_name" in
   100k)
      for b in "$build"/bench/bench_*; do
         run 100k 100000 "$b"
      done
      ;;
   1m)
      run 10k 10000 "$build/bench/bench_snmpd_walk" 'WalkCost'
      run 1m 1000000 "$build/bench/bench_snmpd_walk"
      run 1m 1000000 "$build/bench/bench_agent_burst"
      run 1m 1000000 "$build/bench/bench_snmpd_burst"
      run 1m 1000000 "$build/bench/bench_linux_bridge"
      ;;
   *)
      echo "usage: $0 <builddir> [100k|1m]" >&2
      exit 2
      ;;
esac

python3 "$(dirname "$0")/bench-summary.py" "$set_name" "$results" || status=1
exit $status
