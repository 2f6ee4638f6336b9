#include "picture/velltiffwriter.h"

#include "picture/vellsamplerows.h"

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

namespace {

const size_t kStripBytes = size_t(1) << 18;   // samples a strip holds by default
const size_t kBatchStrips = 32;               // strips converted before they are written

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

bool setTags(TIFF *tiff, const VellSampleRows &rows, uint32_t stripRows)
{
    const QImage &image = rows.image();
    bool ok = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, uint32_t(image.width()))
        && TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, uint32_t(image.height()))
        && TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, uint16_t(rows.bitsPerSample()))
        && TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, uint16_t(rows.channels()))
        && TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, uint16_t(rows.channels() == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB))
        && TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, uint16_t(PLANARCONFIG_CONTIG))
        && TIFFSetField(tiff, TIFFTAG_COMPRESSION, uint16_t(COMPRESSION_NONE))
        && TIFFSetField(tiff, TIFFTAG_ORIENTATION, uint16_t(ORIENTATION_TOPLEFT))
        && TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, stripRows);
    if (ok && rows.channels() == 4) {
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
    // Samples in this machine's byte order, which libtiff marks in the file.
    VellSampleRows rows;
    if (!rows.setImage(source, Q_BYTE_ORDER == Q_BIG_ENDIAN ? VellSampleRows::BigEndian
                                                               : VellSampleRows::LittleEndian))
        return fail(QStringLiteral("no memory to convert the image"));
    const int height = rows.image().height();
    const uint32_t stripRows = m_stripRows > 0
        ? uint32_t(std::min(m_stripRows, height))
        : uint32_t(std::clamp<size_t>(kStripBytes / rows.rowBytes(), 1, size_t(height)));
    // One batch of whole strips; its size is below kBatchStrips * max(row,
    // kStripBytes), far from overflowing.
    const size_t batchRows = std::min(size_t(stripRows) * kBatchStrips, size_t(height));
    std::vector<uchar> batch;
    try {
        batch.resize(batchRows * rows.rowBytes());
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
        if (!setTags(tiff, rows, stripRows))
            return fail(QStringLiteral("libtiff refused the image's tags"));
        uint32_t strip = 0;
        for (int top = 0; top < height; top += int(batchRows)) {
            const int count = std::min(int(batchRows), height - top);
            uchar *bytes = batch.data();
            const size_t rowBytes = rows.rowBytes();
#pragma omp parallel for schedule(static)
            for (int y = 0; y < count; ++y)
                rows.packRow(top + y, bytes + size_t(y) * rowBytes);
            for (int at = 0; at < count; at += int(stripRows), ++strip) {
                const size_t bytesOut = size_t(std::min(int(stripRows), count - at)) * rowBytes;
                if (TIFFWriteRawStrip(tiff, strip, bytes + size_t(at) * rowBytes, tmsize_t(bytesOut)) != tmsize_t(bytesOut))
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
