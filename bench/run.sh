#!/usr/bin/env bash
# Runs the document benchmarks of a release build and prints a summary table: median time,
# throughput, ratio to the baseline and the target of each measurement, plus the peak memory
# of reading the mesh document. Builds nothing: `make bench` builds the release preset first.
#
#   bash bench/run.sh [BUILD_DIR]          (default build/release)
#
# Environment: BENCH_REPETITIONS (default 10), BENCH_MIN_TIME (seconds per repetition,
# default 0.5), BENCH_FILTER (a --benchmark_filter regex, default all). Repetitions are
# interleaved at random, so that a change of load touches every benchmark alike.
# Writes BUILD_DIR/bench/results.json (Google Benchmark's JSON) and BUILD_DIR/bench/summary.txt.
set -euo pipefail

BUILD_DIR=${1:-build/release}
BIN="$BUILD_DIR/bench/talsdk_document_bench"
REPETITIONS=${BENCH_REPETITIONS:-10}
MIN_TIME=${BENCH_MIN_TIME:-0.5}
FILTER=${BENCH_FILTER:-.}

if [[ ! -x "$BIN" ]]; then
  echo "error: $BIN not found; build the release preset first (make bench)" >&2
  exit 1
fi
for tool in python3 /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "error: $tool is needed" >&2; exit 1; }
done

RESULTS="$BUILD_DIR/bench/results.json"
SUMMARY="$BUILD_DIR/bench/summary.txt"
WORK=$(mktemp -d "${TMPDIR:-/tmp}/talsdk-bench-run-XXXXXX")
trap 'rm -rf "$WORK"' EXIT

echo "Load average before the run: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"

# 1. Timings: every benchmark repeated, aggregates only (the medians are used).
"$BIN" --benchmark_filter="$FILTER" \
  --benchmark_repetitions="$REPETITIONS" \
  --benchmark_enable_random_interleaving=true \
  --benchmark_report_aggregates_only=true \
  --benchmark_min_time="$MIN_TIME" \
  --benchmark_out="$RESULTS" --benchmark_out_format=json

# 2. Peak memory of reading the mesh document once, as the maximum resident set size that
# /usr/bin/time reports, less that of the same program doing nothing. Three runs each; the
# median counts.
MESH="$WORK/mesh.xml"
"$BIN" --write-mesh-document "$MESH"
max_rss_kib() {
  local values=() run
  for run in 1 2 3; do
    values+=("$(/usr/bin/time -v "$@" 2>&1 >/dev/null |
      awk -F': ' '/Maximum resident set size/ {print $2}')")
  done
  printf '%s\n' "${values[@]}" | sort -n | sed -n 2p
}
IDLE_KIB=$(max_rss_kib "$BIN" --idle)
OURS_KIB=$(max_rss_kib "$BIN" --read-mesh-document "$MESH")
BASELINE_KIB=$(max_rss_kib "$BIN" --read-mesh-baseline "$MESH")
MESH_BYTES=$(stat -c %s "$MESH")

# 3. The table.
python3 - "$RESULTS" "$IDLE_KIB" "$OURS_KIB" "$BASELINE_KIB" "$MESH_BYTES" <<'PY' | tee "$SUMMARY"
import json
import sys

results_path, idle_kib, ours_kib, baseline_kib, mesh_bytes = sys.argv[1:]
idle_kib, ours_kib, baseline_kib, mesh_bytes = (int(idle_kib), int(ours_kib),
                                                int(baseline_kib), int(mesh_bytes))
with open(results_path) as f:
    results = json.load(f)

UNIT_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
aggregates = {}
for entry in results["benchmarks"]:
    if entry.get("run_type") != "aggregate":
        continue
    # run_name is e.g. "MeshRead/Ours/real_time"; the first two parts name the benchmark.
    name = "/".join(entry["run_name"].split("/")[:2])
    aggregates.setdefault(name, {})[entry["aggregate_name"]] = entry

if not aggregates:
    sys.exit("no benchmark results in " + results_path)

def median_seconds(name):
    entry = aggregates[name]["median"]
    return entry["real_time"] * UNIT_SECONDS[entry["time_unit"]]

def cv_percent(name):
    entry = aggregates[name].get("cv")
    if entry is None:
        return None
    return 100.0 * entry["real_time"]

def gb_per_second(name):
    return aggregates[name]["median"]["bytes_per_second"] / 1e9

