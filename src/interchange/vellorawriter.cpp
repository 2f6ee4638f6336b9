#include "interchange/vellorawriter.h"

#include "canvas/vellblendreference.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "interchange/vellziparchive.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpngwriter.h"
#include "selection/vellselection.h"

#include <QBuffer>
#include <QDataStream>
#include <QOpenGLContext>
#include <QSet>
#include <QXmlStreamWriter>

#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

const char VellOraWriter::kMimeType[] = "image/openraster";
const char VellOraWriter::kVellNamespace[] = "urn:x-vellcore:openraster";

namespace {

constexpr int kThumbnailSide = 256;
// zlib level 1 over rows filtered "up": on a 6000 x 4000 layer of smooth
// gradients and noise about 4x faster than level 6 with libpng's adaptive
// filters, and no larger than level 1 with them. Unfiltered rows deflate
// slower and nearly twice as large.
constexpr int kPngCompression = 1;
constexpr int kPngFilterUp = 2;

// One entry of the file: a PNG to encode from the image (which may borrow a
// layer's host) or bytes made already, and, once encoded, its bytes.
struct PngJob
{
    QString entry;
    QImage image;
    QByteArray png;
    bool ok = false;
    VellZipArchive::Method method = VellZipArchive::Stored;   // PNG is compressed already
};

// Books the encoded PNGs with the memory budget while they wait for the zip
// to be written.
class Booking
{
public:
    ~Booking()
    {
        for (int size : sizes)
            VellMemory::getInstance()->returnBack(size);
    }
    void add(int size)
    {
        VellMemory::getInstance()->takeAway(size);
        sizes.push_back(size);
    }

private:
    std::vector<int> sizes;
};

// Clears the host's exclusion flags for as long as it lives: the merged
// image of a file shows every visible layer, whatever the host hides.
class IncludeAll
{
public:
    explicit IncludeAll(VellLayerManager *manager)
    {
        for (VellLayerBase *layer : manager->getLayers())
            if (layer->excluded) {
                layer->excluded = false;
                cleared.push_back(layer);
            }
    }
    ~IncludeAll()
    {
        for (VellLayerBase *layer : cleared)
            layer->excluded = true;
    }
    Q_DISABLE_COPY(IncludeAll)

private:
    std::vector<VellLayerBase *> cleared;
};

QString opacityText(float opacity)
{
    char text[32];
    const std::to_chars_result r = std::to_chars(text, text + sizeof(text), opacity);
    return QString::fromLatin1(text, int(r.ptr - text));
}

QString coordinateText(double value)
{
    return QString::number(value, 'f', 0);   // whole pixels already (setPosition rounds)
}

// The layer's pixels as an image a PNG can hold: 8-bit hosts borrowed as
// ARGB32 (the host's B, G, R, A bytes), 16-bit ones copied into RGBA64 (the
// host keeps B, G, R, A words).
QImage layerImage(const VellPictureHost *host)
{
    const int w = int(host->getWidth());
    const int h = int(host->getHeight());
    if (host->getPixelWidth() == 4)
        return QImage(host->getData(), w, h, w * 4, QImage::Format_ARGB32);
    QImage image(w, h, QImage::Format_RGBA64);
    if (image.isNull())
        return image;
    const quint16 *words = reinterpret_cast<const quint16 *>(host->getData());
    uchar *bits = image.bits();
    const size_t stride = size_t(image.bytesPerLine());
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        const quint16 *in = words + size_t(y) * size_t(w) * 4;
        quint16 *out = reinterpret_cast<quint16 *>(bits + size_t(y) * stride);
        for (int x = 0; x < w; ++x, in += 4, out += 4) {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
            out[3] = in[3];
        }
    }
    return image;
}

// The mask byte over layer pixel (x, y): outside the mask the layer shows,
// as the compositor treats it.
inline int maskAt(const VellLayerMask *mask, int x, int y)
{
    if (x >= mask->getWidth() || y >= mask->getHeight())
        return 255;
    return mask->getData()[size_t(y) * size_t(mask->getPaddedWidth()) + size_t(x)];
}

