#ifndef VELLLAYER_H
#define VELLLAYER_H

#include "document/velllayerbase.h"
#include "document/velllayermask.h"   // callers use the mask as a channel

#include <QList>
#include <QPair>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QVector>

#include <functional>
#include <memory>
#include <optional>

class QDataStream;
class VellGLTexture2D;
class VellGLTextureLuminance;

// The raster layer: its pixels live in a picture host in main memory, and
// around the host it keeps GPU textures of several sizes: the full-resolution
// entire texture while the layer is active (the one tools edit), the reduced
// half, quarter and eighth copies, a display (thumb) texture holding the
// visible part at display resolution, and a small whole-layer copy for the
// histogram. Geometry (rotation, flips, resizing, warps) lives in
// velllayergeometry.cpp.
//
// Where the newest pixels are is tracked by the latest place:
//   0 HostOnly   the host alone is current; GPU copies are missing or stale;
//   1 GpuNewer   the entire texture is newer than the host;
//   2 BothAgree  host and entire texture hold the same pixels.
// Every GPU writer sets 1; everything here that reads host pixels (CPU
// rendering, edge repair, streaming, the clipboard, dropping textures) reads
// the entire texture back first when it is 1. The reduced textures exist only
// while they agree with the newest pixels: whatever changes the host behind
// the GPU's back drops them, and after an edit on the GPU updateMipmaps()
// refreshes them.
//
// Owns the host, the mask and every texture. GUI thread only; everything that
// touches a texture needs the canvas's GL context current (the textures are
// made and deleted with it). The CPU paths split rows among OpenMP threads.
class VellLayer : public VellLayerBase
{
    Q_OBJECT

public:
    enum LatestPlace { HostOnly = 0, GpuNewer = 1, BothAgree = 2 };

    // What the layer reads from the canvas that shows the current document.
    // The document model and the canvas sit above the layers, so the canvas
    // installs the probe when it comes into being; a probe that returns no
    // value (or none installed) means there is no current document or no
    // canvas, and the operations that need them do nothing.
    struct View
    {
        double scale = 1.0;                 // document pixels per window pixel
        double fboScale = 1.0;              // document pixels per canvas framebuffer pixel
        double histogramThumbScale = 0.0;   // histogram thumb pixels per document pixel
        QSize documentSize;                 // the current document's size; invalid: unknown
    };
    using ViewProbe = std::function<std::optional<View>()>;
    // Set once at start-up on the GUI thread; tests install their own.
    static void setViewProbe(ViewProbe probe);
    static std::optional<View> currentView();

    // Visible, opacity 1.0, type 0, no host, no textures, latest place 0, all
    // reduced levels switched on, no mask.
    explicit VellLayer(const QString &name);
    // Deletes every texture (with the context current), the host and the mask.
    ~VellLayer() override;
    Q_DISABLE_COPY(VellLayer)

    // The host hand-over. The layer owns exactly one host at a time:
    // takePictureHost() gives the present one to the caller (who owns it
    // from then on; the layer holds none until the next set), and
    // setVellPictureHost() takes ownership of `host`, deleting a previous
    // host that nobody took. So whoever replaces the pixels and keeps the old
    // ones (an undo memo, a geometry step) takes them first, then sets the
    // new host.
    // Setting a host: the first one makes the thumb region the whole layer
    // and the thumb scale the canvas's scale (at least 1.0). Every time:
    // latest place 0, the reduced textures (now stale) dropped, center and
    // histogram size recomputed. Setting the host the layer already holds
    // changes nothing but those.
    void setVellPictureHost(VellPictureHost *host);
    std::unique_ptr<VellPictureHost> takePictureHost();
    VellPictureHost *getPictureHost() const override { return pictureHost.get(); }
    int getWidth() const override;
    int getHeight() const override;

