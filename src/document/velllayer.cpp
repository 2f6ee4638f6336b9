#include "document/velllayer.h"

#include "document/velllayermask.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "gpu/vellgpumanager.h"
#include "picture/vellpicturehost.h"
#include "tools/velltoolutil.h"

#include <QClipboard>
#include <QDataStream>
#include <QGuiApplication>
#include <QImage>
#include <QOpenGLContext>

#include <GL/gl.h>

#include <cmath>
#include <cstring>
#include <memory>

namespace {

// Framebuffer tiles: one texture below this many pixels and below this side.
constexpr qint64 kSingleTilePixels = 16793604;   // 4098 x 4098
constexpr int kSingleTileSide = 6000;
// Edge repair searches less far on large layers, where it is slow.
constexpr qint64 kLargeLayerPixels = 1048576;    // 1024 x 1024
// Video memory the drop decision keeps free for everything else.
constexpr qint64 kGpuReserveBytes = 134217728;   // 128 MiB

VellLayer::ViewProbe &viewProbe()
{
    static VellLayer::ViewProbe probe;
    return probe;
}

// Allocated size for a valid size: the ceiling, at least one texel. The
// tolerance keeps a quotient like 4000 / (2 / 3.0) from rounding up a texel.
int texelsFor(double valid)
{
    return qMax(1, int(std::ceil(valid - 1e-6)));
}

// Rows of 16-bit pixels are little-endian words, so each channel's high byte
// is its odd byte.
inline bool transparent(const unsigned char *p, int pixelWidth)
{
    return pixelWidth == 8 ? (p[6] | p[7]) == 0 : p[3] == 0;
}

} // namespace

void VellLayer::setViewProbe(ViewProbe probe)
{
    viewProbe() = std::move(probe);
}

std::optional<VellLayer::View> VellLayer::currentView()
{
    const ViewProbe &probe = viewProbe();
    return probe ? probe() : std::nullopt;
}

VellLayer::VellLayer(const QString &name) : VellLayerBase(name, nullptr)
{
    setType(VellLayerType::Raster);
}

VellLayer::~VellLayer()
{
    destroyFboTextureList();
    deleteThumbTextures();
    deleteReducedTextures();
    entireTexture.reset();
    pictureHost.reset();
    delete layerMask;   // a QObject child: deleting it now detaches it
    layerMask = nullptr;
}

int VellLayer::getWidth() const
{
    return pictureHost ? int(pictureHost->getWidth()) : 0;
}

int VellLayer::getHeight() const
{
    return pictureHost ? int(pictureHost->getHeight()) : 0;
}

QRectF VellLayer::layerRect() const
{
    return QRectF(0.0, 0.0, getWidth(), getHeight());
}

QSizeF VellLayer::getThumbValidSize() const
{
    return thumbTexture ? QSizeF(thumbTexture->getWidthF(), thumbTexture->getHeightF())
                        : QSizeF(0.0, 0.0);
}

void VellLayer::setVellPictureHost(VellPictureHost *host)
{
    const bool first = !hostSeen && host;
    if (host != pictureHost.get())
        pictureHost.reset(host);
    if (first) {
        hostSeen = true;
        thumbRegion = layerRect();
        const std::optional<View> view = currentView();
        thumbScale = view ? qMax(1.0, view->scale) : 1.0;
    } else {
        // A host of another size must not leave the region reaching past it.
        thumbRegion &= layerRect();
    }
    latestPlace = HostOnly;
    // The reduced levels were made from the old pixels.
    deleteReducedTextures();
    recomputeCenter();
    calcHistogramSize();
}

std::unique_ptr<VellPictureHost> VellLayer::takePictureHost()
{
    return std::move(pictureHost);
}

void VellLayer::recomputeCenter()
{
    setCenter(QPointF(getWidth() * 0.5, getHeight() * 0.5));
}

void VellLayer::setMipmapSwitches(bool half, bool quarter, bool ocative)
{
    halfOn = half;
    quarterOn = quarter;
    ocativeOn = ocative;
}

QVector<QRect> VellLayer::quadrantRects(int width, int height)
{
    const int w2 = width / 2;
    const int h2 = height / 2;
    return { QRect(0, 0, w2, h2), QRect(w2, 0, width - w2, h2),
             QRect(w2, h2, width - w2, height - h2), QRect(0, h2, w2, height - h2) };
}

