#!/usr/bin/env bash
# Cross-builds the library, the platform port, the simulated ISP, the tools
# and the tests for AArch64, runs the whole test suite under qemu-aarch64, and
# runs tarnix-conformance against the sample device trees under qemu-aarch64.
# A test fails here exactly as it does in a native build: ctest runs every
# test program through the emulator set in cmake/toolchain-aarch64.cmake.
#
# Usage: scripts/test-aarch64.sh OUTDIR [CMAKE-ARGS...]
#   CMAKE-ARGS are added to the configuration (scripts/test.sh passes its
#   build flags).
# Environment: JOBS (default nproc), TARNIX_CTEST_TIMEOUT (seconds per test
# without a limit of its own, default 900: emulation is several times slower
# than native).
set -euo pipefail
cd "$(dirname "$0")/.."
SRC=$(pwd)

if [[ $# -lt 1 ]]; then
    echo "usage: $0 OUTDIR [CMAKE-ARGS...]" >&2
    exit 2
fi
OUT=$1
shift
EXTRA_CMAKE_ARGS=("$@")
JOBS=${JOBS:-$(nproc)}
TIMEOUT=${TARNIX_CTEST_TIMEOUT:-900}
START=$(date +%s)
BUILT=$START
report_time() {
    local end
    end=$(date +%s)
    echo "test-aarch64: build $((BUILT - START)) s, tests $((end - BUILT)) s, total $((end - START)) s"
}
trap report_time EXIT

scripts/deps.sh cross

# Some tests start AArch64 programs themselves (death tests re-execute their
# own program, the tools' tests run sensorctl). The kernel hands such programs
# to the emulator through binfmt_misc; register qemu-aarch64 there unless it
# already is. The registration stays for later runs.
register_binfmt() {
    local dir=/proc/sys/fs/binfmt_misc
    local qemu
    qemu=$(command -v qemu-aarch64)
    if [[ -e $dir/qemu-aarch64 ]]; then
        grep -qx enabled "$dir/qemu-aarch64" || echo 1 >"$dir/qemu-aarch64"
        return 0
    fi
    if [[ $(id -u) -ne 0 ]]; then
        echo "test-aarch64: qemu-aarch64 is not registered with binfmt_misc; run as root once to register it" >&2
        return 1
    fi
    if [[ ! -e $dir/register ]]; then
        mount -t binfmt_misc binfmt_misc "$dir"
    fi
    if [[ ! -e $dir/qemu-aarch64 ]]; then
        # ELF, 64-bit, little-endian, executable or shared object, machine AArch64.
        local magic='\x7f\x45\x4c\x46\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
        local mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
        echo ":qemu-aarch64:M::$magic:$mask:$qemu:F" >"$dir/register"
    fi
}
register_binfmt

mkdir -p "$OUT"
# The ONVIF part (tarnix_onvif) needs OpenSSL and cpp-httplib, which the cross
# group does not install for arm64; it is portable C++ tested natively.
echo "test-aarch64: configuring $OUT"
cmake -S "$SRC" -B "$OUT" \
    -DCMAKE_TOOLCHAIN_FILE="$SRC/cmake/toolchain-aarch64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARNIX_WERROR=ON -DTARNIX_BUILD_TESTS=ON -DTARNIX_WITH_ONVIF=OFF \
    "${EXTRA_CMAKE_ARGS[@]}" >"$OUT.configure.log" 2>&1 || { cat "$OUT.configure.log"; exit 1; }

# Every dependency must be the arm64 copy, never the host's.
for var in TINYXML_LIBRARY GTest_DIR; do
    value=$(sed -n "s/^$var:[A-Z]*=//p" "$OUT/CMakeCache.txt")
    if [[ "$value" != *aarch64-linux-gnu* ]]; then
        echo "test-aarch64: $var is '$value', not an aarch64-linux-gnu copy" >&2
        exit 1
    fi
done

echo "test-aarch64: building"
# Test lists are written when a test program is linked, with the emulator
# command in them: after a change of the toolchain file the test programs are
# linked again so that their lists follow it.
toolchain_sum=$(sha1sum cmake/toolchain-aarch64.cmake | cut -d' ' -f1)
if [[ "$(cat "$OUT/.toolchain.sha1" 2>/dev/null)" != "$toolchain_sum" ]]; then
    rm -f "$OUT"/tests/tarnix_*_tests
fi
cmake --build "$OUT" -j"$JOBS"
echo "$toolchain_sum" >"$OUT/.toolchain.sha1"
BUILT=$(date +%s)

# The programs are AArch64 code, so the suite cannot pass by running natively.
for bin in "$OUT/libtarnix.so" "$OUT/libtarnix_platform.so" "$OUT/libispsim.so" "$OUT/conformance/tarnix-conformance"; do
    if ! LC_ALL=C readelf -h "$bin" | grep -q 'Machine:.*AArch64'; then
        echo "test-aarch64: $bin is not an AArch64 binary" >&2
        exit 1
    fi
done

echo "test-aarch64: running the suite under qemu-aarch64"
# Emulation is ten to thirty times slower: the chaos run's watchdog allows a
# thread 20 s without progress instead of 2 s (a factory reset alone takes
# seconds here).
export TARNIX_STRESS_WATCHDOG_MS=${TARNIX_STRESS_WATCHDOG_MS:-20000}
(cd "$OUT" && ctest -j"$JOBS" --output-on-failure --no-tests=error --timeout "$TIMEOUT")

echo "test-aarch64: tarnix-conformance against the sample device trees under qemu-aarch64"
# The emulator command of cmake/toolchain-aarch64.cmake.
bash scripts/conformance.sh "$OUT/conformance/tarnix-conformance" "$OUT.conformance" \
    "${TARNIX_QEMU:-qemu-aarch64}" -L /usr/aarch64-linux-gnu -E LD_LIBRARY_PATH=/usr/aarch64-linux-gnu/lib \
    -E QEMU_LD_PREFIX=/usr/aarch64-linux-gnu
