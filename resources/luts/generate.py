#!/usr/bin/env python3
"""Writes the sample LUTs of the factory directory (run from this folder).

Film_Look.cube        3D, 17 points: a gentle S-curve, warm highlights, cool
                      shadows and a little less saturation, as print film does.
Rec709_Greyscale.cube 3D, 2 points: Rec.709 luma in all three channels (exact
                      at 2 points, since luma is linear in R, G and B).
Soft_Contrast.cube    1D, 64 points: a mild contrast curve on each channel.
"""


def fmt(v):
    return f"{min(max(v, 0.0), 1.0):.6f}"


def smooth_s(x, amount):
    # Blend of identity and a smoothstep around mid-grey.
    s = x * x * (3 - 2 * x)
    return x + (s - x) * amount


def film(r, g, b):
    r, g, b = (smooth_s(c, 0.35) for c in (r, g, b))
    y = 0.2126 * r + 0.7152 * g + 0.0722 * b
    r, g, b = (y + (c - y) * 0.85 for c in (r, g, b))
    # Warm highlights, cool shadows.
    r += 0.03 * y - 0.01 * (1 - y)
    b += -0.03 * y + 0.015 * (1 - y)
    return r, g, b


def write_3d(name, title, n, f):
    with open(name, "w", newline="\n") as out:
        out.write(f'TITLE "{title}"\n# Made by resources/luts/generate.py\nLUT_3D_SIZE {n}\n\n')
        for bi in range(n):
            for gi in range(n):
                for ri in range(n):
                    out.write(" ".join(fmt(v) for v in f(ri / (n - 1), gi / (n - 1), bi / (n - 1))) + "\n")


def write_1d(name, title, n, f):
    with open(name, "w", newline="\n") as out:
        out.write(f'TITLE "{title}"\n# Made by resources/luts/generate.py\nLUT_1D_SIZE {n}\n\n')
        for i in range(n):
            v = fmt(f(i / (n - 1)))
            out.write(f"{v} {v} {v}\n")


write_3d("Film_Look.cube", "Film look", 17, film)
write_3d("Rec709_Greyscale.cube", "Rec.709 to greyscale", 2,
         lambda r, g, b: (0.2126 * r + 0.7152 * g + 0.0722 * b,) * 3)
write_1d("Soft_Contrast.cube", "Soft contrast", 64, lambda x: smooth_s(x, 0.25))
