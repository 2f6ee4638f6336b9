// VellLayer's geometry: right-angle turns, mirrors, resizing, cropping, free
// rotation and warps. Every operation renders on the GPU from the entire
// texture into a new texture, and only once that worked (and the new host
// could be had) replaces the host and the textures, so a refusal or a
// failure halfway leaves the layer as it was.
#include "document/velllayer.h"

#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgpumanager.h"
#include "picture/vellpicturehost.h"
#include "tools/velltoolutil.h"

#include <QOpenGLContext>
#include <QTransform>

#include <GL/gl.h>

#include <cmath>

namespace {

// The warps keep their whole extent only with more free video memory than
// this (200 MiB less a byte).
constexpr qint64 kWholeExtentMemory = 209715199;
// Pictures stay below 2^31 bytes (the memory budget books sizes as int).
constexpr qint64 kPictureByteLimit = qint64(1) << 31;
// Coordinates beyond this cannot describe a texture; checked before any
// conversion to int, so that even a bounding box's width stays an int.
constexpr double kCoordinateLimit = 1e8;
// The image limit's pixel count is in units of 2^20.
constexpr qint64 kLimitPixelUnit = qint64(1) << 20;

// Top-left, top-right, bottom-right, bottom-left.
QPolygonF cornersOf(const QRectF &rect)
{
    return QPolygonF({rect.topLeft(), rect.topRight(), rect.bottomRight(), rect.bottomLeft()});
}

bool isFinite(const QPointF &p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::fabs(p.x()) < kCoordinateLimit
           && std::fabs(p.y()) < kCoordinateLimit;
}

double cross(const QPointF &a, const QPointF &b, const QPointF &c)
{
    return (b.x() - a.x()) * (c.y() - b.y()) - (b.y() - a.y()) * (c.x() - b.x());
}

// A quadrilateral that a rectangle maps onto projectively: four finite
// points turning the same way at every corner (strictly convex, so neither
// degenerate nor self-intersecting). A closing fifth point equal to the
// first is dropped.
bool convexQuad(QPolygonF quad, QPolygonF *out)
{
    if (quad.size() == 5 && quad.first() == quad.last())
        quad.removeLast();
    if (quad.size() != 4)
        return false;
    for (const QPointF &p : quad)
        if (!isFinite(p))
            return false;
    // Turns smaller than this against the quadrilateral's size are folds.
    const QRectF box = quad.boundingRect();
    const double tiny = 1e-9 * qMax(1.0, box.width() * box.height());
    int sign = 0;
    for (int i = 0; i < 4; ++i) {
        const double c = cross(quad[i], quad[(i + 1) % 4], quad[(i + 2) % 4]);
        if (std::fabs(c) <= tiny)
            return false;
        const int s = c > 0 ? 1 : -1;
        if (sign && s != sign)
            return false;
        sign = s;
    }
    *out = quad;
    return true;
}

GLint maxTextureSize()
{
    GLint size = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
    return size;
}

} // namespace

bool VellLayer::refuseGeometry(const QString &reason)
{
    geometryError = reason;
    VellLog::Instance()->Log("VellLayer '%s': %s\n", qPrintable(getLayerName()), qPrintable(reason));
    return false;
}

// What every operation needs before it looks at anything else.
bool VellLayer::geometryReady()
{
    if (!pictureHost || pictureHost->isNull() || getWidth() < 1 || getHeight() < 1)
        return refuseGeometry(QStringLiteral("the layer has no pixels"));
    if (!QOpenGLContext::currentContext())
        return refuseGeometry(QStringLiteral("no GL context is current"));
    return true;
}

bool VellLayer::checkGeometrySize(const QSize &size)
{
    if (size.width() < 1 || size.height() < 1)
        return refuseGeometry(QStringLiteral("the result would have a side below 1 pixel"));
    const QString text = QStringLiteral("%1 x %2 pixels").arg(size.width()).arg(size.height());
    const GLint largest = maxTextureSize();
    if (largest > 0 && (size.width() > largest || size.height() > largest))
        return refuseGeometry(QStringLiteral("%1 is beyond the largest texture (%2 a side)")
                                  .arg(text)
                                  .arg(largest));
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    const qint64 pixels = qint64(size.width()) * size.height();   // both below 2^31
    if (size.width() > settings->imageLimitX || size.height() > settings->imageLimitY
        || pixels > qint64(settings->imageLimitPixel) * kLimitPixelUnit)
        return refuseGeometry(QStringLiteral("%1 is beyond the image limit (%2 x %3, %4 Mpixels)")
                                  .arg(text)
                                  .arg(settings->imageLimitX)
                                  .arg(settings->imageLimitY)
                                  .arg(settings->imageLimitPixel));
    if (pixels >= kPictureByteLimit / qint64(pictureHost->getPixelWidth()))
        return refuseGeometry(QStringLiteral("%1 would take 2 GiB or more").arg(text));
    return true;
}

