#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellglobalsettings.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgpumanager.h"
#include "history/vellpicturemodifymemo.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"
#include "support/vellgltestcontext.h"
#include "tools/velltoolutil.h"

#include <QPainterPath>
#include <QTransform>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>

namespace {

const QSize kDocument(1000, 800);

VellPictureHost *hostFrom(const QByteArray &bytes, QSize size, int pixelWidth)
{
    auto *host = new VellPictureHost(size.width(), size.height(), pixelWidth);
    host->read(reinterpret_cast<const uchar *>(bytes.constData()));
    return host;
}

QByteArray bytesOf(const VellPictureHost *h)
{
    return QByteArray(reinterpret_cast<const char *>(h->getData()), int(h->getByteCount()));
}

VellPictureHost *imageHost(const QImage &image)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    return hostFrom(QByteArray(reinterpret_cast<const char *>(argb.constBits()), int(argb.sizeInBytes())),
                    argb.size(), 4);
}

QImage hostImage(const VellPictureHost *host)
{
    return QImage(host->getData(), int(host->getWidth()), int(host->getHeight()), QImage::Format_ARGB32).copy();
}

// Smooth colour at a uniform alpha, so that bicubic interpolation stays close to the reference and
// a squared alpha would show at once.
QImage waveImage(QSize size, int alpha)
{
    QImage image(size, QImage::Format_ARGB32);
    auto wave = [](double t) { return int(127.5 + 110 * t); };
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgba(wave(std::sin(x * 1.1)), wave(std::cos(y * 0.9)),
                                       wave(std::sin((x + y) * 0.7)), alpha));
    return image;
}

// The filters written out plainly: tent, Catmull-Rom, Lanczos-3, each widened by its axis's
// reduction; colour weighted by alpha, alpha filtered or nearest.
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

QRgb sample(const QImage &src, QPointF p, double kx, double ky, int filter, bool filterAlpha)
{
    auto texel = [&](int x, int y) {
        return src.pixel(qBound(0, x, src.width() - 1), qBound(0, y, src.height() - 1));
    };
    const QRgb nearest = texel(int(std::floor(p.x())), int(std::floor(p.y())));
    if (filter < VellToolUtil::Bilinear || filter > VellToolUtil::Lanczos3)
        return nearest;
    const double sx = qMax(1.0, kx), sy = qMax(1.0, ky);
    double c[3] = {}, a = 0, weights = 0;
    for (int y = int(p.y() - 3 * sy) - 2; y <= int(p.y() + 3 * sy) + 2; ++y)
        for (int x = int(p.x() - 3 * sx) - 2; x <= int(p.x() + 3 * sx) + 2; ++x) {
            const double w = kernel(filter, (x + 0.5 - p.x()) / sx) * kernel(filter, (y + 0.5 - p.y()) / sy);
            const QRgb t = texel(x, y);
            const double wa = w * qAlpha(t) / 255.0;
            c[0] += wa * qRed(t), c[1] += wa * qGreen(t), c[2] += wa * qBlue(t), a += wa, weights += w;
        }
    auto channel = [](double v) { return qBound(0, int(std::lround(v)), 255); };
    const int alpha = filterAlpha ? channel(255 * a / weights) : qAlpha(nearest);
    return qRgba(channel(c[0] / a), channel(c[1] / a), channel(c[2] / a), alpha);
}

QImage resizeReference(const QImage &src, QSize to, int filter)
{
    QImage dst(to, QImage::Format_ARGB32);
    const double kx = double(src.width()) / to.width(), ky = double(src.height()) / to.height();
    for (int y = 0; y < to.height(); ++y)
        for (int x = 0; x < to.width(); ++x)
            dst.setPixel(x, y, sample(src, QPointF((x + 0.5) * kx, (y + 0.5) * ky), kx, ky, filter, false));
    return dst;
}

// Empty when every channel is within `tolerance` wherever want() answers; else the first miss.
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

