#!/usr/bin/env bash
# Effects with mistakes at known places: every command of the tool that
# compiles (compile, effects --compile, watch) must report FILE.fx:LINE at the
# line a person fixes, which each fixture marks with "error here". An error in
# the shaders directory's _utils.glsl is reported at that file's own line.
# usage: qffx_error_places_test.sh QFFX SOURCE_DIR
set -uo pipefail
qffx=$1; src=$2
work=$(mktemp -d); trap 'rm -rf "$work"; [ -n "${pid:-}" ] && kill "$pid" 2>/dev/null || true' EXIT
export XDG_CONFIG_HOME="$work/config"
failures=0
fail() { echo "FAIL $*"; failures=$((failures + 1)); }

new_shaders() { # a fresh effects directory with the shipped helpers
    rm -rf "$work/shaders" "$work/templates"; mkdir -p "$work/shaders" "$work/templates"
    cp "$src"/resources/shaders/_utils.glsl "$src"/resources/shaders/_utils.fx "$work/shaders/"
}
expect_place() { # expect_place WHAT LOG PATH LINE
    grep -qF "$3:$4: " "$2" || { fail "$1: no '$3:$4: ' in:"; cat "$2"; }
}

for fixture in "$src"/tests/data/authoring/*.fx; do
    name=$(basename "$fixture")
    line=$(grep -n "error here" "$fixture" | cut -d: -f1)

    new_shaders; cp "$fixture" "$work/shaders/"
    "$qffx" compile --shaders "$work/shaders" --templates "$work/templates" "$work/shaders/$name" 2>"$work/log"
    [ $? -eq 1 ] || fail "compile $name: exit status"
    expect_place "compile $name" "$work/log" "$work/shaders/$name" "$line"

    "$qffx" effects --compile --shaders "$work/shaders" --templates "$work/templates" 2>"$work/log"
    [ $? -eq 1 ] || fail "effects --compile $name: exit status"
    grep -q "^Failed to compile $name$" "$work/log" || fail "effects --compile $name: the library's line"
    expect_place "effects --compile $name" "$work/log" "$work/shaders/$name" "$line"

    # watch: the file is saved while the tool watches.
    new_shaders
    "$qffx" watch --shaders "$work/shaders" --templates "$work/templates" 2>"$work/log" &
    pid=$!
    for _ in $(seq 1 200); do grep -q "qffx watch: watching" "$work/log" && break; sleep 0.1; done
    cp "$fixture" "$work/templates/$name"
    for _ in $(seq 1 200); do grep -qF "$work/templates/$name:" "$work/log" && break; sleep 0.1; done
    kill -TERM "$pid"; wait "$pid"; pid=
    expect_place "watch $name" "$work/log" "$work/templates/$name" "$line"
done

# A mistake in the helper file that every GLSL effect starts with.
new_shaders; cp "$src"/resources/shaders/Tint.fx "$work/shaders/"
echo "float brokenHelper() { return notDeclaredAnywhere; }" >>"$work/shaders/_utils.glsl"
utils_line=$(wc -l <"$work/shaders/_utils.glsl")
"$qffx" compile --shaders "$work/shaders" --templates "$work/templates" Tint 2>"$work/log"
[ $? -eq 1 ] || fail "compile with a broken _utils.glsl: exit status"
expect_place "compile with a broken _utils.glsl" "$work/log" "$work/shaders/_utils.glsl" "$utils_line"
"$qffx" effects --compile --shaders "$work/shaders" --templates "$work/templates" 2>"$work/log"
expect_place "effects --compile with a broken _utils.glsl" "$work/log" "$work/shaders/_utils.glsl" "$utils_line"

exit $((failures != 0))
