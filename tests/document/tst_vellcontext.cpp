#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellrecovery.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"
#include "presets/vellactionmanager.h"
#include "selection/vellselection.h"
#include "support/vellgltestcontext.h"

#include <QAction>
#include <QtTest>

#include <memory>

class TestVellContext : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;
    VellContextManager *manager = nullptr;

    static VellLayer *raster(int w, int h, int seed)
    {
        auto *host = new VellPictureHost(w, h, 4);
        host->read(reinterpret_cast<const uchar *>(VellGLTestContext::patternBytes(w * h * 4, seed).constData()));
        auto *layer = new VellLayer(QString::number(seed));
        layer->setVellPictureHost(host);
        return layer;
    }
    void makeCurrent(VellContext *c) { manager->addContext(c); manager->setCurrentContext(manager->indexOfContext(c)); }

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); manager = VellContextManager::getInstance(); }
    void cleanup()
    {
        QVERIFY(manager->getContexts().isEmpty());
        QVERIFY(!manager->getCurrentContext());
    }

    void currentSwitchingAndSeams()
    {
        auto a = std::make_unique<VellContext>(), b = std::make_unique<VellContext>();
        QCOMPARE(a->getFileName(), QStringLiteral("Untitled Document"));
        QCOMPARE(a->editingChannel, int(VellChannelBits::All));
        QCOMPARE(a->displayingChannel, int(VellChannelBits::All));
        QSignalSpy changed(manager, &VellContextManager::contextChanged);
        manager->addContext(a.get()), manager->addContext(b.get()), manager->addContext(a.get());
        manager->setCurrentContext(3);
        QVERIFY(!manager->getCurrentContext());
        QVERIFY(changed.isEmpty());
        VellLayer *lone = raster(2, 2, 9);
        QImage pixel(1, 1, QImage::Format_ARGB32);
        QVERIFY(!lone->getIndexInCurrentDocument());
        QVERIFY(!VellPictureReader().ReadImageToHost(pixel));
        manager->setCurrentContext(1);   // b
        QCOMPARE(changed.size(), 1);
        QVERIFY(std::unique_ptr<VellPictureHost>(VellPictureReader().ReadImageToHost(pixel)));
        b->getLayerManager()->addLayer(raster(4, 4, 1), false);
        VellLayer *top = raster(4, 4, 2);
        b->getLayerManager()->addLayer(top, false);
        QCOMPARE(top->getIndexInCurrentDocument(), std::optional<int>(1));
        QCOMPARE(lone->getIndexInCurrentDocument(), std::optional<int>(-1));
        delete lone;
        b->quietFlag = true;   // reaches the layer manager
        QSignalSpy activated(b->getLayerManager(), &VellLayerManager::layerActive);
        b->getLayerManager()->setActiveLayer(0);
        QVERIFY(activated.isEmpty());
        VellRecovery::dropInactiveTextures();   // top is inactive now
        QVERIFY(!top->getEntireTexture());
        QVERIFY(qobject_cast<VellLayer *>(b->getLayerManager()->getLayer(0))->getEntireTexture());
        manager->removeContext(a.get());   // the first occurrence only
        QCOMPARE(manager->indexOfContext(a.get()), 1);
        a.reset();
        b.reset();   // the current one: none current, no signal
        QCOMPARE(changed.size(), 1);
    }

    void saveAbleSwitchesTheHostsSave()
    {
        VellContext context;
        context.setSaveAble(true);   // no commands registered yet: nothing to switch, no boxes
        QVERIFY(!VellActionManager::hasInstance());
        QVERIFY(context.isSaveAble());
        QAction *save = VellActionManager::getInstance(QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml"))
                            ->getActionByName(QStringLiteral("Save"));
        QVERIFY(save);
        context.setSaveAble(false);
        QVERIFY(!save->isEnabled());
        QVERIFY(!context.isSaveAble());
        context.setSaveAble(true);
        QVERIFY(save->isEnabled());
    }

    void stream_data()
    {
        // Bytes after the layer stack: the selection record (12 bytes of
        // size and kind, a box of four doubles, two counts, two flags, then
        // the padded rows), the two channel masks and the flag.
        const int tail = 4 + 4 + 1;
        const int record = 12 + 32 + 8 + 2 + 8 * 5;   // the 6 x 5 selection below
        QTest::addColumn<int>("cut");   // bytes dropped from the end; -1 sets the editing-selection flag
        QTest::addColumn<bool>("otherCurrent");   // another document is current while reading
        QTest::addColumn<bool>("withSelection");   // else the document has no selection object
        QTest::newRow("whole") << 0 << false << true;
        QTest::newRow("whole, another current") << 0 << true << true;
        QTest::newRow("whole, no selection object") << 0 << false << false;
        QTest::newRow("without the flag") << 1 << false << true;
        QTest::newRow("inside the selection's bytes") << tail + 7 << false << true;
        QTest::newRow("inside the selection's header") << tail + record - 20 << false << true;
        QTest::newRow("inside the layer stack") << tail + record + 60 << true << true;
        QTest::newRow("editing the selection") << -1 << false << true;
    }

    void stream()
    {
        QFETCH(int, cut);
        QFETCH(bool, otherCurrent);
        QFETCH(bool, withSelection);
        auto context = std::make_unique<VellContext>();
        makeCurrent(context.get());
        context->getLayerManager()->addLayer(raster(5, 3, 1), false);
        context->getLayerManager()->addLayer(raster(2, 7, 2), false);
        manager->removeContext(context.get());   // reading needs no current document
        context->editingChannel = VellChannelBits::Red | VellChannelBits::Blue;
        context->displayingChannel = VellChannelBits::Green;
        // The document's own size, not its bottom layer's, with a mask in it.
        if (withSelection) {
            context->setSelection(new VellSelection(nullptr, 6, 5));
            const uchar mask[] = {0, 200, 255, 255, 255, 90};
            QVERIFY(context->getSelection()->addMask(mask, 3, 2, 2, 1));
            QVERIFY(context->hasSelection());
        }
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_4_8);
        out << context.get();
        const QByteArray whole = bytes;
        cut < 0 ? void(bytes[bytes.size() - 1] = 1) : bytes.chop(cut);
        auto other = std::make_unique<VellContext>();
        if (otherCurrent) {
            makeCurrent(other.get());
            other->getLayerManager()->addLayer(raster(3, 3, 3), false);
        }
        QSignalSpy otherAdds(other->getLayerManager(), &VellLayerManager::layerAdd);
        QDataStream in(bytes);
        in.setVersion(QDataStream::Qt_4_8);
        VellContext *raw = context.get();   // must be overwritten
        in >> &raw;
        std::unique_ptr<VellContext> back(raw);
        QCOMPARE(bool(back), cut == 0);
        QCOMPARE(in.status() == QDataStream::Ok, cut == 0);
        // The current document is left alone; neither the result nor a
        // half-built one is registered.
        QCOMPARE(manager->getCurrentContext(), otherCurrent ? other.get() : nullptr);
        QVERIFY(otherAdds.isEmpty());
        QCOMPARE(other->getLayerManager()->getLayerCount(), int(otherCurrent));
        other.reset();
        QVERIFY(manager->getContexts().isEmpty());
        if (back) {
            QByteArray again;
            QDataStream reout(&again, QIODevice::WriteOnly);
            reout.setVersion(QDataStream::Qt_4_8);
            reout << back.get();
            QCOMPARE(again, whole);   // layers, pixels, selection and both masks
            QCOMPARE(back->getLayerManager()->getLayerCount(), 2);
            const VellSelection *selection = back->getSelection();
            QVERIFY(selection);
            // Without a selection object the bottom layer (5 x 3) gives the size.
            QCOMPARE(QSize(selection->getWidth(), selection->getHeight()),
                     withSelection ? QSize(6, 5) : QSize(5, 3));
            QCOMPARE(back->hasSelection(), withSelection);
        }
    }
};

QTEST_MAIN(TestVellContext)
#include "tst_vellcontext.moc"
