#!/usr/bin/env bash
# qffx convert beside ffmpeg on the same 100-frame 1920x1080 stream: RGBA to
# 8-bit 4:2:2 (uyvy422) and back, BT.709 legal range, raw frames in and out
# of files in the temporary directory (in the page cache). Prints the wall
# time of each; the figures are in bench/README.md.
#
# Usage: bench/convert_vs_ffmpeg.sh QFFX   (for example build/tools/qffx/qffx)
set -euo pipefail
qffx=$(realpath "$1")
command -v ffmpeg >/dev/null || { echo "ffmpeg not found" >&2; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ff=(ffmpeg -v error -y)
"${ff[@]}" -f lavfi -i testsrc2=size=1920x1080:rate=25 -frames:v 100 -pix_fmt rgba -f rawvideo in.rgba

seconds() { # runs the command, prints its wall time in seconds
    local start end
    start=$(date +%s.%N)
    "$@"
    end=$(date +%s.%N)
    echo "$end - $start" | bc
}

echo "rgba -> uyvy422, 100 frames"
echo "  qffx:   $(seconds "$qffx" convert --in in.rgba --from rgba --size 1920x1080 --out q.uyvy --to uyvy422 --colourimetry bt709 --range legal) s"
echo "  ffmpeg: $(seconds "${ff[@]}" -f rawvideo -pix_fmt rgba -s 1920x1080 -i in.rgba -vf scale=out_color_matrix=bt709:out_range=tv:flags=accurate_rnd -pix_fmt uyvy422 -f rawvideo f.uyvy) s"
echo "uyvy422 -> rgba, 100 frames"
echo "  qffx:   $(seconds "$qffx" convert --in f.uyvy --from uyvy422 --size 1920x1080 --out q.rgba --to rgba --colourimetry bt709 --range legal) s"
echo "  ffmpeg: $(seconds "${ff[@]}" -f rawvideo -pix_fmt uyvy422 -s 1920x1080 -i f.uyvy -vf scale=in_color_matrix=bt709:in_range=tv:flags=accurate_rnd -pix_fmt rgba -f rawvideo f.rgba) s"
