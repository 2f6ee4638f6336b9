#ifndef VELLTIFFWRITER_H
#define VELLTIFFWRITER_H

#include <QString>

class QIODevice;
class QImage;

// Writes a QImage as a baseline TIFF through libtiff: one image, strips of
// about 256 KiB, uncompressed. Uncompressed is what image tools write by
// default and what every TIFF reader takes; deflating a photograph-sized
// image would cost more time than writing its bytes.
//
// Formats: 8-bit grey, RGB and RGBA from Grayscale8, RGB32, RGB888, ARGB32
// and RGBA8888 (other 8-bit formats are converted to ARGB32 or RGB32 first);
// 16-bit grey, RGB and RGBA from Grayscale16, RGBX64 and RGBA64 (its
// premultiplied form converted first). Alpha is an unassociated extra sample,
// as Qt's own TIFF writer stores it, so the colour samples are the image's
// own. The file is little-endian, 16-bit samples included. An image with a
// valid colour space gets its ICC profile; its resolution is stored in
// pixels per centimetre.
//
// Rows are converted a batch of strips at a time on OpenMP threads and
// written before the next batch, so the memory taken beyond the image is a
// few MiB. libtiff seeks back to write the header's directory offset: a
// sequential device (a pipe) gets the file from a buffer in memory once it
// is complete.
//
// Not copyable; one write at a time. libtiff's messages go to errorString(),
// never to standard error.
class VellTiffWriter
{
public:
    VellTiffWriter() = default;
    Q_DISABLE_COPY(VellTiffWriter)

    // Rows per strip; 0 (default) for about 256 KiB of samples a strip.
    // Tests use small strips to cut small images into many.
    void setStripRows(int rows) { m_stripRows = rows < 0 ? 0 : rows; }

    // Writes `image` to `device` (open for writing). False, with
    // errorString(), for a null image, when memory runs out or a write to
    // the device fails; the device may then hold part of a file.
    bool write(const QImage &image, QIODevice *device);
    const QString &errorString() const { return m_error; }

private:
    int m_stripRows = 0;
    QString m_error;
};

#endif // VELLTIFFWRITER_H
