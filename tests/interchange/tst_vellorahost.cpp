// vell compose and vell info with OpenRaster files: on the CPU, and once on
// the GPU, whose composite becomes the file's merged image (so it runs with
// the GL tests, under a display).
#include "interchange/vellorareader.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"

#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

class TestVellOraHost : public QObject
{
    Q_OBJECT

    QTemporaryDir dir;

    static QString vellPath() { return QStringLiteral(VELL_BINARY_DIR "/apps/vell/vell"); }

    // Runs vell; the exit code, with stdout + stderr in *output.
    static int vell(const QStringList &args, QString *output)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(vellPath(), args);
        if (!process.waitForFinished(120000))
            return -1;
        *output = QString::fromLocal8Bit(process.readAll());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QString path(const char *name) const { return dir.filePath(QLatin1String(name)); }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        QVERIFY2(QFileInfo(vellPath()).isExecutable(), "build the vell target first");
        QImage bottom(9, 7, QImage::Format_ARGB32), top(5, 4, QImage::Format_ARGB32), mask(5, 4, QImage::Format_Grayscale8);
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 9; ++x) {
                bottom.setPixel(x, y, qRgba(x * 25, y * 30, 90, 255));
                if (x < 5 && y < 4) {
                    top.setPixel(x, y, qRgba(200, x * 40, y * 50, 128 + x * 20));
                    mask.setPixel(x, y, qRgb(x * 60, x * 60, x * 60));
                }
            }
        QVERIFY(bottom.save(path("bottom.png")));
        QVERIFY(top.save(path("top.png")));
        QVERIFY(mask.save(path("mask.png")));
    }

    void composeRoundTrip_data()
    {
        QTest::addColumn<QString>("masks");
        QTest::newRow("masks as stacks") << QString();
        QTest::newRow("masks baked") << QStringLiteral("baked");
    }

    // Image layers to .ora, .ora read back as the document it holds: the
    // layers keep their settings, and compositing the file gives what
    // compositing the images gave (the file's merged image too).
    void composeRoundTrip()
    {
        QFETCH(QString, masks);
        QString output;
        QStringList args = { "compose", "--cpu", "-o", path("doc.ora") };
        if (!masks.isEmpty())
            args << "--ora-masks" << masks;
        args << path("bottom.png") << path("top.png") << "--mode" << "overlay" << "--opacity" << "0.5"
             << "--offset" << "3,-1" << "--mask" << path("mask.png");
        QCOMPARE(vell(args, &output), 0);
        QVERIFY2(output.contains(QLatin1String("OpenRaster, 2 layers")), qPrintable(output));
        QCOMPARE(vell({ "compose", "--cpu", "-o", path("direct.png"), path("bottom.png"), path("top.png"), "--mode",
                        "overlay", "--opacity", "0.5", "--offset", "3,-1", "--mask", path("mask.png") },
                      &output),
                 0);
        QCOMPARE(vell({ "compose", "--cpu", "-o", path("from-ora.png"), path("doc.ora") }, &output), 0);
        const QImage direct(path("direct.png"));
        QVERIFY(!direct.isNull());
        QCOMPARE(QImage(path("from-ora.png")), direct);

        VellOraReader reader;
        QVERIFY(reader.openFile(path("doc.ora")));
        QCOMPARE(reader.mergedImage(), direct.convertToFormat(QImage::Format_ARGB32));
        std::unique_ptr<VellContext> document(reader.readDocument());
        QVERIFY(document);
        const VellLayerManager *stack = document->getLayerManager();
        QCOMPARE(stack->getLayerCount(), 2);
        const auto *top = qobject_cast<const VellLayer *>(stack->getLayer(1));
        QCOMPARE(top->getBlendMode(), int(VellBlend::Overlay));
        QCOMPARE(top->getAlpha(), 0.5f);
        QCOMPARE(top->getPosition(), QPointF(3, -1));
        QVERIFY(top->hasLayerMask());
    }

    // The GPU's composite is the merged image, within a level of the CPU's.
    void gpuMergedImage()
    {
        QString output;
        QCOMPARE(vell({ "compose", "--gpu", "-o", path("gpu.ora"), path("bottom.png"), path("top.png"), "--mode",
                        "overlay", "--opacity", "0.5", "--offset", "3,-1", "--mask", path("mask.png") },
                      &output),
                 0);
        QVERIFY2(output.contains(QLatin1String("on the GPU")), qPrintable(output));
        VellOraReader reader;
        QVERIFY(reader.openFile(path("gpu.ora")));
        const QImage gpu = reader.mergedImage();
        const QImage cpu = QImage(path("direct.png")).convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(gpu.size(), cpu.size());
        for (int y = 0; y < cpu.height(); ++y)
            for (int x = 0; x < cpu.width(); ++x) {
                const QRgb a = gpu.pixel(x, y), b = cpu.pixel(x, y);
                const int most = qMax(qMax(qAbs(qRed(a) - qRed(b)), qAbs(qGreen(a) - qGreen(b))),
                                      qMax(qAbs(qBlue(a) - qBlue(b)), qAbs(qAlpha(a) - qAlpha(b))));
                QVERIFY2(most <= 1, qPrintable(QStringLiteral("%1,%2: %3 against %4").arg(x).arg(y)
                                                   .arg(a, 8, 16).arg(b, 8, 16)));
            }
    }

    void info()
    {
        QString output;
        QVERIFY(QFileInfo::exists(path("doc.ora")));
        QCOMPARE(vell({ "info", path("doc.ora") }, &output), 0);
        QVERIFY2(output.contains(QLatin1String("OpenRaster, 9 x 7, 2 layers (top first)")), qPrintable(output));
        QVERIFY2(output.contains(QLatin1String("5 x 4 at 3,-1, Overlay, opacity 0.5, masked, active")), qPrintable(output));
        QVERIFY2(output.contains(QLatin1String("read exactly")), qPrintable(output));

        // A text layer, its name holding a place marker that must stay as it is.
        QCOMPARE(vell({ "compose", "--cpu", "-o", path("text.ora"), path("bottom.png"), "--text",
                        "50%1 off\nnow", "--at", "2,3", "--font", "DejaVu Sans,9", "--direction", "90" },
                      &output),
                 0);
        QCOMPARE(vell({ "info", path("text.ora") }, &output), 0);
        QVERIFY2(output.contains(QLatin1String(": text \"50%1 off\\nnow\", DejaVu Sans 9 pt, at 2,3, turned 90 degrees, "
                                               "Normal, opacity 1")),
                 qPrintable(output));
        QVERIFY2(output.contains(QLatin1String("\"50%1 off")), qPrintable(output));
    }

    void usage()
    {
        QString output;
        QCOMPARE(vell({ "compose", "--cpu", "-o", path("x.png"), "--ora-masks", "baked", path("bottom.png") }, &output), 2);
        QVERIFY2(output.contains(QLatin1String("--ora-masks applies to an OpenRaster output")), qPrintable(output));
        QCOMPARE(vell({ "compose", "--cpu", "-o", path("x.ora"), "--ora-masks", "flat", path("bottom.png") }, &output), 2);
        QVERIFY2(output.contains(QLatin1String("bad --ora-masks 'flat'")), qPrintable(output));
    }
};

QTEST_GUILESS_MAIN(TestVellOraHost)
#include "tst_vellorahost.moc"
