#!/usr/bin/env python3
"""The summary table that ends `make bench`: each figure, its aim, and whether it is met.

    tools/bench-summary.py <set> <results-dir>

<set> is 100k or 1m; <results-dir> holds one JSON file per benchmark run, named
<tag>.<benchmark>.json (tags: 100k, 10k, 1m), as tools/run-benchmarks.sh writes them.
Exits 1 when a figure is missing (a benchmark failed or did not run); an aim not met is
shown as such, as figures measured on a loaded machine may miss by noise alone.
"""

import json
import os
import sys

# The Linux bridge benchmark's figures, the same at either size. The aims of served rows per
# second hold a reader to what the kernel's own dump allows (the bare reader's row says what).
def linux_bridge(tag, at):
    bench = "BM_LinuxBridgeDumpAndResync"
    figures = [
        ("start-up dump to served rows", "startup_rows_per_s", ">=", 5e5, "addresses/s"),
        ("the kernel's own dump to a bare reader", "kernel_dump_per_s", ">=", 5e5, "addresses/s"),
        ("start-up dump, addresses per second of snmpd's user CPU",
         "startup_rows_per_user_cpu_s", ">=", 5e5, "addresses/s"),
        ("snmpd RSS growth per address", "rss_bytes_per_address", "<=", 400, "B"),
        ("worst GET during the start-up dump", "startup_worst_get_ms", "<=", 12, "ms"),
        ("resync after an overrun to served rows", "resync_rows_per_s", ">=", 5e5, "addresses/s"),
        ("worst GET during the resync", "resync_worst_get_ms", "<=", 12, "ms"),
        ("longest plug-in pass on the CPU", "longest_loop_pass_cpu_ms", "<=", 12, "ms"),
    ]
    return [(f"Linux bridge: {label}{at}", tag, bench, counter, op, aim, unit)
            for label, counter, op, aim, unit in figures]

# The simulated switch's figures the same at either size: `burst` names the burst, `at` the
# size, in the figures' labels.
def simulated(tag, burst, at):
    figures = [
        ("backlog drain" + at, "BM_AgentBurst", "drain_keys_per_s", ">=", 1.5e6, "keys/s"),
        (f"worst GET (dot1dBaseType) during {burst}", "BM_SnmpdBurstGetLatency", "worst_get_ms",
         "<=", 12, "ms"),
        (f"worst GET (forwarding row) during {burst}", "BM_FdbGetLatencyDuringBurst",
         "worst_get_ms", "<=", 12, "ms"),
        (f"longest plug-in pass of snmpd's loop during {burst}", "BM_SnmpdBurstGetLatency",
         "longest_loop_pass_ms", "<=", 12, "ms"),
        (f"longest plug-in pass on the CPU during {burst}", "BM_SnmpdBurstGetLatency",
         "longest_loop_pass_cpu_ms", "<=", 12, "ms"),
        (f"GET of a missing row / of a row{at}, snmpd CPU per varbind", "BM_HostileRequests",
         "get_miss_ratio", "<=", 2, ""),
        (f"GETNEXT from a missing row / from a row{at}, same", "BM_HostileRequests",
         "next_miss_ratio", "<=", 2, ""),
        (f"worst GET of another client during hostile PDUs{at}", "BM_HostileRequests",
         "worst_other_get_ms", "<=", 12, "ms"),
    ]
    return [(label, tag, bench, counter, op, aim, unit)
            for label, bench, counter, op, aim, unit in figures]


# (figure, tag, benchmark, counter, comparison, aim, unit). A counter given as a pair
# (a, b) of (tag, benchmark, counter) triples is the ratio a / b.
AIMS = {
    "100k": [
        ("bulk walk, snmpd CPU ours / floor", "100k", "BM_FdbBulkWalkCost", "cpu_ratio",
         "<=", 1.10, ""),
        ("GETNEXT walk, snmpd CPU ours / floor", "100k", "BM_FdbWalkCost", "cpu_ratio",
         "<=", 1.05, ""),
        ("snmpd RSS growth per learned host", "100k", "BM_SnmpdBurstGetLatency",
         "rss_bytes_per_host", "<=", 400, "B"),
    ] + simulated("100k", "the burst", "") + linux_bridge("100k", ""),
    "1m": [
        ("walk CPU per object, 1M / 10k hosts", None, None,
         (("1m", "BM_FdbBulkWalkCost", "ours_cpu_us_per_object"),
          ("10k", "BM_FdbBulkWalkCost", "ours_cpu_us_per_object")), "<=", 1.20, ""),
        ("GETNEXT walk CPU per object, 1M / 10k hosts", None, None,
         (("1m", "BM_FdbWalkCost", "ours_cpu_us_per_object"),
          ("10k", "BM_FdbWalkCost", "ours_cpu_us_per_object")), "<=", 1.20, ""),
        ("snmpd peak RSS with 1M learned hosts", "1m", "BM_SnmpdBurstGetLatency", "peak_rss_mb",
         "<=", 1024, "MB"),
    ] + simulated("1m", "a 1M burst", " at 1M") + linux_bridge("1m", " at 1M"),
}


def counter(results, tag, bench, name):
    path = os.path.join(results, f"{tag}.{bench}.json")
    if not os.path.exists(path):
        return None, f"{tag} {bench} did not run"
    with open(path) as f:
        runs = json.load(f).get("benchmarks", [])
    for run in runs:
        if run.get("error_occurred"):
            return None, f"{bench}: {run.get('error_message', 'failed')}"
        if name in run:
            return float(run[name]), None
    return None, f"{bench} has no {name}"


def figure(results, tag, bench, name):
    if isinstance(name, tuple):
        a, err = counter(results, *name[0])
        b, err2 = counter(results, *name[1])
        err = err or err2
        if err is None and not b:
            err = "nothing to compare with"
        return (a / b if err is None else None), err
    return counter(results, tag, bench, name)


def text(value, unit):
    if value >= 1e5:
        shown = f"{value / 1e6:.2f} M"
    elif value >= 100:
        shown = f"{value:.0f}"
    elif not unit:
        shown = f"{value:.2f}"  # a ratio
    else:
        shown = f"{value:.3g}"
    return f"{shown} {unit}".strip()


def main():
    chosen, results = sys.argv[1], sys.argv[2]
    rows = []
    failed = False
    for label, tag, bench, name, op, aim, unit in AIMS[chosen]:
        value, err = figure(results, tag, bench, name)
        if err is not None:
            rows.append((label, err, f"{op} {text(aim, unit)}", "no"))
            failed = True
            continue
        met = value <= aim if op == "<=" else value >= aim
        rows.append((label, text(value, unit), f"{op} {text(aim, unit)}", "yes" if met else "NO"))
    widths = [max(len(r[i]) for r in rows + [("figure", "measured", "aim", "met?")])
              for i in range(4)]
    print(f"\n== summary ({chosen} learned hosts)")
    for r in [("figure", "measured", "aim", "met?"), tuple("-" * w for w in widths)] + rows:
        print("  ".join(c.ljust(w) for c, w in zip(r, widths)).rstrip())
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
