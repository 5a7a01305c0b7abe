#!/usr/bin/env bash
# The whole test suite, as CI runs it: installs what is missing, then builds
# and tests the library in a normal build, with ASan+UBSan and with
# ThreadSanitizer; builds an outside program against the installed package;
# runs the porting kit's checker on the sample device trees and builds it as
# for a device (without the POSIX port); drives the ONVIF services with a
# third-party client (the onvif npm package) and the settings page in
# headless Chromium; cross-builds for AArch64 and runs the suite under
# qemu; replays and runs the fuzz targets; runs a short benchmark and the
# budget gates (instruction counts, a simulated day's ISP calls and writes,
# footprint). Exits non-zero on any failure.
#
# Usage: scripts/test.sh [stage...]
#   stages: normal asan tsan install conformance onvif browser aarch64 fuzz bench gates
#   (default: all of them)
#
# The stages run in two lanes side by side, so that one lane's builds use the
# processor while the other lane's tests wait on timers and emulators:
#   lane 1: normal install conformance onvif browser asan
#   lane 2: aarch64 tsan bench gates fuzz
# Each stage's output goes to OUT/logs/<stage>.log; the console shows one
# line per stage and, for a stage that fails, the end of its log. A failing
# stage stops the other lane too.
#
# Environment: TARNIX_BUILD_ROOT (default ./build), JOBS (build jobs per
# lane, default nproc), TARNIX_LANES=1 (one stage after the other).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)
OUT=${TARNIX_BUILD_ROOT:-$SRC/build}
JOBS=${JOBS:-$(nproc)}
LANES=${TARNIX_LANES:-2}
mkdir -p "$OUT/logs"
OUT=$(cd "$OUT" && pwd)
LOGS=$OUT/logs

all_stages=(normal install conformance onvif browser asan fuzz aarch64 tsan bench gates)
lane1_order=(normal install conformance onvif browser asan)
lane2_order=(aarch64 tsan bench gates fuzz)

wanted() { # stage
    local s
    for s in "${stages[@]}"; do [[ $s == "$1" ]] && return 0; done
    return 1
}

# ---------------------------------------------------------------- building

# Every build of this script: the library optimised as shipped (-O2) with
# line tables for the sanitizers' and debuggers' stack traces (-g1: full
# debug information more than doubles the compile time), the test programs
# at -O1, warnings as errors.
CI_CMAKE_ARGS=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG"
               "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" -DTARNIX_TEST_COMPILE_OPTIONS=-O1
               -DTARNIX_WERROR=ON)

configure_build() { # dir extra-cmake-args...
    local dir=$1
    shift
    cmake -S "$SRC" -B "$dir" "${CI_CMAKE_ARGS[@]}" "$@" >"$dir.configure.log" 2>&1 ||
        { cat "$dir.configure.log"; return 1; }
    cmake --build "$dir" -j"$JOBS"
}

# The normal build, which install, conformance, onvif and browser use too.
normal_build() {
    [[ -f $OUT/normal/.built ]] && return 0
    configure_build "$OUT/normal" -DTARNIX_REQUIRE_SERVE=ON
    touch "$OUT/normal/.built"
}

run_ctest() { # dir [ctest args...]
    local dir=$1
    shift
    (cd "$dir" && ctest -j"$JOBS" --output-on-failure --no-tests=error --timeout 600 "$@")
}

# ---------------------------------------------------------------- stages

stage_normal() {
    rm -f "$OUT/normal/.built"
    normal_build
    run_ctest "$OUT/normal"
    # The tests pin the fake clock (12:00 by default); they must pass at any
    # other hour as well. The chaos run has had its 30 s above.
    echo "--- the suite again with the clock pinned to 03:17"
    TARNIX_TEST_CLOCK=03:17 TARNIX_STRESS_SECONDS=10 run_ctest "$OUT/normal"
}

