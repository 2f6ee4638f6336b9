#include "tools/velltoolutil.h"

#include "foundation/vellmessagebox.h"
#include "gpu/vellgltexture2d.h"
#include "support/vellgltestcontext.h"

#include <QPainterPath>
#include <QTransform>
#include <QtTest>

#include <cmath>
#include <functional>
#include <random>

namespace {

QImage randomImage(QSize size, unsigned seed, bool opaque = false)
{
    std::mt19937 rng(seed);
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgba(rng() & 255, rng() & 255, rng() & 255, opaque ? 255 : rng() & 255));
    return image;
}

// Smooth but far from linear, so a misplaced sample shows and a right one interpolates closely;
// half transparent, with a transparent black first row and column that must not darken the colour.
QImage waveImage(QSize size)
{
    QImage image(size, QImage::Format_ARGB32);
    auto wave = [](double t) { return int(127.5 + 120 * t); };
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, !x || !y ? 0u : qRgba(wave(std::sin(x * 0.45)), wave(std::cos(y * 0.4)),
                                                       wave(std::sin((x + y) * 0.3)), 128));
    return image;
}

QImage readBack(const VellGLTexture2D &t)
{
    const int w = t.getWidth(), h = t.getHeight();
    const QByteArray bytes = VellGLTestContext::readTexture(t.getId(), w, h, GL_BGRA, GL_UNSIGNED_BYTE, 4);
    return QImage(reinterpret_cast<const uchar *>(bytes.constData()), w, h, QImage::Format_ARGB32).copy();
}

// Empty when every pixel is within `tolerance` of want(x, y) on each channel; else the first one
// that is not. want returns false to skip.
using Expect = std::function<bool(int x, int y, QRgb *want)>;
QString mismatch(const QImage &got, const Expect &want, int tolerance)
{
    for (int y = 0; y < got.height(); ++y)
        for (int x = 0; x < got.width(); ++x) {
            QRgb w = 0;
            const QRgb g = got.pixel(x, y);
            if (want(x, y, &w))
                for (int shift = 0; shift < 32; shift += 8)
                    if (qAbs(int(g >> shift & 255) - int(w >> shift & 255)) > tolerance)
                        return QString::asprintf("%d,%d: got %08x want %08x", x, y, g, w);
        }
    return QString();
}

// The filters written out plainly (Bilinear a tent, Bicubic Catmull-Rom, Lanczos3).
double kernel(int filter, double x)
{
    x = std::fabs(x);
    if (filter == VellToolUtil::Bilinear)
        return qMax(0.0, 1.0 - x);
    if (filter == VellToolUtil::Bicubic)
        return x < 1 ? (1.5 * x - 2.5) * x * x + 1 : x < 2 ? ((-0.5 * x + 2.5) * x - 4) * x + 2 : 0.0;
    const double p = M_PI * x;
    return x < 1e-4 ? 1.0 : x < 3 ? 3 * std::sin(p) * std::sin(p / 3) / (p * p) : 0.0;
}

// The source at texel position p, each kernel widened by its axis's reduction factor, colour
// weighted by alpha, alpha filtered or nearest.
QRgb sample(const QImage &src, QPointF p, double kx, double ky, int filter, bool filterAlpha)
{
    const double px = p.x(), py = p.y();
    auto texel = [&](int x, int y) {
        return src.pixel(qBound(0, x, src.width() - 1), qBound(0, y, src.height() - 1));
    };
    const QRgb nearest = texel(int(std::floor(px)), int(std::floor(py)));
    if (filter < VellToolUtil::Bilinear || filter > VellToolUtil::Lanczos3)
        return nearest;
    const double sx = qMax(1.0, kx), sy = qMax(1.0, ky);
    double c[3] = {}, a = 0, weights = 0;
    for (int y = int(py - 3 * sy) - 2; y <= int(py + 3 * sy) + 2; ++y)
        for (int x = int(px - 3 * sx) - 2; x <= int(px + 3 * sx) + 2; ++x) {
            const double w = kernel(filter, (x + 0.5 - px) / sx) * kernel(filter, (y + 0.5 - py) / sy);
            const QRgb t = texel(x, y);
            const double wa = w * qAlpha(t) / 255.0;
            c[0] += wa * qRed(t), c[1] += wa * qGreen(t), c[2] += wa * qBlue(t), a += wa, weights += w;
        }
    auto channel = [](double v) { return qBound(0, int(std::lround(v)), 255); };
    const int alpha = filterAlpha ? channel(255 * a / weights) : qAlpha(nearest);
    if (a <= 1e-6)
        return qRgba(qRed(nearest), qGreen(nearest), qBlue(nearest), alpha);
    return qRgba(channel(c[0] / a), channel(c[1] / a), channel(c[2] / a), alpha);
}

