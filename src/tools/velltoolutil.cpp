#include "tools/velltoolutil.h"

#include "foundation/velllog.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture.h"
#include "gpu/vellshaderbuilder.h"

#include <QGLShader>
#include <QGLShaderProgram>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <GL/glu.h>

#include <cmath>

QGLShaderProgram *VellToolUtil::resizeProgram = nullptr;
VellGLFramebufferObject *VellToolUtil::framebuffer = nullptr;

namespace {

const qint64 kLargeTextureTexels = 36000001;
qint64 largeTextureTexels = kLargeTextureTexels;

const char kResizeShaderPath[] = ":/Resources/resize.glsl_";

bool hasPixels(const VellGLTexture *texture)
{
    return texture && texture->getId() && texture->getWidth() > 0 && texture->getHeight() > 0;
}

bool ready(const VellGLTexture *dst, const VellGLTexture *src)
{
    return hasPixels(dst) && hasPixels(src) && QOpenGLContext::currentContext();
}

qint64 texels(const VellGLTexture *texture)
{
    return qint64(texture->getWidth()) * texture->getHeight();
}

bool isWhole(double v)
{
    return v == std::floor(v);
}

QRectF normalised(const QRectF &rect, const VellGLTexture *texture)
{
    const double w = texture->getWidth();
    const double h = texture->getHeight();
    return QRectF(rect.x() / w, rect.y() / h, rect.width() / w, rect.height() / h);
}

// Quads go corner by corner: (left, top), (right, top), (right, bottom),
// (left, bottom), each vertex after its texture coordinate.
void drawQuad(const QRectF &vertices, const QRectF &coords)
{
    glBegin(GL_QUADS);
    glTexCoord2d(coords.left(), coords.top());
    glVertex2d(vertices.left(), vertices.top());
    glTexCoord2d(coords.right(), coords.top());
    glVertex2d(vertices.right(), vertices.top());
    glTexCoord2d(coords.right(), coords.bottom());
    glVertex2d(vertices.right(), vertices.bottom());
    glTexCoord2d(coords.left(), coords.bottom());
    glVertex2d(vertices.left(), vertices.bottom());
    glEnd();
}

// Switches the texture bound to GL_TEXTURE_2D to nearest sampling for one
// draw and puts its own filters back afterwards. Interpolated coordinates
// miss texel centres by a rounding error, which linear filtering of a wide or
// 16-bit texture turns into visible error; a copy that should be exact, and
// the resize program, which addresses texel centres itself, sample nearest.
class NearestSampling
{
public:
    explicit NearestSampling(bool on) : on(on)
    {
        if (!on)
            return;
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &magFilter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    }
    ~NearestSampling()   // the texture must still be bound
    {
        if (!on)
            return;
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter);
    }
    Q_DISABLE_COPY(NearestSampling)

private:
    bool on;
    GLint minFilter = GL_LINEAR;
    GLint magFilter = GL_LINEAR;
};

// Row-major 3 x 3 matrix acting on column vectors (x, y, 1).
struct Homography
{
    double m[3][3] = {};

    void map(double x, double y, double *u, double *v, double *w) const
    {
        *u = m[0][0] * x + m[0][1] * y + m[0][2];
        *v = m[1][0] * x + m[1][1] * y + m[1][2];
        *w = m[2][0] * x + m[2][1] * y + m[2][2];
    }
    Homography operator*(const Homography &o) const
    {
        Homography r;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 3; ++k)
                    r.m[i][j] += m[i][k] * o.m[k][j];
        return r;
    }
};