// The whole document turned or mirrored, as a map of document points: W x H before the turn.
enum Turn { Minus90, Plus90, Half, MirrorLeftRight, MirrorTopBottom };
QTransform documentMap(Turn turn, double W, double H)
{
    switch (turn) {
    case Minus90: return QTransform(0, 1, -1, 0, H, 0);    // clockwise: (x, y) -> (H - y, x)
    case Plus90: return QTransform(0, -1, 1, 0, 0, W);     // counter-clockwise: (x, y) -> (y, W - x)
    case Half: return QTransform(-1, 0, 0, -1, W, H);
    case MirrorLeftRight: return QTransform(-1, 0, 0, 1, W, 0);
    case MirrorTopBottom: return QTransform(1, 0, 0, -1, 0, H);
    }
    return QTransform();
}

void applyTurn(VellLayer &layer, Turn turn)
{
    switch (turn) {
    case Minus90: layer.rotate(-90); break;
    case Plus90: layer.rotate(90); break;
    case Half: layer.rotate(180); break;
    case MirrorLeftRight: layer.flip(true); break;
    case MirrorTopBottom: layer.flip(false); break;
    }
}

using Step = std::function<void(VellLayer &)>;

} // namespace

Q_DECLARE_METATYPE(Step)

class TestVellLayerGeometry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void init()
    {
        VellLayer::View view;
        view.documentSize = kDocument;
        VellLayer::setViewProbe([view] { return std::optional<VellLayer::View>(view); });
    }
    void cleanup()
    {
        VellLayer::setViewProbe(nullptr);
        VellGpuManager::setAvailableMemoryOverride(nullptr);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
        GLint framebuffer = -1;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
        QCOMPARE(framebuffer, 0);
    }
    void cleanupTestCase() { VellToolUtil dropProgram; Q_UNUSED(dropProgram); }

    void turns_data();
    void turns();
    void resizeSteps();
    void resizePixels_data();
    void resizePixels();
    void warps_data();
    void warps();
    void refusals_data();
    void refusals();
    void undoRestores_data();
    void undoRestores();

private:
    VellGLTestContext gl;
};

// Pixels move exactly as the document's map moves pixel centres, 8- and 16-bit, odd sizes, on
// active layers and on inactive ones without a texture; the position is the layer's rectangle
// under the same map (the rows at 300 x 200 are the examples of a 1000 x 800 document).
void TestVellLayerGeometry::turns_data()
{
    QTest::addColumn<int>("turn");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("pixelWidth");
    QTest::addColumn<bool>("active");
    QTest::addColumn<QPointF>("position");   // expected afterwards, when given
    QTest::newRow("rotate 90, 300 x 200 at 10,20") << int(Plus90) << QSize(300, 200) << 4 << true << QPointF(20, 690);
    QTest::newRow("flip left-right, 300 x 200 at 10,20") << int(MirrorLeftRight) << QSize(300, 200) << 4 << true << QPointF(690, 20);
    const char *names[] = {"rotate -90", "rotate 90", "rotate 180", "flip left-right", "flip top-bottom"};
    for (int t = Minus90; t <= MirrorTopBottom; ++t)
        for (int pixelWidth : {4, 8})
            for (bool active : {true, false})
                QTest::addRow("%s, %d bytes, %s", names[t], pixelWidth, active ? "active" : "inactive")
                    << t << QSize(7, 5) << pixelWidth << active << QPointF();
}