// The entire texture with the newest pixels. An entire texture newer than
// the host is used as it is (the host is replaced anyway); otherwise one is
// made from the host, which an inactive layer may not have kept.
VellGLTexture2D *VellLayer::geometrySource()
{
    const bool current = gpuCopyIsCurrent() && entireTexture->getWidth() == getWidth()
                         && entireTexture->getHeight() == getHeight();
    if (!current)
        hostToEntireTexture();
    if (!entireTexture || entireTexture->failed())
        return nullptr;
    return entireTexture.get();
}

VellGLTexture2D *VellLayer::newGeometryTexture(const QSize &size) const
{
    const unsigned int format = pictureHost->getPixelWidth() == 8 ? GL_RGBA16 : GL_RGBA8;
    auto *texture = new VellGLTexture2D(size.width(), size.height(), format, true);
    if (texture->failed()) {
        delete texture;
        return nullptr;
    }
    return texture;
}

// Brings the mask along, as the last step before the commit: first to the
// layer's size and place (a mask offset from its layer is cut, or widened
// with 255), then through the operation's own step.
bool VellLayer::followMask(const std::function<bool(VellLayerMask &)> &step)
{
    if (!layerMask)
        return true;
    const QPoint offset = maskPosition.toPoint();
    if (!offset.isNull() || layerMask->getWidth() != getWidth() || layerMask->getHeight() != getHeight()) {
        if (!layerMask->clip(QRect(-offset, QSize(getWidth(), getHeight()))))
            return refuseGeometry(QStringLiteral("no memory for the layer's mask"));
        maskPosition = QPointF();   // shows as before: the operation may still be refused
    }
    if (!step(*layerMask))
        return refuseGeometry(QStringLiteral("no memory for the layer's mask"));
    return true;
}

// The commit of every operation: from here on nothing can be refused.
void VellLayer::adoptGeometryResult(std::unique_ptr<VellGLTexture2D> texture,
                                    VellPictureHost *host, bool repairEdges)
{
    destroyFboTextureList();
    deleteThumbTextures();
    setVellPictureHost(host);   // deletes the old host; drops the reduced levels
    thumbRegion = layerRect();
    entireTexture = std::move(texture);
    pictureHost->readEntireTexture(entireTexture.get());
    latestPlace = BothAgree;
    if (repairEdges) {
        fixTransparentBlackEdge();   // on the host: latest place 0
        hostToEntireTexture();
    }
    if (activeFlag)
        initFboTextureList();
    updateMipmaps();
    if (activeFlag)
        updateFullThumb();
    updateThumb();
    recomputeCenter();
}

bool VellLayer::turnLayer(const QPolygonF &sourceCorners, bool swapSides,
                         const std::function<bool(VellLayerMask &)> &maskStep)
{
    if (!geometryReady())
        return false;
    const QSize size = swapSides ? QSize(getHeight(), getWidth()) : QSize(getWidth(), getHeight());
    if (!checkGeometrySize(size))
        return false;
    VellGLTexture2D *source = geometrySource();
    if (!source)
        return refuseGeometry(QStringLiteral("no texture could be made for the layer"));
    std::unique_ptr<VellPictureHost> host(
        new VellPictureHost(size.width(), size.height(), pictureHost->getPixelWidth()));
    std::unique_ptr<VellGLTexture2D> target(newGeometryTexture(size));
    if (host->isNull() || !target)
        return refuseGeometry(QStringLiteral("no memory for %1 x %2 pixels")
                                  .arg(size.width())
                                  .arg(size.height()));
    VellToolUtil::copyTextureTurned(target.get(), source, sourceCorners);
    if (!followMask(maskStep))
        return false;
    adoptGeometryResult(std::move(target), host.release(), false);
    return true;
}