QVector<QRect> VellLayer::fboTileRects(int width, int height)
{
    if (width <= 0 || height <= 0)
        return {};
    if (qint64(width) * height < kSingleTilePixels && width < kSingleTileSide
        && height < kSingleTileSide)
        return { QRect(0, 0, width, height) };
    return quadrantRects(width, height);
}

void VellLayer::initFboTextureList()
{
    destroyFboTextureList();
    for (const QRect &rect : fboTileRects(getWidth(), getHeight()))
        fboTextureList.append(
            FboTexture(new VellGLTexture2D(rect.width(), rect.height(), GL_RGBA8, true), rect));
}

void VellLayer::destroyFboTextureList()
{
    for (const FboTexture &tile : qAsConst(fboTextureList))
        delete tile.first;
    fboTextureList.clear();
}

void VellLayer::deleteReducedTextures()
{
    halfTexture.reset();
    quarterTexture.reset();
    ocativeTexture.reset();
}

void VellLayer::deleteThumbTextures()
{
    thumbTexture.reset();
    histogramThumb.reset();
}

void VellLayer::readBackIfNewer()
{
    if (latestPlace == GpuNewer && entireTexture && pictureHost) {
        pictureHost->readEntireTexture(entireTexture.get());
        latestPlace = BothAgree;
    }
}

void VellLayer::deleteTextures()
{
    readBackIfNewer();
    deleteReducedTextures();
    entireTexture.reset();
    latestPlace = HostOnly;
}

void VellLayer::deleteFullTexture()
{
    if (activeFlag)
        return;
    readBackIfNewer();
    latestPlace = HostOnly;
    entireTexture.reset();
}

void VellLayer::active()
{
    if (activeFlag || !pictureHost)
        return;
    activeFlag = true;
    // Without a GL context (a host compositing on the CPU) the host stays the
    // only copy; refresh() makes the textures once a context is current.
    if (!QOpenGLContext::currentContext())
        return;
    if (latestPlace != HostOnly && entireTexture) {
        initFboTextureList();
        // The texture is current; only reduced levels dropped meanwhile are missing.
        if ((halfOn && !halfTexture) || (quarterOn && !quarterTexture)
            || (ocativeOn && !ocativeTexture))
            updateMipmaps();
        return;
    }
    refresh();   // builds the framebuffer list too
    latestPlace = BothAgree;
}

void VellLayer::disactive(bool dropFullTexture)
{
    if (!activeFlag)
        return;
    readBackIfNewer();
    if (dropFullTexture) {
        entireTexture.reset();
        latestPlace = HostOnly;
    }
    destroyFboTextureList();
    activeFlag = false;
}

void VellLayer::refresh()
{
    readBackIfNewer();
    deleteThumbTextures();
    deleteReducedTextures();
    // An inactive layer's entire texture is kept only while it is current.
    if (activeFlag || latestPlace == HostOnly)
        entireTexture.reset();
    if (activeFlag && pictureHost) {
        entireTexture.reset(pictureHost->getEntireTexture());
        latestPlace = BothAgree;
        initFboTextureList();
        updateMipmaps();
        updateFullThumb();
    }
    updateThumb();
    if (entireTexture && latestPlace == HostOnly)
        latestPlace = BothAgree;
}

bool VellLayer::shouldDropFullTexture(const VellLayerBase *incoming)
{
    if (incoming && incoming->getType() == VellLayerType::Text)
        return false;
    const VellLayer *raster = qobject_cast<const VellLayer *>(incoming);
    if (!raster)
        return true;
    const qint64 needed = qint64(raster->getWidth()) * raster->getHeight() * 4;
    const qint64 available = qint64(VellGpuManager::getInstance()->getAvailableMemory()) * 1024;
    return needed >= available / 3 || needed >= available - kGpuReserveBytes;
}

void VellLayer::hostToEntireTexture()
{
    if (!pictureHost || pictureHost->isNull())
        return;
    if (entireTexture && entireTexture->is16Bit() != (pictureHost->getPixelWidth() == 8))
        entireTexture.reset();
    if (entireTexture)
        pictureHost->writeEntireTexture(entireTexture.get());
    else
        entireTexture.reset(pictureHost->getEntireTexture());
    latestPlace = BothAgree;
}

void VellLayer::fboTextureToHost(bool markAgreed)
{
    if (!pictureHost || !entireTexture)
        return;
    pictureHost->readEntireTexture(entireTexture.get());
    if (markAgreed)
        latestPlace = BothAgree;
}