QRgb over(QRgb s, QRgb d, double opacity)
{
    const double sa = qAlpha(s) / 255.0 * opacity;
    auto mix = [sa](int a, int b) { return int(std::lround(a * sa + b * (1 - sa))); };
    return qRgba(mix(qRed(s), qRed(d)), mix(qGreen(s), qGreen(d)), mix(qBlue(s), qBlue(d)),
                 int(std::lround(255 * (sa + qAlpha(d) / 255.0 * (1 - sa)))));
}

} // namespace

class TestVellToolUtil : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { VellToolUtil(); VellMessageBox::setPresenter({}); }   // drops the GL program
    void cleanup();
    void copyRectangle_data();
    void copyRectangle();
    void resizeMatchesReference_data();
    void resizeMatchesReference();
    void warps_data();
    void warps();
    void noOps();

private:
    VellGLTestContext gl;
    QStringList messages;   // every message box the code under test showed
};

void TestVellToolUtil::initTestCase()
{
    QVERIFY(gl.isValid());
    VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
        messages << m.title + ": " + m.text;
        return QMessageBox::Ok;
    });
}

// No operation may leave a GL error, a bound framebuffer or a message behind.
void TestVellToolUtil::cleanup()
{
    const QVector<GLenum> errors = VellGLTestContext::takeErrors();
    QVERIFY2(errors.isEmpty(), qPrintable(QString::number(errors.value(0), 16)));
    GLint framebuffer = -1;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
    QCOMPARE(framebuffer, 0);
    QVERIFY2(messages.isEmpty(), qPrintable(messages.join('\n')));
    VellToolUtil::setLargeTextureTexels(36000001);
}

// Same-size copies are texel for texel and touch nothing else; a blend at opacity 0.5 mixes colour
// by source alpha x opacity and composites alpha "over". Past the large-texture threshold both go
// through glCopyTexSubImage2D, at full opacity, unless the destination is no larger than the source.
void TestVellToolUtil::copyRectangle_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QPoint>("to");
    QTest::addColumn<bool>("large");
    QTest::addColumn<QSize>("srcSize");
    QTest::newRow("copy") << "copy" << QPoint(6, 5) << false << QSize(9, 6);
    QTest::newRow("copy by name") << "by name" << QPoint(6, 5) << false << QSize(9, 6);
    QTest::newRow("copy, large destination") << "copy" << QPoint(6, 5) << true << QSize(9, 6);
    // Cut to the destination, which glCopyTexSubImage2D itself would refuse.
    QTest::newRow("copy, large, past the edge") << "copy" << QPoint(10, 9) << true << QSize(9, 6);
    QTest::newRow("blend") << "blend" << QPoint(6, 5) << false << QSize(9, 6);
    QTest::newRow("blend, large destination: copied") << "blend" << QPoint(6, 5) << true << QSize(9, 6);
    QTest::newRow("blend, large, no larger than the source")
        << "blend" << QPoint(6, 5) << true << QSize(13, 11);
}