    // Textures, all owned by the layer; null when absent.
    VellGLTexture2D *getThumbTexture() const override { return thumbTexture.get(); }
    VellGLTexture2D *getHistogramThumb() const { return histogramThumb.get(); }
    VellGLTexture2D *getEntireTexture() const { return entireTexture.get(); }
    VellGLTexture2D *getHalfTexture() const { return halfTexture.get(); }
    VellGLTexture2D *getQuarterTexture() const { return quarterTexture.get(); }
    VellGLTexture2D *getOcativeTexture() const { return ocativeTexture.get(); }
    // Layer pixels per thumb texel.
    double getThumbScale() const { return thumbScale; }
    // The part of the layer, in layer pixels, that the thumb texture covers.
    QRectF getThumbRegion() const { return thumbRegion; }
    // The thumb's valid size: region size / thumb scale (0 x 0 without thumb).
    QSizeF getThumbValidSize() const;

    // Which reduced levels are kept (all by default). A level switched off is
    // deleted at the next updateMipmaps() or refresh().
    void setMipmapSwitches(bool half, bool quarter, bool ocative);

    // Render targets covering the layer for tools: (texture, inclusive
    // rectangle in layer pixels). Built while the layer is active.
    using FboTexture = QPair<VellGLTexture2D *, QRect>;
    const QVector<FboTexture> &getFboTextureList() const { return fboTextureList; }
    void initFboTextureList();      // (re)builds it for the current host size
    void destroyFboTextureList();
    // The tiles for a layer of this size: one covering the layer while it is
    // below 4098 x 4098 pixels and both sides below 6000, else its quadrants.
    static QVector<QRect> fboTileRects(int width, int height);
    // Top-left, top-right, bottom-right, bottom-left, split at width / 2 and
    // height / 2 (integer division).
    static QVector<QRect> quadrantRects(int width, int height);

    // Drops the entire and the reduced textures (reading newer GPU pixels back
    // first); latest place 0.
    void deleteTextures();
    // Only while inactive: reads newer GPU pixels back, drops the entire
    // texture; latest place 0.
    void deleteFullTexture();

    // Becomes / stops being the active layer. active() uploads the host
    // unless the entire texture already holds the newest pixels (without a
    // current GL context it only marks the layer active).
    // disactive(drop) reads newer GPU pixels back and, with `drop`, deletes
    // the entire texture (latest place 0), else keeps it (latest place 2).
    void active() override;
    void disactive(bool dropFullTexture) override;
    bool isActive() const { return activeFlag; }
    // Rebuilds every texture from the newest pixels (reading back first) and
    // the thumb for the current region and scale.
    void refresh();

    // Whether activating `incoming` should make the previously active layer
    // drop its entire texture: never for a text layer; always for a layer
    // without pixels; for a raster layer of w x h pixels when w * h * 4 bytes
    // reach a third of the free video memory, or the free memory less 128 MiB
    // (VellGpuManager::getAvailableMemory; "unknown" reads as plenty).
    static bool shouldDropFullTexture(const VellLayerBase *incoming);

    // Data movement.
    void hostToEntireTexture();                 // host -> entire texture; latest place 2
    // Entire texture -> host; with `markAgreed` the latest place becomes 2.
    void fboTextureToHost(bool markAgreed);
    // Framebuffer tiles -> entire texture, then updateMipmaps(); latest place 1.
    void fboToEntireTexture();
    // Rebuilds the switched-on reduced levels from the entire texture, each
    // from the next larger level, 2:1 through linear filtering (a box filter).
    void updateMipmaps();
    void updateHalfImage();
    void updateQuarterImage();
    void updateOcativeImage();

    int getLatestPlace() const { return latestPlace; }
    void setLatestPlace(int place);   // values other than 0, 1, 2 are ignored

