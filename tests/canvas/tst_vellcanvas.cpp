#include "canvas/vellblendreference.h"
#include "canvas/vellcanvas.h"
#include "canvas/vellhistogram.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "picture/vellpicturehost.h"

#include <QGLShaderProgram>
#include <QGLWidget>
#include <QtTest>

#include <cstring>
#include <memory>

namespace {

// A layer of w x h pixels whose colour and alpha vary over it.
VellLayer *patternLayer(int w, int h, int seed, int alphaFloor = 255)
{
    auto *host = new VellPictureHost(w, h, 4);
    uchar *p = host->getData();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x, p += 4) {
            p[0] = uchar((x * 37 + y * 11 + seed * 50) & 255);
            p[1] = uchar((x * 5 + y * 29 + seed * 90) & 255);
            p[2] = uchar((x * 13 + y * 3 + seed * 20) & 255);
            p[3] = uchar(alphaFloor + ((x * 7 + y * 17 + seed) % (256 - alphaFloor)));
        }
    auto *layer = new VellLayer(QString::number(seed));
    layer->setVellPictureHost(host);
    return layer;
}

int colourDistance(QRgb a, QRgb b)
{
    return qMax(qMax(qAbs(qRed(a) - qRed(b)), qAbs(qGreen(a) - qGreen(b))), qAbs(qBlue(a) - qBlue(b)));
}

int maxDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size())
        return 256;
    int worst = 0;
    for (int y = 0; y < a.height(); ++y) {
        const uchar *pa = a.constScanLine(y), *pb = b.constScanLine(y);
        for (int i = 0; i < a.width() * 4; ++i)
            worst = qMax(worst, qAbs(int(pa[i]) - int(pb[i])));
    }
    return worst;
}

} // namespace

class TestVellCanvas : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    VellContextManager *manager = nullptr;
    std::unique_ptr<VellContext> document;

    VellLayerManager *layers() const { return document->getLayerManager(); }

    // A fresh current document of w x h pixels shown in the canvas.
    void newDocument(int w, int h)
    {
        document.reset();
        canvas->makeCurrent();
        document = std::make_unique<VellContext>();
        manager->addContext(document.get());
        manager->setCurrentContext(manager->indexOfContext(document.get()));
        canvas->reSizeCanvas(w, h, false);
    }
    void show()
    {
        canvas->makeCurrent();
        canvas->setScale(1.0f, false);
        canvas->moveToCenter(false);
        canvas->calcVisibleRect();
        canvas->Render(nullptr);
    }

