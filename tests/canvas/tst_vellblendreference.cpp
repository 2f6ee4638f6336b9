#include "canvas/vellblendreference.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "picture/vellpicturehost.h"

#include <QtTest>

#include <cmath>
#include <memory>
#include <vector>

namespace {

QRgb blendOne(QRgb src, QRgb dst, int mode, float opacity = 1.0f, float mask = 1.0f, int x = 0, int y = 0)
{
    const uchar s[4] = { uchar(qBlue(src)), uchar(qGreen(src)), uchar(qRed(src)), uchar(qAlpha(src)) };
    uchar d[4] = { uchar(qBlue(dst)), uchar(qGreen(dst)), uchar(qRed(dst)), uchar(qAlpha(dst)) };
    VellBlendReference::blendPixel(s, d, d, mode, opacity, mask, x, y);   // in place, as compositeLayer does
    return qRgba(d[2], d[1], d[0], d[3]);
}

QImage patternImage(int w, int h, int seed)
{
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, qRgba((x * 53 + y * 17 + seed * 31) & 255, (x * 11 + y * 71 + seed) & 255,
                                       (x * y * 7 + seed * 5) & 255, (x * 37 + y * 59 + seed * 13) & 255));
    return image;
}

// Appended on top of the stack; without a host, one is read from the ARGB32 rows (B, G, R, A here).
VellLayer *addLayer(VellLayerManager *stack, const QImage &image, QPoint position, int mode, float opacity,
                    VellPictureHost *host = nullptr)
{
    if (!host)
        (host = new VellPictureHost(image.width(), image.height(), 4))->read(image.constBits());
    auto *layer = new VellLayer(QStringLiteral("layer"));
    layer->setVellPictureHost(host);
    layer->setPosition(position);
    layer->setBlendMode(mode);
    layer->setAlpha(opacity);
    stack->insertLayer(layer, stack->getLayers().size(), false);
    return layer;
}

} // namespace

