#include "picture/vellpicturehost.h"

#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgltexture2d.h"
#include "picture/vellreadbudgetbytes.h"

#include <QColor>
#include <QDataStream>
#include <QIODevice>
#include <QPoint>
#include <QPointF>
#include <QString>

#include <climits>
#include <cstring>
#include <ctime>

namespace {

// The budget books sizes as int, so a buffer must stay below 2^31 bytes.
const qint64 kMaxBufferBytes = qint64(INT_MAX);

unsigned int normalisedPixelWidth(unsigned int pixelWidth)
{
    return pixelWidth == 8 ? 8 : 4;
}

// GL_RGBA8 is the 8-bit code that the texture classes map to B, G, R, A bytes.
unsigned int textureFormatOf(unsigned int pixelWidth)
{
    return pixelWidth == 8 ? GL_RGBA16 : GL_RGBA8;
}

// The byte count of a width x height x pixelWidth buffer, or false when it
// reaches 2^31 bytes or a side does not fit the int coordinates of QRect.
bool bufferBytes(unsigned int width, unsigned int height, unsigned int pixelWidth, qint64 *bytes)
{
    if (width > unsigned(INT_MAX) || height > unsigned(INT_MAX) || pixelWidth == 0)
        return false;
    const qint64 pixels = qint64(width) * qint64(height);   // both < 2^31: no overflow
    if (pixels > kMaxBufferBytes)
        return false;   // checked first so the next product stays below 2^35
    const qint64 total = pixels * pixelWidth;
    if (total > kMaxBufferBytes)
        return false;
    *bytes = total;
    return true;
}

void logRefusedSize(unsigned int width, unsigned int height, unsigned int pixelWidth)
{
    VellLog::Instance()->Log("VellPictureHost: refused %u x %u pixels of %u bytes (2 GiB or more)\n",
                             width, height, pixelWidth);
}

} // namespace

VellPictureHost::VellPictureHost(unsigned int width, unsigned int height,
                                 unsigned int requestedPixelWidth)
{
    const unsigned int pw = normalisedPixelWidth(requestedPixelWidth);
    qint64 bytes = 0;
    if (!bufferBytes(width, height, pw, &bytes)) {
        logRefusedSize(width, height, pw);
        return;
    }
    adopt(width, height, VellMemory::getInstance()->alloc(int(bytes)), pw);
}

VellPictureHost::VellPictureHost(unsigned int width, unsigned int height, unsigned char *buffer,
                                 unsigned int requestedPixelWidth)
{
    const unsigned int pw = normalisedPixelWidth(requestedPixelWidth);
    qint64 bytes = 0;
    if (!bufferBytes(width, height, pw, &bytes)) {
        logRefusedSize(width, height, pw);
        if (buffer)
            VellMemory::getInstance()->release(buffer);   // ours since the call
        return;
    }
    adopt(width, height, buffer, pw);
}

VellPictureHost::VellPictureHost(const VellPictureHost *other)
{
    if (!other || !other->data)
        return;
    unsigned char *copy = VellMemory::getInstance()->alloc(int(other->getByteCount()));
    if (copy)
        std::memcpy(copy, other->data, size_t(other->getByteCount()));
    adopt(other->width, other->height, copy, other->pixelWidth);
}

VellPictureHost::~VellPictureHost()
{
    blocks.clear();   // the bands point into data
    if (data)
        VellMemory::getInstance()->release(data);
}

// Only a checked size with a buffer makes a host non-null; without a buffer
// (the budget gave none) it stays 0 x 0 so nothing can index it.
void VellPictureHost::adopt(unsigned int newWidth, unsigned int newHeight, unsigned char *buffer,
                            unsigned int newPixelWidth)
{
    if (!buffer)
        return;
    width = newWidth;
    height = newHeight;
    pixelWidth = newPixelWidth;
    data = buffer;
    allocBlocks();
}

void VellPictureHost::allocBlocks()
{
    blocks.clear();
    blocksAcross = 1;
    blocksDown = (width == 0 || height == 0) ? 0 : (height + kBandRows - 1) / kBandRows;
    blocks.reserve(blocksDown);
    const size_t bandBytes = size_t(width) * kBandRows * pixelWidth;
    for (unsigned int k = 0; k < blocksDown; ++k) {
        const int top = int(k) * kBandRows;
        const int rows = qMin(kBandRows, int(height) - top);
        blocks.push_back(std::make_unique<VellPictureBlock>(QRect(0, top, int(width), rows),
                                                            pixelWidth, data + k * bandBytes));
    }
}

