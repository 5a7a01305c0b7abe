#!/usr/bin/env bash
# Runs tarnix-conformance against every sample device tree (a fresh copy of
# each, which is removed afterwards) and prints the reports; the JSON
# reports go to OUTDIR. Every check must pass; a warning is allowed only where
# the device tree explains it (the thermal core has no shutter list).
#
# Usage: scripts/conformance.sh PROGRAM OUTDIR [RUNNER...]
#   RUNNER: a command to run the program through (an emulator), if any.
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)

if [[ $# -lt 2 ]]; then
    echo "usage: $0 PROGRAM OUTDIR [RUNNER...]" >&2
    exit 2
fi
PROGRAM=$1
OUT=$2
shift 2
RUNNER=("$@")
mkdir -p "$OUT"

run_case() { # name model args...
    local name=$1 model=$2
    shift 2
    local root="$OUT/root-$name"
    rm -rf "$root"
    cp -r "$SRC/devices/$model" "$root"
    echo "--- $name"
    local code=0
    "${RUNNER[@]}" "$PROGRAM" --root "$root" --json "$OUT/$name.json" "$@" || code=$?
    rm -rf "$root"
    if [[ $code -ne 0 ]]; then
        echo "conformance.sh: $name: a check failed (exit $code)" >&2
        exit 1
    fi
}

run_case box box
for model in dome thermal lpr fisheye; do
    run_case "$model" "$model" --only 'isp.*'
done
run_case thermal-channel2 thermal --channel 2 --only 'isp.*'
echo "conformance.sh: every sample device tree passes; reports in $OUT"