void VellLayer::fboToEntireTexture()
{
    if (!entireTexture)
        return;
    for (const FboTexture &tile : qAsConst(fboTextureList))
        VellToolUtil::copyTextureToTexture(entireTexture.get(), tile.first, QRectF(tile.second),
                                           QRectF(0, 0, tile.second.width(),
                                                  tile.second.height()));
    latestPlace = GpuNewer;
    updateMipmaps();
}

bool VellLayer::gpuCopyIsCurrent() const
{
    return entireTexture && !entireTexture->failed() && latestPlace != HostOnly;
}

void VellLayer::updateReducedLevel(std::unique_ptr<VellGLTexture2D> &level, int factor, bool on)
{
    if (!on) {
        level.reset();
        return;
    }
    if (!gpuCopyIsCurrent())
        return;
    // The next larger level present is the source, so each step is 2:1 and
    // linear filtering averages 2 x 2 texels.
    VellGLTexture2D *source = entireTexture.get();
    int sourceFactor = 1;
    if (factor == 8 && quarterTexture) {
        source = quarterTexture.get();
        sourceFactor = 4;
    } else if (factor >= 4 && halfTexture) {
        source = halfTexture.get();
        sourceFactor = 2;
    }
    const int w = (getWidth() + factor - 1) / factor;
    const int h = (getHeight() + factor - 1) / factor;
    if (level && (level->getWidth() != w || level->getHeight() != h))
        level.reset();
    if (!level)
        level = std::make_unique<VellGLTexture2D>(w, h, GL_RGBA8, true);
    // For an odd source side the last texel pairs with itself (clamp to edge).
    const int ratio = factor / sourceFactor;
    VellToolUtil::copyTextureToTexture(level.get(), source, QRectF(0, 0, w, h),
                                       QRectF(0, 0, w * ratio, h * ratio));
}

void VellLayer::updateHalfImage()
{
    updateReducedLevel(halfTexture, 2, halfOn);
}

void VellLayer::updateQuarterImage()
{
    updateReducedLevel(quarterTexture, 4, quarterOn);
}

void VellLayer::updateOcativeImage()
{
    updateReducedLevel(ocativeTexture, 8, ocativeOn);
}

void VellLayer::updateMipmaps()
{
    updateHalfImage();
    updateQuarterImage();
    updateOcativeImage();
}

void VellLayer::setLatestPlace(int place)
{
    if (place >= HostOnly && place <= BothAgree)
        latestPlace = place;
}

VellGLTexture2D *VellLayer::sourceForScale(double scale, int *factor) const
{
    if (ocativeTexture && scale >= 8.0) {
        *factor = 8;
        return ocativeTexture.get();
    }
    if (quarterTexture && scale >= 4.0) {
        *factor = 4;
        return quarterTexture.get();
    }
    if (halfTexture && scale >= 2.0) {
        *factor = 2;
        return halfTexture.get();
    }
    *factor = 1;
    return gpuCopyIsCurrent() ? entireTexture.get() : nullptr;
}

VellGLTexture2D *VellLayer::makeThumb(const QRectF &region, double scale) const
{
    const double validW = region.width() / scale;
    const double validH = region.height() / scale;
    auto *thumb = new VellGLTexture2D(texelsFor(validW), texelsFor(validH), GL_RGBA8, true);
    if (!thumb->failed())
        thumb->setValidSize(validW, validH);
    return thumb;
}

void VellLayer::fillThumb(VellGLTexture2D *thumb, const QRectF &region, double scale,
                          const QRectF &part) const
{
    if (!thumb || part.isEmpty())
        return;
    int factor = 1;
    if (VellGLTexture2D *source = sourceForScale(scale, &factor)) {
        VellToolUtil::copyTextureToTexture(
            thumb, source,
            QRectF((part.x() - region.x()) / scale, (part.y() - region.y()) / scale,
                   part.width() / scale, part.height() / scale),
            QRectF(part.x() / factor, part.y() / factor, part.width() / factor,
                   part.height() / factor));
        return;
    }
    const QRect area = part.toAlignedRect() & layerRect().toAlignedRect();
    if (!area.isEmpty())
        pictureHost->writeThumbTexture(thumb, area, scale, scale, region.topLeft());
}

