#!/usr/bin/env bash
# qffx against inputs a hostile or careless user gives it: file names that are
# not UTF-8, the wrong kind of file for an input, FIFOs, pictures beyond the
# GPU's limit, a write cut short by a file-size limit, input larger than memory,
# outputs that are FIFOs, links, directories or devices, signals while writing.
# Usage: qffx_hostile_input_test.sh QFFX SOURCE_DIR [--no-memory-limit]
set -uo pipefail
qffx=$1 src=$2
picture=$src/tests/data/png/rgb8_adam7.png
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect STATUS PATTERN COMMAND...: the exit status and a line of standard error.
expect() {
    local status=$1 pattern=$2
    shift 2
    "$@" >"$work/out" 2>"$work/err"
    local got=$?
    [ "$got" -eq 77 ] && { echo "no GPU: skipped"; exit 77; }
    [ "$got" -eq "$status" ] || fail "$* gave exit $got, not $status: $(cat "$work/err")"
    grep -q -- "$pattern" "$work/err" || fail "$* did not say '$pattern': $(cat "$work/err")"
}

# A name that is not UTF-8 is written and read under its own bytes.
odd=$work/$'a\xff\xfe.png'
"$qffx" run Tint --in "$picture" --out "$odd" || fail "run --out with a non-UTF-8 name"
[ -f "$odd" ] || fail "the output is not under its own name: $(ls "$work")"
"$qffx" run Tint --in "$odd" --out "$work/b.png" || fail "run --in with a non-UTF-8 name"

# The wrong kind of file for an input is refused, not run into a black picture.
expect 2 "input 'Lut' is a 3D look-up table" "$qffx" run ApplyLUT --in "$picture" --out "$work/c.png" --input Lut="$picture"
expect 2 "takes a picture, not the 3D look-up table" "$qffx" run MaskedExposure --in "$picture" --out "$work/c.png" \
    --input Mask="$src/tests/data/luts/ocio_iridas_2.cube"
"$qffx" run ApplyLUT --in "$picture" --out "$work/c.png" --input Lut="$src/tests/data/luts/ocio_iridas_17.cube" ||
    fail "a .cube file for a 3D input"
expect 2 "finite number" "$qffx" run Tint --in "$picture" --out "$work/c.png" --set Amount=nan

# A FIFO is not a file: refused at once instead of waiting for a writer.
mkfifo "$work/fifo"
expect 2 "not a regular file" timeout 20 "$qffx" run Tint --in "$work/fifo" --out "$work/c.png"

# A picture wider than the GPU takes is refused from its header.
python3 - "$work/wide.png" <<'PY'
import struct, sys, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
w, h = 32000, 1
raw = b"".join(b"\0" + bytes(w * 4) for _ in range(h))
png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 6, 0, 0, 0))
png += chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b"")
open(sys.argv[1], "wb").write(png)
PY
expect 2 "the GPU takes at most" "$qffx" run Tint --in "$work/wide.png" --out "$work/c.png"

# A write cut short by a file-size limit leaves the previous output as it was
# and no temporary file behind.
python3 - "$work/noise.png" <<'PY'
import os, struct, sys, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
w = h = 128
raw = b"".join(b"\0" + os.urandom(w * 4) for _ in range(h))
png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 6, 0, 0, 0))
png += chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b"")
open(sys.argv[1], "wb").write(png)
PY
cp "$work/b.png" "$work/keep.png"
before=$(cksum <"$work/keep.png")
(ulimit -f 16 && "$qffx" run Tint --in "$work/noise.png" --out "$work/keep.png" 2>"$work/err")
[ $? -eq 2 ] || fail "an interrupted write did not give exit 2: $(cat "$work/err")"
[ "$(cksum <"$work/keep.png")" = "$before" ] || fail "an interrupted write changed the previous output"
leftovers=$(find "$work" -name 'keep.png?*' | wc -l)
[ "$leftovers" -eq 0 ] || fail "an interrupted write left $(find "$work" -name 'keep.png?*')"

# More input than memory: a message and exit 2, not an abort. (Skipped under
# sanitizers, which cannot run under an address-space limit.)
if [ "${3:-}" != "--no-memory-limit" ]; then
    head -c $((15 * 1024 * 1024)) /dev/zero | tr '\0' 'x' >"$work/huge.fx"
    (ulimit -v 50000 && "$qffx" generate "$work/huge.fx" >/dev/null 2>"$work/err")
    status=$?
    [ $status -eq 2 ] && grep -q "out of memory" "$work/err" ||
        fail "input larger than memory gave exit $status: $(head -c 300 "$work/err")"
    (ulimit -v 50000 && "$qffx" generate Tint >/dev/null 2>&1) || fail "the memory limit leaves no room for a small effect"
fi

