#!/usr/bin/env bash
# qffx scopes as a user runs it: real PNG files, the pictures it writes, the
# JSON numbers, exit codes, and nothing written when it fails. Exits 77
# (skipped) only when no OpenCL platform is present.
# usage: qffx_scopes_test.sh QFFX PNG_DIR WORK_DIR
set -uo pipefail
qffx=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
png=$2
work=$3
rm -rf "$work"
mkdir -p "$work"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failures=0

check() { # check NAME EXPECTED_STATUS COMMAND...
    local name=$1 expected=$2
    shift 2
    "$@" >"$tmp/out" 2>"$tmp/err"
    local status=$?
    if [ "$status" -ne "$expected" ]; then
        echo "FAIL $name: exit $status, expected $expected"; cat "$tmp/err"; failures=$((failures + 1))
    fi
}
fail() { echo "FAIL $*"; failures=$((failures + 1)); }

"$qffx" scopes --in "$png/rgb8_adam7.png" --out-dir "$work/out" --json >"$tmp/out" 2>"$tmp/err"
status=$?
if [ "$status" -eq 2 ] && grep -q "no OpenCL platform" "$tmp/err"; then
    cat "$tmp/err"
    exit 77
fi
[ "$status" -eq 0 ] || { cat "$tmp/err"; fail "scopes --json: exit $status"; }
for kind in histogram waveform vectorscope; do
    [ -s "$work/out/rgb8_adam7_$kind.png" ] || fail "no $kind picture"
done
for key in device width height histogram_luma histogram_r histogram_g histogram_b vectorscope_peak pictures; do
    grep -q "\"$key\": " "$tmp/out" || fail "--json has no \"$key\""
done
# The numbers: 256 counts a histogram, each summing to the 9x7 pixels; the
# file's red is 25 * x (7 pixels a column) and its green 30 * y (9 a row).
if command -v python3 >/dev/null; then
    python3 - "$tmp/out" <<'PY' || fail "--json numbers"
import json, sys
s = json.load(open(sys.argv[1]))
assert s["width"] == 9 and s["height"] == 7, s
for key in ("histogram_luma", "histogram_r", "histogram_g", "histogram_b"):
    assert len(s[key]) == 256 and sum(s[key]) == 63, key
assert all(s["histogram_r"][25 * x] == 7 for x in range(9))
assert all(s["histogram_g"][30 * y] == 9 for y in range(7))
assert s["device"]
PY
fi

# Text output, pictures in the current directory by default; a 16-bit frame.
mkdir -p "$tmp/cwd"
(cd "$tmp/cwd" && "$qffx" scopes --in "$png/greyalpha16.png") >"$tmp/out" 2>"$tmp/err" || fail "scopes without --out-dir"
grep -q "^$png/greyalpha16.png: 3x2, scopes on " "$tmp/out" || fail "text output: $(cat "$tmp/out")"
grep -q "wrote ./greyalpha16_vectorscope.png" "$tmp/out" || fail "text output names the pictures"
[ "$(ls "$tmp/cwd" | wc -l)" -eq 3 ] || fail "three pictures in the current directory: $(ls "$tmp/cwd")"

# Bad usage and bad files: status 2, nothing written.
check "no --in" 2 "$qffx" scopes --out-dir "$tmp/none"
check "unknown option" 2 "$qffx" scopes --in "$png/grey8.png" --fast
check "positional argument" 2 "$qffx" scopes "$png/grey8.png"
echo "not a png" >"$tmp/bad.png"
check "unreadable frame" 2 "$qffx" scopes --in "$tmp/bad.png" --out-dir "$tmp/none"
check "missing frame" 2 "$qffx" scopes --in "$tmp/missing.png" --out-dir "$tmp/none"
[ ! -e "$tmp/none" ] || fail "a failed run made $tmp/none"
touch "$tmp/file"
check "--out-dir is a file" 2 "$qffx" scopes --in "$png/grey8.png" --out-dir "$tmp/file"
ls "$tmp" | grep -q part && fail "partial files left"
check "help" 0 "$qffx" scopes --help
grep -q "usage: qffx scopes --in FRAME.png" "$tmp/out" || fail "help text"

[ "$failures" -eq 0 ] && echo "qffx scopes: all checks passed"
exit $((failures != 0))