void TestVellLayerGeometry::turns()
{
    QFETCH(int, turn);
    QFETCH(QSize, size);
    QFETCH(int, pixelWidth);
    QFETCH(bool, active);
    QFETCH(QPointF, position);
    const QByteArray before = VellGLTestContext::patternBytes(size.width() * size.height() * pixelWidth, turn + 3);
    VellLayer layer("L");
    layer.setVellPictureHost(hostFrom(before, size, pixelWidth));
    layer.setPosition(QPointF(10, 20));
    layer.active();
    if (!active)
        layer.disactive(true);
    applyTurn(layer, Turn(turn));
    QCOMPARE(layer.getGeometryError(), QString());

    const QTransform local = documentMap(Turn(turn), size.width(), size.height());
    const QSize turned = local.mapRect(QRect(QPoint(), size)).size();
    const VellPictureHost *host = layer.getPictureHost();
    QCOMPARE(QSize(host->getWidth(), host->getHeight()), turned);
    const QRectF onDocument = documentMap(Turn(turn), kDocument.width(), kDocument.height())
                                  .mapRect(QRectF(QPointF(10, 20), size));
    QCOMPARE(layer.getPosition(), onDocument.topLeft());
    if (!position.isNull())
        QCOMPARE(layer.getPosition(), position);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            const QPointF to = local.map(QPointF(x + 0.5, y + 0.5));
            const int tx = int(to.x()), ty = int(to.y());
            const char *want = before.constData() + (y * size.width() + x) * pixelWidth;
            const uchar *got = host->getData() + (ty * turned.width() + tx) * pixelWidth;
            QVERIFY2(std::memcmp(got, want, pixelWidth) == 0, qPrintable(QString::asprintf("%d,%d", x, y)));
        }

    QCOMPARE(layer.getLatestPlace(), int(VellLayer::BothAgree));
    QVERIFY(layer.getEntireTexture());
    const bool deep = pixelWidth == 8;
    QCOMPARE(VellGLTestContext::readTexture(layer.getEntireTexture()->getId(), turned.width(), turned.height(),
                                            GL_BGRA, deep ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE, pixelWidth),
             bytesOf(host));
    QCOMPARE(layer.getCenter(), QPointF(turned.width() * 0.5, turned.height() * 0.5));
    QCOMPARE(layer.getFboTextureList().size(), active ? 1 : 0);
}

void TestVellLayerGeometry::resizeSteps()
{
    auto widths = [](QSize from, QSize to) {
        QList<int> w;
        for (const QSize &s : VellLayer::resizeSteps(from, to))
            w << s.width();
        return w;
    };
    QCOMPARE(widths(QSize(1000, 1000), QSize(100, 100)), (QList<int>{500, 250, 125, 100}));
    QCOMPARE(widths(QSize(1000, 1000), QSize(3000, 3000)), (QList<int>{3000}));
    QCOMPARE(widths(QSize(9, 9), QSize(2, 2)), (QList<int>{5, 3, 2}));   // halves round up
}

// The size is trunc(side x factor); the pixels are the CPU filter run through the same halving
// steps. Alpha is uniform (50 % in one row) since shrinking by 2:1 puts pixel centres on texel
// edges, where the nearest texel's alpha could go either way.
void TestVellLayerGeometry::resizePixels_data()
{
    QTest::addColumn<int>("filter");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("factor");
    QTest::addColumn<QSize>("target");
    QTest::addColumn<int>("alpha");
    QTest::newRow("bicubic, 15/11 truncates to 14") << 2 << QSize(11, 11) << 15.0 / 11 << QSize(14, 14) << 255;
    QTest::newRow("bicubic, (15 + 0.5)/11 gives 15") << 2 << QSize(11, 11) << 15.5 / 11 << QSize(15, 15) << 255;
    QTest::newRow("bilinear, 2.5x in one step") << 1 << QSize(9, 7) << 2.5 << QSize(22, 17) << 255;
    QTest::newRow("bicubic, 0.3 in two steps, 50 % alpha") << 2 << QSize(40, 30) << 0.3 << QSize(12, 9) << 128;
    QTest::newRow("lanczos3, 0.2 in three steps") << 3 << QSize(50, 45) << 0.2 << QSize(10, 9) << 255;
    QTest::newRow("nearest, 0.5") << 0 << QSize(13, 9) << 0.5 << QSize(6, 4) << 255;
}

