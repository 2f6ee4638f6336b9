// The history with the canvas present: a step refreshes the histogram when
// it is shown, a canvas change gives the canvas its size back, a step first
// reads back pixels that only the GPU holds, and running out of video memory
// clears the current document's history.

#include "history/vellhistorytestdoc.h"

#include "canvas/vellcanvas.h"
#include "foundation/vellglobalsettings.h"
#include "gpu/vellgltexture2d.h"
#include "history/velllayermodifymemo.h"
#include "history/vellmemocanvasandlayerschange.h"

#include <QtTest>

using namespace VellHistoryTest;

class TestVellHistoryGL : public QObject
{
    Q_OBJECT

    VellCanvas *canvas = nullptr;

private slots:
    void initTestCase()
    {
        canvas = VellCanvas::getInstance(64, 48);
        canvas->resize(160, 120);
        canvas->show();
        QVERIFY(QTest::qWaitForWindowExposed(canvas));
        QVERIFY(canvas->isValid());
    }
    void init() { canvas->makeCurrent(); }
    void cleanupTestCase()
    {
        VellGlobalSettings::getInstance()->setHistogramVisible(false);
        delete canvas;
    }

    void stepRefreshesTheHistogram_data()
    {
        QTest::addColumn<bool>("visible");
        QTest::newRow("histogram shown") << true;
        QTest::newRow("histogram hidden") << false;
    }
    void stepRefreshesTheHistogram()
    {
        QFETCH(bool, visible);
        VellGlobalSettings::getInstance()->setHistogramVisible(visible);
        canvas->reSizeCanvas(12, 10, true);
        Document d(1, 12, 10);
        d.history()->pushNewMemo(new VellLayerModifyMemo(d.context, d.layers()->getLayer(0)));
        d.layers()->getLayer(0)->setAlpha(0.5f);
        QSignalSpy updated(canvas, &VellCanvas::histogramUpdated);
        d.history()->stepBackward();
        QCOMPARE(updated.count(), visible ? 1 : 0);
        QCOMPARE(double(d.layers()->getLayer(0)->getAlpha()), 1.0);
    }

    void canvasChangeRestoresTheCanvasSize()
    {
        canvas->reSizeCanvas(40, 30, true);
        Document d(1, 40, 30);
        VellLayer *layer = d.raster(0);
        const QByteArray before = bytesOf(layer->getPictureHost());
        d.history()->pushNewMemo(new VellMemoCanvasAndLayersChange(d.context));
        canvas->reSizeCanvas(50, 20, true);
        layer->setVellPictureHost(patternHost(50, 20, 8));
        const QByteArray after = bytesOf(layer->getPictureHost());

        d.history()->stepBackward();
        QCOMPARE(QSize(canvas->getCanvasWidth(), canvas->getCanvasHeight()), QSize(40, 30));
        QCOMPARE(bytesOf(layer->getPictureHost()), before);
        QVERIFY(layer->getEntireTexture());   // the active layer uploads its new pixels
        d.history()->stepForward();
        QCOMPARE(QSize(canvas->getCanvasWidth(), canvas->getCanvasHeight()), QSize(50, 20));
        QCOMPARE(bytesOf(layer->getPictureHost()), after);
    }

    // The texture's recovery reaches the current document through the hooks
    // its context manager installed.
    void videoMemoryShortageClearsTheHistory_data()
    {
        QTest::addColumn<int>("failures");   // allocations that report GL_OUT_OF_MEMORY
        QTest::newRow("none") << 0;
        QTest::newRow("one, then the retry succeeds") << 1;
    }
    void videoMemoryShortageClearsTheHistory()
    {
        QFETCH(int, failures);
        canvas->reSizeCanvas(6, 4, true);
        Document d(2, 6, 4);
        d.layers()->setActiveLayer(0);
        d.layers()->setActiveLayer(1);   // small: the layer below keeps its texture
        VellLayer *inactive = d.raster(0);
        QVERIFY(inactive->getEntireTexture());
        d.history()->pushNewMemo(new VellLayerModifyMemo(d.context, d.layers()->getLayer(1)));

        int left = failures;
        const VellGLTexture::AllocationErrorHook previous = VellGLTexture::setAllocationErrorHook(
            [&](GLenum e) { return left-- > 0 ? GLenum(GL_OUT_OF_MEMORY) : e; });
        VellGLTexture2D texture(2, 2, GL_BGRA, false);
        VellGLTexture::setAllocationErrorHook(previous);

        QVERIFY(!texture.failed());
        QCOMPARE(d.history()->getMemoCount(), failures ? 0 : 1);
        QCOMPARE(inactive->getEntireTexture() == nullptr, failures > 0);
    }

    void stepReadsBackGpuPixels()
    {
        canvas->reSizeCanvas(8, 6, true);
        Document d(1, 8, 6);
        VellLayer *layer = d.raster(0);
        d.layers()->setActiveLayer(0);
        QVERIFY(layer->getEntireTexture());
        // A filter's result on the GPU only.
        std::unique_ptr<VellPictureHost> result(patternHost(8, 6, 99));
        result->writeEntireTexture(layer->getEntireTexture());
        layer->setLatestPlace(VellLayer::GpuNewer);
        d.history()->pushNewMemo(new VellLayerModifyMemo(d.context, layer));
        layer->setAlpha(0.25f);

        d.history()->stepBackward();
        QCOMPARE(layer->getLatestPlace(), int(VellLayer::BothAgree));
        QCOMPARE(bytesOf(layer->getPictureHost()), bytesOf(result.get()));
    }
};

QTEST_MAIN(TestVellHistoryGL)
#include "tst_vellhistorygl.moc"
