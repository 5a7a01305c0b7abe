#!/usr/bin/env bash
# Builds the benchmarks (Release, Google Benchmark) and runs them with the
# simulated ISP. Fails when a benchmark reports an error.
#
# Usage:
#   scripts/bench.sh short OUTDIR   quick run (CI, well under a minute)
#   scripts/bench.sh full OUTDIR    the run behind docs/performance.md:
#                                   1 s per benchmark, 5 repetitions, medians
#   scripts/bench.sh day OUTDIR     a day in the life of a channel (tarnix_day):
#                                   86,400 sensor passes under a time plan and
#                                   under day/night, with a host setting and
#                                   storing; counts next to their minimums
# Extra arguments after OUTDIR go to the benchmark program (mode day: to tarnix_day)
# (e.g. --benchmark_filter=Init).
#
# OUTDIR/build                the build tree
# OUTDIR/bench-<mode>.txt     console output and summary table
# OUTDIR/bench-<mode>.json    Google Benchmark's JSON report
# OUTDIR/day.txt, day.json    the day's table and its figures (mode day)
# Environment: JOBS (build jobs, default nproc).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)

mode=${1:-}
OUT=${2:-}
if [[ -z $mode || -z $OUT ]]; then
    sed -n '2,/^set -e/{/^set -e/!p}' "$0" >&2
    exit 2
fi
shift 2
case "$mode" in
    short) run_args=(--benchmark_min_time=0.05) ;;
    full) run_args=(--benchmark_min_time=1 --benchmark_repetitions=5 --benchmark_report_aggregates_only=true) ;;
    day) run_args=() ;;
    *) echo "bench.sh: unknown mode '$mode'" >&2; exit 2 ;;
esac
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)
JOBS=${JOBS:-$(nproc)}

printf '\n--- building the benchmarks (Release) ---\n'
cmake -S "$SRC" -B "$OUT/build" -DCMAKE_BUILD_TYPE=Release -DTARNIX_BUILD_TESTS=OFF -DTARNIX_BUILD_TOOLS=OFF \
    -DTARNIX_BUILD_BENCH=ON >"$OUT/configure.log" 2>&1 || { cat "$OUT/configure.log"; exit 1; }
if [[ $mode == day ]]; then
    cmake --build "$OUT/build" -j"$JOBS" --target tarnix_day
    printf '\n--- a day in the life ---\n'
    "$OUT/build/bench/tarnix_day" --json "$OUT/day.json" "$@" | tee "$OUT/day.txt"
    status=${PIPESTATUS[0]}
    [[ $status -eq 0 ]] || { echo "bench.sh: tarnix_day failed (exit $status)" >&2; exit "$status"; }
    printf '\nbench.sh: results in %s/day.txt and %s/day.json\n' "$OUT" "$OUT"
    exit 0
fi
cmake --build "$OUT/build" -j"$JOBS" --target tarnix_bench

printf '\n--- running (%s) ---\n' "$mode"
# Debian's libbenchmark is itself built without NDEBUG, so it prints
# "***WARNING*** Library was built as DEBUG. Timings may be affected." That
# concerns the framework's own loop, not tarnix (built Release above): every
# benchmark here times its work itself (UseManualTime), so the framework's
# checks are not in the figures.
echo "bench.sh: note: the \"Library was built as DEBUG\" warning below is about Debian's Google Benchmark" \
     "package, not tarnix; every benchmark times its own work, so the figures are unaffected"
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$OUT/build/CMakeCache.txt")
{
    echo "machine: $(nproc) CPUs, $(lscpu 2>/dev/null | sed -n 's/^Model name: *//p' | head -1)"
    echo "compiler: $compiler ($("$compiler" --version | head -1)), Release"
} | tee "$OUT/bench-$mode.txt"
"$OUT/build/bench/tarnix_bench" "${run_args[@]}" --benchmark_out="$OUT/bench-$mode.json" \
    --benchmark_out_format=json "$@" | tee -a "$OUT/bench-$mode.txt"
status=${PIPESTATUS[0]}
if [[ $status -ne 0 ]]; then
    echo "bench.sh: the benchmark program failed (exit $status)" >&2
    exit "$status"
fi
printf '\nbench.sh: results in %s/bench-%s.txt\n' "$OUT" "$mode"
