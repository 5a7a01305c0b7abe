#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan), replays every seed
# corpus, then fuzzes each target for a while, two at a time. Fails on any
# crash, sanitizer report, leak, timeout or broken invariant.
#
# Usage:
#   scripts/fuzz.sh smoke OUTDIR            replay, then 20 s per target (CI)
#   scripts/fuzz.sh long OUTDIR [SECONDS]   replay, then SECONDS per target
#                                           (default 1800); OUTDIR/corpus is
#                                           kept and grows from run to run
#   scripts/fuzz.sh replay OUTDIR           replay the seeds only
#
# Environment: FUZZ_TARGETS (default: all six), FUZZ_PARALLEL (targets run
# at once, default 2), JOBS (build jobs, default nproc).
# Needs clang and libclang-rt-dev (scripts/deps.sh fuzz); installs nothing.
#
# Replay covers fuzz/corpus/<t>/ and fuzz/regressions/<t>/ (inputs that once
# failed, kept so that they keep passing).
#
# OUTDIR/build          the build tree
# OUTDIR/corpus/<t>/    inputs the fuzzer found (the seeds are read from
#                       fuzz/corpus/<t>/ and never written)
# OUTDIR/crashes/<t>/   crash-*, leak-*, timeout-*, oom-* reproducers
# OUTDIR/logs/<t>.log   the fuzzer's output
# OUTDIR/tmp/           the targets' private device roots (left behind by a crash)
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)

mode=${1:-}
OUT=${2:-}
if [[ -z $mode || -z $OUT ]]; then
    sed -n '2,/^set -e/{/^set -e/!p}' "$0" >&2
    exit 2
fi
case "$mode" in
    smoke) SECONDS_PER_TARGET=20 ;;
    long) SECONDS_PER_TARGET=${3:-1800} ;;
    replay) SECONDS_PER_TARGET=0 ;;
    *) echo "fuzz.sh: unknown mode '$mode'" >&2; exit 2 ;;
esac
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)
JOBS=${JOBS:-$(nproc)}
PARALLEL=${FUZZ_PARALLEL:-2}
TARGETS=(${FUZZ_TARGETS:-fuzz_keyval_str2st fuzz_text_api fuzz_merge_style fuzz_dna_style fuzz_keyval_file
                         fuzz_onvif_request})

for tool in clang clang++; do
    command -v "$tool" >/dev/null || { echo "fuzz.sh: $tool not found (scripts/deps.sh fuzz)" >&2; exit 1; }
done

# Longest input each target mutates (seeds longer than this are replayed
# whole but cut to this length for mutation) and its dictionary.
max_len() {
    case "$1" in
        fuzz_merge_style) echo 65536 ;;
        fuzz_dna_style) echo 32768 ;;
        fuzz_keyval_str2st) echo 16384 ;;
        fuzz_onvif_request) echo 20000 ;;
        *) echo 4096 ;;
    esac
}
dict_of() {
    case "$1" in
        fuzz_merge_style | fuzz_dna_style) echo "$SRC/fuzz/xml.dict" ;;
        fuzz_keyval_str2st | fuzz_text_api) echo "$SRC/fuzz/text.dict" ;;
        fuzz_onvif_request) echo "$SRC/fuzz/soap.dict" ;;
        *) echo "" ;;
    esac
}

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=1:detect_stack_use_after_return=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

printf '\n--- building the fuzz targets (clang, ASan+UBSan) ---\n'
cmake -S "$SRC" -B "$OUT/build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" -DTARNIX_BUILD_TESTS=OFF -DTARNIX_BUILD_TOOLS=OFF \
    -DTARNIX_BUILD_FUZZ=ON -DTARNIX_SANITIZE=address,undefined >"$OUT/configure.log" 2>&1 ||
    { cat "$OUT/configure.log"; exit 1; }
cmake --build "$OUT/build" -j"$JOBS" --target "${TARGETS[@]}"
BIN=$OUT/build/fuzz
# The targets make their private device roots under TMPDIR; one that crashes
# leaves its root behind, here rather than in /tmp.
mkdir -p "$OUT/tmp"
export TMPDIR=$OUT/tmp

