// vell transform end to end: the built host on a picture made here, quarter
// turns, mirrors and crops checked against Qt's own image operations, the
// other operations by the size they give, and refusals by their message,
// exit status and the output they must not leave; then the same on a
// two-layer document that vell compose saved.
#include "support/vellgltestcontext.h"
#include "support/vellt2files.h"

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

class TestVellTransform : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;   // a display is needed: vell transform runs on the GPU
    QTemporaryDir dir;

    QString in() const { return dir.filePath("in.png"); }
    QString doc() const { return dir.filePath("in.vdoc"); }
    QString docComposite() const { return dir.filePath("in-composite.png"); }

    static int vell(const QStringList &args, QString *out, QString *err) { return vellt2::runVell(args, out, err); }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY(dir.isValid());
        QImage picture(37, 23, QImage::Format_ARGB32);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x)
                picture.setPixel(x, y, qRgba(x * 7, y * 11, (x * y) % 256, 255 - x));
        QVERIFY(picture.save(in()));
        QString out, err;
        QVERIFY2(vell({"compose", "--gpu", "-o", docComposite(), "--save", doc(), in(), in(), "--offset", "9,-4",
                       "--opacity", "0.5"}, &out, &err) == 0, qPrintable(err));
    }

    // reference: what Qt makes of IN, or a null image when only the size is checked.
    void transforms_data()
    {
        QTest::addColumn<QStringList>("operation");
        QTest::addColumn<QImage>("reference");
        QTest::addColumn<QSize>("size");
        const QImage source(in());
        QTest::newRow("rotate 90: counter-clockwise") << QStringList{"--rotate", "90"}
                                                      << source.transformed(QTransform().rotate(-90)) << QSize(23, 37);
        QTest::newRow("flip h") << QStringList{"--flip", "h"} << source.mirrored(true, false) << QSize(37, 23);
        QTest::newRow("crop, cut to the image") << QStringList{"--crop", "30", "5", "20", "4"}
                                                << source.copy(30, 5, 7, 4) << QSize(7, 4);
        QTest::newRow("size") << QStringList{"--size", "20", "10", "--filter", "1"} << QImage() << QSize(20, 10);
        QTest::newRow("rotate-free 90") << QStringList{"--rotate-free", "90"} << QImage() << QSize(23, 37);
        QTest::newRow("quad") << QStringList{"--quad", "0", "0", "50", "5", "45", "30", "2", "25"} << QImage()
                              << QSize(50, 30);
    }

    void transforms()
    {
        QFETCH(QStringList, operation);
        QFETCH(QImage, reference);
        QFETCH(QSize, size);
        const QString out = dir.filePath("out.png");
        QFile::remove(out);
        QString stdOut, stdErr;
        QCOMPARE(vell(QStringList{"transform", in(), out} + operation, &stdOut, &stdErr), 0);
        QVERIFY2(stdOut.isEmpty(), qPrintable(stdOut));
        const QImage result = QImage(out).convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(result.size(), size);
        if (!reference.isNull())
            QCOMPARE(result, reference.convertToFormat(QImage::Format_ARGB32));
    }

    // One line naming the problem, the exit status, and no OUT.
    void refusals_data()
    {
        QTest::addColumn<QStringList>("operation");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        QTest::newRow("rotate 45") << QStringList{"--rotate", "45"} << 1 << "cannot rotate by 45 degrees";
        QTest::newRow("beyond the limit") << QStringList{"--resize", "1000", "1000"} << 1 << "beyond the";
        QTest::newRow("crop outside") << QStringList{"--crop", "40", "0", "5", "5"} << 1 << "misses the 37 x 23 layer";
        QTest::newRow("bow-tie") << QStringList{"--quad", "0", "0", "40", "30", "40", "0", "0", "30"} << 1
                                 << "not four finite points forming a convex shape";
        QTest::newRow("two operations") << QStringList{"--flip", "h", "--rotate", "90"} << 2
                                        << "transform takes one operation";
        QTest::newRow("too few numbers") << QStringList{"--crop", "1", "2", "3"} << 2 << "--crop needs 4 numbers";
        QTest::newRow("bad filter") << QStringList{"--resize", "2", "2", "--filter", "7"} << 2 << "bad --filter";
    }

    void documents_data();
    void documents();

    void refusals()
    {
        QFETCH(QStringList, operation);
        QFETCH(int, code);
        QFETCH(QString, message);
        const QString out = dir.filePath("refused.png");
        QString stdOut, stdErr;
        QCOMPARE(vell(QStringList{"transform", in(), out} + operation, &stdOut, &stdErr), code);
        QVERIFY2(stdErr.contains(message), qPrintable(stdErr));
        QCOMPARE(stdErr.count(QRegularExpression("^vell: ", QRegularExpression::MultilineOption)), 1);
        QVERIFY(!QFile::exists(out));
    }
};

