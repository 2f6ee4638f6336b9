#!/usr/bin/python3
# Composites OpenRaster files with MyPaint's own library, as MyPaint would
# show them: load, hide the background, save the document's frame (the
# image's w x h) as a flat PNG with alpha.
#   mypaint-flatten.py EOTF IN.ora OUT.png [IN.ora OUT.png ...]
# EOTF 1.0 is MyPaint 1.x's compatibility mode (layers composited on the
# stored sRGB values, as most programs do); 2.2, MyPaint 2's default for new
# documents, composites in linear light.
# Prints one line per file: "ok OUT" or "failed IN: reason".
import sys

sys.path.insert(0, '/usr/lib/mypaint')

import lib.document  # noqa: E402
import lib.eotf      # noqa: E402


def main(argv):
    eotf = float(argv[1])
    lib.eotf.set_base_eotf(eotf)
    lib.eotf.set_eotf(eotf)
    pairs = argv[2:]
    for src, dst in zip(pairs[0::2], pairs[1::2]):
        doc = lib.document.Document()
        try:
            doc.load(src)
            doc.layer_stack.background_visible = False
            doc.set_frame_enabled(True)
            doc.save(dst, alpha=True)
            print('ok', dst)
        except Exception as e:  # a peer's failure is a result, not a crash
            print('failed', src + ':', str(e).replace('\n', ' '))
        finally:
            doc.cleanup()
        sys.stdout.flush()


if __name__ == '__main__':
    main(sys.argv)
