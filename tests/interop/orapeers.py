#!/usr/bin/python3
# The work of run-ora-peers.sh (see there): makes the layers, has vell write
# one .ora per case, has each peer composite it and compares the results
# with the merged image stored in the file.
#   orapeers.py VELL WORK-DIR
import os
import struct
import subprocess
import sys
import zipfile
import zlib

import numpy as np
import gi

gi.require_version('GdkPixbuf', '2.0')
from gi.repository import GdkPixbuf  # noqa: E402

SIZE = 64
# Within this many 8-bit levels on every channel a peer agrees with us:
# peers composite in 8-bit (LazPaint) or 15-bit fixed point (MyPaint) and
# round differently from our float compositor, by a level or two.
TOLERANCE = 2

MODES = ['Normal', 'Dissolve', 'Darken', 'Multiply', 'Color Burn', 'Linear Burn',
         'Darker Color', 'Lighten', 'Screen', 'Color Dodge', 'Linear Dodge',
         'Lighter Color', 'Overlay', 'Soft Light', 'Hard Light', 'Vivid Light',
         'Linear Light', 'Pin Light', 'Hard Mix', 'Difference', 'Exclusion',
         'Hue', 'Saturation', 'Color', 'Luminosity']


def write_png(path, pixels):
    """An 8-bit PNG of a (h, w) grey or (h, w, 4) RGBA array, unfiltered."""
    pixels = np.asarray(pixels, dtype=np.uint8)
    if pixels.ndim == 2:
        pixels = pixels[..., None]
    h, w, channels = pixels.shape
    colour_type = {1: 0, 4: 6}[channels]
    raw = b''.join(b'\0' + row.tobytes() for row in pixels)

    def chunk(kind, data):
        return (struct.pack('>I', len(data)) + kind + data
                + struct.pack('>I', zlib.crc32(kind + data)))
    with open(path, 'wb') as out:
        out.write(b'\x89PNG\r\n\x1a\n'
                  + chunk(b'IHDR', struct.pack('>IIBBBBB', w, h, 8, colour_type, 0, 0, 0))
                  + chunk(b'IDAT', zlib.compress(raw))
                  + chunk(b'IEND', b''))


def read_png(path):
    """(h, w, 4) uint8 straight RGBA of any PNG GdkPixbuf reads; None if it cannot."""
    try:
        pixbuf = GdkPixbuf.Pixbuf.new_from_file(path)
    except Exception:
        return None
    if not pixbuf.get_has_alpha():
        pixbuf = pixbuf.add_alpha(False, 0, 0, 0)
    w, h, stride = pixbuf.get_width(), pixbuf.get_height(), pixbuf.get_rowstride()
    data = np.frombuffer(pixbuf.get_pixels(), dtype=np.uint8)
    rows = [data[y * stride:y * stride + w * 4] for y in range(h)]
    return np.stack(rows).reshape(h, w, 4)


