#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellrecovery.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"
#include "presets/vellactionmanager.h"
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
        QTest::addColumn<int>("cut");   // bytes dropped from the end; -1 sets the editing-selection flag
        QTest::addColumn<bool>("otherCurrent");   // another document is current while reading
        QTest::newRow("whole") << 0 << false;
        QTest::newRow("whole, another current") << 0 << true;
        QTest::newRow("without the flag") << 1 << false;
        QTest::newRow("inside the layer stack") << 60 << true;
        QTest::newRow("editing the selection") << -1 << false;
    }

    void stream()
    {
        QFETCH(int, cut);
        QFETCH(bool, otherCurrent);
        auto context = std::make_unique<VellContext>();
        makeCurrent(context.get());
        context->getLayerManager()->addLayer(raster(5, 3, 1), false);
        context->getLayerManager()->addLayer(raster(2, 7, 2), false);
        manager->removeContext(context.get());   // reading needs no current document
        context->editingChannel = VellChannelBits::Red | VellChannelBits::Blue;
        context->displayingChannel = VellChannelBits::Green;
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
            QCOMPARE(again, whole);   // layers, pixels and both masks
            QCOMPARE(back->getLayerManager()->getLayerCount(), 2);
        }
    }
};

QTEST_MAIN(TestVellContext)
#include "tst_vellcontext.moc"