// The mask over the layer's area as white with alpha = mask.
QImage maskImage(const VellLayerMask *mask, int w, int h)
{
    QImage image(w, h, QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    uchar *bits = image.bits();
    const size_t stride = size_t(image.bytesPerLine());
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(bits + size_t(y) * stride);
        for (int x = 0; x < w; ++x)
            line[x] = qRgba(255, 255, 255, maskAt(mask, x, y));
    }
    return image;
}

// The layer's pixels with the mask multiplied into their alpha, rounded.
QImage bakedImage(const QImage &pixels, const VellLayerMask *mask)
{
    QImage image = pixels.copy();
    if (image.isNull())
        return image;
    const int w = image.width();
    const int h = image.height();
    const bool wide = image.format() == QImage::Format_RGBA64;
    uchar *bits = image.bits();
    const size_t stride = size_t(image.bytesPerLine());
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        uchar *line = bits + size_t(y) * stride;
        for (int x = 0; x < w; ++x) {
            const uint m = uint(maskAt(mask, x, y));
            if (wide) {
                quint16 *a = reinterpret_cast<quint16 *>(line) + size_t(x) * 4 + 3;
                *a = quint16((uint(*a) * m + 127u) / 255u);
            } else {
                uchar *a = line + size_t(x) * 4 + 3;
                *a = uchar((uint(*a) * m + 127u) / 255u);
            }
        }
    }
    return image;
}

QImage transparentPixel()
{
    QImage image(1, 1, QImage::Format_ARGB32);
    image.fill(0u);
    return image;
}

void encode(PngJob *job)
{
    if (!job->image.isNull())
        job->png = VellOraWriter::encodePng(job->image);
    job->ok = !job->png.isEmpty();
}

// What one layer becomes in the file.
struct LayerOut
{
    VellLayerBase *layer = nullptr;
    VellLayer *raster = nullptr;   // the same layer when it is a raster layer
    bool active = false;
    QPointF position;      // where the pixels of `src` lie
    int entries = 1;       // its entries under data/
    QString src;           // the pixels as other programs should see them
    QString maskSrc;       // empty without a mask
    QString unmaskedSrc;   // baked masks only
    QString textSrc;       // a text layer's stream record
};

// A text layer's stream record, the bytes the document stream holds for it,
// written at the settings' stream version.
QByteArray textRecord(VellTextLayer *layer)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    out << layer;
    return out.status() == QDataStream::Ok ? bytes : QByteArray();
}

void writeCommon(QXmlStreamWriter &xml, const VellLayerBase *layer)
{
    xml.writeAttribute(QStringLiteral("name"), VellOraWriter::xmlSafe(layer->getLayerName()));
    xml.writeAttribute(QStringLiteral("opacity"), opacityText(layer->getAlpha()));
    xml.writeAttribute(QStringLiteral("visibility"),
                       layer->visible ? QStringLiteral("visible") : QStringLiteral("hidden"));
    xml.writeAttribute(QStringLiteral("composite-op"),
                       VellOraWriter::compositeOp(layer->getBlendMode()));
}

void writePosition(QXmlStreamWriter &xml, const LayerOut &out)
{
    xml.writeAttribute(QStringLiteral("x"), coordinateText(out.position.x()));
    xml.writeAttribute(QStringLiteral("y"), coordinateText(out.position.y()));
}

