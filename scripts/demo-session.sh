#!/usr/bin/env bash
# The scripted sensorctl session of the demo: the whole life of channel 1 of
# a simulated camera, on a device root that holds a fresh copy of a sample
# device tree (the box camera's, or one laid out like it).
#
# Usage: scripts/demo-session.sh ROOT SENSORCTL
#
# Lines starting with "==>" are this script's narration, lines starting with
# "sensorctl:" (and "sensorctl>" for the shell's commands) are sensorctl's
# own results. The library's console output (traces, assertion reports)
# goes to ROOT/sensorctl.log, as each run's last line says; add --verbose to
# a sensorctl command to see it as an engineer sees it on a device.
set -euo pipefail

if [[ $# -ne 2 ]]; then
    echo "usage: $0 ROOT SENSORCTL" >&2
    exit 2
fi
ROOT=$1
SCTL=$2
CFG=/mnt/mtd/code/config_file

say() { printf '\n==> %s\n' "$*"; }   # a new paragraph of narration
more() { printf '==> %s\n' "$*"; }     # its next line
sctl() { "$SCTL" --root "$ROOT" "$@"; }
files() { # the channel's parameter files, as the camera's flash holds them
    local f found=0
    for f in "$ROOT$CFG"/*.cfg; do
        [[ -e $f ]] || continue
        found=1
        printf '==>   %s (%s bytes)\n' "${f#"$ROOT"}" "$(wc -c <"$f")"
    done
    [[ $found -eq 1 ]] || echo "==>   (none)"
}

say "Boot. Before the first init the flash holds no parameter files:"
files
say "First init of channel 1 (sensorctl scheme): merged style, factory values, scheme files, sensor thread."
more "The library's own console output of each run goes to $ROOT/sensorctl.log."
sctl scheme
say "The init created one file per user scheme and the version stamp:"
files

say "The typical request from the web page: brightness 60, saturation 45, then flush."
more "The ISP commands it caused follow the result (--log)."
sctl --log set '(34,60)(2337,45)'

say "Read back in a new run (the values come from the stored scheme):"
sctl get '(34,2337)'

say "The stored scheme 0, decoded; scheme 1 still holds the factory values, so the diff is the request:"
sctl cfg diff "$CFG/sensor1_1.cfg" "$CFG/sensor1_0.cfg"
sctl cfg dump "$CFG/sensor1_0.cfg" | sed -n '1,9p'
echo "==>   ... (one line per record)"

say "Time windows: scheme 0 runs 00:00-08:00 with the time schedule on (scheme mode 1), scheme 1"
more "08:00-20:00 with brightness 75. The fake clock moves and the sensor thread switches;"
more "only the keys that differ between the two schemes reach the ISP."
sctl shell <<'SESSION'
clock 07:00
mode 0
scheme 1
set (8001,8)(8002,0)(8003,20)(8004,0)(34,75)
scheme 0
set (8000,1)(8003,8)(8004,0)
log
mode 1
wait 3
scheme
clock 08:00
wait 3
scheme
log
clock 07:59
wait 3
scheme
log
SESSION

say "Day/night: scheme mode 2 makes scheme 0 the day scheme and scheme 1 the night scheme."
more "The simulated ISP reports night, later day again; the thread's reads of command 153 show it."
sctl --clock 12:00 shell <<'SESSION'
mode 0
scheme 0
set (8000,2)
mode 1
log
daynight night
wait 3
scheme
log
daynight day
wait 3
scheme
log
SESSION

say "The settings page, narrowed to what the ISP offers:"
sctl style --summary

say "Factory reset: the channel's files are deleted and rebuilt from the factory values."
sctl reset
sctl get '(34,2337,8000)'
sctl cfg diff "$CFG/sensor1_1.cfg" "$CFG/sensor1_0.cfg"

say "The simulated ISP keeps its values between runs in isp/state.conf:"
sed 's/^/==>   /' "$ROOT/isp/state.conf"

say "Session finished."
