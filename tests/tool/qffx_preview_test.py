#!/usr/bin/env python3
"""qffx preview and qffx run of shipped effects against what the effects'
maths give (resources/shaders/Tint.fx, cc3.fx), computed here: every cell of a
Tint sheet is the picture blended towards the tint colour by the cell's Amount
(the first cell the picture itself, the defaults cell Amount 0.5), `qffx run`
draws Tint and cc3 at their declared defaults, and the built-in picture gives
a sheet of the documented layout.
usage: qffx_preview_test.py QFFX SOURCE_DIR"""
import os
import struct
import subprocess
import sys
import tempfile
import zlib

qffx, src = sys.argv[1], sys.argv[2]
GAP, LABEL, STEPS = 8, 20, 5
failures = []


def read_png(path):
    """(width, height, bytes per texel, rows) of a non-interlaced RGBA PNG as qffx writes it."""
    data = open(path, "rb").read()
    at, idat, header = 8, b"", None
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        at += 12 + length
    width, height, depth, colour, _, _, interlace = header
    assert colour == 6 and interlace == 0, "qffx writes RGBA without interlacing"
    bpp = 4 * depth // 8
    raw, stride, rows, prev = zlib.decompress(idat), width * bpp, [], bytearray(width * bpp)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - bpp] if i >= bpp else 0
            b, c = prev[i], prev[i - bpp] if i >= bpp else 0
            p = a + b - c
            predictor = [0, a, b, (a + b) // 2,
                         a if abs(p - a) <= abs(p - b) and abs(p - a) <= abs(p - c) else b if abs(p - b) <= abs(p - c) else c][kind]
            line[i] = (line[i] + predictor) & 0xFF
        rows.append(bytes(line))
        prev = line
    return width, height, bpp, rows


def cell(sheet, row, column, width, height):
    _, _, bpp, rows = sheet
    left, top = GAP + column * (width + GAP), GAP + row * (height + LABEL + GAP)
    return [r[left * bpp:(left + width) * bpp] for r in rows[top:top + height]]


TINT = (0.9, 0.7, 0.4)  # Tint's declared colour


def write_png(path, width, height, texel):
    """An 8-bit RGBA PNG of texel(x, y) -> (r, g, b, a)."""
    raw = b"".join(b"\0" + b"".join(bytes(texel(x, y)) for x in range(width)) for y in range(height))

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)) +
                chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


def picture_texel(x, y):
    """Mid grey, then a colour ramp, then saturated corners of the cube."""
    if y < 4:
        return (128, 128, 128, 255)
    if y < 12:
        return (x * 17, 255 - x * 17, (x * y * 11) % 256, 255)
    return (255 * (x & 1), 255 * (x >> 1 & 1), 255 * (x >> 2 & 1), 255 - 8 * x)


def tint(texel, amount):
    """Tint.fx: lerp(src, saturate(colour * luma709(src) * 2), amount), alpha kept."""
    r, g, b, a = (v / 255 for v in texel)
    y = 0.2126 * r + 0.7152 * g + 0.0722 * b
    out = [s + (min(max(c * y * 2, 0), 1) - s) * amount for s, c in zip((r, g, b), TINT)]
    return tuple(round(v * 255) for v in out) + (texel[3],)


def texels(rows):
    return [tuple(r[i:i + 4]) for r in rows for i in range(0, len(r), 4)]


def worst(got, expected):
    return max(max(abs(a - b) for a, b in zip(g, e)) for g, e in zip(got, expected))


with tempfile.TemporaryDirectory() as tmp:
    env = dict(os.environ, XDG_CONFIG_HOME=os.path.join(tmp, "config"))
    width, height = 16, 16
    picture = os.path.join(tmp, "picture.png")
    write_png(picture, width, height, picture_texel)
    source = [picture_texel(x, y) for y in range(height) for x in range(width)]

    sheet_path = os.path.join(tmp, "sheet.png")
    preview = subprocess.run([qffx, "preview", "Tint", "--in", picture, "--out", sheet_path, "--param", "Amount"],
                             capture_output=True, text=True, env=env)
    if preview.returncode != 0:
        print("FAIL preview:", preview.returncode, preview.stderr)
        sys.exit(1)
    values = [float(v) for v in preview.stdout.splitlines()[1].split(" = ")[1].split(", ")]
    if values != [0, 0.25, 0.5, 0.75, 1]:
        failures.append(f"Amount swept over {values}, expected its range 0 to 1 in five steps")
    sheet = read_png(sheet_path)
    expected_size = (GAP + STEPS * (width + GAP), GAP + 2 * (height + LABEL + GAP))
    if sheet[:2] != expected_size:
        failures.append(f"sheet size {sheet[:2]}, expected {expected_size}")
    else:
        cells = [(0, 0, 0), (0, 1, 0.5)] + [(1, i, v) for i, v in enumerate(values)]
        for row, column, amount in cells:
            got = texels(cell(sheet, row, column, width, height))
            difference = worst(got, [tint(t, amount) for t in source])
            if difference > 1:
                failures.append(f"cell {row},{column}: {difference} codes from Tint at Amount {amount}")
        # Along the sweep, the mid grey moves towards the tint colour, and gets there.
        greys = [texels(cell(sheet, 1, i, width, height))[0][:3] for i in range(STEPS)]
        distances = [sum(abs(g - round(c * 255)) for g, c in zip(grey, TINT)) for grey in greys]
        if distances != sorted(distances, reverse=True) or distances[0] == distances[-1]:
            failures.append(f"the mid grey does not approach the tint colour along the sweep: {greys}")
        if greys[-1] != (230, 179, 102):
            failures.append(f"mid grey at Amount 1 is {greys[-1]}, expected the tint colour (230, 179, 102)")

    # qffx run draws from the declared defaults too.
    runs = [("Tint", ["--set", "Amount=1"], lambda t: tint(t, 1)), ("Tint", [], lambda t: tint(t, 0.5)),
            ("cc3", [], lambda t: t)]
    for effect, sets, reference in runs:
        out = os.path.join(tmp, "run.png")
        result = subprocess.run([qffx, "run", effect, "--in", picture, "--out", out, *sets], capture_output=True, text=True, env=env)
        if result.returncode != 0:
            failures.append(f"run {effect} {sets}: {result.stderr}")
            continue
        difference = worst(texels(read_png(out)[3]), [reference(t) for t in source])
        if difference > 1:
            failures.append(f"run {effect} {sets}: {difference} codes from the reference")

    builtin = subprocess.run([qffx, "preview", "GaussianBlur", "--out", sheet_path], capture_output=True, text=True, env=env)
    if builtin.returncode != 0 or read_png(sheet_path)[:2] != (GAP + STEPS * (320 + GAP), GAP + 2 * (180 + LABEL + GAP)):
        failures.append(f"built-in picture: exit {builtin.returncode} {builtin.stderr}")
    bad = subprocess.run([qffx, "preview", "Tint", "--out", sheet_path, "--param", "TintColour"], capture_output=True, env=env)
    if bad.returncode != 2:
        failures.append(f"--param of a colour parameter: exit {bad.returncode}, expected 2")

for failure in failures:
    print("FAIL", failure)
sys.exit(1 if failures else 0)
