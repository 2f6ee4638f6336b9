// vell batch end to end: steps recorded with vell filter --record and vell
// batch add, replayed over a folder and compared byte for byte with the
// same steps run one at a time; inputs untouched, outputs kept without
// --overwrite, shards that together make one run, and files refused before
// any image.
#include "support/vellgltestcontext.h"
#include "support/vellt2files.h"

#include <QCryptographicHash>
#include <QDir>
#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QStringList kImages{"a.png", "b.png", "c.png"};

using vellt2::i32;
using vellt2::str;
const auto bytesOf = vellt2::fileBytes;

} // namespace

class TestVellBatch : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;   // vell batch run filters on the GPU
    QTemporaryDir dir;
    QMap<QString, QByteArray> inputHashes;

    QString path(const QString &name) const { return dir.filePath(name); }

    static int vell(const QStringList &args, QString *out = nullptr, QString *err = nullptr)
    {
        return vellt2::runVell(args, out, err);
    }

    // Every file of `folder` with its bytes.
    static QMap<QString, QByteArray> contents(const QString &folder)
    {
        QMap<QString, QByteArray> files;
        for (const QString &name : QDir(folder).entryList(QDir::Files))
            files.insert(name, bytesOf(QDir(folder).filePath(name)));
        return files;
    }

private slots:
    void initTestCase();
    void replayEqualsStepByStep();
    void keepsOutputsWithoutOverwrite();
    void shardsMakeOneRun();
    void refusals_data();
    void refusals();
};

void TestVellBatch::initTestCase()
{
    QVERIFY(gl.isValid());
    QVERIFY(dir.isValid());
    QVERIFY(QDir().mkpath(path("in")));
    for (int i = 0; i < kImages.size(); ++i) {
        QImage picture(31 + 10 * i, 17 + 4 * i, QImage::Format_ARGB32);
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x)
                picture.setPixel(x, y, qRgba(x * 7 + i * 40, y * 11, (x * y) % 256, 255 - x));
        QVERIFY(picture.save(path("in/" + kImages.at(i))));
        inputHashes.insert(kImages.at(i), QCryptographicHash::hash(bytesOf(path("in/" + kImages.at(i))),
                                                                   QCryptographicHash::Sha256));
    }
    QVERIFY(QFile::copy(path("in/a.png"), path("first.png")));
    QString err;
    QCOMPARE(vell({"filter", path("first.png"), path("first-out.png"), "--tool", "brightness-contrast", "--param",
                   "brightness=30", "--param", "contrast=-20", "--record", path("steps.vba")}, nullptr, &err), 0);
    QCOMPARE(vell({"batch", "add", path("steps.vba"), "--resize", "1", "50", "50"}), 0);
    QCOMPARE(vell({"batch", "add", path("steps.vba"), "--rotate", "90"}), 0);
    QString listed;
    QCOMPARE(vell({"batch", "list", path("steps.vba")}, &listed), 0);
    QCOMPARE(listed.count('\n'), 3);
}

void TestVellBatch::replayEqualsStepByStep()
{
    QString out;
    QCOMPARE(vell({"batch", "run", path("steps.vba"), path("in"), path("out"), "--jobs", "2"}, &out), 0);
    for (const QString &name : kImages) {
        QVERIFY2(out.contains(QRegularExpression("^" + name + ": ok \\(\\d+ ms\\)$", QRegularExpression::MultilineOption)),
                 qPrintable(out));
        const QString one = path("step1-" + name), two = path("step2-" + name), three = path("step3-" + name);
        QCOMPARE(vell({"filter", path("in/" + name), one, "--tool", "brightness-contrast", "--param", "brightness=30",
                       "--param", "contrast=-20"}), 0);
        QCOMPARE(vell({"transform", one, two, "--resize", "0.5", "0.5"}), 0);
        QCOMPARE(vell({"transform", two, three, "--rotate", "90"}), 0);
        QVERIFY2(bytesOf(path("out/" + name)) == bytesOf(three), qPrintable(name));
        QCOMPARE(QCryptographicHash::hash(bytesOf(path("in/" + name)), QCryptographicHash::Sha256),
                 inputHashes.value(name));
    }
    QCOMPARE(QDir(path("in")).entryList(QDir::Files), kImages);
}