void TestVellToolUtil::copyRectangle()
{
    QFETCH(QString, call);
    QFETCH(QPoint, to);
    QFETCH(bool, large);
    QFETCH(QSize, srcSize);
    const QImage src = randomImage(srcSize, 1), dst = randomImage(QSize(13, 11), 2);
    VellGLTexture2D srcTexture(src, GL_BGRA, true), dstTexture(dst, GL_BGRA, true);
    if (large)
        VellToolUtil::setLargeTextureTexels(13 * 11);
    const QRect srcRect(2, 1, 5, 4);
    const QRectF dstRect(to, srcRect.size());
    if (call == "by name")
        VellToolUtil::copyTextureToTexture(&dstTexture, srcTexture.getId(), dstRect,
                                           QRectF(2.0 / srcSize.width(), 1.0 / srcSize.height(),
                                                  5.0 / srcSize.width(), 4.0 / srcSize.height()));
    else if (call == "blend")
        VellToolUtil::blendTextureToTexture(&dstTexture, &srcTexture, dstRect, srcRect, 0.5f);
    else
        VellToolUtil::copyTextureToTexture(&dstTexture, &srcTexture, dstRect, srcRect);
    const bool blends = call == "blend" && !(large && srcSize == QSize(9, 6));
    QCOMPARE(mismatch(readBack(dstTexture), [&](int x, int y, QRgb *want) {
        const QPoint s = QPoint(x, y) - to + srcRect.topLeft();
        *want = !srcRect.contains(s) ? dst.pixel(x, y)
              : blends ? over(src.pixel(s), dst.pixel(x, y), 0.5) : src.pixel(s);
        return true;
    }, blends ? 1 : 0), QString());
}

// Every filter against the plain reference within 1/255, enlarging and shrinking by whole and
// fractional factors, with random (partial) alpha. Those shrinks put no pixel centre on a texel edge,
// where "nearest" alpha could go either way. One-texel stripes shrunk 3.3:1 must also average to their
// mean: sampling without the footprint is over 100 off; what remains is the kernels' own ripple.
void TestVellToolUtil::resizeMatchesReference_data()
{
    QTest::addColumn<int>("filter");
    QTest::addColumn<QImage>("src");
    QTest::addColumn<QRectF>("srcRect");
    QTest::addColumn<QRectF>("dstRect");
    QTest::addColumn<bool>("averages");
    QImage stripes(99, 66, QImage::Format_ARGB32);
    for (int x = 0; x < 99; ++x)
        for (int y = 0; y < 66; ++y)
            stripes.setPixel(x, y, (x & 1) ? 0xFFFFFFFF : 0xFF000000);
    const char *names[] = {"nearest", "bilinear", "bicubic", "lanczos3"};
    for (int f = VellToolUtil::Nearest; f <= VellToolUtil::Lanczos3; ++f) {
        auto row = [&](const char *what, const QImage &src, QRectF dstRect, bool averages = false) {
            QTest::addRow("%s, %s", names[f], what) << f << src << QRectF(src.rect()) << dstRect << averages;
        };
        row("enlarge 4x", randomImage(QSize(8, 6), 3), QRectF(0, 0, 32, 24));
        row("shrink 3:1 x 5:1", randomImage(QSize(48, 40), 3), QRectF(0, 0, 16, 8));
        row("shrink 2.5:1", randomImage(QSize(40, 30), 3), QRectF(0, 0, 16, 12));
        if (f == VellToolUtil::Nearest)
            continue;
        row("shrink 4:1 opaque", randomImage(QSize(64, 48), 3, true), QRectF(0, 0, 16, 12));
        row("stripes 3.3:1", stripes, QRectF(0, 0, 30, 20), true);
    }
    QTest::newRow("sub-rectangles")
        << int(VellToolUtil::Bicubic) << randomImage(QSize(32, 24), 3) << QRectF(4, 2, 24, 18)
        << QRectF(3, 1, 8, 6) << false;
}

void TestVellToolUtil::resizeMatchesReference()
{
    QFETCH(int, filter);
    QFETCH(QImage, src);
    QFETCH(QRectF, srcRect);
    QFETCH(QRectF, dstRect);
    QFETCH(bool, averages);
    const QImage dst = randomImage(QSize(32, 24), 4);
    VellGLTexture2D srcTexture(src, GL_BGRA, true), dstTexture(dst, GL_BGRA, true);
    VellToolUtil::resizeTextureToTexture(&dstTexture, &srcTexture, dstRect, srcRect, filter);
    const QImage got = readBack(dstTexture);
    const double kx = srcRect.width() / dstRect.width(), ky = srcRect.height() / dstRect.height();
    QCOMPARE(mismatch(got, [&](int x, int y, QRgb *want) {
        const QPointF s(srcRect.x() + (x + 0.5 - dstRect.x()) * kx,
                        srcRect.y() + (y + 0.5 - dstRect.y()) * ky);
        *want = dstRect.contains(x + 0.5, y + 0.5) ? sample(src, s, kx, ky, filter, false) : dst.pixel(x, y);
        return true;
    }, 1), QString());
    if (averages)
        QCOMPARE(mismatch(got, [](int x, int y, QRgb *want) {
            *want = qRgba(128, 128, 128, 255);
            return x > 0 && x < 29 && y < 20;   // the outer columns repeat their edge texel
        }, 10), QString());
}

