#include "picture/vellpictureblock.h"

#include "foundation/velllog.h"
#include "gpu/vellgltexture2d.h"
#include "tools/velltoolutil.h"

#include <QPointF>

#include <cstring>
#include <new>

namespace {

// Below this many rows a copy is too short to pay for waking the thread team.
const int kParallelRows = 64;

unsigned int normalisedPixelWidth(unsigned int pixelWidth)
{
    return pixelWidth == 8 ? 8 : 4;
}

// Size of a buffer laid out as `rect`; 0 for an empty or inverted rectangle.
size_t bufferBytes(const QRect &rect, unsigned int pixelWidth)
{
    if (rect.isEmpty())
        return 0;
    return size_t(rect.width()) * size_t(rect.height()) * pixelWidth;
}

// Byte offset of `point` in a buffer laid out as `rect`; the point lies inside.
size_t offsetIn(const QRect &rect, const QPoint &point, unsigned int pixelWidth)
{
    return (size_t(point.y() - rect.top()) * size_t(rect.width()) + size_t(point.x() - rect.left()))
        * pixelWidth;
}

// The overlap of two buffers' rectangles, or a null rectangle. QRect's own
// intersection normalises inverted rectangles, which would make the strides
// negative, so those count as empty here.
QRect overlap(const QRect &a, const QRect &b)
{
    if (a.isEmpty() || b.isEmpty())
        return QRect();
    return a.intersected(b);
}

// Copies `part` (inside both rectangles) from a buffer laid out as srcRect to
// one laid out as dstRect. Each thread copies whole rows of its own.
void copyPart(unsigned char *dst, const QRect &dstRect, const unsigned char *src,
              const QRect &srcRect, const QRect &part, unsigned int pixelWidth)
{
    const size_t dstStride = size_t(dstRect.width()) * pixelWidth;
    const size_t srcStride = size_t(srcRect.width()) * pixelWidth;
    const size_t rowBytes = size_t(part.width()) * pixelWidth;
    unsigned char *dstStart = dst + offsetIn(dstRect, part.topLeft(), pixelWidth);
    const unsigned char *srcStart = src + offsetIn(srcRect, part.topLeft(), pixelWidth);
    const int rows = part.height();
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int r = 0; r < rows; ++r)
        std::memcpy(dstStart + size_t(r) * dstStride, srcStart + size_t(r) * srcStride, rowBytes);
}

} // namespace

VellPictureBlock::VellPictureBlock(QRect region, unsigned int pixelWidth, unsigned char *data)
    : region(region), pixelWidth(normalisedPixelWidth(pixelWidth))
{
    if (data) {
        this->data = data;
        borrowed = true;
        return;
    }
    this->data = allocZeroed(region, this->pixelWidth);
    if (!this->data && bufferBytes(region, this->pixelWidth) > 0) {
        VellLog::Instance()->Log("VellPictureBlock: no memory for a %d x %d block\n",
                                 region.width(), region.height());
        this->region = QRect();
    }
}

VellPictureBlock::~VellPictureBlock()
{
    releaseData();
}

qint64 VellPictureBlock::getByteCount() const
{
    return qint64(bufferBytes(region, pixelWidth));
}

unsigned char *VellPictureBlock::allocZeroed(QRect region, unsigned int pixelWidth)
{
    const size_t bytes = bufferBytes(region, pixelWidth);
    if (bytes == 0)
        return nullptr;
    return new (std::nothrow) unsigned char[bytes]();
}

void VellPictureBlock::releaseData()
{
    if (!borrowed)
        delete[] data;
    data = nullptr;
    borrowed = false;
}

void VellPictureBlock::initData()
{
    unsigned char *fresh = allocZeroed(region, pixelWidth);
    if (!fresh && bufferBytes(region, pixelWidth) > 0) {
        VellLog::Instance()->Log("VellPictureBlock: no memory to clear a %d x %d block\n",
                                 region.width(), region.height());
        return;
    }
    releaseData();
    data = fresh;
}

void VellPictureBlock::setRegion(QRect newRegion)
{
    if (newRegion == region)
        return;
    unsigned char *fresh = allocZeroed(newRegion, pixelWidth);
    if (!fresh && bufferBytes(newRegion, pixelWidth) > 0) {
        VellLog::Instance()->Log("VellPictureBlock: no memory to move a block to %d x %d\n",
                                 newRegion.width(), newRegion.height());
        return;
    }
    const QRect part = overlap(region, newRegion);
    if (data && fresh && !part.isEmpty())
        copyPart(fresh, newRegion, data, region, part, pixelWidth);
    releaseData();
    data = fresh;
    region = newRegion;
}

