#ifndef VELLBLENDFAST_H
#define VELLBLENDFAST_H

#include <QImage>
#include <QPoint>

class VellContext;

// The CPU compositor's fast path: the separable modes whose blend term is a
// whole number in units of 1 / 65025 (Normal, Multiply, Screen, Overlay,
// Hard Light, Darken, Lighten, Difference, Exclusion, Linear Burn, Linear
// Dodge) in integer arithmetic, with opacity and mask folded into one 16-bit
// alpha. Same pixels, formulas and clipping as VellBlendReference, which
// stays the definition: results agree with it within one level per channel
// (the rounding of the alpha to 1 / 65535 and of halves). Every other mode,
// and every other pixel format, goes to the reference.
//
// Backdrops that are opaque or empty (the common case: a stack over an
// opaque bottom layer, and the bottom layer over the empty result) take a
// short path without a division; the rest use the reference's float
// formulas with the integer blend term. Rows run on OpenMP threads.
class VellBlendFast
{
public:
    // Whether `mode` has an integer path here.
    static bool covers(int mode);

    // As VellBlendReference::compositeLayer.
    static void compositeLayer(QImage *backdrop, const QImage &source, const QPoint &offset,
                               int mode, float opacity, const QImage *mask);

    // As VellBlendReference::renderToImage, compositing through this class.
    static QImage *renderToImage(VellContext *document, int width, int height);
};

#endif // VELLBLENDFAST_H