void VellLayer::rotate(int degrees)
{
    geometryError.clear();
    // Normalised source corners at the new top-left, top-right, bottom-right
    // and bottom-left.
    QPolygonF corners;
    if (degrees == -90)
        corners = QPolygonF({QPointF(0, 1), QPointF(0, 0), QPointF(1, 0), QPointF(1, 1)});
    else if (degrees == 90)
        corners = QPolygonF({QPointF(1, 0), QPointF(1, 1), QPointF(0, 1), QPointF(0, 0)});
    else if (degrees == 180)
        corners = QPolygonF({QPointF(1, 1), QPointF(0, 1), QPointF(0, 0), QPointF(1, 0)});
    else {
        refuseGeometry(QStringLiteral("cannot rotate by %1 degrees (only -90, 90 and 180)")
                           .arg(degrees));
        return;
    }
    const double w = getWidth(), h = getHeight();
    const QPointF old = getPosition();
    if (!turnLayer(corners, degrees != 180, [degrees](VellLayerMask &mask) { return mask.rotate(degrees); }))
        return;
    const std::optional<View> view = currentView();
    if (!view || !view->documentSize.isValid())
        return;
    // W x H is the document before the turn; w' x h' is the new size.
    const double W = view->documentSize.width(), H = view->documentSize.height();
    if (degrees == -90)
        setPosition(QPointF(H - old.y() - h, old.x()));
    else if (degrees == 90)
        setPosition(QPointF(old.y(), W - old.x() - w));
    else
        setPosition(QPointF(W - w - old.x(), H - h - old.y()));
}

void VellLayer::flip(bool leftRight)
{
    geometryError.clear();
    const QPolygonF corners =
        leftRight ? QPolygonF({QPointF(1, 0), QPointF(0, 0), QPointF(0, 1), QPointF(1, 1)})
                  : QPolygonF({QPointF(0, 1), QPointF(1, 1), QPointF(1, 0), QPointF(0, 0)});
    const QPointF old = getPosition();
    if (!turnLayer(corners, false, [leftRight](VellLayerMask &mask) { return mask.flip(leftRight); }))
        return;
    const std::optional<View> view = currentView();
    if (!view || !view->documentSize.isValid())
        return;
    if (leftRight)
        setPosition(QPointF(view->documentSize.width() - old.x() - getWidth(), old.y()));
    else
        setPosition(QPointF(old.x(), view->documentSize.height() - old.y() - getHeight()));
}

QVector<QSize> VellLayer::resizeSteps(const QSize &from, const QSize &to)
{
    QVector<QSize> steps;
    if (from.isEmpty() || to.isEmpty())
        return steps;
    // (n + 1) / 2 is ceil(n / 2) without overflow for positive n.
    int w = qMax(from.width() / 2 + from.width() % 2, to.width());
    int h = qMax(from.height() / 2 + from.height() % 2, to.height());
    for (;;) {
        steps.append(QSize(w, h));
        if (w == to.width() && h == to.height())
            return steps;
        w = qMax(w / 2 + w % 2, to.width());
        h = qMax(h / 2 + h % 2, to.height());
    }
}

