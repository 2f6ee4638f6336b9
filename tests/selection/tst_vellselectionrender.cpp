// The marching ants on a real canvas: what the outline program writes into
// the selection framebuffer is checked against the coverage bytes (a pixel is
// on the outline when it is selected and a 4-neighbour, or the image's edge,
// is not), and what the window shows against the composite without them.
#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include <QGLFramebufferObject>
#include <QGLShaderProgram>
#include <QtTest>

#include <memory>

namespace {

constexpr int kWidth = 40, kHeight = 30;

bool selectedAt(const VellSelection &s, int x, int y)
{
    if (x < 0 || y < 0 || x >= s.getWidth() || y >= s.getHeight())
        return false;
    return s.getMask()[y * s.getPaddedWidth() + x] >= 128;
}

bool onOutline(const VellSelection &s, int x, int y)
{
    return selectedAt(s, x, y)
        && (!selectedAt(s, x - 1, y) || !selectedAt(s, x + 1, y) || !selectedAt(s, x, y - 1)
            || !selectedAt(s, x, y + 1));
}

// The selection framebuffer with row 0 at its first GL row, the top of the
// shown part of the image.
QImage selectionLayer(VellCanvas *canvas)
{
    canvas->makeCurrent();
    return canvas->getSelectionFbo()->toImage().mirrored().convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TestVellSelectionRender : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    std::unique_ptr<VellContext> document;
    VellSelection *selection = nullptr;   // owned by the document

    // A current document with one opaque grey layer and a selection of
    // `shape`: 0 a rectangle, 1 an ellipse, 2 select-all, 3 a rectangle on
    // a grid of 4 pixels.
    void newDocument(int shape)
    {
        VellContextManager *manager = VellContextManager::getInstance();
        document.reset();
        canvas->makeCurrent();
        document = std::make_unique<VellContext>();
        selection = new VellSelection(nullptr, kWidth, kHeight);
        document->setSelection(selection);
        manager->addContext(document.get());
        manager->setCurrentContext(manager->indexOfContext(document.get()));
        auto *host = new VellPictureHost(kWidth, kHeight, 4);
        memset(host->getData(), 0x80, size_t(kWidth * kHeight * 4));
        auto *layer = new VellLayer(QStringLiteral("grey"));
        layer->setVellPictureHost(host);
        document->getLayerManager()->addLayer(layer, false);
        QCOMPARE(document->getLayerManager()->getLayerCount(), 1);
        canvas->reSizeCanvas(kWidth, kHeight, false);
        QCOMPARE(document->getSelection(), selection);   // the resize keeps the object

        if (shape == 2) {
            selection->selectAll();
        } else {
            QByteArray mask(kWidth * kHeight, 0);
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    bool in = (x - 21.5) * (x - 21.5) / 144 + (y - 13.5) * (y - 13.5) / 64 <= 1;
                    if (shape == 0)
                        in = x >= 9 && x < 25 && y >= 6 && y < 17;
                    else if (shape == 3)
                        in = x >= 8 && x < 28 && y >= 4 && y < 20;
                    mask[y * kWidth + x] = in ? char(255) : char(0);
                }
            selection->addMask(reinterpret_cast<const uchar *>(mask.constData()), kWidth, kHeight, 0, 0);
        }
        QVERIFY(selection->hasSelection());
        canvas->setScale(1.0f, false);
        canvas->moveToCenter(false);
        canvas->calcVisibleRect();
        canvas->Render(nullptr);
    }

    QImage window()
    {
        canvas->updateGL();
        return canvas->grabFrameBuffer().convertToFormat(QImage::Format_ARGB32);
    }

private slots:
    void initTestCase()
    {
        canvas = VellCanvas::getInstance(kWidth, kHeight);
        canvas->resize(120, 90);
        canvas->show();
        QVERIFY(QTest::qWaitForWindowExposed(canvas));
        QVERIFY(canvas->isValid());
    }
    void cleanup() { document.reset(); }
    void cleanupTestCase() { delete canvas; }

