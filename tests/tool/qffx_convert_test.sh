#!/usr/bin/env bash
# qffx convert end to end: v210 byte-identical to FFmpeg's encoder, exact
# repacking through every 10-bit layout, RGB round trips on the GPU,
# streaming through pipes, and refusals with exit status 2 and no output.
# Usage: qffx_convert_test.sh QFFX SOURCE_DIR. Exits 77 without ffmpeg.
set -u
qffx=$1
src=$2
command -v ffmpeg >/dev/null || { echo "ffmpeg not found"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0
check() { if eval "$2"; then echo "ok   $1"; else echo "FAIL $1"; failures=$((failures + 1)); fi; }
ff() { ffmpeg -nostdin -loglevel error -y "$@"; }

for w in 1920 1280 62 8; do
    ff -f lavfi -i "testsrc2=size=${w}x6:rate=25" -frames:v 3 -pix_fmt yuv422p10le -f rawvideo "in$w.yuv"
    ff -f rawvideo -pix_fmt yuv422p10le -s "${w}x6" -i "in$w.yuv" -c:v v210 -f rawvideo "ffmpeg$w.v210"
    "$qffx" convert --in "in$w.yuv" --from yuv422p10le --size "${w}x6" --out "qffx$w.v210"
    check "v210 of width $w is FFmpeg's, byte for byte" "cmp -s ffmpeg$w.v210 qffx$w.v210"
done

# v210 -> m101 -> dvs10 -> y4m 10-bit -> yuv422p10le gives the samples back
# (the input is within 4..1019, which v210 keeps).
"$qffx" convert --in qffx1920.v210 --size 1920x6 --out a.m101 &&
    "$qffx" convert --in a.m101 --size 1920x6 --out a.dvs10 &&
    "$qffx" convert --in a.dvs10 --size 1920x6 --out a.y4m --to y4m &&
    "$qffx" convert --in a.y4m --out - --to yuv422p10le > back.yuv
check "repacking through m101, dvs10 and y4m is exact" "cmp -s back.yuv in1920.yuv"

# RGB -> Y'CbCr on the GPU decodes in FFmpeg close to the source (BT.709, legal).
ff -f lavfi -i "testsrc2=size=64x32:rate=25" -frames:v 4 -pix_fmt rgba -f rawvideo src.rgba
ff -f rawvideo -pix_fmt rgba -s 64x32 -i src.rgba -f rawvideo - |
    "$qffx" convert --in - --from rgba --size 64x32 --out - --to yuv444p10le |
    ff -f rawvideo -pix_fmt yuv444p10le -s 64x32 -i - -vf scale=in_color_matrix=bt709:in_range=tv -pix_fmt rgba -f rawvideo back.rgba
check "a piped RGB -> yuv444p10le stream decodes in FFmpeg to the source" \
    "python3 -c \"import sys; a=open('src.rgba','rb').read(); b=open('back.rgba','rb').read(); sys.exit(len(a)!=len(b) or max(abs(x-y) for x,y in zip(a,b))>2)\""
"$qffx" convert --in "$src/tests/data/png/rgb8_adam7.png" --out p.y4m --filter lowpass &&
    "$qffx" convert --in p.y4m --out p.png --gamut-scaling full
check "png -> y4m -> png writes a picture" "test -s p.png"

# Refusals: exit status 2 and no output file.
head -c 1000 in1920.yuv > short.yuv
for args in "--in short.yuv --from yuv422p10le --size 1920x6 --out x.v210" \
            "--in in1920.yuv --from yuv422p10le --out x.v210" \
            "--in in1920.yuv --from yuv422p10le --size 1920x6 --out x.v210 --colourimetry bt999" \
            "--in in1920.yuv --from nope --size 1920x6 --out x.v210" \
            "--in in1920.yuv --size 1920x6 --out x.v210" \
            "--in src.rgba --from rgba --size 64x32 --out x.png"; do
    "$qffx" convert $args 2>/dev/null
    status=$?
    check "refused with 2, no output: $args" "test $status -eq 2 && ! ls x.* >/dev/null 2>&1"
done
exit $((failures > 0))
