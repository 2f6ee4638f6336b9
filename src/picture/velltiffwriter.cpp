#include "picture/velltiffwriter.h"

#include <QBuffer>
#include <QColorSpace>
#include <QIODevice>
#include <QImage>

#include <tiffio.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "16-bit samples are copied as they lie in memory into a little-endian file");

namespace {

// How a row of the image becomes a row of TIFF samples.
enum class RowKind { Grey8, Rgb32, Rgb888, Argb32, Rgba8888, Grey16, Rgbx64, Rgba64 };

const size_t kStripBytes = size_t(1) << 18;   // samples a strip holds by default
const size_t kBatchStrips = 32;               // strips converted before they are written

struct Layout
{
    QImage image;          // in one of the formats RowKind knows
    RowKind kind = RowKind::Argb32;
    int channels = 4;
    int bitsPerSample = 8;
    size_t rowBytes = 0;
};

bool chooseLayout(const QImage &source, Layout *layout)
{
    QImage image = source;
    switch (image.format()) {
    case QImage::Format_Grayscale8:
        layout->kind = RowKind::Grey8;
        break;
    case QImage::Format_RGB32:
        layout->kind = RowKind::Rgb32;
        break;
    case QImage::Format_RGB888:
        layout->kind = RowKind::Rgb888;
        break;
    case QImage::Format_ARGB32:
        layout->kind = RowKind::Argb32;
        break;
    case QImage::Format_RGBA8888:
        layout->kind = RowKind::Rgba8888;
        break;
    case QImage::Format_Grayscale16:
        layout->kind = RowKind::Grey16;
        break;
    case QImage::Format_RGBX64:
        layout->kind = RowKind::Rgbx64;
        break;
    case QImage::Format_RGBA64:
        layout->kind = RowKind::Rgba64;
        break;
    case QImage::Format_RGBA64_Premultiplied:
        image = image.convertToFormat(QImage::Format_RGBA64);
        layout->kind = RowKind::Rgba64;
        break;
    default:
        image = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        layout->kind = image.hasAlphaChannel() ? RowKind::Argb32 : RowKind::Rgb32;
        break;
    }
    if (image.isNull())
        return false;
    switch (layout->kind) {
    case RowKind::Grey8:
    case RowKind::Grey16:
        layout->channels = 1;
        break;
    case RowKind::Rgb32:
    case RowKind::Rgb888:
    case RowKind::Rgbx64:
        layout->channels = 3;
        break;
    default:
        layout->channels = 4;
        break;
    }
    const bool deep = layout->kind == RowKind::Grey16 || layout->kind == RowKind::Rgbx64
        || layout->kind == RowKind::Rgba64;
    layout->bitsPerSample = deep ? 16 : 8;
    if (__builtin_mul_overflow(size_t(image.width()), size_t(layout->channels * (deep ? 2 : 1)), &layout->rowBytes)
        || layout->rowBytes >= size_t(INT_MAX))
        return false;
    layout->image = image;
    return true;
}

// Row y of the image as TIFF samples: R, G, B(, A) or grey, 16-bit ones
// little-endian.
void packRow(const Layout &layout, int y, uchar *out)
{
    const uchar *in = layout.image.constScanLine(y);
    const int w = layout.image.width();
    switch (layout.kind) {
    case RowKind::Grey8:
    case RowKind::Rgb888:
    case RowKind::Rgba8888:
    case RowKind::Grey16:
    case RowKind::Rgba64:
        std::memcpy(out, in, layout.rowBytes);
        break;
    case RowKind::Rgb32: {
        const QRgb *px = reinterpret_cast<const QRgb *>(in);
        for (int x = 0; x < w; ++x, out += 3) {
            out[0] = uchar(qRed(px[x]));
            out[1] = uchar(qGreen(px[x]));
            out[2] = uchar(qBlue(px[x]));
        }
        break;
    }
    case RowKind::Argb32: {
        // B, G, R, A bytes to R, G, B, A: the red and blue bytes of each
        // little-endian word swap, in a loop the compiler vectorises.
        const quint32 *px = reinterpret_cast<const quint32 *>(in);
        quint32 *o = reinterpret_cast<quint32 *>(out);   // rows of the batch are 4-byte aligned
        for (int x = 0; x < w; ++x) {
            const quint32 p = px[x];
            o[x] = (p & 0xff00ff00u) | (p >> 16 & 0xffu) | (p & 0xffu) << 16;
        }
        break;
    }
    case RowKind::Rgbx64: {
        const quint16 *px = reinterpret_cast<const quint16 *>(in);
        quint16 *o = reinterpret_cast<quint16 *>(out);
        for (int x = 0; x < w; ++x, px += 4, o += 3) {
            o[0] = px[0];
            o[1] = px[1];
            o[2] = px[2];
        }
        break;
    }
    }
}

// The device libtiff writes to: offsets count from where the device stood
// when the write began.
struct Sink
{
    QIODevice *device;
    qint64 base;
};

tmsize_t readProc(thandle_t handle, void *data, tmsize_t size)
{
    const Sink *sink = static_cast<const Sink *>(handle);
    return tmsize_t(sink->device->read(static_cast<char *>(data), qint64(size)));
}

tmsize_t writeProc(thandle_t handle, void *data, tmsize_t size)
{
    const Sink *sink = static_cast<const Sink *>(handle);
    return tmsize_t(sink->device->write(static_cast<const char *>(data), qint64(size)));
}

toff_t seekProc(thandle_t handle, toff_t offset, int whence)
{
    const Sink *sink = static_cast<const Sink *>(handle);
    qint64 at = qint64(offset);
    if (whence == SEEK_CUR)
        at += sink->device->pos() - sink->base;
    else if (whence == SEEK_END)
        at += sink->device->size() - sink->base;
    if (at < 0 || !sink->device->seek(sink->base + at))
        return toff_t(-1);
    return toff_t(at);
}

int closeProc(thandle_t)
{
    return 0;   // the caller owns the device
}

toff_t sizeProc(thandle_t handle)
{
    const Sink *sink = static_cast<const Sink *>(handle);
    return toff_t(sink->device->size() - sink->base);
}

int mapProc(thandle_t, void **, toff_t *)
{
    return 0;
}

void unmapProc(thandle_t, void *, toff_t)
{
}

// libtiff's errors, kept for errorString() (the first one says most).
int errorHandler(TIFF *, void *userData, const char *module, const char *format, va_list args)
{
    QString *error = static_cast<QString *>(userData);
    if (error->isEmpty()) {
        char text[512];
        std::vsnprintf(text, sizeof text, format, args);
        *error = module && *module ? QStringLiteral("%1: %2").arg(QString::fromLocal8Bit(module), QString::fromLocal8Bit(text))
                                   : QString::fromLocal8Bit(text);
    }
    return 1;   // handled: nothing goes to standard error
}

int warningHandler(TIFF *, void *, const char *, const char *, va_list)
{
    return 1;
}

// Owns the libtiff handle; closing it last flushes nothing more, since
// write() flushes and checks before.
class TiffHandle
{
public:
    TiffHandle(Sink *sink, QString *error)
    {
        TIFFOpenOptions *options = TIFFOpenOptionsAlloc();
        if (!options)
            return;
        TIFFOpenOptionsSetErrorHandlerExtR(options, errorHandler, error);
        TIFFOpenOptionsSetWarningHandlerExtR(options, warningHandler, nullptr);
        m_tiff = TIFFClientOpenExt("image", "wl", sink, readProc, writeProc, seekProc, closeProc, sizeProc,
                                   mapProc, unmapProc, options);
        TIFFOpenOptionsFree(options);
    }
    ~TiffHandle()
    {
        if (m_tiff)
            TIFFClose(m_tiff);
    }
    Q_DISABLE_COPY(TiffHandle)

