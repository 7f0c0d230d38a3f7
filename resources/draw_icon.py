#!/usr/bin/env python3
"""Draws the program's icon in all the sizes that Windows asks for: a ring that runs back
upon itself, around the dot of a recorder. The same bytes on every run.

usage: draw_icon.py FILE.ico
"""

import math
import struct
import sys
import zlib

SIZES = (16, 20, 24, 32, 40, 48, 64, 128, 256)
SMALLEST_PNG = 128  # smaller ones as bitmaps, which every reader of icons knows

TILE_TOP, TILE_BOTTOM = (0x2B, 0x2E, 0x36), (0x14, 0x15, 0x1A)
RING_TOP, RING_BOTTOM = (0xFF, 0x8A, 0x2E), (0xFF, 0x4A, 0x00)
DOT = (0xFF, 0xF4, 0xEC)


def shapes(size):
    """The measures at a size, as parts of the picture: small ones are drawn bolder."""
    small = size < 32
    return {
        "corner": 0.20 if small else 0.22,
        "ring": 0.30 if small else 0.29,
        "half": 0.065 if small else 0.05,
        "dot": 0.125 if small else 0.11,
        "head": 0.155 if small else 0.13,
    }


def tile_distance(x, y, corner):
    """How far outside the rounded square a point is; negative inside."""
    inner = 0.5 - corner
    dx, dy = max(abs(x) - inner, 0.0), max(abs(y) - inner, 0.0)
    return math.hypot(dx, dy) - corner


# The ring is open between its head and its tail; angles before the mirror.
HEAD, TAIL = math.radians(222), math.radians(302)


def ring_distance(x, y, m):
    angle = math.atan2(y, x) % (2 * math.pi)
    if HEAD < angle < TAIL:
        ends = ((math.cos(a) * m["ring"], math.sin(a) * m["ring"]) for a in (HEAD, TAIL))
        return min(math.hypot(x - ex, y - ey) for ex, ey in ends) - m["half"]
    return abs(math.hypot(x, y) - m["ring"]) - m["half"]


def head_distance(x, y, m):
    """The arrow's head: a triangle that points back along the ring."""
    cx, cy = math.cos(HEAD) * m["ring"], math.sin(HEAD) * m["ring"]
    # Along the ring, and outwards.
    along, out = (-math.sin(HEAD), math.cos(HEAD)), (math.cos(HEAD), math.sin(HEAD))
    a = (x - cx) * along[0] + (y - cy) * along[1]
    o = abs((x - cx) * out[0] + (y - cy) * out[1])
    length, width = m["head"] * 1.15, m["head"]
    slope = math.hypot(length, width)
    return max(-a - length * 0.15, (a * width + o * length - length * width) / slope)


def mix(low, high, part):
    return tuple(a + (b - a) * part for a, b in zip(low, high))


def over(below, colour, cover):
    """A colour laid over what is there, both with straight alpha."""
    (r, g, b), alpha = below
    result = cover + alpha * (1 - cover)
    if result == 0:
        return below
    part = cover / result
    return mix((r, g, b), colour, part), result


def draw(size):
    """Rows of (r, g, b, a) from the top; the edges a pixel wide."""
    m = shapes(size)
    pixel = 1 / size
    rows = []
    for row in range(size):
        y = (row + 0.5) * pixel - 0.5
        line = []
        for column in range(size):
            x = 0.5 - (column + 0.5) * pixel  # mirrored: a replay runs against the clock

            def covered(distance):
                return min(max(0.5 - distance / pixel, 0.0), 1.0)

            point = ((0, 0, 0), 0.0)
            point = over(point, mix(TILE_TOP, TILE_BOTTOM, y + 0.5),
                         covered(tile_distance(x, y, m["corner"])))
            arrow = min(ring_distance(x, y, m), head_distance(x, y, m))
            point = over(point, mix(RING_TOP, RING_BOTTOM, y + 0.5), covered(arrow))
            point = over(point, DOT, covered(math.hypot(x, y) - m["dot"]))
            line.append((*(round(c) for c in point[0]), round(point[1] * 255)))
        rows.append(line)
    return rows


def as_png(rows):
    def chunk(name, data):
        return (struct.pack(">I", len(data)) + name + data +
                struct.pack(">I", zlib.crc32(name + data)))

    size = len(rows)
    data = b"".join(b"\0" + b"".join(bytes(p) for p in row) for row in rows)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(data, 9)) + chunk(b"IEND", b""))


def as_bitmap(rows):
    """A bitmap without a file's header: from the bottom, blue first, then a mask of one
    bit a pixel for those who do not look at alpha. Its height counts both."""
    size = len(rows)
    colours = b"".join(bytes((b, g, r, a)) for row in reversed(rows) for r, g, b, a in row)
    mask = b""
    for row in reversed(rows):
        bits = "".join("1" if a == 0 else "0" for *_, a in row).ljust((size + 31) // 32 * 32, "0")
        mask += int(bits, 2).to_bytes(len(bits) // 8, "big")
    return struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, len(colours) + len(mask),
                       0, 0, 0, 0) + colours + mask


def main(path):
    pictures = []
    for size in SIZES:
        rows = draw(size)
        pictures.append(as_png(rows) if size >= SMALLEST_PNG else as_bitmap(rows))
    directory = struct.pack("<HHH", 0, 1, len(SIZES))
    place = len(directory) + 16 * len(SIZES)
    for size, picture in zip(SIZES, pictures):
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32,
                                 len(picture), place)
        place += len(picture)
    with open(path, "wb") as file:
        file.write(directory + b"".join(pictures))


if __name__ == "__main__":
    main(sys.argv[1])
