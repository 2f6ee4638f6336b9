#include "foundation/vellmemory.h"

#include "foundation/vellmessagebox.h"
#include "foundation/vellrecovery.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <cstdlib>
#include <vector>

namespace {

const quint64 kPlenty = quint64(8) << 30;

QByteArray consoleLog()
{
    QFile file(QStringLiteral("ConsoleLog.txt"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

Q_DECLARE_METATYPE(VellSystemResources)

class TestVellMemory : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;
    int historyClears = 0;
    int textureDrops = 0;
    QList<VellMessageBox::Message> messages;

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        QVERIFY(QDir::setCurrent(dir.path()));
        VellRecovery::setClearHistory([this] { ++historyClears; });
        VellRecovery::setDropInactiveTextures([this] { ++textureDrops; });
        VellMessageBox::setPresenter(
            [this](const VellMessageBox::Message &m) { messages.append(m); return QMessageBox::Ok; });
    }
    void init()
    {
        historyClears = textureDrops = 0;
        messages.clear();
        VellMemory::setProbe([] { return VellSystemResources{ true, kPlenty, true, kPlenty }; });
    }
    void cleanup() { VellMemory::setProbe(nullptr); }

    void budgetSignal_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("second");
        QTest::addColumn<int>("excess");   // 0: no signal
        QTest::newRow("inside the budget") << 1000 << 400 << 600 << 0;
        QTest::newRow("one byte over") << 1000 << 400 << 601 << 1;
        QTest::newRow("default budget, 400 MiB + 1") << 419430400 << 0 << 419430401 << 1;
    }
    void budgetSignal()
    {
        QFETCH(int, limit);
        QFETCH(int, first);
        QFETCH(int, second);
        QFETCH(int, excess);
        VellMemory memory(limit);
        QSignalSpy spy(&memory, &VellMemory::memoryNotEnough);
        unsigned char *a = memory.alloc(first);
        unsigned char *b = memory.alloc(second);
        QVERIFY(a);   // over the budget still allocates
        QVERIFY(b);
        QCOMPARE(memory.getUsed(), qint64(first + second));
        QCOMPARE(memory.getRecordCount(), 2);
        QCOMPARE(spy.count(), excess ? 1 : 0);
        QCOMPARE(spy.count() ? spy.at(0).at(0).toInt() : 0, excess);
        const QByteArray expected = QString("Memory Allocation: Size(%1), Used(%2), Remain(%3)\n").arg(second)
                                        .arg(first + second).arg(limit - first - second).toLatin1();
        QVERIFY2(consoleLog().contains(expected), expected.constData());
        memory.release(a);
        memory.release(b);
    }

    // Three 1 GiB bookings: the total passes 2^31 and the excess passes
    // INT_MAX, which the signal reports clamped. The allocator hands out one
    // byte per booking, so nothing large is really taken.
    void totalsPastTwoGiB()
    {
        const int gib = 1 << 30;
        const qint64 limit = 419430400;
        VellMemory memory(static_cast<int>(limit));
        memory.setAllocator([](size_t) { return std::malloc(1); });
        QSignalSpy spy(&memory, &VellMemory::memoryNotEnough);
        unsigned char *blocks[3] = {};
        for (unsigned char *&block : blocks)
            block = memory.alloc(gib);
        QCOMPARE(memory.getUsed(), 3 * qint64(gib));
        QCOMPARE(spy.count(), 3);
        QCOMPARE(spy.at(1).at(0).toInt(), int(2 * qint64(gib) - limit));
        QCOMPARE(spy.at(2).at(0).toInt(), INT_MAX);   // 2801795072 bytes over
        QVERIFY(consoleLog().endsWith("Memory Allocation: Size(1073741824), Used(3221225472), "
                                      "Remain(-2801795072)\n"));
        memory.takeAway(int(limit / 2));   // still signals, clamped
        QCOMPARE(spy.last().at(0).toInt(), INT_MAX);
        memory.returnBack(int(limit / 2));
        for (unsigned char *block : blocks)
            QVERIFY(memory.release(block));
        QCOMPARE(memory.getUsed(), qint64(0));
        memory.setAllocator(nullptr);
    }

    // Releases of what was never booked, and bookings without buffers: half
    // the budget at most, signalling the excess; nothing checks the balance.
    void releaseAndBookings()
    {
        VellMemory memory(1000);
        unsigned char *booked = memory.alloc(300);
        const QByteArray before = consoleLog();
        QVERIFY(!memory.release(nullptr));
        QCOMPARE(consoleLog(), before);   // nothing logged for null
        QVERIFY(memory.release(static_cast<unsigned char *>(std::malloc(64))));   // freed, not booked
        QVERIFY(consoleLog().endsWith("Memory Release: Size(0), Used(300), Remain(700)\n"));
        QSignalSpy spy(&memory, &VellMemory::memoryNotEnough);
        memory.takeAway(501);   // over half the budget: ignored
        QCOMPARE(memory.getUsed(), qint64(300));
        memory.takeAway(500);
        memory.takeAway(400);   // crosses the budget by 200
        QCOMPARE(memory.getUsed(), qint64(1200));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), 200);
        QVERIFY(consoleLog().endsWith("Memory taken away: Size(400), Used(1200), Remain(-200)\n"));
        memory.returnBack(1500);
        QVERIFY(consoleLog().endsWith("Memory returned back: Size(1500), Used(-300), Remain(1300)\n"));
        QVERIFY(memory.release(booked));
        QVERIFY(consoleLog().endsWith("Memory Release: Size(300), Used(-600), Remain(1600)\n"));
    }

    void failingAllocation_data()
    {
        QTest::addColumn<int>("failures");
        QTest::addColumn<QVector<int>>("recovery");   // waits, history clears, texture drops
        QTest::newRow("after all ten waits") << 10 << QVector<int>{ 10, 0, 0 };
        QTest::newRow("after clearing the history") << 11 << QVector<int>{ 10, 1, 0 };
        QTest::newRow("after dropping textures") << 12 << QVector<int>{ 10, 1, 1 };
        QTest::newRow("out of memory") << 13 << QVector<int>{ 10, 1, 1 };
    }
    void failingAllocation()
    {
        QFETCH(int, failures);
        VellMemory memory(1 << 20);
        int calls = 0;
        memory.setAllocator([&](size_t size) { return ++calls <= failures ? nullptr : std::malloc(size); });
        const QByteArray wait = "Sleep to wait for memory release from other threads, "
                                "require memory size:4096\n";
        const int before = consoleLog().count(wait);
        unsigned char *p = memory.alloc(4096);
        QTEST((QVector<int>{ consoleLog().count(wait) - before, historyClears, textureDrops }), "recovery");
        const bool succeeds = failures < 13;
        QCOMPARE(p != nullptr, succeeds);
        QCOMPARE(memory.getUsed(), qint64(succeeds ? 4096 : 0));
        QCOMPARE(memory.getRecordCount(), succeeds ? 1 : 0);
        QStringList shown;
        for (const VellMessageBox::Message &m : qAsConst(messages))
            shown << QString("%1 %2: %3").arg(m.kind).arg(m.title, m.text);
        QCOMPARE(shown, succeeds ? QStringList()
                                 : QStringList{QString("%1 Error: Out of Memory!").arg(VellMessageBox::Information)});
        memory.release(p);
    }

    void clearMemoryProbe_data()
    {
        QTest::addColumn<VellSystemResources>("resources");
        QTest::addColumn<bool>("clears");
        const quint64 t = 314572800;   // 300 MiB
        QTest::newRow("both exactly 300 MiB") << VellSystemResources{ true, t, true, t } << false;
        QTest::newRow("disk one byte short") << VellSystemResources{ true, t - 1, true, kPlenty } << true;
        QTest::newRow("memory one byte short") << VellSystemResources{ true, kPlenty, true, t - 1 } << true;
        QTest::newRow("disk unknown") << VellSystemResources{ false, kPlenty, true, kPlenty } << true;
        QTest::newRow("memory unknown") << VellSystemResources{ true, kPlenty, false, kPlenty } << true;
    }
    void clearMemoryProbe()
    {
        QFETCH(VellSystemResources, resources);
        QFETCH(bool, clears);
        VellMemory::setProbe([=] { return resources; });
        VellMemory::clearMemory();
        QCOMPARE(historyClears, clears ? 1 : 0);
        VellMemory budget(1000);   // alloc consults the same probe before every allocation
        budget.release(budget.alloc(10));
        QCOMPARE(historyClears, clears ? 2 : 0);
    }

    void probeReadsThisMachine()
    {
        const VellSystemResources r = VellMemory::probeSystem();
        QCOMPARE((QVector<bool>{r.diskKnown, r.memoryKnown, r.freeMemory > 0, r.freeDisk > 0}), QVector<bool>(4, true));
    }

    // A small budget, so threads also cross it and emit from worker threads.
    void concurrentBookings()
    {
        VellMemory memory(1 << 16);
        std::vector<std::vector<std::pair<unsigned char *, int>>> kept(4);
        QList<QThread *> threads;
        for (int t = 0; t < 4; ++t)
            threads.append(QThread::create([&, t] {
                QRandomGenerator random(quint32(t + 1));
                auto &live = kept[size_t(t)];
                for (int i = 0; i < 1500; ++i) {
                    if (!live.empty() && random.bounded(3) == 0) {
                        const size_t k = random.bounded(int(live.size()));
                        memory.release(live[k].first);
                        live.erase(live.begin() + long(k));
                    } else {
                        const int size = 1 + random.bounded(4096);
                        unsigned char *p = memory.alloc(size);
                        p[0] = p[size - 1] = 0xAB;
                        live.emplace_back(p, size);
                    }
                    if (i % 100 == 0)
                        memory.takeAway(16), memory.returnBack(16);
                }
            }));
        for (QThread *thread : threads)
            thread->start();
        for (QThread *thread : threads)
            QVERIFY(thread->wait(120000));
        qDeleteAll(threads);
        qint64 sum = 0;
        int count = 0;
        for (const auto &live : kept)
            for (const auto &block : live)
                sum += block.second, ++count;
        QCOMPARE(qint64(memory.getUsed()), sum);
        QCOMPARE(memory.getRecordCount(), count);
        for (const auto &live : kept)
            for (const auto &block : live)
                QVERIFY(memory.release(block.first));
        QCOMPARE(memory.getUsed(), qint64(0));
        QCOMPARE(memory.getRecordCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestVellMemory)
#include "tst_vellmemory.moc"
