#include "canvas/vellblendreference.h"
#include "foundation/vellendecodetool.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "support/vellgltestcontext.h"

#include <QGLShaderProgram>
#include <QtTest>

#include <GL/glu.h>

#include <cmath>
#include <memory>
#include <random>

namespace {

const int kSize = 64;   // one 64 x 64 grid per draw: 4096 combinations

// The grid: half the levels on the edges where modes decide (0, 1, 127/128, 254, 255), the rest
// random; by texel, pairs that sum to 255 per channel (Hard Mix), equal pairs, grey backdrops, and
// different colours of equal 30 R + 59 G + 11 B (Darker/Lighter Color ties).
struct Grid
{
    QImage source{ kSize, kSize, QImage::Format_ARGB32 }, backdrop{ source }, mask{ kSize, kSize, QImage::Format_Grayscale8 };

    Grid()
    {
        std::mt19937 rng(2024);
        const int edges[] = { 0, 1, 2, 63, 64, 127, 128, 129, 191, 253, 254, 255 }, alphas[] = { 255, 255, 255, 0, 1, 128, 254 };
        auto level = [&] { return rng() % 2 ? edges[rng() % 12] : int(rng() % 256); };
        auto alpha = [&] { return uint(rng() % 4 ? alphas[rng() % 7] : int(rng() % 256)) << 24; };
        const int ties[3][2] = { { 59 << 16, 30 << 8 }, { 11 << 16, 30 }, { 11 << 8, 59 } };   // scaled by 1..4: still ties
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x) {
                const int kind = (x + y * 3) % 8, s[3] = { level(), level(), level() }, r = level();
                int d[3] = { level(), level(), level() };
                for (int c = 0; c < 3; ++c)
                    d[c] = kind == 0 ? 255 - s[c] : kind == 1 ? s[c] : kind == 2 ? r : d[c];
                const int t = int(rng() % 3), k = 1 + int(rng() % 4);
                source.setPixel(x, y, (kind == 3 ? uint(ties[t][0] * k) : qRgb(s[0], s[1], s[2]) & 0xffffff) | alpha());
                backdrop.setPixel(x, y, (kind == 3 ? uint(ties[t][1] * k) : qRgb(d[0], d[1], d[2]) & 0xffffff) | alpha());
                mask.scanLine(y)[x] = uchar(rng() % 3 ? edges[rng() % 12] : int(rng() % 256));
            }
    }
};

QString rgba(const uchar *p) { return QString::asprintf("%d,%d,%d,%d", p[2], p[1], p[0], p[3]); }

} // namespace

class TestVellBlendShader : public QObject
{
    Q_OBJECT

    VellGLTestContext gl;   // first: the GL objects below die while it is current
    Grid grid;
    std::unique_ptr<QGLShaderProgram> blending, postProgram;
    std::unique_ptr<VellGLTexture2D> sourceTexture, backdropTexture, target;
    std::unique_ptr<VellGLTextureLuminance> maskTexture;
    std::unique_ptr<VellGLFramebufferObject> framebuffer;

    static std::unique_ptr<QGLShaderProgram> build(const char *resource)
    {
        auto program = std::make_unique<QGLShaderProgram>();
        const QString source = VellEnDecodeTool::loadShaderSource(QString::fromLatin1(resource));
        if (!source.startsWith(QLatin1String("#version 110"))
            || !program->addShaderFromSourceCode(QGLShader::Fragment, source) || !program->link()) {
            qWarning("%s: %s", resource, qPrintable(program->log()));
            return nullptr;
        }
        return program;
    }

