#!/usr/bin/env bash
# Every example of docs/effects-guide.md (the ```fx blocks) is a complete
# effect: it reads without errors in both languages and compiles on the GPU.
# usage: qffx_guide_examples_test.sh QFFX SOURCE_DIR
set -uo pipefail
qffx=$1; src=$2
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config"
awk -v dir="$work" '
    /^```fx$/ { n++; file = sprintf("%s/example%d.fx", dir, n); inside = 1; next }
    /^```/ && inside { inside = 0; close(file); next }
    inside { print > file }
' "$src/docs/effects-guide.md"
count=$(ls "$work"/example*.fx 2>/dev/null | wc -l)
[ "$count" -ge 5 ] || { echo "FAIL only $count examples found in the guide"; exit 1; }
failures=0
for example in "$work"/example*.fx; do
    for lang in cg glsl; do
        "$qffx" generate --lang "$lang" "$example" >/dev/null 2>"$work/log" ||
            { echo "FAIL $(head -1 "$example") ($lang):"; cat "$work/log"; failures=$((failures + 1)); }
    done
    "$qffx" compile "$example" >/dev/null 2>"$work/log" ||
        { echo "FAIL $(head -1 "$example") (GPU compile):"; cat "$work/log"; failures=$((failures + 1)); }
done
echo "$count examples"
exit $((failures != 0))
