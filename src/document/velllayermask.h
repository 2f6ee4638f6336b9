#ifndef VELLLAYERMASK_H
#define VELLLAYERMASK_H

#include "picture/vellchannel.h"

#include <QList>
#include <QPointF>
#include <QPolygonF>
#include <QSize>
#include <QVector>

class QDataStream;

// The grey-level mask a raster layer may carry: one byte per layer pixel,
// 0 hides the pixel, 255 shows it fully. Beyond the channel it knows how to
// follow its layer's geometry, so that the layers, the canvas and the history
// can also tell a mask from other channels (the selection's grey-level copy).
//
// A layer makes its mask at its own size with itself as the QObject parent
// and owns it. GUI thread, like every channel.
class VellLayerMask : public VellChannel
{
    Q_OBJECT

public:
    // Every byte 255 (nothing hidden); texture made when a context is current.
    VellLayerMask(int width, int height, QObject *parent = nullptr);

    // Geometry that follows the layer's: VellLayer's operations of the same
    // names call these with what they did to the pixels, once the mask is
    // the layer's size at the layer's place. Each builds the new bytes beside
    // the old ones and adopts them only when all of them could be had: false,
    // leaving the mask as it was, without memory (or, for the resampling
    // ones, without a GL context).
    //
    // Exact, on the CPU: a quarter or half turn (90 counter-clockwise, as the
    // layer turns), a mirror (true: left-right), and the window of `rect`'s
    // size at its corner, where whatever lies outside the mask reads 255
    // (nothing hidden); the window is also how a mask offset from its layer
    // is brought to the layer's size and place.
    bool rotate(int degrees);
    bool flip(bool leftRight);
    bool clip(const QRect &rect);
    // Resampled on the GPU by the copies the layer uses (VellToolUtil), so
    // that coverage lands where the pixels do; the GL context must be
    // current. resize() runs through `steps` (the layer's halving chain,
    // ending at the new size) with `filter`. The warps make a mask of `size`
    // from the whole mask warped onto `quad`, or through the triangle strip
    // (sources normalised, destinations in new mask pixels), bicubic; where
    // the warp covers nothing the mask is 255, and along its soft edge the
    // mask fades to 255 with the coverage.
    bool resize(const QVector<QSize> &steps, int filter);
    bool applyAffine(const QSize &size, const QPolygonF &quad);
    bool tesselateAffine(const QSize &size, const QPolygonF &outline,
                         const QList<QPointF> &srcPoints, const QList<QPointF> &dstPoints);
    using VellChannel::resize;

private:
    VellLayerMask(int width, int height, unsigned char *data, Adopt);

    friend QDataStream &operator>>(QDataStream &in, VellLayerMask **mask);
};

// Stream form, the channel's: width and height as 32-bit integers, then
// padded width x height raw bytes. A null mask, or one without data, writes
// nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, VellLayerMask *mask);
// Allocates *mask (the caller owns it, no parent). A truncated or corrupt
// stream leaves *mask null with the status set, and never allocates more than
// the stream can supply.
QDataStream &operator>>(QDataStream &in, VellLayerMask **mask);

#endif // VELLLAYERMASK_H