failed=()
if [[ $mode == smoke ]]; then
    rm -rf "$OUT/corpus" "$OUT/crashes" "$OUT/logs" "$OUT/tmp"
    mkdir -p "$OUT/tmp"
fi

printf '\n--- replaying the seed corpora ---\n'
for t in "${TARGETS[@]}"; do
    mkdir -p "$OUT/logs" "$OUT/crashes/$t"
    seeds=("$SRC/fuzz/corpus/$t")
    if [[ -d $SRC/fuzz/regressions/$t ]]; then
        seeds+=("$SRC/fuzz/regressions/$t")
    fi
    if [[ $mode == long && -d $OUT/corpus/$t ]]; then
        seeds+=("$OUT/corpus/$t")
    fi
    count=$(find "${seeds[@]}" -type f | wc -l)
    # -runs=0 with directories runs every file once and stops.
    if "$BIN/$t" -runs=0 -close_fd_mask=1 -timeout=60 -artifact_prefix="$OUT/crashes/$t/replay-" "${seeds[@]}" \
        >"$OUT/logs/$t.replay.log" 2>&1; then
        printf '%-20s %5d seeds replayed, ok\n' "$t" "$count"
    else
        printf '%-20s REPLAY FAILED (log: %s)\n' "$t" "$OUT/logs/$t.replay.log"
        grep -E 'ERROR|SUMMARY|fuzz check failed|Test unit written' "$OUT/logs/$t.replay.log" | head -5 || true
        ls -1 "$OUT/crashes/$t" 2>/dev/null | sed "s|^|    reproducer: $OUT/crashes/$t/|" || true
        failed+=("$t(replay)")
    fi
done

run_target() { # target seconds
    local t=$1 secs=$2
    local dict
    dict=$(dict_of "$t")
    mkdir -p "$OUT/corpus/$t" "$OUT/crashes/$t"
    local args=(-max_total_time="$secs" -max_len="$(max_len "$t")" -timeout=30 -rss_limit_mb=2048
                -close_fd_mask=1 -print_final_stats=1 -artifact_prefix="$OUT/crashes/$t/")
    [[ -n $dict ]] && args+=(-dict="$dict")
    "$BIN/$t" "${args[@]}" "$OUT/corpus/$t" "$SRC/fuzz/corpus/$t" >"$OUT/logs/$t.log" 2>&1
}

if [[ $SECONDS_PER_TARGET -gt 0 ]]; then
    printf '\n--- fuzzing: %d s per target, %d at a time ---\n' "$SECONDS_PER_TARGET" "$PARALLEL"
    declare -A pids=()
    report() { # target status
        local t=$1 status=$2
        local stats
        stats=$(grep -E '^stat::(number_of_executed_units|new_units_added)' "$OUT/logs/$t.log" |
                    sed 's/stat:://' | tr '\n' ' ' || true)
        if [[ $status -eq 0 ]]; then
            printf '%-20s ok   %s\n' "$t" "$stats"
        else
            printf '%-20s FAILED (exit %d, log: %s)\n' "$t" "$status" "$OUT/logs/$t.log"
            grep -E 'ERROR|SUMMARY|fuzz check failed' "$OUT/logs/$t.log" | head -5 || true
            ls -1 "$OUT/crashes/$t" 2>/dev/null | sed "s|^|    reproducer: $OUT/crashes/$t/|" || true
            failed+=("$t")
        fi
    }
    wait_one() {
        local done_pid status=0
        wait -n -p done_pid "${!pids[@]}" || status=$?
        report "${pids[$done_pid]}" "$status"
        unset "pids[$done_pid]"
    }
    for t in "${TARGETS[@]}"; do
        while [[ ${#pids[@]} -ge $PARALLEL ]]; do
            wait_one
        done
        run_target "$t" "$SECONDS_PER_TARGET" &
        pids[$!]=$t
    done
    while [[ ${#pids[@]} -gt 0 ]]; do
        wait_one
    done
fi

if [[ ${#failed[@]} -gt 0 ]]; then
    printf '\nfuzz.sh: FAILED: %s\n' "${failed[*]}"
    exit 1
fi
printf '\nfuzz.sh: all targets passed (%s)\n' "$mode"
