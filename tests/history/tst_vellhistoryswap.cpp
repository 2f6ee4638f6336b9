// Memos that move their data to swap files: round trips byte for byte, the
// memory budget's bookings following the data, swap files that vanish or are
// cut while a memo is on disk, a full disk while writing, and a one-layer
// document under a small budget that swaps its history out and is then undone
// and redone through the swapped memos.

#include "history/vellhistorytestdoc.h"

#include "foundation/vellcodes.h"
#include "foundation/vellconfig.h"
#include "foundation/vellmemory.h"
#include "history/vellmemocanvasandlayerschange.h"
#include "history/velllayermodifymemo.h"
#include "history/vellmemoloaderthread.h"
#include "history/vellpicturemodifymemo.h"

#include <QFile>
#include <QTemporaryFile>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>

using namespace VellHistoryTest;

namespace {

// Small enough that a one-layer document of 128 x 96 pixels (48 KiB a
// picture) runs over it within a few edits.
const int kBudget = 160 * 1024;

// What the log file gained since `from` (the log flushes every line).
QByteArray logSince(qint64 from)
{
    QFile file(QStringLiteral("ConsoleLog.txt"));
    if (!file.open(QIODevice::ReadOnly) || !file.seek(from))
        return QByteArray();
    return file.readAll();
}
qint64 logSize() { return QFileInfo(QStringLiteral("ConsoleLog.txt")).size(); }

void waitForTransfers(VellHistory *history)
{
    for (int i = 0; i < history->getMemoCount(); ++i)
        QTRY_VERIFY_WITH_TIMEOUT(!history->getMemo(i)->isTransferRunning(), 10000);
}

int onDisk(VellHistory *history)
{
    int n = 0;
    for (int i = 0; i < history->getMemoCount(); ++i)
        n += history->getMemo(i)->isInDisk();
    return n;
}

// What damages the swap file of a memo that is on disk.
enum class Damage { Removed, CutByOne, Emptied, OtherPicture };

void damage(const QString &path, Damage how)
{
    QFile file(path);
    switch (how) {
    case Damage::Removed:
        QFile::remove(path);
        break;
    case Damage::CutByOne:
        file.resize(file.size() - 1);
        break;
    case Damage::Emptied:
        file.resize(0);
        break;
    case Damage::OtherPicture: {
        std::unique_ptr<VellPictureHost> other(patternHost(3, 3, 9));
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        VellMemoLoaderThread::writePicture(&file, other.get());
        break;
    }
    }
}

} // namespace

Q_DECLARE_METATYPE(Damage)

