#include "interchange/vellorareader.h"

#include "canvas/vellblendreference.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velllayermask.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "interchange/vellorawriter.h"
#include "interchange/vellziparchive.h"
#include "selection/vellselection.h"

#include <QBuffer>
#include <QColorSpace>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImageReader>
#include <QMap>
#include <QXmlStreamReader>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <future>
#include <vector>

// One element of stack.xml that we keep: a stack or a layer, with its
// attributes (ours under "vell:<name>", whatever prefix the file bound our
// namespace to) and, for a stack, its children in file order (top first).
struct VellOraNode
{
    bool stack = false;
    QHash<QString, QString> attributes;
    std::vector<std::unique_ptr<VellOraNode>> children;

    QString attribute(const char *name) const { return attributes.value(QLatin1String(name)); }
    bool has(const char *name) const { return attributes.contains(QLatin1String(name)); }
};

namespace {

constexpr int kMimeHeadBytes = 54;   // local header (30) + "mimetype" (8) + its text (16)
// All PNG entries of a file together, as stored (encoded): far above what
// the image limits let a sensible file hold.
constexpr qint64 kMaxEntryBytes = qint64(4) << 30;
const char kMyPaintNamespace[] = "http://mypaint.org/ns/openraster";
// A text layer's record, as stored: far above what any text holds.
constexpr qint64 kMaxTextRecordBytes = qint64(16) << 20;

// Sets the settings' stream versions for as long as it lives: a text record
// is read at the version it was written at, and written again at the one
// the document stream is read at.
class StreamVersions
{
public:
    StreamVersions(int readVersion, int writeVersion)
        : settings(VellGlobalSettings::getInstance()), savedRead(settings->streamReadVersion),
          savedWrite(settings->streamWriteVersion)
    {
        settings->streamReadVersion = readVersion;
        settings->streamWriteVersion = writeVersion;
    }
    ~StreamVersions()
    {
        settings->streamReadVersion = savedRead;
        settings->streamWriteVersion = savedWrite;
    }
    Q_DISABLE_COPY(StreamVersions)

private:
    VellGlobalSettings *settings;
    int savedRead, savedWrite;
};

// The settings' image limits, which every picture read must respect.
struct Limits
{
    int width = 0;
    int height = 0;
    qint64 pixels = 0;

    static Limits current()
    {
        const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
        Limits limits;
        limits.width = settings->imageLimitX;
        limits.height = settings->imageLimitY;
        limits.pixels = qint64(qMax(0, settings->imageLimitPixel)) << 20;
        return limits;
    }
    bool accepts(const QSize &size) const
    {
        return size.width() > 0 && size.height() > 0 && size.width() <= width
               && size.height() <= height && qint64(size.width()) * size.height() <= pixels;
    }
    // The most bytes a PNG of an accepted size can sensibly take: its raw
    // 16-bit pixels plus room for filters and chunks.
    qint64 pngBytes() const
    {
        return qMin<qint64>(INT_MAX - 1, pixels * 8 + pixels + (qint64(64) << 20));
    }
};

// Porter-Duff operators as (Fa, Fb) in terms of the source and backdrop
// alphas: result = as Fa Cs + ab Fb Cb, alpha as Fa + ab Fb.
enum class PorterDuff { Clear, Src, Dst, DstOver, SrcIn, DstIn, SrcOut, DstOut, SrcAtop, DstAtop, Xor };

bool porterDuffOf(const QString &op, PorterDuff *which)
{
    static const QHash<QString, PorterDuff> table = {
        { QStringLiteral("svg:clear"), PorterDuff::Clear },
        { QStringLiteral("svg:src"), PorterDuff::Src },
        { QStringLiteral("svg:dst"), PorterDuff::Dst },
        { QStringLiteral("svg:dst-over"), PorterDuff::DstOver },
        { QStringLiteral("svg:src-in"), PorterDuff::SrcIn },
        { QStringLiteral("svg:dst-in"), PorterDuff::DstIn },
        { QStringLiteral("svg:src-out"), PorterDuff::SrcOut },
        { QStringLiteral("svg:dst-out"), PorterDuff::DstOut },
        { QStringLiteral("svg:src-atop"), PorterDuff::SrcAtop },
        { QStringLiteral("svg:dst-atop"), PorterDuff::DstAtop },
        { QStringLiteral("svg:xor"), PorterDuff::Xor },
    };
    const auto it = table.constFind(op);
    if (it == table.constEnd())
        return false;
    *which = *it;
    return true;
}

inline void porterDuffFactors(PorterDuff op, float as, float ab, float *fa, float *fb)
{
    switch (op) {
    case PorterDuff::Clear: *fa = 0; *fb = 0; return;
    case PorterDuff::Src: *fa = 1; *fb = 0; return;
    case PorterDuff::Dst: *fa = 0; *fb = 1; return;
    case PorterDuff::DstOver: *fa = 1 - ab; *fb = 1; return;
    case PorterDuff::SrcIn: *fa = ab; *fb = 0; return;
    case PorterDuff::DstIn: *fa = 0; *fb = as; return;
    case PorterDuff::SrcOut: *fa = 1 - ab; *fb = 0; return;
    case PorterDuff::DstOut: *fa = 0; *fb = 1 - as; return;
    case PorterDuff::SrcAtop: *fa = ab; *fb = 1 - as; return;
    case PorterDuff::DstAtop: *fa = 1 - ab; *fb = as; return;
    case PorterDuff::Xor: *fa = 1 - ab; *fb = 1 - as; return;
    }
}

// The mode for a composite-op: ours by the writer's table, LazPaint's
// "svg:add" as Linear Dodge; -1 when there is none.
int modeOfCompositeOp(const QString &op)
{
    if (op.isEmpty())
        return VellBlend::Normal;
    if (op == QLatin1String("svg:add"))
        return VellBlend::LinearDodge;
    for (int code = VellBlend::Normal; code <= VellBlend::Luminosity; code += VellBlend::Step)
        if (VellOraWriter::compositeOp(code) == op)
            return code;
    return -1;
}

// PNG by its signature: other decoders never see the bytes.
bool isPng(const QByteArray &bytes)
{
    return bytes.startsWith("\x89PNG\r\n\x1a\n");
}

// Decoded pixels: ARGB32, or RGBA64 for 16-bit PNGs when `keepWide`.
QImage decodePng(const QByteArray &png, const QSize &expected, bool keepWide)
{
    QBuffer buffer;
    buffer.setData(png);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "png");
    QImage image = reader.read();
    if (image.isNull() || image.size() != expected)
        return QImage();
    const bool wide = image.depth() == 64 || image.format() == QImage::Format_Grayscale16;
    image.setColorSpace(QColorSpace());   // an embedded profile is not applied
    return image.convertToFormat(wide && keepWide ? QImage::Format_RGBA64 : QImage::Format_ARGB32);
}