// A document turns, mirrors and crops whole: its composite is the composite
// turned, mirrored or cropped (both from the GPU compositor); it can be
// written as an image, an OpenRaster file or a document again.
void TestVellTransform::documents_data()
{
    QTest::addColumn<QStringList>("operation");
    QTest::addColumn<QString>("out");
    QTest::addColumn<QImage>("reference");   // of OUT's composite
    QTest::addColumn<QString>("said");       // the note, or the error of a refusal
    const QImage composite(docComposite());
    QTest::newRow("rotate 90 to an image") << QStringList{"--rotate", "90"} << "out.png"
                                           << composite.transformed(QTransform().rotate(-90))
                                           << "wrote %1 (--rotate, 23x37, 2 layers;";
    QTest::newRow("flip v to a document") << QStringList{"--flip", "v"} << "out.vdoc" << composite.mirrored(false, true)
                                          << "wrote %1 (--flip, 37x23, 2 layers;";
    QTest::newRow("crop to OpenRaster") << QStringList{"--crop", "30", "5", "20", "4"} << "out.ora"
                                        << composite.copy(30, 5, 7, 4) << "wrote %1 (--crop, 7x4, 2 layers;";
    QTest::newRow("size") << QStringList{"--size", "74", "46", "--filter", "0"} << "out.png" << QImage()
                          << "wrote %1 (--size, 74x46, 2 layers;";
    QTest::newRow("quad: refused") << QStringList{"--quad", "0", "0", "5", "0", "5", "5", "0", "5"} << "out.png"
                                   << QImage() << "--quad turns single images, not the document";
    QTest::newRow("crop outside: refused") << QStringList{"--crop", "40", "0", "5", "5"} << "out.ora" << QImage()
                                           << "misses the 37 x 23 document";
}

void TestVellTransform::documents()
{
    QFETCH(QStringList, operation);
    QFETCH(QString, out);
    QFETCH(QImage, reference);
    QFETCH(QString, said);
    const QString path = dir.filePath(out);
    QFile::remove(path);
    QString stdOut, stdErr;
    const int code = vell(QStringList{"transform", doc(), path} + operation, &stdOut, &stdErr);
    if (said.contains("%1")) {
        QCOMPARE(code, 0);
        QVERIFY2(stdErr.contains(said.arg(path)), qPrintable(stdErr));
    } else {
        QVERIFY(code != 0);
        QVERIFY2(stdErr.contains(said), qPrintable(stdErr));
        QVERIFY(!QFile::exists(path));
        return;
    }
    if (reference.isNull())
        return;
    // A document's composite, as compose makes it on the GPU.
    const QString image = dir.filePath("again.png");
    if (!out.endsWith(".png"))
        QVERIFY2(vell({"compose", "--gpu", "-o", image, path}, &stdOut, &stdErr) == 0, qPrintable(stdErr));
    QCOMPARE(QImage(out.endsWith(".png") ? path : image).convertToFormat(QImage::Format_ARGB32),
             reference.convertToFormat(QImage::Format_ARGB32));
}

QTEST_MAIN(TestVellTransform)
#include "tst_velltransform.moc"