void TestVellLayerGeometry::resizePixels()
{
    QFETCH(int, filter);
    QFETCH(QSize, size);
    QFETCH(double, factor);
    QFETCH(QSize, target);
    QFETCH(int, alpha);
    const QImage source = waveImage(size, alpha);
    VellLayer layer("L");
    layer.setVellPictureHost(imageHost(source));
    layer.setInterpolation(filter);
    layer.active();
    layer.resize(factor, factor);
    QCOMPARE(layer.getGeometryError(), QString());
    QCOMPARE(QSize(layer.getWidth(), layer.getHeight()), target);
    QImage want = source;
    int steps = 0;
    for (const QSize &step : VellLayer::resizeSteps(size, target)) {
        want = resizeReference(want, step, filter);
        ++steps;
    }
    // One level of rounding per step.
    QCOMPARE(mismatch(hostImage(layer.getPictureHost()), [&](int x, int y, QRgb *w) {
        *w = want.pixel(x, y);
        return true;
    }, steps), QString());
    QCOMPARE(layer.getLatestPlace(), int(VellLayer::BothAgree));
    QCOMPARE(layer.getCenter(), QPointF(target.width() * 0.5, target.height() * 0.5));
}

// Free rotation, a perspective quadrilateral and a mesh against the CPU map from document pixels back to
// layer pixels (bicubic, which only enlarges or keeps the scale here), inside the mapped outline;
// the half-transparent layer keeps its alpha (a squared alpha would be 64). Around the outline the
// edge repair leaves no transparent black beside a visible pixel. With little video memory the
// extent is cut to the document.
void TestVellLayerGeometry::warps_data()
{
    QTest::addColumn<QPolygonF>("quad");        // empty: rotate by `angle`
    QTest::addColumn<double>("angle");        // -1 with a quad: through the mesh
    QTest::addColumn<unsigned>("memoryKiB");    // 0: the driver's own figure
    QTest::addColumn<QRect>("extent");          // in document pixels
    const QRectF layer(QPointF(40, 30), QSizeF(24, 20));
    QTransform turn;
    turn.translate(52, 40).rotate(30).translate(-52, -40);
    const QRect turned = turn.mapRect(layer).toAlignedRect();
    QTest::newRow("rotate 30") << QPolygonF() << 30.0 << 0u << turned;
    const QPolygonF quad({QPointF(20, 12), QPointF(95, 25), QPointF(80, 70), QPointF(28, 88)});
    QTest::newRow("perspective") << quad << 0.0 << 0u << QRect(20, 12, 75, 76);
    const QPolygonF mirrored({QPointF(95, 25), QPointF(20, 12), QPointF(28, 88), QPointF(80, 70)});
    QTest::newRow("perspective, mirrored order") << mirrored << 0.0 << 0u << QRect(20, 12, 75, 76);
    // 100 MiB free: too little to keep a whole extent.
    const QPolygonF past({QPointF(-30, -20), QPointF(60, -10), QPointF(50, 40), QPointF(-20, 50)});
    QTest::newRow("little memory: cut to the document") << past << 0.0 << 102400u << QRect(0, 0, 60, 50);
    QTest::newRow("unknown memory: whole") << past << 0.0 << 0u << QRect(-30, -20, 90, 70);
    // A strip of two triangles over a parallelogram: affine, so the same map as the quadrilateral's.
    const QPolygonF slanted({QPointF(30, 10), QPointF(90, 20), QPointF(80, 60), QPointF(20, 50)});
    QTest::newRow("mesh") << slanted << -1.0 << 0u << QRect(20, 10, 70, 50);
}

