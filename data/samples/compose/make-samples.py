#!/usr/bin/env python3
"""Writes the sample layers of `vell compose` into this folder.

background.png  320 x 240, opaque: a sky gradient with a sun and two hills
shapes.png      200 x 150, three soft translucent discs on transparency
shapes-mask.png 200 x 150, grey: a left-to-right ramp with a black band
stripes.png     160 x 120, translucent diagonal stripes

Plain python3 (zlib and struct), no imaging library, so the files can be
remade anywhere; the output is the same on every run. The build never runs
this: the PNGs are committed.
"""
import math
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


def write_png(name, width, height, channels, pixel):
    """pixel(x, y) -> tuple of `channels` bytes (1 grey, 3 RGB, 4 RGBA)."""
    colour_type = {1: 0, 3: 2, 4: 6}[channels]
    raw = bytearray()
    for y in range(height):
        row = bytearray()
        for x in range(width):
            row.extend(pixel(x, y))
        # Filter 1 (each byte minus the one a pixel to its left): smooth
        # gradients become runs of small numbers that deflate well.
        raw.append(1)
        raw.extend((row[i] - (row[i - channels] if i >= channels else 0)) & 0xFF
                   for i in range(len(row)))

    def chunk(kind, data):
        body = kind + data
        return struct.pack('>I', len(data)) + body + struct.pack('>I', zlib.crc32(body) & 0xFFFFFFFF)

    header = struct.pack('>IIBBBBB', width, height, 8, colour_type, 0, 0, 0)
    png = (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', header)
           + chunk(b'IDAT', zlib.compress(bytes(raw), 9)) + chunk(b'IEND', b''))
    with open(os.path.join(HERE, name), 'wb') as f:
        f.write(png)


def clamp(v):
    return max(0, min(255, int(round(v))))


def coverage(distance, radius):
    """1 inside the circle, 0 outside, a one-pixel soft edge between."""
    return max(0.0, min(1.0, radius - distance + 0.5))


def background(x, y):
    t = y / 239.0
    r, g, b = 40 + 150 * t, 90 + 110 * t, 200 - 60 * t + 0.1 * x
    sun = coverage(math.hypot(x - 250, y - 60), 30)
    r, g, b = r + (255 - r) * sun, g + (220 - g) * sun, b + (80 - b) * sun
    hill1 = y > 170 + 25 * math.sin(x / 40.0)
    hill2 = y > 200 + 15 * math.cos(x / 25.0)
    if hill2:
        r, g, b = 50 + 0.2 * x, 120, 40
    elif hill1:
        r, g, b = 90, 150 + 0.1 * x, 60
    return clamp(r), clamp(g), clamp(b)


DISCS = ((70, 60, 50, (230, 40, 40)), (130, 60, 50, (40, 200, 60)), (100, 100, 50, (40, 60, 230)))


def shapes(x, y):
    # The discs fade from 90 % opaque at the centre to clear at the rim,
    # each drawn "over" the ones before it.
    r = g = b = a = 0.0
    for cx, cy, radius, colour in DISCS:
        d = math.hypot(x - cx, y - cy)
        alpha = 0.9 * coverage(d, radius) * (1.0 - 0.6 * d / radius if d < radius else 0.4)
        if alpha <= 0.0:
            continue
        out = alpha + a * (1.0 - alpha)
        r = (colour[0] * alpha + r * a * (1.0 - alpha)) / out
        g = (colour[1] * alpha + g * a * (1.0 - alpha)) / out
        b = (colour[2] * alpha + b * a * (1.0 - alpha)) / out
        a = out
    if a == 0.0:
        return 0, 0, 0, 0
    return clamp(r), clamp(g), clamp(b), clamp(255 * a)


def shapes_mask(x, y):
    if 90 <= x < 110:
        return (0,)
    return (clamp(80 + 175 * x / 199.0),)


def stripes(x, y):
    if ((x + y) // 16) % 2:
        return 250, 200, 40, 200
    return 120, 30, 160, 150


write_png('background.png', 320, 240, 3, background)
write_png('shapes.png', 200, 150, 4, shapes)
write_png('shapes-mask.png', 200, 150, 1, shapes_mask)
write_png('stripes.png', 160, 120, 4, stripes)
