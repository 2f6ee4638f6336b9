// The picture reader on arbitrary image bytes, for the formats hosts open:
// the bytes are written to a file with the suffix of the format Qt detects
// in them and read into a picture host as a batch document does (over the
// size limits: shrunk without a dialog). Other formats are passed over.

#include "vellfuzz.h"

#include "foundation/vellglobalsettings.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"

#include <QBuffer>
#include <QImageReader>

#include <memory>

namespace {

// Qt's own names for the formats (a plug-in may answer with either of its
// names); TIFF and WebP only when their plug-ins are installed.
const char *const kAllowed[] = {"png", "jpeg", "jpg", "bmp", "gif", "tiff", "tif", "webp"};

bool allowed(const QByteArray &format)
{
    for (const char *name : kAllowed)
        if (format == name)
            return QImageReader::supportedImageFormats().contains(format);
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    static const bool configured = [] {
        // Small limits, so that shrinking is exercised too.
        VellGlobalSettings::getInstance()->setImageLimitSize(QSize(512, 512));
        VellPictureReader::setDocumentProbe([] { return VellPictureReader::Document{true, false}; });
        return true;
    }();
    (void)configured;

    QByteArray bytes = VellFuzz::bytesOf(data, size);
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    const QByteArray format = QImageReader::imageFormat(&buffer);
    if (!allowed(format))
        return 0;
    const QString path = VellFuzz::writeFile(bytes, QString::fromLatin1(format));
    if (path.isEmpty())
        std::abort();

    VellFuzz::Oracle oracle;
    std::unique_ptr<VellPictureHost> host(VellPictureReader().ReadPictureToHost(path));
    if (host && (host->getWidth() > 512 || host->getHeight() > 512))
        std::abort();   // the batch document shrinks to the limits
    return 0;
}
