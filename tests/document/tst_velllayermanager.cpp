#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "gpu/vellgpumanager.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"
#include "support/vellteststreams.h"

#include <QtTest>

#include <functional>

namespace {

using Layers = QVector<VellLayerBase *>;   // every layer a step made
using Step = std::function<void(VellLayerManager &, Layers &)>;

QString names(const Layers &layers, bool permanent = false)   // bottom first
{
    QString s;
    for (const VellLayerBase *l : layers)
        s += permanent ? QString::number(l->getPermanentIndex()) : l->getLayerName();
    return s;
}

VellLayerBase *push(Layers &l, const char *name) { l.append(new VellLayerBase(name)); return l.last(); }
Step add(bool memo = false) { return [=](auto &m, auto &l) { m.addLayer(push(l, "D"), memo); }; }
Step del(int i, bool memo = false) { return [=](auto &m, auto &l) { m.deleteLayer(l[i], memo); }; }
Step move(int i, int by, bool memo = false) { return [=](auto &m, auto &l) { m.moveLayer(l[i], by, memo); }; }
Step activate(int i) { return [=](auto &m, auto &) { m.setActiveLayer(uint(i)); }; }
Step seq(Step a, Step b) { return [=](auto &m, auto &l) { a(m, l); b(m, l); }; }

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
    bool docOpen = true;
    int memos = 0;

    void abc(VellLayerManager &m, Layers &l)
    {
        for (const char *n : { "A", "B", "C" })
            m.addLayer(push(l, n), true);
        QCOMPARE(memos, 2);   // none for the first: an empty stack has nothing to restore
        memos = 0;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        VellLayerManager::setDocumentProbe([this] { return docOpen ? std::optional(doc) : std::nullopt; });
    }
    void init()
    {
        doc = VellLayerManager::Document();
        doc.pushListChangeMemo = [this](VellLayerManager *) { ++memos; };
        docOpen = true;
        memos = 0;
    }
    void cleanup()
    {
        VellGpuManager::setAvailableMemoryOverride(nullptr);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
    }
    void cleanupTestCase() { VellLayerManager::setDocumentProbe(nullptr); }

    void ordering_data()
    {
        QTest::addColumn<Step>("step");   // on A B C added in turn
        QTest::addColumn<QString>("want");   // stack|active|selected|permanent indices
        const auto row = [](const char *name, const char *want, Step s) { QTest::newRow(name) << s << want; };
        row("three adds", "ABC|C|C|012", [](auto &, auto &) {});
        row("add above the active bottom", "ADBC|D|D|0312", seq(activate(0), add()));
        row("add, none active: bottom first", "ADBC|D|D|0312", seq(activate(-1), add()));
        row("delete the active bottom", "BC|B|BC|12", seq(activate(0), del(0)));
        row("delete the active top", "AB|B|B|01", del(2));
        row("delete an inactive middle", "AC|A|AC|02", del(1));
        row("delete every layer", "|||", [](auto &m, auto &l) { for (auto *x : l) m.deleteLayer(x, false); });
        row("delete, add back: same index", "BAC|A|A|102",
            [](auto &m, auto &l) { m.deleteLayer(l[0], false); m.addLayer(l[0], false); });
        row("move the top up", "ABC|C|C|012", move(2, 1));
        row("move 2 by -2", "CAB|C|C|201", move(2, -2));
        row("move the bottom by 2", "BCA|C|C|120", move(0, 2));
        row("insert", "ADBC|C|C|0312", [](auto &m, auto &l) { m.insertLayer(push(l, "D"), 1, false); });
        row("by permanent index", "ABC|B|BC|012",
            [](auto &m, auto &) { m.activeLayerByPermanentIndex(1); m.activeLayerByPermanentIndex(7); });
        row("absent layer", "ABC|C|C|012", [](auto &m, auto &) {
            VellLayerBase x("X");
            m.deleteLayer(&x, true);
            m.moveLayer(&x, 1, true);
            m.deleteLayer(nullptr, true);
        });
    }
    void ordering()
    {
        QFETCH(Step, step);
        VellLayerManager m;
        Layers l;
        abc(m, l);
        step(m, l);
        VellLayerBase *now = m.getActiveLayer();
        QTEST(QStringList({ names(m.getLayers()), now ? now->getLayerName() : QString(),
                            names(m.getSelectedLayers()), names(m.getLayers(), true) }).join('|'), "want");
        QCOMPARE(m.getAllLayers().size(), l.size());   // deleted layers stay owned for undo
        QCOMPARE(memos, 0);
    }