def make_layers(work):
    """The backdrop: opaque, every channel reaching 0 and 255. The layer: another
    colour field, opaque on its left half (x < 32) and with alpha falling
    along y on its right half, so both the blend term and the alpha path show.
    The mask: grey rising along both axes."""
    y, x = np.mgrid[0:SIZE, 0:SIZE]
    ramp = lambda v: np.rint(v * 255.0 / (SIZE - 1))  # noqa: E731
    bottom = np.stack([ramp(x), ramp(y), ramp((x + y) / 2), np.full_like(x, 255)], axis=-1)
    top = np.stack([ramp(SIZE - 1 - y), (x * 8 + y * 4) % 256, ramp(x),
                    np.where(x < SIZE // 2, 255, 255 - ramp(y))], axis=-1)
    mask = np.clip(ramp(x) * 0.7 + ramp(y) * 0.3, 0, 255)
    write_png(os.path.join(work, 'bottom.png'), bottom)
    write_png(os.path.join(work, 'top.png'), top)
    write_png(os.path.join(work, 'mask.png'), mask)


def cases():
    """(name, the top layer's options, --ora-masks or None)."""
    out = [(mode, ['--mode', mode], None) for mode in MODES]
    out.append(('Normal, opacity 0.37, offset -9,13', ['--opacity', '0.37', '--offset', '-9,13'], None))
    out.append(('Multiply, opacity 0.37, offset 20,-7',
                ['--mode', 'Multiply', '--opacity', '0.37', '--offset', '20,-7'], None))
    out.append(('Multiply, hidden', ['--mode', 'Multiply', '--hidden'], None))
    for mode in ('Normal', 'Multiply'):
        for policy in ('stack', 'baked'):
            out.append(('%s, mask (%s)' % (mode, policy), ['--mode', mode, '--mask', 'mask.png'], policy))
    return out


def slug(name):
    return ''.join(c if c.isalnum() else '-' for c in name.lower()).strip('-')


def run(args, cwd, env=None, timeout=120, tries=1):
    """The finished process, or None when each try ran past the timeout."""
    for _ in range(tries):
        try:
            return subprocess.run(args, cwd=cwd, env=env, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=timeout)
        except subprocess.TimeoutExpired:
            pass
    return None


def lazpaint(work, names):
    # LazPaint 7.2.2 at times dies at start-up on an access violation (every
    # time on an X server without a window manager, as under xvfb-run) and
    # then waits on an error box: its conversion needs no window, so it runs
    # on Qt's offscreen platform, and a run that hangs is tried again.
    env = dict(os.environ, QT_QPA_PLATFORM='offscreen')
    for name in names:
        out = name + '.lazpaint.png'
        run(['lazpaint', name + '.ora', out], work, env, timeout=30, tries=3)
        yield read_png(os.path.join(work, out))


def mypaint(work, names, eotf):
    flatten = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'mypaint-flatten.py')
    tag = '.mypaint%s.png' % eotf
    args = [sys.executable, flatten, eotf]
    for name in names:
        args += [name + '.ora', name + tag]
    run(args, work)
    for name in names:
        yield read_png(os.path.join(work, name + tag))


def vell_reread(work, vell, names):
    for name in names:
        out = name + '.reread.png'
        run([vell, 'compose', '--cpu', '-o', out, name + '.ora'], work)
        yield read_png(os.path.join(work, out))


def compare(ours, theirs):
    """A table cell: the largest difference in 8-bit levels where the layer is
    opaque and where it is translucent, and the share of pixels past the
    tolerance."""
    if theirs is None:
        return 'failed', False
    if theirs.shape != ours.shape:
        return 'size %dx%d' % (theirs.shape[1], theirs.shape[0]), False
    diff = np.abs(ours.astype(np.int16) - theirs.astype(np.int16)).max(axis=-1)
    opaque = int(diff[:, :SIZE // 2].max())
    translucent = int(diff[:, SIZE // 2:].max())
    over = float((diff > TOLERANCE).mean()) * 100.0
    agree = max(opaque, translucent) <= TOLERANCE
    cell = '%s %d / %d' % ('✓' if agree else '✗', opaque, translucent)
    if not agree:
        cell += ' (%.0f%%)' % over
    return cell, agree


def version(package):
    try:
        return subprocess.run(['dpkg-query', '-W', '-f', '${Version}', package],
                              stdout=subprocess.PIPE, text=True).stdout.strip()
    except OSError:
        return '?'


def main(argv):
    vell, work = os.path.abspath(argv[1]), os.path.abspath(argv[2])
    make_layers(work)
    names, failed = [], []
    all_cases = cases()
    for name, options, policy in all_cases:
        base = slug(name)
        args = [vell, 'compose', '--cpu', '-o', base + '.ora']
        if policy:
            args += ['--ora-masks', policy]
        args += ['bottom.png', 'top.png'] + options
        result = run(args, work)
        if result is None or result.returncode != 0:
            failed.append('%s: %s' % (name, result.stdout.decode(errors='replace').strip()
                                      if result else 'timed out'))
        names.append(base)
    if failed:
        print('vell could not write:\n  ' + '\n  '.join(failed), file=sys.stderr)
        return 1

    ours = []
    for base in names:
        with zipfile.ZipFile(os.path.join(work, base + '.ora')) as ora:
            path = os.path.join(work, base + '.merged.png')
            with open(path, 'wb') as out:
                out.write(ora.read('mergedimage.png'))
        ours.append(read_png(path))

    peers = [
        ('LazPaint %s' % version('lazpaint-qt5'), list(lazpaint(work, names))),
        ('MyPaint %s, 1.x mode' % version('mypaint'), list(mypaint(work, names, '1.0'))),
        ('MyPaint %s, linear light' % version('mypaint'), list(mypaint(work, names, '2.2'))),
        ('vell, read back', list(vell_reread(work, vell, names))),
    ]

    print('Largest difference from our merged image in 8-bit levels, where the '
          'layer is opaque / translucent; ✓ within %d, else the share of pixels '
          'past it. %dx%d, files and results in %s.\n' % (TOLERANCE, SIZE, SIZE, work))
    print('| case | ' + ' | '.join(p for p, _ in peers) + ' |')
    print('|---|' + '---|' * len(peers))
    agreed = [0] * len(peers)
    for row, (name, _, _) in enumerate(all_cases):
        cells = []
        for column, (_, images) in enumerate(peers):
            cell, agree = compare(ours[row], images[row])
            cells.append(cell)
            agreed[column] += agree
        print('| %s | %s |' % (name, ' | '.join(cells)))
    print('| agree | ' + ' | '.join('%d of %d' % (n, len(all_cases)) for n in agreed) + ' |')
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv))
