#!/usr/bin/env bash
# The README's first command: installs the Debian packages the build needs if
# any is missing, builds the library and sensorctl into build/demo, lays down
# a fresh copy of a sample device tree and runs the scripted sensorctl
# session on it (scripts/demo-session.sh): the whole life of a camera channel
# on the simulated ISP.
#
# Usage: scripts/demo.sh
# Environment: TARNIX_DEMO_BUILD (default build/demo), JOBS (default nproc).
#
# Lines starting with "==>" are narration, "sensorctl:" lines are the tool's
# results; the library's own console output of each run is kept in the
# camera's sensorctl.log (sensorctl --verbose shows it).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)
BUILD=${TARNIX_DEMO_BUILD:-$SRC/build/demo}
JOBS=${JOBS:-$(nproc 2>/dev/null || echo 2)}
MODEL=box   # the session's schemes, keys and files are those of the box camera

echo "==> Checking the build dependencies (scripts/deps.sh base)"
bash scripts/deps.sh base

echo "==> Configuring and building the library and sensorctl in ${BUILD#"$SRC"/}"
mkdir -p "$BUILD"
if ! cmake -S "$SRC" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DTARNIX_BUILD_TESTS=OFF -DTARNIX_BUILD_TOOLS=ON \
        >"$BUILD/demo-configure.log" 2>&1; then
    cat "$BUILD/demo-configure.log" >&2
    exit 1
fi
if ! cmake --build "$BUILD" -j"$JOBS" --target sensorctl >"$BUILD/demo-build.log" 2>&1; then
    tail -n 60 "$BUILD/demo-build.log" >&2
    echo "==> The build failed; the whole log is $BUILD/demo-build.log" >&2
    exit 1
fi
SENSORCTL=$BUILD/tools/sensorctl

WORK=$(mktemp -d "${TMPDIR:-/tmp}/tarnix-demo-XXXXXX")
CAMERA=$WORK/camera
echo "==> A fresh device root: $CAMERA (a copy of devices/$MODEL)"
"$SENSORCTL" init-root "$CAMERA" --model "$MODEL" --devices "$SRC/devices"

bash scripts/demo-session.sh "$CAMERA" "$SENSORCTL"

echo
echo "==> Done. The camera's files stay in $CAMERA; try for example:"
echo "==>   $SENSORCTL --root $CAMERA all"
echo "==>   $SENSORCTL --root $CAMERA shell"
echo "==>   $SENSORCTL --root $CAMERA --verbose scheme    # with the library's console output"
