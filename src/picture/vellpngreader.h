#ifndef VELLPNGREADER_H
#define VELLPNGREADER_H

#include <QByteArray>
#include <QColorSpace>
#include <QImage>
#include <QSize>
#include <QString>

#include <vector>

class QIODevice;

// Decodes the common PNGs fast: 8-bit grey, grey + alpha, RGB and RGBA, not
// interlaced. The IDAT chunks are gathered and inflated in one call of
// libdeflate (about twice zlib's speed) straight into the destination's
// memory, and the rows are unfiltered forward in place (see bufferBytes()).
//
// Everything else is left to Qt's reader, which the caller falls back to
// when readHeader() or decode() say no: palettes, other depths, interlacing,
// transparency chunks, gamma or chromaticities without an embedded profile
// (whose colour space this reader does not build), unknown critical chunks
// and damaged files, so that those read exactly as they always did. The
// colour space is an embedded ICC profile's, else sRGB for an sRGB chunk,
// else none: what Qt's reader makes of the same files.
//
// Every chunk's length and CRC is checked; the declared size is checked
// against setMaxPixels() before anything is allocated, and the compressed
// bytes grow as they arrive, never to a size the file states.
//
// Not copyable; one image per reader. Any thread; no shared state.
class VellPngReader
{
public:
    // What decode() writes: 4 bytes a pixel B, G, R, A (QImage's ARGB32 on
    // little-endian machines, and picture hosts' pixels; opaque where the
    // file has no alpha), or 1 grey byte a pixel (grey files only).
    enum Layout { Bgra32, Grey8 };

    // Reads from `device` (open, positioned at the signature), not owned.
    explicit VellPngReader(QIODevice *device);
    Q_DISABLE_COPY(VellPngReader)

    // The most pixels an image may have; 0 (default) for no limit but
    // 2^31 - 1 a side and what the buffers' sizes allow.
    void setMaxPixels(qint64 pixels) { m_maxPixels = pixels < 0 ? 0 : pixels; }

    // Reads the signature and the chunks before the first IDAT. False, with
    // errorString(), for a file this reader leaves to Qt's or cannot read.
    bool readHeader();
    QSize size() const { return m_size; }
    bool hasAlpha() const { return m_colourType == 4 || m_colourType == 6; }
    bool isGrey() const { return m_colourType == 0 || m_colourType == 4; }
    QColorSpace colorSpace() const { return m_colorSpace; }
    // From pHYs in metres, else 0.
    int dotsPerMeterX() const { return m_dpmX; }
    int dotsPerMeterY() const { return m_dpmY; }

    // The bytes a buffer must hold to decode into it with rows `stride`
    // bytes apart (at least the layout's row): the inflated rows (one filter
    // byte longer than their samples) are put at its end, so that writing
    // rows from its start never overtakes the rows still to be read; RGBA
    // into 4-byte pixels needs one byte a row more than the picture. -1 when
    // the size overflows. After readHeader().
    qint64 bufferBytes(Layout layout, qint64 stride) const;
    // Reads the rest of the file and decodes it into `buffer` (of `bytes`,
    // at least bufferBytes()), rows `stride` apart; what lies beyond a row's
    // pixels is undefined afterwards. False, with errorString(), for a
    // damaged file (the buffer then holds garbage).
    bool decode(uchar *buffer, qint64 bytes, Layout layout, qint64 stride);

    // The whole image after readHeader(), in the format Qt's reader gives
    // (Grayscale8, RGB32 or ARGB32) with the colour space and resolution;
    // null, with errorString(), on failure.
    QImage read();

    const QString &errorString() const { return m_error; }

private:
    bool fail(const QString &why);
    bool readChunk(quint32 *length, quint32 *type);
    bool readPayload(quint32 type, quint32 length, std::vector<uchar> *keep);
    bool readIccProfile(const std::vector<uchar> &payload);
    int channels() const;

    QIODevice *m_device;   // not owned
    qint64 m_maxPixels = 0;
    QSize m_size;
    int m_colourType = -1;
    QColorSpace m_colorSpace;
    int m_dpmX = 0, m_dpmY = 0;
    quint32 m_firstIdatLength = 0;   // the first IDAT's, whose header readHeader() has read
    bool m_headerRead = false;
    QString m_error;
};

#endif // VELLPNGREADER_H