void TestVellLayerGeometry::warps()
{
    QFETCH(QPolygonF, quad);
    QFETCH(double, angle);
    QFETCH(unsigned, memoryKiB);
    QFETCH(QRect, extent);
    if (memoryKiB)
        VellGpuManager::setAvailableMemoryOverride([memoryKiB] { return memoryKiB; });
    const QImage source = waveImage(QSize(24, 20), 128);
    VellLayer layer("L");
    layer.setVellPictureHost(imageHost(source));
    layer.setPosition(QPointF(40, 30));
    layer.active();
    QTransform toLayer;   // document point -> layer point
    if (quad.isEmpty()) {
        layer.setRotationAngle(float(angle));
        layer.applyRotation();
        QTransform turn;
        turn.translate(52, 40).rotate(angle).translate(-52, -40);
        quad = turn.map(QPolygonF(QRectF(40, 30, 24, 20)));
        quad.removeLast();
        toLayer = turn.inverted() * QTransform::fromTranslate(-40, -30);
        QCOMPARE(layer.getRotationAngle(), 0.0f);
    } else if (angle < 0) {
        layer.tesselateAffine(quad, {QPointF(0, 0), QPointF(0, 1), QPointF(1, 0), QPointF(1, 1)},
                              {quad[0], quad[3], quad[1], quad[2]});
        QVERIFY(QTransform::quadToQuad(quad, QPolygonF(QRectF(0, 0, 24, 20)).mid(0, 4), toLayer));
    } else {
        layer.applyAffine(quad);
        QVERIFY(QTransform::quadToQuad(quad, QPolygonF(QRectF(0, 0, 24, 20)).mid(0, 4), toLayer));
    }
    QCOMPARE(layer.getGeometryError(), QString());
    QCOMPARE(QRect(layer.getPosition().toPoint(), QSize(layer.getWidth(), layer.getHeight())), extent);
    QCOMPARE(layer.getLatestPlace(), int(VellLayer::BothAgree));
    QCOMPARE(layer.getCenter(), QPointF(extent.width() * 0.5, extent.height() * 0.5));

    const QImage got = hostImage(layer.getPictureHost());
    QPainterPath inside;
    inside.addPolygon(quad.translated(-extent.topLeft()));
    inside.closeSubpath();
    QPainterPathStroker stroker;
    stroker.setWidth(5);   // the slanted edges, and the clamped source edge under the kernel
    const QPainterPath border = stroker.createStroke(inside);
    QCOMPARE(mismatch(got, [&](int x, int y, QRgb *want) {
        const QPointF centre(x + 0.5, y + 0.5);
        if (!inside.contains(centre) || border.contains(centre))
            return false;
        *want = sample(source, toLayer.map(centre + extent.topLeft()), 1, 1, VellToolUtil::Bicubic, true);
        return true;
    }, 2), QString());
    // Outside the outline: transparent, and never black beside a visible pixel.
    QCOMPARE(mismatch(got, [&](int x, int y, QRgb *want) {
        if (inside.contains(QPointF(x + 0.5, y + 0.5)) || border.contains(QPointF(x + 0.5, y + 0.5)))
            return false;
        *want = got.pixel(x, y) & 0xFFFFFF;
        return true;
    }, 0), QString());
    for (int y = 1; y < got.height() - 1; ++y)
        for (int x = 1; x < got.width() - 1; ++x) {
            if (got.pixel(x, y) != 0)
                continue;
            const bool nearVisible = qAlpha(got.pixel(x - 1, y)) || qAlpha(got.pixel(x + 1, y))
                                     || qAlpha(got.pixel(x, y - 1)) || qAlpha(got.pixel(x, y + 1));
            QVERIFY2(!nearVisible, qPrintable(QString::asprintf("%d,%d", x, y)));
        }
}

