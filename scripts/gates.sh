#!/usr/bin/env bash
# The CI gates on the library's budgets. Each prints its table and fails when
# a figure exceeds its budget.
#
# Usage:
#   scripts/gates.sh instructions OUTDIR       instruction counts of the main operations under callgrind,
#                                              against bench/baselines/instructions.txt (fail on > 10 % rise)
#   scripts/gates.sh day OUTDIR                a simulated day of the box camera: ISP calls, files and
#                                              bytes written must equal their minimums exactly
#   scripts/gates.sh footprint OUTDIR AARCH64  stripped sizes of the AArch64 libtarnix.so and
#                                              libtarnix_platform.so in the built tree AARCH64 (as
#                                              scripts/test-aarch64.sh leaves it) and the heap a channel
#                                              holds after init, against bench/baselines/footprint.txt
#                                              (fail on > 10 % rise)
#   scripts/gates.sh all OUTDIR AARCH64        the three, one build
#   scripts/gates.sh update-instructions OUTDIR          rewrite the instruction baseline (on purpose)
#   scripts/gates.sh update-footprint OUTDIR AARCH64     rewrite the footprint budget (on purpose)
#
# OUTDIR/build is a Release build of the library and the gate programs
# (bench/gates, bench/day), configured as scripts/bench.sh configures its
# tree, so that both scripts can share one OUTDIR; OUTDIR also keeps the
# callgrind and memcheck outputs. The counts are those of Debian 12 on x86-64 (GCC 12, glibc 2.36,
# TinyXML 2.6.2, valgrind 3.19); another toolchain needs its own baseline.
# Environment: JOBS (build jobs, default nproc).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)
BASELINES=$SRC/bench/baselines
RISE_PERCENT=10
# A rise of an instruction count also has to exceed this many instructions.
IR_FLOOR=200
GLIBC_BASELINE=glibc.cpu.hwcaps=-AVX,-AVX2,-AVX512F,-AVX512VL,-AVX512BW,-ERMS,-FSRM,-SSSE3,-SSE4_1,-SSE4_2,-BMI1,-BMI2
GLIBC_BASELINE+=,-LZCNT,-MOVBE,-POPCNT,-FMA,-RTM

usage() {
    sed -n '2,/^set -e/{/^set -e/!p}' "$0" >&2
    exit 2
}

