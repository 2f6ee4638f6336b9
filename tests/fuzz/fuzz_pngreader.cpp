// The library's PNG reader on arbitrary bytes. Whatever it accepts must be
// the picture Qt's reader makes of the same bytes (format, pixels, colour
// space, resolution), since callers use one in place of the other; the
// in-place decode into 4-byte pixels with padded rows must agree with it.
// Inputs that start with 'C' have that byte dropped and every chunk's CRC
// made right, so that mutations reach past the CRC checks.

#include "vellfuzz.h"

#include "picture/vellpngreader.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>

#include <cstring>
#include <vector>

namespace {

// Small, so that a header claiming a large picture is refused before any
// allocation and the fuzzer stays fast.
const qint64 kMaxPixels = qint64(1) << 20;

quint32 crc32(const char *data, size_t size)
{
    quint32 crc = 0xffffffffu;
    for (size_t i = 0; i < size; ++i) {
        crc ^= uchar(data[i]);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

// Rewrites the CRC of every whole chunk after the signature.
void fixCrcs(QByteArray &bytes)
{
    qint64 at = 8;
    while (at + 12 <= bytes.size()) {
        const uchar *p = reinterpret_cast<const uchar *>(bytes.constData()) + at;
        const qint64 length = qint64(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
        if (at + 12 + length > bytes.size())
            return;
        const quint32 crc = crc32(bytes.constData() + at + 4, size_t(length) + 4);
        for (int i = 0; i < 4; ++i)
            bytes[int(at + 8 + length + i)] = char(crc >> (24 - 8 * i));
        at += 12 + length;
    }
}

QImage decodeWith(QByteArray &bytes, bool ours)
{
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    if (!ours)
        return QImageReader(&buffer, "png").read();
    VellPngReader reader(&buffer);
    reader.setMaxPixels(kMaxPixels);
    if (!reader.readHeader())
        return QImage();
    if (qint64(reader.size().width()) * reader.size().height() > kMaxPixels)
        std::abort();   // the limit was not applied
    return reader.read();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    QByteArray bytes = VellFuzz::bytesOf(data, size);
    if (bytes.startsWith('C')) {
        bytes.remove(0, 1);
        fixCrcs(bytes);
    }
    VellFuzz::Oracle oracle;
    const QImage image = decodeWith(bytes, true);
    if (image.isNull())
        return 0;
    const QImage qt = decodeWith(bytes, false);
    if (qt.isNull() || qt.format() != image.format() || qt.size() != image.size()
        || qt.colorSpace() != image.colorSpace() || qt.dotsPerMeterX() != image.dotsPerMeterX()
        || qt.dotsPerMeterY() != image.dotsPerMeterY())
        std::abort();
    const size_t rowBytes = size_t(image.width()) * size_t(image.depth() / 8);
    for (int y = 0; y < image.height(); ++y)
        if (std::memcmp(image.constScanLine(y), qt.constScanLine(y), rowBytes) != 0)
            std::abort();

    // Into 4-byte pixels, rows 3 pixels apart more than needed, as a host
    // with padding would hold them.
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    VellPngReader reader(&buffer);
    reader.setMaxPixels(kMaxPixels);
    if (!reader.readHeader())
        std::abort();
    const qint64 stride = qint64(image.width() + 3) * 4;
    const qint64 needed = reader.bufferBytes(VellPngReader::Bgra32, stride);
    std::vector<uchar> pixels(static_cast<size_t>(needed));
    if (!reader.decode(pixels.data(), needed, VellPngReader::Bgra32, stride))
        std::abort();
    const QImage argb = qt.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        if (std::memcmp(pixels.data() + size_t(y) * size_t(stride), argb.constScanLine(y), size_t(image.width()) * 4) != 0)
            std::abort();
    return 0;
}
