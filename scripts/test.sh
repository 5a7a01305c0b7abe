#!/usr/bin/env bash
# The whole test suite: installs what is missing, then builds and runs the
# tests in a normal build, with ASan+UBSan and with ThreadSanitizer, builds an
# outside program against the installed package, runs the porting kit's
# checker against the sample device trees and builds it as for a device
# (without the POSIX port), drives the ONVIF services with a third-party
# client (the onvif npm package), and runs the AArch64 suite
# under emulation, the fuzz smoke runs and a short benchmark when their parts
# are present, and drives sensorctl serve's settings page in headless
# Chromium. Exits non-zero on any failure.
#
# Usage: scripts/test.sh [stage...]
#   stages: normal asan tsan install conformance onvif aarch64 fuzz bench browser
# Environment: TARNIX_BUILD_ROOT (default ./build), JOBS (default nproc).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)
OUT=${TARNIX_BUILD_ROOT:-$SRC/build}
JOBS=${JOBS:-$(nproc)}
mkdir -p "$OUT"

stages=("$@")
if [[ ${#stages[@]} -eq 0 ]]; then
    stages=(normal asan tsan install)
    [[ -f conformance/CMakeLists.txt ]] && stages+=(conformance)
    [[ -f tests/onvif/e2e/package.json ]] && stages+=(onvif)
    [[ -f cmake/toolchain-aarch64.cmake ]] && stages+=(aarch64)
    [[ -f fuzz/CMakeLists.txt ]] && stages+=(fuzz)
    [[ -f bench/CMakeLists.txt ]] && stages+=(bench)
    [[ -f tests/browser/settings_page_test.py ]] && stages+=(browser)
fi

groups=(test)
for s in "${stages[@]}"; do
    [[ $s == aarch64 ]] && groups+=(cross)
    [[ $s == fuzz ]] && groups+=(fuzz)
    [[ $s == browser ]] && groups+=(browser)
    [[ $s == onvif ]] && groups+=(node)
done
scripts/deps.sh "${groups[@]}"

log() { printf '\n=== %s ===\n' "$*"; }

configure_build() { # dir extra-cmake-args...
    local dir=$1; shift
    cmake -S "$SRC" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNIX_WERROR=ON -DTARNIX_REQUIRE_SERVE=ON "$@" \
        >"$dir.configure.log" 2>&1 ||
        { cat "$dir.configure.log"; return 1; }
    cmake --build "$dir" -j"$JOBS"
}

run_ctest() { # dir
    (cd "$1" && ctest -j"$JOBS" --output-on-failure --timeout 600)
}

stage_normal() {
    log "normal build and tests"
    configure_build "$OUT/normal"
    run_ctest "$OUT/normal"
    # The tests pin the fake clock (12:00 by default); the suite must pass
    # at any other hour as well.
    log "normal tests again with the clock pinned to 03:17"
    TARNIX_TEST_CLOCK=03:17 run_ctest "$OUT/normal"
}

stage_asan() {
    log "ASan+UBSan build and tests"
    configure_build "$OUT/asan" -DTARNIX_SANITIZE=address,undefined
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        run_ctest "$OUT/asan"
}

stage_tsan() {
    log "ThreadSanitizer build and tests"
    configure_build "$OUT/tsan" -DTARNIX_SANITIZE=thread
    # Some kernels map memory where TSan's shadow expects none; running
    # without address randomisation avoids that.
    TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" setarch "$(uname -m)" -R \
        bash -c "cd '$OUT/tsan' && ctest -j$JOBS --output-on-failure --timeout 900"
}

stage_install() {
    log "install and build an outside program against the package"
    [[ -d "$OUT/normal" ]] || configure_build "$OUT/normal"
    rm -rf "$OUT/prefix" "$OUT/consumer"
    cmake --install "$OUT/normal" --prefix "$OUT/prefix" >/dev/null
    cmake -S "$SRC/examples/minimal_host" -B "$OUT/consumer" -DCMAKE_PREFIX_PATH="$OUT/prefix" >/dev/null
    cmake --build "$OUT/consumer" -j"$JOBS"
    rm -rf "$OUT/consumer-root" && cp -r "$SRC/devices/box" "$OUT/consumer-root"
    LD_LIBRARY_PATH="$OUT/prefix/lib:$OUT/prefix/lib/$(gcc -print-multiarch 2>/dev/null || true)" \
        "$OUT/consumer/minimal_host" "$OUT/consumer-root"
    log "the same program in a parent project that builds the library with add_subdirectory()"
    cmake -S "$SRC/examples/subproject" -B "$OUT/subproject" -DTARNIX_SOURCE_DIR="$SRC" >/dev/null
    cmake --build "$OUT/subproject" -j"$JOBS" --target minimal_host
    rm -rf "$OUT/subproject-root" && cp -r "$SRC/devices/box" "$OUT/subproject-root"
    "$OUT/subproject/minimal_host" "$OUT/subproject-root"
}

stage_conformance() {
    log "tarnix-conformance against the sample device trees"
    [[ -d "$OUT/normal" ]] || configure_build "$OUT/normal"
    cmake --build "$OUT/normal" -j"$JOBS" --target tarnix-conformance
    bash scripts/conformance.sh "$OUT/normal/conformance/tarnix-conformance" "$OUT/conformance"
    log "tarnix-conformance built as for a device (TARNIX_WITH_POSIX_PORT=OFF)"
    # Without the device's libraries only the objects are built: the same
    # sources compile against the platform headers alone.
    cmake -S "$SRC" -B "$OUT/device" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNIX_WERROR=ON \
        -DTARNIX_WITH_POSIX_PORT=OFF -DTARNIX_DEVICE_LIBRARIES= >"$OUT/device.configure.log" 2>&1 ||
        { cat "$OUT/device.configure.log"; return 1; }
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
    log "ONVIF end to end with the onvif npm client"
    if [[ ! -f "$OUT/normal/CMakeCache.txt" ]]; then
        cmake -S "$SRC" -B "$OUT/normal" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNIX_WERROR=ON \
            >"$OUT/normal.configure.log" 2>&1 || { cat "$OUT/normal.configure.log"; return 1; }
    fi
    cmake --build "$OUT/normal" -j"$JOBS" --target onvif_test_server
    # The client's exact version comes from package-lock.json.
    (cd tests/onvif/e2e && npm ci --no-audit --no-fund --loglevel=error)
    ONVIF_TEST_SERVER="$OUT/normal/tests/onvif_test_server" TARNIX_DEVICES="$SRC/devices" \
        timeout 120 node --test tests/onvif/e2e/onvif_e2e.test.js
}

stage_aarch64() {
    log "AArch64 cross build and tests under qemu"
    bash scripts/test-aarch64.sh "$OUT/aarch64"
}

stage_fuzz() {
    log "fuzz smoke runs"
    bash scripts/fuzz.sh smoke "$OUT/fuzz"
}

stage_browser() {
    log "sensorctl serve's settings page in headless Chromium"
    if [[ ! -d "$OUT/normal" ]]; then
        cmake -S "$SRC" -B "$OUT/normal" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNIX_WERROR=ON \
            -DTARNIX_REQUIRE_SERVE=ON >"$OUT/normal.configure.log" 2>&1 || { cat "$OUT/normal.configure.log"; return 1; }
    fi
    cmake --build "$OUT/normal" -j"$JOBS" --target sensorctl
    # Debian's selenium belongs to the system's Python.
    /usr/bin/python3 "$SRC/tests/browser/settings_page_test.py" --sensorctl "$OUT/normal/tools/sensorctl" \
        --out "$OUT/normal/browser"
}

stage_bench() {
    log "short benchmark run"
    bash scripts/bench.sh short "$OUT/bench"
}

for s in "${stages[@]}"; do
    "stage_$s"
done
log "all stages passed: ${stages[*]}"
