#!/usr/bin/env bash
# Runs the whole-machine benchmarks of a release build with interleaved repetitions and prints
# the median of each measurement, its throughput and its ratio to the baseline of the same run.
#
#   bash bench/machine.sh [BUILD_DIR]      (default build/release)
#
# Environment: BENCH_REPETITIONS (default 15), BENCH_MIN_TIME (seconds, default 0.3).
set -euo pipefail

BUILD_DIR=${1:-build/release}
BIN="$BUILD_DIR/bench/talsdk_machine_bench"
RESULTS="$BUILD_DIR/bench/machine-results.json"
[[ -x "$BIN" ]] || { echo "error: $BIN not found; build the release preset first" >&2; exit 1; }

echo "Load average before the run: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
"$BIN" --benchmark_repetitions="${BENCH_REPETITIONS:-15}" \
  --benchmark_min_time="${BENCH_MIN_TIME:-0.3}" \
  --benchmark_enable_random_interleaving=true \
  --benchmark_report_aggregates_only=true \
  --benchmark_out="$RESULTS" --benchmark_out_format=json >/dev/null

python3 - "$RESULTS" <<'PY'
import json, sys
results = json.load(open(sys.argv[1]))
unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
median = {}
for b in results["benchmarks"]:
    if b.get("aggregate_name") == "median":
        name = "/".join(b["run_name"].split("/")[:2])
        median[name] = (b["real_time"] * unit[b["time_unit"]], b.get("bytes_per_second", 0))
ctx = results["context"]
print(f"Full machine {ctx['full_machine_bytes']} bytes, with mesh {ctx['mesh_machine_bytes']} "
      f"bytes; medians of interleaved repetitions.")
print(f"{'Benchmark':24} {'Median':>12} {'MB/s':>10} {'Ours/baseline':>14}")
for doc in ("Full", "FullMesh"):
    for op in ("Read", "Write"):
        ours, base = median.get(f"{doc}{op}/Ours"), median.get(f"{doc}{op}/Baseline")
        if not ours or not base:
            continue
        for name, (t, bps) in ((f"{doc}{op}/Ours", ours), (f"{doc}{op}/Baseline", base)):
            ratio = f"{ours[0] / base[0]:.2f}" if name.endswith("Ours") else "(baseline)"
            print(f"{name:24} {t * 1e3:10.3f}ms {bps / 1e6:10.1f} {ratio:>14}")
PY