qint64 VellPictureHost::getByteCount() const
{
    return qint64(width) * height * pixelWidth;
}

VellPictureBlock *VellPictureHost::getBlock(unsigned int column, unsigned int row) const
{
    if (column >= blocksAcross || row >= blocksDown)
        return nullptr;
    return blocks[size_t(row) * blocksAcross + column].get();
}

VellPictureBlock *VellPictureHost::getBlockOfPoint(int x, int y) const
{
    if (x < 0 || y < 0 || unsigned(x) >= width || unsigned(y) >= height)
        return nullptr;
    return getBlock(0, unsigned(y) / kBandRows);
}

VellPictureBlock *VellPictureHost::getBlockOfPoint(const QPoint &point) const
{
    return getBlockOfPoint(point.x(), point.y());
}

VellPictureBlock *VellPictureHost::getBlockOfPoint(const QPointF &point) const
{
    // Tested in floating point first: (-0.5, 0) lies outside although it
    // truncates to 0, and NaN or huge values must never reach the int cast.
    if (!(point.x() >= 0.0 && point.x() < double(width) && point.y() >= 0.0
          && point.y() < double(height)))
        return nullptr;
    return getBlockOfPoint(int(point.x()), int(point.y()));
}

unsigned int VellPictureHost::getPixel8bit(int x, int y) const
{
    if (!data || x < 0 || y < 0 || unsigned(x) >= width || unsigned(y) >= height)
        return 0;
    const unsigned char *p = data + (size_t(y) * width + size_t(x)) * pixelWidth;
    // Channels are stored B, G, R, A; 16-bit ones little-endian, so the odd
    // byte of each word is its high byte.
    const int step = pixelWidth == 8 ? 2 : 1;
    const int high = pixelWidth == 8 ? 1 : 0;
    return unsigned(p[3 * step + high]) << 24 | unsigned(p[2 * step + high]) << 16
        | unsigned(p[step + high]) << 8 | unsigned(p[high]);
}

void VellPictureHost::initHostData(const QColor &color)
{
    const QRgb rgba = color.rgba();
    int value = 0;
    if (rgba == 0xFFFFFFFFu)
        value = 0xFF;
    else if (rgba == 0u)
        value = 0;
    else
        return;
    if (!data)
        return;
    const size_t rowBytes = size_t(width) * pixelWidth;
    unsigned char *bits = data;
    const int rows = int(height);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < rows; ++y)
        std::memset(bits + size_t(y) * rowBytes, value, rowBytes);
}

bool VellPictureHost::write(unsigned char *dest) const
{
    if (!dest || !data)
        return false;
    std::memcpy(dest, data, size_t(getByteCount()));
    return true;
}

bool VellPictureHost::read(const unsigned char *src)
{
    if (!src || !data)
        return false;
    std::memcpy(data, src, size_t(getByteCount()));
    return true;
}

bool VellPictureHost::write(unsigned char *dest, const QRect &area) const
{
    if (!dest || area.isEmpty())
        return false;
    for (const std::unique_ptr<VellPictureBlock> &band : blocks)
        band->write(dest, area);
    return true;
}

bool VellPictureHost::read(const unsigned char *src, const QRect &area)
{
    if (!src || area.isEmpty())
        return false;
    for (const std::unique_ptr<VellPictureBlock> &band : blocks)
        band->read(src, area);
    return true;
}

void VellPictureHost::writeTexture(VellGLTexture2D *texture, const QRect &region,
                                   const QPoint &origin) const
{
    for (const std::unique_ptr<VellPictureBlock> &band : blocks)
        band->writeTexture(texture, region, origin);
}

void VellPictureHost::readTexture(VellGLTexture2D *texture, const QRect &region,
                                  const QPoint &origin)
{
    for (const std::unique_ptr<VellPictureBlock> &band : blocks)
        band->readTexture(texture, region, origin);
}

void VellPictureHost::writeEntireTexture(VellGLTexture2D *texture) const
{
    if (!texture || !data)
        return;
    // The upload reads the texture's bytes per pixel from our buffer, so a
    // 16-bit texture would run past an 8-bit picture's end.
    if (texture->is16Bit() != (pixelWidth == 8)) {
        VellLog::Instance()->Log("writeEntireTexture: texture depth differs from the picture's\n");
        return;
    }
    texture->load(int(width), int(height), reinterpret_cast<const unsigned int *>(data), true);
}