    // One quad over the whole target, texture unit u at coordinates (s, t) of its texture.
    QImage draw(QGLShaderProgram *program, const QVector<GLuint> &units)
    {
        const GLExtensionFunctions &ext = getGLExtensionFunctions();
        framebuffer->begin(target->getId());
        glMatrixMode(GL_MODELVIEW), glLoadIdentity(), glMatrixMode(GL_PROJECTION), glLoadIdentity();
        gluOrtho2D(0, kSize, 0, kSize);
        glDisable(GL_BLEND);
        for (int u = units.size() - 1; u >= 0; --u)
            ext.glActiveTexture(GL_TEXTURE0 + u), glBindTexture(GL_TEXTURE_2D, units[u]);
        program->bind();
        glBegin(GL_QUADS);
        for (QPoint corner : { QPoint(0, 0), QPoint(1, 0), QPoint(1, 1), QPoint(0, 1) }) {
            for (int u = 0; u < units.size(); ++u)
                ext.glMultiTexCoord2fARB(GL_TEXTURE0 + u, corner.x(), corner.y());
            glVertex2f(corner.x() * kSize, corner.y() * kSize);
        }
        glEnd();
        program->release();
        for (int u = units.size() - 1; u >= 0; --u)
            ext.glActiveTexture(GL_TEXTURE0 + u), glBindTexture(GL_TEXTURE_2D, 0);
        framebuffer->end();
        const QByteArray bytes = VellGLTestContext::readTexture(target->getId(), kSize, kSize, GL_BGRA, GL_UNSIGNED_BYTE, 4);
        return QImage(reinterpret_cast<const uchar *>(bytes.constData()), kSize, kSize, QImage::Format_ARGB32).copy();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY(getGLExtensionFunctions().glslSupported() && getGLExtensionFunctions().fboSupported());
        blending = build(":/Resources/layerBlending.glsl_");
        postProgram = build(":/Resources/postRender.glsl_");
        QVERIFY(blending && postProgram);
        auto pixels = [](const QImage &i) { return reinterpret_cast<const unsigned int *>(i.constBits()); };
        sourceTexture = std::make_unique<VellGLTexture2D>(kSize, kSize, pixels(grid.source), GL_BGRA, false);
        backdropTexture = std::make_unique<VellGLTexture2D>(kSize, kSize, pixels(grid.backdrop), GL_BGRA, false);
        maskTexture = std::make_unique<VellGLTextureLuminance>(kSize, kSize, grid.mask.constBits(), false);
        target = std::make_unique<VellGLTexture2D>(kSize, kSize, GL_BGRA, false);
        framebuffer = std::make_unique<VellGLFramebufferObject>(kSize, kSize);
        QVERIFY(!sourceTexture->failed() && !maskTexture->failed() && !target->failed());
    }

    void cleanupTestCase()
    {
        gl.makeCurrent();
        blending.reset(), postProgram.reset(), sourceTexture.reset(), backdropTexture.reset();
        maskTexture.reset(), target.reset(), framebuffer.reset();
    }