    // The display texture. updateThumb() fills the whole thumb for the current
    // region and scale (making it when missing): nothing without a host or a
    // view. Sources by thumb scale s: the eighth texture from s >= 8, the
    // quarter from 4, the half from 2, else the entire texture, each when
    // present; with none of them (or a stale entire texture) the host draws it.
    void updateThumb();
    // A change of region and scale: builds a new thumb and deletes the old one.
    // With only the host to draw from, the old thumb is first copied into the
    // new one so something shows at once; then only the strips the old region
    // did not cover are drawn from the host, unless this zooms in from an old
    // scale above 1.0, where all of it is.
    void updateThumb(const QRectF &oldRegion, const QRectF &newRegion, float oldScale,
                     float newScale);
    // Redraws the part of the thumb showing `rect` (layer pixels).
    void updateThumbRegion(const QRect &rect);
    // Fills the histogram thumb from the whole layer (making it when missing).
    void updateFullThumb();
    // The canvas scrolled or zoomed: `visible` is the shown part of the
    // document (document pixels); the new scale is the view's framebuffer
    // scale (1.0 without a view).
    void updateVisibleRect(const QRectF &visible);

    // The layer's rectangle on the canvas framebuffer, as the canvas draws it.
    QPolygonF getThumbQuadOnFbo(const QPointF &fboCorner, float fboScale) const override;

    // Texture coordinates (rounded through single precision).
    QRectF getThumbTexCoord() const;                        // thumb region / layer size
    QRectF getBoundedTexCoord(const QRectF &rect) const;    // rect / layer size
    // The mask's coordinates of the thumb region; null without a view or mask.
    QRectF getLayerMaskTexCoord() const;
    // A rectangle in layer pixels as normalised coordinates of the thumb
    // texture (its allocated size); null without a thumb.
    QRectF getThumbRegionCoord(const QRectF &rect) const;
    // The whole layer (0, 0, width, height) clipped by each non-null rectangle.
    QRectF getWorkingRect(const QRectF *clip, const QRectF *other) const;
    // The parts of `newRegion` not covered by `oldRegion`: at most a strip
    // above, one below, one left and one right, in that order.
    static QVector<QRectF> getCompRegions(const QRectF &oldRegion, const QRectF &newRegion);

    // Mask. The layer owns its mask (and is its QObject parent).
    // createLayerMask: a mask of the layer's size filled with 255, only when
    // none exists. setLayerMask takes ownership and deletes a different old
    // mask. removeLayerMask gives the mask up without deleting it: the caller
    // (the history) owns it afterwards.
    void createLayerMask();
    VellLayerMask *getLayerMask() const { return layerMask; }
    VellGLTextureLuminance *getLayerMaskTexture() const;
    bool hasLayerMask() const { return layerMask != nullptr; }
    void setLayerMask(VellLayerMask *mask);
    void removeLayerMask();
    // The editing and visible flags read false, and are stored as false,
    // while there is no mask.
    void setEdittingMask(bool editing) { editingMask = editing && layerMask; }
    bool isEdittingMask() const { return editingMask && layerMask; }
    void setLayerMaskVisible(bool visible) { maskVisible = visible && layerMask; }
    bool isLayerMaskVisible() const { return maskVisible && layerMask; }
    void setLayerMaskLocked(bool locked) { maskLocked = locked; }
    bool isLayerMaskLocked() const { return maskLocked; }
    void setLayerMaskPosition(const QPointF &position) { maskPosition = position; }
    QPointF getLayerMaskPosition() const { return maskPosition; }

    // A layer with a mask always needs the blending shader; otherwise the
    // base rule for its mode and place in the current document.
    bool needShaderBlending() const override;

    // Histogram thumb size: layer size x the view's histogram thumb scale,
    // truncated (0 x 0 without a view).
    void calcHistogramSize();
    QSize getHistogramSize() const { return QSize(histogramWidth, histogramHeight); }

    // Normal "over" of the layer onto a 32-bit image in B, G, R, A byte order
    // (any 32-bit QImage format), on the CPU; other blend modes are not
    // applied. The bottom layer of the current document, 8-bit and opaque
    // (opacity 1.0), is copied as it is. `document` is not read; the bottom
    // test asks the layer's place in the current document.
    void renderToImage(QImage *image, VellContext *document) override;
    // Gives fully transparent pixels the colour of the first visible pixel
    // within 5 (3 for a million pixels or more) rows and columns, scanned top
    // row first, so that linear filtering draws no dark fringes. Latest place
    // 0 afterwards.
    void fixTransparentBlackEdge();
    // Puts the layer's pixels on the clipboard as an image (16-bit pixels
    // narrowed to 8 bits).
    void copyToClipboard();