void VellLayer::resize(double sx, double sy)
{
    geometryError.clear();
    if (!geometryReady())
        return;
    if (!(std::isfinite(sx) && sx > 0.0 && std::isfinite(sy) && sy > 0.0)) {
        refuseGeometry(QStringLiteral("resize factors %1, %2 are not finite numbers above 0")
                           .arg(sx)
                           .arg(sy));
        return;
    }
    const double tw = std::trunc(getWidth() * sx);
    const double th = std::trunc(getHeight() * sy);
    if (tw > kCoordinateLimit || th > kCoordinateLimit) {
        refuseGeometry(QStringLiteral("resize factors %1, %2 are beyond every limit").arg(sx).arg(sy));
        return;
    }
    const QSize target{int(tw), int(th)};
    if (!checkGeometrySize(target))
        return;
    VellGLTexture2D *source = geometrySource();
    if (!source) {
        refuseGeometry(QStringLiteral("no texture could be made for the layer"));
        return;
    }
    // The new host is taken before anything is replaced, so that running
    // out of memory leaves the layer whole; the source stays the entire
    // texture until the last step is done.
    std::unique_ptr<VellPictureHost> host(
        new VellPictureHost(target.width(), target.height(), pictureHost->getPixelWidth()));
    if (host->isNull()) {
        refuseGeometry(QStringLiteral("no memory for %1 x %2 pixels").arg(target.width()).arg(target.height()));
        return;
    }
    std::unique_ptr<VellGLTexture2D> result;
    VellGLTexture2D *from = source;
    const QVector<QSize> steps = resizeSteps(QSize(getWidth(), getHeight()), target);
    for (const QSize &step : steps) {
        std::unique_ptr<VellGLTexture2D> next(newGeometryTexture(step));
        if (!next) {
            refuseGeometry(QStringLiteral("no video memory for %1 x %2 pixels")
                               .arg(step.width())
                               .arg(step.height()));
            return;
        }
        VellToolUtil::resizeTextureToTexture(next.get(), from, QRectF(QPointF(0, 0), step),
                                             QRectF(0, 0, from->getWidth(), from->getHeight()),
                                             interpolation);
        result = std::move(next);
        from = result.get();
    }
    const int filter = interpolation;
    if (!followMask([&steps, filter](VellLayerMask &mask) { return mask.resize(steps, filter); }))
        return;
    adoptGeometryResult(std::move(result), host.release(), false);
}

void VellLayer::clip(const QRect &rect)
{
    geometryError.clear();
    if (!geometryReady())
        return;
    const QRect cut = rect & QRect(0, 0, getWidth(), getHeight());
    if (cut.isEmpty()) {
        refuseGeometry(QStringLiteral("the crop %1,%2 %3 x %4 misses the %5 x %6 layer")
                           .arg(rect.x())
                           .arg(rect.y())
                           .arg(rect.width())
                           .arg(rect.height())
                           .arg(getWidth())
                           .arg(getHeight()));
        return;
    }
    if (!checkGeometrySize(cut.size()))
        return;
    VellGLTexture2D *source = geometrySource();
    if (!source) {
        refuseGeometry(QStringLiteral("no texture could be made for the layer"));
        return;
    }
    std::unique_ptr<VellPictureHost> host(
        new VellPictureHost(cut.width(), cut.height(), pictureHost->getPixelWidth()));
    std::unique_ptr<VellGLTexture2D> target(newGeometryTexture(cut.size()));
    if (host->isNull() || !target) {
        refuseGeometry(QStringLiteral("no memory for %1 x %2 pixels").arg(cut.width()).arg(cut.height()));
        return;
    }
    // Same size at whole texels: a texel-for-texel copy.
    VellToolUtil::copyTextureToTexture(target.get(), source, QRectF(QPointF(0, 0), cut.size()),
                                       QRectF(cut));
    if (!followMask([cut](VellLayerMask &mask) { return mask.clip(cut); }))
        return;
    adoptGeometryResult(std::move(target), host.release(), false);
}

bool VellLayer::keepsWholeExtent(const QSize &size)
{
    const qint64 available = qint64(VellGpuManager::getInstance()->getAvailableMemory()) * 1024;
    const qint64 largest = maxTextureSize();
    return available > kWholeExtentMemory
           && 2 * qint64(size.width()) * size.height() * 4 <= available
           && size.width() <= largest && size.height() <= largest;
}

// The extent of an outline in document pixels: its bounding box in whole
// pixels, cut to the document when the whole would not fit (and the
// document's size is known).
bool VellLayer::placeWarp(const QPolygonF &outline, QRect *extent)
{
    QRect box = outline.boundingRect().toAlignedRect();
    if (!keepsWholeExtent(box.size())) {
        const std::optional<View> view = currentView();
        if (view && view->documentSize.isValid()) {
            box &= QRect(QPoint(0, 0), view->documentSize);
            if (box.isEmpty())
                return refuseGeometry(QStringLiteral("the transformed layer misses the document"));
        }
    }
    if (!checkGeometrySize(box.size()))
        return false;
    *extent = box;
    return true;
}

