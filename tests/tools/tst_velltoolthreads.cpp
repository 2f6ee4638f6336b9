// The helper threads post to the GUI thread and nothing else: the notifier's
// ticks, the apply thread's one answer per start; and a command macro runs
// its commands in order.
#include "foundation/vellcodes.h"
#include "foundation/vellnotifier.h"
#include "tools/vellcommandmarco.h"
#include "tools/velltimerthread.h"
#include "tools/velltoolapplythread.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

// Counts the events of each type it receives.
class Receiver : public QObject
{
public:
    QMap<int, int> counts;
    bool event(QEvent *e) override
    {
        counts[int(e->type())]++;
        return true;
    }
};

class Recording : public IVellCommand
{
public:
    Recording(QStringList *log, const QString &name) : log(log), name(name) {}
    void execute(VellContext *context) override
    {
        log->append(name + (context ? QStringLiteral("+doc") : QString()));
    }
    QStringList *log;
    QString name;
};

} // namespace

class TestVellToolThreads : public QObject
{
    Q_OBJECT

private slots:
    // Ticks every 50 ms whatever interval was asked for, and none after
    // end(), even those already queued.
    void notifierTicks()
    {
        VellNotifier notifier;
        notifier.setInterval(200);
        QSignalSpy notices(&notifier, &VellNotifier::notice);
        QElapsedTimer clock;
        clock.start();
        notifier.start();
        QVERIFY(notifier.isRunning());
        QTRY_VERIFY_WITH_TIMEOUT(notices.size() >= 6, 2000);
        const qint64 elapsed = clock.elapsed();
        QCOMPARE(notifier.getInterval(), 50);
        // Six ticks at 50 ms take about 250 ms; 200 ms ticks would take 1 s.
        QVERIFY2(elapsed < 900, qPrintable(QString::number(elapsed)));
        QThread::msleep(120);   // ticks pile up in the queue
        notifier.end();
        QVERIFY(!notifier.isRunning());
        const int stopped = notices.size();
        QTest::qWait(150);
        QCOMPARE(notices.size(), stopped);
    }

    // A running notifier can be deleted: its thread ends first, and nothing
    // queued reaches the deleted object (the sanitizer build would see it).
    void deletingRunningNotifier()
    {
        auto notifier = std::make_unique<VellNotifier>();
        notifier->start();
        QThread::msleep(120);
        notifier.reset();
        QTest::qWait(60);
    }

    // A new interval is used after the sleep under way; the thread stops
    // when asked, and a thread without a parent posts to no one.
    void timerThreadInterval()
    {
        Receiver receiver;
        auto *thread = new VellTimerThread(&receiver);
        thread->setInterval(10);
        thread->start();
        QTRY_VERIFY_WITH_TIMEOUT(receiver.counts.value(VellEventType::TimerTick) >= 5, 2000);
        thread->setInterval(400);
        QTest::qWait(30);   // the 10 ms sleep under way ends
        const int before = receiver.counts.value(VellEventType::TimerTick);
        QTest::qWait(200);
        QVERIFY(receiver.counts.value(VellEventType::TimerTick) - before <= 1);
        delete thread;   // stops and waits

        VellTimerThread orphan;
        orphan.setInterval(5);
        orphan.start();
        QThread::msleep(30);
        orphan.stop();
        QVERIFY(orphan.wait(1000));
    }

    // Each start posts exactly one answer to the parent: acquired, or not
    // acquired when another held the lock at that moment.
    void applyThreadAnswersOnce()
    {
        Receiver tool;
        for (int i = 0; i < 8; ++i) {
            auto *thread = new VellToolApplyThread(&tool);
            thread->start();
        }
        QTRY_COMPARE_WITH_TIMEOUT(tool.counts.value(VellEventType::ApplyAcquired)
                                      + tool.counts.value(VellEventType::ApplyNotAcquired), 8, 2000);
        QVERIFY(tool.counts.value(VellEventType::ApplyAcquired) >= 1);
        QTest::qWait(50);
        QCOMPARE(tool.counts.value(VellEventType::ApplyAcquired)
                     + tool.counts.value(VellEventType::ApplyNotAcquired), 8);
    }

    void macroRunsInOrder()
    {
        QStringList log;
        Recording a(&log, QStringLiteral("a")), b(&log, QStringLiteral("b"));
        VellCommandMarco macro;
        macro.execute(nullptr);
        QVERIFY(log.isEmpty());
        macro.addCommand(&b);
        macro.addCommand(nullptr);
        macro.addCommand(&a);
        macro.addCommand(&b);
        macro.execute(reinterpret_cast<VellContext *>(&macro));   // any non-null document
        QCOMPARE(log, QStringList({"b+doc", "a+doc", "b+doc"}));
    }
};

QTEST_MAIN(TestVellToolThreads)
#include "tst_velltoolthreads.moc"