// Offsets add up through nested stacks; far outside any picture they are
// held at +-2^29, so that sums and spans of two of them still fit in an int.
QPoint wholePoint(const QPointF &point)
{
    const double limit = double(1 << 29);
    const auto whole = [limit](double v) { return int(std::clamp(std::floor(v + 0.5), -limit, limit)); };
    return QPoint(whole(point.x()), whole(point.y()));
}

// What a layer of the file becomes in ours.
struct Item
{
    QString name;
    QPointF position;
    float opacity = 1.0f;
    bool visible = true;
    int mode = VellBlend::Normal;
    bool selected = false;
    // The pixels: a PNG to decode when needed, or an image made here
    // (ARGB32).
    QByteArray png;
    QImage image;
    QSize pixelSize;
    bool wide = false;
    // The mask over the layer's pixels, Grayscale8 of the layer's size.
    QImage mask;
    QPointF maskPosition;
    // A text layer's stream record at the document stream's version, which
    // replaces the pixels when the layer is not flattened.
    QByteArray textRecord;

    qint64 pixelBytes() const { return qint64(pixelSize.width()) * pixelSize.height() * (wide ? 8 : 4); }
    QPoint wholePosition() const { return wholePoint(position); }
};

QImage transparentPixel()
{
    QImage image(1, 1, QImage::Format_ARGB32);
    image.fill(0u);
    return image;
}

// A stack's effect on what it holds when it is inlined.
struct Inherit
{
    float opacity = 1.0f;
    bool visible = true;
    QPointF offset;
};

// Reads stack.xml's tree into layers, decoding only what must be flattened.
class Resolver
{
public:
    Resolver(VellZipArchive *zip, QStringList *warnings)
        : zip(zip), warnings(warnings), limits(Limits::current())
    {
        const VellSystemResources system = VellMemory::probeSystem();
        if (system.memoryKnown)
            entryCap = qMin(entryCap, qint64(system.freeMemory / 2));
    }

    bool resolveStack(const VellOraNode &stack, const Inherit &inherit, std::vector<Item> *out);
    QString error;

private:
    bool refuse(const QString &reason)
    {
        error = reason;
        return false;
    }
    void warn(const QString &text) { warnings->append(text); }
    bool layerItem(const VellOraNode &node, const Inherit &inherit, Item *item, bool *skip);
    bool maskedLayerItem(const VellOraNode &stack, const Inherit &inherit, Item *item, bool *done);
    void textItem(const VellOraNode &node, Item *item);
    bool png(const QString &entry, QByteArray *bytes, QSize *size, bool *wide, bool *skip);
    bool maskFrom(const QString &entry, const QPoint &maskAt, const Item &item, bool coverOutside,
                  QImage *mask);
    bool flatten(const std::vector<Item> &items, const QRect &extra, QImage *canvas, QPoint *origin);
    void applyPorterDuff(QImage *canvas, const QPoint &origin, const Item &layer, PorterDuff op);
    QImage pixels8(const Item &item);
    void commonAttributes(const VellOraNode &node, const Inherit &inherit, Item *item);
    QPointF offsetOf(const VellOraNode &node, const char *xName, const char *yName);

    VellZipArchive *zip;
    QStringList *warnings;
    Limits limits;
    QHash<QString, QByteArray> entries;   // read so far
    qint64 entryBytes = 0;                // their stated sizes, summed
    qint64 entryCap = kMaxEntryBytes;     // lowered to half the free memory
};

QPointF Resolver::offsetOf(const VellOraNode &node, const char *xName, const char *yName)
{
    double value[2] = { 0.0, 0.0 };
    const char *names[2] = { xName, yName };
    for (int i = 0; i < 2; ++i) {
        if (!node.has(names[i]))
            continue;
        bool ok = false;
        const double v = node.attribute(names[i]).trimmed().toDouble(&ok);
        // Far outside any picture, and still safe to round to int.
        if (!ok || !std::isfinite(v) || std::fabs(v) > double(1 << 30)) {
            warn(QStringLiteral("\"%1\": offset %2=\"%3\" read as 0")
                     .arg(node.attribute("name"), QLatin1String(names[i]), node.attribute(names[i])));
            continue;
        }
        if (v != std::floor(v))
            warn(QStringLiteral("\"%1\": offset %2=%3 rounded to a whole pixel")
                     .arg(node.attribute("name"), QLatin1String(names[i]), node.attribute(names[i])));
        value[i] = v;
    }
    return QPointF(value[0], value[1]);
}

