#include "picture/vellpngwriter.h"

#include "picture/vellsamplerows.h"

#include <QColorSpace>
#include <QIODevice>
#include <QImage>

#include <png.h>
#include <zlib.h>

#include <omp.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace {

const size_t kWindow = 32768;             // deflate's window: the dictionary a strip gets
const size_t kStripBytes = size_t(1) << 20;   // unfiltered bytes a strip holds by default

struct Layout
{
    VellSampleRows rows;
    int colourType = PNG_COLOR_TYPE_RGB_ALPHA;
    size_t rowBytes = 0;   // the filter byte and the samples
};

bool chooseLayout(const QImage &source, Layout *layout)
{
    if (!layout->rows.setImage(source, VellSampleRows::BigEndian))   // PNG samples are big-endian
        return false;
    const int channels = layout->rows.channels();
    layout->colourType = channels == 1 ? PNG_COLOR_TYPE_GRAY
        : channels == 3               ? PNG_COLOR_TYPE_RGB
                                      : PNG_COLOR_TYPE_RGB_ALPHA;
    layout->rowBytes = layout->rows.rowBytes() + 1;
    return true;
}

// Row y of the image as an unfiltered PNG row: filter byte 0, then samples.
void packRow(const Layout &layout, int y, uchar *out)
{
    *out = 0;
    layout.rows.packRow(y, out + 1);
}

inline int paeth(int a, int b, int c)   // left, up, upper left
{
    const int p = a + b - c;
    const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}

// Filters `row` (filter byte, then samples) in place against `above`, the
// unfiltered row before it (all zero for the first row). Bytes are taken
// from the end, so every byte a filter reads is still unfiltered.
void filterRow(uchar *row, const uchar *above, size_t rowBytes, int bpp, int filter)
{
    uchar *x = row + 1;
    const uchar *up = above + 1;
    const ptrdiff_t n = ptrdiff_t(rowBytes) - 1;
    switch (filter) {
    case PNG_FILTER_VALUE_SUB:
        for (ptrdiff_t i = n - 1; i >= bpp; --i)
            x[i] = uchar(x[i] - x[i - bpp]);
        break;
    case PNG_FILTER_VALUE_UP:
        for (ptrdiff_t i = 0; i < n; ++i)
            x[i] = uchar(x[i] - up[i]);
        break;
    case PNG_FILTER_VALUE_AVG:
        for (ptrdiff_t i = n - 1; i >= 0; --i)
            x[i] = uchar(x[i] - ((i >= bpp ? x[i - bpp] : 0) + up[i]) / 2);
        break;
    case PNG_FILTER_VALUE_PAETH:
        for (ptrdiff_t i = n - 1; i >= 0; --i)
            x[i] = uchar(x[i] - paeth(i >= bpp ? x[i - bpp] : 0, up[i], i >= bpp ? up[i - bpp] : 0));
        break;
    default:
        return;
    }
    row[0] = uchar(filter);
}

// One strip's work space and result; reused from batch to batch.
struct Strip
{
    std::vector<uchar> above; // the unfiltered row before the first one in raw
    std::vector<uchar> raw;   // the dictionary rows, then the strip's rows
    std::vector<uchar> out;   // raw deflate, ending on a byte boundary
    size_t outBytes = 0;
    size_t inBytes = 0;       // the strip's own rows, for the checksum
    uLong adler = 0;
    bool ok = false;
};

// Deflates rows [first, last) into strip->out, primed with the window's
// worth of rows before `first`; the last strip finishes the stream.
void deflateStrip(const Layout &layout, int first, int last, bool final, int level, int filter, Strip *strip)
{
    strip->ok = false;
    const size_t rowBytes = layout.rowBytes;
    const int dictRows = first == 0 ? 0 : int(std::min<size_t>(size_t(first), (kWindow + rowBytes - 1) / rowBytes));
    uchar *raw = strip->raw.data();
    const int top = first - dictRows;
    for (int y = top; y < last; ++y)
        packRow(layout, y, raw + size_t(y - top) * rowBytes);
    if (filter != PNG_FILTER_VALUE_NONE) {
        uchar *above = strip->above.data();
        if (top > 0)
            packRow(layout, top - 1, above);
        else
            std::memset(above, 0, rowBytes);
        for (int y = last - 1; y >= top; --y) {
            uchar *row = raw + size_t(y - top) * rowBytes;
            filterRow(row, y > top ? row - rowBytes : above, rowBytes, layout.rows.bytesPerPixel(), filter);
        }
    }
    const size_t dictBytes = size_t(dictRows) * rowBytes;
    const size_t inBytes = size_t(last - first) * rowBytes;
    uchar *in = raw + dictBytes;
    strip->inBytes = inBytes;
    strip->adler = adler32(adler32(0L, Z_NULL, 0), in, uInt(inBytes));

    z_stream z{};
    // Raw deflate: the zlib header and checksum are written once for all
    // strips. Filtered rows are mostly small differences, which deflate
    // better favouring literals over short matches, as libpng does.
    if (deflateInit2(&z, level, Z_DEFLATED, -15, 8,
                     filter == PNG_FILTER_VALUE_NONE ? Z_DEFAULT_STRATEGY : Z_FILTERED) != Z_OK)
        return;
    bool ok = true;
    if (dictBytes > 0) {
        const size_t use = std::min(dictBytes, kWindow);
        ok = deflateSetDictionary(&z, raw + dictBytes - use, uInt(use)) == Z_OK;
    }
    z.next_in = in;
    z.avail_in = uInt(inBytes);
    // Two bytes kept free in front for the stream's header, four behind
    // for its checksum.
    z.next_out = strip->out.data() + 2;
    z.avail_out = uInt(strip->out.size() - 6);
    // A sync flush ends the strip on a byte boundary with an empty stored
    // block, so the next strip's blocks can follow it directly.
    const int flush = final ? Z_FINISH : Z_SYNC_FLUSH;
    const int result = ok ? deflate(&z, flush) : Z_STREAM_ERROR;
    ok = ok && z.avail_in == 0 && (final ? result == Z_STREAM_END : result == Z_OK);
    strip->outBytes = strip->out.size() - 6 - z.avail_out;
    deflateEnd(&z);
    strip->ok = ok;
}