# Outputs respect what they replace.
y4m=$src/tests/tool/data/two_by_two.y4m
out=$work/outputs
mkdir -p "$out"
mkfifo "$out/fifo"
timeout 20 cat "$out/fifo" >"$out/from_fifo" &
reader=$!
timeout 20 "$qffx" convert --in "$y4m" --out "$out/fifo" --to y4m 2>"$work/err" || fail "convert into a FIFO: $(cat "$work/err")"
wait $reader
[ -p "$out/fifo" ] || fail "the FIFO was replaced"
[ -s "$out/from_fifo" ] || fail "the FIFO's reader got nothing"
echo old >"$out/target.y4m"
ln -s target.y4m "$out/link.y4m"
"$qffx" convert --in "$y4m" --out "$out/link.y4m" || fail "convert through a symbolic link"
[ -L "$out/link.y4m" ] || fail "the symbolic link was replaced"
[ "$(head -c 9 "$out/target.y4m")" = YUV4MPEG2 ] || fail "the link's target kept its old content"
mkdir "$out/dir.y4m"
expect 2 "'$out/dir.y4m' is a directory" "$qffx" convert --in "$y4m" --out "$out/dir.y4m"
echo old >"$out/mode.y4m"
chmod 644 "$out/mode.y4m"
"$qffx" convert --in "$y4m" --out "$out/mode.y4m"
[ "$(stat -c %a "$out/mode.y4m")" = 644 ] || fail "a replaced file's mode became $(stat -c %a "$out/mode.y4m")"
(umask 027 && "$qffx" convert --in "$y4m" --out "$out/new.y4m")
[ "$(stat -c %a "$out/new.y4m")" = 640 ] || fail "a new file under umask 027 got mode $(stat -c %a "$out/new.y4m")"
# A device is written to, never replaced (as root on a private node, so that
# a fault cannot replace the system's /dev/full).
full=/dev/full
[ "$(id -u)" = 0 ] && mknod "$out/full" c 1 7 && full=$out/full
expect 2 "cannot write '$full': No space left on device" "$qffx" convert --in "$y4m" --out "$full" --to y4m
[ -c "$full" ] || fail "$full is no longer a device"
# A scopes picture that cannot be put in place: no "wrote", no temporary files.
mkdir -p "$out/scopes/rgb8_adam7_waveform.png"
"$qffx" scopes --in "$picture" --out-dir "$out/scopes" >"$work/out" 2>"$work/err"
status=$?
if ! grep -q "no OpenCL platform" "$work/err"; then
    [ $status -ne 0 ] || fail "scopes over a directory gave exit 0"
    grep -q wrote "$work/out" && fail "scopes said 'wrote' for pictures not in place"
fi
# SIGINT, SIGTERM and SIGHUP remove the temporary file and end as the signal does.
# (Job control on: a background job would otherwise start with SIGINT ignored.)
set -m
for signal in INT TERM HUP; do
    sleep 2 | "$qffx" convert --from rgba --size 2x2 --in - --out "$out/sig.y4m" --to y4m 2>/dev/null &
    pid=$!
    for _ in $(seq 50); do ls "$out"/sig.y4m.part* >/dev/null 2>&1 && break; sleep 0.1; done
    kill -$signal $pid
    wait $pid
    status=$?
    expected=$((128 + $(kill -l $signal)))
    [ $status -eq $expected ] || fail "SIG$signal gave exit $status, not $expected"
    ls "$out"/sig.y4m* >/dev/null 2>&1 && fail "SIG$signal left $(ls "$out"/sig.y4m*)"
done
set +m
leftovers=$(find "$out" -name '*.part*' | wc -l)
[ "$leftovers" -eq 0 ] || fail "temporary files left: $(find "$out" -name '*.part*')"

# A header's claim of a huge frame takes no memory before the frame's data.
if [ "${3:-}" != "--no-memory-limit" ]; then
    (ulimit -v 1000000 && "$qffx" convert --in "$src/tests/tool/data/huge_claim.y4m" --out "$out/x.y4m" 2>"$work/err")
    grep -q "truncated frame: 0 of" "$work/err" || fail "a huge y4m claim without data: $(head -c 300 "$work/err")"
    (ulimit -v 1000000 && "$qffx" convert --from rgba --size 16384x16384 --in /dev/null --out "$out/x.y4m" 2>"$work/err")
    grep -q "no frames" "$work/err" || fail "a huge --size without data: $(head -c 300 "$work/err")"
fi

# watch sees SIGINT at once while a file in its directory changes without end.
mkdir -p "$work/w/shaders" "$work/w/templates"
cp "$src"/resources/shaders/_utils.glsl "$src"/resources/shaders/_utils.fx "$src"/resources/shaders/Tint.fx "$work/w/shaders/"
set -m
XDG_CONFIG_HOME=$work/w/config "$qffx" watch --shaders "$work/w/shaders" --templates "$work/w/templates" 2>"$work/w/log" &
watcher=$!
set +m
for _ in $(seq 300); do grep -q "qffx watch: watching" "$work/w/log" && break; sleep 0.1; done
(for _ in $(seq 3000); do echo x >"$work/w/shaders/.Tint.fx.swp.fx"; sleep 0.01; done) &
writer=$!
sleep 1
kill -INT $watcher
start=$(date +%s%N)
for _ in $(seq 100); do kill -0 $watcher 2>/dev/null || break; sleep 0.05; done
elapsed=$((($(date +%s%N) - start) / 1000000))
kill $writer 2>/dev/null
wait $watcher
status=$?
[ $status -eq 0 ] || fail "watch under a stream of changes ended with $status: $(tail -3 "$work/w/log")"
echo "watch ended ${elapsed} ms after SIGINT"
[ $elapsed -lt 3000 ] || fail "watch took ${elapsed} ms to act on SIGINT under a stream of changes"

[ $failures -eq 0 ] && echo "all hostile inputs handled"
exit $((failures > 0))