void Resolver::commonAttributes(const VellOraNode &node, const Inherit &inherit, Item *item)
{
    item->name = node.attribute("name");
    float opacity = 1.0f;
    if (node.has("opacity")) {
        bool ok = false;
        const double v = node.attribute("opacity").trimmed().toDouble(&ok);
        if (!ok || std::isnan(v))
            warn(QStringLiteral("\"%1\": opacity \"%2\" read as 1").arg(item->name, node.attribute("opacity")));
        else
            opacity = float(std::clamp(v, 0.0, 1.0));
    }
    item->opacity = std::clamp(opacity * inherit.opacity, 0.0f, 1.0f);
    item->visible = inherit.visible && node.attribute("visibility") != QLatin1String("hidden");
    item->selected = node.attribute("selected") == QLatin1String("true");

    bool known = false;
    if (node.has("vell:mode")) {
        bool ok = false;
        const int code = node.attribute("vell:mode").toInt(&ok);
        if (ok && VellLayerBase::isBlendModeCode(code)) {
            item->mode = code;
            known = true;
        }
    }
    if (!known) {
        const QString op = node.attribute("composite-op");
        const int code = modeOfCompositeOp(op);
        PorterDuff flattened;
        if (code < 0 && !porterDuffOf(op, &flattened))   // those are flattened, with a warning of their own
            warn(QStringLiteral("\"%1\": composite-op \"%2\" read as Normal").arg(item->name, op));
        // LazPaint marks the variants it blends in linear light (its
        // Difference, Exclusion, Additive, ...) so; we blend stored values.
        if (code > VellBlend::Normal && node.attribute("gamma-correction") == QLatin1String("yes"))
            warn(QStringLiteral("\"%1\": composite-op \"%2\" in linear light read as %3")
                     .arg(item->name, op, VellLayerBase::getBlendModeName(code)));
        item->mode = code < 0 ? int(VellBlend::Normal) : code;
    }
}

bool Resolver::png(const QString &entry, QByteArray *bytes, QSize *size, bool *wide, bool *skip)
{
    *skip = false;
    const int index = zip->indexOf(entry);
    if (index < 0) {
        *skip = true;
        return true;
    }
    const auto cached = entries.constFind(entry);
    if (cached != entries.constEnd()) {
        *bytes = *cached;   // shared: layers naming one entry cost it once
    } else {
        // Deflate expands up to a thousandfold, so a small file can state
        // (and hold) far more than memory: the sum is capped too.
        entryBytes += zip->entries().at(index).size;
        if (entryBytes > entryCap)
            return refuse(QStringLiteral("the PNGs hold more than %1 MiB").arg(entryCap >> 20));
        if (!zip->read(index, limits.pngBytes(), bytes))
            return refuse(zip->errorString());
        entries.insert(entry, *bytes);
    }
    if (!isPng(*bytes)) {
        *skip = true;
        return true;
    }
    QBuffer buffer;
    buffer.setData(*bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "png");
    *size = reader.size();   // from the header; nothing is decoded yet
    if (!limits.accepts(*size))
        return refuse(QStringLiteral("%1 is %2 x %3 pixels, outside the image limits")
                          .arg(entry).arg(size->width()).arg(size->height()));
    const QImage::Format format = reader.imageFormat();
    *wide = format == QImage::Format_RGBA64 || format == QImage::Format_RGBX64
            || format == QImage::Format_RGBA64_Premultiplied || format == QImage::Format_Grayscale16;
    return true;
}

bool Resolver::maskFrom(const QString &entry, const QPoint &maskAt, const Item &item,
                        bool coverOutside, QImage *mask)
{
    QByteArray bytes;
    QSize size;
    bool wide = false, skip = false;
    if (!png(entry, &bytes, &size, &wide, &skip))
        return false;
    const QImage decoded = skip ? QImage() : decodePng(bytes, size, false);
    if (decoded.isNull()) {
        warn(QStringLiteral("\"%1\": mask %2 unreadable, left out").arg(item.name, entry));
        return true;
    }
    // The mask covers the layer's pixels; its own picture may sit elsewhere.
    QImage result(item.pixelSize, QImage::Format_Grayscale8);
    if (result.isNull())
        return refuse(QStringLiteral("no memory for the mask of \"%1\"").arg(item.name));
    result.fill(coverOutside ? 255 : 0);
    const QPoint shift = maskAt - item.wholePosition();
    for (int y = 0; y < decoded.height(); ++y) {
        const int ty = y + shift.y();
        if (ty < 0 || ty >= result.height())
            continue;
        const QRgb *in = reinterpret_cast<const QRgb *>(decoded.constScanLine(y));
        uchar *line = result.scanLine(ty);
        for (int x = 0; x < decoded.width(); ++x) {
            const int tx = x + shift.x();
            if (tx >= 0 && tx < result.width())
                line[tx] = uchar(qAlpha(in[x]));
        }
    }
    *mask = result;
    return true;
}

