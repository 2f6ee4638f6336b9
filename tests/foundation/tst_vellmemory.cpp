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

VellSystemResources resources(bool diskKnown, quint64 disk, bool memoryKnown, quint64 memory)
{
    VellSystemResources r;
    r.diskKnown = diskKnown;
    r.freeDisk = disk;
    r.memoryKnown = memoryKnown;
    r.freeMemory = memory;
    return r;
}

QByteArray consoleLog()
{
    QFile file(QStringLiteral("ConsoleLog.txt"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestVellMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void budgetSignal_data();
    void budgetSignal();
    void releaseRules();
    void takeAwayAndReturnBack();
    void failingAllocation_data();
    void failingAllocation();
    void clearMemoryProbe_data();
    void clearMemoryProbe();
    void probeReadsThisMachine();
    void concurrentBookings();

private:
    QTemporaryDir dir;
    int historyClears = 0;
    int textureDrops = 0;
    QList<VellMessageBox::Message> messages;
};

void TestVellMemory::initTestCase()
{
    QVERIFY(dir.isValid());
    QVERIFY(QDir::setCurrent(dir.path()));
    VellRecovery::setClearHistory([this] { ++historyClears; });
    VellRecovery::setDropInactiveTextures([this] { ++textureDrops; });
    VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
        messages.append(m);
        return QMessageBox::Ok;
    });
}

void TestVellMemory::init()
{
    historyClears = textureDrops = 0;
    messages.clear();
    VellMemory::setProbe([] { return resources(true, kPlenty, true, kPlenty); });
}

void TestVellMemory::cleanup()
{
    VellMemory::setProbe(nullptr);
}

void TestVellMemory::budgetSignal_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<int>("excess");   // 0: no signal

    QTest::newRow("inside the budget") << 1000 << 400 << 600 << 0;
    QTest::newRow("one byte over") << 1000 << 400 << 601 << 1;
    QTest::newRow("far over") << 1000 << 900 << 5000 << 4900;
    QTest::newRow("default budget, 400 MiB + 1") << 419430400 << 0 << 419430401 << 1;
}

void TestVellMemory::budgetSignal()
{
    QFETCH(int, limit);
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(int, excess);

    VellMemory memory(limit);
    QSignalSpy spy(&memory, &VellMemory::memoryNotEnough);
    unsigned char *a = memory.alloc(first);
    QVERIFY(a);
    unsigned char *b = memory.alloc(second);
    QVERIFY(b);   // over the budget still allocates
    QCOMPARE(memory.getUsed(), first + second);
    QCOMPARE(memory.getRecordCount(), 2);
    if (excess == 0) {
        QCOMPARE(spy.count(), 0);
    } else {
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), excess);
    }
    const QByteArray expected = QStringLiteral("Memory Allocation: Size(%1), Used(%2), Remain(%3)\n")
                                    .arg(second).arg(first + second).arg(limit - first - second)
                                    .toLatin1();
    QVERIFY2(consoleLog().contains(expected), expected.constData());
    QVERIFY(memory.release(a));
    QVERIFY(memory.release(b));
    QCOMPARE(memory.getUsed(), 0);
    QCOMPARE(memory.getRecordCount(), 0);
}

void TestVellMemory::releaseRules()
{
    VellMemory memory(1000);
    unsigned char *booked = memory.alloc(100);
    const QByteArray before = consoleLog();

    QVERIFY(!memory.release(nullptr));
    QCOMPARE(consoleLog(), before);   // nothing logged for null

    auto *stranger = static_cast<unsigned char *>(std::malloc(64));
    QVERIFY(memory.release(stranger));   // freed, but not booked
    QCOMPARE(memory.getUsed(), 100);
    QVERIFY(consoleLog().endsWith("Memory Release: Size(0), Used(100), Remain(900)\n"));

    QVERIFY(memory.release(booked));
    QCOMPARE(memory.getUsed(), 0);
    QVERIFY(consoleLog().endsWith("Memory Release: Size(100), Used(0), Remain(1000)\n"));
}

// Bookings without buffers: half the budget at most, signalling the excess.
void TestVellMemory::takeAwayAndReturnBack()
{
    VellMemory memory(1000);
    unsigned char *p = memory.alloc(300);
    QSignalSpy spy(&memory, &VellMemory::memoryNotEnough);
    memory.takeAway(501);   // over half the budget: ignored
    QCOMPARE(memory.getUsed(), 300);
    memory.takeAway(500);
    memory.takeAway(400);   // crosses the budget by 200
    QCOMPARE(memory.getUsed(), 1200);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 200);
    QVERIFY(consoleLog().endsWith("Memory taken away: Size(400), Used(1200), Remain(-200)\n"));
    memory.returnBack(1500);   // nothing checks the balance
    QCOMPARE(memory.getUsed(), -300);
    QVERIFY(consoleLog().endsWith("Memory returned back: Size(1500), Used(-300), Remain(1300)\n"));
    memory.release(p);
}