void VellLayer::updateThumb()
{
    if (!pictureHost || !currentView())
        return;
    thumbRegion &= layerRect();
    if (thumbRegion.isEmpty() || !(thumbScale > 0.0)) {
        thumbTexture.reset();   // nothing of the layer is shown
        recomputeCenter();
        return;
    }
    const int w = texelsFor(thumbRegion.width() / thumbScale);
    const int h = texelsFor(thumbRegion.height() / thumbScale);
    if (thumbTexture && (thumbTexture->getWidth() != w || thumbTexture->getHeight() != h))
        thumbTexture.reset();
    if (!thumbTexture)
        thumbTexture.reset(makeThumb(thumbRegion, thumbScale));
    fillThumb(thumbTexture.get(), thumbRegion, thumbScale, thumbRegion);
    recomputeCenter();
}

void VellLayer::updateThumb(const QRectF &previousRegion, const QRectF &newRegion, float oldScale,
                            float newScale)
{
    if (!pictureHost)
        return;
    const QRectF oldRegion = previousRegion;   // callers pass thumbRegion itself
    const double scale = newScale > 0.0f ? double(newScale) : 1.0;
    const QRectF region = newRegion & layerRect();
    if (!thumbTexture) {
        thumbRegion = region;
        thumbScale = scale;
        updateThumb();
        return;
    }
    if (scale == double(oldScale) && region == oldRegion)
        return;
    thumbRegion = region;
    thumbScale = scale;
    if (region.isEmpty()) {
        thumbTexture.reset();
        recomputeCenter();
        return;
    }
    std::unique_ptr<VellGLTexture2D> old = std::move(thumbTexture);
    thumbTexture.reset(makeThumb(region, scale));
    int factor = 1;
    if (sourceForScale(scale, &factor)) {
        fillThumb(thumbTexture.get(), region, scale, region);
    } else if (scale >= oldScale || oldScale <= 1.0f) {
        // From the host alone: show the old thumb at once and draw only what
        // it lacks. Zooming in from below full detail the old one has it all.
        VellToolUtil::copyTextureToTexture(
            thumbTexture.get(), old.get(),
            QRectF((oldRegion.x() - region.x()) / scale, (oldRegion.y() - region.y()) / scale,
                   oldRegion.width() / scale, oldRegion.height() / scale),
            QRectF(0, 0, old->getWidthF(), old->getHeightF()));
        for (const QRectF &strip : getCompRegions(oldRegion, region))
            fillThumb(thumbTexture.get(), region, scale, strip);
    } else {
        fillThumb(thumbTexture.get(), region, scale, region);
    }
    recomputeCenter();
}

void VellLayer::updateThumbRegion(const QRect &rect)
{
    if (!pictureHost || !thumbTexture)
        return;
    fillThumb(thumbTexture.get(), thumbRegion, thumbScale, QRectF(rect) & thumbRegion);
}

void VellLayer::updateFullThumb()
{
    if (!pictureHost || pictureHost->isNull() || histogramWidth <= 0 || histogramHeight <= 0)
        return;
    if (histogramThumb
        && (histogramThumb->getWidth() != histogramWidth
            || histogramThumb->getHeight() != histogramHeight))
        histogramThumb.reset();
    if (!histogramThumb)
        histogramThumb.reset(new VellGLTexture2D(histogramWidth, histogramHeight, GL_RGBA8, true));
    const double sx = double(getWidth()) / histogramWidth;
    const double sy = double(getHeight()) / histogramHeight;
    int factor = 1;
    if (VellGLTexture2D *source = sourceForScale(qMin(sx, sy), &factor))
        VellToolUtil::copyTextureToTexture(histogramThumb.get(), source,
                                           QRectF(0, 0, histogramWidth, histogramHeight),
                                           QRectF(QPointF(0, 0), layerRect().size() / factor));
    else
        pictureHost->writeThumbTexture(histogramThumb.get(), layerRect().toRect(), sx, sy,
                                       QPointF(0, 0));
}

void VellLayer::updateVisibleRect(const QRectF &visible)
{
    if (!pictureHost)
        return;
    const std::optional<View> view = currentView();
    const double scale = view ? view->fboScale : 1.0;
    const QRectF onDocument(getPosition(), QSizeF(getWidth(), getHeight()));
    const QRectF region = (visible & onDocument).translated(-getPosition());
    updateThumb(thumbRegion, region, float(thumbScale), float(scale));
}