// What the libpng callbacks share with write().
struct Sink
{
    QIODevice *device = nullptr;
    bool failed = false;          // a write to the device failed
    const char *pngError = nullptr;
};

void sinkWrite(png_structp png, png_bytep data, size_t length)
{
    Sink *sink = static_cast<Sink *>(png_get_io_ptr(png));
    if (sink->failed)
        return;
    if (sink->device->write(reinterpret_cast<const char *>(data), qint64(length)) != qint64(length))
        sink->failed = true;   // libpng goes on; write() reports it at the end
}

void sinkFlush(png_structp) {}

void pngError(png_structp png, png_const_charp message)
{
    static_cast<Sink *>(png_get_error_ptr(png))->pngError = message;
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}

// Everything the chunk writer needs; made by write() before libpng starts,
// so the frame that calls setjmp holds no object with a destructor.
struct Job
{
    Layout layout;
    Sink sink;
    int level = 6;
    int filter = PNG_FILTER_VALUE_NONE;
    int threads = 1;
    int stripRows = 1;
    int strips = 0;
    std::vector<Strip> batchStrips;     // one batch of strips
    QByteArray iccProfile;
    int dotsPerMeterX = 0, dotsPerMeterY = 0;
    uLong adler = 1;              // of all the rows so far
    bool deflateFailed = false;
};

// Deflates strips [first, first + count) into job->batchStrips; false when one
// failed.
bool deflateBatch(Job *job, int first, int count)
{
    const int height = job->layout.rows.image().height();
    int failed = 0;
#pragma omp parallel for num_threads(job->threads) schedule(dynamic, 1) reduction(+ : failed)
    for (int i = 0; i < count; ++i) {
        const int strip = first + i;
        const int top = strip * job->stripRows;
        const int bottom = std::min(height, top + job->stripRows);
        deflateStrip(job->layout, top, bottom, strip == job->strips - 1, job->level, job->filter,
                     &job->batchStrips[size_t(i)]);
        failed += job->batchStrips[size_t(i)].ok ? 0 : 1;
    }
    if (failed)
        return false;
    for (int i = 0; i < count; ++i) {
        const Strip &s = job->batchStrips[size_t(i)];
        job->adler = adler32_combine(job->adler, s.adler, z_off_t(s.inBytes));
    }
    return true;
}

uchar zlibLevelFlags(int level)
{
    // FLEVEL, informative only: fastest, fast, default, maximum.
    const int flevel = level <= 1 ? 0 : level <= 5 ? 1 : level == 6 ? 2 : 3;
    const int cmf = 0x78;   // deflate, 32 KiB window
    int flg = flevel << 6;
    flg += 31 - (cmf * 256 + flg) % 31;   // header check: a multiple of 31
    return uchar(flg);
}