void VellPictureBlock::write(unsigned char *dest, QRect area) const
{
    const QRect part = overlap(region, area);
    if (!dest || !data || part.isEmpty())
        return;
    copyPart(dest, area, data, region, part, pixelWidth);
}

void VellPictureBlock::read(const unsigned char *src, QRect area)
{
    const QRect part = overlap(region, area);
    if (!src || !data || part.isEmpty())
        return;
    copyPart(data, region, src, area, part, pixelWidth);
}

QImage VellPictureBlock::toQimage() const
{
    if (!data || region.isEmpty())
        return QImage();
    QImage image(region.width(), region.height(), QImage::Format_ARGB32);
    if (image.isNull())
        return QImage();
    const int width = region.width();
    const int height = region.height();
    const size_t srcStride = size_t(width) * pixelWidth;
    const qsizetype dstStride = image.bytesPerLine();
    uchar *bits = image.bits();
    for (int y = 0; y < height; ++y) {
        const unsigned char *src = data + size_t(y) * srcStride;
        uchar *dst = bits + size_t(y) * size_t(dstStride);
        if (pixelWidth == 4) {
            std::memcpy(dst, src, size_t(width) * 4);
            continue;
        }
        // Little-endian 16-bit channels: the odd byte of each is the high one.
        for (int x = 0; x < width; ++x, src += 8, dst += 4) {
            dst[0] = src[1];
            dst[1] = src[3];
            dst[2] = src[5];
            dst[3] = src[7];
        }
    }
    return image;
}

unsigned int VellPictureBlock::textureFormat() const
{
    return pixelWidth == 8 ? GL_RGBA16 : GL_RGBA8;
}

std::unique_ptr<VellGLTexture2D> VellPictureBlock::partTexture(const QRect &part) const
{
    if (part == region)
        return std::make_unique<VellGLTexture2D>(
            part.width(), part.height(), reinterpret_cast<const unsigned int *>(data),
            textureFormat(), true);
    std::unique_ptr<unsigned char[]> scratch(new (std::nothrow)
                                                 unsigned char[bufferBytes(part, pixelWidth)]());
    if (!scratch) {
        VellLog::Instance()->Log("VellPictureBlock: no memory to stage %d x %d pixels\n",
                                 part.width(), part.height());
        return nullptr;
    }
    write(scratch.get(), part);
    return std::make_unique<VellGLTexture2D>(part.width(), part.height(),
                                             reinterpret_cast<const unsigned int *>(scratch.get()),
                                             textureFormat(), true);
}

void VellPictureBlock::writeTexture(VellGLTexture2D *texture, QRect area, QPoint origin) const
{
    const QRect part = overlap(region, area);
    if (!texture || !data || part.isEmpty())
        return;
    const std::unique_ptr<VellGLTexture2D> source = partTexture(part);
    if (!source)
        return;
    VellToolUtil::copyTextureToTexture(
        texture, source.get(),
        QRectF(part.left() - origin.x(), part.top() - origin.y(), part.width(), part.height()),
        QRectF(0, 0, part.width(), part.height()));
}

void VellPictureBlock::readTexture(VellGLTexture2D *texture, QRect area, QPoint origin)
{
    const QRect part = overlap(region, area);
    if (!texture || !data || part.isEmpty())
        return;
    VellGLTexture2D staging(part.width(), part.height(), textureFormat(), true);
    if (staging.failed())
        return;
    VellToolUtil::copyTextureToTexture(
        &staging, texture, QRectF(0, 0, part.width(), part.height()),
        QRectF(part.left() - origin.x(), part.top() - origin.y(), part.width(), part.height()));
    if (part == region) {
        staging.write(reinterpret_cast<unsigned int *>(data));
        return;
    }
    std::unique_ptr<unsigned char[]> scratch(new (std::nothrow)
                                                 unsigned char[bufferBytes(part, pixelWidth)]);
    if (!scratch) {
        VellLog::Instance()->Log("VellPictureBlock: no memory to stage %d x %d pixels\n",
                                 part.width(), part.height());
        return;
    }
    staging.write(reinterpret_cast<unsigned int *>(scratch.get()));
    read(scratch.get(), part);
}

void VellPictureBlock::writeThumbTexture(VellGLTexture2D *thumb, QRect area, double sx, double sy,
                                         const QPointF &origin) const
{
    const QRect part = overlap(region, area);
    if (!thumb || !data || part.isEmpty() || !(sx > 0.0) || !(sy > 0.0))
        return;
    const std::unique_ptr<VellGLTexture2D> source = partTexture(part);
    if (!source)
        return;
    VellToolUtil::copyTextureToTexture(thumb, source.get(),
                                       QRectF((part.left() - origin.x()) / sx,
                                              (part.top() - origin.y()) / sy, part.width() / sx,
                                              part.height() / sy),
                                       QRectF(0, 0, part.width(), part.height()));
}
