#!/bin/sh
# Rewrites the expected outputs with qffx generate: NAME.cg (plain Cg),
# NAME.annotated.cg and NAME.glsl beside each golden effect here, and in
# shipped/ for each shipped effect (resources/shaders/*.fx but the _ includes,
# resources/effect-templates/*.fx). The include line is rewritten to the
# shaders directory /fx/ so that it does not depend on the machine.
# Review the diff before committing it.
#
# usage: tests/data/golden/regenerate.sh [path/to/qffx]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
qffx=${1:-$here/../../../build/tools/qffx/qffx}
[ -x "$qffx" ] || { echo "qffx not found at $qffx (give its path)" >&2; exit 2; }

shaders=$(cd "$here/../../../resources/shaders" && pwd)
fixed() { sed "s|^#include \"$shaders/|#include \"/fx/|"; }
# generate FX BASE: BASE.cg, BASE.annotated.cg and BASE.glsl from FX.
generate() {
    "$qffx" generate --shaders "$shaders" --lang cg --target plain "$1" | fixed >"$2.cg"
    "$qffx" generate --shaders "$shaders" --lang cg --target annotated "$1" | fixed >"$2.annotated.cg"
    "$qffx" generate --shaders "$shaders" --lang glsl "$1" | fixed >"$2.glsl"
    echo "regenerated ${2#"$here"/}"
}
for fx in "$here"/*.fx; do
    generate "$fx" "${fx%.fx}"
done
mkdir -p "$here/shipped"
rm -f "$here"/shipped/*.cg "$here"/shipped/*.glsl
for fx in "$shaders"/[!_]*.fx "$shaders"/../effect-templates/*.fx; do
    name=$(basename "$fx" .fx)
    generate "$fx" "$here/shipped/$name"
done