class TestVellHistorySwap : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Before anything asks for the budget: the singleton reads it once.
        VellConfig::getInstance()->memoryBudget = kBudget;
        QCOMPARE(VellMemory::getInstance()->getLimit(), kBudget);
    }

    void pictureRoundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("pixelWidth");
        QTest::newRow("odd width, 8-bit") << QSize(7, 3) << 4;
        QTest::newRow("16-bit") << QSize(5, 9) << 8;
        QTest::newRow("one pixel") << QSize(1, 1) << 4;
        QTest::newRow("more than one band") << QSize(3, 2100) << 4;
    }
    void pictureRoundTrip()
    {
        QFETCH(QSize, size);
        QFETCH(int, pixelWidth);
        Document d(1, 4, 4);
        std::unique_ptr<VellPictureHost> source(patternHost(size.width(), size.height(), 5, pixelWidth));
        VellPictureModifyMemo memo(d.context, source.get(), 0, false);
        const QByteArray original = bytesOf(source.get());
        const qint64 usedIn = VellMemory::getInstance()->getUsed();
        QCOMPARE(memo.memoryTaken(), qint64(original.size()));

        QVERIFY(memo.swapToDisk());
        QVERIFY(!memo.swapToDisk());   // one transfer at a time
        QVERIFY(!memo.swapFromDisk());
        QTRY_VERIFY(memo.isInDisk());   // completed by the posted event
        QVERIFY(!memo.getPictureHost());
        QCOMPARE(VellMemory::getInstance()->getUsed(), usedIn - original.size());
        QCOMPARE(memo.getSwapFile()->size(), qint64(12) + original.size());
        QCOMPARE(memo.getSwapFile()->parent(), &memo);

        QVERIFY(memo.ensureInMemory());   // waits for the thread, not the event
        QVERIFY(!memo.isInDisk());
        QCOMPARE(bytesOf(memo.getPictureHost()), original);
        QCOMPARE(int(memo.getPictureHost()->getPixelWidth()), pixelWidth);
        QCOMPARE(VellMemory::getInstance()->getUsed(), usedIn);

        // The same file again for the next swap-out.
        const QString name = memo.getSwapFile()->fileName();
        QVERIFY(memo.swapToDisk());
        QTRY_VERIFY(memo.isInDisk());
        QCOMPARE(memo.getSwapFile()->fileName(), name);
    }

    void canvasBytesFollowTheirBooking()
    {
        Document d(2, 20, 10);
        VellMemory *memory = VellMemory::getInstance();
        const qint64 before = memory->getUsed();
        auto *memo = new VellMemoCanvasAndLayersChange(d.context);
        const QByteArray bytes = memo->getBytes();
        QCOMPARE(memo->memoryTaken(), qint64(bytes.size()));
        QCOMPARE(memory->getUsed(), before + bytes.size());

        QVERIFY(memo->swapToDisk());
        QTRY_VERIFY(memo->isInDisk());
        QVERIFY(memo->getBytes().isEmpty());
        QCOMPARE(memory->getUsed(), before);
        QVERIFY(memo->ensureInMemory());
        QCOMPARE(memo->getBytes(), bytes);
        QCOMPARE(memory->getUsed(), before + bytes.size());
        delete memo;
        QCOMPARE(memory->getUsed(), before);
    }

    void damagedSwapFile_data()
    {
        QTest::addColumn<Damage>("how");
        QTest::addColumn<bool>("canvasMemo");
        QTest::newRow("picture file removed") << Damage::Removed << false;
        QTest::newRow("picture file cut by a byte") << Damage::CutByOne << false;
        QTest::newRow("picture file emptied") << Damage::Emptied << false;
        QTest::newRow("picture file of another picture") << Damage::OtherPicture << false;
        QTest::newRow("canvas file removed") << Damage::Removed << true;
        QTest::newRow("canvas file cut by a byte") << Damage::CutByOne << true;
    }
    void damagedSwapFile()
    {
        QFETCH(Damage, how);
        QFETCH(bool, canvasMemo);
        Document d(1, 16, 12);
        VellLayer *layer = d.raster(0);
        if (canvasMemo) {
            d.history()->pushNewMemo(new VellMemoCanvasAndLayersChange(d.context));
            layer->setVellPictureHost(patternHost(10, 10, 3));
        } else {
            d.history()->pushNewMemo(new VellPictureModifyMemo(d.context, layer->getPictureHost(),
                                                               layer->getPermanentIndex(), false));
            AddingTool::apply(layer->getPictureHost(), 1);
        }
        // An edit above it that must stay undoable.
        d.history()->pushNewMemo(new VellLayerModifyMemo(d.context, layer));
        layer->setAlpha(0.5f);

        VellHistoryMemo *memo = d.history()->getMemo(0);
        QVERIFY(memo->swapToDisk());
        QTRY_VERIFY(memo->isInDisk());
        damage(memo->getSwapFile()->fileName(), how);

        d.history()->stepBackward();   // the property change: no swap file involved
        QCOMPARE(double(layer->getAlpha()), 1.0);
        const QStringList state = describe(d.context);
        const qint64 logFrom = logSize();
        const qint64 used = VellMemory::getInstance()->getUsed();
        d.history()->stepToMemo(0);   // needs the damaged file
        QCOMPARE(describe(d.context), state);
        QCOMPARE(d.history()->getCurrent(), 1);
        QCOMPARE(d.history()->getMemoCount(), 2);
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
        QVERIFY(!d.context->isUndoing());
        QVERIFY2(logSince(logFrom).contains("cannot be read back"), logSince(logFrom).constData());

        // Nothing else is lost: redo still works, the document still edits.
        d.history()->stepForward();
        QCOMPARE(double(layer->getAlpha()), 0.5);
        d.history()->stepBackward();
        QCOMPARE(double(layer->getAlpha()), 1.0);
    }

    // A file-size limit makes every write to the swap file fail as a full
    // disk would.
    void fullDiskKeepsTheMemoInMemory()
    {
        Document d(1, 64, 64);
        VellLayer *layer = d.raster(0);
        const QByteArray original = bytesOf(layer->getPictureHost());
        d.history()->pushNewMemo(new VellPictureModifyMemo(d.context, layer->getPictureHost(),
                                                           layer->getPermanentIndex(), false));
        AddingTool::apply(layer->getPictureHost(), 7);
        VellHistoryMemo *memo = d.history()->getMemo(0);
        const qint64 used = VellMemory::getInstance()->getUsed();

        struct rlimit saved;
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &saved), 0);
        void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit tiny = saved;
        tiny.rlim_cur = 1000;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &tiny), 0);
        const bool started = memo->swapToDisk();
        if (started)
            QTRY_VERIFY(!memo->isTransferRunning());
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previous);

        QVERIFY(started);
        QVERIFY(!memo->isInDisk());
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
        d.history()->stepBackward();
        QCOMPARE(bytesOf(layer->getPictureHost()), original);
    }

    // Memos named by position a, b, c... (C a canvas change, F a full
    // picture), at position 2. A shortage swaps out from both ends; a canvas
    // change at the bottom is dropped first.
    void shortageOnOneLayer_data()
    {
        QTest::addColumn<QString>("kinds");
        QTest::addColumn<int>("needInMemos");   // the shortage in sizes of memo a, plus `plus` bytes
        QTest::addColumn<int>("plus");
        QTest::addColumn<QString>("left");
        QTest::addColumn<QString>("swapped");
        QTest::addColumn<QVector<int>>("after");   // current, backward, forward
        const QVector<int> kept{2, 1, 2};
        QTest::newRow("less than a memo: the oldest undo memo") << "FFFF" << 0 << 1 << "abcd" << "a" << kept;
        QTest::newRow("just over one: then the newest redo memo") << "FFFF" << 1 << 1 << "abcd" << "ad" << kept;
        QTest::newRow("over two: the next undo memo") << "FFFF" << 2 << 1 << "abcd" << "abd" << kept;
        QTest::newRow("more than all: the memo at the position stays") << "FFFF" << 9 << 1 << "abcd" << "abd" << kept;
        QTest::newRow("a leading canvas change covers it") << "CFF" << 1 << 0 << "bc" << "" << QVector<int>{1, 0, 1};
    }
    void shortageOnOneLayer()
    {
        QFETCH(QString, kinds);
        QFETCH(int, needInMemos);
        QFETCH(int, plus);
        Document d(1, 8, 8);
        VellLayer *layer = d.raster(0);
        QVector<VellHistoryMemo *> pushed;
        for (QChar kind : kinds) {
            pushed.append(kind == 'C' ? static_cast<VellHistoryMemo *>(new VellMemoCanvasAndLayersChange(d.context))
                                      : new VellPictureModifyMemo(d.context, layer->getPictureHost(),
                                                                  layer->getPermanentIndex(), false));
            d.history()->pushNewMemo(pushed.last());
        }
        d.history()->setCurrentBackwardForwardMemo(2, 1, 2);
        d.history()->onMemoryNotEnough(int(needInMemos * pushed.first()->memoryTaken() + plus));
        waitForTransfers(d.history());
        QString left, swapped;
        for (int i = 0; i < d.history()->getMemoCount(); ++i) {
            const QChar id('a' + pushed.indexOf(d.history()->getMemo(i)));
            left += id;
            if (d.history()->getMemo(i)->isInDisk())
                swapped += id;
        }
        QTEST(left, "left");
        QTEST(swapped, "swapped");
        QTEST(QVector<int>({d.history()->getCurrent(), d.history()->getBackwardIndex(),
                            d.history()->getForwardIndex()}),
              "after");
    }

    // Full-picture edits and a canvas change on a one-layer document under
    // the small budget: the history swaps itself out while the edits go on,
    // and undo and redo come back through the swapped memos. The states the
    // steps reach follow the stepping rules: undoing the canvas change skips
    // the full picture below it, and redoing a saved picture skips to it.
    void pressureScenario()
    {
        Document d(1, 128, 96);
        VellLayer *layer = d.raster(0);
        VellMemory *memory = VellMemory::getInstance();
        QVector<QStringList> states{describe(d.context)};
        for (int value : {11, 23, 0, 31, 47}) {
            if (value) {
                d.history()->pushNewMemo(new VellPictureModifyMemo(d.context, layer->getPictureHost(),
                                                                   layer->getPermanentIndex(), false));
                AddingTool::apply(layer->getPictureHost(), value);
                layer->setVellPictureHost(layer->takePictureHost().release());   // as a tool's refresh
            } else {   // the canvas change
                d.history()->pushNewMemo(new VellMemoCanvasAndLayersChange(d.context));
                layer->setPosition(QPointF(7, 3));
                layer->setVellPictureHost(patternHost(128, 96, 77));
            }
            states.append(describe(d.context));
        }
        waitForTransfers(d.history());

        QVERIFY2(onDisk(d.history()) >= 2, qPrintable(QString::number(onDisk(d.history()))));
        QVERIFY2(memory->getUsed() <= kBudget, qPrintable(QString::number(memory->getUsed())));

        auto reached = [&]() { return int(states.indexOf(describe(d.context))); };
        QVector<int> undone, redone;
        while (d.history()->isUndoAble()) {
            d.history()->stepBackward();
            undone.append(reached());
            waitForTransfers(d.history());
        }
        QCOMPARE(undone, QVector<int>({4, 3, 2, 0}));
        while (d.history()->isRedoAble()) {
            d.history()->stepForward();
            redone.append(reached());
            waitForTransfers(d.history());
        }
        QCOMPARE(redone, QVector<int>({1, 2, 3, 5}));
        QVERIFY(!d.context->isUndoing());
    }
};

QTEST_GUILESS_MAIN(TestVellHistorySwap)
#include "tst_vellhistoryswap.moc"