class TestVellBlendReference : public QObject
{
    Q_OBJECT

private slots:
    // Expected values worked out by hand from the formulas, in double precision (levels k / 255, rounded
    // to the nearest level). Grey rows are opaque grey over opaque grey, so they give B.
    void blend_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QRgb>("source");
        QTest::addColumn<QRgb>("backdrop");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<float>("mask");
        QTest::addColumn<QRgb>("expected");
        // Grey over grey: { mode, cb, cs, B }; edges such as Color Burn's "cb 1" tested before "cs 0".
        using namespace VellBlend;
        const int greys[][4] = {
            { Darken, 200, 100, 100 }, { Multiply, 200, 100, 78 }, { Lighten, 100, 200, 200 }, { Screen, 100, 200, 222 },
            { Difference, 100, 200, 100 }, { ColorBurn, 255, 0, 255 }, { ColorBurn, 100, 0, 0 }, { ColorBurn, 200, 100, 115 },
            { LinearBurn, 200, 100, 45 }, { LinearDodge, 100, 50, 150 }, { ColorDodge, 0, 255, 0 }, { ColorDodge, 1, 255, 255 },
            { ColorDodge, 30, 100, 49 }, { Overlay, 100, 200, 157 }, { Overlay, 200, 100, 188 }, { SoftLight, 100, 50, 63 },
            { SoftLight, 100, 200, 134 }, { SoftLight, 40, 200, 74 }, { HardLight, 100, 200, 188 }, { HardLight, 200, 100, 157 },
            { VividLight, 100, 127, 99 }, { VividLight, 100, 128, 100 }, { VividLight, 0, 255, 0 }, { LinearLight, 100, 200, 245 },
            { LinearLight, 100, 20, 0 }, { PinLight, 200, 60, 120 }, { PinLight, 100, 200, 145 }, { HardMix, 100, 155, 255 },
            { HardMix, 100, 154, 0 }, { Exclusion, 100, 200, 143 },
            { 55, 100, 200, 200 },   // an unknown code is Normal
        };
        auto row = [](const char *name, int mode, QRgb cs, QRgb cb, QRgb want, float opacity = 1.0f, float mask = 1.0f) {
            QTest::newRow(name) << mode << cs << cb << opacity << mask << want;
        };
        for (const auto &g : greys) {
            const QString mode = VellLayerBase::isBlendModeCode(g[0]) ? VellLayerBase::getBlendModeName(g[0])
                                                                      : QString::asprintf("code %d", g[0]);
            row(qPrintable(QString::asprintf("%s: %d over %d", qPrintable(mode), g[2], g[1])), g[0],
                qRgb(g[2], g[2], g[2]), qRgb(g[1], g[1], g[1]), qRgb(g[3], g[3], g[3]));
        }
        row("hue: blue hue, red's lum", Hue, qRgb(0, 0, 255), qRgb(255, 0, 0), qRgb(54, 54, 255));
        row("saturation", Saturation, qRgb(220, 180, 40), qRgb(50, 100, 200), qRgb(41, 101, 221));
        row("saturation of grey", Saturation, qRgb(128, 128, 128), qRgb(50, 100, 200), qRgb(96, 96, 96));
        row("color on grey", Color, qRgb(200, 30, 90), qRgb(128, 128, 128), qRgb(240, 70, 130));
        row("luminosity, clipped above", Luminosity, qRgb(220, 180, 40), qRgb(50, 100, 200), qRgb(142, 180, 255));
        row("luminosity, clipped below", Luminosity, qRgb(51, 51, 51), qRgb(255, 0, 0), qRgb(170, 0, 0));
        // 30 R + 59 G + 11 B: 5900 against 6000, and 1770 on both sides.
        row("darker color takes darker source", DarkerColor, qRgb(0, 100, 0), qRgb(200, 0, 0), qRgb(0, 100, 0));
        row("darker color tie keeps backdrop", DarkerColor, qRgb(59, 0, 0), qRgb(0, 30, 0), qRgb(0, 30, 0));
        row("lighter color takes lighter source", LighterColor, qRgb(200, 0, 0), qRgb(0, 100, 0), qRgb(200, 0, 0));
        row("lighter color tie keeps backdrop", LighterColor, qRgb(59, 0, 0), qRgb(0, 30, 0), qRgb(0, 30, 0));
        // The compositing around B.
        const QRgb dim = qRgba(10, 20, 30, 40), opaque = qRgb(200, 100, 50);
        row("half alpha over transparent keeps its colour", Multiply, qRgba(200, 100, 50, 128), 0u, qRgba(200, 100, 50, 128));
        row("normal is source-over", Normal, qRgba(255, 0, 0, 128), qRgb(0, 0, 255), qRgb(128, 0, 127));
        row("blend weighted by backdrop alpha", Multiply, qRgb(200, 200, 200), qRgba(100, 100, 100, 128), qRgb(139, 139, 139));
        row("both half transparent, screen", Screen, qRgba(255, 0, 0, 128), qRgba(0, 0, 255, 128), qRgba(170, 0, 170, 192));
        row("opacity and mask multiply", Multiply, qRgba(90, 160, 30, 200), qRgb(200, 50, 120), qRgb(151, 43, 80), 0.6f, 0.8f);
        row("transparent over transparent", Normal, qRgba(200, 100, 50, 0), qRgba(10, 20, 30, 0), 0u);
        row("mask 0 keeps the backdrop", Difference, opaque, dim, dim, 1.0f, 0.0f);
        row("NaN opacity counts as 0", Normal, opaque, dim, dim, float(NAN));
        row("opacity above 1 counts as 1", Normal, opaque, dim, opaque, 3.0f, 7.0f);
    }

    void blend()
    {
        QFETCH(int, mode);
        QFETCH(QRgb, source);
        QFETCH(QRgb, backdrop);
        QFETCH(float, opacity);
        QFETCH(float, mask);
        QFETCH(QRgb, expected);
        QCOMPARE(QString::number(blendOne(source, backdrop, mode, opacity, mask), 16), QString::number(expected, 16));
    }

    // Every threshold (n + 0.5) / 4096 once per 64 x 64 window (so a window shows exactly its share of any alpha),
    // repeating every 64 pixels, and no correlation between neighbours (raster or ramp orders give |r| near 1).
    void dissolveNoise()
    {
        std::vector<bool> seen(4096);
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) {
                const float t = VellBlendReference::dissolveThreshold(x - 100, y + 37);
                const int n = int(t * 4096.0f);
                const QByteArray at = QByteArray::number(x) + ',' + QByteArray::number(y);
                QVERIFY2(n >= 0, at.constData());
                QVERIFY2(n < 4096, at.constData());
                QVERIFY2(!seen[n], at.constData());
                QVERIFY2(t == (n + 0.5f) / 4096.0f, at.constData());
                QVERIFY2(t == VellBlendReference::dissolveThreshold(x + 28, y - 27), at.constData());
                seen[n] = true;
            }
        for (QPoint d : { QPoint(1, 0), QPoint(0, 1), QPoint(1, 1), QPoint(1, -1), QPoint(2, 0), QPoint(0, 2) }) {
            double sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0, n = 128 * 128;
            for (int y = 0; y < 128; ++y)
                for (int x = 0; x < 128; ++x) {
                    const double a = VellBlendReference::dissolveThreshold(x, y), b = VellBlendReference::dissolveThreshold(x + d.x(), y + d.y());
                    sa += a, sb += b, saa += a * a, sbb += b * b, sab += a * b;
                }
            const double r = (sab - sa * sb / n) / std::sqrt((saa - sa * sa / n) * (sbb - sb * sb / n));
            QVERIFY2(std::fabs(r) < 0.1, qPrintable(QString("%1,%2: %3").arg(d.x()).arg(d.y()).arg(r)));
        }
    }

    // All or nothing per pixel, decided on the effective alpha's 8-bit level.
    void dissolve()
    {
        const QRgb dst = qRgba(10, 20, 30, 90);
        const std::pair<int, float> cases[] = { { 255, 1.0f }, { 0, 1.0f }, { 1, 1.0f }, { 64, 1.0f }, { 255, 0.5f } };
        for (auto [alpha, opacity] : cases) {
            for (int y = 500; y < 564; ++y)
                for (int x = -20; x < 44; ++x) {
                    const bool on = VellBlendReference::dissolveThreshold(x, y) < std::round(alpha * opacity) / 255.0f;
                    QVERIFY2(blendOne(qRgba(200, 100, 50, alpha), dst, VellBlend::Dissolve, opacity, 1.0f, x, y)
                                 == (on ? qRgb(200, 100, 50) : dst),
                             qPrintable(QString("alpha %1 x %2 at %3,%4").arg(alpha).arg(opacity).arg(x).arg(y)));
                }
        }
    }

    void badInputsChangeNothing()
    {
        const QImage source = patternImage(4, 4, 3);
        const int normal = VellBlend::Normal;
        VellBlendReference::compositeLayer(nullptr, source, QPoint(), normal, 1.0f, nullptr);
        QImage premultiplied = patternImage(4, 4, 4).convertToFormat(QImage::Format_ARGB32_Premultiplied), backdrop = patternImage(4, 4, 5);
        const QImage copy = premultiplied.copy();
        VellBlendReference::compositeLayer(&premultiplied, source, QPoint(), normal, 1.0f, nullptr);
        VellBlendReference::compositeLayer(&backdrop, QImage(), QPoint(), normal, 1.0f, nullptr);
        VellBlendReference::compositeLayer(&backdrop, source, QPoint(INT_MAX - 2, INT_MIN + 1), normal, 1.0f, nullptr);
        VellBlendReference::blendPixel(nullptr, backdrop.bits(), backdrop.bits(), normal, 1.0f, 1.0f, 0, 0);
        QCOMPARE(premultiplied, copy);
        QCOMPARE(backdrop, patternImage(4, 4, 5));
        VellContext empty;
        QVERIFY(!VellBlendReference::renderToImage(nullptr, 4, 4));
        QVERIFY(!VellBlendReference::renderToImage(&empty, 0, 4));
        std::unique_ptr<QImage> blank(VellBlendReference::renderToImage(&empty, 3, 2));
        QVERIFY(blank);
        QCOMPARE(blank->size(), QSize(3, 2));
        QCOMPARE(blank->pixel(2, 1), 0u);
    }

    void renderToImage()
    {
        VellLayerManager::setDocumentProbe([] { return std::optional(VellLayerManager::Document()); });
        auto document = std::make_unique<VellContext>();
        VellLayerManager *stack = document->getLayerManager();
        const QImage bottom = patternImage(16, 12, 6), masked = patternImage(9, 8, 7), hidden = patternImage(16, 12, 8);
        // The bottom layer composites as Normal: over transparent only Dissolve would differ.
        addLayer(stack, bottom, QPoint(0, 0), VellBlend::Dissolve, 0.9f);
        // Clipped at the left and bottom; Dissolve keyed on document positions.
        VellLayer *withMask = addLayer(stack, masked, QPoint(-2, 7), VellBlend::Dissolve, 0.6f);
        withMask->createLayerMask();
        VellLayerMask *mask = withMask->getLayerMask();
        for (int i = 0; i < mask->getPaddedWidth() * mask->getHeight(); ++i)
            mask->getData()[i] = uchar(i * 23);
        addLayer(stack, hidden, QPoint(0, 0), VellBlend::Difference, 1.0f)->visible = false;
        addLayer(stack, hidden, QPoint(0, 0), VellBlend::Difference, 1.0f)->excluded = true;
        // A 16-bit layer: k * 257 + 100 narrows to k, k * 257 + 200 to k + 1 (the high byte would be k).
        auto *deep = new VellPictureHost(3, 3, 8);
        QImage deepAs8(3, 3, QImage::Format_ARGB32);
        for (int i = 0; i < 9; ++i) {   // words are B, G, R, A
            const int k[4] = { i * 20, 5 + i * 5, i * 3 + 1, 100 + i * 15 };
            for (int c = 0; c < 4; ++c)
                reinterpret_cast<quint16 *>(deep->getData())[i * 4 + c] = quint16(k[c] * 257 + (c % 2 ? 200 : 100));
            deepAs8.setPixel(i % 3, i / 3, qRgba(k[2], k[1] + 1, k[0], k[3] + 1));
        }
        addLayer(stack, QImage(), QPoint(6, 8), VellBlend::Difference, 1.0f, deep);

        std::unique_ptr<QImage> image(VellBlendReference::renderToImage(document.get(), 16, 12));
        QVERIFY(image);
        QCOMPARE(image->size(), QSize(16, 12));
        QCOMPARE(image->format(), QImage::Format_ARGB32);
        for (int y = 0; y < 12; ++y)
            for (int x = 0; x < 16; ++x) {
                QRgb want = blendOne(bottom.pixel(x, y), 0u, VellBlend::Normal, 0.9f, 1.0f, x, y);
                const QPoint m(x + 2, y - 7), d(x - 6, y - 8);
                if (masked.rect().contains(m))
                    want = blendOne(masked.pixel(m), want, VellBlend::Dissolve, 0.6f,
                                    uchar((m.y() * mask->getPaddedWidth() + m.x()) * 23) / 255.0f, x, y);
                if (deepAs8.rect().contains(d))
                    want = blendOne(deepAs8.pixel(d), want, VellBlend::Difference, 1.0f, 1.0f, x, y);
                QVERIFY2(image->pixel(x, y) == want, qPrintable(QString("%1,%2").arg(x).arg(y)));
            }
        document.reset();
        VellLayerManager::setDocumentProbe(nullptr);
    }
};

QTEST_GUILESS_MAIN(TestVellBlendReference)
#include "tst_vellblendreference.moc"