// Moves the points' centroid to the origin and scales their mean distance
// from it to sqrt(2), which keeps the least-squares system well conditioned
// for coordinates in the thousands. `inverse` undoes it.
bool conditioning(const QPolygonF &points, Homography *forward, Homography *inverse)
{
    double cx = 0.0, cy = 0.0;
    for (const QPointF &p : points) {
        cx += p.x();
        cy += p.y();
    }
    cx /= points.size();
    cy /= points.size();
    double spread = 0.0;
    for (const QPointF &p : points)
        spread += std::hypot(p.x() - cx, p.y() - cy);
    spread /= points.size();
    if (!(spread > 1e-12))
        return false;
    const double s = std::sqrt(2.0) / spread;
    *forward = Homography();
    forward->m[0][0] = forward->m[1][1] = s;
    forward->m[0][2] = -s * cx;
    forward->m[1][2] = -s * cy;
    forward->m[2][2] = 1.0;
    *inverse = Homography();
    inverse->m[0][0] = inverse->m[1][1] = 1.0 / s;
    inverse->m[0][2] = cx;
    inverse->m[1][2] = cy;
    inverse->m[2][2] = 1.0;
    return true;
}

// The projective map taking every `from` point to its `to` point (at least
// four pairs; least squares beyond four). False when the points fix none.
bool solveHomography(const QPolygonF &from, const QPolygonF &to, Homography *result)
{
    Homography fromT, fromInv, toT, toInv;
    if (!conditioning(from, &fromT, &fromInv) || !conditioning(to, &toT, &toInv))
        return false;
    // Unknowns a..h of (a x + b y + c, d x + e y + f) / (g x + h y + 1); the
    // normal equations of the linearised system, solved with partial pivots.
    double n[8][9] = {};
    for (int i = 0; i < from.size(); ++i) {
        double x, y, X, Y, w;
        fromT.map(from[i].x(), from[i].y(), &x, &y, &w);
        toT.map(to[i].x(), to[i].y(), &X, &Y, &w);
        const double rows[2][9] = {{x, y, 1, 0, 0, 0, -x * X, -y * X, X},
                                   {0, 0, 0, x, y, 1, -x * Y, -y * Y, Y}};
        for (const double *r : rows)
            for (int a = 0; a < 8; ++a)
                for (int b = 0; b < 9; ++b)
                    n[a][b] += r[a] * r[b];
    }
    for (int c = 0; c < 8; ++c) {
        int pivot = c;
        for (int r = c + 1; r < 8; ++r)
            if (std::fabs(n[r][c]) > std::fabs(n[pivot][c]))
                pivot = r;
        if (std::fabs(n[pivot][c]) < 1e-12)
            return false;
        for (int b = 0; b < 9; ++b)
            std::swap(n[c][b], n[pivot][b]);
        for (int r = 0; r < 8; ++r) {
            if (r == c)
                continue;
            const double f = n[r][c] / n[c][c];
            for (int b = c; b < 9; ++b)
                n[r][b] -= f * n[c][b];
        }
    }
    Homography h;
    for (int k = 0; k < 8; ++k)
        h.m[k / 3][k % 3] = n[k][8] / n[k][k];
    h.m[2][2] = 1.0;
    *result = toInv * h * fromT;
    return true;
}

// The q of each destination point under the map from destination to source,
// scaled so that all are positive. Interpolating (s q, t q, q) linearly over
// the screen and dividing by q per pixel follows the perspective map exactly
// on every triangle the driver cuts the polygon into. All q = 1 (the
// driver's own affine interpolation) for triangles and for points that fix
// no usable projective map (degenerate, or folded across the horizon).
QVector<double> projectiveWeights(const QPolygonF &dst, const QPolygonF &src)
{
    QVector<double> q(dst.size(), 1.0);
    Homography h;
    if (dst.size() < 4 || !solveHomography(dst, src, &h))
        return q;
    double largest = 0.0;
    for (int i = 0; i < dst.size(); ++i) {
        double u, v;
        h.map(dst[i].x(), dst[i].y(), &u, &v, &q[i]);
        largest = qMax(largest, std::fabs(q[i]));
    }
    const double sign = q[0] < 0 ? -1.0 : 1.0;
    for (double &w : q) {
        w *= sign / largest;
        if (!(w > 1e-9))
            return QVector<double>(dst.size(), 1.0);
    }
    return q;
}

} // namespace

VellToolUtil::~VellToolUtil()
{
    delete resizeProgram;
    resizeProgram = nullptr;
}

qint64 VellToolUtil::setLargeTextureTexels(qint64 texelCount)
{
    const qint64 previous = largeTextureTexels;
    largeTextureTexels = texelCount;
    return previous;
}