stage=${1:-}
OUT=${2:-}
AARCH64=${3:-}
[[ -n $stage && -n $OUT ]] || usage
case "$stage" in
    instructions | day | update-instructions) [[ $# -eq 2 ]] || usage ;;
    footprint | all | update-footprint) [[ $# -eq 3 ]] || usage ;;
    *) echo "gates.sh: unknown stage '$stage'" >&2; usage ;;
esac
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)
JOBS=${JOBS:-$(nproc)}
START=$(date +%s)

say() { printf '\n--- %s ---\n' "$*"; }
die() { echo "gates.sh: $*" >&2; exit 1; }

# ---------------------------------------------------------------- build

build() {
    scripts/deps.sh gates
    say "building the gate programs (Release, $OUT/build)"
    # The configuration of scripts/bench.sh: the two can share OUTDIR, and
    # then only the gate programs are built here.
    cmake -S "$SRC" -B "$OUT/build" -DCMAKE_BUILD_TYPE=Release -DTARNIX_BUILD_TESTS=OFF -DTARNIX_BUILD_TOOLS=OFF \
        -DTARNIX_BUILD_BENCH=ON >"$OUT/configure.log" 2>&1 || { cat "$OUT/configure.log"; die "configuring failed"; }
    cmake --build "$OUT/build" -j"$JOBS" --target tarnix_opcount tarnix_heap tarnix_day >"$OUT/build.log" 2>&1 ||
        { tail -40 "$OUT/build.log"; die "building failed (log: $OUT/build.log)"; }
    echo "built in $(($(date +%s) - START)) s"
}

# A baseline file: "name value" lines, '#' comments.
baseline_of() { # file name
    awk -v n="$2" '$1 == n { print $2 }' "$1" 2>/dev/null
}

# Prints a row and returns 1 when value exceeds the budget by more than RISE_PERCENT.
check_row() { # name value budget floor
    local name=$1 value=$2 budget=$3
    if [[ -z $budget ]]; then
        printf '%-42s %14s %14s %9s  %s\n' "$name" "$value" "-" "-" "NO BUDGET"
        return 1
    fi
    local change verdict=ok
    change=$(awk -v v="$value" -v b="$budget" 'BEGIN { printf("%+.1f%%", (b > 0) ? (v - b) * 100 / b : 0) }')
    # Over budget: more than RISE_PERCENT above it, and by more than the
    # floor (a count of a few thousand instructions moves by about a hundred
    # with the moment a stopped thread ends).
    if awk -v v="$value" -v b="$budget" -v r="$RISE_PERCENT" -v f="$4" \
        'BEGIN { exit !((v > b * (1 + r / 100)) && (v - b > f)) }'; then
        verdict="OVER BUDGET (more than +$RISE_PERCENT %)"
    elif awk -v v="$value" -v b="$budget" -v r="$RISE_PERCENT" 'BEGIN { exit !(v < b * (1 - r / 100)) }'; then
        verdict="ok, well below: consider updating the baseline"
    fi
    printf '%-42s %14s %14s %9s  %s\n' "$name" "$value" "$budget" "$change" "$verdict"
    [[ $verdict != OVER* ]]
}

table_head() { # what unit
    printf '%-42s %14s %14s %9s  %s\n' "$1" "now ($2)" "budget ($2)" "change" ""
}

write_baseline() { # file header-lines... ; reads "name value" lines on stdin
    local file=$1
    shift
    {
        for line in "$@"; do echo "# $line"; done
        echo "# machine: $(uname -m), $(sed -n 's/^PRETTY_NAME=//p' /etc/os-release | tr -d '"')"
        echo "# compiler: $(g++ --version | head -1); $(valgrind --version)"
        cat
    } >"$file.new"
    mv "$file.new" "$file"
    echo "gates.sh: wrote $file"
}

# ---------------------------------------------------------------- instructions

# Instructions (Ir) of one operation on the calling thread, under callgrind.
count_op() { # op
    local op=$1 dir=$OUT/callgrind/$1
    rm -rf "$dir"
    mkdir -p "$dir"
    # glibc picks its string and memory functions by the CPU's features;
    # with the optional ones masked it takes the baseline x86-64 versions on
    # every machine, so the counts do not depend on the CPU.
    GLIBC_TUNABLES=$GLIBC_BASELINE valgrind --tool=callgrind --collect-atstart=no --separate-threads=yes \
        --callgrind-out-file="$dir/callgrind.out" "$OUT/build/bench/tarnix_opcount" --op "$op" \
        >"$dir/run.log" 2>&1 || { cat "$dir/run.log" >&2; return 1; }
    local count
    count=$(sed -n 's/^summary: *//p' "$dir/callgrind.out-01")
    [[ -n $count ]] || { echo "gates.sh: no count for $op in $dir" >&2; return 1; }
    echo "$count" >"$dir/count"
}

measure_instructions() {
    say "instruction counts under callgrind (thread 1, the operation alone)"
    mapfile -t ops < <("$OUT/build/bench/tarnix_opcount" --list | awk '{ print $1 }')
    # Two at a time: the counts do not depend on the machine's load.
    local pids=() failed=0
    for op in "${ops[@]}"; do
        count_op "$op" &
        pids+=($!)
        if [[ ${#pids[@]} -ge 2 ]]; then
            wait "${pids[0]}" || failed=1
            pids=("${pids[@]:1}")
        fi
    done
    for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
    [[ $failed -eq 0 ]] || die "an operation failed under callgrind"
    for op in "${ops[@]}"; do
        echo "$op $(cat "$OUT/callgrind/$op/count")"
    done >"$OUT/instructions.txt"
}

gate_instructions() {
    measure_instructions
    local failed=0
    table_head operation Ir
    while read -r op count; do
        check_row "$op" "$count" "$(baseline_of "$BASELINES/instructions.txt" "$op")" "$IR_FLOOR" || failed=1
    done <"$OUT/instructions.txt"
    [[ $failed -eq 0 ]] || die "instruction counts over budget or without one (bench/baselines/instructions.txt;" \
        "scripts/gates.sh update-instructions OUTDIR rewrites it on purpose)"
}

update_instructions() {
    measure_instructions
    cat "$OUT/instructions.txt"
    write_baseline "$BASELINES/instructions.txt" \
        "Instructions (callgrind Ir) of one operation on the calling thread, tarnix_opcount built Release." \
        "Written by scripts/gates.sh update-instructions; CI fails on a rise of more than $RISE_PERCENT %." \
        <"$OUT/instructions.txt"
}

# ---------------------------------------------------------------- day

gate_day() {
    say "a day in the life: counts against their minimums"
    "$OUT/build/bench/tarnix_day" --check --json "$OUT/day.json" | tee "$OUT/day.txt"
    local status=${PIPESTATUS[0]}
    [[ $status -eq 0 ]] || die "the day's counts are off their minimums (see above)"
}

# ---------------------------------------------------------------- footprint

stripped_size() { # strip-program library
    local lib real tmp
    lib=$2
    real=$(readlink -f "$lib")
    tmp=$OUT/stripped/$(basename "$real").$1
    mkdir -p "$OUT/stripped"
    "$1" -o "$tmp" "$real" || return 1
    stat -c %s "$tmp"
}

measure_footprint() {
    local tree=$1
    [[ -d $tree ]] || die "no AArch64 tree at $tree (scripts/test-aarch64.sh builds one)"
    local type
    type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$tree/CMakeCache.txt" 2>/dev/null || true)
    [[ $type == RelWithDebInfo ]] ||
        die "$tree is a '$type' build; the budget is for the RelWithDebInfo tree of scripts/test-aarch64.sh"
    command -v aarch64-linux-gnu-strip >/dev/null || die "aarch64-linux-gnu-strip is missing (scripts/deps.sh gates)"
    : >"$OUT/footprint.txt"
    for name in tarnix tarnix_platform; do
        local lib=$tree/lib$name.so
        [[ -e $lib ]] || die "$lib is missing; build it in $tree first"
        aarch64-linux-gnu-readelf -h "$(readlink -f "$lib")" | grep -q 'Machine: *AArch64' ||
            die "$lib is not an AArch64 library"
        echo "aarch64_lib${name}_stripped_bytes $(stripped_size aarch64-linux-gnu-strip "$lib")" >>"$OUT/footprint.txt"
    done
    say "heap a channel holds after init (memcheck)"
    valgrind --tool=memcheck --log-file="$OUT/memcheck.log" "$OUT/build/bench/tarnix_heap" >"$OUT/heap.txt" ||
        { cat "$OUT/memcheck.log" >&2; die "tarnix_heap failed"; }
    cat "$OUT/heap.txt"
    grep '^channel_heap_bytes ' "$OUT/heap.txt" >>"$OUT/footprint.txt"
    local left
    left=$(baseline_of "$OUT/heap.txt" left_after_uinit_bytes)
    [[ $left == 0 ]] || die "a channel leaves $left bytes of heap behind after uinit and delete"
    # Host sizes, for the record (not gated: the device is AArch64).
    for name in tarnix tarnix_platform; do
        echo "host: lib$name.so stripped $(stripped_size strip "$OUT/build/lib$name.so") bytes (x86-64, Release)"
    done
}

gate_footprint() {
    measure_footprint "$1"
    say "footprint against bench/baselines/footprint.txt"
    local failed=0
    table_head figure bytes
    while read -r name value; do
        check_row "$name" "$value" "$(baseline_of "$BASELINES/footprint.txt" "$name")" 0 || failed=1
    done <"$OUT/footprint.txt"
    [[ $failed -eq 0 ]] || die "footprint over budget or without one (bench/baselines/footprint.txt;" \
        "scripts/gates.sh update-footprint OUTDIR AARCH64 rewrites it on purpose)"
}

update_footprint() {
    measure_footprint "$1"
    cat "$OUT/footprint.txt"
    write_baseline "$BASELINES/footprint.txt" \
        "Footprint budget: stripped sizes of the AArch64 libraries (RelWithDebInfo tree of scripts/test-aarch64.sh," \
        "stripped with aarch64-linux-gnu-strip) and the heap channel 1 of the box camera holds after init" \
        "(memcheck). Written by scripts/gates.sh update-footprint; CI fails on a rise of more than $RISE_PERCENT %." \
        <"$OUT/footprint.txt"
}

# ---------------------------------------------------------------- main

build
case "$stage" in
    instructions) gate_instructions ;;
    day) gate_day ;;
    footprint) gate_footprint "$AARCH64" ;;
    all)
        # Each in a subshell, so that one failing gate does not hide the others.
        status=0
        (gate_instructions) || status=1
        (gate_day) || status=1
        (gate_footprint "$AARCH64") || status=1
        [[ $status -eq 0 ]] || die "a gate failed (see above)"
        ;;
    update-instructions) update_instructions ;;
    update-footprint) update_footprint "$AARCH64" ;;
esac
echo
echo "gates.sh: $stage passed in $(($(date +%s) - START)) s"