bool Resolver::layerItem(const VellOraNode &node, const Inherit &inherit, Item *item, bool *skip)
{
    *skip = false;
    commonAttributes(node, inherit, item);
    item->position = offsetOf(node, "x", "y") + inherit.offset;

    const bool baked = node.has("vell:unmasked-src") && node.has("vell:mask-src");
    const QString src = baked ? node.attribute("vell:unmasked-src") : node.attribute("src");
    const auto empty = [&](const QString &why) {
        warn(QStringLiteral("\"%1\": %2, read as an empty layer").arg(item->name, why));
        item->image = transparentPixel();
        item->pixelSize = item->image.size();
        return true;
    };
    if (src.isEmpty())
        return empty(QStringLiteral("no source"));
    if (!src.endsWith(QLatin1String(".png"), Qt::CaseInsensitive)) {
        warn(QStringLiteral("\"%1\": source %2 is not a PNG, skipped").arg(item->name, src));
        *skip = true;
        return true;
    }
    bool missing = false;
    if (!png(src, &item->png, &item->pixelSize, &item->wide, &missing))
        return false;
    if (missing)
        return empty(QStringLiteral("source %1 missing or not a PNG").arg(src));
    if (baked) {
        QPointF maskPosition;
        if (node.has("vell:mask-x") || node.has("vell:mask-y"))
            maskPosition = offsetOf(node, "vell:mask-x", "vell:mask-y");
        if (!maskFrom(node.attribute("vell:mask-src"), item->wholePosition(), *item, true,
                      &item->mask))
            return false;
        item->maskPosition = maskPosition;
    }
    if (node.has("vell:text-src"))
        textItem(node, item);
    return true;
}

// Our text layer's record, checked by reading it whole; the PNG stays the
// layer when the record is missing, oversized or does not read cleanly.
void Resolver::textItem(const VellOraNode &node, Item *item)
{
    const QString entry = node.attribute("vell:text-src");
    const auto fallBack = [&](const QString &why) {   // `why` names the entry
        warn(QStringLiteral("\"%1\": text record %2, read as pixels").arg(item->name, why));
    };
    bool ok = false;
    const int version = node.attribute("vell:text-version").toInt(&ok);
    if (!ok || version < 0)
        return fallBack(QStringLiteral("%1 has no stream version").arg(entry));
    const int index = zip->indexOf(entry);
    if (index < 0)
        return fallBack(QStringLiteral("%1 missing").arg(entry));
    QByteArray bytes;
    if (!zip->read(index, kMaxTextRecordBytes, &bytes))
        return fallBack(zip->errorString());
    VellTextLayer *layer = nullptr;
    const int readVersion = VellGlobalSettings::getInstance()->streamReadVersion;
    {
        StreamVersions fileVersion(version, readVersion);
        QDataStream in(bytes);
        in.setVersion(QDataStream::Qt_4_8);
        in >> &layer;
        if (layer && (in.status() != QDataStream::Ok || !in.atEnd())) {
            delete layer;
            layer = nullptr;
        }
    }
    if (!layer)
        return fallBack(QStringLiteral("%1 is corrupt").arg(entry));
    const std::unique_ptr<VellTextLayer> owned(layer);
    StreamVersions streamVersion(readVersion, readVersion);
    QDataStream out(&item->textRecord, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    out << layer;
    if (out.status() != QDataStream::Ok) {
        item->textRecord.clear();
        fallBack(QStringLiteral("%1 cannot be kept").arg(entry));
    }
}

// Our masked-layer stack: the mask ("dst-in", on top) and the pixels below.
// *done is false when the stack is not one of ours after all.
bool Resolver::maskedLayerItem(const VellOraNode &stack, const Inherit &inherit, Item *item,
                               bool *done)
{
    *done = false;
    if (stack.children.size() != 2 || stack.children[0]->stack || stack.children[1]->stack
        || stack.children[0]->attribute("composite-op") != QLatin1String("svg:dst-in"))
        return true;
    const VellOraNode &maskNode = *stack.children[0];
    const VellOraNode &content = *stack.children[1];
    Inherit inner = inherit;
    inner.offset += offsetOf(stack, "x", "y");
    bool skip = false;
    if (!layerItem(content, inner, item, &skip))
        return false;
    if (skip)
        return true;
    commonAttributes(stack, inherit, item);   // the group's name, opacity, visibility, mode
    item->selected = item->selected || content.attribute("selected") == QLatin1String("true");
    const QPointF maskOffset = offsetOf(maskNode, "x", "y") + inner.offset;
    const QPoint maskAt = wholePoint(maskOffset);
    if (!maskFrom(maskNode.attribute("src"), maskAt, *item, false, &item->mask))
        return false;
    if (stack.has("vell:mask-x") || stack.has("vell:mask-y"))
        item->maskPosition = offsetOf(stack, "vell:mask-x", "vell:mask-y");
    *done = true;
    return true;
}

QImage Resolver::pixels8(const Item &item)
{
    if (!item.image.isNull())
        return item.image;
    const QImage decoded = decodePng(item.png, item.pixelSize, false);
    if (decoded.isNull())
        warn(QStringLiteral("\"%1\": pixels unreadable, left out").arg(item.name));
    return decoded;
}

bool Resolver::flatten(const std::vector<Item> &items, const QRect &extra, QImage *canvas,
                       QPoint *origin)
{
    QRect area = extra;
    for (const Item &item : items)
        if (item.visible)
            area |= QRect(item.wholePosition(), item.pixelSize);
    if (area.isEmpty())
        area = QRect(0, 0, 1, 1);
    if (!limits.accepts(area.size()))
        return refuse(QStringLiteral("a group spans %1 x %2 pixels, outside the image limits")
                          .arg(area.width()).arg(area.height()));
    QImage result(area.size(), QImage::Format_ARGB32);
    if (result.isNull())
        return refuse(QStringLiteral("no memory to flatten a group"));
    result.fill(0u);
    for (const Item &item : items) {
        if (!item.visible)
            continue;
        const QImage pixels = pixels8(item);
        if (pixels.isNull())
            continue;
        VellBlendReference::compositeLayer(&result, pixels, item.wholePosition() - area.topLeft(),
                                           item.mode, item.opacity,
                                           item.mask.isNull() ? nullptr : &item.mask);
    }
    *canvas = result;
    *origin = area.topLeft();
    return true;
}

void Resolver::applyPorterDuff(QImage *canvas, const QPoint &origin, const Item &layer, PorterDuff op)
{
    const QImage pixels = pixels8(layer);
    const QPoint at = layer.wholePosition() - origin;
    const int w = canvas->width();
    const int h = canvas->height();
    uchar *bits = canvas->bits();   // before the loop: may detach
    const size_t stride = size_t(canvas->bytesPerLine());
    const float opacity = layer.opacity;
    const QImage &mask = layer.mask;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(bits + size_t(y) * stride);
        const int sy = y - at.y();
        const bool rowInside = !pixels.isNull() && sy >= 0 && sy < pixels.height();
        const QRgb *src = rowInside ? reinterpret_cast<const QRgb *>(pixels.constScanLine(sy)) : nullptr;
        const uchar *m = rowInside && !mask.isNull() && sy < mask.height() ? mask.constScanLine(sy) : nullptr;
        for (int x = 0; x < w; ++x) {
            const int sx = x - at.x();
            const QRgb s = src && sx >= 0 && sx < pixels.width() ? src[sx] : 0u;
            const float mv = m && sx >= 0 && sx < mask.width() ? m[sx] / 255.0f : 1.0f;
            const float as = qAlpha(s) / 255.0f * opacity * mv;
            const float ab = qAlpha(line[x]) / 255.0f;
            float fa = 0, fb = 0;
            porterDuffFactors(op, as, ab, &fa, &fb);
            const float ao = as * fa + ab * fb;
            if (ao <= 0.0f) {
                line[x] = 0u;
                continue;
            }
            const auto channel = [&](int cs, int cb) {
                const float c = (as * fa * cs + ab * fb * cb) / ao;
                return int(std::min(255.0f, c + 0.5f));
            };
            line[x] = qRgba(channel(qRed(s), qRed(line[x])), channel(qGreen(s), qGreen(line[x])),
                            channel(qBlue(s), qBlue(line[x])), int(std::min(255.0f, ao * 255.0f + 0.5f)));
        }
    }
}

