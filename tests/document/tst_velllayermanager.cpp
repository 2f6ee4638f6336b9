#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "gpu/vellgpumanager.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"
#include "support/vellteststreams.h"

#include <QtTest>

#include <functional>

namespace {

using Step = std::function<void(VellLayerManager &, QVector<VellLayerBase *> &)>;

QString names(const QVector<VellLayerBase *> &layers, bool permanent = false)   // bottom first
{
    QString s;
    for (const VellLayerBase *l : layers)
        s += permanent ? QString::number(l->getPermanentIndex()) : l->getLayerName();
    return s;
}

VellLayerBase *push(QVector<VellLayerBase *> &l, VellLayerBase *layer) { l.append(layer); return layer; }

VellLayer *raster(const char *name, int w, int h, int seed = 1)
{
    auto *host = new VellPictureHost(w, h, 4);
    host->read(reinterpret_cast<const uchar *>(VellGLTestContext::patternBytes(w * h * 4, seed).constData()));
    auto *layer = new VellLayer(name);
    layer->setVellPictureHost(host);
    return layer;
}

QByteArray streamed(VellLayerManager *m)
{
    QByteArray out;
    QDataStream stream(&out, QIODevice::WriteOnly);
    stream << m;
    return out;
}

VellLayerManager *readBack(const QByteArray &bytes, QDataStream::Status *status = nullptr)
{
    QDataStream in(bytes);
    VellLayerManager *m = nullptr;
    in >> &m;
    if (status)
        *status = in.status();
    return m;
}

} // namespace

Q_DECLARE_METATYPE(Step)

class TestVellLayerManager : public QObject
{
    Q_OBJECT

    VellGLTestContext gl;
    VellLayerManager::Document doc;
    bool hasDocument = true;
    int memos = 0;

    void abc(VellLayerManager &m, QVector<VellLayerBase *> &l)
    {
        for (const char *n : { "A", "B", "C" })
            m.addLayer(push(l, new VellLayerBase(n)), true);
        QCOMPARE(memos, 2);   // none for the first: an empty stack has nothing to restore
        memos = 0;
    }

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void init()
    {
        doc = VellLayerManager::Document();
        doc.pushListChangeMemo = [this](VellLayerManager *) { ++memos; };
        hasDocument = true;
        memos = 0;
        VellLayerManager::setDocumentProbe([this] {
            return hasDocument ? std::optional<VellLayerManager::Document>(doc) : std::nullopt;
        });
    }
    void cleanup()
    {
        VellLayerManager::setDocumentProbe(nullptr);
        VellGpuManager::setAvailableMemoryOverride(nullptr);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
    }

    void ordering_data()
    {
        QTest::addColumn<Step>("step");   // on A B C added in turn
        QTest::addColumn<QString>("stack");
        QTest::addColumn<QString>("active");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QString>("permanent");
        auto row = [](const char *name, Step s, const char *stack, const char *active, const char *selected, const char *perm) {
            QTest::newRow(name) << s << QString(stack) << QString(active) << QString(selected) << QString(perm);
        };
        row("three adds", [](auto &, auto &) {}, "ABC", "C", "C", "012");
        row("add above the active bottom", [](auto &m, auto &l) { m.setActiveLayer(0); m.addLayer(push(l, new VellLayerBase("D")), false); }, "ADBC", "D", "D", "0312");
        row("add, none active: bottom first", [](auto &m, auto &l) { m.setActiveLayer(-1); m.addLayer(push(l, new VellLayerBase("D")), false); }, "ADBC", "D", "D", "0312");
        row("delete the active bottom", [](auto &m, auto &l) { m.setActiveLayer(0); m.deleteLayer(l[0], false); }, "BC", "B", "BC", "12");
        row("delete the active top", [](auto &m, auto &l) { m.deleteLayer(l[2], false); }, "AB", "B", "B", "01");
        row("delete an inactive middle", [](auto &m, auto &l) { m.deleteLayer(l[1], false); }, "AC", "A", "AC", "02");
        row("delete every layer", [](auto &m, auto &l) { for (auto *x : l) m.deleteLayer(x, false); }, "", "", "", "");
        row("delete, add back: same index", [](auto &m, auto &l) { m.deleteLayer(l[0], false); m.addLayer(l[0], false); }, "BAC", "A", "A", "102");
        row("move the top up", [](auto &m, auto &l) { m.moveLayer(l[2], 1, false); }, "ABC", "C", "C", "012");
        row("move 2 by -2", [](auto &m, auto &l) { m.moveLayer(l[2], -2, false); }, "CAB", "C", "C", "201");
        row("move the bottom by 2", [](auto &m, auto &l) { m.moveLayer(l[0], 2, false); }, "BCA", "C", "C", "120");
        row("insert", [](auto &m, auto &l) { m.insertLayer(push(l, new VellLayerBase("D")), 1, false); }, "ADBC", "C", "C", "0312");
        row("by permanent index", [](auto &m, auto &) { m.activeLayerByPermanentIndex(1); m.activeLayerByPermanentIndex(7); }, "ABC", "B", "BC", "012");
        row("absent layer", [](auto &m, auto &) { VellLayerBase x("X"); m.deleteLayer(&x, true); m.moveLayer(&x, 1, true); m.deleteLayer(nullptr, true); }, "ABC", "C", "C", "012");
    }
    void ordering()
    {
        QFETCH(Step, step);
        QFETCH(QString, active);
        VellLayerManager m;
        QVector<VellLayerBase *> l;
        abc(m, l);
        step(m, l);
        QTEST(names(m.getLayers()), "stack");
        QTEST(names(m.getSelectedLayers()), "selected");
        VellLayerBase *now = m.getActiveLayer();
        QCOMPARE(now ? now->getLayerName() : QString(), active);
        QTEST(names(m.getLayers(), true), "permanent");
        QCOMPARE(m.getAllLayers().size(), l.size());   // deleted layers stay owned for undo
        QCOMPARE(memos, 0);
    }

