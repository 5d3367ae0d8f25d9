#!/usr/bin/env bash
# qffx against inputs a hostile or careless user gives it: file names that are
# not UTF-8, the wrong kind of file for an input, FIFOs, pictures beyond the
# GPU's limit, a write cut short by a file-size limit, input larger than memory.
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

[ $failures -eq 0 ] && echo "all hostile inputs handled"
exit $((failures > 0))