void VellToolUtil::destroyFbo()
{
    if (!framebuffer)
        return;
    framebuffer->end();
    delete framebuffer;
    framebuffer = nullptr;
}

bool VellToolUtil::isLargeTextureCopy(const VellGLTexture *dst, const VellGLTexture *src,
                                      const QRectF &dstRect, const QRectF &srcRect)
{
    return dstRect.width() == srcRect.width() && dstRect.height() == srcRect.height()
           && texels(dst) >= largeTextureTexels && texels(dst) > texels(src);
}

// Reads the source through a framebuffer of its own size. The rectangle is
// cut to both textures first, so that only a driver's own failure can leave
// an error, which is logged.
void VellToolUtil::copyTexSubImage(VellGLTexture *dst, VellGLTexture *src, const QRectF &dstRect,
                                   const QRectF &srcRect)
{
    int sx = qRound(srcRect.x()), sy = qRound(srcRect.y());
    int dx = qRound(dstRect.x()), dy = qRound(dstRect.y());
    int w = qRound(srcRect.width()), h = qRound(srcRect.height());
    const int skipX = qMax(0, qMax(-sx, -dx));
    const int skipY = qMax(0, qMax(-sy, -dy));
    sx += skipX;
    dx += skipX;
    sy += skipY;
    dy += skipY;
    w = qMin(w - skipX, qMin(src->getWidth() - sx, dst->getWidth() - dx));
    h = qMin(h - skipY, qMin(src->getHeight() - sy, dst->getHeight() - dy));
    if (w <= 0 || h <= 0)
        return;

    VellGLFramebufferObject reader(src->getWidth(), src->getHeight());
    reader.begin(src->getId());
    glPushAttrib(GL_TEXTURE_BIT);
    glBindTexture(GL_TEXTURE_2D, dst->getId());
    glCopyTexSubImage2D(GL_TEXTURE_2D, 0, dx, dy, sx, sy, w, h);
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR)
        VellLog::Instance()->Log("GL Error after glCopyTexSubImage2D:%d\n", int(error));
    glPopAttrib();
    reader.end();
}

// Binds the destination as render target with a texel-sized orthographic
// projection. Everything changed here is pushed and restored by endTarget(),
// except the program, which callers may have bound on purpose.
bool VellToolUtil::beginTarget(VellGLTexture *dst)
{
    if (framebuffer
        && (framebuffer->getWidth() != dst->getWidth()
            || framebuffer->getHeight() != dst->getHeight()))
        destroyFbo();
    if (!framebuffer)
        framebuffer = new VellGLFramebufferObject(dst->getWidth(), dst->getHeight());
    framebuffer->begin(dst->getId());
    if (!framebuffer->isComplete()) {
        VellLog::Instance()->Log("VellToolUtil: no complete framebuffer for a %dx%d texture\n",
                                 dst->getWidth(), dst->getHeight());
        destroyFbo();
        return false;
    }

    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT
                 | GL_TRANSFORM_BIT);
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    if (gl.glActiveTexture)
        gl.glActiveTexture(GL_TEXTURE0);
    // A caller's window state must not clip or discard what we draw.
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_SCISSOR_TEST);
    glDisable(GL_STENCIL_TEST);
    glDisable(GL_ALPHA_TEST);
    glDisable(GL_CULL_FACE);
    glEnable(GL_TEXTURE_2D);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);

    glMatrixMode(GL_TEXTURE);
    glPushMatrix();
    glLoadIdentity();
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluOrtho2D(0, dst->getWidth(), 0, dst->getHeight());
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    return true;
}

void VellToolUtil::endTarget()
{
    glMatrixMode(GL_TEXTURE);
    glPopMatrix();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
    destroyFbo();
}

