#include "foundation/velllog.h"
#include "support/vellt2files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

#include <unistd.h>

using LogCall = std::function<int()>;
Q_DECLARE_METATYPE(LogCall)

namespace {

const QByteArray kDashes(59, '-');

using vellt2::fileBytes;

// What `work` printed on standard output.
QByteArray captureStdout(const QString &file, const std::function<void()> &work)
{
    fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    QFile capture(file);
    if (!capture.open(QIODevice::WriteOnly))
        return "cannot capture";
    dup2(capture.handle(), STDOUT_FILENO);
    work();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    capture.close();
    return fileBytes(file);
}

// Closes whatever the log holds open without writing anywhere.
void closeLogFiles()
{
    VellLog::Instance()->LogEx(32, 0, "");
}

} // namespace

class TestVellLog : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        dir.reset(new QTemporaryDir);
        QVERIFY(dir->isValid());
        QVERIFY(QDir::setCurrent(dir->path()));
        VellLog::Instance()->SetLogFileName("ConsoleLog.txt");
    }

    void cleanup()
    {
        closeLogFiles();
        QDir::setCurrent(QDir::tempPath());
    }

    void formatter_data()
    {
        QTest::addColumn<LogCall>("call");
        QTest::addColumn<QByteArray>("expected");
        VellLog *log = VellLog::Instance();
        // One console-only entry of FORMAT and its arguments.
    #define ROW(name, expected, ...) \
        QTest::newRow(name) << LogCall([=] { return log->LogEx(2, 0, __VA_ARGS__); }) << QByteArray(expected)
        ROW("percent percent", "a%b", "a%%b");
        ROW("precision float", "1.00", "%.2f", 1.0);
        ROW("unknown takes no argument", "ld 5", "%ld %d", 5);
        ROW("integers", "-3|7|4000000000", "%d|%i|%u", -3, 7, 4000000000u);
        ROW("float", "1.500000", "%f", 1.5);
        ROW("exponent", "1.234568e+04 5.000000E-01", "%e %E", 12345.678, 0.5);
        ROW("precision string", "abcde", "%.5s", "abcdefgh");
        ROW("precision integer", "0042|007", "%.4d|%.3u", 42, 7u);
        ROW("precision unknown consumes four characters only", "ab9", "a%.3xb%d", 9);
        ROW("trailing percent ends output", "abc", "abc%");
        ROW("cut precision ends output", "ab", "ab%.2");
        ROW("dot without digit", ".x", "%.x");
        ROW("long string", QByteArray(2000, 'z') + '!', "%s!", QByteArray(2000, 'z').constData());
    #undef ROW
        QTest::newRow("Log writes the console file")
            << LogCall([=] { return log->Log("Size(%d), Used(%d)\n", 10, 20); }) << QByteArray("Size(10), Used(20)\n");
        QTest::newRow("separator ends the line and closes the file")
            << LogCall([=] { log->LogEx(2, 0, "first"); return log->LogEx(2 | 32, 0, "y"); })
            << QByteArray("firsty") + kDashes + '\n';
        QTest::newRow("reopened after a separator: truncated")
            << LogCall([=] { log->LogEx(2 | 32, 0, "first"); return log->LogEx(2, 0, "again"); }) << QByteArray("again");
        QTest::newRow("append flag keeps the old file")
            << LogCall([=] { vellt2::writeFile("ConsoleLog.txt", "old;"); return log->LogEx(2 | 4, 0, "new"); })
            << QByteArray("old;new");
    }

    void formatter()
    {
        QFETCH(LogCall, call);
        QFETCH(QByteArray, expected);
        QCOMPARE(call(), 0);
        QCOMPARE(fileBytes("ConsoleLog.txt"), expected);
    }

    void errorLine()
    {
        QCOMPARE(VellLog::Instance()->LogEx(2 | 8 | 16, 7, "x"), 7);
        QCOMPARE(fileBytes("ConsoleLog.txt"), QByteArray("\n !!! Error # 7 at x"));
        QCOMPARE(fileBytes("MasterLog.csv"), QByteArray("x"));   // no prefix in the master log
    }

    void masterLogCap_data()
    {
        QTest::addColumn<int>("existing");
        QTest::addColumn<bool>("emptied");
        QTest::newRow("just under the cap is appended to") << 50000 << false;
        QTest::newRow("at the cap is emptied") << 50001 << true;
        QTest::newRow("over the cap is emptied") << 60000 << true;
    }

    void masterLogCap()
    {
        QFETCH(int, existing);
        QFETCH(bool, emptied);
        const QByteArray before(existing, 'm');
        QVERIFY(vellt2::writeFile("MasterLog.csv", before));
        QCOMPARE(VellLog::Instance()->LogEx(2 | 8, 0, "entry"), 0);
        QCOMPARE(fileBytes("MasterLog.csv"), emptied ? QByteArray("entry") : before + "entry");
        // Without bit 1 the master log is not written at all.
        closeLogFiles();
        const QByteArray master = fileBytes("MasterLog.csv");
        QCOMPARE(VellLog::Instance()->LogEx(8, 0, "ignored"), 0);
        QCOMPARE(fileBytes("MasterLog.csv"), master);
    }

    void standardOutput()
    {
        const QByteArray printed = captureStdout(dir->filePath("stdout.txt"), [] {
            VellLog::Instance()->LogEx(1 | 2 | 16 | 32, 3, "hi %d\n", 5);
        });
        const QByteArray expected = QByteArray("\n !!! Error # 3 at hi 5\n") + kDashes + '\n';
        QCOMPARE(printed, expected);
        QCOMPARE(fileBytes("ConsoleLog.txt"), expected);
    }

    // Nothing is written anywhere, standard output included, when the file fails.
    void unopenableFile()
    {
        int result = 0;
        const QByteArray printed = captureStdout(dir->filePath("stdout.txt"), [&] {
            VellLog::Instance()->SetLogFileName("no/such/folder/log.txt");
            result = VellLog::Instance()->LogEx(1 | 2, 0, "lost");
        });
        QCOMPARE(result, -1);
        QCOMPARE(printed, QByteArray());
    }

private:
    QScopedPointer<QTemporaryDir> dir;
};

QTEST_GUILESS_MAIN(TestVellLog)
#include "tst_velllog.moc"
