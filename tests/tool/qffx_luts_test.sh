#!/usr/bin/env bash
# qffx luts as a user runs it: real files in a temporary directory, exit
# codes, outputs, and no partial files left behind. Exits 77 (skipped) only
# when the GPU service cannot start for `apply`.
# usage: qffx_luts_test.sh QFFX SOURCE_DIR
set -uo pipefail
qffx=$1
src=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export XDG_DATA_HOME="$tmp/xdg"
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
expect_output() { # expect_output NAME TEXT: the last command printed exactly TEXT
    if [ "$(cat "$tmp/out")" != "$2" ]; then
        echo "FAIL $1: printed '$(cat "$tmp/out")', expected '$2'"; failures=$((failures + 1))
    fi
}
no_partials() {
    if ls "$tmp"/*partial* >/dev/null 2>&1; then echo "FAIL $1: partial files left"; failures=$((failures + 1)); fi
}

fixtures="$src/tests/data/luts"
png="$src/tests/data/png"

# Listing: one JSON object per .cube file, with every key.
check "list --json" 0 "$qffx" luts list --json --factory "$fixtures" --user "$tmp/none"
objects=$(grep -c '^ {"id": ".*", "name": ".*", "category": ".*", "manufacturer": ".*", "detail": ".*", "selectable": \(true\|false\)}' "$tmp/out")
files=$(ls "$fixtures"/*.cube | wc -l)
[ "$objects" -eq "$files" ] || { echo "FAIL list --json: $objects objects for $files files"; failures=$((failures + 1)); }
check "list of the embedded factory LUTs" 0 "$qffx" luts list
grep -q "^Film Look (Built-in)" "$tmp/out" || { echo "FAIL list: no Film Look"; failures=$((failures + 1)); }

# Installing: into $XDG_DATA_HOME/qffx/luts/, numbered names instead of overwriting.
cp "$fixtures/ocio_iridas_2.cube" "$tmp/Look - Maker - Film - Warm.cube"
check "install" 0 "$qffx" luts install "$tmp/Look - Maker - Film - Warm.cube"
expect_output "install" "installed $tmp/xdg/qffx/luts/Look - Maker - Film - Warm.cube"
check "install again" 0 "$qffx" luts install "$tmp/Look - Maker - Film - Warm.cube"
expect_output "install again" "installed $tmp/xdg/qffx/luts/Look - Maker - Film - Warm (2).cube"
check "manufacturers" 0 "$qffx" luts manufacturers
expect_output "manufacturers" "$(printf 'All\nMaker')"
echo "text" >"$tmp/notes.txt"
check "install skips an unsupported file" 1 "$qffx" luts install "$tmp/notes.txt"
grep -q "notes.txt is not a supported LUT file, skipped" "$tmp/err" || { echo "FAIL: no skip message"; failures=$((failures + 1)); }
check "install a missing file" 2 "$qffx" luts install "$tmp/missing.cube"
check "install nothing" 2 "$qffx" luts install

# ACES choice.
check "aces-input" 0 "$qffx" luts aces-input 2 --root /aces
expect_output "aces-input" "/aces/Input - Rec.709 - ITU - ACES.AP1.cube"
check "aces-output" 0 "$qffx" luts --root /aces aces-output 8
expect_output "aces-output" "/aces/Output - ACES.AP1 - ACES - ACES.AP0.cube"
check "aces-input 4 is HLG" 0 "$qffx" luts aces-input 4 --root /aces
expect_output "aces-input 4 is HLG" "/aces/Input - Rec.2020 - HLG (1000 nits) - ACES.AP1.cube"
check "aces-output 5 is PQ" 0 "$qffx" luts aces-output 5 --root /aces
expect_output "aces-output 5 is PQ" "/aces/Output - ACES.AP1 - Rec.2020 - ST2084 (1000 nits).cube"
check "direct" 0 "$qffx" luts direct 5 1 --root /aces
expect_output "direct" "/aces/Input - Rec.2020 - ST2084 (1000 nits) - Rec.709 (ACES.AP0).cube"
check "direct none" 0 "$qffx" luts direct 3 4 --root /aces
expect_output "direct none" "/aces/"
check "prefer-aces same" 0 "$qffx" luts prefer-aces 2 2
expect_output "prefer-aces same" "true"
check "prefer-aces direct" 0 "$qffx" luts prefer-aces 2 5
expect_output "prefer-aces direct" "false"
check "prefer-aces bad number" 2 "$qffx" luts prefer-aces two 5
check "unknown subcommand" 2 "$qffx" luts frobnicate

# Applying on the GPU.
"$qffx" luts apply "Film Look" --in "$png/rgb8_adam7.png" --out "$tmp/film.png" 2>"$tmp/err"
status=$?
if grep -q "no GPU service" "$tmp/err"; then echo "no GPU service: apply not tested"; exit 77; fi
[ "$status" -eq 0 ] && [ -s "$tmp/film.png" ] || { echo "FAIL apply by name: $status"; cat "$tmp/err"; failures=$((failures + 1)); }
check "apply a file, tetrahedral, 16-bit" 0 "$qffx" luts apply "$src/resources/luts/Rec709_Greyscale.cube" \
    --in "$png/greyalpha16.png" --out "$tmp/grey.png" --interpolation tetrahedral
[ -s "$tmp/grey.png" ] || { echo "FAIL: no grey.png"; failures=$((failures + 1)); }
printf 'LUT_3D_SIZE 2\n0 0 0\n' >"$tmp/bad.cube"
check "apply a malformed LUT" 2 "$qffx" luts apply "$tmp/bad.cube" --in "$png/rgb8_adam7.png" --out "$tmp/bad.png"
grep -q "bad.cube line 2: too few rows: 1 of 8" "$tmp/err" || { echo "FAIL: no reader message"; failures=$((failures + 1)); }
check "apply an unknown LUT" 2 "$qffx" luts apply "No Such Look" --in "$png/rgb8_adam7.png" --out "$tmp/bad.png"
check "apply with a bad interpolation" 2 "$qffx" luts apply "Film Look" --in "$png/rgb8_adam7.png" --out "$tmp/bad.png" --interpolation cubic
check "apply a missing picture" 2 "$qffx" luts apply "Film Look" --in "$tmp/missing.png" --out "$tmp/bad.png"
[ ! -e "$tmp/bad.png" ] || { echo "FAIL: output written after a failure"; failures=$((failures + 1)); }
mkdir "$tmp/readonly" && chmod 555 "$tmp/readonly"
if [ ! -w "$tmp/readonly" ]; then # root writes anywhere
    check "apply into an unwritable directory" 1 "$qffx" luts apply "Film Look" --in "$png/rgb8_adam7.png" --out "$tmp/readonly/x.png"
fi
check "apply into a missing directory" 1 "$qffx" luts apply "Film Look" --in "$png/rgb8_adam7.png" --out "$tmp/nodir/x.png"
no_partials "apply"

[ "$failures" -eq 0 ] && echo "all qffx luts checks passed"
exit $((failures > 0))