    // ---- Geometry (velllayergeometry.cpp) ----
    // Each operation renders from the entire texture (made from the host
    // first when the layer has none, reading newer GPU pixels back before)
    // into a new texture of the new size, then replaces the host by one of
    // that size, rebuilds the framebuffer list and the reduced textures and
    // reads the result back. Afterwards the entire texture is present, the
    // latest place is 2 and the center is the new size x 0.5, whether the
    // layer is active or not. The caller records the undo memo before and
    // re-renders after. Needs the canvas's GL context current.
    //
    // The mask, when there is one, goes the same way: the same turn, mirror
    // or crop byte for byte, the same resampling copies for the others (see
    // VellLayerMask), so that it keeps the layer's size and its coverage
    // stays on the pixels it covered. A mask offset from its layer (mask
    // position) is first brought to the layer's size and place; afterwards
    // its position is (0, 0).
    //
    // A refused operation (an angle other than -90, 90 and 180; a factor
    // that is not a finite number above 0 or leaves a side below 1 pixel; a
    // result beyond the largest texture or the settings' image limits; a crop
    // that misses the layer; a degenerate, self-intersecting or non-finite
    // quadrilateral; mesh lists of different lengths; no GL context or no
    // memory) leaves layer, host and position unchanged, writes one log line
    // and keeps its reason in getGeometryError(), which is empty after an
    // operation that succeeded.
    //
    // Positions: rotate and flip move the layer within the document of the
    // view's documentSize (W x H before the turn; a document rotation turns
    // every layer first, then resizes the canvas); without that size the
    // position stays. resize and clip leave the position to the caller.
    // applyRotation and the warps place the layer at the corner of their
    // extent.
    //
    // rotate(90) turns counter-clockwise (the top-left corner goes to the
    // bottom-left), rotate(-90) clockwise; pixels are moved, never filtered.
    void rotate(int degrees) override;
    // true mirrors left-right, false top-bottom.
    void flip(bool leftRight) override;
    // Scales to trunc(width x sx) x trunc(height x sy) with the layer's
    // interpolation: shrinking halves at most once per step (resizeSteps),
    // enlarging takes one step. A caller that needs an exact size passes
    // (target + 0.5) / width.
    void resize(double sx, double sy) override;
    // Crops to `rect` (layer pixels; QRect's inclusive corners) cut to the
    // layer. Refused when it misses the layer.
    void clip(const QRect &rect);
    // Turns the layer by its pending rotation angle (degrees, clockwise on
    // screen as QTransform::rotate turns) about its center, bicubic. The
    // extent is the turned rectangle's bounding box in whole pixels; what it
    // leaves uncovered is transparent, with its colour repaired by
    // fixTransparentBlackEdge(). The pending angle is cleared.
    void applyRotation();
    // Maps the layer's rectangle projectively onto `quad` (four document
    // points for the layer's top-left, top-right, bottom-right and
    // bottom-left corners), bicubic. The quadrilateral must be convex;
    // either orientation is accepted (the other one mirrors).
    void applyAffine(const QPolygonF &quad);
    // Like applyAffine, through a triangle strip: srcPoints in normalised
    // layer coordinates, dstPoints in document pixels, matched by index;
    // `quad` is the mesh's outline in document pixels and gives the extent.
    void tesselateAffine(const QPolygonF &quad, const QList<QPointF> &srcPoints,
                         const QList<QPointF> &dstPoints);

    QString getGeometryError() const { return geometryError; }
    // The filter code of resizing (VellToolUtil's codes); 2 (bicubic) at first.
    int getInterpolation() const { return interpolation; }
    void setInterpolation(int filter) { interpolation = filter; }