void VellToolUtil::drawTexture(VellGLTexture *dst, unsigned int src, const QRectF &dstRect,
                               const QRectF &srcRegion, bool exact, bool blend, float opacity)
{
    // A negative size is a mirrored quad, so only a zero size draws nothing.
    if (!hasPixels(dst) || !QOpenGLContext::currentContext() || dstRect.width() == 0.0
        || dstRect.height() == 0.0)
        return;
    if (!beginTarget(dst))
        return;
    glBindTexture(GL_TEXTURE_2D, src);
    {
        const NearestSampling sampling(exact && src);
        if (blend) {
            glEnable(GL_BLEND);
            // Colour blends by source alpha; alpha composites "over", so an
            // opaque destination stays opaque and alpha is never squared.
            QOpenGLContext::currentContext()->functions()->glBlendFuncSeparate(
                GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        } else {
            glDisable(GL_BLEND);
        }
        glColor4f(1.0f, 1.0f, 1.0f, opacity);
        drawQuad(dstRect, srcRegion);
    }
    endTarget();
}

void VellToolUtil::copyTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                        const QRectF &dstRect, const QRectF &srcRect)
{
    if (!ready(dst, src))
        return;
    if (isLargeTextureCopy(dst, src, dstRect, srcRect)) {
        copyTexSubImage(dst, src, dstRect, srcRect);
        return;
    }
    // Same size at whole texels and no caller's program that might want the
    // source's filtering: a texel-for-texel copy.
    GLint program = 0;
    if (QOpenGLContext::currentContext()->format().majorVersion() >= 2)   // else no such query
        glGetIntegerv(GL_CURRENT_PROGRAM, &program);
    const bool exact = program == 0 && dstRect.size() == srcRect.size() && isWhole(dstRect.x())
                       && isWhole(dstRect.y()) && isWhole(srcRect.x()) && isWhole(srcRect.y())
                       && isWhole(srcRect.width()) && isWhole(srcRect.height());
    drawTexture(dst, src->getId(), dstRect, normalised(srcRect, src), exact, false, 1.0f);
}

void VellToolUtil::copyTextureToTexture(VellGLTexture *dst, unsigned int src,
                                        const QRectF &dstRect, const QRectF &srcRegion)
{
    drawTexture(dst, src, dstRect, srcRegion, false, false, 1.0f);
}

void VellToolUtil::copyTextureTurned(VellGLTexture *dst, VellGLTexture *src,
                                     const QPolygonF &srcCorners)
{
    if (!ready(dst, src) || srcCorners.size() < 4 || !beginTarget(dst))
        return;
    glBindTexture(GL_TEXTURE_2D, src->getId());
    {
        // Each pixel centre maps onto a texel centre, so nearest sampling
        // takes exactly one texel, 16-bit ones included.
        const NearestSampling sampling(true);
        glDisable(GL_BLEND);
        glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
        const double w = dst->getWidth();
        const double h = dst->getHeight();
        const QPointF corners[4] = {QPointF(0, 0), QPointF(w, 0), QPointF(w, h), QPointF(0, h)};
        glBegin(GL_QUADS);
        for (int i = 0; i < 4; ++i) {
            glTexCoord2d(srcCorners[i].x(), srcCorners[i].y());
            glVertex2d(corners[i].x(), corners[i].y());
        }
        glEnd();
    }
    endTarget();
}

void VellToolUtil::blendTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                         const QRectF &dstRect, const QRectF &srcRect,
                                         float opacity)
{
    if (!ready(dst, src))
        return;
    if (isLargeTextureCopy(dst, src, dstRect, srcRect)) {
        copyTexSubImage(dst, src, dstRect, srcRect);
        return;
    }
    drawTexture(dst, src->getId(), dstRect, normalised(srcRect, src), false, true, opacity);
}

bool VellToolUtil::initShaderProgram(const QString &path, QGLShader *&shader,
                                     QGLShaderProgram *&program, QObject *parent,
                                     const QString &logTitle)
{
    // A shader that its program owns goes with the program.
    if (shader && shader->parent() != program)
        delete shader;
    shader = nullptr;
    delete program;
    program = VellShaderBuilder::build(path, logTitle).release();
    if (!program)
        return false;
    program->setParent(parent);
    shader = program->findChild<QGLShader *>();
    return program->isLinked();
}