QPolygonF VellLayer::getThumbQuadOnFbo(const QPointF &fboCorner, float fboScale) const
{
    if (!thumbTexture || !(fboScale > 0.0f))
        return QPolygonF();
    const double s = fboScale;
    const double t = thumbScale;
    const QPointF position = getPosition();
    return QPolygonF(QRectF((thumbRegion.x() + position.x() - fboCorner.x()) / s,
                            (thumbRegion.y() + position.y() - fboCorner.y()) / s,
                            thumbTexture->getWidthF() * t * t / s / s,
                            thumbTexture->getHeightF() * t * t / s / s));
}

QRectF VellLayer::getBoundedTexCoord(const QRectF &rect) const
{
    const double w = getWidth();
    const double h = getHeight();
    if (w <= 0.0 || h <= 0.0)
        return QRectF();
    return QRectF(float(rect.x() / w), float(rect.y() / h), float(rect.width() / w),
                  float(rect.height() / h));
}

QRectF VellLayer::getThumbTexCoord() const
{
    return getBoundedTexCoord(thumbRegion);
}

QRectF VellLayer::getLayerMaskTexCoord() const
{
    if (!layerMask || !currentView())
        return QRectF();
    // Mask pixel (u, v) lies over layer pixel (u, v) + mask position.
    return layerMask->getTexCoord(thumbRegion.translated(-maskPosition));
}

QRectF VellLayer::getThumbRegionCoord(const QRectF &rect) const
{
    if (!thumbTexture || thumbTexture->getWidth() <= 0 || thumbTexture->getHeight() <= 0)
        return QRectF();
    const double w = thumbTexture->getWidth() * thumbScale;
    const double h = thumbTexture->getHeight() * thumbScale;
    return QRectF((rect.x() - thumbRegion.x()) / w, (rect.y() - thumbRegion.y()) / h,
                  rect.width() / w, rect.height() / h);
}

QRectF VellLayer::getWorkingRect(const QRectF *clip, const QRectF *other) const
{
    QRectF rect = layerRect();
    if (clip)
        rect &= *clip;
    if (other)
        rect &= *other;
    return rect;
}

QVector<QRectF> VellLayer::getCompRegions(const QRectF &oldRegion, const QRectF &newRegion)
{
    QVector<QRectF> strips;
    if (newRegion.isEmpty())
        return strips;
    const QRectF kept = oldRegion & newRegion;
    if (kept.isEmpty())
        return { newRegion };
    if (kept.top() > newRegion.top())
        strips.append(QRectF(QPointF(newRegion.left(), newRegion.top()),
                             QPointF(newRegion.right(), kept.top())));
    if (kept.bottom() < newRegion.bottom())
        strips.append(QRectF(QPointF(newRegion.left(), kept.bottom()),
                             QPointF(newRegion.right(), newRegion.bottom())));
    if (kept.left() > newRegion.left())
        strips.append(QRectF(QPointF(newRegion.left(), kept.top()),
                             QPointF(kept.left(), kept.bottom())));
    if (kept.right() < newRegion.right())
        strips.append(QRectF(QPointF(kept.right(), kept.top()),
                             QPointF(newRegion.right(), kept.bottom())));
    return strips;
}

void VellLayer::createLayerMask()
{
    if (layerMask || !pictureHost)
        return;
    layerMask = new VellLayerMask(getWidth(), getHeight(), this);
}

VellGLTextureLuminance *VellLayer::getLayerMaskTexture() const
{
    return layerMask ? layerMask->getEntireTexture() : nullptr;
}

void VellLayer::setLayerMask(VellLayerMask *mask)
{
    if (mask == layerMask)
        return;
    delete layerMask;
    layerMask = mask;
    if (layerMask) {
        layerMask->setParent(this);
    } else {
        editingMask = false;
        maskVisible = false;
    }
}

void VellLayer::removeLayerMask()
{
    if (layerMask)
        layerMask->setParent(nullptr);   // the caller owns it now
    layerMask = nullptr;
    editingMask = false;
    maskVisible = false;
}

bool VellLayer::needShaderBlending() const
{
    return shaderBlendingRule(getBlendMode(), hasLayerMask(), getIndexInCurrentDocument());
}

