#ifndef VELLBLENDREFERENCE_H
#define VELLBLENDREFERENCE_H

#include <QImage>
#include <QPoint>

class VellContext;

// The CPU compositor: the same arithmetic as the layerBlending shader, for
// hosts without GL and as the reference the GPU path is checked against.
//
// Pixels are 8-bit B, G, R, A in memory (QImage::Format_ARGB32 on a
// little-endian machine) with straight (unpremultiplied) colour. Channel
// values are read as k / 255.
//
// Compositing of a layer (source S, alpha as) over the backdrop (B, ab):
//   as' = as x opacity x mask                (mask k / 255, 1 without one)
//   Cs' = (1 - ab) Cs + ab B(Cb, Cs)          the blend term weighted by ab
//   ao  = as' + ab (1 - as')
//   Co  = (as' Cs' + ab (1 - as') Cb) / ao    0 where ao is 0
// stored rounded to the nearest k / 255.
// (The formulas of the 25 modes are written down in vellblendreference.cpp.)
class VellBlendReference
{
public:
    // One pixel: src and dst are B, G, R, A bytes; `out` gets the result
    // (may alias dst). (docX, docY) is the pixel's absolute document
    // position, which Dissolve's noise is keyed on.
    static void blendPixel(const uchar *src, const uchar *dst, uchar *out, int mode,
                           float opacity, float mask, int docX, int docY);

    // Dissolve's threshold for a document pixel, in (0, 1): the layer shows
    // there when its effective alpha, rounded to the nearest k / 255, exceeds
    // it. Repeats every 64 pixels; each 64 x 64 area holds every one of its
    // 4096 values once.
    static float dissolveThreshold(int docX, int docY);

    // Composites `source` (ARGB32) with its top-left corner at `offset` of
    // `backdrop` (ARGB32, modified in place; any other format is left alone),
    // clipped to the backdrop, whose pixel positions are the document
    // positions Dissolve is keyed on. `mask`, when not null, is a Grayscale8
    // image of the source's size (one byte per pixel; a smaller one leaves
    // the source outside it unmasked). Rows run on OpenMP threads.
    static void compositeLayer(QImage *backdrop, const QImage &source, const QPoint &offset,
                               int mode, float opacity, const QImage *mask);

    // The whole document at full resolution, `width` x `height`, transparent
    // where no layer covers it: the visible layers bottom to top, the bottom
    // one in mode 0, with their opacities and masks; a text layer is its
    // rendering at scale 1 over its document rectangle. Reads each
    // layer's host (a layer whose GPU copy is newer is read back first, which
    // needs the canvas's context). Returns a new image (the caller owns it),
    // null without a document or for an empty size. `compositor` composites
    // each layer (a faster one with the same results may stand in).
    using Compositor = void (*)(QImage *backdrop, const QImage &source, const QPoint &offset, int mode,
                                float opacity, const QImage *mask);
    static QImage *renderToImage(VellContext *document, int width, int height,
                                 Compositor compositor = &VellBlendReference::compositeLayer);
};

#endif // VELLBLENDREFERENCE_H
