#!/usr/bin/env bash
# Installs the Debian packages the build needs, if any is missing.
# Usage: scripts/deps.sh [base|test|cross|fuzz|browser|node|gates|all]...
set -euo pipefail

want=()
for group in "${@:-base}"; do
    case "$group" in
        # sensorctl is part of a normal build, its serve command needs cpp-httplib and nlohmann-json;
        # the ONVIF services need libssl for their digests.
        # CLI11 and nlohmann-json are header-only (architecture "all"): the
        # same packages serve native and cross builds of tarnix-conformance.
        base) want+=(g++ cmake make libtinyxml-dev pkg-config libcpp-httplib-dev nlohmann-json3-dev libcli11-dev
                     libssl-dev) ;;
        test) want+=(g++ cmake make libtinyxml-dev libgtest-dev libgmock-dev libbenchmark-dev
                     pkg-config libcpp-httplib-dev nlohmann-json3-dev libcli11-dev libssl-dev) ;;
        cross) want+=(g++-aarch64-linux-gnu qemu-user libtinyxml-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64
                      libcli11-dev nlohmann-json3-dev) ;;
        fuzz) want+=(clang libclang-rt-dev) ;;
        # scripts/gates.sh: callgrind and memcheck (and their client request
        # headers), the benchmark build, and the AArch64 strip.
        gates) want+=(g++ cmake make libtinyxml-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev valgrind
                      binutils-aarch64-linux-gnu) ;;
        # The settings page of sensorctl serve in a real browser.
        browser) want+=(chromium chromium-driver python3-selenium) ;;
        # The ONVIF end-to-end client runs on node; an installed node counts.
        node) command -v node >/dev/null && command -v npm >/dev/null || want+=(nodejs npm) ;;
        all) want+=(g++ cmake make libtinyxml-dev libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-dev
                    pkg-config libcpp-httplib-dev nlohmann-json3-dev libcli11-dev libssl-dev chromium chromium-driver
                    python3-selenium valgrind binutils-aarch64-linux-gnu
                    g++-aarch64-linux-gnu qemu-user libtinyxml-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64) ;;
        *) echo "deps.sh: unknown group '$group'" >&2; exit 2 ;;
    esac
done

missing=()
need_arm64=0
for pkg in "${want[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
        [[ "$pkg" == *:arm64 ]] && need_arm64=1
    fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

SUDO=""
if [[ $(id -u) -ne 0 ]]; then SUDO="sudo"; fi
if [[ $need_arm64 -eq 1 ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
    $SUDO dpkg --add-architecture arm64
fi
echo "deps.sh: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
