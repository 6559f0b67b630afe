#!/usr/bin/env python3
"""Draws the region overlay's cross cursor: assets/images/ScreenDialog/cross_cursor.png.

A 32x32 RGBA image: a thin black cross whose centre is pixel (16, 16), the hot spot that
QCursor takes by default, with a one pixel white outline so that it shows on light and
dark pictures alike. The arms stop short of the centre, so the pixels around the hot spot
stay visible while aiming. Only the standard library is used, and the
output is the same byte for byte on every run.

Usage: scripts/make-cursor.py [OUTPUT]
"""
import os
import struct
import sys
import zlib

SIZE = 32
CENTRE = 16  # QCursor's default hot spot for a 32x32 image
ARM_INNER = 4  # the arms start this far from the centre
ARM_OUTER = 12  # reach of each arm from the centre

BLACK = (0, 0, 0, 255)
WHITE = (255, 255, 255, 255)
CLEAR = (0, 0, 0, 0)


def cross_pixels():
    """The set of (x, y) drawn black."""
    pixels = set()
    for distance in range(ARM_INNER, ARM_OUTER + 1):
        for sign in (-1, 1):
            pixels.add((CENTRE + sign * distance, CENTRE))
            pixels.add((CENTRE, CENTRE + sign * distance))
    return pixels


def draw():
    """Rows of RGBA tuples: black cross, white on every pixel touching it."""
    black = cross_pixels()
    rows = []
    for y in range(SIZE):
        row = []
        for x in range(SIZE):
            if (x, y) in black:
                row.append(BLACK)
            elif any((x + dx, y + dy) in black for dx in (-1, 0, 1) for dy in (-1, 0, 1)):
                row.append(WHITE)
            else:
                row.append(CLEAR)
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
    default = os.path.join(root, "assets", "images", "ScreenDialog", "cross_cursor.png")
    output = sys.argv[1] if len(sys.argv) > 1 else default
    with open(output, "wb") as f:
        f.write(encode_png(draw()))
    print(output)


if __name__ == "__main__":
    main()