    // The outline lies exactly on the selected pixels at the coverage's
    // edge, in dashes of pure black and white that crawl with each render
    // and come back after eight; with the tint on, what is not selected is
    // half red and the selected inside stays clear.
    void outlineFollowsCoverage_data()
    {
        QTest::addColumn<int>("shape");
        QTest::addColumn<bool>("tint");
        QTest::newRow("rectangle") << 0 << false;
        QTest::newRow("ellipse") << 1 << false;
        QTest::newRow("select all: along the image's edge") << 2 << false;
        QTest::newRow("rectangle with tint") << 0 << true;
    }
    void outlineFollowsCoverage()
    {
        QFETCH(int, shape);
        QFETCH(bool, tint);
        newDocument(shape);
        selection->setDisplayMask(tint);
        QCOMPARE(canvas->getFboScale(), 1.0f);
        QVERIFY(VellCanvas::viewHooks().renderSelectionOutline());   // the hook the canvas timer calls
        QVERIFY(selection->getProgram() && selection->getProgram()->isLinked());
        const QImage first = selectionLayer(canvas);
        QVERIFY(first.width() >= kWidth && first.height() >= kHeight);

        int black = 0, white = 0, outline = 0;
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const QRgb p = first.pixel(x, y);
                const QByteArray at = QStringLiteral("%1,%2: %3").arg(x).arg(y).arg(p, 8, 16).toLatin1();
                if (onOutline(*selection, x, y)) {
                    ++outline;
                    QVERIFY2(p == 0xff000000u || p == 0xffffffffu, at.constData());
                    (p == 0xff000000u ? black : white)++;
                } else if (tint && !selectedAt(*selection, x, y)) {
                    QVERIFY2(qAbs(qAlpha(p) - 128) <= 1 && qRed(p) == 255 && qGreen(p) == 0, at.constData());
                } else {
                    QVERIFY2(qAlpha(p) == 0, at.constData());
                }
            }
        QVERIFY(outline > 20);
        QVERIFY(black > outline / 4);
        QVERIFY(white > outline / 4);

        selection->render(canvas);
        QVERIFY(selectionLayer(canvas) != first);   // the dashes moved
        for (int i = 0; i < 7; ++i)
            selection->render(canvas);
        QCOMPARE(selectionLayer(canvas), first);   // eight steps bring them back
    }

    // The window shows the outline over the composite, moved by a pending
    // translation, and nothing once the selection is gone.
    void presentation()
    {
        newDocument(0);
        const QImage plain = [&] {
            selection->setDisplayMarchingAnts(false);
            selection->render(canvas);
            return window();
        }();
        selection->setDisplayMarchingAnts(true);
        selection->render(canvas);
        const QImage outline = selectionLayer(canvas);
        const QPoint corner = canvas->canvasCoordtoUI(QPointF(0, 0)).toPoint();
        for (const QPoint &move : {QPoint(0, 0), QPoint(5, -3)}) {
            selection->setTranslation(move);
            const QImage shown = window();
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    const QPoint w = corner + QPoint(x, y) + move;
                    if (!shown.rect().contains(w) || !plain.rect().contains(w))
                        continue;
                    const QRgb expected = qAlpha(outline.pixel(x, y)) == 255 ? outline.pixel(x, y) : plain.pixel(w);
                    QCOMPARE(shown.pixel(w) & 0xffffff, expected & 0xffffff);
                }
        }
        selection->setTranslation(QPointF());
        selection->deselect();
        QVERIFY(!VellCanvas::viewHooks().renderSelectionOutline());
        QCOMPARE(window(), plain);
    }

    // Zoomed out to a quarter, one framebuffer pixel covers four image
    // pixels a side: the outline is found on the coverage sampled there (the
    // rectangle's sides fall between samples, so filtering cannot blur them).
    void zoomedOut()
    {
        newDocument(3);
        canvas->setScale(4.0f, true);
        canvas->Render(nullptr);
        QCOMPARE(canvas->getFboScale(), 4.0f);
        selection->render(canvas);
        const QImage layer = selectionLayer(canvas);
        const QRectF visible = canvas->getVisibleRect();
        int outline = 0;
        for (int y = 0; y < int(visible.height() / 4); ++y)
            for (int x = 0; x < int(visible.width() / 4); ++x) {
                // The fragment's centre in image pixels.
                const int ix = int(visible.x() + 4 * x + 2), iy = int(visible.y() + 4 * y + 2);
                auto sel = [&](int dx, int dy) { return selectedAt(*selection, ix + 4 * dx, iy + 4 * dy); };
                const bool expected = sel(0, 0) && (!sel(1, 0) || !sel(-1, 0) || !sel(0, 1) || !sel(0, -1));
                QCOMPARE(qAlpha(layer.pixel(x, y)) == 255, expected);
                outline += expected;
            }
        QVERIFY(outline > 4);
    }
};

QTEST_MAIN(TestVellSelectionRender)
#include "tst_vellselectionrender.moc"
