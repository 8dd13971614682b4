#!/usr/bin/env python3
"""Draws res/larkspine.ico: two sheets of paper, the front one with a sign of equality.

    scripts/make_icon.py            writes res/larkspine.ico
    scripts/make_icon.py --check    tells whether the drawing is what that file holds

The drawing lies on a grid of 16 units, so that its edges fall on whole pixels in every size. The
comparison is of pixels: another version of the compressor may pack the same ones differently.
"""
import math
import pathlib
import struct
import sys
import zlib

ICON = pathlib.Path(__file__).resolve().parent.parent / "res" / "larkspine.ico"
SIZES = (16, 32, 48, 256)
GRID = 16
PNG_FROM = 256  # smaller images are bitmaps, which every reader of icons knows
PNG_START = b"\x89PNG\r\n\x1a\n"

VIOLET = (0x8E, 0x7C, 0xD6)
DARK = (0x3B, 0x2E, 0x7E)
PAPER = (0xFB, 0xFA, 0xFF)

# From back to front: left, top, right, bottom, radius of the corners, colour.
SHAPES = (
    (1, 1, 11, 13, 1.5, DARK),
    (2, 2, 10, 12, 0.75, VIOLET),
    (5, 3, 15, 15, 1.5, DARK),
    (6, 4, 14, 14, 0.75, PAPER),
    (7, 6, 13, 8, 0.0, DARK),
    (7, 10, 13, 12, 0.0, DARK),
)


def coverage(shape, x, y, scale):
    """How much of the pixel around (x, y) the shape covers, from its distance to the edge."""
    left, top, right, bottom, radius, _ = shape
    across = abs(x - (left + right) / 2) - (right - left) / 2 + radius
    down = abs(y - (top + bottom) / 2) - (bottom - top) / 2 + radius
    outside = math.sqrt(max(across, 0.0) ** 2 + max(down, 0.0) ** 2)
    distance = outside + min(max(across, down), 0.0) - radius
    return min(max(0.5 - distance * scale, 0.0), 1.0)


def pixel(x, y, scale):
    """Red, green, blue and opacity."""
    colour, opacity = (0.0, 0.0, 0.0), 0.0
    for shape in SHAPES:
        part = coverage(shape, x, y, scale)
        below = opacity * (1 - part)
        opacity = part + below
        if opacity:
            colour = tuple((over * part + under * below) / opacity
                           for over, under in zip(shape[-1], colour))
    return tuple(int(value + 0.5) for value in (*colour, opacity * 255))


def drawing(size):
    """The rows of one image, from the top."""
    scale = size / GRID
    middles = [(place + 0.5) / scale for place in range(size)]
    return [[pixel(x, y, scale) for x in middles] for y in middles]


def bitmap(rows):
    size = len(rows)
    # Twice the height: the colours, then a mask for readers that know no opacity.
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
    colours = b"".join(bytes((blue, green, red, opacity))
                       for row in reversed(rows) for red, green, blue, opacity in row)
    mask = b""
    for row in reversed(rows):
        bits = "".join("0" if opacity >= 128 else "1" for *_, opacity in row)
        mask += int(bits.ljust(-(-size // 32) * 32, "0"), 2).to_bytes(-(-size // 32) * 4, "big")
    return header + colours + mask


def png(rows):
    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data)))

    size = len(rows)
    lines = b"".join(b"\0" + bytes(value for dot in row for value in dot) for row in rows)
    return (PNG_START + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(lines, 9)) + chunk(b"IEND", b""))


def encoded():
    images = [(size, (png if size >= PNG_FROM else bitmap)(drawing(size))) for size in SIZES]
    at = 6 + 16 * len(images)
    entries = b""
    for size, data in images:
        entries += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(data), at)
        at += len(data)
    return struct.pack("<HHH", 0, 1, len(images)) + entries + b"".join(data for _, data in images)


def unpacked(icon):
    """The images of an icon file, compressed ones with their packed pixels laid open."""
    images = []
    for place in range(struct.unpack_from("<H", icon, 4)[0]):
        size, at = struct.unpack_from("<II", icon, 6 + 16 * place + 8)
        image = icon[at:at + size]
        if image.startswith(PNG_START):
            packed, = struct.unpack_from(">I", image, 33)  # the chunk behind the first one, of 25
            image = image[:33] + zlib.decompress(image[41:41 + packed])
        images.append(image)
    return images


def main():
    if sys.argv[1:] == ["--check"]:
        if unpacked(ICON.read_bytes()) != unpacked(encoded()):
            print(f"{ICON.name} is not what scripts/make_icon.py draws", file=sys.stderr)
            return 1
        return 0
    if sys.argv[1:]:
        print(__doc__, file=sys.stderr)
        return 2
    ICON.write_bytes(encoded())
    return 0


if __name__ == "__main__":
    sys.exit(main())
