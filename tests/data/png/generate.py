#!/usr/bin/env python3
"""Writes the PNG fixtures of this folder with nothing but zlib, so that the
reader is checked against files that our own writer did not make.

Every pixel value follows a formula that the tests repeat (x, y from 0):
  grey8.png           4x3, grey 8-bit:            v = 60*x + y
  grey1.png           10x2, grey 1-bit:           v = 255 if (x + y) is odd else 0
  palette4_trns.png   5x2, palette 4-bit with tRNS: index = (x + y) % 3,
                      palette (255,0,0) (0,255,0) (0,0,255), alpha 255, 128, (none: 255)
  greyalpha16.png     3x2, grey+alpha 16-bit:     v = 1000*x + 20000*y + 1, a = 65535 - 300*x - y
  rgb8_adam7.png      9x7, RGB 8-bit, Adam7 interlaced: (r, g, b) = (x*25, y*30, (x*y) % 256)
"""
import os
import struct
import zlib


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xffffffff)


def pack_row(samples, depth):
    if depth == 8:
        return bytes(samples)
    if depth == 16:
        return b"".join(struct.pack(">H", s) for s in samples)
    out, acc, bits = bytearray(), 0, 0
    for s in samples:
        acc = (acc << depth) | s
        bits += depth
        if bits == 8:
            out.append(acc)
            acc, bits = 0, 0
    if bits:
        out.append(acc << (8 - bits))
    return bytes(out)


ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]


def write_png(name, width, height, depth, colour_type, pixel, extra=b"", interlaced=False):
    """pixel(x, y) returns the list of samples of one pixel."""
    raw = bytearray()
    if interlaced:
        for x0, y0, dx, dy in ADAM7:
            xs = range(x0, width, dx)
            for y in range(y0, height, dy):
                if len(xs):
                    raw += b"\0" + pack_row([s for x in xs for s in pixel(x, y)], depth)
    else:
        for y in range(height):
            raw += b"\0" + pack_row([s for x in range(width) for s in pixel(x, y)], depth)
    ihdr = struct.pack(">IIBBBBB", width, height, depth, colour_type, 0, 0, 1 if interlaced else 0)
    data = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", ihdr) + extra + chunk(b"IDAT", zlib.compress(bytes(raw), 9)) + chunk(b"IEND", b"")
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), name), "wb") as f:
        f.write(data)


write_png("grey8.png", 4, 3, 8, 0, lambda x, y: [60 * x + y])
write_png("grey1.png", 10, 2, 1, 0, lambda x, y: [(x + y) % 2])
write_png("palette4_trns.png", 5, 2, 4, 3, lambda x, y: [(x + y) % 3],
          extra=chunk(b"PLTE", bytes([255, 0, 0, 0, 255, 0, 0, 0, 255])) + chunk(b"tRNS", bytes([255, 128])))
write_png("greyalpha16.png", 3, 2, 16, 4, lambda x, y: [1000 * x + 20000 * y + 1, 65535 - 300 * x - y])
write_png("rgb8_adam7.png", 9, 7, 8, 2, lambda x, y: [x * 25, y * 30, (x * y) % 256], interlaced=True)
