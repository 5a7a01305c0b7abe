#!/usr/bin/env bash
# The chaos run for release checks: the stress test of tests/stress/ for
# minutes instead of the CI's 30 seconds, in the normal build and (with
# --tsan) under ThreadSanitizer.
#
# Usage: scripts/stress.sh [--tsan] [SECONDS] [SEED]
#   SECONDS  duration of the run (default 600)
#   SEED     repeats an earlier run's random choices (printed by every run)
# Environment: TARNIX_BUILD_ROOT (default ./build), JOBS (default nproc).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)
OUT=${TARNIX_BUILD_ROOT:-$SRC/build}
JOBS=${JOBS:-$(nproc)}

tsan=0
if [[ ${1:-} == --tsan ]]; then
    tsan=1
    shift
fi
seconds=${1:-600}
seed=${2:-}
[[ $seconds =~ ^[0-9]+$ ]] || { echo "stress.sh: SECONDS must be a number, got '$seconds'" >&2; exit 2; }
[[ -z $seed || $seed =~ ^[0-9]+$ ]] || { echo "stress.sh: SEED must be a number, got '$seed'" >&2; exit 2; }

scripts/deps.sh test

if [[ $tsan == 1 ]]; then
    dir=$OUT/tsan
    extra=(-DTARNIX_SANITIZE=thread)
else
    dir=$OUT/normal
    extra=()
fi
mkdir -p "$dir"
cmake -S "$SRC" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNIX_WERROR=ON "${extra[@]}" >"$dir.configure.log" 2>&1 ||
    { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir" -j"$JOBS" --target tarnix_stress_tests

export TARNIX_STRESS_SECONDS=$seconds
[[ -n $seed ]] && export TARNIX_STRESS_SEED=$seed
echo "stress.sh: chaos run for $seconds s ($([[ $tsan == 1 ]] && echo ThreadSanitizer || echo normal build))"
if [[ $tsan == 1 ]]; then
    TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" setarch "$(uname -m)" -R "$dir/tests/tarnix_stress_tests"
else
    "$dir/tests/tarnix_stress_tests"
fi