bool Resolver::resolveStack(const VellOraNode &stack, const Inherit &inherit, std::vector<Item> *out)
{
    const size_t levelStart = out->size();
    // Children are listed top first; layers are built bottom first.
    for (auto child = stack.children.rbegin(); child != stack.children.rend(); ++child) {
        const VellOraNode &node = **child;
        if (!node.stack) {
            Item item;
            bool skip = false;
            if (!layerItem(node, inherit, &item, &skip))
                return false;
            if (skip)
                continue;
            PorterDuff op;
            if (porterDuffOf(node.attribute("composite-op"), &op)) {
                if (!item.visible)
                    continue;   // a hidden operator changes nothing
                // What lies below on this level and the operator become one layer.
                warn(QStringLiteral("\"%1\": composite-op %2 flattened with the layers below it")
                         .arg(item.name, node.attribute("composite-op")));
                const std::vector<Item> below(out->begin() + std::ptrdiff_t(levelStart), out->end());
                Item flat;
                QPoint origin;
                if (!flatten(below, QRect(item.wholePosition(), item.pixelSize), &flat.image, &origin))
                    return false;
                applyPorterDuff(&flat.image, origin, item, op);
                flat.name = item.name;
                flat.position = origin;
                flat.pixelSize = flat.image.size();
                flat.selected = item.selected;
                out->erase(out->begin() + std::ptrdiff_t(levelStart), out->end());
                out->push_back(flat);
                continue;
            }
            out->push_back(item);
            continue;
        }
        if (node.attribute("vell:kind") == QLatin1String("masked-layer")) {
            Item item;
            bool done = false;
            if (!maskedLayerItem(node, inherit, &item, &done))
                return false;
            if (done) {
                out->push_back(item);
                continue;
            }
        }
        Inherit inner;
        inner.offset = inherit.offset + offsetOf(node, "x", "y");
        if (node.attribute("isolation") == QLatin1String("auto")) {
            Item group;
            commonAttributes(node, inherit, &group);
            inner.opacity = group.opacity;
            inner.visible = group.visible;
            if (!resolveStack(node, inner, out))
                return false;
            continue;
        }
        // An isolated group: its layers blend with each other only.
        std::vector<Item> members;
        if (!resolveStack(node, inner, &members))
            return false;
        Item group;
        commonAttributes(node, inherit, &group);
        warn(QStringLiteral("\"%1\": group of %2 layers flattened").arg(group.name).arg(members.size()));
        QPoint origin;
        if (!flatten(members, QRect(), &group.image, &origin))
            return false;
        group.position = origin;
        group.pixelSize = group.image.size();
        for (const Item &member : members)
            group.selected = group.selected || member.selected;
        out->push_back(group);
    }
    return true;
}

// The document stream, made as it is read: fixed records from memory, and
// each layer's pixels decoded when the reader reaches them, so that only
// one decoded PNG is held at a time beside the layers already built.
class DocumentStream : public QIODevice
{
public:
    explicit DocumentStream(QStringList *warnings) : warnings(warnings) {}

    void addBytes(const QByteArray &bytes)
    {
        if (!bytes.isEmpty())
            segments.push_back({ total, bytes.size(), bytes, nullptr });
        total += bytes.size();
    }
    void addPixels(Item *item)
    {
        segments.push_back({ total, item->pixelBytes(), QByteArray(), item });
        total += item->pixelBytes();
    }

