#include "canvas/vellblendreference.h"
#include "document/velllayerbase.h"
#include "foundation/vellcodes.h"
#include "foundation/vellendecodetool.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "support/vellgltestcontext.h"

#include <QGLShaderProgram>
#include <QtTest>

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

// Empty when every texel of `got` is within `tolerance` of want(x, y) in each channel; else how many
// are not, and the first of them with its inputs.
template <typename Want>
QString mismatch(const Grid &grid, const QImage &got, int tolerance, Want want)
{
    int bad = 0;
    QString first;
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x) {
            const QRgb g = got.pixel(x, y), w = want(x, y);
            auto off = [&](int shift) { return qAbs(int(g >> shift & 255) - int(w >> shift & 255)) > tolerance; };
            if ((off(0) || off(8) || off(16) || off(24)) && !bad++)
                first = QString::asprintf("%d,%d: source %08x backdrop %08x mask %d: got %08x want %08x", x, y,
                                          grid.source.pixel(x, y), grid.backdrop.pixel(x, y), grid.mask.constScanLine(y)[x], g, w);
        }
    return bad ? QString("%1 texels differ, first %2").arg(bad).arg(first) : QString();
}

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

    // One quad over the whole target with `program`, whose uniforms are set; texture unit u holds the
    // u-th texture, named by its sampler, at coordinates (s, t) of it.
    QImage draw(QGLShaderProgram *program, const QVector<QPair<const char *, GLuint>> &units)
    {
        const GLExtensionFunctions &ext = getGLExtensionFunctions();
        framebuffer->begin(target->getId());
        glMatrixMode(GL_MODELVIEW), glLoadIdentity(), glMatrixMode(GL_PROJECTION), glLoadIdentity();
        glDisable(GL_BLEND);
        program->bind();
        for (int u = units.size() - 1; u >= 0; --u)
            ext.glActiveTexture(GL_TEXTURE0 + u), glBindTexture(GL_TEXTURE_2D, units[u].second), program->setUniformValue(units[u].first, u);
        glBegin(GL_QUADS);
        for (QPoint corner : { QPoint(0, 0), QPoint(1, 0), QPoint(1, 1), QPoint(0, 1) }) {
            for (int u = 0; u < units.size(); ++u)
                ext.glMultiTexCoord2fARB(GL_TEXTURE0 + u, corner.x(), corner.y());
            glVertex2f(corner.x() * 2 - 1, corner.y() * 2 - 1);   // the whole viewport
        }
        glEnd();
        program->release();
        framebuffer->end();
        const QByteArray bytes = VellGLTestContext::readTexture(target->getId(), kSize, kSize, GL_BGRA, GL_UNSIGNED_BYTE, 4);
        return QImage(reinterpret_cast<const uchar *>(bytes.constData()), kSize, kSize, QImage::Format_ARGB32).copy();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY(getGLExtensionFunctions().glslSupported());
        QVERIFY(getGLExtensionFunctions().fboSupported());
        blending = build(":/Resources/layerBlending.glsl_");
        postProgram = build(":/Resources/postRender.glsl_");
        QVERIFY(blending);
        QVERIFY(postProgram);
        auto pixels = [](const QImage &i) { return reinterpret_cast<const unsigned int *>(i.constBits()); };
        sourceTexture = std::make_unique<VellGLTexture2D>(kSize, kSize, pixels(grid.source), GL_BGRA, false);
        backdropTexture = std::make_unique<VellGLTexture2D>(kSize, kSize, pixels(grid.backdrop), GL_BGRA, false);
        maskTexture = std::make_unique<VellGLTextureLuminance>(kSize, kSize, grid.mask.constBits(), false);
        target = std::make_unique<VellGLTexture2D>(kSize, kSize, GL_BGRA, false);
        framebuffer = std::make_unique<VellGLFramebufferObject>(kSize, kSize);
        QVERIFY(!sourceTexture->failed());
        QVERIFY(!maskTexture->failed());
        QVERIFY(!target->failed());
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
        // One step below Normal, and 55 below: unknown codes, composited as Normal.
        for (int mode = VellBlend::Normal - VellBlend::Step; mode <= VellBlend::Luminosity; mode += VellBlend::Step) {
            const QByteArray name = VellLayerBase::isBlendModeCode(mode) ? VellLayerBase::getBlendModeName(mode).toLatin1()
                                                                         : "code " + QByteArray::number(mode);
            QTest::addRow("%s, full opacity", name.constData()) << mode << 1.0f << false << QPointF() << 1.0f;
            QTest::addRow("%s, opacity 0.6 and mask", name.constData()) << mode << 0.6f << true << QPointF() << 1.0f;
        }
        const int dissolve = VellBlend::Dissolve;
        QTest::newRow("code 55, opacity 0.6 and mask") << 55 << 0.6f << true << QPointF() << 1.0f;
        QTest::newRow("dissolve, reduced view of a shifted band") << dissolve << 1.0f << true << QPointF(-37, 1000) << 2.0f;
        QTest::newRow("dissolve, enlarged view") << dissolve << 0.85f << false << QPointF(10.5, 3.25) << 0.25f;
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
        blending->setUniformValue("hasLayerMask", masked ? 1 : 0);
        blending->setUniformValue("mode", mode);
        blending->setUniformValue("opacity", opacity);
        blending->setUniformValue("docOrigin", GLfloat(docOrigin.x()), GLfloat(docOrigin.y()));
        blending->setUniformValue("docScale", docScale);
        const QImage got = draw(blending.get(), { { "srcTex", sourceTexture->getId() }, { "dstTex", backdropTexture->getId() },
                                                  { "layerMaskTex", maskTexture->getId() } });
        const QString bad = mismatch(grid, got, mode == VellBlend::Dissolve ? 0 : 1, [&](int x, int y) {
            uchar want[4];
            VellBlendReference::blendPixel(grid.source.constScanLine(y) + 4 * x, grid.backdrop.constScanLine(y) + 4 * x, want, mode,
                                           opacity, masked ? grid.mask.constScanLine(y)[x] / 255.0f : 1.0f,
                                           int(std::floor(float(docOrigin.x()) + float(x) * docScale)),
                                           int(std::floor(float(docOrigin.y()) + float(y) * docScale)));
            return qRgba(want[2], want[1], want[0], want[3]);
        });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
    }

    // Every set of channel bits, the empty one and one with a bit outside All, worked out per
    // texel of the grid.
    void postRender()
    {
        using namespace VellChannelBits;
        for (int channels : { int(Red), int(Green), int(Blue), Red | Green, Red | Blue, Green | Blue, int(All), 0, 9 }) {
            postProgram->bind();
            postProgram->setUniformValue("displayingChannel", channels);
            const QImage got = draw(postProgram.get(), { { "srcTex", sourceTexture->getId() }, { "layerMaskTex", maskTexture->getId() } });
            const QString bad = mismatch(grid, got, 1, [&](int x, int y) {
                const QRgb s = grid.source.pixel(x, y);
                const int r = qRed(s), g = qGreen(s), b = qBlue(s), v = channels == Red ? r : channels == Green ? g : b;
                if (channels == Red || channels == Green || channels == Blue)   // one channel as grey
                    return qRgba(v, v, v, qAlpha(s));
                if (channels < All)
                    return qRgba(channels & Red ? r : 0, channels & Green ? g : 0, channels & Blue ? b : 0, qAlpha(s));
                if (channels > All)   // not a channel set: unchanged
                    return s;
                // All three: red at half strength over what the mask hides.
                const double k = 0.5 * (1.0 - grid.mask.constScanLine(y)[x] / 255.0), a = qAlpha(s) / 255.0, ao = k + a * (1 - k);
                auto mix = [&](double over, int under) { return ao > 0 ? int(std::lround(255 * (k * over + a * (1 - k) * under / 255.0) / ao)) : 0; };
                return qRgba(mix(1, r), mix(0, g), mix(0, b), int(std::lround(255 * ao)));
            });
            QVERIFY2(bad.isEmpty(), qPrintable(QString("channels %1: %2").arg(channels).arg(bad)));
        }
    }
};

QTEST_MAIN(TestVellBlendShader)
#include "tst_vellblendshader.moc"
