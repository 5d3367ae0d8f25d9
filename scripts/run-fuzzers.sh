#!/usr/bin/env bash
# Runs every fuzz target of the fuzz preset's build for $1 seconds each
# (default 60), from the seed files that suit it. A finding fails the run and
# is printed; keep it as a regression test beside the target's tests.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
for target in build-fuzz/fuzz/fuzz_*; do
    [ -x "$target" ] || continue
    name=$(basename "$target")
    options=()
    case "$name" in
        fuzz_effect_reader) seeds=(resources/shaders tests/data/golden tests/data/gl) ;;
        fuzz_cube_reader) seeds=(tests/data/luts tests/luts/catalogue resources/luts) ;;
        fuzz_png_reader) seeds=(tests/data/png) options=(-dict=fuzz/png.dict) ;;
        fuzz_compile_path) seeds=(resources/shaders tests/data/golden) ;;
        fuzz_preferences) seeds=(fuzz/seeds/preferences) ;;
        fuzz_utf8) seeds=(fuzz/seeds/utf8) ;;
        fuzz_frame_files) seeds=(tests/tool/data) ;;
        fuzz_tool_options) seeds=(tests/tool/cases) ;;
        *) seeds=() ;;
    esac
    work=$(mktemp -d)
    echo "fuzzing $name for ${seconds}s"
    if ! "$target" -max_total_time="$seconds" -artifact_prefix="$work/" "${options[@]}" "$work" "${seeds[@]}" >"$work/log" 2>&1; then
        tail -n 40 "$work/log"
        echo "$name found a failing input: $(ls "$work"/crash-* "$work"/leak-* "$work"/timeout-* 2>/dev/null | head -n 1)"
        exit 1
    fi
    grep -E "^(Done|#[0-9]+ *DONE)" "$work/log" | tail -n 1 || true
    rm -rf "$work"
done
