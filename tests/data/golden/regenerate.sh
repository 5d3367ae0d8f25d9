#!/bin/sh
# Rewrites the expected outputs beside each golden effect with qffx generate:
# NAME.cg (plain Cg), NAME.annotated.cg and NAME.glsl. The shaders directory is
# fixed at /fx/ so that the include line does not depend on the machine.
# Review the diff before committing it.
#
# usage: tests/data/golden/regenerate.sh [path/to/qffx]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
qffx=${1:-$here/../../../build/tools/qffx/qffx}
[ -x "$qffx" ] || { echo "qffx not found at $qffx (give its path)" >&2; exit 2; }

for fx in "$here"/*.fx; do
    base=${fx%.fx}
    "$qffx" generate --shaders /fx/ --lang cg --target plain "$fx" >"$base.cg"
    "$qffx" generate --shaders /fx/ --lang cg --target annotated "$fx" >"$base.annotated.cg"
    "$qffx" generate --shaders /fx/ --lang glsl "$fx" >"$base.glsl"
    echo "regenerated $(basename "$base")"
done