def format_time(seconds):
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6)):
        if seconds >= scale:
            return f"{seconds / scale:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"

# (ours, baseline, ratio limit, minimum GB/s). A limit of None: the ratio is shown, no target.
PAIRS = [
    ("SmallRead/Ours", "SmallRead/PugixmlLoadFile", 2.0, None),
    ("SmallRead/ExpatAndConvert", "SmallRead/PugixmlLoadFile", None, None),
    ("SmallWrite/Ours", "SmallWrite/Baseline", None, None),
    ("MeshRead/Ours", "MeshRead/Baseline", 1.15, None),
    ("MeshWrite/Ours", "MeshWrite/Baseline", 1.25, 1.0),
    ("MachineRead/Ours", "MachineRead/PugixmlLoadFile", 2.5, None),
    ("MachineRead/ExpatParse", "MachineRead/PugixmlLoadFile", None, None),
]
# Benchmarks without a baseline: shown, no target.
SINGLES = ["MachineWrite/Ours", "MachineCompare/Ours"]
# Further rows: (benchmark, the benchmark of ours it is compared with). No target.
COMPARISONS = {"SmallRead/PugixmlLoadFile": ("SmallRead/PugixmlLoadAndConvert", "SmallRead/Ours")}

def timing_row(name, ratio_text, target_text, verdict):
    cv = cv_percent(name)
    return [name, format_time(median_seconds(name)), f"{gb_per_second(name):.3f} GB/s",
            "-" if cv is None else f"{cv:.1f}%", ratio_text, target_text, verdict]

rows = []
all_met = True
for ours, baseline, ratio_limit, min_gbps in PAIRS:
    if ours not in aggregates or baseline not in aggregates:
        continue
    ratio = median_seconds(ours) / median_seconds(baseline)
    targets, met = [], []
    if min_gbps is not None:
        targets.append(f">= {min_gbps:.2f} GB/s")
        met.append(gb_per_second(ours) >= min_gbps)
    if ratio_limit is not None:
        targets.append(f"ratio <= {ratio_limit:.2f}")
        met.append(ratio <= ratio_limit)
    verdict = ("yes" if all(met) else "NO") if met else "-"
    all_met = all_met and all(met)
    rows.append(timing_row(ours, f"{ratio:.2f}", " and ".join(targets), verdict))
    rows.append(timing_row(baseline, "(baseline)", "", ""))
    if baseline in COMPARISONS:
        other, of = COMPARISONS[baseline]
        if other in aggregates:
            ratio = median_seconds(of) / median_seconds(other)
            rows.append(timing_row(other, f"({ratio:.2f})", "comparison only", ""))
for name in SINGLES:
    if name in aggregates:
        rows.append(timing_row(name, "-", "", "-"))

ours_ratio = (ours_kib - idle_kib) * 1024 / mesh_bytes
baseline_ratio = (baseline_kib - idle_kib) * 1024 / mesh_bytes
memory_met = ours_ratio <= 1.8
all_met = all_met and memory_met
rows.append(["MeshRead/Ours peak memory", f"{(ours_kib - idle_kib) / 1024:.1f} MiB", "", "",
             f"{ours_ratio:.2f} x file", "<= 1.80 x file", "yes" if memory_met else "NO"])
rows.append(["MeshRead/Baseline peak memory", f"{(baseline_kib - idle_kib) / 1024:.1f} MiB", "",
             "", f"{baseline_ratio:.2f} x file", "", ""])

header = ["Benchmark", "Median", "Throughput", "CV", "Ours/baseline", "Target", "Met"]
widths = [max(len(str(r[i])) for r in rows + [header]) for i in range(len(header))]
print()
print(f"Medians of {aggregates[next(iter(aggregates))]['median']['repetitions']} repetitions; "
      f"small document {results['context'].get('small_document_bytes')} bytes, "
      f"mesh document {results['context'].get('mesh_document_bytes')} bytes, "
      f"machine document {results['context'].get('machine_document_bytes')} bytes; "
      f"GB = 1e9 bytes; peak memory above an idle run ({idle_kib} KiB).")
print("  ".join(h.ljust(w) for h, w in zip(header, widths)))
print("  ".join("-" * w for w in widths))
for row in rows:
    print("  ".join(str(c).ljust(w) for c, w in zip(row, widths)).rstrip())
print()
print("All targets measured in this run are met." if all_met else "Some targets are NOT met.")
PY