    void signalsAndMemos_data()
    {
        QTest::addColumn<Step>("step");   // on A B C, C active
        QTest::addColumn<int>("document");   // 0 none, 1 loud, 2 quiet
        QTest::addColumn<QVector<int>>("counts");   // listChanged, active, change, memos, owned
        QTest::addColumn<QString>("stack");
        const auto row = [](const char *name, Step s, int document, QVector<int> counts, const char *stack) {
            QTest::newRow(name) << s << document << counts << QString(stack);
        };
        const Step rename = [](auto &m, auto &l) { l[1]->setLayerName("b"); m.updateLayerList(); };
        row("add", add(true), 1, { 3, 1, 0, 1, 4 }, "ABCD");
        row("add, quiet: unselecting still tells", add(true), 2, { 1, 0, 0, 1, 4 }, "ABCD");
        row("delete", del(2, true), 1, { 2, 1, 0, 1, 3 }, "AB");
        row("delete, quiet: destroyed", del(2, true), 2, { 0, 0, 0, 0, 2 }, "AB");
        row("move", move(2, -1, true), 1, { 1, 0, 0, 1, 3 }, "ACB");
        row("move, quiet: still recorded", move(2, -1, true), 2, { 0, 0, 0, 1, 3 }, "ACB");
        row("layer changed", rename, 1, { 2, 0, 1, 0, 3 }, "AbC");
        row("layer changed, quiet", rename, 2, { 0, 0, 0, 0, 3 }, "AbC");
        for (const auto &[name, s] : { std::pair("add", add(true)), std::pair("delete", del(2, true)),
                                       std::pair("move", move(2, -1, true)) })
            row(qPrintable(QString("no doc: ") + name), seq(s, activate(0)), 0, { 0, 0, 0, 0, 3 }, "ABC");
    }
    void signalsAndMemos()
    {
        QFETCH(Step, step);
        QFETCH(int, document);
        VellLayerManager m;
        Layers l;
        abc(m, l);
        QPointer<VellLayerBase> top(l[2]);
        QSignalSpy list(&m, &VellLayerManager::layerListChanged), active(&m, &VellLayerManager::layerActive),
            change(&m, &VellLayerManager::layerChange);
        docOpen = document != 0;
        doc.quiet = document == 2;
        step(m, l);
        QTEST((QVector<int>{ list.size(), active.size(), change.size(), memos, m.getAllLayers().size() }),
              "counts");
        QTEST(names(m.getLayers()), "stack");
        QCOMPARE(top.isNull(), m.getAllLayers().size() == 2);
        if (document == 0 && l.size() == 4)
            delete l.last();   // never taken over
    }

    // Activating a layer deactivates the previous one, which keeps its texture only where there is room
    // (the thresholds are the layer's own test).
    void dropDecision()
    {
        for (const auto &[freeKiB, drop] : { std::pair(40u, true), std::pair(1000000u, false) }) {
            VellGpuManager::setAvailableMemoryOverride([kib = freeKiB] { return kib; });
            VellLayerManager m;
            VellLayer *first = raster("A", 8, 8);
            m.addLayer(first, false);
            QVERIFY(first->getEntireTexture());
            QVERIFY(first->isActive());
            m.addLayer(raster("B", 64, 64), false);   // 16 KiB
            QVERIFY(!first->isActive());
            QCOMPARE(first->getEntireTexture() == nullptr, drop);
        }
    }