// Warps follow the maps they define. The perspective quad is strong: drawn as two affine triangles
// its halves would disagree by texels along the diagonal. The mesh is a strip bent at its middle
// column, the left half squeezed into 16 pixels, the right half stretched over 44. Both only enlarge
// (plain bilinear) and clear what they do not cover.
void TestVellToolUtil::warps_data()
{
    QTest::addColumn<bool>("mesh");
    QTest::newRow("perspective quad") << false;
    QTest::newRow("bent mesh") << true;
}

void TestVellToolUtil::warps()
{
    QFETCH(bool, mesh);
    const QImage src = waveImage(QSize(24, 24));
    VellGLTexture2D srcTexture(src, GL_BGRA, true), dstTexture(randomImage(QSize(64, 64), 5), GL_BGRA, true);
    QPolygonF dstQuad({QPointF(2, 3), QPointF(62, 10), QPointF(50, 50), QPointF(12, 61)});
    const QPolygonF srcQuad({QPointF(2, 2), QPointF(22, 2), QPointF(22, 22), QPointF(2, 22)});
    QTransform toSource;
    std::function<QPointF(QPointF)> map = [&](QPointF p) { return toSource.map(p); };
    if (mesh) {
        dstQuad = QPolygonF(QRectF(0, 4, 60, 48));
        VellToolUtil::tesselateTextureToTexture(
            &dstTexture, &srcTexture, dstQuad, QPolygonF(),
            {QPointF(0, 4), QPointF(0, 52), QPointF(16, 4), QPointF(16, 52), QPointF(60, 4), QPointF(60, 52)},
            {QPointF(0, 0), QPointF(0, 1), QPointF(0.5, 0), QPointF(0.5, 1), QPointF(1, 0), QPointF(1, 1)},
            VellToolUtil::Bilinear);
        map = [](QPointF p) {
            return QPointF(p.x() < 16 ? p.x() * 0.75 : 12 + (p.x() - 16) / 44 * 12, (p.y() - 4) / 2);
        };
    } else {
        VellToolUtil::copyTextureToTexture(&dstTexture, &srcTexture, dstQuad, srcQuad,
                                           VellToolUtil::Bilinear);
        QVERIFY(QTransform::quadToQuad(dstQuad, srcQuad, toSource));
    }
    QPainterPath inside;
    inside.addPolygon(dstQuad);
    QPainterPathStroker stroker;
    stroker.setWidth(3);
    // Slanted edges are left to the rasteriser's rules; the mesh's lie between pixel centres.
    const QPainterPath border = stroker.createStroke(inside);
    QCOMPARE(mismatch(readBack(dstTexture), [&](int x, int y, QRgb *want) {
        const QPointF centre(x + 0.5, y + 0.5), s = map(centre);
        *want = inside.contains(centre) ? sample(src, s, 1, 1, 1, true) : 0u;
        return mesh || !border.contains(centre);
    }, 2), QString());
}

// Calls that cannot draw leave the destination as it was.
void TestVellToolUtil::noOps()
{
    const QImage dst = randomImage(QSize(6, 6), 7);
    VellGLTexture2D empty(0, 0, GL_BGRA, true), src(4, 4, GL_BGRA, true), dstTexture(dst, GL_BGRA, true);
    const QRectF rect(0, 0, 4, 4), halfTexelHigh(0, 0, 4, 0.5);
    VellToolUtil::resizeTextureToTexture(&dstTexture, &src, halfTexelHigh, rect, 1);
    VellToolUtil::copyTextureToTexture(&dstTexture, &empty, rect, rect);
    VellToolUtil::blendTextureToTexture(&dstTexture, &empty, rect, rect, 1.0f);
    const QPolygonF line(QVector<QPointF>{rect.topLeft(), rect.bottomRight()});
    VellToolUtil::copyTextureToTexture(&dstTexture, &src, line, line, 1);
    QCOMPARE(readBack(dstTexture), dst);
}

QTEST_MAIN(TestVellToolUtil)
#include "tst_velltoolutil.moc"