bool VellLayer::warpLayer(const QPolygonF &quad, const QList<QPointF> *srcPoints,
                          const QList<QPointF> *dstPoints)
{
    if (!geometryReady())
        return false;
    QRect extent;
    if (!placeWarp(quad, &extent))
        return false;
    VellGLTexture2D *source = geometrySource();
    if (!source)
        return refuseGeometry(QStringLiteral("no texture could be made for the layer"));
    std::unique_ptr<VellPictureHost> host(
        new VellPictureHost(extent.width(), extent.height(), pictureHost->getPixelWidth()));
    std::unique_ptr<VellGLTexture2D> target(newGeometryTexture(extent.size()));
    if (host->isNull() || !target)
        return refuseGeometry(QStringLiteral("no memory for %1 x %2 pixels")
                                  .arg(extent.width())
                                  .arg(extent.height()));
    // Destination points relative to the extent; what falls outside a cut
    // extent is clipped by the rasteriser.
    const QPointF origin = extent.topLeft();
    const QPolygonF outline = quad.translated(-origin);
    QList<QPointF> shifted;
    if (srcPoints) {
        shifted.reserve(dstPoints->size());
        for (const QPointF &p : *dstPoints)
            shifted.append(p - origin);
        VellToolUtil::tesselateTextureToTexture(target.get(), source, outline, QPolygonF(), shifted,
                                                *srcPoints, VellToolUtil::Bicubic);
    } else {
        VellToolUtil::copyTextureToTexture(target.get(), source, outline,
                                           cornersOf(QRectF(0, 0, getWidth(), getHeight())),
                                           VellToolUtil::Bicubic);
    }
    const QSize size = extent.size();
    if (!followMask([&](VellLayerMask &mask) {
            return srcPoints ? mask.tesselateAffine(size, outline, *srcPoints, shifted)
                             : mask.applyAffine(size, outline);
        }))
        return false;
    adoptGeometryResult(std::move(target), host.release(), true);
    setPosition(origin);
    return true;
}

void VellLayer::applyRotation()
{
    geometryError.clear();
    const double angle = getRotationAngle();
    if (!std::isfinite(angle)) {
        refuseGeometry(QStringLiteral("the rotation angle is not a finite number"));
        return;
    }
    // The pivot is the center in document pixels.
    const QPointF pivot = getPosition() + getCenter();
    QTransform turn;
    turn.translate(pivot.x(), pivot.y());
    turn.rotate(angle);
    turn.translate(-pivot.x(), -pivot.y());
    // The turned rectangle itself is drawn, not the extent mapped back: the
    // resampling repeats the source's edge outward, and the corners of the
    // extent must stay transparent.
    const QPolygonF quad = turn.map(cornersOf(QRectF(getPosition(), QSizeF(getWidth(), getHeight()))));
    if (warpLayer(quad, nullptr, nullptr))
        setRotationAngle(0.0f);
}

void VellLayer::applyAffine(const QPolygonF &quadrilateral)
{
    geometryError.clear();
    QPolygonF quad;
    if (!convexQuad(quadrilateral, &quad)) {
        refuseGeometry(QStringLiteral("the quadrilateral is not four finite points forming a "
                                      "convex shape"));
        return;
    }
    warpLayer(quad, nullptr, nullptr);
}

void VellLayer::tesselateAffine(const QPolygonF &quadrilateral, const QList<QPointF> &srcPoints,
                                const QList<QPointF> &dstPoints)
{
    geometryError.clear();
    if (srcPoints.size() != dstPoints.size() || srcPoints.size() < 3) {
        refuseGeometry(QStringLiteral("the mesh has %1 source and %2 destination points")
                           .arg(srcPoints.size())
                           .arg(dstPoints.size()));
        return;
    }
    for (int i = 0; i < srcPoints.size(); ++i)
        if (!isFinite(srcPoints[i]) || !isFinite(dstPoints[i])) {
            refuseGeometry(QStringLiteral("mesh point %1 is not finite").arg(i));
            return;
        }
    // The outline only gives the extent; a bent mesh's need not be convex.
    bool finiteOutline = quadrilateral.size() >= 3;
    for (const QPointF &p : quadrilateral)
        finiteOutline = finiteOutline && isFinite(p);
    const QRectF box = quadrilateral.boundingRect();
    if (!finiteOutline || !(box.width() > 0.0 && box.height() > 0.0)) {
        refuseGeometry(QStringLiteral("the mesh outline is degenerate or not finite"));
        return;
    }
    warpLayer(quadrilateral, &srcPoints, &dstPoints);
}
