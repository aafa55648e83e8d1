#!/usr/bin/env python3
"""Draws Vistel's icon into data/icons/vistel-SIZE.png at the sizes a desktop asks for.

The icon is a lens seen from the front on a dark blue tile: a light metal ring around six
aperture blades in the colors of a color wheel, curved as blades are, and a dark opening in
the middle with a glint. It is drawn from its geometry, four by four samples a pixel, so
that every size is sharp; run it again after changing the drawing.
"""
import math
import os
import struct
import sys
import zlib

SIZES = [16, 24, 32, 48, 64, 128, 256]
SAMPLES = 4  # samples a pixel each way


def mix(a, b, t):
    return tuple(a[i] + (b[i] - a[i]) * t for i in range(len(a)))


def blade_color(index):
    # Six hues round the wheel, softened so that the tile does not shout.
    hue = index / 6.0
    r = abs(hue * 6 - 3) - 1
    g = 2 - abs(hue * 6 - 2)
    b = 2 - abs(hue * 6 - 4)
    full = tuple(max(0.0, min(1.0, c)) for c in (r, g, b))
    return mix(full, (1.0, 1.0, 1.0), 0.18)


def inside_rounded_square(x, y, radius):
    # x, y in 0..1 over the tile, whose corners are rounded by radius.
    margin = 0.04
    lo, hi = margin + radius, 1 - margin - radius
    dx = max(lo - x, 0.0, x - hi)
    dy = max(lo - y, 0.0, y - hi)
    return dx * dx + dy * dy <= radius * radius and margin <= x <= 1 - margin and \
        margin <= y <= 1 - margin


def sample(x, y):
    """The color (r, g, b, a) at a point of the tile, x and y in 0..1, y down."""
    if not inside_rounded_square(x, y, 0.18):
        return (0.0, 0.0, 0.0, 0.0)
    top, bottom = (0.19, 0.32, 0.52), (0.07, 0.13, 0.24)
    color = mix(top, bottom, y)
    cx, cy = 0.5, 0.5
    dx, dy = x - cx, y - cy
    r = math.hypot(dx, dy)
    ring_outer, ring_inner, opening = 0.40, 0.335, 0.125
    if r <= ring_outer:
        if r > ring_inner:
            # The ring: lighter above, as lit from the top left.
            light = max(0.0, min(1.0, 0.5 - 0.5 * (dx + dy) / ring_outer))
            color = mix((0.55, 0.58, 0.63), (0.93, 0.95, 0.97), light)
            if r > ring_outer - 0.012 or r < ring_inner + 0.01:
                color = mix(color, (0.1, 0.12, 0.16), 0.55)
        else:
            # Blades: sectors turned more the further out, so their edges curve.
            theta = math.atan2(dy, dx) + 1.25 * r / ring_inner
            index = int(math.floor(theta / (2 * math.pi / 6))) % 6
            color = blade_color(index)
            # Each blade darker along its leading edge, as blades overlap.
            within = (theta / (2 * math.pi / 6)) % 1.0
            color = mix(color, (0.0, 0.0, 0.0), 0.35 * (1 - within))
            # The opening: a hexagon, turned with the blades.
            angle = math.atan2(dy, dx) + 0.4
            sector = (angle % (math.pi / 3)) - math.pi / 6
            if r * math.cos(sector) < opening * math.cos(math.pi / 6):
                color = (0.03, 0.04, 0.07)
                gx, gy = dx + 0.05, dy + 0.05
                if (gx * gx) / 0.0006 + (gy * gy) / 0.00025 < 1:
                    color = mix(color, (1.0, 1.0, 1.0), 0.8)
    return color + (1.0,)


def pixel(size, px, py):
    total = [0.0, 0.0, 0.0, 0.0]
    for sy in range(SAMPLES):
        for sx in range(SAMPLES):
            x = (px + (sx + 0.5) / SAMPLES) / size
            y = (py + (sy + 0.5) / SAMPLES) / size
            r, g, b, a = sample(x, y)
            total[0] += r * a
            total[1] += g * a
            total[2] += b * a
            total[3] += a
    n = SAMPLES * SAMPLES
    alpha = total[3] / n
    if alpha == 0:
        return (0, 0, 0, 0)
    return tuple(max(0, min(255, int(round(c / total[3] * 255)))) for c in total[:3]) + \
        (int(round(alpha * 255)),)


def png(size):
    rows = b""
    for py in range(size):
        row = bytearray([0])  # no filter
        for px in range(size):
            row.extend(pixel(size, px, py))
        rows += bytes(row)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
            chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "icons")
    os.makedirs(folder, exist_ok=True)
    for size in SIZES:
        with open(os.path.join(folder, "vistel-%d.png" % size), "wb") as out:
            out.write(png(size))
    return 0


if __name__ == "__main__":
    sys.exit(main())