    TIFF *get() const { return m_tiff; }

private:
    TIFF *m_tiff = nullptr;
};

bool setTags(TIFF *tiff, const Layout &layout, uint32_t stripRows)
{
    const QImage &image = layout.image;
    bool ok = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, uint32_t(image.width()))
        && TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, uint32_t(image.height()))
        && TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, uint16_t(layout.bitsPerSample))
        && TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, uint16_t(layout.channels))
        && TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, uint16_t(layout.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB))
        && TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, uint16_t(PLANARCONFIG_CONTIG))
        && TIFFSetField(tiff, TIFFTAG_COMPRESSION, uint16_t(COMPRESSION_NONE))
        && TIFFSetField(tiff, TIFFTAG_ORIENTATION, uint16_t(ORIENTATION_TOPLEFT))
        && TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, stripRows);
    if (ok && layout.channels == 4) {
        const uint16_t extra[] = {EXTRASAMPLE_UNASSALPHA};
        ok = TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, uint16_t(1), extra);
    }
    if (ok && image.dotsPerMeterX() > 0 && image.dotsPerMeterY() > 0)
        ok = TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, uint16_t(RESUNIT_CENTIMETER))
            && TIFFSetField(tiff, TIFFTAG_XRESOLUTION, float(image.dotsPerMeterX() / 100.0))
            && TIFFSetField(tiff, TIFFTAG_YRESOLUTION, float(image.dotsPerMeterY() / 100.0));
    const QByteArray icc = image.colorSpace().isValid() ? image.colorSpace().iccProfile() : QByteArray();
    if (ok && !icc.isEmpty())
        ok = TIFFSetField(tiff, TIFFTAG_ICCPROFILE, uint32_t(icc.size()), icc.constData());
    return ok;
}

} // namespace

