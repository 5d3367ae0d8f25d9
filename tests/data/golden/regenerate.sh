#!/bin/sh
# Rewrites the expected outputs beside each golden effect with qffx generate:
# NAME.cg (plain Cg), NAME.annotated.cg and NAME.glsl. The include line is
# rewritten to the shaders directory /fx/ so that it does not depend on the machine.
# Review the diff before committing it.
#
# usage: tests/data/golden/regenerate.sh [path/to/qffx]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
qffx=${1:-$here/../../../build/tools/qffx/qffx}
[ -x "$qffx" ] || { echo "qffx not found at $qffx (give its path)" >&2; exit 2; }

shaders=$(cd "$here/../../../resources/shaders" && pwd)
fixed() { sed "s|^#include \"$shaders/|#include \"/fx/|"; }
for fx in "$here"/*.fx; do
    base=${fx%.fx}
    "$qffx" generate --shaders "$shaders" --lang cg --target plain "$fx" | fixed >"$base.cg"
    "$qffx" generate --shaders "$shaders" --lang cg --target annotated "$fx" | fixed >"$base.annotated.cg"
    "$qffx" generate --shaders "$shaders" --lang glsl "$fx" | fixed >"$base.glsl"
    echo "regenerated $(basename "$base")"
done
