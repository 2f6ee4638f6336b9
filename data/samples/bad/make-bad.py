#!/usr/bin/env python3
"""Writes the bad samples that vell's tests replay.

Tiny image files whose headers claim pictures far larger than any limit, so
that decoding them whole would take gigabytes: vell must refuse each before
decoding it. And files that are neither images nor documents but whose bytes
read as a document stream with no layers (bytes 4 to 7, the layer count,
zero): vell must say so rather than read them as an empty document.

    python3 make-bad.py TINY.jpg

TINY.jpg is any small baseline JPEG (e.g. made with
`vell compose -o tiny.jpg --size 8x8 data/samples/compose/shapes.png`); its
frame header is given the size 65500 x 65500.
"""
import struct
import sys


def bmp():
    # 24-bit BMP of 7201 x 32767 pixels with 16 bytes of pixel data.
    width, height = 7201, 32767
    pixels = bytes(16)
    info = struct.pack('<IiiHHIIiiII', 40, width, height, 1, 24, 0, 0, 2835, 2835, 0, 0)
    header = struct.pack('<2sIHHI', b'BM', 14 + len(info) + len(pixels), 0, 0, 14 + len(info))
    return header + info + pixels


def gif(screen, frame):
    # One frame of a 2-colour palette, its LZW data a clear code and the end.
    out = b'GIF89a' + struct.pack('<HHBBB', screen[0], screen[1], 0x80, 0, 0)
    out += bytes([0, 0, 0, 255, 255, 255])
    out += b',' + struct.pack('<HHHHB', 0, 0, frame[0], frame[1], 0)
    out += bytes([2, 2, 0x4C, 0x01, 0]) + b';'
    return out


def jpeg(path):
    data = bytearray(open(path, 'rb').read())
    at = 2
    while at + 4 <= len(data):
        if data[at] != 0xFF:
            raise SystemExit('%s: no frame header found' % path)
        marker = data[at + 1]
        length = struct.unpack('>H', data[at + 2:at + 4])[0]
        if marker in (0xC0, 0xC1, 0xC2):
            data[at + 5:at + 9] = struct.pack('>HH', 65500, 65500)
            return bytes(data)
        at += 2 + length
    raise SystemExit('%s: no frame header found' % path)


if len(sys.argv) != 2:
    raise SystemExit(__doc__)
# 4 bytes, a layer count of 0 and zeros: exactly an empty document stream
# (an empty selection and two channel numbers), then the same with more bytes
# after it.
empty_document = b'JUNK' + bytes(67)
files = {
    'empty-document.bin': empty_document,
    'empty-document-and-more.bin': empty_document + b'trailing bytes',
    'wide-bmp.bmp': bmp(),
    'huge-gif.gif': gif((65535, 65535), (65535, 65535)),
    'huge-screen-gif.gif': gif((65535, 65535), (1, 1)),
    'huge-jpeg.jpg': jpeg(sys.argv[1]),
}
for name, data in files.items():
    with open(name, 'wb') as f:
        f.write(data)
    print('%s: %d bytes' % (name, len(data)))
