#include "foundation/velllog.h"

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

QByteArray fileBytes(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeBytes(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

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
    void init();
    void cleanup();
    void formatter_data();
    void formatter();
    void errorLine();
    void masterLogCap_data();
    void masterLogCap();
    void standardOutput();
    void unopenableFile();

private:
    QScopedPointer<QTemporaryDir> dir;
};

void TestVellLog::init()
{
    dir.reset(new QTemporaryDir);
    QVERIFY(dir->isValid());
    QVERIFY(QDir::setCurrent(dir->path()));
    VellLog::Instance()->SetLogFileName("ConsoleLog.txt");
}

void TestVellLog::cleanup()
{
    closeLogFiles();
    QDir::setCurrent(QDir::tempPath());
}

void TestVellLog::formatter_data()
{
    QTest::addColumn<LogCall>("call");
    QTest::addColumn<QByteArray>("expected");

    VellLog *log = VellLog::Instance();
    QTest::newRow("percent percent") << LogCall([=] { return log->LogEx(2, 0, "a%%b"); }) << QByteArray("a%b");
    QTest::newRow("precision float") << LogCall([=] { return log->LogEx(2, 0, "%.2f", 1.0); }) << QByteArray("1.00");
    QTest::newRow("unknown takes no argument")
        << LogCall([=] { return log->LogEx(2, 0, "%ld %d", 5); }) << QByteArray("ld 5");
    QTest::newRow("integers")
        << LogCall([=] { return log->LogEx(2, 0, "%d|%i|%u", -3, 7, 4000000000u); })
        << QByteArray("-3|7|4000000000");
    QTest::newRow("string") << LogCall([=] { return log->LogEx(2, 0, "<%s>", "abc"); }) << QByteArray("<abc>");
    QTest::newRow("float") << LogCall([=] { return log->LogEx(2, 0, "%f", 1.5); }) << QByteArray("1.500000");
    QTest::newRow("exponent")
        << LogCall([=] { return log->LogEx(2, 0, "%e %E", 12345.678, 0.5); })
        << QByteArray("1.234568e+04 5.000000E-01");
    QTest::newRow("precision string")
        << LogCall([=] { return log->LogEx(2, 0, "%.5s", "abcdefgh"); }) << QByteArray("abcde");
    QTest::newRow("precision integer")
        << LogCall([=] { return log->LogEx(2, 0, "%.4d|%.3u", 42, 7u); }) << QByteArray("0042|007");
    QTest::newRow("precision unknown consumes four characters only")
        << LogCall([=] { return log->LogEx(2, 0, "a%.3xb%d", 9); }) << QByteArray("ab9");
    QTest::newRow("trailing percent ends output")
        << LogCall([=] { return log->LogEx(2, 0, "abc%"); }) << QByteArray("abc");
    QTest::newRow("cut precision ends output")
        << LogCall([=] { return log->LogEx(2, 0, "ab%.2"); }) << QByteArray("ab");
    QTest::newRow("dot without digit")
        << LogCall([=] { return log->LogEx(2, 0, "%.x"); }) << QByteArray(".x");
    QTest::newRow("long string")
        << LogCall([=] { static const QByteArray s(2000, 'z'); return log->LogEx(2, 0, "%s!", s.constData()); })
        << QByteArray(2000, 'z') + '!';
    QTest::newRow("Log writes the console file")
        << LogCall([=] { return log->Log("Size(%d), Used(%d)\n", 10, 20); }) << QByteArray("Size(10), Used(20)\n");
    QTest::newRow("separator ends the line and closes the file")
        << LogCall([=] { log->LogEx(2, 0, "first"); return log->LogEx(2 | 32, 0, "y"); })
        << QByteArray("firsty") + kDashes + '\n';
    QTest::newRow("reopened after a separator: truncated")
        << LogCall([=] { log->LogEx(2 | 32, 0, "first"); return log->LogEx(2, 0, "again"); }) << QByteArray("again");
    QTest::newRow("append flag keeps the old file")
        << LogCall([=] { writeBytes("ConsoleLog.txt", "old;"); return log->LogEx(2 | 4, 0, "new"); })
        << QByteArray("old;new");
}

void TestVellLog::formatter()
{
    QFETCH(LogCall, call);
    QFETCH(QByteArray, expected);
    QCOMPARE(call(), 0);
    QCOMPARE(fileBytes("ConsoleLog.txt"), expected);
}

void TestVellLog::errorLine()
{
    QCOMPARE(VellLog::Instance()->LogEx(2 | 8 | 16, 7, "x"), 7);
    QCOMPARE(fileBytes("ConsoleLog.txt"), QByteArray("\n !!! Error # 7 at x"));
    QCOMPARE(fileBytes("MasterLog.csv"), QByteArray("x"));   // no prefix in the master log
}

void TestVellLog::masterLogCap_data()
{
    QTest::addColumn<int>("existing");
    QTest::addColumn<bool>("emptied");
    QTest::newRow("just under the cap is appended to") << 50000 << false;
    QTest::newRow("at the cap is emptied") << 50001 << true;
    QTest::newRow("over the cap is emptied") << 60000 << true;
}

void TestVellLog::masterLogCap()
{
    QFETCH(int, existing);
    QFETCH(bool, emptied);
    const QByteArray before(existing, 'm');
    writeBytes("MasterLog.csv", before);
    QCOMPARE(VellLog::Instance()->LogEx(2 | 8, 0, "entry"), 0);
    QCOMPARE(fileBytes("MasterLog.csv"), emptied ? QByteArray("entry") : before + "entry");
    // Without bit 1 the master log is not written at all.
    closeLogFiles();
    const QByteArray master = fileBytes("MasterLog.csv");
    QCOMPARE(VellLog::Instance()->LogEx(8, 0, "ignored"), 0);
    QCOMPARE(fileBytes("MasterLog.csv"), master);
}

void TestVellLog::standardOutput()
{
    const QByteArray printed = captureStdout(dir->filePath("stdout.txt"), [] {
        VellLog::Instance()->LogEx(1 | 2 | 16 | 32, 3, "hi %d\n", 5);
    });
    const QByteArray expected = QByteArray("\n !!! Error # 3 at hi 5\n") + kDashes + '\n';
    QCOMPARE(printed, expected);
    QCOMPARE(fileBytes("ConsoleLog.txt"), expected);
}

// Nothing is written anywhere, standard output included, when the file fails.
void TestVellLog::unopenableFile()
{
    int result = 0;
    const QByteArray printed = captureStdout(dir->filePath("stdout.txt"), [&] {
        VellLog::Instance()->SetLogFileName("no/such/folder/log.txt");
        result = VellLog::Instance()->LogEx(1 | 2, 0, "lost");
    });
    QCOMPARE(result, -1);
    QCOMPARE(printed, QByteArray());
}

QTEST_GUILESS_MAIN(TestVellLog)
#include "tst_velllog.moc"
