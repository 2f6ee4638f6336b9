// The example plug-ins, loaded the way a host loads them (the tool manager
// over the build's tools folder), applied to a document and compared with
// their formulas computed here on the CPU; undo and redo bring the pictures
// back.
#include "foundation/vellcodes.h"
#include "history/vellhistory.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"
#include "tools/velltooltestdoc.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

namespace {

constexpr int kWidth = 48, kHeight = 32;

// A channel value in 0 .. 1 through each plug-in's formula.
double invert(double v, double, double) { return 1.0 - v; }
double brightnessContrast(double v, double b, double k)
{
    v = b < 0 ? v * (1 + b) : v + (1 - v) * b;
    const double slant = std::tan((std::min(k, 0.99) + 1) * M_PI / 4);
    return std::clamp((v - 0.5) * slant + 0.5, 0.0, 1.0);
}

} // namespace

class TestVellPlugins : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    std::unique_ptr<VellContext> document;
    VellLayer *layer = nullptr;

    QByteArray pixels() { return VellToolTest::layerBytes(canvas, layer); }

private slots:
    void initTestCase()
    {
        canvas = VellToolTest::shownCanvas(kWidth, kHeight, QSize(100, 80));
        QVERIFY(canvas);
        VellToolManager *manager = VellToolManager::getInstance();
        manager->setToolsPath(QStringLiteral(VELL_PLUGIN_TOOLS_DIR));
        QCOMPARE(manager->loadTools(), 6);   // every example plug-in
        QVERIFY(manager->getTool(QStringLiteral("Filter"), QStringLiteral("invert")));
        QVERIFY(manager->getTool(QStringLiteral("Filter"), QStringLiteral("brightness-contrast")));
    }
    void init()
    {
        uchar bytes[kWidth * kHeight * 4];
        for (int i = 0; i < kWidth * kHeight; ++i) {
            uchar *p = bytes + 4 * i;
            p[0] = uchar(i * 7);
            p[1] = uchar(i * 3 + 40);
            p[2] = uchar(255 - i);
            p[3] = uchar(128 + i % 128);
        }
        document = VellToolTest::makeDocument(canvas, bytes, kWidth, kHeight, &layer);
    }
    void cleanup() { document.reset(); }
    void cleanupTestCase() { delete canvas; }

    void formulas_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<int>("brightness");
        QTest::addColumn<int>("contrast");
        QTest::addColumn<int>("channels");
        QTest::addColumn<bool>("selectLeftHalf");
        QTest::newRow("invert") << "invert" << 0 << 0 << int(VellChannelBits::All) << false;
        QTest::newRow("invert, red only, left half") << "invert" << 0 << 0 << int(VellChannelBits::Red) << true;
        QTest::newRow("brighter") << "brightness-contrast" << 30 << 0 << int(VellChannelBits::All) << false;
        QTest::newRow("darker, more contrast") << "brightness-contrast" << -40 << 50 << int(VellChannelBits::All) << false;
        QTest::newRow("flatter, blue only, left half")
            << "brightness-contrast" << 10 << -60 << int(VellChannelBits::Blue) << true;
    }
    void formulas()
    {
        QFETCH(QString, tool);
        QFETCH(int, brightness);
        QFETCH(int, contrast);
        QFETCH(int, channels);
        QFETCH(bool, selectLeftHalf);
        auto *filter = qobject_cast<VellToolBase *>(VellToolManager::getInstance()->getTool(tool));
        QVERIFY(filter);
        if (selectLeftHalf) {
            const QByteArray half(kWidth / 2 * kHeight, char(255));
            document->getSelection()->addMask(reinterpret_cast<const uchar *>(half.constData()), kWidth / 2,
                                              kHeight, 0, 0);
        }
        document->editingChannel = channels;
        const QByteArray before = pixels();
        filter->active(document.get());
        QVERIFY(filter->isActive());
        if (tool != QLatin1String("invert")) {
            QVERIFY(filter->setParameterValue(QStringLiteral("brightness"), brightness));
            QVERIFY(filter->setParameterValue(QStringLiteral("contrast"), contrast));
            QVERIFY(!filter->setParameterValue(QStringLiteral("contrast"), 101));
            QVERIFY(!filter->setParameterValue(QStringLiteral("gamma"), 1));
        }
        filter->ok();
        const QByteArray after = pixels();
        const std::function<double(double, double, double)> formula =
            tool == QLatin1String("invert") ? invert : brightnessContrast;
        const int bits[3] = {VellChannelBits::Blue, VellChannelBits::Green, VellChannelBits::Red};
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const bool selected = !selectLeftHalf || i % kWidth < kWidth / 2;
            for (int k = 0; k < 4; ++k) {
                const int v = uchar(before[4 * i + k]);
                int expected = v;
                if (k < 3 && selected && (channels & bits[k]))
                    expected = int(std::lround(formula(v / 255.0, brightness / 100.0, contrast / 100.0) * 255));
                QVERIFY2(qAbs(uchar(after[4 * i + k]) - expected) <= 1,
                         qPrintable(QStringLiteral("pixel %1 byte %2: %3, expected %4")
                                        .arg(i).arg(k).arg(uchar(after[4 * i + k])).arg(expected)));
            }
        }

        document->getHistory()->stepBackward();
        QCOMPARE(pixels(), before);
        document->getHistory()->stepForward();
        QCOMPARE(pixels(), after);
    }
};

QTEST_MAIN(TestVellPlugins)
#include "tst_vellplugins.moc"
