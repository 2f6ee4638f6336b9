#ifndef VELLTOOLUTIL_H
#define VELLTOOLUTIL_H

#include <QList>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <QtGlobal>

#include <functional>

class QGLShader;
class QGLShaderProgram;
class QObject;
class VellGLFramebufferObject;
class VellGLTexture;

// GPU copies between textures: plain and scaled rectangle copies, resampling
// through the class-wide resize program, projective and mesh warps, and an
// alpha blend. Each drawing operation renders into a framebuffer object bound
// to the destination texture and deletes it before returning; a copy between
// two same-sized rectangles into a very large destination reads the source
// through a framebuffer and copies with glCopyTexSubImage2D instead, so that
// no render target of the destination's size is needed.
//
// Rectangles are in texels with (0, 0) at the first row of the texture; the
// by-name copy and the mesh warp take normalised source coordinates. Every
// operation returns without drawing when either texture is null, failed or
// empty.
//
// Filter codes of the resampling operations:
//   0 nearest: the source texel under the pixel centre;
//   1 bilinear: tent kernel of radius 1 (bilinear interpolation);
//   2 bicubic: Catmull-Rom spline, radius 2 (the warps' usual choice);
//   3 Lanczos-3: windowed sinc, radius 3.
// Any other code samples nearest. When shrinking, codes 1 to 3 widen their
// kernel by the reduction factor and weight every texel under it, so detail
// finer than the destination averages out instead of aliasing. The widening
// stops where 32 texels a side would be exceeded (15.5:1 bilinear,
// 7.75:1 bicubic, 5.17:1 Lanczos-3); a larger reduction in one pass samples
// only the middle of each footprint, so callers shrink in steps beyond that.
// Colour is filtered premultiplied by alpha, so transparent texels lend no
// colour to their neighbours.
//
// The resampling copies (resize, polygon, mesh) replace the destination
// pixels they cover instead of blending over them: textures hold straight
// (unpremultiplied) colour, which blending into a cleared target would darken
// at soft edges and whose alpha it would square.
//
// All state is class-wide and unlocked: GUI thread only, with the GL context
// that owns the textures current.
class VellToolUtil
{
public:
    enum Filter { Nearest = 0, Bilinear = 1, Bicubic = 2, Lanczos3 = 3 };

    VellToolUtil() = default;
    // Deletes the class-wide resize program and its shader (with the context
    // that built them current); the next resampling builds them again.
    ~VellToolUtil();
    Q_DISABLE_COPY(VellToolUtil)

    // Copies srcRect of src into dstRect of dst, scaling with the source's
    // own filtering when the sizes differ; a same-size copy at whole-texel
    // positions is exact. Leaves a program the caller has bound in place, so
    // callers can run their own fragment shader over the copy.
    static void copyTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                     const QRectF &dstRect, const QRectF &srcRect);
    // Draws texture name `src` (not owned; its region in normalised
    // coordinates) into dstRect of dst, blending off, no program bound by us.
    static void copyTextureToTexture(VellGLTexture *dst, unsigned int src, const QRectF &dstRect,
                                     const QRectF &srcRegion);
    // Draws the whole of src over the whole of dst with the normalised source
    // corners srcCorners[0..3] at dst's top-left, top-right, bottom-right and
    // bottom-left corners, sampling nearest with blending off: with corners
    // at 0 and 1 a quarter turn or a mirror moves every texel exactly. Needs
    // four corners.
    static void copyTextureTurned(VellGLTexture *dst, VellGLTexture *src,
                                  const QPolygonF &srcCorners);
    // Resamples srcRect into dstRect with `filter`; alpha comes from the
    // nearest source texel. Nothing happens when a rectangle is narrower or
    // lower than one texel.
    static void resizeTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                       const QRectF &dstRect, const QRectF &srcRect, int filter);
    // Clears dst to transparent, then warps the source polygon (texels) onto
    // the destination polygon (texels), point i onto point i, filtering
    // colour and alpha. Four or more points are mapped projectively (a
    // quadrilateral as the perspective map it defines), three affinely.
    // Polygons of different sizes or fewer than three points draw nothing.
    static void copyTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                     const QPolygonF &dstPolygon, const QPolygonF &srcPolygon,
                                     int filter);
    // Clears dst to transparent, then draws one triangle strip through the
    // point lists: destination points in texels, source points in normalised
    // coordinates, matched by index (the shorter list sets the count). The
    // polygons only describe the mesh's outline and are not drawn.
    static void tesselateTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                          const QPolygonF &dstPolygon,
                                          const QPolygonF &srcPolygon,
                                          const QList<QPointF> &dstPoints,
                                          const QList<QPointF> &srcPoints, int filter);
    // Blends srcRect over dstRect: colour by source alpha x opacity, alpha
    // composited "over" (so an opaque destination stays opaque). Under the
    // large-texture rule the source is copied at full opacity instead.
    static void blendTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                      const QRectF &dstRect, const QRectF &srcRect,
                                      float opacity);

    // Builds a fragment program from an enciphered shader resource at `path`
    // (through VellShaderBuilder). Deletes the objects it is given (when
    // non-null) and hands the new ones back through the same pointers: the
    // program owns the shader, and `parent` (the document, a VellContext, or
    // null) owns the program when given, otherwise the caller does. A
    // non-empty compile log is shown in a message box titled `logTitle`
    // ("util shader" unless the caller names its own). Returns whether the
    // program linked.
    static bool initShaderProgram(const QString &path, QGLShader *&shader,
                                  QGLShaderProgram *&program, QObject *parent,
                                  const QString &logTitle = QStringLiteral("util shader"));
    // Ends and deletes a framebuffer left between operations.
    static void destroyFbo();

    // Test seam: the destination size (texels) from which same-size copies
    // use glCopyTexSubImage2D; 36,000,001 (more than 6000 x 6000) unless
    // changed. Returns the previous value.
    static qint64 setLargeTextureTexels(qint64 texels);

private:
    static bool isLargeTextureCopy(const VellGLTexture *dst, const VellGLTexture *src,
                                   const QRectF &dstRect, const QRectF &srcRect);
    static void copyTexSubImage(VellGLTexture *dst, VellGLTexture *src, const QRectF &dstRect,
                                const QRectF &srcRect);
    static void drawTexture(VellGLTexture *dst, unsigned int src, const QRectF &dstRect,
                            const QRectF &srcRegion, bool exact, bool blend, float opacity);
    static bool beginTarget(VellGLTexture *dst);
    static bool beginWarp(VellGLTexture *dst, VellGLTexture *src);
    static void drawResampled(VellGLTexture *dst, VellGLTexture *src, int filter, int sampleAlpha,
                              const std::function<void()> &draw);
    static void endTarget();
    static bool buildResizeProgram();
    static void bindResizeProgram(const VellGLTexture *dst, const VellGLTexture *src, int filter,
                                  int sampleAlpha);

    static QGLShaderProgram *resizeProgram;      // owned, with its shader; null until built
    static VellGLFramebufferObject *framebuffer; // owned; null between operations
};

#endif // VELLTOOLUTIL_H
