#ifndef VELLPICTUREBLOCK_H
#define VELLPICTUREBLOCK_H

#include <QImage>
#include <QRect>
#include <QtGlobal>

#include <memory>

class QPointF;
class VellGLTexture2D;

// A rectangle of pixels in picture coordinates, stored as rows of
// region.width pixels of 4 bytes (8-bit B, G, R, A) or 8 bytes (16-bit
// B, G, R, A) with no padding. A picture host cuts its buffer into bands of
// this kind, which borrow the host's bytes; a block made without data owns a
// zero-filled buffer of its own (new[]), freed by its destructor.
//
// Not copyable. No lock: one thread at a time, except that the row loops of
// write/read split their rows over OpenMP threads internally.
class VellPictureBlock
{
public:
    // Borrows data when it is non-null (it must hold region.width x
    // region.height x pixelWidth bytes and outlive the block); otherwise
    // allocates that many zero bytes. A pixel width other than 4 or 8 is taken
    // as 4. A block whose own buffer cannot be allocated is left empty (null
    // region, no data).
    VellPictureBlock(QRect region, unsigned int pixelWidth, unsigned char *data);
    ~VellPictureBlock();
    Q_DISABLE_COPY(VellPictureBlock)

    unsigned char *getData() const { return data; }   // not owned by the caller
    int getWidth() const { return region.width(); }
    int getHeight() const { return region.height(); }
    QPoint getLeftTop() const { return region.topLeft(); }
    QPoint getRightBottom() const { return region.bottomRight(); }   // inclusive
    QRect getRegion() const { return region; }
    unsigned int getPixelWidth() const { return pixelWidth; }
    bool isBorrowed() const { return borrowed; }
    qint64 getByteCount() const;

    // Both replace the buffer by one the block owns, so a band stops sharing
    // its host's bytes afterwards.
    // initData: a fresh zero-filled buffer of the region's size.
    void initData();
    // setRegion: moves the block to a new region; pixels in the overlap of old
    // and new region keep their picture position, the rest become zero.
    // No effect when the region is unchanged.
    void setRegion(QRect newRegion);

    // Region copies between the block and a buffer laid out as `area` (rows of
    // area.width pixels, pixel (x, y) at ((y - area.top) * area.width +
    // (x - area.left)) * pixelWidth). Only the part of the block inside the
    // area is copied; nothing happens when they do not overlap.
    void write(unsigned char *dest, QRect area) const;   // block -> dest
    void read(const unsigned char *src, QRect area);     // src -> block

    // A Format_ARGB32 copy of the block. 16-bit pixels are reduced to their
    // high bytes so the image shows the same picture. Null for an empty block.
    QImage toQimage() const;

    // Texture transfers of the part of the block inside `area`. `origin` is
    // the picture point that lands on texel (0, 0) of the texture. Each runs
    // through a temporary texture of the part's size (the block's own buffer
    // when the part is the whole block, else a scratch copy of its rows) and
    // a framebuffer copy. Nothing happens for a null texture or an area that
    // misses the block. GUI thread, GL context current.
    // writeTexture: the part -> texture, at part - origin.
    void writeTexture(VellGLTexture2D *texture, QRect area, QPoint origin) const;
    // readTexture: texture at part - origin -> the part.
    void readTexture(VellGLTexture2D *texture, QRect area, QPoint origin);
    // writeThumbTexture: the part drawn shrunk by the reduction factors sx
    // and sy (4: a quarter of its size) at (part - origin) / (sx, sy), through
    // the textures' linear filtering.
    void writeThumbTexture(VellGLTexture2D *thumb, QRect area, double sx, double sy,
                           const QPointF &origin) const;

private:
    // A texture holding `part` (inside the block); null on failure.
    std::unique_ptr<VellGLTexture2D> partTexture(const QRect &part) const;
    unsigned int textureFormat() const;

    // Null when the buffer cannot be allocated.
    static unsigned char *allocZeroed(QRect region, unsigned int pixelWidth);
    void releaseData();

    QRect region;
    unsigned int pixelWidth = 4;
    unsigned char *data = nullptr;   // owned (new[]) unless borrowed
    bool borrowed = false;
};

#endif // VELLPICTUREBLOCK_H