void TestVellMemory::failingAllocation_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("waits");
    QTest::addColumn<int>("clears");
    QTest::addColumn<int>("drops");
    QTest::addColumn<bool>("succeeds");

    QTest::newRow("first try") << 0 << 0 << 0 << 0 << true;
    QTest::newRow("after three waits") << 3 << 3 << 0 << 0 << true;
    QTest::newRow("after all ten waits") << 10 << 10 << 0 << 0 << true;
    QTest::newRow("after clearing the history") << 11 << 10 << 1 << 0 << true;
    QTest::newRow("after dropping textures") << 12 << 10 << 1 << 1 << true;
    QTest::newRow("out of memory") << 13 << 10 << 1 << 1 << false;
}

void TestVellMemory::failingAllocation()
{
    QFETCH(int, failures);
    QFETCH(int, waits);
    QFETCH(int, clears);
    QFETCH(int, drops);
    QFETCH(bool, succeeds);

    VellMemory memory(1 << 20);
    int calls = 0;
    memory.setAllocator([&](size_t size) -> void * {
        return ++calls <= failures ? nullptr : std::malloc(size);
    });
    const QByteArray before = consoleLog();
    unsigned char *p = memory.alloc(4096);
    const QByteArray logged = consoleLog().mid(before.size());

    QCOMPARE(logged.count("Sleep to wait for memory release from other threads, require memory size:4096\n"),
             waits);
    QCOMPARE(historyClears, clears);
    QCOMPARE(textureDrops, drops);
    QCOMPARE(p != nullptr, succeeds);
    if (succeeds) {
        QCOMPARE(memory.getUsed(), 4096);
        QVERIFY(messages.isEmpty());
        memory.release(p);
    } else {
        QCOMPARE(memory.getUsed(), 0);
        QCOMPARE(memory.getRecordCount(), 0);
        QCOMPARE(messages.size(), 1);
        QCOMPARE(int(messages.at(0).kind), int(VellMessageBox::Information));
        QCOMPARE(messages.at(0).title, QStringLiteral("Error"));
        QCOMPARE(messages.at(0).text, QStringLiteral("Out of Memory!"));
    }
}

void TestVellMemory::clearMemoryProbe_data()
{
    QTest::addColumn<bool>("diskKnown");
    QTest::addColumn<quint64>("disk");
    QTest::addColumn<bool>("memoryKnown");
    QTest::addColumn<quint64>("memory");
    QTest::addColumn<bool>("clears");

    const quint64 t = 314572800;   // 300 MiB
    QTest::newRow("both plenty") << true << kPlenty << true << kPlenty << false;
    QTest::newRow("both exactly 300 MiB") << true << t << true << t << false;
    QTest::newRow("disk one byte short") << true << t - 1 << true << kPlenty << true;
    QTest::newRow("memory one byte short") << true << kPlenty << true << t - 1 << true;
    QTest::newRow("disk unknown") << false << kPlenty << true << kPlenty << true;
    QTest::newRow("memory unknown") << true << kPlenty << false << kPlenty << true;
}

void TestVellMemory::clearMemoryProbe()
{
    QFETCH(bool, diskKnown);
    QFETCH(quint64, disk);
    QFETCH(bool, memoryKnown);
    QFETCH(quint64, memory);
    QFETCH(bool, clears);

    VellMemory::setProbe([=] { return resources(diskKnown, disk, memoryKnown, memory); });
    VellMemory::clearMemory();
    QCOMPARE(historyClears, clears ? 1 : 0);

    // alloc consults the same probe before every allocation.
    VellMemory budget(1000);
    budget.release(budget.alloc(10));
    QCOMPARE(historyClears, clears ? 2 : 0);
}

void TestVellMemory::probeReadsThisMachine()
{
    const VellSystemResources r = VellMemory::probeSystem();
    QVERIFY(r.diskKnown);
    QVERIFY(r.memoryKnown);
    QVERIFY(r.freeMemory > 0);
    QVERIFY(r.freeDisk > 0);
}

void TestVellMemory::concurrentBookings()
{
    // A small budget, so threads also cross it and emit from worker threads.
    VellMemory memory(1 << 16);
    const int threadCount = 4;
    const int rounds = 1500;
    std::vector<std::vector<std::pair<unsigned char *, int>>> kept(threadCount);
    QList<QThread *> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.append(QThread::create([&, t] {
            QRandomGenerator random(quint32(t + 1));
            std::vector<std::pair<unsigned char *, int>> live;
            for (int i = 0; i < rounds; ++i) {
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
            kept[size_t(t)] = live;
        }));
    }
    for (QThread *thread : threads)
        thread->start();
    for (QThread *thread : threads) {
        QVERIFY(thread->wait(120000));
        delete thread;
    }

    qint64 sum = 0;
    int count = 0;
    for (const auto &live : kept)
        for (const auto &block : live) {
            sum += block.second;
            ++count;
        }
    QCOMPARE(qint64(memory.getUsed()), sum);
    QCOMPARE(memory.getRecordCount(), count);
    for (const auto &live : kept)
        for (const auto &block : live)
            memory.release(block.first);
    QCOMPARE(memory.getUsed(), 0);
}

QTEST_GUILESS_MAIN(TestVellMemory)
#include "tst_vellmemory.moc"