    bool isSequential() const override { return false; }
    qint64 size() const override { return total; }
    bool seek(qint64 position) override
    {
        if (position < 0 || position > total)
            return false;
        cursor = position;
        return QIODevice::seek(position);
    }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        qint64 done = 0;
        while (done < maxSize && cursor < total) {
            const Segment &segment = segmentAt(cursor);
            const qint64 offset = cursor - segment.start;
            const qint64 n = qMin(maxSize - done, segment.length - offset);
            const char *from = segment.item ? pixelsOf(segment) : segment.bytes.constData();
            if (from)
                std::memcpy(data + done, from + offset, size_t(n));
            else
                std::memset(data + done, 0, size_t(n));
            done += n;
            cursor += n;
        }
        return done;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    struct Segment
    {
        qint64 start;
        qint64 length;
        QByteArray bytes;
        Item *item;   // not owned; pixels to decode
    };

    const Segment &segmentAt(qint64 position)
    {
        while (current > 0 && segments[current].start > position)
            --current;
        while (current + 1 < segments.size() && segments[current + 1].start <= position)
            ++current;
        return segments[current];
    }

    // The item's pixels in the host's layout; null when they could not be
    // decoded (the layer then reads as transparent). While the reader copies
    // one layer, the next one is decoded on another thread.
    const char *pixelsOf(const Segment &segment)
    {
        if (segment.item != decodedItem) {
            decodedItem = segment.item;
            decoded = QImage();
            const Item &item = *segment.item;
            QImage image = upcomingItem == &item ? upcoming.get() : hostLayout(&item);
            upcomingItem = nullptr;
            for (size_t k = current + 1; k < segments.size(); ++k)
                if (const Item *next = segments[k].item) {
                    upcomingItem = next;
                    upcoming = std::async(std::launch::async, [next] { return hostLayout(next); });
                    break;
                }
            const qint64 rowBytes = qint64(item.pixelSize.width()) * (item.wide ? 8 : 4);
            if (image.isNull() || image.bytesPerLine() != rowBytes
                || (image.format() == QImage::Format_RGBA64) != item.wide)
                warnings->append(QStringLiteral("\"%1\": pixels unreadable, read as transparent")
                                     .arg(item.name));
            else
                decoded = image;
        }
        return decoded.isNull() ? nullptr : reinterpret_cast<const char *>(decoded.constBits());
    }

    // The pixels as a host holds them: B, G, R, A bytes (ARGB32) or words.
    // Reads only the item, so it runs on any thread.
    static QImage hostLayout(const Item *item)
    {
        if (!item->image.isNull())
            return item->image.convertToFormat(QImage::Format_ARGB32);
        QImage image = decodePng(item->png, item->pixelSize, item->wide);
        if (image.format() == QImage::Format_RGBA64)
            swapRedBlue64(&image);
        return image;
    }

    // RGBA64 holds R, G, B, A words; a host holds B, G, R, A.
    static void swapRedBlue64(QImage *image)
    {
        const int w = image->width();
        const int h = image->height();
        uchar *bits = image->bits();
        const size_t stride = size_t(image->bytesPerLine());
#pragma omp parallel for schedule(static)
        for (int y = 0; y < h; ++y) {
            quint16 *p = reinterpret_cast<quint16 *>(bits + size_t(y) * stride);
            for (int x = 0; x < w; ++x, p += 4)
                std::swap(p[0], p[2]);
        }
    }

    QStringList *warnings;
    std::vector<Segment> segments;
    size_t current = 0;
    qint64 total = 0;
    qint64 cursor = 0;
    const Item *decodedItem = nullptr;
    QImage decoded;
    const Item *upcomingItem = nullptr;   // what `upcoming` decodes
    std::future<QImage> upcoming;         // joined by its destructor at the latest
};

QByteArray streamed(const std::function<void(QDataStream &)> &write)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    write(out);
    return bytes;
}

} // namespace

VellOraReader::VellOraReader() = default;
VellOraReader::~VellOraReader() = default;

bool VellOraReader::refuse(const QString &reason)
{
    error = QStringLiteral("%1: %2").arg(fileName, reason);
    VellLog::Instance()->Log("VellOraReader: %s\n", qPrintable(error));
    return false;
}

void VellOraReader::warn(const QString &text)
{
    warningList.append(text);
}

bool VellOraReader::canRead(const QByteArray &head)
{
    if (head.size() < kMimeHeadBytes || !head.startsWith("PK\x03\x04"))
        return false;
    const auto word = [&](int at) { return uint(uchar(head[at])) | uint(uchar(head[at + 1])) << 8; };
    return word(8) == 0 && word(26) == 8 && word(28) == 0 && head.mid(30, 8) == "mimetype"
           && head.mid(38, 16) == VellOraWriter::kMimeType;
}

bool VellOraReader::canReadFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && canRead(file.read(kMimeHeadBytes));
}

bool VellOraReader::openFile(const QString &path)
{
    fileName = QFileInfo(path).fileName();
    zip = std::make_unique<VellZipArchive>();
    if (!zip->openFile(path)) {
        const QString reason = zip->errorString();
        zip.reset();
        return refuse(reason);
    }
    return open();
}

bool VellOraReader::openData(const QByteArray &bytes, const QString &name)
{
    fileName = name;
    zip = std::make_unique<VellZipArchive>();
    if (!zip->openData(bytes)) {
        const QString reason = zip->errorString();
        zip.reset();
        return refuse(reason);
    }
    return open();
}

