#!/usr/bin/env python3
"""qffx preview of a shipped effect: every cell of the sheet equals what
`qffx run` draws with the same parameter values (the row's values are printed
by preview), the first cell is the picture itself, and the built-in picture
gives a sheet of the documented layout.
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


with tempfile.TemporaryDirectory() as tmp:
    env = dict(os.environ, XDG_CONFIG_HOME=os.path.join(tmp, "config"))
    picture = os.path.join(src, "tests", "data", "png", "rgb8_adam7.png")
    sheet_path = os.path.join(tmp, "sheet.png")
    preview = subprocess.run([qffx, "preview", "Tint", "--in", picture, "--out", sheet_path, "--param", "Amount"],
                             capture_output=True, text=True, env=env)
    if preview.returncode != 0:
        print("FAIL preview:", preview.returncode, preview.stderr)
        sys.exit(1)
    values = preview.stdout.splitlines()[1].split(" = ")[1].split(", ")
    sheet = read_png(sheet_path)
    runs = {}
    for name, sets in [("defaults", [])] + [(v, ["--set", f"Amount={v}"]) for v in values]:
        out = os.path.join(tmp, f"run-{len(runs)}.png")
        result = subprocess.run([qffx, "run", "Tint", "--in", picture, "--out", out, *sets], capture_output=True, text=True, env=env)
        if result.returncode != 0:
            failures.append(f"run {name}: {result.stderr}")
            continue
        runs[name] = read_png(out)
    if len(runs) == 1 + STEPS:
        width, height = runs["defaults"][0], runs["defaults"][1]
        expected_size = (GAP + STEPS * (width + GAP), GAP + 2 * (height + LABEL + GAP))
        if sheet[:2] != expected_size:
            failures.append(f"sheet size {sheet[:2]}, expected {expected_size}")
        if cell(sheet, 0, 1, width, height) != runs["defaults"][3]:
            failures.append("the defaults cell differs from qffx run")
        for i, v in enumerate(values):
            if cell(sheet, 1, i, width, height) != runs[v][3]:
                failures.append(f"the cell of Amount={v} differs from qffx run --set Amount={v}")
        # Tint at Amount 0 leaves the picture as it is: so must the untouched cell.
        if cell(sheet, 0, 0, width, height) != runs["0"][3]:
            failures.append("the untouched cell is not the picture")

    builtin = subprocess.run([qffx, "preview", "GaussianBlur", "--out", sheet_path], capture_output=True, text=True, env=env)
    if builtin.returncode != 0 or read_png(sheet_path)[:2] != (GAP + STEPS * (320 + GAP), GAP + 2 * (180 + LABEL + GAP)):
        failures.append(f"built-in picture: exit {builtin.returncode} {builtin.stderr}")
    bad = subprocess.run([qffx, "preview", "Tint", "--out", sheet_path, "--param", "TintColour"], capture_output=True, env=env)
    if bad.returncode != 2:
        failures.append(f"--param of a colour parameter: exit {bad.returncode}, expected 2")

for failure in failures:
    print("FAIL", failure)
sys.exit(1 if failures else 0)