bool VellTiffWriter::write(const QImage &source, QIODevice *device)
{
    m_error.clear();
    const auto fail = [this](const QString &why) {
        if (m_error.isEmpty())
            m_error = why;
        return false;
    };
    if (source.isNull())
        return fail(QStringLiteral("no image to write"));
    if (!device || !device->isWritable())
        return fail(QStringLiteral("the device is not open for writing"));
    Layout layout;
    if (!chooseLayout(source, &layout))
        return fail(QStringLiteral("no memory to convert the image"));
    const int height = layout.image.height();
    const uint32_t stripRows = m_stripRows > 0
        ? uint32_t(std::min(m_stripRows, height))
        : uint32_t(std::clamp<size_t>(kStripBytes / layout.rowBytes, 1, size_t(height)));
    // One batch of whole strips; its size is below kBatchStrips * max(row,
    // kStripBytes), far from overflowing.
    const size_t batchRows = std::min(size_t(stripRows) * kBatchStrips, size_t(height));
    std::vector<uchar> batch;
    try {
        batch.resize(batchRows * layout.rowBytes);
    } catch (const std::bad_alloc &) {
        return fail(QStringLiteral("no memory for a batch of strips"));
    }

    // libtiff seeks back to the header at the end: a sequential device gets
    // the file from memory.
    QBuffer buffer;
    QIODevice *target = device;
    if (device->isSequential()) {
        buffer.open(QIODevice::ReadWrite);
        target = &buffer;
    }
    Sink sink{target, target->pos()};
    {
        TiffHandle handle(&sink, &m_error);
        TIFF *tiff = handle.get();
        if (!tiff)
            return fail(QStringLiteral("libtiff could not start a file"));
        if (!setTags(tiff, layout, stripRows))
            return fail(QStringLiteral("libtiff refused the image's tags"));
        uint32_t strip = 0;
        for (int top = 0; top < height; top += int(batchRows)) {
            const int rows = std::min(int(batchRows), height - top);
            uchar *bytes = batch.data();
            const size_t rowBytes = layout.rowBytes;
#pragma omp parallel for schedule(static)
            for (int y = 0; y < rows; ++y)
                packRow(layout, top + y, bytes + size_t(y) * rowBytes);
            for (int at = 0; at < rows; at += int(stripRows), ++strip) {
                const size_t count = size_t(std::min(int(stripRows), rows - at)) * rowBytes;
                if (TIFFWriteRawStrip(tiff, strip, bytes + size_t(at) * rowBytes, tmsize_t(count)) != tmsize_t(count))
                    return fail(QStringLiteral("a strip could not be written"));
            }
        }
        if (!TIFFFlush(tiff))
            return fail(QStringLiteral("the directory could not be written"));
    }
    if (target == &buffer) {
        const QByteArray &bytes = buffer.data();
        if (device->write(bytes) != bytes.size())
            return fail(device->errorString());
    }
    return true;
}
