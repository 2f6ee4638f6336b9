#include "document/velllayermask.h"

#include "foundation/vellmemory.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "tools/velltoolutil.h"

#include <QDataStream>
#include <QOpenGLContext>

#include <GL/gl.h>

#include <climits>
#include <cstring>
#include <functional>
#include <memory>

namespace {

// Below this many rows a loop is too short to pay for waking the thread team.
const int kParallelRows = 64;

// Fresh padded rows for a width x height mask, from the budget; null for a
// size a channel refuses or without memory.
unsigned char *allocRows(int width, int height)
{
    const int padded = VellChannel::paddedWidthFor(width);
    if (width < 1 || height < 1 || padded < 0 || qint64(padded) * height > INT_MAX)
        return nullptr;
    return VellMemory::getInstance()->alloc(padded * height);
}

// A move of whole pixels: new pixel (x, y) is the old one at
// (x0 + xx x + xy y, y0 + yx x + yy y), 255 where that is outside the mask.
struct PixelMap
{
    qint64 x0, xx, xy, y0, yx, yy;
};

unsigned char *remapped(const VellChannel &from, const QSize &size, const PixelMap &m)
{
    unsigned char *to = allocRows(size.width(), size.height());
    if (!to)
        return nullptr;
    const unsigned char *src = from.getData();
    const size_t srcStride = size_t(from.getPaddedWidth());
    const size_t dstStride = size_t(VellChannel::paddedWidthFor(size.width()));
    const int width = size.width(), height = size.height();
    const qint64 srcWidth = from.getWidth(), srcHeight = from.getHeight();
#pragma omp parallel for schedule(static) if (height >= kParallelRows)
    for (int y = 0; y < height; ++y) {
        unsigned char *row = to + size_t(y) * dstStride;
        for (int x = 0; x < width; ++x) {
            const qint64 sx = m.x0 + m.xx * x + m.xy * y, sy = m.y0 + m.yx * x + m.yy * y;
            row[x] = sx >= 0 && sy >= 0 && sx < srcWidth && sy < srcHeight
                         ? src[size_t(sy) * srcStride + size_t(sx)]
                         : 255;
        }
        std::memset(row + width, 255, dstStride - size_t(width));
    }
    return to;
}

// The mask's texture, made from its bytes when it has none (a mask made
// without a context); null without a context.
VellGLTexture *sourceTexture(VellLayerMask &mask)
{
    if (mask.isNull() || !QOpenGLContext::currentContext())
        return nullptr;
    if (!mask.getEntireTexture())
        mask.update();
    VellGLTexture *texture = mask.getEntireTexture();
    return texture && !texture->failed() ? texture : nullptr;
}

// A mask from what a resampling copy drew into an RGBA8 texture: the grey
// level where the copy covered the pixel (alpha 255), fading to 255 as the
// coverage falls, so that the parts the warp leaves empty hide nothing.
unsigned char *fromTexture(VellGLTexture2D *texture)
{
    const int width = texture->getWidth(), height = texture->getHeight();
    if (qint64(width) * height > INT_MAX / 4)
        return nullptr;
    unsigned char *to = allocRows(width, height);
    if (!to)
        return nullptr;
    VellMemory *memory = VellMemory::getInstance();
    unsigned char *pixels = memory->alloc(width * height * 4);
    if (!pixels) {
        memory->release(to);
        return nullptr;
    }
    texture->write(reinterpret_cast<unsigned int *>(pixels));
    const size_t stride = size_t(VellChannel::paddedWidthFor(width));
#pragma omp parallel for schedule(static) if (height >= kParallelRows)
    for (int y = 0; y < height; ++y) {
        const unsigned char *px = pixels + size_t(y) * size_t(width) * 4;   // B, G, R, A
        unsigned char *row = to + size_t(y) * stride;
        for (int x = 0; x < width; ++x, px += 4) {
            const int alpha = px[3];
            row[x] = static_cast<unsigned char>((alpha * px[2] + (255 - alpha) * 255 + 127) / 255);
        }
        std::memset(row + width, 255, stride - size_t(width));
    }
    memory->release(pixels);
    return to;
}

// Draws the mask's texture into a cleared RGBA8 texture of `size` and turns
// the result into mask bytes; null without a context or memory.
unsigned char *resampled(VellLayerMask &mask, const QSize &size,
                         const std::function<void(VellGLTexture2D *, VellGLTexture *)> &draw)
{
    VellGLTexture *source = sourceTexture(mask);
    if (!source || size.isEmpty())
        return nullptr;
    VellGLTexture2D target(size.width(), size.height(), GL_RGBA8, true);
    if (target.failed())
        return nullptr;
    draw(&target, source);
    return fromTexture(&target);
}

QPolygonF wholeOf(const VellChannel &mask)
{
    const double w = mask.getWidth(), h = mask.getHeight();
    return QPolygonF({QPointF(0, 0), QPointF(w, 0), QPointF(w, h), QPointF(0, h)});
}

} // namespace

