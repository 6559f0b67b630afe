#!/usr/bin/env python3
"""Draws the tray icon and the tray menu's icons: assets/images/tray/*.png.

Each picture is a set of plain geometric shapes (circles, rectangles, polygons, thick
lines), filled in one colour and smoothed by sampling every pixel 4x4 times. Only the
standard library is used, and the output is the same byte for byte on every run.

Usage: scripts/make-tray-icons.py [OUTPUT_FOLDER]
"""
import math
import os
import struct
import sys
import zlib

SIZE = 32
SAMPLES = 4  # per axis and pixel
INK = (64, 64, 72)  # menu icons: dark grey on the menu's light background
RED = (253, 1, 3)
BLUE = (37, 99, 235)
WHITE = (255, 255, 255)


# ---- shapes: each is a function (x, y) -> bool in pixel coordinates --------


def circle(cx, cy, r):
    return lambda x, y: (x - cx) ** 2 + (y - cy) ** 2 <= r * r


def ring(cx, cy, r_outer, r_inner):
    return lambda x, y: r_inner * r_inner <= (x - cx) ** 2 + (y - cy) ** 2 <= r_outer * r_outer


def rect(x0, y0, x1, y1, radius=0.0):
    def inside(x, y):
        if not (x0 <= x <= x1 and y0 <= y <= y1):
            return False
        # Corners are cut by a quarter circle of `radius`.
        dx = max(x0 + radius - x, 0, x - (x1 - radius))
        dy = max(y0 + radius - y, 0, y - (y1 - radius))
        return dx * dx + dy * dy <= radius * radius

    return inside


def polygon(points):
    def inside(x, y):
        result = False
        j = len(points) - 1
        for i, (xi, yi) in enumerate(points):
            xj, yj = points[j]
            if (yi > y) != (yj > y) and x < (xj - xi) * (y - yi) / (yj - yi) + xi:
                result = not result
            j = i
        return result

    return inside


def line(x0, y0, x1, y1, width):
    length2 = (x1 - x0) ** 2 + (y1 - y0) ** 2

    def inside(x, y):
        t = max(0.0, min(1.0, ((x - x0) * (x1 - x0) + (y - y0) * (y1 - y0)) / length2))
        px, py = x0 + t * (x1 - x0), y0 + t * (y1 - y0)
        return (x - px) ** 2 + (y - py) ** 2 <= (width / 2) ** 2

    return inside


def arc(cx, cy, r, width, start_deg, end_deg):
    """A ring segment from start to end, counter-clockwise, angles in degrees with y up."""

    def inside(x, y):
        d = math.hypot(x - cx, y - cy)
        if abs(d - r) > width / 2:
            return False
        angle = math.degrees(math.atan2(cy - y, x - cx)) % 360
        return (angle - start_deg) % 360 <= (end_deg - start_deg) % 360

    return inside


def gear(cx, cy, r_outer, r_root, teeth):
    def inside(x, y):
        d = math.hypot(x - cx, y - cy)
        angle = math.atan2(y - cy, x - cx)
        # Square teeth: the outer radius on half of each tooth's period.
        on_tooth = (angle * teeth / (2 * math.pi)) % 1.0 < 0.5
        return d <= (r_outer if on_tooth else r_root)

    return inside


# ---- the pictures: lists of (shape, colour or None to erase) ---------------


def logo():
    return [
        (rect(1, 1, 31, 31, 7), BLUE),
        (circle(16, 16, 10), WHITE),
        (circle(16, 16, 7.5), BLUE),
        (circle(16, 16, 5), RED),
    ]


def video():
    return [
        (rect(2, 9, 21, 24, 3), INK),
        (polygon([(22, 14), (30, 9), (30, 24), (22, 19)]), INK),
    ]


def camera():
    return [
        (rect(2, 9, 30, 27, 3), INK),
        (polygon([(10, 9), (12, 5), (20, 5), (22, 9)]), INK),
        (circle(16, 18, 6.5), None),
        (circle(16, 18, 4.5), INK),
    ]


def images():
    return [
        (rect(6, 3, 30, 21, 2), INK),
        (rect(8, 5, 28, 19), None),
        (rect(2, 9, 26, 28, 2), INK),
        (rect(4, 11, 24, 26), None),
        (polygon([(5, 25), (11, 17), (15, 22), (18, 19), (23, 25)]), INK),
        (circle(19, 15, 2), INK),
    ]


def cog():
    return [
        (gear(16, 16, 14, 11, 8), INK),
        (circle(16, 16, 5), None),
    ]


def undo_alt():
    return [
        (arc(16, 17, 10, 4, 120, 60), INK),
        (polygon([(3, 6), (13, 6), (3, 16)]), INK),
    ]


def times():
    return [
        (line(7, 7, 25, 25, 5), INK),
        (line(25, 7, 7, 25, 5), INK),
    ]


PICTURES = {
    "Orlune-logo_taskbar.png": logo,
    "Orlune-Extra-Assets_0000_Font-Awesome-Video.png": video,
    "Orlune-Extra-Assets_0001_Font-Awesome-Camera.png": camera,
    "Orlune-Extra-Assets_0002_Font-Awesome-images.png": images,
    "Orlune-Extra-Assets_0003_Font-Awesome-cog.png": cog,
    "Orlune-Extra-Assets_0004_Font-Awesome-Undo-Alt.png": undo_alt,
    "Orlune-Extra-Assets_0005_Font-Awesome-Times.png": times,
}


def render(layers):
    """Rows of RGBA tuples. Each sample takes the colour of the last shape covering it."""
    rows = []
    step = 1.0 / SAMPLES
    for py in range(SIZE):
        row = []
        for px in range(SIZE):
            covered, r, g, b = 0, 0, 0, 0
            for sy in range(SAMPLES):
                for sx in range(SAMPLES):
                    x, y = px + (sx + 0.5) * step, py + (sy + 0.5) * step
                    colour = None
                    for shape, fill in layers:
                        if shape(x, y):
                            colour = fill
                    if colour is not None:
                        covered += 1
                        r, g, b = r + colour[0], g + colour[1], b + colour[2]
            if covered:
                row.append((r // covered, g // covered, b // covered, covered * 255 // (SAMPLES * SAMPLES)))
            else:
                row.append((0, 0, 0, 0))
        rows.append(row)
    return rows


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def encode_png(rows):
    height, width = len(rows), len(rows[0])
    # Filter type 0 (none) before every row; colour type 6 is 8-bit RGBA.
    raw = b"".join(b"\x00" + b"".join(bytes(pixel) for pixel in row) for row in rows)
    header = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw, 9))
            + chunk(b"IEND", b""))


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "assets", "images", "tray")
    os.makedirs(folder, exist_ok=True)
    for name, picture in PICTURES.items():
        output = os.path.join(folder, name)
        with open(output, "wb") as f:
            f.write(encode_png(render(picture())))
        print(output)


if __name__ == "__main__":
    main()