void writeVell(QXmlStreamWriter &xml, const LayerOut &out)
{
    const QString ns = QString::fromLatin1(VellOraWriter::kVellNamespace);
    xml.writeAttribute(ns, QStringLiteral("mode"), QString::number(out.layer->getBlendMode()));
    if (!out.textSrc.isEmpty()) {
        xml.writeAttribute(ns, QStringLiteral("text-src"), out.textSrc);
        xml.writeAttribute(ns, QStringLiteral("text-version"),
                           QString::number(VellGlobalSettings::getInstance()->streamWriteVersion));
    }
    const QPointF maskPosition = out.raster ? out.raster->getLayerMaskPosition() : QPointF();
    if (!out.maskSrc.isEmpty() && !maskPosition.isNull()) {
        xml.writeAttribute(ns, QStringLiteral("mask-x"), QString::number(maskPosition.x(), 'g', 17));
        xml.writeAttribute(ns, QStringLiteral("mask-y"), QString::number(maskPosition.y(), 'g', 17));
    }
    if (out.active)
        xml.writeAttribute(QStringLiteral("selected"), QStringLiteral("true"));
}

QByteArray stackXml(const QSize &size, const QVector<LayerOut> &layers, bool baked, bool *ok)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(1);
    const QString ns = QString::fromLatin1(VellOraWriter::kVellNamespace);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("image"));
    xml.writeNamespace(ns, QStringLiteral("vell"));
    xml.writeNamespace(QStringLiteral("http://mypaint.org/ns/openraster"), QStringLiteral("mypaint"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("0.0.5"));
    xml.writeAttribute(QStringLiteral("w"), QString::number(size.width()));
    xml.writeAttribute(QStringLiteral("h"), QString::number(size.height()));
    // MyPaint 2 opens a file in its linear-light mode unless this says 1.0,
    // its 1.x mode, which composites the stored values as we do.
    xml.writeAttribute(QStringLiteral("http://mypaint.org/ns/openraster"), QStringLiteral("eotf"),
                       QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("stack"));
    for (int i = layers.size() - 1; i >= 0; --i) {   // the top layer first
        const LayerOut &out = layers.at(i);
        const VellLayerBase *layer = out.layer;
        if (out.maskSrc.isEmpty() || baked) {
            xml.writeStartElement(QStringLiteral("layer"));
            writeCommon(xml, layer);
            writePosition(xml, out);
            xml.writeAttribute(QStringLiteral("src"), out.src);
            writeVell(xml, out);
            if (baked && !out.maskSrc.isEmpty()) {
                xml.writeAttribute(ns, QStringLiteral("unmasked-src"), out.unmaskedSrc);
                xml.writeAttribute(ns, QStringLiteral("mask-src"), out.maskSrc);
            }
            xml.writeEndElement();
            continue;
        }
        // The layer and its mask as one isolated group: the mask on top cuts
        // the pixels below it to its alpha before the group is blended.
        xml.writeStartElement(QStringLiteral("stack"));
        xml.writeAttribute(ns, QStringLiteral("kind"), QStringLiteral("masked-layer"));
        xml.writeAttribute(QStringLiteral("isolation"), QStringLiteral("isolate"));
        writeCommon(xml, layer);
        writeVell(xml, out);
        xml.writeStartElement(QStringLiteral("layer"));
        xml.writeAttribute(QStringLiteral("name"), QStringLiteral("mask"));
        xml.writeAttribute(QStringLiteral("opacity"), QStringLiteral("1"));
        xml.writeAttribute(QStringLiteral("visibility"), QStringLiteral("visible"));
        xml.writeAttribute(QStringLiteral("composite-op"), QStringLiteral("svg:dst-in"));
        writePosition(xml, out);
        xml.writeAttribute(QStringLiteral("src"), out.maskSrc);
        xml.writeAttribute(ns, QStringLiteral("kind"), QStringLiteral("mask"));
        xml.writeEndElement();
        xml.writeStartElement(QStringLiteral("layer"));
        xml.writeAttribute(QStringLiteral("name"), VellOraWriter::xmlSafe(layer->getLayerName()));
        xml.writeAttribute(QStringLiteral("opacity"), QStringLiteral("1"));
        xml.writeAttribute(QStringLiteral("visibility"), QStringLiteral("visible"));
        xml.writeAttribute(QStringLiteral("composite-op"), QStringLiteral("svg:src-over"));
        writePosition(xml, out);
        xml.writeAttribute(QStringLiteral("src"), out.src);
        xml.writeEndElement();
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    *ok = !xml.hasError();
    return bytes;
}

} // namespace