void VellLayer::calcHistogramSize()
{
    const std::optional<View> view = currentView();
    const double t = view ? view->histogramThumbScale : 0.0;
    histogramWidth = t > 0.0 ? int(getWidth() * t) : 0;
    histogramHeight = t > 0.0 ? int(getHeight() * t) : 0;
}

void VellLayer::renderToImage(QImage *image, VellContext *)
{
    if (!image || image->isNull() || image->depth() != 32 || !pictureHost
        || pictureHost->isNull())
        return;
    readBackIfNewer();
    const QPoint position = getPosition().toPoint();   // whole numbers already
    const int w = getWidth();
    const QRect target = QRect(position, QSize(w, getHeight())) & image->rect();
    if (target.isEmpty())
        return;

    unsigned char *bits = image->bits();   // before the loop: may detach
    const size_t stride = size_t(image->bytesPerLine());
    const int pixelWidth = int(pictureHost->getPixelWidth());
    const unsigned char *source = pictureHost->getData();
    const size_t sourceStride = size_t(w) * size_t(pixelWidth);
    const int top = target.top();
    const int rows = target.height();
    const int columns = target.width();
    const size_t sourceLeft = size_t(target.left() - position.x()) * size_t(pixelWidth);
    const size_t sourceTop = size_t(top - position.y());

    if (getIndexInCurrentDocument() == 0 && pixelWidth == 4 && getAlpha() == 1.0f) {
        // The bottom layer, opaque: its pixels are the composite so far.
        if (position == QPoint(0, 0) && columns == w && stride == sourceStride) {
            std::memcpy(bits, source, sourceStride * size_t(rows));
            return;
        }
#pragma omp parallel for schedule(static)
        for (int y = 0; y < rows; ++y)
            std::memcpy(bits + size_t(top + y) * stride + size_t(target.left()) * 4,
                        source + (sourceTop + size_t(y)) * sourceStride + sourceLeft,
                        size_t(columns) * 4);
        return;
    }

    const float opacity = getAlpha();
    // 16-bit channels are blended by their high (odd) bytes.
    const int step = pixelWidth == 8 ? 2 : 1;
    const int high = pixelWidth == 8 ? 1 : 0;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < rows; ++y) {
        const unsigned char *s = source + (sourceTop + size_t(y)) * sourceStride + sourceLeft;
        unsigned char *d = bits + size_t(top + y) * stride + size_t(target.left()) * 4;
        for (int x = 0; x < columns; ++x, s += pixelWidth, d += 4) {
            const float a = s[3 * step + high] * opacity / 255.0f;
            const float keep = 1.0f - a;
            for (int c = 0; c < 3; ++c)
                d[c] = static_cast<unsigned char>(s[c * step + high] * a + d[c] * keep);
            d[3] = static_cast<unsigned char>(255.0f * a + d[3] * keep);
        }
    }
}

void VellLayer::fixTransparentBlackEdge()
{
    if (!pictureHost || pictureHost->isNull())
        return;
    readBackIfNewer();
    const std::unique_ptr<VellPictureHost> copy(new VellPictureHost(pictureHost.get()));
    if (copy->isNull() && pictureHost->getByteCount() > 0) {
        VellLog::Instance()->Log("fixTransparentBlackEdge: no memory for a copy\n");
        return;
    }
    const int w = getWidth();
    const int h = getHeight();
    const int radius = qint64(w) * h < kLargeLayerPixels ? 5 : 3;
    const int pixelWidth = int(pictureHost->getPixelWidth());
    const size_t colourBytes = size_t(pixelWidth) * 3 / 4;   // B, G, R before A
    const unsigned char *from = copy->getData();
    unsigned char *to = pictureHost->getData();
    const size_t stride = size_t(w) * size_t(pixelWidth);

    // Rows do not depend on each other (reads come from the copy), but
    // transparent areas cost far more than opaque ones, so deal rows out
    // dynamically.
#pragma omp parallel for schedule(dynamic, 16)
    for (int y = 0; y < h; ++y) {
        unsigned char *p = to + size_t(y) * stride;
        const int top = qMax(0, y - radius);
        const int bottom = qMin(h - 1, y + radius);
        for (int x = 0; x < w; ++x, p += pixelWidth) {
            if (!transparent(p, pixelWidth))
                continue;
            const int left = qMax(0, x - radius);
            const int right = qMin(w - 1, x + radius);
            const unsigned char *found = nullptr;
            for (int yy = top; yy <= bottom && !found; ++yy) {
                const unsigned char *q = from + size_t(yy) * stride + size_t(left) * pixelWidth;
                for (int xx = left; xx <= right; ++xx, q += pixelWidth) {
                    if (!transparent(q, pixelWidth)) {
                        found = q;
                        break;
                    }
                }
            }
            if (found)
                std::memcpy(p, found, colourBytes);   // alpha stays 0
        }
    }
    latestPlace = HostOnly;
    deleteReducedTextures();
}