VellLayerMask::VellLayerMask(int width, int height, QObject *parent)
    : VellChannel(width, height, parent)
{
}

VellLayerMask::VellLayerMask(int width, int height, unsigned char *data, Adopt)
    : VellChannel(width, height, data, Adopt())
{
}

QDataStream &operator<<(QDataStream &out, VellLayerMask *mask)
{
    return out << static_cast<const VellChannel *>(mask);
}

QDataStream &operator>>(QDataStream &in, VellLayerMask **mask)
{
    if (!mask)
        return in;
    *mask = nullptr;
    int width = 0, height = 0;
    if (unsigned char *data = VellLayerMask::readStreamForm(in, &width, &height, "VellLayerMask"))
        *mask = new VellLayerMask(width, height, data, VellLayerMask::Adopt());
    return in;
}

bool VellLayerMask::rotate(int degrees)
{
    if (isNull())
        return false;
    const qint64 w = getWidth(), h = getHeight();
    PixelMap map{};
    if (degrees == 90)
        map = {w - 1, 0, -1, 0, 1, 0};   // the right column becomes the top row
    else if (degrees == -90)
        map = {0, 0, 1, h - 1, -1, 0};   // the left column becomes the top row, bottom first
    else if (degrees == 180)
        map = {w - 1, -1, 0, h - 1, 0, -1};
    else
        return false;
    const QSize size = degrees == 180 ? QSize(getWidth(), getHeight()) : QSize(getHeight(), getWidth());
    unsigned char *bytes = remapped(*this, size, map);
    return bytes && adoptData(size.width(), size.height(), bytes);
}

bool VellLayerMask::flip(bool leftRight)
{
    if (isNull())
        return false;
    const qint64 w = getWidth(), h = getHeight();
    const PixelMap map = leftRight ? PixelMap{w - 1, -1, 0, 0, 0, 1} : PixelMap{0, 1, 0, h - 1, 0, -1};
    unsigned char *bytes = remapped(*this, QSize(getWidth(), getHeight()), map);
    return bytes && adoptData(getWidth(), getHeight(), bytes);
}

bool VellLayerMask::clip(const QRect &rect)
{
    if (isNull() || rect.isEmpty())
        return false;
    unsigned char *bytes = remapped(*this, rect.size(), PixelMap{rect.x(), 1, 0, rect.y(), 0, 1});
    return bytes && adoptData(rect.width(), rect.height(), bytes);
}

bool VellLayerMask::resize(const QVector<QSize> &steps, int filter)
{
    VellGLTexture *from = sourceTexture(*this);
    if (!from || steps.isEmpty())
        return false;
    std::unique_ptr<VellGLTexture2D> result;
    for (const QSize &step : steps) {
        std::unique_ptr<VellGLTexture2D> next(new VellGLTexture2D(step.width(), step.height(), GL_RGBA8, true));
        if (next->failed())
            return false;
        VellToolUtil::resizeTextureToTexture(next.get(), from, QRectF(QPointF(0, 0), step),
                                             QRectF(0, 0, from->getWidth(), from->getHeight()), filter);
        result = std::move(next);   // the step before is no longer read
        from = result.get();
    }
    unsigned char *bytes = fromTexture(result.get());
    return bytes && adoptData(steps.last().width(), steps.last().height(), bytes);
}

bool VellLayerMask::applyAffine(const QSize &size, const QPolygonF &quad)
{
    const QPolygonF whole = wholeOf(*this);
    unsigned char *bytes = resampled(*this, size, [&](VellGLTexture2D *target, VellGLTexture *source) {
        VellToolUtil::copyTextureToTexture(target, source, quad, whole, VellToolUtil::Bicubic);
    });
    return bytes && adoptData(size.width(), size.height(), bytes);
}

bool VellLayerMask::tesselateAffine(const QSize &size, const QPolygonF &outline,
                                    const QList<QPointF> &srcPoints, const QList<QPointF> &dstPoints)
{
    unsigned char *bytes = resampled(*this, size, [&](VellGLTexture2D *target, VellGLTexture *source) {
        VellToolUtil::tesselateTextureToTexture(target, source, outline, QPolygonF(), dstPoints, srcPoints,
                                                VellToolUtil::Bicubic);
    });
    return bytes && adoptData(size.width(), size.height(), bytes);
}
