#ifndef VELLLAYERMASK_H
#define VELLLAYERMASK_H

#include "picture/vellchannel.h"

class QDataStream;

// The grey-level mask a raster layer may carry: one byte per layer pixel,
// 0 hides the pixel, 255 shows it fully. A channel with nothing of its own;
// it exists as a type so that layers, the canvas and the history can tell a
// mask from other channels (the selection's grey-level copy).
//
// A layer makes its mask at its own size with itself as the QObject parent
// and owns it. GUI thread, like every channel.
class VellLayerMask : public VellChannel
{
    Q_OBJECT

public:
    // Every byte 255 (nothing hidden); texture made when a context is current.
    VellLayerMask(int width, int height, QObject *parent = nullptr);

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