stage_install() {
    normal_build
    rm -rf "$OUT/prefix" "$OUT/consumer"
    cmake --install "$OUT/normal" --prefix "$OUT/prefix" >/dev/null
    cmake -S "$SRC/examples/minimal_host" -B "$OUT/consumer" -DCMAKE_PREFIX_PATH="$OUT/prefix" >/dev/null
    cmake --build "$OUT/consumer" -j"$JOBS"
    rm -rf "$OUT/consumer-root" && cp -r "$SRC/devices/box" "$OUT/consumer-root"
    LD_LIBRARY_PATH="$OUT/prefix/lib:$OUT/prefix/lib/$(gcc -print-multiarch 2>/dev/null || true)" \
        "$OUT/consumer/minimal_host" "$OUT/consumer-root"
    echo "--- the same program in a parent project that builds the library with add_subdirectory()"
    cmake -S "$SRC/examples/subproject" -B "$OUT/subproject" -DTARNIX_SOURCE_DIR="$SRC" >/dev/null
    cmake --build "$OUT/subproject" -j"$JOBS" --target minimal_host
    rm -rf "$OUT/subproject-root" && cp -r "$SRC/devices/box" "$OUT/subproject-root"
    "$OUT/subproject/minimal_host" "$OUT/subproject-root"
}

stage_conformance() {
    normal_build
    bash scripts/conformance.sh "$OUT/normal/conformance/tarnix-conformance" "$OUT/conformance"
    echo "--- tarnix-conformance built as for a device (TARNIX_WITH_POSIX_PORT=OFF)"
    # Without the device's libraries only the objects are built: the same
    # sources compile against the platform headers alone.
    cmake -S "$SRC" -B "$OUT/device" "${CI_CMAKE_ARGS[@]}" -DTARNIX_WITH_POSIX_PORT=OFF -DTARNIX_DEVICE_LIBRARIES= \
        >"$OUT/device.configure.log" 2>&1 || { cat "$OUT/device.configure.log"; return 1; }
    cmake --build "$OUT/device" -j"$JOBS" --target tarnix_conformance_checks tarnix_conformance_tool_objects
    # Linked against stand-ins for the device's libraries (the POSIX port and
    # the simulated ISP of the normal build) and run on a sample tree, which
    # the stand-in port finds through TARNIX_ROOT as a device finds its paths.
    cmake "$OUT/device" -DTARNIX_DEVICE_LIBRARIES="$OUT/normal/libtarnix_platform.so;$OUT/normal/libispsim.so" \
        >>"$OUT/device.configure.log" 2>&1 || { cat "$OUT/device.configure.log"; return 1; }
    cmake --build "$OUT/device" -j"$JOBS" --target tarnix-conformance
    rm -rf "$OUT/device-root" && cp -r "$SRC/devices/box" "$OUT/device-root"
    TARNIX_ROOT="$OUT/device-root" LD_LIBRARY_PATH="$OUT/normal" "$OUT/device/conformance/tarnix-conformance" \
        --only 'isp.read,isp.records,isp.unknown,platform.*'
    rm -rf "$OUT/device-root"
}

stage_onvif() {
    normal_build
    # The client's exact version comes from package-lock.json.
    (cd tests/onvif/e2e && npm ci --no-audit --no-fund --loglevel=error)
    SENSORCTL="$OUT/normal/tools/sensorctl" TARNIX_DEVICES="$SRC/devices" \
        timeout 120 node --test tests/onvif/e2e/onvif_e2e.test.js
}

stage_browser() {
    normal_build
    # Debian's selenium belongs to the system's Python.
    /usr/bin/python3 "$SRC/tests/browser/settings_page_test.py" --sensorctl "$OUT/normal/tools/sensorctl" \
        --out "$OUT/normal/browser"
}

stage_asan() {
    configure_build "$OUT/asan" -DTARNIX_SANITIZE=address,undefined -DTARNIX_REQUIRE_SERVE=ON
    # The sanitizers slow the chaos run's threads down several times: its
    # watchdog allows 6 s without progress instead of 2 s.
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        TARNIX_STRESS_SECONDS=10 TARNIX_STRESS_WATCHDOG_MS=6000 run_ctest "$OUT/asan"
}

stage_tsan() {
    configure_build "$OUT/tsan" -DTARNIX_SANITIZE=thread -DTARNIX_REQUIRE_SERVE=ON
    # Some kernels map memory where TSan's shadow expects none; running
    # without address randomisation avoids that. The chaos run gets its full
    # 30 s here, with the watchdog widened as for ASan.
    TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" TARNIX_STRESS_WATCHDOG_MS=6000 \
        setarch "$(uname -m)" -R bash -c "cd '$OUT/tsan' && ctest -j$JOBS --output-on-failure --no-tests=error --timeout 900"
}

stage_aarch64() {
    # Emulation is several times slower: a 10 s chaos run is enough here.
    TARNIX_STRESS_SECONDS=10 bash scripts/test-aarch64.sh "$OUT/aarch64" "${CI_CMAKE_ARGS[@]}"
}