void TestVellBatch::keepsOutputsWithoutOverwrite()
{
    QVERIFY(QDir().mkpath(path("kept")));
    QVERIFY(vellt2::writeFile(path("kept/b.png"), "mine"));
    QString out;
    QCOMPARE(vell({"batch", "run", path("steps.vba"), path("in"), path("kept"), "--jobs", "1"}, &out), 1);
    QVERIFY2(out.contains("b.png: failed: " + path("kept/b.png") + " exists"), qPrintable(out));
    QCOMPARE(bytesOf(path("kept/b.png")), QByteArray("mine"));
    QVERIFY(out.contains(QRegularExpression("^a.png: ok", QRegularExpression::MultilineOption)));
    QCOMPARE(vell({"batch", "run", path("steps.vba"), path("in"), path("kept"), "--jobs", "1", "--overwrite"}), 0);
    QCOMPARE(bytesOf(path("kept/b.png")), bytesOf(path("out/b.png")));
}

void TestVellBatch::shardsMakeOneRun()
{
    QCOMPARE(vell({"batch", "run", path("steps.vba"), path("in"), path("all"), "--jobs", "1"}), 0);
    QString first, second;
    QCOMPARE(vell({"batch", "run", path("steps.vba"), path("in"), path("sharded"), "--shard", "1/2", "--jobs", "1"}, &first), 0);
    QCOMPARE(vell({"batch", "run", path("steps.vba"), path("in"), path("sharded"), "--shard", "2/2"}, &second), 0);
    QCOMPARE(first.count('\n') + second.count('\n'), kImages.size());
    QCOMPARE(contents(path("sharded")), contents(path("all")));
}

void TestVellBatch::refusals_data()
{
    QTest::addColumn<QByteArray>("vba");   // empty: the recorded steps
    QTest::addColumn<QString>("outFolder");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    const QByteArray recorded = bytesOf(path("steps.vba"));
    QTest::newRow("truncated") << recorded.left(recorded.size() - 3) << "refused" << 1
                               << "not a batch-action file or truncated (entry 3 of 3)";
    QTest::newRow("absurd count") << i32(20111231) + i32(1000000) + recorded.mid(8) << "refused" << 1
                                  << "not a batch-action file or truncated (entry 4 of 1000000)";
    QTest::newRow("unknown type") << i32(20111231) + i32(1) + i32(9) << "refused" << 1
                                  << "not a batch-action file or truncated (entry 1 of 1)";
    QTest::newRow("unknown filter")
        << i32(20111231) + i32(1) + i32(0) + str("Blur") + i32(0) + str("no-such-tool") + i32(0) << "refused" << 1
        << "step 1 (filter no-such-tool \"Blur\" (0 parameter bytes)): no filter 'no-such-tool'";
    QTest::newRow("newer version") << i32(20111232) + i32(0) << "refused" << 1
                                   << "Version mismatched, current version is: 20111231, the version of the vba file is: 20111232";
    QTest::newRow("output is the input") << QByteArray() << "in/" << 2 << "output folder must differ from the input folder";
}

void TestVellBatch::refusals()
{
    QFETCH(QByteArray, vba);
    QFETCH(QString, outFolder);
    QFETCH(int, code);
    QFETCH(QString, message);
    QString file = path("steps.vba");
    if (!vba.isEmpty())
        QVERIFY(vellt2::writeFile(file = path("bad.vba"), vba));
    QString err;
    QCOMPARE(vell({"batch", "run", file, path("in"), path(outFolder), "--jobs", "1"}, nullptr, &err), code);
    QVERIFY2(err.contains(message), qPrintable(err));
    QVERIFY(!QDir(path(outFolder)).exists() || outFolder == "in/");
    QCOMPARE(QDir(path("in")).entryList(QDir::Files), kImages);
}

QTEST_MAIN(TestVellBatch)
#include "tst_vellbatch.moc"
