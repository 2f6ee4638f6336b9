// An OpenRaster file in memory through VellOraReader (document, merged
// image, thumbnail). The first byte's low bit picks what the rest is: 1, a
// whole file; 0, only its stack.xml, which the harness packs with a mimetype
// and two small PNGs (data/a.png, 8-bit, and data/b.png, 16-bit), so that
// mutations reach the XML and the layer tree instead of failing the
// archive's checksums. Text layers come back from our records (seed
// "text-layer"). The image limits are lowered so that a file declaring
// large pictures is refused or decoded quickly; the layer stream is read in
// version 2, as hosts do.

#include "vellfuzz.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellglobalsettings.h"
#include "interchange/vellorareader.h"
#include "picture/vellpicturehost.h"
#include "interchange/vellziparchive.h"
#include "selection/vellselection.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr int kSide = 512;

[[noreturn]] void fail(const char *rule)
{
    std::fprintf(stderr, "vellfuzz: %s\n", rule);
    std::fflush(stderr);
    std::abort();
}

QByteArray pngOf(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, "png").write(image);
    return bytes;
}

// The archive for a stack.xml, written through the library's zip writer.
QByteArray packed(const QByteArray &stackXml)
{
    static QTemporaryDir folder;
    static const QByteArray a = [] {
        QImage image(5, 3, QImage::Format_ARGB32);
        image.fill(qRgba(200, 40, 10, 160));
        return pngOf(image);
    }();
    static const QByteArray b = [] {
        QImage image(3, 4, QImage::Format_RGBA64);
        image.fill(QColor::fromRgba64(1000, 30000, 65535, 40000));
        return pngOf(image);
    }();
    const QString path = folder.filePath(QStringLiteral("packed.ora"));
    VellZipArchive zip;
    if (!zip.create(path) || !zip.addEntry(QStringLiteral("mimetype"), "image/openraster", VellZipArchive::Stored)
        || !zip.addEntry(QStringLiteral("stack.xml"), stackXml, VellZipArchive::Deflated)
        || !zip.addEntry(QStringLiteral("data/a.png"), a, VellZipArchive::Stored)
        || !zip.addEntry(QStringLiteral("data/b.png"), b, VellZipArchive::Stored) || !zip.commit())
        fail("cannot pack a stack.xml");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail("cannot read a packed stack.xml");
    return file.readAll();
}

bool withinLimits(const QImage &image)
{
    return image.isNull() || (image.width() <= kSide && image.height() <= kSide);
}

// What the reader promises of a document it returns.
void checkDocument(const VellContext &document, const QSize &size)
{
    const VellSelection *selection = document.getSelection();
    if (!selection || QSize(selection->getWidth(), selection->getHeight()) != size)
        fail("the document's size is not the image's");
    const VellLayerManager *stack = document.getLayerManager();
    if (stack->getLayerCount() < 1 || stack->getLayerCount() > VellOraReader::kMaxLayers)
        fail("a document without layers, or with more than the cap");
    if (stack->getSelectedLayers().size() != 1 || !stack->currentActiveLayer())
        fail("not exactly one active, selected layer");
    for (VellLayerBase *base : stack->getLayers()) {
        if (!(base->getAlpha() >= 0.0f && base->getAlpha() <= 1.0f))
            fail("an opacity outside 0 .. 1");
        if (!VellLayerBase::isBlendModeCode(base->getBlendMode()))
            fail("a blend mode outside the table");
        // Text comes back from our records; it lays out within its limits.
        if (const auto *text = qobject_cast<const VellTextLayer *>(base)) {
            const QSize rendered = text->layout(1.0f).imageSize;
            if (text->getDirection() < 0 || text->getDirection() >= 360 || rendered.width() > 16384
                || rendered.height() > 16384)
                fail("a text layer outside its limits");
            continue;
        }
        const auto *layer = qobject_cast<const VellLayer *>(base);
        const VellPictureHost *host = layer ? layer->getPictureHost() : nullptr;
        if (!host || host->isNull() || host->getWidth() == 0 || host->getHeight() == 0
            || host->getWidth() > unsigned(kSide) || host->getHeight() > unsigned(kSide))
            fail("a layer without pixels, or larger than the limits");
        if (layer->getLatestPlace() != VellLayer::HostOnly)
            fail("a layer read claims a GPU copy");
        const VellLayerMask *mask = layer->getLayerMask();
        if (mask && (mask->getWidth() != layer->getWidth() || mask->getHeight() != layer->getHeight()))
            fail("a mask not of its layer's size");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    settings->imageLimitX = settings->imageLimitY = kSide;
    settings->imageLimitPixel = 1;   // 2^20 pixels: never reached at these sides
    settings->streamReadVersion = 2;
    if (size == 0)
        return 0;
    const QByteArray rest = VellFuzz::bytesOf(data + 1, size - 1);
    const QByteArray file = (data[0] & 1) ? rest : packed(rest);
    VellFuzz::Oracle oracle;
    VellOraReader reader;
    if (!reader.openData(file, QStringLiteral("input.ora"))) {
        if (reader.errorString().isEmpty())
            fail("a refusal without a reason");
        return 0;
    }
    std::unique_ptr<VellContext> document(reader.readDocument());
    if (document)
        checkDocument(*document, reader.imageSize());
    else if (reader.errorString().isEmpty())
        fail("a refusal without a reason");
    if (!withinLimits(reader.mergedImage()) || !withinLimits(reader.thumbnail()))
        fail("a stored image larger than the limits");
    return 0;
}
