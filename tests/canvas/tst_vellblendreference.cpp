#include "canvas/vellblendreference.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "picture/vellpicturehost.h"

#include <QtTest>

#include <cmath>
#include <memory>
#include <set>

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

VellLayer *layerFrom(const QImage &image, QPoint position, int mode, float opacity)
{
    auto *host = new VellPictureHost(image.width(), image.height(), 4);
    host->read(image.constBits());   // ARGB32 rows are tightly packed B, G, R, A here
    auto *layer = new VellLayer(QStringLiteral("layer"));
    layer->setVellPictureHost(host);
    layer->setPosition(position);
    layer->setBlendMode(mode);
    layer->setAlpha(opacity);
    return layer;
}

} // namespace

class TestVellBlendReference : public QObject
{
    Q_OBJECT

private slots:
    // Expected values worked out by hand from the formulas, in double precision (levels k / 255,
    // rounded to the nearest level); grey rows are opaque grey over opaque grey, so they give B.
    void blend_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QRgb>("source");
        QTest::addColumn<QRgb>("backdrop");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<float>("mask");
        QTest::addColumn<QRgb>("expected");
        struct Grey { const char *name; int mode, cb, cs, want; };
        const Grey greys[] = {
            { "darken", 20, 200, 100, 100 }, { "multiply 200x100/255 = 78.4", 30, 200, 100, 78 },
            { "color burn: cb 1 before cs 0", 40, 255, 0, 255 }, { "color burn: cs 0", 40, 100, 0, 0 },
            { "color burn 1 - 55/100", 40, 200, 100, 115 }, { "color burn cb 0 cs 1", 40, 0, 255, 0 },
            { "linear burn 200+100-255", 50, 200, 100, 45 }, { "linear burn floor", 50, 100, 100, 0 },
            { "lighten", 70, 100, 200, 200 }, { "screen 300 - 78.4", 80, 100, 200, 222 },
            { "color dodge: cb 0 before cs 1", 90, 0, 255, 0 }, { "color dodge: cs 1", 90, 1, 255, 255 },
            { "color dodge saturates", 90, 100, 200, 255 }, { "color dodge 30/155", 90, 30, 100, 49 },
            { "linear dodge", 100, 100, 50, 150 }, { "linear dodge cap", 100, 100, 200, 255 },
            { "overlay low backdrop: cs x 2cb", 120, 100, 200, 157 }, { "overlay high backdrop: screen", 120, 200, 100, 188 },
            { "soft light cs <= .5", 130, 100, 50, 63 }, { "soft light sqrt branch", 130, 100, 200, 134 },
            { "soft light cubic branch", 130, 40, 200, 74 }, { "hard light screen half", 140, 100, 200, 188 },
            { "hard light multiply half", 140, 200, 100, 157 }, { "vivid light burn 1 - 55/200", 150, 200, 100, 185 },
            { "vivid light dodge 100/110", 150, 100, 200, 232 }, { "vivid light burn: cb 1 first", 150, 255, 0, 255 },
            { "vivid light burn: cs 0", 150, 254, 0, 0 }, { "vivid light dodge: cb 0 first", 150, 0, 255, 0 },
            { "vivid light at 127: burn", 150, 100, 127, 99 }, { "vivid light at 128: dodge", 150, 100, 128, 100 },
            { "linear light", 160, 100, 200, 245 }, { "linear light floor", 160, 100, 20, 0 },
            { "pin light min", 170, 200, 60, 120 }, { "pin light max", 170, 100, 200, 145 },
            { "pin light keeps cb", 170, 200, 200, 200 }, { "hard mix: levels sum to 255", 180, 100, 155, 255 },
            { "hard mix: 254", 180, 100, 154, 0 }, { "difference", 190, 100, 200, 100 },
            { "exclusion 300 - 156.9", 200, 100, 200, 143 }, { "unknown code is normal", 55, 100, 200, 200 },
        };
        for (const Grey &g : greys)
            QTest::newRow(g.name) << g.mode << qRgb(g.cs, g.cs, g.cs) << qRgb(g.cb, g.cb, g.cb) << 1.0f << 1.0f << qRgb(g.want, g.want, g.want);
        auto whole = [](const char *name, int mode, QRgb cb, QRgb cs, QRgb want) { QTest::newRow(name) << mode << cs << cb << 1.0f << 1.0f << want; };
        whole("hue: blue hue, red's lum", 210, qRgb(255, 0, 0), qRgb(0, 0, 255), qRgb(54, 54, 255));
        whole("saturation", 220, qRgb(50, 100, 200), qRgb(220, 180, 40), qRgb(41, 101, 221));
        whole("saturation of grey", 220, qRgb(50, 100, 200), qRgb(128, 128, 128), qRgb(96, 96, 96));
        whole("color on grey", 230, qRgb(128, 128, 128), qRgb(200, 30, 90), qRgb(240, 70, 130));
        whole("luminosity, clipped", 240, qRgb(50, 100, 200), qRgb(220, 180, 40), qRgb(142, 180, 255));
        whole("luminosity, bright", 240, qRgb(30, 200, 120), qRgb(250, 250, 250), qRgb(241, 255, 248));
        // 30 R + 59 G + 11 B: 6000 against 5900, and 1770 on both sides.
        whole("darker color takes darker source", 60, qRgb(200, 0, 0), qRgb(0, 100, 0), qRgb(0, 100, 0));
        whole("darker color tie keeps backdrop", 60, qRgb(0, 30, 0), qRgb(59, 0, 0), qRgb(0, 30, 0));
        whole("lighter color takes lighter source", 110, qRgb(0, 100, 0), qRgb(200, 0, 0), qRgb(200, 0, 0));
        whole("lighter color tie keeps backdrop", 110, qRgb(0, 30, 0), qRgb(59, 0, 0), qRgb(0, 30, 0));
        // The compositing around B.
        QTest::newRow("half alpha over transparent keeps its colour") << 30 << qRgba(200, 100, 50, 128) << 0u << 1.0f << 1.0f << qRgba(200, 100, 50, 128);
        QTest::newRow("normal is source-over") << 0 << qRgba(255, 0, 0, 128) << qRgb(0, 0, 255) << 1.0f << 1.0f << qRgb(128, 0, 127);
        QTest::newRow("blend weighted by backdrop alpha") << 30 << qRgb(200, 200, 200) << qRgba(100, 100, 100, 128) << 1.0f << 1.0f << qRgb(139, 139, 139);
        QTest::newRow("both half transparent, screen") << 80 << qRgba(255, 0, 0, 128) << qRgba(0, 0, 255, 128) << 1.0f << 1.0f << qRgba(170, 0, 170, 192);
        QTest::newRow("opacity and mask multiply") << 30 << qRgba(90, 160, 30, 200) << qRgb(200, 50, 120) << 0.6f << 0.8f << qRgb(151, 43, 80);
        QTest::newRow("mask scales alpha") << 0 << qRgb(255, 255, 255) << 0u << 0.5f << 0.4f << qRgba(255, 255, 255, 51);
        QTest::newRow("transparent over transparent is transparent black") << 0 << qRgba(200, 100, 50, 0) << qRgba(10, 20, 30, 0) << 1.0f << 1.0f << 0u;
        QTest::newRow("mask 0 keeps the backdrop") << 190 << qRgb(200, 100, 50) << qRgba(10, 20, 30, 40) << 1.0f << 0.0f << qRgba(10, 20, 30, 40);
        QTest::newRow("NaN opacity counts as 0") << 0 << qRgb(200, 100, 50) << qRgba(10, 20, 30, 40) << float(NAN) << 1.0f << qRgba(10, 20, 30, 40);
        QTest::newRow("opacity above 1 counts as 1") << 0 << qRgb(200, 100, 50) << qRgba(10, 20, 30, 40) << 3.0f << 7.0f << qRgb(200, 100, 50);
    }

    void blend()
    {
        QFETCH(int, mode);
        QFETCH(QRgb, source);
        QFETCH(QRgb, backdrop);
        QFETCH(float, opacity);
        QFETCH(float, mask);
        QFETCH(QRgb, expected);
        const QRgb got = blendOne(source, backdrop, mode, opacity, mask);
        QVERIFY2(got == expected, qPrintable(QString::number(got, 16)));
    }

    // Every threshold once per 64 x 64 window (so any alpha is met exactly), repeating every 64
    // pixels, and no correlation between neighbours (a raster or ramp order gives |r| near 1).
    void dissolveNoise()
    {
        std::set<float> window;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) {
                const float t = VellBlendReference::dissolveThreshold(x - 100, y + 37);
                QVERIFY(t > 0.0f && t < 1.0f && t == VellBlendReference::dissolveThreshold(x + 28, y - 27));
                window.insert(t);
            }
        QCOMPARE(int(window.size()), 4096);
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

    void dissolve_data()
    {
        QTest::addColumn<int>("alpha");
        QTest::addColumn<float>("opacity");
        QTest::newRow("opaque") << 255 << 1.0f;
        QTest::newRow("transparent") << 0 << 1.0f;
        QTest::newRow("one level") << 1 << 1.0f;
        QTest::newRow("a quarter") << 64 << 1.0f;
        QTest::newRow("half through opacity") << 255 << 0.5f;
    }

    // All or nothing per pixel, decided on the effective alpha's 8-bit level; the share shown is alpha.
    void dissolve()
    {
        QFETCH(int, alpha);
        QFETCH(float, opacity);
        const QRgb dst = qRgba(10, 20, 30, 90);
        int shown = 0;
        for (int y = 500; y < 564; ++y)
            for (int x = -20; x < 44; ++x) {
                const QRgb got = blendOne(qRgba(200, 100, 50, alpha), dst, 10, opacity, 1.0f, x, y);
                const bool on = VellBlendReference::dissolveThreshold(x, y) < std::round(alpha * opacity) / 255.0f;
                QVERIFY2(got == (on ? qRgb(200, 100, 50) : dst), qPrintable(QString("%1,%2").arg(x).arg(y)));
                shown += on;
            }
        QVERIFY(std::fabs(shown / 4096.0 - alpha * opacity / 255.0) < 0.01);
    }

    void badInputsChangeNothing()
    {
        const QImage source = patternImage(4, 4, 3);
        VellBlendReference::compositeLayer(nullptr, source, QPoint(), 0, 1.0f, nullptr);
        QImage premultiplied = patternImage(4, 4, 4).convertToFormat(QImage::Format_ARGB32_Premultiplied), backdrop = patternImage(4, 4, 5);
        const QImage copy = premultiplied.copy();
        VellBlendReference::compositeLayer(&premultiplied, source, QPoint(), 0, 1.0f, nullptr);
        VellBlendReference::compositeLayer(&backdrop, QImage(), QPoint(), 0, 1.0f, nullptr);
        VellBlendReference::compositeLayer(&backdrop, source, QPoint(INT_MAX - 2, INT_MIN + 1), 0, 1.0f, nullptr);
        VellBlendReference::blendPixel(nullptr, backdrop.bits(), backdrop.bits(), 0, 1.0f, 1.0f, 0, 0);
        QVERIFY(premultiplied == copy && backdrop == patternImage(4, 4, 5));
        VellContext empty;
        QVERIFY(!VellBlendReference::renderToImage(nullptr, 4, 4) && !VellBlendReference::renderToImage(&empty, 0, 4));
        std::unique_ptr<QImage> blank(VellBlendReference::renderToImage(&empty, 3, 2));
        QVERIFY(blank && blank->size() == QSize(3, 2) && blank->pixel(2, 1) == 0u);
    }

    void renderToImage()
    {
        VellLayerManager::setDocumentProbe([] { return std::optional(VellLayerManager::Document()); });
        auto document = std::make_unique<VellContext>();
        VellLayerManager *stack = document->getLayerManager();
        const QImage bottom = patternImage(8, 6, 6), masked = patternImage(5, 4, 7), hidden = patternImage(8, 6, 8);
        // The bottom layer composites as Normal: over transparent only Dissolve would differ.
        stack->insertLayer(layerFrom(bottom, QPoint(0, 0), 10, 0.9f), 0, false);
        // Clipped at the left and bottom; Dissolve keyed on document positions.
        VellLayer *withMask = layerFrom(masked, QPoint(-2, 3), 10, 0.6f);
        withMask->createLayerMask();
        VellLayerMask *mask = withMask->getLayerMask();
        for (int i = 0; i < mask->getPaddedWidth() * mask->getHeight(); ++i)
            mask->getData()[i] = uchar(i * 23);
        stack->insertLayer(withMask, 1, false);
        for (int i : { 2, 3 }) {   // a hidden and an excluded layer
            VellLayer *skipped = layerFrom(hidden, QPoint(0, 0), 190, 1.0f);
            if (i == 2)
                skipped->visible = false;
            else
                skipped->excluded = true;
            stack->insertLayer(skipped, i, false);
        }
        // A 16-bit layer: k * 257 + 100 narrows to k, k * 257 + 200 to k + 1 (the high byte would be k).
        auto *deep = new VellPictureHost(3, 3, 8);
        quint16 *words = reinterpret_cast<quint16 *>(deep->getData());
        QImage deepAs8(3, 3, QImage::Format_ARGB32);
        for (int i = 0; i < 9; ++i) {
            const int k[4] = { i * 20, 5 + i * 5, i * 3 + 1, 100 + i * 15 };
            for (int c = 0; c < 4; ++c)
                words[i * 4 + c] = quint16(k[c] * 257 + (c % 2 ? 200 : 100));
            deepAs8.setPixel(i % 3, i / 3, qRgba(k[2], k[1] + 1, k[0], k[3] + 1));   // words are B, G, R, A
        }
        auto *deepLayer = new VellLayer(QStringLiteral("deep"));
        deepLayer->setVellPictureHost(deep);
        deepLayer->setPosition(QPointF(6, 4));
        deepLayer->setBlendMode(190);
        stack->insertLayer(deepLayer, 4, false);

        std::unique_ptr<QImage> image(VellBlendReference::renderToImage(document.get(), 8, 6));
        QVERIFY(image && image->size() == QSize(8, 6) && image->format() == QImage::Format_ARGB32);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 8; ++x) {
                QRgb want = blendOne(bottom.pixel(x, y), 0u, 0, 0.9f, 1.0f, x, y);
                const QPoint m(x + 2, y - 3), d(x - 6, y - 4);
                if (masked.rect().contains(m))
                    want = blendOne(masked.pixel(m), want, 10, 0.6f, uchar((m.y() * mask->getPaddedWidth() + m.x()) * 23) / 255.0f, x, y);
                if (deepAs8.rect().contains(d))
                    want = blendOne(deepAs8.pixel(d), want, 190, 1.0f, 1.0f, x, y);
                QVERIFY2(image->pixel(x, y) == want, qPrintable(QString("%1,%2").arg(x).arg(y)));
            }
        document.reset();
        VellLayerManager::setDocumentProbe(nullptr);
    }
};

QTEST_GUILESS_MAIN(TestVellBlendReference)
#include "tst_vellblendreference.moc"
