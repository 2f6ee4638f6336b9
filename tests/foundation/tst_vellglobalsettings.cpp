#include "foundation/vellglobalsettings.h"

#include "foundation/velldatalocation.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

class TestVellGlobalSettings : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> home;

private slots:
    void init()
    {
        home.reset(new QTemporaryDir);
        QVERIFY(home->isValid());
        qputenv("XDG_DATA_HOME", home->path().toLocal8Bit());
        QVERIFY(QDir().mkpath(VellDataLocation::path()));
    }
    void cleanup() { VellGlobalSettings::setGpuMemoryFigure(nullptr); }

    void loadRules_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("expected");
        QTest::newRow("sample count below range") << "Histogram/Sample_Count" << "10" << 50000;
        QTest::newRow("sample count above range") << "Histogram/Sample_Count" << "5000000" << 1000000;
        QTest::newRow("sample count in range") << "Histogram/Sample_Count" << "123456" << 123456;
        QTest::newRow("sample count garbage") << "Histogram/Sample_Count" << "lots" << 50000;
        QTest::newRow("width limit below range") << "Performance/Image_Size_Limit_X" << "100" << 4096;
        QTest::newRow("width limit above range") << "Performance/Image_Size_Limit_X" << "99999" << 20000;
        QTest::newRow("width limit garbage") << "Performance/Image_Size_Limit_X" << "wide" << 7200;
        QTest::newRow("height limit in range") << "Performance/Image_Size_Limit_Y" << "8000" << 8000;
        QTest::newRow("pixel limit below range") << "Performance/Image_Size_Limit_Pixel" << "1" << 20;
        QTest::newRow("pixel limit above range") << "Performance/Image_Size_Limit_Pixel" << "401" << 400;
        QTest::newRow("pixel limit garbage") << "Performance/Image_Size_Limit_Pixel" << "" << 40;
        QTest::newRow("damping negative") << "Interaction/Damping" << "-5" << 0;
        QTest::newRow("damping above range") << "Interaction/Damping" << "250" << 100;
        QTest::newRow("bool TRUE is false") << "Interaction/Zoom_Animation" << "TRUE" << 0;
        for (const char *key : { "Interaction/Zoom_Animation", "UI/Show_Tips_When_Start",
                                 "UI/Show_PictureWall_When_Start", "Histogram/Realtime_update",
                                 "IO/JPG_Estimate_Size", "Raw/Directly_Open", "Interaction/Move_Animation" })
            QTest::addRow("%s true", key) << key << "true" << 1;
    }
    void loadRules()
    {
        QFETCH(QString, key);
        QFETCH(QString, stored);
        QSettings(VellGlobalSettings::configFileName(), QSettings::IniFormat).setValue(key, stored);
        VellGlobalSettings s;
        const QHash<QString, int> fields = {
            { "Sample_Count", s.histogramSampleCount }, { "Damping", s.damping },
            { "Image_Size_Limit_X", s.imageLimitX }, { "Image_Size_Limit_Y", s.imageLimitY },
            { "Image_Size_Limit_Pixel", s.imageLimitPixel }, { "Directly_Open", s.rawDirectlyOpen },
            { "Zoom_Animation", s.zoomAnimation }, { "Move_Animation", s.moveAnimation },
            { "Show_Tips_When_Start", s.showTipsWhenStart }, { "JPG_Estimate_Size", s.jpgEstimateSize },
            { "Show_PictureWall_When_Start", s.showPictureWallWhenStart },
            { "Realtime_update", s.histogramRealtimeUpdate } };
        QTEST(fields.value(key.section('/', 1), -1), "expected");
    }

    // What save() writes, and what a second instance reads back from it.
    void saveAndReload()
    {
        {
            VellGlobalSettings first;
            first.zoomAnimation = true;
            first.damping = 42;
            first.imageLimitX = 9000;
            first.histogramSampleCount = 77777;
            first.pushNewFileName("/pictures/a.png");
            first.pushNewFileName("/pictures/b c.jpg");
            QVERIFY(first.save());
            QFile lastRun(VellGlobalSettings::lastRunFileName());
            QVERIFY(lastRun.open(QIODevice::ReadOnly));
            const QByteArray text = lastRun.readAll();   // the default colours
            QVERIFY2(text.contains("Foreground=#ff6600"), text.data());
            QVERIFY2(text.contains("Background=#55ffff"), text.data());
            first.foreground = QColor(1, 2, 3);
            first.background = QColor(250, 128, 0);
            first.save();
        }
        QSettings config(VellGlobalSettings::configFileName(), QSettings::IniFormat);
        QStringList values;
        for (auto key : { "Interaction/Zoom_Animation", "Interaction/Move_Animation", "Interaction/Damping",
                          "Performance/Image_Size_Limit_X", "Histogram/Sample_Count" })
            values << config.value(key).toString();
        QCOMPARE(values, QStringList({ "true", "false", "42", "9000", "77777" }));
        QCOMPARE(config.childGroups(),
                 QStringList({ "Histogram", "IO", "Interaction", "Performance", "Raw", "UI" }));
        VellGlobalSettings second;
        QCOMPARE(second.recentFiles, QStringList({ "/pictures/b c.jpg", "/pictures/a.png" }));
        QCOMPARE(second.foreground, QColor(1, 2, 3));
        QCOMPARE(second.background, QColor(250, 128, 0));
        QCOMPARE(second.histogramSampleCount, 77777);
    }

    void recentFilesParsing()
    {
        QSettings lastRun(VellGlobalSettings::lastRunFileName(), QSettings::IniFormat);
        lastRun.setValue("Recent_Files", ";a.png;;b.png;");
        lastRun.setValue("Foreground", "not a colour");
        lastRun.sync();
        VellGlobalSettings s;
        QCOMPARE(s.recentFiles, QStringList({ "a.png", "b.png" }));
        QCOMPARE(s.foreground, QColor(0xFF, 0x66, 0x00));   // unreadable colour: default
        for (int i = 1; i <= 10; ++i)
            s.pushNewFileName(QString("f%1").arg(i));
        s.pushNewFileName("f4");   // moved to the front, not duplicated; the oldest dropped
        QCOMPARE(s.recentFiles.join(' '), QString("f4 f10 f9 f8 f7 f6 f5 f3 f2 f1"));
    }

    void setDefaultTable_data()
    {
        QTest::addColumn<int>("freeKb");
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("pixel");
        QTest::newRow("unknown figure reads as very large") << -1 << 20000 << 256;
        QTest::newRow("just over 2 GiB") << 2097153 << 20000 << 256;
        QTest::newRow("exactly 2 GiB") << 2097152 << 15000 << 128;
        QTest::newRow("just over 1.5 GiB") << 1572865 << 15000 << 128;
        QTest::newRow("exactly 1.5 GiB") << 1572864 << 10000 << 80;
        QTest::newRow("just over 1 GiB") << 1048577 << 10000 << 80;
        QTest::newRow("exactly 1 GiB") << 1048576 << 7200 << 40;
    }
    void setDefaultTable()
    {
        QFETCH(int, freeKb);
        QFETCH(int, limit);
        QFETCH(int, pixel);
        VellGlobalSettings::setGpuMemoryFigure([=] { return freeKb; });
        VellGlobalSettings s;
        s.pushNewFileName("x.png");
        s.zoomAnimation = true;
        s.damping = 50;
        s.setDefault();
        QCOMPARE((QVector<int>{ s.imageLimitX, s.imageLimitY, s.imageLimitPixel, s.histogramSampleCount,
                                s.damping, s.zoomAnimation, s.histogramRealtimeUpdate, s.recentFiles.size(),
                                s.loadingVersion, s.currentVersion }),
                 (QVector<int>{ limit, limit, pixel, 10240, 0, 0, 1, 0, 0, 20111231 }));
        QVERIFY(!s.foreground.isValid());
    }
};

QTEST_GUILESS_MAIN(TestVellGlobalSettings)
#include "tst_vellglobalsettings.moc"
