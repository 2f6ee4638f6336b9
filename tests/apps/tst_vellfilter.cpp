// vell filter and vell tools end to end: the built host with the example
// plug-ins of the build, on a picture made here, the results checked
// against the filters' formulas computed here.
#include "support/vellgltestcontext.h"
#include "support/vellt2files.h"

#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

class TestVellFilter : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;   // a display is needed: vell filter runs on the GPU
    QTemporaryDir dir;

    QString in() const { return dir.filePath("in.png"); }
    QString mask() const { return dir.filePath("mask.png"); }

    static int vell(const QStringList &args, QString *out, QString *err = nullptr)
    {
        return vellt2::runVell(args, out, err);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY(dir.isValid());
        QImage picture(37, 23, QImage::Format_RGB32);
        QImage grey(37, 23, QImage::Format_Grayscale8);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x) {
                picture.setPixel(x, y, qRgb(x * 7, y * 11, (x * y) % 256));
                grey.setPixel(x, y, x < 18 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
            }
        QVERIFY(picture.save(in()));
        QVERIFY(grey.save(mask()));
        QImage small(5, 4, QImage::Format_Grayscale8);
        small.fill(0);
        QVERIFY(small.save(dir.filePath("small.png")));
    }

    void listsTools()
    {
        QString out;
        QCOMPARE(vell({"tools"}, &out), 0);
        QVERIFY2(out.contains(QRegularExpression("^brightness-contrast\tBrightness/Contrast\t1\\.0$",
                                                 QRegularExpression::MultilineOption)), qPrintable(out));
        QVERIFY(out.contains("  contrast=-100..100 (default 0)"));
        QVERIFY(out.contains(QRegularExpression("^invert\tInvert\t", QRegularExpression::MultilineOption)));
    }

    // Each row: the arguments after IN OUT, and the formula per channel
    // value (red, green, blue in turn) at a pixel, or -1 where unchanged.
    void appliesFilters_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("brightness");   // -1000: invert
        QTest::addColumn<int>("contrast");
        QTest::addColumn<QString>("channels");
        QTest::addColumn<bool>("masked");
        QTest::newRow("invert") << QStringList{"--tool", "invert"} << -1000 << 0 << "rgb" << false;
        QTest::newRow("invert red, left half")
            << QStringList{"--tool", "invert", "--channels", "r", "--select", "MASK"} << -1000 << 0 << "r" << true;
        QTest::newRow("brightness and contrast")
            << QStringList{"--tool", "brightness-contrast", "--param", "brightness=25", "--param", "contrast=-30"}
            << 25 << -30 << "rgb" << false;
    }
    void appliesFilters()
    {
        QFETCH(QStringList, options);
        QFETCH(int, brightness);
        QFETCH(int, contrast);
        QFETCH(QString, channels);
        QFETCH(bool, masked);
        options.replaceInStrings("MASK", mask());
        const QString out = dir.filePath("out.png");
        QString stdOut, stdErr;
        QCOMPARE(vell(QStringList{"filter", in(), out} + options, &stdOut, &stdErr), 0);
        QVERIFY2(stdOut.isEmpty(), qPrintable(stdOut));   // a result file, nothing to print
        const QImage before(in()), after(out);
        QCOMPARE(after.size(), before.size());
        auto formula = [&](int v) {
            if (brightness == -1000)
                return 255 - v;
            double c = v / 255.0, b = brightness / 100.0;
            c = b < 0 ? c * (1 + b) : c + (1 - c) * b;
            c = std::clamp((c - 0.5) * std::tan((contrast / 100.0 + 1) * M_PI / 4) + 0.5, 0.0, 1.0);
            return int(std::lround(c * 255));
        };
        for (int y = 0; y < before.height(); ++y)
            for (int x = 0; x < before.width(); ++x) {
                const QRgb a = before.pixel(x, y), b = after.pixel(x, y);
                const bool selected = !masked || x < 18;
                const int from[3] = {qRed(a), qGreen(a), qBlue(a)}, to[3] = {qRed(b), qGreen(b), qBlue(b)};
                for (int k = 0; k < 3; ++k) {
                    const int expected = selected && channels.contains("rgb"[k]) ? formula(from[k]) : from[k];
                    QVERIFY2(qAbs(to[k] - expected) <= 1, qPrintable(QString("%1,%2 channel %3: %4, expected %5")
                                                                          .arg(x).arg(y).arg(k).arg(to[k]).arg(expected)));
                }
            }
    }

    // Usage errors name what is wrong and leave no output behind.
    void refusals_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown tool") << QStringList{"--tool", "blur"} << 2 << "no filter 'blur'";
        QTest::newRow("unknown parameter") << QStringList{"--tool", "invert", "--param", "gamma=2"} << 2
                                           << "invert has no parameter 'gamma' (it takes none)";
        QTest::newRow("out of range") << QStringList{"--tool", "brightness-contrast", "--param", "contrast=101"} << 2
                                      << "bad --param contrast=101 (a whole number from -100 to 100)";
        QTest::newRow("bad channels") << QStringList{"--tool", "invert", "--channels", "r,x"} << 2 << "bad --channels 'r,x'";
        QTest::newRow("no tool") << QStringList{} << 2 << "filter needs --tool ID";
        QTest::newRow("missing mask") << QStringList{"--tool", "invert", "--select", "/no/such.png"} << 1
                                      << "no such file: /no/such.png";
        QTest::newRow("mask filter without --mask") << QStringList{"--tool", "mask-levels"} << 2
                                                    << "mask-levels filters a layer mask: pass the mask as --mask FILE";
        QTest::newRow("--mask to a colour filter") << QStringList{"--tool", "invert", "--mask", "MASK"} << 2
                                                   << "--mask is for mask filters; invert filters colours";
        QTest::newRow("--mask of another size") << QStringList{"--tool", "mask-levels", "--mask", "SMALL"} << 2
                                                << "is 5x4, the image 37x23";
    }
    void refusals()
    {
        QFETCH(QStringList, options);
        QFETCH(int, code);
        QFETCH(QString, message);
        options.replaceInStrings("MASK", mask());
        options.replaceInStrings("SMALL", dir.filePath("small.png"));
        const QString out = dir.filePath("refused.png");
        QString stdOut, stdErr;
        QCOMPARE(vell(QStringList{"filter", in(), out} + options, &stdOut, &stdErr), code);
        QVERIFY2(stdErr.contains(message), qPrintable(stdErr));
        QVERIFY(!QFile::exists(out));
    }

    // Mask Levels on a layer mask given by --mask: OUT is the filtered mask,
    // against the levels formula computed here.
    void filtersLayerMask_data()
    {
        QTest::addColumn<double>("black");
        QTest::addColumn<double>("white");
        QTest::addColumn<double>("gamma");
        QTest::newRow("narrowed, gamma 1.7") << 40.0 << 200.0 << 1.7;
        QTest::newRow("full range, gamma 0.5") << 0.0 << 255.0 << 0.5;
    }
    void filtersLayerMask()
    {
        QFETCH(double, black);
        QFETCH(double, white);
        QFETCH(double, gamma);
        QImage levels(37, 23, QImage::Format_Grayscale8);
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x)
                levels.scanLine(y)[x] = uchar((x * 7 + y * 3) % 256);
        const QString maskFile = dir.filePath("levels.png"), out = dir.filePath("levels-out.png");
        QVERIFY(levels.save(maskFile));
        QString stdOut, stdErr;
        QCOMPARE(vell({"filter", in(), out, "--tool", "mask-levels", "--mask", maskFile, "--param",
                       QString("black=%1").arg(black), "--param", QString("white=%1").arg(white), "--param",
                       QString("gamma=%1").arg(gamma)}, &stdOut, &stdErr), 0);
        const QImage after(out);
        QCOMPARE(after.format(), QImage::Format_Grayscale8);
        QCOMPARE(after.size(), levels.size());
        for (int y = 0; y < 23; ++y)
            for (int x = 0; x < 37; ++x) {
                const double t = std::clamp((levels.scanLine(y)[x] - black) / (white - black), 0.0, 1.0);
                const int expected = int(std::lround(std::pow(t, 1.0 / gamma) * 255));
                const int got = after.constScanLine(y)[x];
                QVERIFY2(qAbs(got - expected) <= 1, qPrintable(QString("%1,%2: %3, expected %4")
                                                                   .arg(x).arg(y).arg(got).arg(expected)));
            }
    }
};

QTEST_MAIN(TestVellFilter)
#include "tst_vellfilter.moc"