    void signalsAndMemos_data()
    {
        QTest::addColumn<Step>("step");   // on A B C, C active
        QTest::addColumn<int>("document");   // 0 none, 1 loud, 2 quiet
        QTest::addColumn<QVector<int>>("counts");   // listChanged, active, change, memos, owned
        QTest::addColumn<QString>("stack");
        Step add = [](auto &m, auto &l) { m.addLayer(push(l, new VellLayerBase("D")), true); };
        Step del = [](auto &m, auto &l) { m.deleteLayer(l[2], true); };
        Step move = [](auto &m, auto &l) { m.moveLayer(l[2], -1, true); };
        Step rename = [](auto &m, auto &l) { l[1]->setLayerName("b"); m.updateLayerList(); };
        QTest::newRow("add") << add << 1 << QVector<int>{ 3, 1, 0, 1, 4 } << "ABCD";
        QTest::newRow("add, quiet: unselecting still tells") << add << 2 << QVector<int>{ 1, 0, 0, 1, 4 } << "ABCD";
        QTest::newRow("delete") << del << 1 << QVector<int>{ 2, 1, 0, 1, 3 } << "AB";
        QTest::newRow("delete, quiet: destroyed") << del << 2 << QVector<int>{ 0, 0, 0, 0, 2 } << "AB";
        QTest::newRow("move") << move << 1 << QVector<int>{ 1, 0, 0, 1, 3 } << "ACB";
        QTest::newRow("move, quiet: still recorded") << move << 2 << QVector<int>{ 0, 0, 0, 1, 3 } << "ACB";
        QTest::newRow("layer changed") << rename << 1 << QVector<int>{ 2, 0, 1, 0, 3 } << "AbC";
        QTest::newRow("layer changed, quiet") << rename << 2 << QVector<int>{ 0, 0, 0, 0, 3 } << "AbC";
        const Step ops[] = { add, del, move };
        for (int i = 0; i < 3; ++i)
            QTest::addRow("no document, change %d", i) << Step([s = ops[i]](auto &m, auto &l) { s(m, l); m.setActiveLayer(0); })
                                                       << 0 << QVector<int>{ 0, 0, 0, 0, 3 } << "ABC";
    }
    void signalsAndMemos()
    {
        QFETCH(Step, step);
        QFETCH(int, document);
        QFETCH(QVector<int>, counts);
        VellLayerManager m;
        QVector<VellLayerBase *> l;
        abc(m, l);
        QPointer<VellLayerBase> top(l[2]);
        QSignalSpy list(&m, &VellLayerManager::layerListChanged), active(&m, &VellLayerManager::layerActive),
            change(&m, &VellLayerManager::layerChange);
        hasDocument = document != 0;
        doc.quiet = document == 2;
        step(m, l);
        QCOMPARE((QVector<int>{ list.size(), active.size(), change.size(), memos, m.getAllLayers().size() }), counts);
        QTEST(names(m.getLayers()), "stack");
        QCOMPARE(top.isNull(), m.getAllLayers().size() == 2);
        if (document == 0 && l.size() == 4)
            delete l.last();   // never taken over
    }