stage_fuzz() {
    bash scripts/fuzz.sh smoke "$OUT/fuzz"
}

stage_bench() {
    bash scripts/bench.sh short "$OUT/bench"
}

stage_gates() {
    if [[ -f $OUT/aarch64/libtarnix.so ]] && wanted aarch64; then
        bash scripts/gates.sh all "$OUT/bench" "$OUT/aarch64"
    else
        echo "gates: no AArch64 tree of this run, so no footprint gate"
        bash scripts/gates.sh instructions "$OUT/bench"
        bash scripts/gates.sh day "$OUT/bench"
    fi
}

# ---------------------------------------------------------------- main

# One stage in a process of its own (run_stage below starts it so), where
# any failing command ends the stage.
if [[ ${1:-} == --run-stage ]]; then
    read -r -a stages <<<"${TARNIX_STAGES:-$2}"
    "stage_$2"
    exit 0
fi

stages=("$@")
[[ ${#stages[@]} -gt 0 ]] || stages=("${all_stages[@]}")
for s in "${stages[@]}"; do
    [[ " ${all_stages[*]} " == *" $s "* ]] || { echo "test.sh: unknown stage '$s' (stages: ${all_stages[*]})" >&2; exit 2; }
done
export TARNIX_STAGES="${stages[*]}"

groups=(test)
wanted aarch64 && groups+=(cross)
wanted fuzz && groups+=(fuzz)
wanted browser && groups+=(browser)
wanted onvif && groups+=(node)
wanted gates && groups+=(gates)
scripts/deps.sh "${groups[@]}"

# ---------------------------------------------------------------- lanes

FAILED=$LOGS/.failed
rm -f "$FAILED" "$LOGS"/*.log "$LOGS"/.times
START=$(date +%s)

clock() { date +%H:%M:%S; }

run_stage() { # stage
    local s=$1 t0 code=0
    t0=$(date +%s)
    printf '%s  %-12s started\n' "$(clock)" "$s"
    bash "$SRC/scripts/test.sh" --run-stage "$s" >"$LOGS/$s.log" 2>&1 || code=$?
    local took=$(($(date +%s) - t0))
    echo "$s $took $code" >>"$LOGS/.times"
    if [[ $code -ne 0 ]]; then
        printf '%s  %-12s FAILED after %d s (exit %d); the end of %s:\n' "$(clock)" "$s" "$took" "$code" "$LOGS/$s.log"
        tail -n 150 "$LOGS/$s.log" | sed 's/^/    /'
        echo "$s" >>"$FAILED"
        return 1
    fi
    printf '%s  %-12s passed in %d s\n' "$(clock)" "$s" "$took"
}

run_lane() { # stages...
    local s
    for s in "$@"; do
        [[ -f $FAILED ]] && return 1
        wanted "$s" || continue
        run_stage "$s" || return 1
    done
}

# Ends a lane's whole process tree (its stage, the builds and tests under it).
kill_tree() { # pid
    local child
    for child in $(pgrep -P "$1" 2>/dev/null); do
        kill_tree "$child"
    done
    kill "$1" 2>/dev/null || true
}

echo "test.sh: stages ${stages[*]}; logs in $LOGS"
if [[ $LANES -le 1 ]]; then
    run_lane "${lane1_order[@]}" "${lane2_order[@]}" || true
else
    run_lane "${lane1_order[@]}" &
    lane1=$!
    run_lane "${lane2_order[@]}" &
    lane2=$!
    # Whichever lane fails first ends the other one.
    while kill -0 "$lane1" 2>/dev/null || kill -0 "$lane2" 2>/dev/null; do
        if [[ -f $FAILED ]]; then
            sleep 2
            kill_tree "$lane1"
            kill_tree "$lane2"
            break
        fi
        sleep 2
    done
    wait "$lane1" 2>/dev/null || true
    wait "$lane2" 2>/dev/null || true
fi

echo
echo "stage          seconds  result"
while read -r s took code; do
    printf '%-14s %7d  %s\n' "$s" "$took" "$([[ $code -eq 0 ]] && echo passed || echo "FAILED ($code)")"
done <"$LOGS/.times"
echo "total: $(($(date +%s) - START)) s on $(nproc) CPUs"
if [[ -f $FAILED ]]; then
    echo "test.sh: FAILED: $(tr '\n' ' ' <"$FAILED")"
    exit 1
fi
echo "test.sh: all stages passed: ${stages[*]}"