bool VellOraReader::open()
{
    root.reset();
    size = QSize();
    warningList.clear();
    error.clear();
    const auto fail = [this](const QString &reason) {
        zip.reset();
        return refuse(reason);
    };
    for (const VellZipArchive::Entry &entry : zip->entries()) {
        if (entry.encrypted)
            return fail(QStringLiteral("%1 is encrypted").arg(entry.name));
        if (entry.method != 0 && entry.method != 8)
            return fail(QStringLiteral("%1 uses compression method %2").arg(entry.name).arg(entry.method));
    }

    const int mimeIndex = zip->indexOf(QStringLiteral("mimetype"));
    if (mimeIndex < 0) {
        warn(QStringLiteral("no mimetype entry"));
    } else {
        QByteArray mime;
        if (!zip->read(mimeIndex, 256, &mime))
            return fail(zip->errorString());
        if (mime != VellOraWriter::kMimeType)
            return fail(QStringLiteral("mimetype is \"%1\", not %2")
                            .arg(QString::fromLatin1(mime.left(64)), QLatin1String(VellOraWriter::kMimeType)));
        if (mimeIndex != 0)
            warn(QStringLiteral("mimetype is not the first entry"));
        if (zip->entries().at(mimeIndex).method != 0)
            warn(QStringLiteral("mimetype is compressed"));
    }

    const int stackIndex = zip->indexOf(QStringLiteral("stack.xml"));
    if (stackIndex < 0)
        return fail(QStringLiteral("no stack.xml"));
    QByteArray xmlBytes;
    if (!zip->read(stackIndex, kMaxStackXmlBytes, &xmlBytes))
        return fail(zip->errorString());

    QXmlStreamReader xml(xmlBytes);
    std::vector<VellOraNode *> open;   // the stacks being read, innermost last; not owned
    std::unique_ptr<VellOraNode> stackRoot;
    bool inImage = false;
    int skippedDepth = 0;   // inside an element we do not keep
    int layers = 0, stacks = 0;
    QMap<QString, int> skipped;
    const QString ns = QString::fromLatin1(VellOraWriter::kVellNamespace);
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::DTD)
            return fail(QStringLiteral("stack.xml has a DOCTYPE"));
        if (token == QXmlStreamReader::EndElement) {
            if (skippedDepth > 0)
                --skippedDepth;
            else if (!open.empty())
                open.pop_back();
            continue;
        }
        if (token != QXmlStreamReader::StartElement)
            continue;
        const QStringRef name = xml.name();
        if (skippedDepth > 0) {
            ++skippedDepth;
            continue;
        }
        if (!inImage) {
            if (name != QLatin1String("image"))
                return fail(QStringLiteral("stack.xml's root is <%1>, not <image>").arg(name.toString()));
            inImage = true;
            bool okW = false, okH = false;
            const QXmlStreamAttributes attributes = xml.attributes();
            size = QSize(attributes.value(QLatin1String("w")).toInt(&okW),
                         attributes.value(QLatin1String("h")).toInt(&okH));
            if (!okW || !okH || !Limits::current().accepts(size))
                return fail(QStringLiteral("image size %1 x %2 is not positive or outside the image limits")
                                .arg(attributes.value(QLatin1String("w")).toString(),
                                     attributes.value(QLatin1String("h")).toString()));
            // MyPaint 2 composites in linear light unless the file says 1.0
            // (its 1.x mode); we composite the stored values, as 1.x did.
            const QStringRef eotf = attributes.value(QLatin1String(kMyPaintNamespace), QLatin1String("eotf"));
            bool okEotf = false;
            if (!eotf.isEmpty() && (eotf.toDouble(&okEotf) != 1.0 || !okEotf))
                warn(QStringLiteral("made by MyPaint compositing in linear light (eotf %1): "
                                    "blends differ from its merged image").arg(eotf.toString()));
            continue;
        }
        if (stackRoot && open.empty()) {
            skippedDepth = 1;   // after the image's stack: nothing more is read
            continue;
        }
        const bool isStack = name == QLatin1String("stack");
        if (!stackRoot ? !isStack : !(isStack || name == QLatin1String("layer"))) {
            if (stackRoot)
                ++skipped[name.toString()];   // filters, text and the like
            skippedDepth = 1;
            continue;
        }
        auto node = std::make_unique<VellOraNode>();
        node->stack = name == QLatin1String("stack");
        for (const QXmlStreamAttribute &attribute : xml.attributes()) {
            if (attribute.namespaceUri() == ns)
                node->attributes.insert(QStringLiteral("vell:") + attribute.name(), attribute.value().toString());
            else if (attribute.namespaceUri().isEmpty())
                node->attributes.insert(attribute.name().toString(), attribute.value().toString());
        }
        if (node->stack) {
            if (++stacks > kMaxStacks)
                return fail(QStringLiteral("more than %1 stacks").arg(kMaxStacks));
            if (int(open.size()) + 1 > kMaxNesting)
                return fail(QStringLiteral("stacks nested deeper than %1").arg(kMaxNesting));
        } else if (++layers > kMaxLayers) {
            return fail(QStringLiteral("more than %1 layers").arg(kMaxLayers));
        }
        VellOraNode *raw = node.get();
        if (open.empty())
            stackRoot = std::move(node);
        else
            open.back()->children.push_back(std::move(node));
        if (raw->stack)
            open.push_back(raw);
        else
            skippedDepth = 1;   // a layer's content (none is defined) is not kept
    }
    if (xml.hasError())
        return fail(QStringLiteral("stack.xml is not well-formed (line %1: %2)")
                        .arg(xml.lineNumber()).arg(xml.errorString()));
    if (!inImage)
        return fail(QStringLiteral("stack.xml has no <image>"));
    if (!stackRoot)
        return fail(QStringLiteral("stack.xml has no <stack>"));
    for (auto it = skipped.constBegin(); it != skipped.constEnd(); ++it)
        warn(QStringLiteral("%1 <%2> element(s) skipped").arg(it.value()).arg(it.key()));
    root = std::move(stackRoot);
    return true;
}

