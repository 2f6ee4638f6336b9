#ifndef VELLPICTUREHOST_H
#define VELLPICTUREHOST_H

#include "picture/vellpictureblock.h"

#include <QRect>
#include <QtGlobal>

#include <memory>
#include <vector>

class QColor;
class QDataStream;
class QPoint;
class QPointF;
class QString;
class VellGLTexture2D;

// A picture in main memory: one contiguous buffer of rows, top to bottom, no
// padding, pixel (x, y) at (y * width + x) * pixelWidth. Pixels are 4 bytes
// (8-bit B, G, R, A) or 8 bytes (16-bit little-endian B, G, R, A). For GPU
// transfers the buffer is cut into bands of at most 2048 rows, one column
// across; the bands borrow the buffer.
//
// Owns the buffer, which comes from and goes back to the memory budget
// (VellMemory), and the bands. Not copyable; copy with the pointer
// constructor. A host is made full-size and never resized.
//
// A buffer must stay below 2^31 bytes, since the budget books sizes as int. A
// size at or over that is refused: the host is then 0 x 0 with no buffer and
// isNull() is true. An empty size (width or height 0) is a valid host with a
// zero-byte buffer and no bands.
//
// No lock: the owner must not let two threads use one host at once. Stream
// reading and writing may run on a swap thread.
class VellPictureHost
{
public:
    static constexpr int kBandRows = 2048;

    // Buffer contents are undefined.
    VellPictureHost(unsigned int width, unsigned int height, unsigned int pixelWidth);
    // Adopts data, which the caller took from VellMemory::alloc; the host
    // releases it, also when it refuses the size. The buffer must hold
    // width * height * pixelWidth bytes of the normalised pixel width.
    VellPictureHost(unsigned int width, unsigned int height, unsigned char *data,
                    unsigned int pixelWidth);
    // Deep copy; a null source gives a 0 x 0 host.
    explicit VellPictureHost(const VellPictureHost *other);
    ~VellPictureHost();
    Q_DISABLE_COPY(VellPictureHost)

    // A pixel width other than 4 or 8 given to a constructor is taken as 4.
    unsigned int getWidth() const { return width; }
    unsigned int getHeight() const { return height; }
    unsigned int getPixelWidth() const { return pixelWidth; }
    unsigned char *getData() const { return data; }   // owned by the host
    qint64 getByteCount() const;
    bool isNull() const { return data == nullptr; }

    unsigned int getBlocksAcross() const { return blocksAcross; }
    unsigned int getBlocksDown() const { return blocksDown; }
    // Bands stay owned by the host. Null when out of range.
    VellPictureBlock *getBlock(unsigned int column, unsigned int row) const;
    // The band holding the point; null outside the picture.
    VellPictureBlock *getBlockOfPoint(int x, int y) const;
    VellPictureBlock *getBlockOfPoint(const QPoint &point) const;
    VellPictureBlock *getBlockOfPoint(const QPointF &point) const;

    // A << 24 | R << 16 | G << 8 | B, from the high bytes for 16-bit pixels;
    // 0 outside the picture.
    unsigned int getPixel8bit(int x, int y) const;

    // Opaque white sets every byte to 0xFF, transparent black every byte to
    // 0; any other colour leaves the pixels as they are.
    void initHostData(const QColor &color);

    // Whole-buffer copies of getByteCount() bytes: write moves the pixels out
    // to dest, read moves them in from src. False for a null pointer.
    bool write(unsigned char *dest) const;
    bool read(const unsigned char *src);
    // Region copies, band by band, to or from a buffer laid out as `area`
    // (rows of area.width pixels of this host's pixel width). Only the part of
    // the area inside the picture is copied; the rest of the buffer is left
    // alone. False for a null pointer or an empty area.
    bool write(unsigned char *dest, const QRect &area) const;
    bool read(const unsigned char *src, const QRect &area);

    // Texture transfers; GUI thread with the GL context current. Region
    // transfers go band by band, each band through a temporary texture at
    // most 2048 rows high; `origin` is the picture point that lands on texel
    // (0, 0). Whole-picture transfers are single GL calls on the buffer.
    // writeTexture: the part of `region` inside the picture -> texture.
    void writeTexture(VellGLTexture2D *texture, const QRect &region, const QPoint &origin) const;
    // readTexture: texture -> the part of `region` inside the picture.
    void readTexture(VellGLTexture2D *texture, const QRect &region, const QPoint &origin);
    // writeEntireTexture: re-specifies the texture as the whole picture
    // (linear filtering). The texture's depth (8 or 16 bits) must match the
    // host's; otherwise nothing happens.
    void writeEntireTexture(VellGLTexture2D *texture) const;
    // readEntireTexture: the whole texture -> the buffer, logging the GL
    // error pending before and the time taken. The texture must match the
    // host's size and depth; otherwise nothing is read.
    void readEntireTexture(VellGLTexture2D *texture);
    // A new texture holding the whole picture (linear); the caller owns it.
    VellGLTexture2D *getEntireTexture() const;
    // A new picture-sized texture (linear) with `region` in its top-left
    // corner; the rest is undefined. The caller owns it.
    VellGLTexture2D *getPartTexture(const QRect &region) const;
    // Draws `region` shrunk by the reduction factors sx, sy at
    // (picture point - origin) / (sx, sy), through linear filtering.
    void writeThumbTexture(VellGLTexture2D *thumb, const QRect &region, double sx, double sy,
                           const QPointF &origin) const;
    // A new 8-bit texture of (int)(region.width / sx) x (int)(region.height /
    // sy) holding `region` shrunk by sx, sy; the caller owns it. Null for
    // factors that are not positive.
    VellGLTexture2D *getThumbTexture(const QRect &region, double sx, double sy) const;

    // Diagnostic dump: every band as prefix + "<row>_<column>.jpg". False if
    // any image could not be saved.
    bool saveBlocks(const QString &prefix) const;

private:
    void adopt(unsigned int width, unsigned int height, unsigned char *data,
               unsigned int pixelWidth);
    void allocBlocks();

    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int blocksAcross = 1;
    unsigned int blocksDown = 0;
    unsigned int pixelWidth = 4;
    unsigned char *data = nullptr;   // owned, from VellMemory::alloc
    std::vector<std::unique_ptr<VellPictureBlock>> blocks;   // row-major; borrow data
};

// Stream form: width, height and pixel width as 32-bit unsigned integers in
// the stream's byte order, then the buffer's raw bytes with no length prefix.
// Writing a null host writes nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, const VellPictureHost *host);
// Allocates *host, which the caller then owns. A truncated or malformed
// stream (one side 0 and the other not included) leaves *host null with the
// stream's status set to ReadPastEnd or ReadCorruptData, and never allocates
// more than the stream can supply.
QDataStream &operator>>(QDataStream &in, VellPictureHost **host);

#endif // VELLPICTUREHOST_H