void VellLayer::copyToClipboard()
{
    auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!app || !pictureHost || pictureHost->isNull())
        return;
    readBackIfNewer();
    const int w = getWidth();
    const int h = getHeight();
    QImage image(w, h, QImage::Format_ARGB32);
    if (image.isNull())
        return;
    for (int y = 0; y < h; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = pictureHost->getPixel8bit(x, y);
    }
    app->clipboard()->setImage(image);
}

QDataStream &operator<<(QDataStream &out, VellLayer *layer)
{
    if (!layer || !layer->getPictureHost()) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    if (layer->getLatestPlace() == VellLayer::GpuNewer)
        layer->fboTextureToHost(true);
    const bool hasMask = layer->hasLayerMask();
    out << layer->getAlpha() << layer->getLayerName() << layer->getPosition()
        << qint32(layer->getPermanentIndex()) << layer->getPictureHost()
        << qint32(layer->getBlendMode()) << layer->visible << hasMask;
    if (hasMask)
        out << layer->getLayerMask();
    out << layer->isEdittingMask() << layer->isLayerMaskVisible();
    if (VellGlobalSettings::getInstance()->streamWriteVersion >= 2)
        out << layer->isLayerMaskLocked() << layer->getLayerMaskPosition();
    return out;
}

QDataStream &operator>>(QDataStream &in, VellLayer **layer)
{
    if (!layer)
        return in;
    *layer = nullptr;
    const auto corrupt = [&in](const char *what) -> QDataStream & {
        VellLog::Instance()->Log("VellLayer: corrupt stream (%s)\n", what);
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    };

    float opacity = 0.0f;
    QString name;
    QPointF position;
    qint32 permanentIndex = -1;
    in >> opacity >> name >> position >> permanentIndex;
    if (in.status() != QDataStream::Ok)
        return in;
    if (!(opacity >= 0.0f && opacity <= 1.0f) || !std::isfinite(position.x())
        || !std::isfinite(position.y()))
        return corrupt("opacity or position");
    if (permanentIndex < -1)
        return corrupt("permanent index");   // -1 is "none yet"; a stack gives out 0 and up

    VellPictureHost *rawHost = nullptr;
    in >> &rawHost;   // sets the status itself on failure
    std::unique_ptr<VellPictureHost> host(rawHost);
    if (!host)
        return in.status() == QDataStream::Ok ? corrupt("picture") : in;

    qint32 blendMode = 0;
    bool visible = true;
    bool hasMask = false;
    in >> blendMode >> visible >> hasMask;
    if (in.status() != QDataStream::Ok)
        return in;
    if (!VellLayerBase::isBlendModeCode(blendMode))
        return corrupt("blend mode");

    std::unique_ptr<VellLayerMask> mask;
    if (hasMask) {
        VellLayerMask *rawMask = nullptr;
        in >> &rawMask;
        mask.reset(rawMask);
        if (!mask)
            return in.status() == QDataStream::Ok ? corrupt("mask") : in;
    }
    bool editingMask = false;
    bool maskVisible = false;
    bool maskLocked = false;
    QPointF maskPosition;
    in >> editingMask >> maskVisible;
    if (VellGlobalSettings::getInstance()->streamReadVersion >= 2)
        in >> maskLocked >> maskPosition;
    if (in.status() != QDataStream::Ok)
        return in;

    auto *result = new VellLayer(name);
    result->setAlpha(opacity);
    result->setPosition(position);
    result->setVellPictureHost(host.release());
    result->setPermanentIndex(permanentIndex);
    result->setBlendMode(blendMode);
    result->visible = visible;
    result->setLatestPlace(VellLayer::HostOnly);
    result->setLayerMask(mask.release());
    result->setEdittingMask(editingMask);
    result->setLayerMaskVisible(maskVisible);
    result->setLayerMaskLocked(maskLocked);
    result->setLayerMaskPosition(maskPosition);
    *layer = result;
    return in;
}
