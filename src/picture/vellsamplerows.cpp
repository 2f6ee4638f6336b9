#include "picture/vellsamplerows.h"

#include <QtEndian>

#include <climits>
#include <cstring>

bool VellSampleRows::setImage(const QImage &source, ByteOrder order)
{
    QImage image = source;
    Kind kind = Kind::Argb32;
    switch (image.format()) {
    case QImage::Format_Grayscale8: kind = Kind::Grey8; break;
    case QImage::Format_RGB32: kind = Kind::Rgb32; break;
    case QImage::Format_RGB888: kind = Kind::Rgb888; break;
    case QImage::Format_ARGB32: kind = Kind::Argb32; break;
    case QImage::Format_RGBA8888: kind = Kind::Rgba8888; break;
    case QImage::Format_Grayscale16: kind = Kind::Grey16; break;
    case QImage::Format_RGBX64: kind = Kind::Rgbx64; break;
    case QImage::Format_RGBA64: kind = Kind::Rgba64; break;
    case QImage::Format_RGBA64_Premultiplied:
        image = image.convertToFormat(QImage::Format_RGBA64);
        kind = Kind::Rgba64;
        break;
    default:
        image = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        kind = image.hasAlphaChannel() ? Kind::Argb32 : Kind::Rgb32;
        break;
    }
    if (image.isNull())
        return false;
    int channels = 4;
    switch (kind) {
    case Kind::Grey8:
    case Kind::Grey16:
        channels = 1;
        break;
    case Kind::Rgb32:
    case Kind::Rgb888:
    case Kind::Rgbx64:
        channels = 3;
        break;
    default:
        break;
    }
    const int bits = kind == Kind::Grey16 || kind == Kind::Rgbx64 || kind == Kind::Rgba64 ? 16 : 8;
    size_t rowBytes = 0;
    if (__builtin_mul_overflow(size_t(image.width()), size_t(channels * bits / 8), &rowBytes)
        || rowBytes >= size_t(INT_MAX))
        return false;
    m_image = image;
    m_kind = kind;
    m_order = order;
    m_channels = channels;
    m_bits = bits;
    m_rowBytes = rowBytes;
    return true;
}

namespace {

// The first `keep` 16-bit words of each group of `stride`, `groups` times,
// from `in` to `out` in the file's byte order.
void putWords(const quint16 *in, int groups, int stride, int keep, bool bigEndian, unsigned char *out)
{
    for (int g = 0; g < groups; ++g, in += stride)
        for (int c = 0; c < keep; ++c, out += 2) {
            const quint16 v = bigEndian ? qToBigEndian(in[c]) : qToLittleEndian(in[c]);
            std::memcpy(out, &v, 2);
        }
}

} // namespace

void VellSampleRows::packRow(int y, unsigned char *out) const
{
    const uchar *in = m_image.constScanLine(y);
    const int w = m_image.width();
    const bool bigEndian = m_order == BigEndian;
    const bool native = bigEndian == (Q_BYTE_ORDER == Q_BIG_ENDIAN);   // 16-bit words copy as they lie
    switch (m_kind) {
    case Kind::Grey8:
    case Kind::Rgb888:
    case Kind::Rgba8888:
        std::memcpy(out, in, m_rowBytes);
        break;
    case Kind::Rgb32: {
        const QRgb *px = reinterpret_cast<const QRgb *>(in);
        for (int x = 0; x < w; ++x, out += 3) {
            out[0] = uchar(qRed(px[x]));
            out[1] = uchar(qGreen(px[x]));
            out[2] = uchar(qBlue(px[x]));
        }
        break;
    }
    case Kind::Argb32: {
        // The words hold A R G B from the top byte: R G B A bytes are the
        // word with red and blue swapped, stored little-endian, in a loop
        // the compiler vectorises.
        const quint32 *px = reinterpret_cast<const quint32 *>(in);
        for (int x = 0; x < w; ++x) {
            const quint32 p = px[x];
            const quint32 v = qToLittleEndian((p & 0xff00ff00u) | (p >> 16 & 0xffu) | (p & 0xffu) << 16);
            std::memcpy(out + 4 * size_t(x), &v, 4);
        }
        break;
    }
    case Kind::Grey16:
    case Kind::Rgba64:
        if (native)
            std::memcpy(out, in, m_rowBytes);
        else
            putWords(reinterpret_cast<const quint16 *>(in), w * m_channels, 1, 1, bigEndian, out);
        break;
    case Kind::Rgbx64:
        putWords(reinterpret_cast<const quint16 *>(in), w, 4, 3, bigEndian, out);
        break;
    }
}