// A refused operation changes neither pixels, size, position nor textures, and says why.
void TestVellLayerGeometry::refusals_data()
{
    QTest::addColumn<Step>("step");
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("rotate 45") << Step([](VellLayer &l) { l.rotate(45); });
    QTest::newRow("factor 0") << Step([](VellLayer &l) { l.resize(0, 1); });
    QTest::newRow("NaN factor") << Step([nan](VellLayer &l) { l.resize(nan, 1); });
    QTest::newRow("side below a pixel") << Step([](VellLayer &l) { l.resize(0.05, 1); });
    QTest::newRow("beyond the largest texture") << Step([](VellLayer &l) { l.resize(1e5, 1); });
    QTest::newRow("beyond the image limit") << Step([](VellLayer &l) {
        VellGlobalSettings::getInstance()->imageLimitX = 20;
        l.resize(2, 1);
    });
    QTest::newRow("crop missing the layer") << Step([](VellLayer &l) { l.clip(QRect(12, 0, 4, 4)); });
    QTest::newRow("bow-tie") << Step([](VellLayer &l) {
        l.applyAffine(QPolygonF({QPointF(0, 0), QPointF(20, 20), QPointF(20, 0), QPointF(0, 20)}));
    });
    QTest::newRow("three collinear corners") << Step([](VellLayer &l) {
        l.applyAffine(QPolygonF({QPointF(0, 0), QPointF(10, 0), QPointF(20, 0), QPointF(0, 20)}));
    });
    QTest::newRow("NaN corner") << Step([nan](VellLayer &l) {
        l.applyAffine(QPolygonF({QPointF(0, 0), QPointF(nan, 0), QPointF(20, 20), QPointF(0, 20)}));
    });
    QTest::newRow("mesh lists of different lengths") << Step([](VellLayer &l) {
        l.tesselateAffine(QPolygonF(QRectF(0, 0, 10, 10)), {QPointF(0, 0), QPointF(1, 0), QPointF(0, 1)},
                          {QPointF(0, 0), QPointF(10, 0)});
    });
    QTest::newRow("NaN rotation angle") << Step([nan](VellLayer &l) {
        l.setRotationAngle(float(nan));
        l.applyRotation();
    });
}

void TestVellLayerGeometry::refusals()
{
    QFETCH(Step, step);
    const QSize limit = VellGlobalSettings::getInstance()->getImageLimitSize();
    const QByteArray before = VellGLTestContext::patternBytes(11 * 9 * 4, 5);
    VellLayer layer("L");
    layer.setVellPictureHost(hostFrom(before, QSize(11, 9), 4));
    layer.setPosition(QPointF(3, 4));
    layer.active();
    const VellPictureHost *host = layer.getPictureHost();
    const VellGLTexture2D *texture = layer.getEntireTexture();
    step(layer);
    VellGlobalSettings::getInstance()->setImageLimitSize(limit);
    QVERIFY(!layer.getGeometryError().isEmpty());
    QCOMPARE(layer.getPictureHost(), host);
    QCOMPARE(bytesOf(host), before);
    QCOMPARE(QSize(host->getWidth(), host->getHeight()), QSize(11, 9));
    QCOMPARE(layer.getPosition(), QPointF(3, 4));
    QCOMPARE(layer.getEntireTexture(), texture);
    QCOMPARE(layer.getLatestPlace(), int(VellLayer::BothAgree));
}

// A picture memo recorded before an operation takes the layer back byte for byte.
void TestVellLayerGeometry::undoRestores_data()
{
    QTest::addColumn<Step>("step");
    QTest::newRow("rotate 90") << Step([](VellLayer &l) { l.rotate(90); });
    QTest::newRow("free rotation") << Step([](VellLayer &l) {
        l.setRotationAngle(20);
        l.applyRotation();
    });
}

void TestVellLayerGeometry::undoRestores()
{
    QFETCH(Step, step);
    auto *context = new VellContext;
    context->setSelection(new VellSelection(nullptr, 40, 30));
    VellContextManager *manager = VellContextManager::getInstance();
    manager->addContext(context);
    manager->setCurrentContext(manager->indexOfContext(context));
    const std::unique_ptr<VellContext> owner(context);
    const QByteArray before = VellGLTestContext::patternBytes(13 * 9 * 4, 7);
    auto *layer = new VellLayer("L");
    layer->setVellPictureHost(hostFrom(before, QSize(13, 9), 4));
    context->getLayerManager()->addLayer(layer, false);
    layer->active();
    VellPictureModifyMemo memo(context, layer->getPictureHost(), layer->getPermanentIndex(), false);
    step(*layer);
    QCOMPARE(layer->getGeometryError(), QString());
    QVERIFY(bytesOf(layer->getPictureHost()) != before);
    QVERIFY(memo.undo());
    QCOMPARE(QSize(layer->getWidth(), layer->getHeight()), QSize(13, 9));
    QCOMPARE(bytesOf(layer->getPictureHost()), before);
}

QTEST_MAIN(TestVellLayerGeometry)
#include "tst_velllayergeometry.moc"