    // The sizes resize() passes through from `from` to `to`: each side
    // max(ceil(side / 2), target) per step until both reach the target.
    // Empty when either size is empty.
    static QVector<QSize> resizeSteps(const QSize &from, const QSize &to);
    // The extent rule of the warps: whether an extent of `size` pixels is
    // kept whole (the available GPU memory above 200 MiB with room for twice
    // its 4-byte pixels, within the largest texture) rather than cut to the
    // document. Needs the GL context current.
    static bool keepsWholeExtent(const QSize &size);

private:
    // Geometry helpers (velllayergeometry.cpp).
    bool refuseGeometry(const QString &reason);
    bool geometryReady();
    bool checkGeometrySize(const QSize &size);
    VellGLTexture2D *geometrySource();
    VellGLTexture2D *newGeometryTexture(const QSize &size) const;
    void adoptGeometryResult(std::unique_ptr<VellGLTexture2D> texture, VellPictureHost *host,
                             bool repairEdges);
    bool placeWarp(const QPolygonF &outline, QRect *extent);
    bool turnLayer(const QPolygonF &sourceCorners, bool swapSides,
                   const std::function<bool(VellLayerMask &)> &maskStep);
    bool followMask(const std::function<bool(VellLayerMask &)> &step);
    bool warpLayer(const QPolygonF &quad, const QList<QPointF> *srcPoints,
                   const QList<QPointF> *dstPoints);

    void readBackIfNewer();
    void deleteReducedTextures();
    void deleteThumbTextures();
    void recomputeCenter();
    QRectF layerRect() const;          // (0, 0, width, height)
    bool gpuCopyIsCurrent() const;     // entire texture present and not stale
    // The smallest present source with enough detail for `scale`; `factor`
    // gets its reduction (1, 2, 4, 8). Null: draw from the host.
    VellGLTexture2D *sourceForScale(double scale, int *factor) const;
    VellGLTexture2D *makeThumb(const QRectF &region, double scale) const;
    void fillThumb(VellGLTexture2D *thumb, const QRectF &region, double scale,
                   const QRectF &part) const;
    void updateReducedLevel(std::unique_ptr<VellGLTexture2D> &level, int factor, bool on);

    // Textures go before the host they were made from (declaration order
    // runs the other way on destruction).
    std::unique_ptr<VellPictureHost> pictureHost;
    std::unique_ptr<VellGLTexture2D> thumbTexture;
    std::unique_ptr<VellGLTexture2D> histogramThumb;
    std::unique_ptr<VellGLTexture2D> entireTexture;
    std::unique_ptr<VellGLTexture2D> halfTexture;
    std::unique_ptr<VellGLTexture2D> quarterTexture;
    std::unique_ptr<VellGLTexture2D> ocativeTexture;
    double thumbScale = 1.0;
    QRectF thumbRegion;
    bool hostSeen = false;                       // a host was set once
    bool activeFlag = false;
    int latestPlace = HostOnly;
    QVector<FboTexture> fboTextureList;          // textures owned
    bool halfOn = true, quarterOn = true, ocativeOn = true;
    int histogramWidth = 0, histogramHeight = 0;
    VellLayerMask *layerMask = nullptr;          // owned (QObject child)
    bool editingMask = false;
    bool maskVisible = false;
    QPointF maskPosition;
    bool maskLocked = false;
    int interpolation = 2;                       // resize filter, VellToolUtil's codes
    QString geometryError;                       // why the last geometry operation was refused
};

// Stream form: opacity (float), name, position (QPointF), permanent index
// (qint32), the picture host, blend-mode code (qint32), visible, has-mask,
// the mask (only with has-mask), editing mask, mask visible, and from
// VellGlobalSettings' streamWriteVersion 2 on: mask locked, mask position.
// Writing reads newer GPU pixels back first; a layer without a host writes
// nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, VellLayer *layer);
// Allocates *layer (the caller owns it; latest place 0); the version-2 fields
// are read when streamReadVersion is 2 or more. A truncated or corrupt stream
// (a permanent index below -1 included) leaves *layer null with the status set, and never allocates more than the
// stream can supply.
QDataStream &operator>>(QDataStream &in, VellLayer **layer);

#endif // VELLLAYER_H