    void dropDecision_data()
    {
        QTest::addColumn<int>("incomingType");   // 0 raster 64 x 64 (16 KiB), 1 text, -1 without pixels
        QTest::addColumn<uint>("freeKiB");
        QTest::addColumn<bool>("drop");
        QTest::newRow("a third of memory is less") << 0 << 40u << true;
        QTest::newRow("plenty") << 0 << 1000000u << false;
        QTest::newRow("not beyond the 128 MiB reserve") << 0 << 131072u + 10 << true;
        QTest::newRow("beyond the reserve") << 0 << 131072u + 40 << false;
        QTest::newRow("unknown figure") << 0 << 0xFFFFFFFFu << false;
        QTest::newRow("text layer, short") << 1 << 1u << false;
        QTest::newRow("no pixels, plenty") << -1 << 1000000u << true;
    }
    void dropDecision()
    {
        QFETCH(int, incomingType);
        QFETCH(uint, freeKiB);
        VellGpuManager::setAvailableMemoryOverride([freeKiB] { return freeKiB; });
        VellLayerManager m;
        VellLayer *first = raster("A", 8, 8);
        m.addLayer(first, false);
        QVERIFY(first->getEntireTexture() && first->isActive());
        VellLayerBase *incoming = incomingType == 0 ? raster("B", 64, 64) : new VellLayerBase("B");
        incoming->setType(qMax(0, incomingType));
        m.addLayer(incoming, false);
        QVERIFY(!first->isActive());
        QTEST(first->getEntireTexture() == nullptr, "drop");
    }

    void textures()
    {
        VellLayerManager m;
        VellLayer *l[3] = { raster("A", 8, 8), raster("B", 6, 4), raster("C", 5, 5) };
        for (VellLayer *x : l)
            m.addLayer(x, false);
        QVERIFY(l[0]->getEntireTexture() && l[1]->getEntireTexture());   // "unknown" video memory: kept
        m.deleteFullTextureInDisactiveLayers();
        QVERIFY(!l[0]->getEntireTexture() && !l[1]->getEntireTexture() && l[2]->getEntireTexture());
        m.deleteLayer(l[2], false);
        QVERIFY(!l[2]->getEntireTexture() && !l[2]->isActive() && l[2]->getLatestPlace() == VellLayer::HostOnly);
        QVERIFY(l[1]->isActive() && l[1]->getEntireTexture());
    }

    void streamRoundTrip()
    {
        VellLayerManager m;
        m.addLayer(raster("A", 8, 6, 1), false);
        VellLayer *b = raster("B", 5, 3, 2);
        b->createLayerMask();
        b->getLayerMask()->getData()[3] = 9;
        m.addLayer(b, false);
        m.addLayer(new VellLayerBase("not written"), false);
        m.moveLayer(b, 1, false);
        const QByteArray bytes = streamed(&m);
        QScopedPointer<VellLayerManager> back(readBack(bytes));
        QVERIFY(back);
        QCOMPARE(names(back->getLayers()), QString("AB"));
        QCOMPARE(back->getNextPermanentIndex(), 3);
        QCOMPARE(back->getActiveLayer()->getLayerName(), QString("B"));
        QCOMPARE(static_cast<VellLayer *>(back->getLayer(1))->getLatestPlace(), int(VellLayer::HostOnly));
        QCOMPARE(streamed(back.data()), bytes);   // names, indices, pixels and mask all came back

        // Entries of unknown kinds carry no record and are passed over.
        QByteArray mixed;
        QDataStream out(&mixed, QIODevice::WriteOnly);
        out << qint32(9) << qint32(4) << QString("Foo") << QString("VellLayer") << static_cast<VellLayer *>(m.getLayer(0))
            << QString("Bar") << QString("VellLayer") << b;
        back.reset(readBack(mixed));
        QVERIFY(back && names(back->getLayers()) == "AB" && back->getNextPermanentIndex() == 9);
    }

    void streamFailures_data()
    {
        init();   // _data functions run before init()
        VellLayerManager m;
        m.addLayer(raster("A", 8, 6, 1), false);
        m.addLayer(raster("B", 5, 3, 2), false);
        const QByteArray good = streamed(&m);
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("cut in the header") << good.left(6);
        QTest::newRow("cut in a tag") << good.left(13);
        QTest::newRow("cut in a layer") << good.left(good.size() / 2);
        QTest::newRow("one byte short") << good.left(good.size() - 1);
        QTest::newRow("negative count") << bigEndian32(0) + bigEndian32(0xFFFFFFFF);
        QTest::newRow("count beyond the entries") << good.left(4) + bigEndian32(0x7FFFFFFF) + good.mid(8);
        QByteArray text;
        QDataStream(&text, QIODevice::WriteOnly) << qint32(1) << qint32(1) << QString("VellTextLayer") << QString("x");
        QTest::newRow("text layer record") << text;
    }
    void streamFailures()
    {
        QFETCH(QByteArray, bytes);
        AllocationCounter counter;
        QDataStream::Status status = QDataStream::Ok;
        QCOMPARE(readBack(bytes, &status), nullptr);
        QVERIFY(status != QDataStream::Ok);
        QVERIFY(counter.count <= 2);   // at most the two hosts the stream really holds
    }
};

QTEST_MAIN(TestVellLayerManager)
#include "tst_velllayermanager.moc"