void VellPictureHost::readEntireTexture(VellGLTexture2D *texture)
{
    VellLog::Instance()->Log("GL Error before readEntireTexture:%d\n", int(glGetError()));
    if (!texture || !data || texture->getWidth() != int(width)
        || texture->getHeight() != int(height) || texture->is16Bit() != (pixelWidth == 8)) {
        VellLog::Instance()->Log("readEntireTexture: texture does not match the picture\n");
        return;
    }
    const clock_t start = clock();
    texture->write(reinterpret_cast<unsigned int *>(data));
    VellLog::Instance()->Log("readEntireTexture Time:%d ms\n",
                             int((clock() - start) * 1000 / CLOCKS_PER_SEC));
}

VellGLTexture2D *VellPictureHost::getEntireTexture() const
{
    return new VellGLTexture2D(int(width), int(height),
                               reinterpret_cast<const unsigned int *>(data),
                               textureFormatOf(pixelWidth), true);
}

VellGLTexture2D *VellPictureHost::getPartTexture(const QRect &region) const
{
    VellGLTexture2D *texture =
        new VellGLTexture2D(int(width), int(height), textureFormatOf(pixelWidth), true);
    writeTexture(texture, region, region.topLeft());
    return texture;
}

void VellPictureHost::writeThumbTexture(VellGLTexture2D *thumb, const QRect &region, double sx,
                                        double sy, const QPointF &origin) const
{
    for (const std::unique_ptr<VellPictureBlock> &band : blocks)
        band->writeThumbTexture(thumb, region, sx, sy, origin);
}

VellGLTexture2D *VellPictureHost::getThumbTexture(const QRect &region, double sx, double sy) const
{
    if (!(sx > 0.0) || !(sy > 0.0))
        return nullptr;
    // Sized by the same division that places the bands, so the shrunk
    // region fills the texture.
    VellGLTexture2D *thumb = new VellGLTexture2D(int(region.width() / sx),
                                                 int(region.height() / sy), GL_RGBA8, true);
    writeThumbTexture(thumb, region, sx, sy, QPointF(region.topLeft()));
    return thumb;
}

bool VellPictureHost::saveBlocks(const QString &prefix) const
{
    bool allSaved = true;
    for (unsigned int r = 0; r < blocksDown; ++r) {
        for (unsigned int c = 0; c < blocksAcross; ++c) {
            const QString name = prefix + QString::asprintf("%u_%u.jpg", r, c);
            if (!getBlock(c, r)->toQimage().save(name))
                allSaved = false;
        }
    }
    return allSaved;
}

QDataStream &operator<<(QDataStream &out, const VellPictureHost *host)
{
    if (!host) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    out << quint32(host->getWidth()) << quint32(host->getHeight())
        << quint32(host->getPixelWidth());
    const qint64 bytes = host->getByteCount();   // below 2^31 for every host
    if (host->getData() && bytes > 0
        && out.writeRawData(reinterpret_cast<const char *>(host->getData()), int(bytes)) != bytes)
        out.setStatus(QDataStream::WriteFailed);
    return out;
}

QDataStream &operator>>(QDataStream &in, VellPictureHost **host)
{
    if (!host)
        return in;
    *host = nullptr;
    if (!in.device()) {
        in.setStatus(QDataStream::ReadPastEnd);
        return in;
    }
    quint32 width = 0, height = 0, pixelWidth = 0;
    in >> width >> height >> pixelWidth;
    if (in.status() != QDataStream::Ok) {
        VellLog::Instance()->Log("VellPictureHost: stream ended inside the header\n");
        return in;
    }
    // A writer only produces 4 or 8 and sizes below 2^31 bytes; anything else
    // is a damaged stream, not a size to normalise.
    // One empty side is no picture either: its rows (or columns) would still
    // be walked by whoever loops over them. 0 x 0 is the empty host.
    qint64 bytes = 0;
    if ((pixelWidth != 4 && pixelWidth != 8) || (width == 0) != (height == 0)
        || !bufferBytes(width, height, pixelWidth, &bytes)) {
        VellLog::Instance()->Log("VellPictureHost: corrupt stream header %u x %u x %u\n", width,
                                 height, pixelWidth);
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    unsigned char *data = vellReadBudgetBytes(in, bytes, "VellPictureHost");
    if (data)
        *host = new VellPictureHost(width, height, data, pixelWidth);
    return in;
}
