#ifndef VELLALGORITHMGROW_H
#define VELLALGORITHMGROW_H

#include <QRect>
#include <QtGlobal>

class VellPictureHost;

// Region grow, the magic-select operation: from a seed pixel of a picture
// host, every pixel 4-connected to it whose colour lies within a tolerance
// of the seed's colour is set to 255 in a byte mask; the bounding box of the
// region comes back. The second form confines the growth to where a
// constraint mask (the selection's layout) is non-zero.
//
// Colour distance of pixels a and b (B, G, R, A in channel units, M the
// channel maximum): when their alphas differ by more than 128 units,
// 65536; otherwise the sum over the three colours of d^2 with
// d = trunc(c_a (alpha_a / M) - c_b (alpha_b / M)), alpha-premultiplied in
// single precision. A pixel joins when its distance to the SEED (not to its
// neighbour, so the tolerance cannot drift along a gradient) is at most
// 3 t^2, or 3 t^2 65536 for 16-bit pictures: t is a root-mean-square limit
// per colour channel in 8-bit units.
//
// The mask is width x height bytes, tightly packed, zeroed by the caller; a
// byte already non-zero counts as visited and is never entered. Boxes are in
// the selection's region convention: x the first and last row, y the first
// and last column. Pending pixels wait on an explicit stack (no recursion,
// so regions of millions of pixels need no call depth); a pixel is marked
// when it is pushed, so the stack never holds more than the image.
//
// Stateless; runs on the calling thread, reads the host, writes the mask.
class VellAlgorithmGrow
{
public:
    // 8-bit pixels: four bytes each; 16-bit: four words each. a and b are
    // pixel indices.
    static int getDistance8bit(const uchar *pixels, int a, int b);
    static qint64 getDistance16bit(const quint16 *pixels, int a, int b);

    // A null rectangle for a seed outside the image or a null host or mask;
    // the seed's one-pixel box, with the mask untouched, for a host whose
    // pixels are neither 4 nor 8 bytes.
    static QRect grow(const VellPictureHost *host, uchar *mask, float tolerance, int seedX,
                      int seedY);
    // Image pixel (x, y) is constraint pixel (x + dx, y + dy); the
    // constraint's rows are padded to a multiple of 4 bytes. The seed grows
    // only where its constraint byte is non-zero (else the seed's box comes
    // back and nothing is grown); a neighbour joins only when its constraint
    // position keeps off the constraint's outermost rows and columns and its
    // byte is non-zero.
    static QRect grow(const VellPictureHost *host, uchar *mask, float tolerance, int seedX,
                      int seedY, const uchar *constraint, int constraintWidth,
                      int constraintHeight, int dx, int dy);
};

#endif // VELLALGORITHMGROW_H
