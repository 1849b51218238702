#!/usr/bin/env python3
"""Tables of bench_convert results: our throughput, each peer's, and our ratio
to the fastest peer, per character set, direction and shape.

Either runs the benchmark (--run BINARY) or reads its JSON output (--json FILE,
written with --benchmark_format=json or --benchmark_out=FILE). With both, the
run's JSON is kept in FILE.

Targets: at least 1.5 times the fastest peer in bulk, 2 times per line.
"""

import argparse
import json
import math
import subprocess
import sys

TARGETS = {"bulk": 1.5, "line": 2.0}
OURS = "vyn"
PEERS = ["icu", "icu_utf8", "iconv"]


def run_bench(binary, corpus, min_time, bench_filter, repetitions, kib):
    cmd = [binary, "--benchmark_format=json", "--benchmark_min_time=%s" % min_time]
    if corpus:
        cmd.append("--corpus=%s" % corpus)
    if kib:
        cmd.append("--kib=%d" % kib)
    if bench_filter:
        cmd.append("--benchmark_filter=%s" % bench_filter)
    if repetitions > 1:
        cmd += ["--benchmark_repetitions=%d" % repetitions,
                "--benchmark_report_aggregates_only=true"]
    print("running:", " ".join(cmd), file=sys.stderr)
    out = subprocess.run(cmd, check=True, stdout=subprocess.PIPE).stdout
    return json.loads(out)


def collect(doc):
    """{(set, direction, shape): {impl: bytes per second}}, in benchmark order."""
    results, order = {}, []
    have_median = any(b.get("aggregate_name") == "median" for b in doc.get("benchmarks", []))
    for b in doc.get("benchmarks", []):
        if b.get("error_occurred"):
            continue
        if have_median:
            if b.get("aggregate_name") != "median":
                continue
            name = b.get("run_name", b["name"])
        else:
            if b.get("run_type") == "aggregate":
                continue
            name = b["name"]
        parts = name.split("/")
        if len(parts) < 4 or "bytes_per_second" not in b:
            continue
        key = (parts[0], parts[1], parts[2])
        if key not in results:
            results[key] = {}
            order.append(key)
        results[key][parts[3]] = float(b["bytes_per_second"])
    return results, order


def mbs(v):
    return "%8.0f" % (v / 1e6) if v is not None else "%8s" % "-"


def print_markdown(results, order, peers):
    """Two tables of our ratio to the fastest peer: the sets by direction and
    shape, then the entry points by shape."""
    rows = []
    for key in order:
        if key[0] not in rows:
            rows.append(key[0])

    def table(title, cols, names):
        print("| %s | " % title + " | ".join("%s %s" % c if c[0] != "entry" else c[1]
                                            for c in cols) + " |")
        print("|---|" + "---:|" * len(cols))
        for row in names:
            cells = []
            for direction, shape in cols:
                r = results.get((row, direction, shape))
                best = max((r[p] for p in peers if r and p in r), default=None)
                cells.append("%.2fx" % (r[OURS] / best) if r and OURS in r and best else "")
            if any(cells):
                print("| %s | %s |" % (row, " | ".join(cells)))
        print()

    sets = [r for r in rows if not any(k[0] == r and k[1] == "entry" for k in results)]
    entries = [r for r in rows if r not in sets]
    table("set", [("decode", "bulk"), ("decode", "line"), ("encode", "bulk"),
                  ("encode", "line")], sets)
    table("entry point:local set", [("entry", "bulk"), ("entry", "line")], entries)


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--json", help="benchmark JSON to read (or to write with --run)")
    ap.add_argument("--run", metavar="BINARY", help="run this bench_convert first")
    ap.add_argument("--corpus", help="corpus directory for --run")
    ap.add_argument("--min-time", default="0.05", help="--benchmark_min_time for --run")
    ap.add_argument("--filter", help="--benchmark_filter for --run")
    ap.add_argument("--repetitions", type=int, default=1, help="repetitions for --run (median)")
    ap.add_argument("--kib", type=int, default=0, help="text per set for --run, KiB of UTF-16")
    ap.add_argument("--markdown", action="store_true",
                    help="print only a Markdown table of the ratios (for the README)")
    args = ap.parse_args()
    if not args.run and not args.json:
        ap.error("give --json FILE, --run BINARY, or both")

    if args.run:
        doc = run_bench(args.run, args.corpus, args.min_time, args.filter, args.repetitions,
                        args.kib)
        if args.json:
            with open(args.json, "w") as f:
                json.dump(doc, f, indent=1)
    else:
        with open(args.json) as f:
            doc = json.load(f)

    results, order = collect(doc)
    if not results:
        print("no results", file=sys.stderr)
        return 1
    peers = [p for p in PEERS if any(p in r for r in results.values())]

    if args.markdown:
        print_markdown(results, order, peers)
        return 0

    ctx = doc.get("context", {})
    print("bench_convert, %s CPUs at %s MHz, vynulib64 build %s, %s KiB of UTF-16 per set; "
          "MB/s = 10^6 input bytes per CPU second" % (
              ctx.get("num_cpus", "?"), ctx.get("mhz_per_cpu", "?"),
              ctx.get("vyn_build_type", "?"), ctx.get("vyn_kib_per_set", "?")))
    header = "%-12s %-6s %-4s %8s " % ("set", "dir", "shp", OURS) + \
        " ".join("%8s" % p for p in peers) + "   ratio  target"
    print(header)
    print("-" * len(header))

    below, ratios = [], {"bulk": [], "line": []}
    last_set = None
    for key in order:
        cs, direction, shape = key
        r = results[key]
        ours = r.get(OURS)
        best = max((r[p] for p in peers if p in r), default=None)
        target = TARGETS.get(shape)
        if ours is not None and best:
            ratio = ours / best
            ratios.setdefault(shape, []).append(ratio)
            mark = "" if target is None or ratio >= target else "  BELOW"
            if mark:
                fastest = max((p for p in peers if p in r), key=lambda p: r[p])
                below.append((cs, direction, shape, ratio, target, fastest))
            rtxt = "%7.2fx" % ratio
        else:
            mark, rtxt = "", "%8s" % "n/a"
        if last_set is not None and cs != last_set:
            print()
        last_set = cs
        print("%-12s %-6s %-4s %s " % (cs, direction, shape, mbs(ours)) +
              " ".join(mbs(r.get(p)) for p in peers) +
              " %s  %5s%s" % (rtxt, "%.1fx" % target if target else "", mark))

    print()
    for shape, vals in ratios.items():
        if vals:
            gm = math.exp(sum(math.log(v) for v in vals) / len(vals))
            print("%s: %d comparisons, geometric mean ratio %.2fx, min %.2fx, max %.2fx, "
                  "%d below %.1fx" % (shape, len(vals), gm, min(vals), max(vals),
                                      sum(1 for v in vals if v < TARGETS[shape]),
                                      TARGETS[shape]))
    no_peer = sorted({k[0] for k in order if not any(p in results[k] for p in peers)})
    if no_peer:
        print("no peer to compare with:", ", ".join(no_peer))
    if below:
        print("\nbelow target (%d):" % len(below))
        for cs, direction, shape, ratio, target, fastest in below:
            print("  %-12s %-6s %-4s %5.2fx < %.1fx (fastest peer: %s)"
                  % (cs, direction, shape, ratio, target, fastest))
    else:
        print("\nevery comparison meets its target")
    return 0


if __name__ == "__main__":
    sys.exit(main())
