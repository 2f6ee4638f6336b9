#ifndef VELLPNGWRITER_H
#define VELLPNGWRITER_H

#include <QString>

class QIODevice;
class QImage;

// Writes a QImage as one standard PNG, deflating on several threads.
//
// The rows are cut into strips of a fixed size (so the file does not depend
// on the number of threads); each strip is deflated on its own, primed with
// the 32 KiB of rows before it as its dictionary, and ended on a byte
// boundary, so the strips join into one zlib stream whose Adler-32 is
// combined from theirs, the way parallel gzip does it. Each strip becomes
// one IDAT chunk. libpng writes the signature, the header chunks and the
// chunk framing.
//
// Rows are stored unfiltered at compression level 6 by default: what other
// image tools write unless asked otherwise, so files come out of a similar
// size. Strips are deflated a batch at a time and written before the next
// batch, so the memory taken beyond the image is a few strips per thread.
//
// Formats: 8-bit grey, RGB and RGBA from Grayscale8, RGB32, RGB888 and
// ARGB32 (other 8-bit formats are converted to ARGB32 first); 16-bit grey,
// RGB and RGBA from Grayscale16, RGBX64 and RGBA64. An image with a valid
// colour space gets its ICC profile; its resolution goes into pHYs.
//
// Not copyable; one write at a time. Rows run on OpenMP threads.
class VellPngWriter
{
public:
    VellPngWriter() = default;
    Q_DISABLE_COPY(VellPngWriter)

    // 0 (stored) to 9 (smallest); out-of-range values are clamped.
    void setCompression(int level);
    int compression() const { return m_level; }
    // The row filter of every row: 0 none, 1 sub, 2 up, 3 average, 4
    // Paeth (the PNG filter types); out-of-range values are clamped.
    void setFilter(int filter);
    int filter() const { return m_filter; }
    // Threads that deflate; 0 (default) for OpenMP's number.
    void setThreads(int threads) { m_threads = threads < 0 ? 0 : threads; }
    // Rows per strip; 0 (default) for about 1 MiB of pixels a strip. Tests
    // use small strips to cut small images into many.
    void setStripRows(int rows) { m_stripRows = rows < 0 ? 0 : rows; }

    // Writes `image` to `device` (open for writing). False, with
    // errorString(), for a null image, when memory runs out or a write to
    // the device fails; the device may then hold part of a file.
    bool write(const QImage &image, QIODevice *device);
    const QString &errorString() const { return m_error; }

private:
    int m_level = 6;
    int m_filter = 0;
    int m_threads = 0;
    int m_stripRows = 0;
    QString m_error;
};

#endif // VELLPNGWRITER_H