private slots:
    void initTestCase()
    {
        manager = VellContextManager::getInstance();
        canvas = VellCanvas::getInstance(64, 48);
        canvas->resize(160, 120);
        canvas->show();
        QVERIFY(QTest::qWaitForWindowExposed(canvas));
        QVERIFY(canvas->isValid());
        QVERIFY(canvas->getLayerBlendingProgram());
        QVERIFY(canvas->getLayerBlendingProgram()->isLinked());
        QVERIFY(canvas->getPostRenderProgram()->isLinked());
    }
    void cleanup() { document.reset(); }
    void cleanupTestCase() { delete canvas; }

    // The GPU export agrees with the CPU compositor for every mode, with
    // opacity, offsets (one partly outside the document) and a mask.
    void renderToImageMatchesTheCpuCompositor_data()
    {
        QTest::addColumn<int>("mode");
        for (int mode = VellBlend::Normal; mode < VellBlend::Count * VellBlend::Step; mode += VellBlend::Step)
            QTest::newRow(qPrintable(VellLayerBase::getBlendModeName(mode))) << mode;
    }
    void renderToImageMatchesTheCpuCompositor()
    {
        QFETCH(int, mode);
        newDocument(40, 30);
        layers()->addLayer(patternLayer(40, 30, 1, 128), false);
        VellLayer *middle = patternLayer(24, 20, 2, 0);
        middle->setPosition(QPointF(-5, 14));
        middle->setBlendMode(mode);
        middle->setAlpha(0.6f);
        layers()->addLayer(middle, false);
        VellLayer *top = patternLayer(30, 16, 3, 200);
        top->setPosition(QPointF(12, 3));
        top->setBlendMode(mode == VellBlend::Normal ? VellBlend::Overlay : mode);
        top->createLayerMask();
        uchar *mask = top->getLayerMask()->getData();
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < top->getLayerMask()->getPaddedWidth(); ++x)
                mask[y * top->getLayerMask()->getPaddedWidth() + x] = uchar(x * 8 + y);
        top->getLayerMask()->update();
        layers()->addLayer(top, false);
        show();

        std::unique_ptr<QImage> gpu(canvas->renderToImage(nullptr));
        std::unique_ptr<QImage> cpu(VellBlendReference::renderToImage(document.get(), 40, 30));
        QVERIFY(gpu);
        QVERIFY(cpu);
        QCOMPARE(gpu->size(), QSize(40, 30));
        QVERIFY2(maxDifference(*gpu, *cpu) <= 1, qPrintable(QString::number(maxDifference(*gpu, *cpu))));
        QVERIFY(gpu->constBits() != layers()->getLayer(0)->getPictureHost()->getData());
    }

    // One opaque layer covering the document is exported without a copy;
    // anything that breaks the shortcut composites.
    void renderToImageShortcut_data()
    {
        QTest::addColumn<QPointF>("position");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<bool>("shared");
        QTest::newRow("plain") << QPointF(0, 0) << 1.0f << true;
        QTest::newRow("moved") << QPointF(1, 0) << 1.0f << false;
        QTest::newRow("translucent") << QPointF(0, 0) << 0.5f << false;
    }
    void renderToImageShortcut()
    {
        QFETCH(QPointF, position);
        QFETCH(float, opacity);
        QFETCH(bool, shared);
        newDocument(20, 10);
        VellLayer *layer = patternLayer(20, 10, 4);
        layer->setPosition(position);
        layer->setAlpha(opacity);
        layers()->addLayer(layer, false);
        show();
        std::unique_ptr<QImage> image(canvas->renderToImage(nullptr));
        QVERIFY(image);
        QCOMPARE(image->constBits() == layer->getPictureHost()->getData(), shared);
        std::unique_ptr<QImage> cpu(VellBlendReference::renderToImage(document.get(), 20, 10));
        QVERIFY(maxDifference(*image, *cpu) <= 1);
        manager->removeContext(document.get());
        QVERIFY(!canvas->renderToImage(nullptr));   // no document
    }

    // The display composite: the bottom layer is always Normal, a mask
    // brings in the shader even in Normal mode, the channel pass only runs
    // for a channel subset.
    void displayComposite_data()
    {
        QTest::addColumn<int>("bottomMode");
        QTest::addColumn<bool>("mask");
        QTest::addColumn<int>("channels");
        const int normal = VellBlend::Normal, multiply = VellBlend::Multiply;
        const int all = VellChannelBits::All, red = VellChannelBits::Red;
        const int greenAndBlue = VellChannelBits::Green | VellChannelBits::Blue;
        QTest::newRow("bottom multiply is normal") << multiply << false << all;
        QTest::newRow("mask in normal mode") << normal << true << all;
        QTest::newRow("red channel") << normal << false << red;
        QTest::newRow("green and blue") << normal << false << greenAndBlue;
    }
    void displayComposite()
    {
        QFETCH(int, bottomMode);
        QFETCH(bool, mask);
        QFETCH(int, channels);
        newDocument(32, 24);
        VellLayer *layer = patternLayer(32, 24, 5, 255);
        layer->setBlendMode(bottomMode);
        if (mask) {
            layer->createLayerMask();
            VellLayerMask *m = layer->getLayerMask();
            memset(m->getData(), 0, size_t(m->getPaddedWidth() * 12));   // top half hidden
            m->update();
        }
        layers()->addLayer(layer, false);
        document->displayingChannel = channels;
        show();
        QCOMPARE(canvas->getFboScale(), 1.0f);
        const QImage shown = canvas->toQimage();
        QCOMPARE(shown.size(), QSize(32, 24));
        const QImage source(layer->getPictureHost()->getData(), 32, 24, QImage::Format_ARGB32);
        using namespace VellChannelBits;
        for (int y = 0; y < 24; y += 3)
            for (int x = 0; x < 32; x += 5) {
                const QRgb s = source.pixel(x, y), d = shown.pixel(x, y);
                const QByteArray at = QStringLiteral("%1,%2: %3 vs %4").arg(x).arg(y).arg(d, 0, 16).arg(s, 0, 16).toLatin1();
                const bool hidden = mask && y < 12;   // the checkerboard shows through
                if (hidden || channels == Red)   // grey, or one channel as grey
                    QVERIFY2((d & 0xFFFF) == qRed(d) * 0x101u, at.constData());
                const QRgb want = hidden ? d
                                  : channels == Red ? qRgb(qRed(s), qGreen(d), qBlue(d))
                                                    : qRgb(channels & Red ? qRed(s) : 0, channels & Green ? qGreen(s) : 0,
                                                           channels & Blue ? qBlue(s) : 0);
                QVERIFY2(colourDistance(d, want) <= 1, at.constData());
            }
    }

    // A partial render redraws one rectangle with plain "over" (no blend
    // modes) and leaves the rest of the composite alone.
    void partialRender()
    {
        newDocument(32, 24);
        layers()->addLayer(patternLayer(32, 24, 7, 255), false);
        VellLayer *top = patternLayer(32, 24, 8, 255);
        top->setBlendMode(VellBlend::Multiply);
        layers()->addLayer(top, false);
        show();
        const QImage full = canvas->toQimage();
        const QRectF rect(8, 4, 10, 6);
        canvas->Render(nullptr, rect);
        QVERIFY(canvas->isPartialRender());
        QCOMPARE(canvas->getUpdateRect(), rect);
        const QImage partial = canvas->toQimage();
        const QImage source(top->getPictureHost()->getData(), 32, 24, QImage::Format_ARGB32);
        for (int y = 0; y < 24; y += 2)
            for (int x = 0; x < 32; x += 3) {
                const QRgb expected = rect.contains(x + 0.5, y + 0.5) ? source.pixel(x, y) : full.pixel(x, y);
                QCOMPARE(partial.pixel(x, y) & 0xFFFFFF, expected & 0xFFFFFF);
            }
        QVERIFY(full != partial);
    }

    // The histogram counts a thumb of the composite sized by the sample
    // count: whole at 100 x 100, a fifth a side at 1000 x 1000.
    void histogram_data()
    {
        QTest::addColumn<int>("side");
        QTest::addColumn<int>("thumbSide");
        QTest::newRow("small") << 100 << 100;
        QTest::newRow("large") << 1000 << 200;
    }
    void histogram()
    {
        QFETCH(int, side);
        QFETCH(int, thumbSide);
        VellGlobalSettings::getInstance()->setHistogramSampleCount(40000);
        newDocument(side, side);
        canvas->calcHistogramThumbScale();
        auto *host = new VellPictureHost(side, side, 4);
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x)   // left half red, right half grey 128
                memcpy(host->getData() + (y * side + x) * 4, x < side / 2 ? "\0\0\xff\xff" : "\x80\x80\x80\xff", 4);
        auto *layer = new VellLayer(QStringLiteral("h"));
        layer->setVellPictureHost(host);
        layers()->addLayer(layer, false);
        show();
        QSignalSpy updated(canvas, &VellCanvas::histogramUpdated);
        canvas->updateHistogram();
        QCOMPARE(updated.size(), 1);
        QCOMPARE(canvas->getHistogramThumbImage().size(), QSize(thumbSide, thumbSide));
        VellHistogram *h = canvas->getHistogram();
        const int half = thumbSide * thumbSide / 2;
        QCOMPARE(h->getCountedPixels(), thumbSide * thumbSide);
        QCOMPARE(h->getRedHistogram()[255] + h->getRedHistogram()[128], 2 * half);
        QVERIFY(qAbs(h->getRedHistogram()[255] - half) <= thumbSide);   // the seam may blend
        QVERIFY(qAbs(h->getGrayHistogram()[85] - half) <= thumbSide);
    }

    // The window at 100 % and at 400 %: magnified with nearest-neighbour
    // blocks while mosaic is on, smoothly otherwise.
    void screenshot()
    {
        newDocument(32, 24);
        VellLayer *layer = patternLayer(32, 24, 6, 255);
        layers()->addLayer(layer, false);
        show();
        canvas->updateGL();
        const QImage source(layer->getPictureHost()->getData(), 32, 24, QImage::Format_ARGB32);
        QImage actual = canvas->grabFrameBuffer();
        const QPoint corner = canvas->canvasCoordtoUI(QPointF(0, 0)).toPoint();
        QVERIFY(corner.x() > 0);   // centred in the 160 x 120 window
        QVERIFY(corner.y() > 0);
        for (int y = 0; y < 24; y += 5)
            for (int x = 0; x < 32; x += 7)
                QCOMPARE(actual.pixel(corner + QPoint(x, y)) & 0xFFFFFF, source.pixel(x, y) & 0xFFFFFF);

        auto zoomed = [&](bool mosaic) {
            canvas->enableMosaic(mosaic);
            canvas->setScale(0.25f, true);
            canvas->setOrigin(QPointF(0, 0), true);
            canvas->Render(nullptr);
            canvas->updateGL();
            return canvas->grabFrameBuffer();
        };
        const QImage nearest = zoomed(true);
        const QImage smooth = zoomed(false);
        canvas->enableMosaic(true);
        QCOMPARE(canvas->getFboScale(), 1.0f);   // one texel per document pixel
        // Document pixel (x, y) covers window pixels 4x .. 4x + 3.
        for (int y = 1; y < 20; y += 6)
            for (int x = 1; x < 28; x += 9)
                for (int d = 0; d < 4; ++d)
                    QCOMPARE(nearest.pixel(4 * x + d, 4 * y + 3 - d) & 0xFFFFFF, source.pixel(x, y) & 0xFFFFFF);
        QVERIFY(maxDifference(nearest.copy(0, 0, 120, 90), smooth.copy(0, 0, 120, 90)) > 8);
    }
};

QTEST_MAIN(TestVellCanvas)
#include "tst_vellcanvas.moc"