bool VellToolUtil::buildResizeProgram()
{
    if (resizeProgram)
        return resizeProgram->isLinked();
    resizeProgram = VellShaderBuilder::build(QString::fromLatin1(kResizeShaderPath),
                                             QStringLiteral("resize shader"))
                        .release();
    if (!resizeProgram)
        return false;
    if (!resizeProgram->isLinked())
        VellLog::Instance()->Log("VellToolUtil: resize program did not link\n");
    return resizeProgram->isLinked();
}

void VellToolUtil::bindResizeProgram(const VellGLTexture *dst, const VellGLTexture *src,
                                     int filter, int sampleAlpha)
{
    resizeProgram->bind();
    resizeProgram->setUniformValue("image", 0);
    resizeProgram->setUniformValue("srcwidth", src->getWidth());
    resizeProgram->setUniformValue("srcheight", src->getHeight());
    resizeProgram->setUniformValue("dstwidth", dst->getWidth());
    resizeProgram->setUniformValue("dstheight", dst->getHeight());
    resizeProgram->setUniformValue("filter", filter);
    resizeProgram->setUniformValue("sampleAlpha", sampleAlpha);
}

void VellToolUtil::resizeTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                          const QRectF &dstRect, const QRectF &srcRect,
                                          int filter)
{
    if (!ready(dst, src) || dstRect.width() < 1.0 || dstRect.height() < 1.0
        || srcRect.width() < 1.0 || srcRect.height() < 1.0)
        return;
    if (!buildResizeProgram() || !beginTarget(dst))
        return;
    glBindTexture(GL_TEXTURE_2D, src->getId());
    drawResampled(dst, src, filter, 0, [&] { drawQuad(dstRect, normalised(srcRect, src)); });
}

// Runs `draw` with the resize program bound over the source (blending off,
// the source sampled nearest so that the program does all filtering), then
// ends the target the caller began.
void VellToolUtil::drawResampled(VellGLTexture *dst, VellGLTexture *src, int filter,
                                 int sampleAlpha, const std::function<void()> &draw)
{
    {
        const NearestSampling sampling(true);
        glDisable(GL_BLEND);
        bindResizeProgram(dst, src, filter, sampleAlpha);
        draw();
        resizeProgram->release();
    }
    endTarget();
}

// The warps draw into a destination cleared to transparent, sampling the
// source through the resize program.
bool VellToolUtil::beginWarp(VellGLTexture *dst, VellGLTexture *src)
{
    if (!buildResizeProgram() || !beginTarget(dst))
        return false;
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindTexture(GL_TEXTURE_2D, src->getId());
    return true;
}

void VellToolUtil::copyTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                        const QPolygonF &dstPolygon, const QPolygonF &srcPolygon,
                                        int filter)
{
    if (!ready(dst, src) || dstPolygon.size() != srcPolygon.size() || dstPolygon.size() < 3)
        return;
    if (!beginWarp(dst, src))
        return;
    const QVector<double> q = projectiveWeights(dstPolygon, srcPolygon);
    const double w = src->getWidth();
    const double h = src->getHeight();
    drawResampled(dst, src, filter, 1, [&] {
        glBegin(GL_POLYGON);
        for (int i = 0; i < dstPolygon.size(); ++i) {
            glTexCoord4d(srcPolygon[i].x() / w * q[i], srcPolygon[i].y() / h * q[i], 0.0, q[i]);
            glVertex2d(dstPolygon[i].x(), dstPolygon[i].y());
        }
        glEnd();
    });
}

void VellToolUtil::tesselateTextureToTexture(VellGLTexture *dst, VellGLTexture *src,
                                             const QPolygonF &, const QPolygonF &,
                                             const QList<QPointF> &dstPoints,
                                             const QList<QPointF> &srcPoints, int filter)
{
    if (!ready(dst, src))
        return;
    if (!beginWarp(dst, src))
        return;
    const int count = qMin(dstPoints.size(), srcPoints.size());
    drawResampled(dst, src, filter, 1, [&] {
        glBegin(GL_TRIANGLE_STRIP);
        for (int i = 0; i < count; ++i) {
            glTexCoord2d(srcPoints[i].x(), srcPoints[i].y());
            glVertex2d(dstPoints[i].x(), dstPoints[i].y());
        }
        glEnd();
    });
}
