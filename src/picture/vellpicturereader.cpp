#include "picture/vellpicturereader.h"

#include "dialogs/vellreadimageresizewidget.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "picture/vellpicture.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpngreader.h"

#include <QFile>
#include <QImage>
#include <QImageReader>

#include <algorithm>
#include <climits>
#include <memory>

static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "ARGB32 images must be stored B, G, R, A");

namespace {

VellPictureReader::DocumentProbe &documentProbe()
{
    static VellPictureReader::DocumentProbe probe;
    return probe;
}

// ARGB32 is stored B, G, R, A on little-endian machines, the library's pixel
// layout, and its rows are never padded, so the bits go over in one copy.
// False (logged) when there is no memory for the conversion.
bool convertToArgb32(QImage &image)
{
    image = image.convertToFormat(QImage::Format_ARGB32);
    if (image.isNull()) {
        VellLog::Instance()->Log("VellPictureReader: no memory to convert the image\n");
        return false;
    }
    return true;
}

bool loadImage(const QString &path, QImage &image)
{
    QString error;
    image = VellPictureReader::readImageFile(path, &error);
    if (image.isNull()) {
        VellLog::Instance()->Log("VellPictureReader: cannot read %s: %s\n", qPrintable(path),
                                 qPrintable(error));
        return false;
    }
    return true;
}

} // namespace

void VellPictureReader::setDocumentProbe(DocumentProbe probe)
{
    documentProbe() = std::move(probe);
}

VellPictureReader::VellPictureReader(QObject *parent) : QObject(parent)
{
}

VellPictureHost *VellPictureReader::ReadImageToHost(QImage &image)
{
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    const QSize limit = settings->getImageLimitSize();
    const int limitPixel = settings->getImageLimitPixel();
    const DocumentProbe &probe = documentProbe();
    const std::optional<Document> document = probe ? probe() : std::nullopt;
    if (!document || image.isNull())
        return nullptr;

    // In 64 bits: a pixel limit from a hand-edited settings file times 2^20,
    // or the product of two large sides, would overflow int.
    const qint64 pixels = qint64(image.width()) * image.height();
    const bool withinLimits = image.width() <= limit.width() && image.height() <= limit.height()
        && pixels <= qint64(limitPixel) * 1048576;
    if (!withinLimits) {
        // Batch and quiet documents take the proposed size without asking
        // (and work without a widget application).
        QSize size = VellReadImageResizeWidget::proposedSize(image.size());
        if (!document->batch && !document->quiet) {
            VellReadImageResizeWidget dialog;
            dialog.setOriginalSize(image.size());
            dialog.setModal(true);
            if (dialog.exec() == 0)
                return nullptr;
            size = dialog.getResizedSize();
        }
        image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }

    if (!convertToArgb32(image))
        return nullptr;
    std::unique_ptr<VellPictureHost> host(
        new VellPictureHost(unsigned(image.width()), unsigned(image.height()), 4));
    if (host->isNull() || !host->read(image.constBits()))
        return nullptr;
    return host.release();
}

VellPictureHost *VellPictureReader::ReadPictureToHost(const QString &path)
{
    QImage image;
    if (!loadImage(path, image))
        return nullptr;
    return ReadImageToHost(image);
}

VellPicture *VellPictureReader::ReadPicture(const QString &path)
{
    const DocumentProbe &probe = documentProbe();
    if (!probe || !probe())
        return nullptr;
    QImage image;
    if (!loadImage(path, image) || !convertToArgb32(image))
        return nullptr;
    std::unique_ptr<VellPicture> picture(new VellPicture(
        image.constBits(), unsigned(image.width()), unsigned(image.height()), 4));
    if (picture->isNull())
        return nullptr;
    return picture.release();
}

qint64 VellPictureReader::decodeCeiling()
{
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    const QSize limit = settings->getImageLimitSize();
    // The largest picture the limits let through, in 4-byte pixels.
    const qint64 limitPixels = std::min(qint64(std::max(limit.width(), 0)) * std::max(limit.height(), 0),
                                        qint64(std::max(settings->getImageLimitPixel(), 0)) * 1048576);
    const qint64 ceiling = std::max(limitPixels * 4, qint64(VellMemory::getInstance()->getLimit()));
    return std::min(ceiling, qint64(INT_MAX));   // a host or a picture holds less than 2^31 bytes
}

QImage VellPictureReader::readImageFile(const QString &path, QString *error)
{
    const auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return QImage();
    };
    if (path.isEmpty())
        return fail(tr("no file name"));
    QImageReader reader(path);
    // The header's size, read before anything is decoded: a few bytes of a
    // compressed file can claim gigabytes of pixels.
    QSize declared = reader.size();
    if (reader.format() == "gif") {
        // Qt answers with the first frame's size but decodes onto the whole
        // logical screen, whose size is the header's bytes 6 to 9 (two
        // little-endian 16-bit sides): check the larger of each.
        QFile file(path);
        const QByteArray header = file.open(QIODevice::ReadOnly) ? file.read(10) : QByteArray();
        if (header.size() == 10) {
            const auto side = [&header](int at) {
                return int(uchar(header[at])) | int(uchar(header[at + 1])) << 8;
            };
            declared = declared.expandedTo(QSize(side(6), side(8)));
        }
    }
    if (!declared.isValid() || declared.isEmpty()) {
        // The reader's own reason when it knows none of the formats.
        return fail(reader.canRead() ? tr("the file does not say how large its picture is")
                                     : reader.errorString());
    }
    const qint64 ceiling = decodeCeiling();
    // Both sides are positive ints, so the product fits in 64 bits and is
    // compared before multiplying by the pixel's 4 bytes.
    const qint64 pixels = qint64(declared.width()) * declared.height();
    if (pixels > ceiling / 4)
        return fail(tr("its picture of %1 x %2 pixels is too large to open")
                        .arg(declared.width()).arg(declared.height()));
    // The common PNGs through the library's reader, about twice as fast;
    // the rest, and any file it turns down, through Qt's.
    QImage image;
    if (reader.format() == "png") {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            VellPngReader png(&file);
            png.setMaxPixels(ceiling / 4);
            if (png.readHeader())
                image = png.read();
        }
    }
    if (image.isNull())
        image = reader.read();
    if (image.isNull())
        return fail(reader.errorString());
    // A decoder that made more than its header said (a multi-frame file whose
    // frame outgrows the screen it declared) is held to the same ceiling.
    if (qint64(image.width()) * image.height() > ceiling / 4)
        return fail(tr("its picture of %1 x %2 pixels is too large to open")
                        .arg(image.width()).arg(image.height()));
    return image;
}