// The signature, header chunks, IDAT chunks and IEND through libpng. Only
// trivially destructible locals live here: libpng leaves by longjmp.
bool writeChunks(Job *job)
{
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job->sink, pngError, pngWarning);
    if (!png)
        return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_set_write_fn(png, &job->sink, sinkWrite, sinkFlush);
    // A profile libpng finds unfit (a grey image with an RGB profile) is
    // left out with a warning rather than failing the file.
    png_set_benign_errors(png, 1);
    const Layout &layout = job->layout;
    png_set_IHDR(png, info, png_uint_32(layout.rows.image().width()), png_uint_32(layout.rows.image().height()),
                 layout.rows.bitsPerSample(), layout.colourType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE,
                 PNG_FILTER_TYPE_BASE);
    if (job->dotsPerMeterX > 0 && job->dotsPerMeterY > 0)
        png_set_pHYs(png, info, png_uint_32(job->dotsPerMeterX), png_uint_32(job->dotsPerMeterY),
                     PNG_RESOLUTION_METER);
    if (!job->iccProfile.isEmpty())
        png_set_iCCP(png, info, "ICC Profile", PNG_COMPRESSION_TYPE_BASE,
                     reinterpret_cast<png_const_bytep>(job->iccProfile.constData()),
                     png_uint_32(job->iccProfile.size()));
    png_write_info(png, info);

    const int batch = int(job->batchStrips.size());
    for (int first = 0; first < job->strips && !job->sink.failed; first += batch) {
        const int count = std::min(batch, job->strips - first);
        if (!deflateBatch(job, first, count)) {
            job->deflateFailed = true;
            break;
        }
        for (int i = 0; i < count; ++i) {
            Strip &s = job->batchStrips[size_t(i)];
            uchar *data = s.out.data() + 2;
            size_t length = s.outBytes;
            if (first + i == job->strips - 1) {
                // The stream's checksum, big-endian, after the last block.
                const uLong a = job->adler;
                const uchar tail[4] = {uchar(a >> 24), uchar(a >> 16), uchar(a >> 8), uchar(a)};
                std::memcpy(data + length, tail, 4);
                length += 4;
            }
            if (first + i == 0) {
                // The stream's header: deflate, 32 KiB window, the level.
                data -= 2;
                data[0] = 0x78;
                data[1] = zlibLevelFlags(job->level);
                length += 2;
            }
            png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"), data, length);
        }
    }
    if (!job->deflateFailed)
        png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
    png_destroy_write_struct(&png, &info);
    return !job->deflateFailed;
}

} // namespace

void VellPngWriter::setCompression(int level)
{
    m_level = std::clamp(level, 0, 9);
}

void VellPngWriter::setFilter(int filter)
{
    m_filter = std::clamp(filter, int(PNG_FILTER_VALUE_NONE), int(PNG_FILTER_VALUE_PAETH));
}

bool VellPngWriter::write(const QImage &image, QIODevice *device)
{
    m_error.clear();
    if (image.isNull() || !device) {
        m_error = QStringLiteral("no image to write");
        return false;
    }
    Job job;
    if (!chooseLayout(image, &job.layout)) {
        m_error = QStringLiteral("out of memory");
        return false;
    }
    const Layout &layout = job.layout;
    const int height = layout.rows.image().height();
    job.sink.device = device;
    job.level = m_level;
    job.filter = m_filter;
    job.threads = m_threads > 0 ? m_threads : std::max(1, omp_get_max_threads());
    job.stripRows = m_stripRows > 0 ? m_stripRows : int(std::max<size_t>(1, kStripBytes / layout.rowBytes));
    job.stripRows = std::min(job.stripRows, height);
    job.strips = (height + job.stripRows - 1) / job.stripRows;
    if (layout.rows.image().colorSpace().isValid())
        job.iccProfile = layout.rows.image().colorSpace().iccProfile();
    job.dotsPerMeterX = layout.rows.image().dotsPerMeterX();
    job.dotsPerMeterY = layout.rows.image().dotsPerMeterY();

    // Each slot holds a strip with its dictionary rows, and the deflate
    // bound of the strip with room for the stream's header before it and
    // its checksum after it.
    const size_t dictRows = (kWindow + layout.rowBytes - 1) / layout.rowBytes;
    size_t rawBytes = 0, stripBytes = 0;
    if (__builtin_mul_overflow(size_t(job.stripRows) + dictRows, layout.rowBytes, &rawBytes)
        || __builtin_mul_overflow(size_t(job.stripRows), layout.rowBytes, &stripBytes)
        || stripBytes > size_t(UINT_MAX) / 2) {
        m_error = QStringLiteral("rows too large to deflate");
        return false;
    }
    const size_t outBytes = compressBound(uLong(stripBytes)) + 64 + 6;
    const int batch = std::min(job.strips, 2 * job.threads);
    try {
        job.batchStrips.resize(size_t(batch));
        for (Strip &s : job.batchStrips) {
            s.raw.resize(rawBytes);
            s.above.resize(layout.rowBytes);
            s.out.resize(outBytes);
        }
    } catch (const std::bad_alloc &) {
        m_error = QStringLiteral("out of memory");
        return false;
    }
    if (!writeChunks(&job)) {
        if (job.sink.failed)
            m_error = device->errorString().isEmpty() ? QStringLiteral("write error") : device->errorString();
        else if (job.deflateFailed)
            m_error = QStringLiteral("deflate failed (out of memory?)");
        else
            m_error = QString::fromLatin1(job.sink.pngError ? job.sink.pngError : "libpng failed");
        return false;
    }
    if (job.sink.failed) {
        m_error = device->errorString().isEmpty() ? QStringLiteral("write error") : device->errorString();
        return false;
    }
    return true;
}
