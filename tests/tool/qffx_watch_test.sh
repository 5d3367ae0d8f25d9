#!/usr/bin/env bash
# qffx watch as an effect author uses it: start it on a copy of an effects
# directory, save a changed effect, add a broken one, then stop it with SIGTERM.
set -euo pipefail
qffx=$1; shaders_src=$2
work=$(mktemp -d); trap 'rm -rf "$work"; [ -n "${pid:-}" ] && kill "$pid" 2>/dev/null || true' EXIT
mkdir -p "$work/shaders" "$work/templates"
cp "$shaders_src"/_utils.glsl "$shaders_src"/_utils.fx "$shaders_src"/Tint.fx "$work/shaders/"
export XDG_CONFIG_HOME="$work/config"
"$qffx" watch --shaders "$work/shaders" --templates "$work/templates" 2>"$work/log" &
pid=$!
wait_for() { for _ in $(seq 1 200); do grep -q "$1" "$work/log" && return 0; sleep 0.1; done; echo "missing: $1"; cat "$work/log"; exit 1; }
wait_for "qffx watch: watching"
grep -q "QfFxResources::Manager : 1 pixel shaders loaded" "$work/log"
sleep 1.1 # a new modification stamp
sed -i 's/y \* 2.0/y * 1.5/' "$work/shaders/Tint.fx"
wait_for "Recompiled $work/shaders/Tint.fx"
printf 'DeclareQuillframeEffect( "B", "C", "S", kNoNotes, kNoFlags )\nDeclareInput( Input )\nDeclareEntryPoint( Main )\n{\n   return undefinedThing;\n}\n' > "$work/templates/Broken.fx"
wait_for "Failed to compile $work/templates/Broken.fx"
kill -TERM "$pid"
wait "$pid"; status=$?
pid=
grep -q "qffx watch: shutting down" "$work/log"
exit $status