    void cleanup() { QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>()); }

    void layerBlending_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<bool>("masked");
        QTest::addColumn<QPointF>("docOrigin");
        QTest::addColumn<float>("docScale");
        QVector<int> modes;
        for (int code = 0; code <= 240; code += 10)
            modes << code;
        modes << 55 << -10;   // unknown codes: Normal
        for (int mode : modes) {
            QTest::addRow("%d, full opacity", mode) << mode << 1.0f << false << QPointF() << 1.0f;
            QTest::addRow("%d, opacity 0.6 and mask", mode) << mode << 0.6f << true << QPointF() << 1.0f;
        }
        QTest::newRow("dissolve, reduced view of a shifted band") << 10 << 1.0f << true << QPointF(-37, 1000) << 2.0f;
        QTest::newRow("dissolve, enlarged view") << 10 << 0.85f << false << QPointF(10.5, 3.25) << 0.25f;
    }

    // Every output texel against the CPU compositor; Dissolve exactly, the rest within one level.
    void layerBlending()
    {
        QFETCH(int, mode);
        QFETCH(float, opacity);
        QFETCH(bool, masked);
        QFETCH(QPointF, docOrigin);
        QFETCH(float, docScale);
        blending->bind();
        blending->setUniformValue("srcTex", 0);
        blending->setUniformValue("dstTex", 1);
        blending->setUniformValue("layerMaskTex", 2);
        blending->setUniformValue("hasLayerMask", masked ? 1 : 0);
        blending->setUniformValue("mode", mode);
        blending->setUniformValue("opacity", opacity);
        blending->setUniformValue("docOrigin", GLfloat(docOrigin.x()), GLfloat(docOrigin.y()));
        blending->setUniformValue("docScale", docScale);
        blending->release();
        const QImage got = draw(blending.get(), { sourceTexture->getId(), backdropTexture->getId(), maskTexture->getId() });
        const int tolerance = mode == 10 ? 0 : 1;
        int bad = 0;
        QString first;
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x) {
                const uchar *s = grid.source.constScanLine(y) + 4 * x, *d = grid.backdrop.constScanLine(y) + 4 * x;
                const uchar *g = got.constScanLine(y) + 4 * x;
                uchar want[4];
                const int docX = int(std::floor(float(docOrigin.x()) + float(x) * docScale));
                const int docY = int(std::floor(float(docOrigin.y()) + float(y) * docScale));
                VellBlendReference::blendPixel(s, d, want, mode, opacity, masked ? grid.mask.constScanLine(y)[x] / 255.0f : 1.0f, docX, docY);
                bool same = true;
                for (int c = 0; c < 4; ++c)
                    same = same && qAbs(int(g[c]) - int(want[c])) <= tolerance;
                if (!same && !bad++)
                    first = QString("%1,%2: source %3 backdrop %4 mask %5: got %6 want %7").arg(x).arg(y).arg(rgba(s), rgba(d))
                                .arg(grid.mask.constScanLine(y)[x]).arg(rgba(g), rgba(want));
            }
        QVERIFY2(!bad, qPrintable(QString("%1 texels differ, first %2").arg(bad).arg(first)));
    }

    void postRender_data()
    {
        QTest::addColumn<int>("channels");
        for (int c : { 1, 2, 4, 3, 5, 6, 7, 0, 9 })
            QTest::addRow("%d", c) << c;
    }

    void postRender()
    {
        QFETCH(int, channels);
        postProgram->bind();
        postProgram->setUniformValue("srcTex", 0);
        postProgram->setUniformValue("layerMaskTex", 1);
        postProgram->setUniformValue("displayingChannel", channels);
        postProgram->release();
        const QImage got = draw(postProgram.get(), { sourceTexture->getId(), maskTexture->getId() });
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x) {
                const QRgb s = grid.source.pixel(x, y);
                const int r = qRed(s), g = qGreen(s), b = qBlue(s);
                QRgb want = s;   // 9: not a channel set, shown unchanged
                if (channels == 1 || channels == 2 || channels == 4) {
                    const int v = channels == 1 ? r : channels == 2 ? g : b;
                    want = qRgba(v, v, v, qAlpha(s));
                } else if (channels < 7) {
                    want = qRgba(channels & 1 ? r : 0, channels & 2 ? g : 0, channels & 4 ? b : 0, qAlpha(s));
                } else if (channels == 7) {   // red at half strength over what the mask hides
                    const double k = 0.5 * (1.0 - grid.mask.constScanLine(y)[x] / 255.0), a = qAlpha(s) / 255.0;
                    const double ao = k + a * (1 - k);
                    auto mix = [&](double over, int under) { return ao > 0 ? int(std::lround(255 * (k * over + a * (1 - k) * under / 255.0) / ao)) : 0; };
                    want = qRgba(mix(1, r), mix(0, g), mix(0, b), int(std::lround(255 * ao)));
                }
                const QRgb p = got.pixel(x, y);
                for (int shift = 0; shift < 32; shift += 8)
                    QVERIFY2(qAbs(int(p >> shift & 255) - int(want >> shift & 255)) <= 1,
                             qPrintable(QString::asprintf("%d,%d: got %08x want %08x", x, y, p, want)));
            }
    }
};

QTEST_MAIN(TestVellBlendShader)
#include "tst_vellblendshader.moc"
