#ifndef ORATESTSUPPORT_H
#define ORATESTSUPPORT_H

// Documents and files for the OpenRaster tests: layers built from patterns
// that change along both axes and in alpha (so a flipped, shifted or
// premultiplied copy cannot pass), and archives with hand-written stack.xml.

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "interchange/vellziparchive.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QVector>
#include <QtTest>

#include <cstring>
#include <memory>
#include <optional>

namespace OraTest {

struct LayerSpec
{
    QString name = QStringLiteral("layer");
    QSize size = QSize(7, 5);
    QPoint position;
    int mode = 0;
    float opacity = 1.0f;
    bool visible = true;
    bool wide = false;     // 8-byte pixels
    bool masked = false;   // a soft mask, varying in both directions
    QPointF maskPosition;
    int seed = 1;
    QString text;          // not empty: a text layer in DejaVu Sans at `position`
    int direction = 0;     // the text's
};

// Fills a host with a pattern; 16-bit words use their low bytes too, so a
// narrowing to 8 bits on the way cannot pass.
inline VellPictureHost *patternHost(const LayerSpec &spec)
{
    auto *host = new VellPictureHost(unsigned(spec.size.width()), unsigned(spec.size.height()),
                                     spec.wide ? 8u : 4u);
    const int w = spec.size.width();
    for (int y = 0; y < spec.size.height(); ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c) {
                const int v = (x * (31 + c * 7) + y * (17 + c * 13) + spec.seed * (5 + c)) & 255;
                if (spec.wide) {
                    auto *words = reinterpret_cast<quint16 *>(host->getData());
                    words[(size_t(y) * w + x) * 4 + c] = quint16(v * 257 ^ ((x * 3 + y + c) & 255));
                } else {
                    host->getData()[(size_t(y) * w + x) * 4 + c] = uchar(v);
                }
            }
    return host;
}

// Installs a document probe while alive, so that layers can be inserted.
struct DocumentProbe
{
    DocumentProbe()
    {
        VellLayerManager::setDocumentProbe([] { return std::optional(VellLayerManager::Document()); });
    }
    ~DocumentProbe() { VellLayerManager::setDocumentProbe(nullptr); }
};

// A document of `size` holding the layers bottom first; `active` is the
// index of the active layer (-1: the top one).
inline std::unique_ptr<VellContext> makeDocument(const QSize &size, const QVector<LayerSpec> &specs,
                                                 int active = -1)
{
    DocumentProbe probe;
    auto document = std::make_unique<VellContext>();
    document->setSelection(new VellSelection(nullptr, size.width(), size.height()));
    VellLayerManager *stack = document->getLayerManager();
    for (const LayerSpec &spec : specs) {
        if (!spec.text.isEmpty()) {
            auto *text = new VellTextLayer(spec.name);
            text->setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
            text->setColor(QColor(30, 160, 90 + spec.seed));
            text->setText(spec.text);
            text->setKeepName(true);
            text->setLayerName(spec.name);
            text->setDirection(spec.direction);
            text->setPosition(spec.position);
            text->setBlendMode(spec.mode);
            text->setAlpha(spec.opacity);
            text->visible = spec.visible;
            stack->insertLayer(text, stack->getLayerCount(), false);
            continue;
        }
        auto *layer = new VellLayer(spec.name);
        layer->setVellPictureHost(patternHost(spec));
        layer->setPosition(spec.position);
        layer->setBlendMode(spec.mode);
        layer->setAlpha(spec.opacity);
        layer->visible = spec.visible;
        if (spec.masked) {
            layer->createLayerMask();
            VellLayerMask *mask = layer->getLayerMask();
            for (int y = 0; y < mask->getHeight(); ++y)
                for (int x = 0; x < mask->getPaddedWidth(); ++x)
                    mask->getData()[y * mask->getPaddedWidth() + x] =
                        uchar(x < mask->getWidth() ? (x * 41 + y * 97 + spec.seed * 3) & 255 : 255);
            layer->setLayerMaskPosition(spec.maskPosition);
        }
        stack->insertLayer(layer, stack->getLayerCount(), false);
    }
    if (!specs.isEmpty())
        stack->setActiveLayer(unsigned(active < 0 ? specs.size() - 1 : active));
    return document;
}

inline QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// One entry of an archive in memory; empty when it cannot be read.
inline QByteArray entryOf(const QByteArray &archive, const QString &name)
{
    VellZipArchive zip;
    QByteArray bytes;
    if (zip.openData(archive))
        zip.read(zip.indexOf(name), qint64(1) << 30, &bytes);
    return bytes;
}

inline QByteArray png(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

struct Entry
{
    QString name;
    QByteArray bytes;
    VellZipArchive::Method method = VellZipArchive::Stored;
};

// An archive written through a file in `dir` and returned as bytes.
inline QByteArray archive(const QTemporaryDir &dir, const QVector<Entry> &entries)
{
    const QString path = dir.filePath(QStringLiteral("made.zip"));
    QFile::remove(path);
    VellZipArchive zip;
    if (!zip.create(path))
        return QByteArray();
    for (const Entry &entry : entries)
        if (!zip.addEntry(entry.name, entry.bytes, entry.method))
            return QByteArray();
    return zip.commit() ? fileBytes(path) : QByteArray();
}

// An OpenRaster file with this stack.xml (the <stack> content inside an
// <image> of w x h declaring the vell prefix) and PNG entries.
inline QByteArray oraWith(const QTemporaryDir &dir, const QString &stackContent,
                          const QVector<Entry> &pngs = {}, const QSize &size = QSize(8, 6))
{
    const QString xml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                       "<image version=\"0.0.5\" w=\"%1\" h=\"%2\" "
                                       "xmlns:vell=\"urn:x-vellcore:openraster\"><stack>%3</stack></image>\n")
                            .arg(size.width()).arg(size.height()).arg(stackContent);
    QVector<Entry> entries = { { QStringLiteral("mimetype"), QByteArray("image/openraster") },
                               { QStringLiteral("stack.xml"), xml.toUtf8(), VellZipArchive::Deflated } };
    entries += pngs;
    return archive(dir, entries);
}

} // namespace OraTest

#endif // ORATESTSUPPORT_H
