#ifndef VELLSAMPLEROWS_H
#define VELLSAMPLEROWS_H

#include <QImage>

#include <cstddef>

// An image's rows as the samples image files store them: grey, R G B or
// R G B A, 8 or 16 bits each, 16-bit samples in the file's byte order. The
// image writers (PNG, TIFF) pack their rows through it.
//
// setImage() keeps the image in a format it packs directly: 8-bit grey,
// RGB32, RGB888, ARGB32, RGBA8888, 16-bit grey, RGBX64 and RGBA64 are kept
// as they are, a premultiplied RGBA64 image is unpremultiplied, and any
// other image becomes ARGB32 or RGB32 (with alpha or without). RGBX64
// drops its padding word, RGB32 its unused byte.
//
// packRow() may run on many threads at once.
class VellSampleRows
{
public:
    enum ByteOrder { BigEndian, LittleEndian };

    // False when the image is null, cannot be converted, or a row's samples
    // would reach INT_MAX bytes; the object is then unchanged.
    bool setImage(const QImage &source, ByteOrder order);

    const QImage &image() const { return m_image; }
    int channels() const { return m_channels; }            // 1, 3 or 4
    int bitsPerSample() const { return m_bits; }           // 8 or 16
    int bytesPerPixel() const { return m_channels * m_bits / 8; }
    size_t rowBytes() const { return m_rowBytes; }         // the samples of one row

    // Row y's samples into `out` (rowBytes() bytes, any alignment).
    void packRow(int y, unsigned char *out) const;

private:
    enum class Kind { Grey8, Rgb32, Rgb888, Argb32, Rgba8888, Grey16, Rgbx64, Rgba64 };

    QImage m_image;
    Kind m_kind = Kind::Argb32;
    ByteOrder m_order = BigEndian;
    int m_channels = 4;
    int m_bits = 8;
    size_t m_rowBytes = 0;
};

#endif // VELLSAMPLEROWS_H