QSize VellOraWriter::documentSize(const VellContext *document)
{
    if (!document)
        return QSize();
    if (const VellSelection *selection = document->getSelection())
        return QSize(selection->getWidth(), selection->getHeight());
    const VellLayerManager *manager = document->getLayerManager();
    if (!manager || manager->getLayerCount() == 0)
        return QSize();
    const VellLayerBase *bottom = manager->getLayer(0);
    return QSize(bottom->getWidth(), bottom->getHeight());
}

QSize VellOraWriter::thumbnailSize(const QSize &imageSize)
{
    const int w = imageSize.width();
    const int h = imageSize.height();
    if (w <= 0 || h <= 0)
        return QSize();
    if (w <= kThumbnailSide && h <= kThumbnailSide)
        return imageSize;
    if (w >= h)
        return QSize(kThumbnailSide, qMax(1, int(std::lround(double(h) * kThumbnailSide / w))));
    return QSize(qMax(1, int(std::lround(double(w) * kThumbnailSide / h))), kThumbnailSide);
}

QString VellOraWriter::compositeOp(int mode)
{
    switch (mode) {
    case VellBlend::Dissolve: return QStringLiteral("krita:dissolve");
    case VellBlend::Darken: return QStringLiteral("svg:darken");
    case VellBlend::Multiply: return QStringLiteral("svg:multiply");
    case VellBlend::ColorBurn: return QStringLiteral("svg:color-burn");
    case VellBlend::LinearBurn: return QStringLiteral("krita:linear_burn");
    case VellBlend::DarkerColor: return QStringLiteral("krita:darker color");
    case VellBlend::Lighten: return QStringLiteral("svg:lighten");
    case VellBlend::Screen: return QStringLiteral("svg:screen");
    case VellBlend::ColorDodge: return QStringLiteral("svg:color-dodge");
    // Differs from Linear Dodge only where the sum clips under partial alpha.
    case VellBlend::LinearDodge: return QStringLiteral("svg:plus");
    case VellBlend::LighterColor: return QStringLiteral("krita:lighter color");
    case VellBlend::Overlay: return QStringLiteral("svg:overlay");
    case VellBlend::SoftLight: return QStringLiteral("svg:soft-light");
    case VellBlend::HardLight: return QStringLiteral("svg:hard-light");
    case VellBlend::VividLight: return QStringLiteral("krita:vivid_light");
    case VellBlend::LinearLight: return QStringLiteral("krita:linear light");
    case VellBlend::PinLight: return QStringLiteral("krita:pin_light");
    case VellBlend::HardMix: return QStringLiteral("krita:hard_mix_photoshop");
    case VellBlend::Difference: return QStringLiteral("svg:difference");
    case VellBlend::Exclusion: return QStringLiteral("svg:exclusion");
    case VellBlend::Hue: return QStringLiteral("svg:hue");
    case VellBlend::Saturation: return QStringLiteral("svg:saturation");
    case VellBlend::Color: return QStringLiteral("svg:color");
    case VellBlend::Luminosity: return QStringLiteral("svg:luminosity");
    default: return QStringLiteral("svg:src-over");
    }
}

QByteArray VellOraWriter::encodePng(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    VellPngWriter writer;
    writer.setCompression(kPngCompression);
    writer.setFilter(kPngFilterUp);
    writer.setThreads(1);   // the PNGs of a file are encoded in parallel already
    if (!writer.write(image, &buffer))
        return QByteArray();
    return bytes;
}