    void textures()
    {
        VellLayerManager m;
        VellLayer *l[3] = { raster("A", 8, 8), raster("B", 6, 4), raster("C", 5, 5) };
        for (VellLayer *x : l)
            m.addLayer(x, false);
        QVERIFY(l[0]->getEntireTexture());   // "unknown" video memory: kept
        QVERIFY(l[1]->getEntireTexture());
        m.deleteFullTextureInDisactiveLayers();
        QVERIFY(!l[0]->getEntireTexture());
        QVERIFY(!l[1]->getEntireTexture());
        QVERIFY(l[2]->getEntireTexture());
        m.deleteLayer(l[2], false);
        QVERIFY(!l[2]->getEntireTexture());
        QVERIFY(!l[2]->isActive());
        QCOMPARE(l[2]->getLatestPlace(), int(VellLayer::HostOnly));
        QVERIFY(l[1]->isActive());
        QVERIFY(l[1]->getEntireTexture());
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
        QCOMPARE(names(back->getLayers()), QStringLiteral("AB"));
        QCOMPARE(back->getNextPermanentIndex(), 3);
        QCOMPARE(back->getActiveLayer()->getLayerName(), QString("B"));
        QCOMPARE(static_cast<VellLayer *>(back->getLayer(1))->getLatestPlace(), int(VellLayer::HostOnly));
        QCOMPARE(streamed(back.data()), bytes);   // names, indices, pixels and mask all came back
        QByteArray mixed;   // entries of unknown kinds carry no record and are passed over
        QDataStream out(&mixed, QIODevice::WriteOnly);
        out << qint32(9) << qint32(4) << QString("Foo") << QString("VellLayer")
            << static_cast<VellLayer *>(m.getLayer(0)) << QString("Bar") << QString("VellLayer") << b;
        back.reset(readBack(mixed));
        QVERIFY(back);
        QCOMPARE(names(back->getLayers()), QStringLiteral("AB"));
        QCOMPARE(back->getNextPermanentIndex(), 9);
    }

    void streamFailures_data()
    {
        init();   // _data functions run before init()
        VellLayerManager m;
        m.addLayer(raster("A", 8, 6, 1), false);
        m.addLayer(raster("B", 5, 3, 2), false);
        const QByteArray good = streamed(&m);
        QTest::addColumn<QByteArray>("bytes");
        for (int cut : { 6, 13, good.size() / 2, good.size() - 1 })   // header, tag, layer, 1 short
            QTest::addRow("cut at %d", cut) << good.left(cut);
        QTest::newRow("negative count") << bigEndian32(0) + bigEndian32(0xFFFFFFFF);
        QTest::newRow("count beyond the entries") << good.left(4) + bigEndian32(0x7FFFFFFF) + good.mid(8);
        QByteArray text;
        QDataStream(&text, QIODevice::WriteOnly) << qint32(1) << qint32(1) << QString("VellTextLayer")
                                                 << QString("x");
        QTest::newRow("text layer record") << text;
        // The reader would give the unnumbered layer INT_MAX and wrap the next index.
        QScopedPointer<VellLayer> unnumbered(raster("U", 2, 2));
        QByteArray exhausted;
        QDataStream(&exhausted, QIODevice::WriteOnly) << qint32(INT_MAX) << qint32(1)
                                                      << QString("VellLayer") << unnumbered.data();
        QTest::newRow("no permanent index left") << exhausted;
    }

    // The last index is given out and then nothing more is.
    void lastPermanentIndex()
    {
        QScopedPointer<VellLayer> unnumbered(raster("U", 2, 2));
        QByteArray bytes;
        QDataStream(&bytes, QIODevice::WriteOnly) << qint32(INT_MAX - 1) << qint32(1)
                                                  << QString("VellLayer") << unnumbered.data();
        QScopedPointer<VellLayerManager> back(readBack(bytes));
        QVERIFY(back);
        QCOMPARE(back->getLayer(0)->getPermanentIndex(), INT_MAX - 1);
        QCOMPARE(back->getNextPermanentIndex(), INT_MAX);
        VellLayerBase *refused = new VellLayerBase("R");
        back->addLayer(refused, false);
        QCOMPARE(back->getLayerCount(), 1);
        QVERIFY(back->isNewLayer(refused));   // not taken, so still ours
        back->insertLayer(refused, 0, false);
        QCOMPARE(back->getLayerCount(), 1);
        delete refused;
        VellLayerBase *numbered = new VellLayerBase("N");
        numbered->setPermanentIndex(5);
        back->addLayer(numbered, false);
        QCOMPARE(back->getLayerCount(), 2);
        QCOMPARE(back->getNextPermanentIndex(), INT_MAX);
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