VellContext *VellOraReader::readDocument()
{
    if (!zip || !root) {
        if (error.isEmpty())
            refuse(QStringLiteral("not open"));
        return nullptr;
    }
    Resolver resolver(zip.get(), &warningList);
    std::vector<Item> items;
    if (!resolver.resolveStack(*root, Inherit(), &items)) {
        refuse(resolver.error);
        return nullptr;
    }
    if (items.empty()) {
        refuse(QStringLiteral("no layer"));
        return nullptr;
    }

    // Every byte the layers will take, before the first is allocated.
    qint64 bytes = qint64(size.width()) * size.height();   // the selection
    for (const Item &item : items) {
        bytes += item.pixelBytes();
        if (!item.mask.isNull())
            bytes += qint64(VellChannel::paddedWidthFor(item.mask.width())) * item.mask.height();
    }
    const VellSystemResources system = VellMemory::probeSystem();
    if (system.memoryKnown && quint64(bytes) > system.freeMemory) {
        refuse(QStringLiteral("the layers need %1 MiB, more than the free memory").arg(bytes >> 20));
        return nullptr;
    }

    // The layers go into the stream bottom first, except that the selected
    // one goes last: the stream reader makes the last layer read active. The
    // stack is put in order afterwards.
    std::vector<int> order(items.size());
    for (size_t i = 0; i < items.size(); ++i)
        order[i] = int(i);
    int selected = -1;
    for (size_t i = 0; i < items.size(); ++i)
        if (items[i].selected)
            selected = int(i);
    if (selected >= 0) {
        order.erase(order.begin() + selected);
        order.push_back(selected);
    }

    const bool version2 = VellGlobalSettings::getInstance()->streamReadVersion >= 2;
    DocumentStream stream(&warningList);
    stream.addBytes(streamed([&](QDataStream &out) { out << qint32(0) << qint32(items.size()); }));
    for (int index : order) {
        Item &item = items[size_t(index)];
        if (!item.textRecord.isEmpty()) {
            stream.addBytes(streamed([](QDataStream &out) { out << QStringLiteral("VellTextLayer"); }));
            stream.addBytes(item.textRecord);
            continue;
        }
        stream.addBytes(streamed([&](QDataStream &out) {
            out << QStringLiteral("VellLayer") << item.opacity << item.name << item.position
                << qint32(-1) << quint32(item.pixelSize.width()) << quint32(item.pixelSize.height())
                << quint32(item.wide ? 8 : 4);
        }));
        stream.addPixels(&item);
        QByteArray tail = streamed([&](QDataStream &out) {
            out << qint32(item.mode) << item.visible << !item.mask.isNull();
            if (!item.mask.isNull()) {
                VellLayerMask mask(item.mask.width(), item.mask.height());
                if (!mask.getData()) {
                    out.setStatus(QDataStream::WriteFailed);
                    return;
                }
                for (int y = 0; y < item.mask.height(); ++y)
                    std::memcpy(mask.getData() + size_t(y) * size_t(mask.getPaddedWidth()),
                                item.mask.constScanLine(y), size_t(item.mask.width()));
                out << &mask;
            }
            out << false << false;   // not editing the mask, mask not shown
            if (version2)
                out << false << item.maskPosition;
        });
        stream.addBytes(tail);
        item.mask = QImage();   // in the stream now
    }
    stream.addBytes(streamed([&](QDataStream &out) {
        const VellSelection none(nullptr, size.width(), size.height());
        out << &none << qint32(VellChannelBits::All) << qint32(VellChannelBits::All) << false;
    }));

    stream.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    QDataStream in(&stream);
    in.setVersion(QDataStream::Qt_4_8);
    VellContext *document = nullptr;
    in >> &document;
    if (!document || in.status() != QDataStream::Ok) {
        delete document;
        refuse(QStringLiteral("the layers could not be built"));
        return nullptr;
    }
    if (selected >= 0) {
        VellLayerManager *manager = document->getLayerManager();
        QVector<VellLayerBase *> stack = manager->getLayers();
        VellLayerBase *active = stack.takeLast();
        stack.insert(selected, active);
        manager->setLayerList(stack);
    }
    return document;
}

QImage VellOraReader::readImageEntry(const QString &entry)
{
    if (!zip)
        return QImage();
    const int index = zip->indexOf(entry);
    if (index < 0) {
        warn(QStringLiteral("no %1").arg(entry));
        return QImage();
    }
    const Limits limits = Limits::current();
    QByteArray bytes;
    if (!zip->read(index, limits.pngBytes(), &bytes)) {
        warn(zip->errorString());
        return QImage();
    }
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "png");
    const QSize imageSize = isPng(bytes) ? reader.size() : QSize();
    if (!limits.accepts(imageSize)) {
        warn(QStringLiteral("%1 is not a PNG within the image limits").arg(entry));
        return QImage();
    }
    const QImage image = decodePng(bytes, imageSize, false);
    if (image.isNull())
        warn(QStringLiteral("%1 unreadable").arg(entry));
    return image;
}

QImage VellOraReader::mergedImage()
{
    return readImageEntry(QStringLiteral("mergedimage.png"));
}

QImage VellOraReader::thumbnail()
{
    return readImageEntry(QStringLiteral("Thumbnails/thumbnail.png"));
}
