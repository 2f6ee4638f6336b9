#include "picture/vellpicturereader.h"

#include "dialogs/vellreadimageresizewidget.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "picture/vellpicture.h"
#include "picture/vellpicturehost.h"

#include <QImage>

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
    if (path.isEmpty())
        return false;
    if (!image.load(path)) {
        VellLog::Instance()->Log("VellPictureReader: cannot read %s\n", qPrintable(path));
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