QString VellOraWriter::xmlSafe(const QString &text)
{
    const QVector<uint> codes = text.toUcs4();   // a lone surrogate arrives as U+FFFD
    QVector<uint> safe;
    safe.reserve(codes.size());
    for (uint c : codes) {
        const bool allowed = c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF)
                             || (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
        safe.append(allowed ? c : 0xFFFD);
    }
    return QString::fromUcs4(safe.constData(), safe.size());
}

bool VellOraWriter::write(VellContext *document, const QString &path)
{
    error.clear();
    const auto refuse = [&](const QString &reason) {
        error = QStringLiteral("%1: %2").arg(path, reason);   // the path as given: a missing folder shows
        VellLog::Instance()->Log("VellOraWriter: %s\n", qPrintable(error));
        return false;
    };
    VellLayerManager *manager = document ? document->getLayerManager() : nullptr;
    const QSize size = documentSize(document);
    if (!manager || size.isEmpty())
        return refuse(QStringLiteral("no document, or an empty one"));

    // The layers, bottom first, with their entries' names. The permanent
    // index names a layer's file; a repeated one gets a fresh number.
    QVector<LayerOut> layers;
    std::vector<PngJob> jobs;
    QSet<int> usedNumbers;
    int nextFree = 0;
    for (VellLayerBase *base : manager->getLayers())
        if (base->getPermanentIndex() >= nextFree)
            nextFree = base->getPermanentIndex() + 1;
    const bool baked = maskPolicy == MasksBaked;
    const bool canReadBack = QOpenGLContext::currentContext() != nullptr;
    for (VellLayerBase *base : manager->getLayers()) {
        auto *layer = base->getType() == VellLayerType::Raster ? qobject_cast<VellLayer *>(base) : nullptr;
        auto *text = base->getType() == VellLayerType::Text ? qobject_cast<VellTextLayer *>(base) : nullptr;
        if (!layer && !text)
            continue;
        int number = base->getPermanentIndex();
        if (number < 0 || usedNumbers.contains(number))
            number = nextFree++;
        usedNumbers.insert(number);

        LayerOut out;
        out.layer = base;
        out.raster = layer;
        out.active = manager->currentActiveLayer() == base;
        out.position = base->getPosition();
        out.src = QStringLiteral("data/layer%1.png").arg(number);
        if (text) {
            // Other programs see the rendering at scale 1 over the layer's
            // document rectangle; our reader prefers the record.
            QImage rendered = text->renderText(false, 1.0f);
            const QRect rect = text->getDocumentRect();
            if (rendered.isNull() || rendered.size() != rect.size())
                rendered = transparentPixel();
            else
                out.position = rect.topLeft();
            const QByteArray record = textRecord(text);
            if (record.isEmpty())
                return refuse(QStringLiteral("cannot record text layer \"%1\"").arg(base->getLayerName()));
            out.textSrc = QStringLiteral("data/text%1.bin").arg(number);
            out.entries = 2;
            jobs.push_back({ out.src, rendered, {}, false });
            jobs.push_back({ out.textSrc, QImage(), record, false, VellZipArchive::Deflated });
            layers.append(out);
            continue;
        }
        if (layer->getLatestPlace() == VellLayer::GpuNewer && canReadBack)
            layer->fboTextureToHost(true);
        const VellPictureHost *host = layer->getPictureHost();
        const bool empty = !host || host->isNull() || host->getWidth() == 0 || host->getHeight() == 0;
        QImage pixels = empty ? transparentPixel() : layerImage(host);
        if (pixels.isNull())
            return refuse(QStringLiteral("no memory for layer \"%1\"").arg(layer->getLayerName()));
        const VellLayerMask *mask = layer->getLayerMask();
        if (mask && mask->getData() && !empty) {
            out.maskSrc = QStringLiteral("data/mask%1.png").arg(number);
            out.entries = baked ? 3 : 2;
            QImage maskPixels = maskImage(mask, pixels.width(), pixels.height());
            if (maskPixels.isNull())
                return refuse(QStringLiteral("no memory for the mask of \"%1\"").arg(layer->getLayerName()));
            if (baked) {
                out.unmaskedSrc = QStringLiteral("data/unmasked%1.png").arg(number);
                QImage bakedPixels = bakedImage(pixels, mask);
                if (bakedPixels.isNull())
                    return refuse(QStringLiteral("no memory for layer \"%1\"").arg(layer->getLayerName()));
                jobs.push_back({ out.src, bakedPixels, {}, false });
                jobs.push_back({ out.unmaskedSrc, pixels, {}, false });
                jobs.push_back({ out.maskSrc, maskPixels, {}, false });
            } else {
                jobs.push_back({ out.maskSrc, maskPixels, {}, false });
                jobs.push_back({ out.src, pixels, {}, false });
            }
        } else {
            jobs.push_back({ out.src, pixels, {}, false });
        }
        layers.append(out);
    }

    QImage mergedImage;
    if (!merged.isNull() && merged.size() == size) {
        mergedImage = merged.convertToFormat(QImage::Format_ARGB32);
    } else {
        IncludeAll includeAll(manager);
        std::unique_ptr<QImage> composite(VellBlendReference::renderToImage(document, size.width(),
                                                                            size.height()));
        if (composite)
            mergedImage = *composite;
    }
    if (mergedImage.isNull())
        return refuse(QStringLiteral("no memory for the merged image"));
    const QSize thumbSize = thumbnailSize(size);
    const QImage thumbnail = thumbSize == size ? mergedImage
                                               : mergedImage.scaled(thumbSize, Qt::IgnoreAspectRatio,
                                                                    Qt::SmoothTransformation);
    // The data entries go in stack.xml's order, top first; the jobs were
    // made bottom first, each layer's entries together.
    std::vector<PngJob> ordered;
    ordered.reserve(jobs.size() + 2);
    {
        std::vector<std::vector<PngJob>> perLayer(size_t(layers.size()));
        size_t at = 0;
        for (int i = 0; i < layers.size(); ++i) {
            for (int k = 0; k < layers.at(i).entries; ++k)
                perLayer[size_t(i)].push_back(std::move(jobs[at++]));
        }
        for (int i = layers.size() - 1; i >= 0; --i)
            for (PngJob &job : perLayer[size_t(i)])
                ordered.push_back(std::move(job));
    }
    ordered.push_back({ QStringLiteral("Thumbnails/thumbnail.png"), thumbnail, {}, false });
    ordered.push_back({ QStringLiteral("mergedimage.png"), mergedImage, {}, false });

    // Each PNG is independent, and their sizes vary: deal them out one by one.
    const int jobCount = int(ordered.size());
    PngJob *jobData = ordered.data();
#pragma omp parallel for schedule(dynamic, 1)
    for (int i = 0; i < jobCount; ++i)
        encode(jobData + i);

    Booking booking;
    for (PngJob &job : ordered) {
        if (!job.ok)
            return refuse(QStringLiteral("cannot encode %1").arg(job.entry));
        job.image = QImage();   // the bytes are what is kept now
        booking.add(job.png.size());
    }

    bool xmlOk = false;
    const QByteArray xml = stackXml(size, layers, baked, &xmlOk);
    if (!xmlOk)
        return refuse(QStringLiteral("cannot describe the layers in XML"));

    VellZipArchive zip;
    if (!zip.create(path))
        return refuse(zip.errorString());
    bool added = zip.addEntry(QStringLiteral("mimetype"), QByteArray(kMimeType), VellZipArchive::Stored)
                 && zip.addEntry(QStringLiteral("stack.xml"), xml, VellZipArchive::Deflated);
    for (const PngJob &job : ordered)
        added = added && zip.addEntry(job.entry, job.png, job.method);
    if (!added) {
        zip.close();
        return refuse(zip.errorString());
    }
    if (!zip.commit())
        return refuse(zip.errorString());
    return true;
}
