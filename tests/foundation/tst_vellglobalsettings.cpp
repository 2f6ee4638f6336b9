#include "foundation/vellglobalsettings.h"

#include "foundation/velldatalocation.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

namespace {

void writeConfig(const QString &file, const QString &group, const QString &key, const QString &value)
{
    QSettings ini(file, QSettings::IniFormat);
    if (!group.isEmpty())
        ini.beginGroup(group);
    ini.setValue(key, value);
}

QByteArray fileText(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestVellGlobalSettings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void defaultsWithoutFiles();
    void loadRules_data();
    void loadRules();
    void savedFileFormat();
    void survivesRestart();
    void recentFilesParsing();
    void pushNewFileName();
    void setDefaultTable_data();
    void setDefaultTable();

private:
    QScopedPointer<QTemporaryDir> home;
};

void TestVellGlobalSettings::init()
{
    home.reset(new QTemporaryDir);
    QVERIFY(home->isValid());
    qputenv("XDG_DATA_HOME", home->path().toLocal8Bit());
    QVERIFY(QDir().mkpath(VellDataLocation::path()));
}

void TestVellGlobalSettings::cleanup()
{
    VellGlobalSettings::setGpuMemoryFigure(nullptr);
}

void TestVellGlobalSettings::defaultsWithoutFiles()
{
    VellGlobalSettings settings;
    QCOMPARE(settings.imageLimitX, 7200);
    QCOMPARE(settings.imageLimitY, 7200);
    QCOMPARE(settings.imageLimitPixel, 40);
    QCOMPARE(settings.histogramSampleCount, 50000);
    QCOMPARE(settings.damping, 0);
    QVERIFY(!settings.zoomAnimation);
    QVERIFY(settings.recentFiles.isEmpty());
    QCOMPARE(settings.foreground, QColor(0xFF, 0x66, 0x00));
    QCOMPARE(settings.background, QColor(0x55, 0xFF, 0xFF));
    QCOMPARE(settings.loadingVersion, 20111231);
    QCOMPARE(settings.currentVersion, 20111231);
    QCOMPARE(settings.getImageLimitSize(), QSize(7200, 7200));
}

void TestVellGlobalSettings::loadRules_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("field");
    QTest::addColumn<int>("expected");

    QTest::newRow("sample count below range") << "Histogram" << "Sample_Count" << "10" << "samples" << 50000;
    QTest::newRow("sample count above range") << "Histogram" << "Sample_Count" << "5000000" << "samples" << 1000000;
    QTest::newRow("sample count in range") << "Histogram" << "Sample_Count" << "123456" << "samples" << 123456;
    QTest::newRow("sample count garbage") << "Histogram" << "Sample_Count" << "lots" << "samples" << 50000;
    QTest::newRow("width limit below range") << "Performance" << "Image_Size_Limit_X" << "100" << "limitX" << 4096;
    QTest::newRow("width limit above range") << "Performance" << "Image_Size_Limit_X" << "99999" << "limitX" << 20000;
    QTest::newRow("width limit garbage") << "Performance" << "Image_Size_Limit_X" << "wide" << "limitX" << 7200;
    QTest::newRow("height limit in range") << "Performance" << "Image_Size_Limit_Y" << "8000" << "limitY" << 8000;
    QTest::newRow("pixel limit below range") << "Performance" << "Image_Size_Limit_Pixel" << "1" << "limitPixel" << 20;
    QTest::newRow("pixel limit above range") << "Performance" << "Image_Size_Limit_Pixel" << "401" << "limitPixel" << 400;
    QTest::newRow("damping negative") << "Interaction" << "Damping" << "-5" << "damping" << 0;
    QTest::newRow("damping above range") << "Interaction" << "Damping" << "250" << "damping" << 100;
    QTest::newRow("damping in range") << "Interaction" << "Damping" << "35" << "damping" << 35;
    QTest::newRow("bool yes is false") << "Interaction" << "Zoom_Animation" << "yes" << "zoomAnimation" << 0;
    QTest::newRow("bool TRUE is false") << "Interaction" << "Zoom_Animation" << "TRUE" << "zoomAnimation" << 0;
    QTest::newRow("bool true") << "Interaction" << "Zoom_Animation" << "true" << "zoomAnimation" << 1;
    QTest::newRow("tips true") << "UI" << "Show_Tips_When_Start" << "true" << "tips" << 1;
    QTest::newRow("picture wall true") << "UI" << "Show_PictureWall_When_Start" << "true" << "wall" << 1;
    QTest::newRow("realtime true") << "Histogram" << "Realtime_update" << "true" << "realtime" << 1;
    QTest::newRow("jpg estimate true") << "IO" << "JPG_Estimate_Size" << "true" << "jpg" << 1;
    QTest::newRow("raw direct true") << "Raw" << "Directly_Open" << "true" << "raw" << 1;
    QTest::newRow("move animation true") << "Interaction" << "Move_Animation" << "true" << "moveAnimation" << 1;
}

void TestVellGlobalSettings::loadRules()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, stored);
    QFETCH(QString, field);
    QFETCH(int, expected);

    writeConfig(VellGlobalSettings::configFileName(), group, key, stored);
    VellGlobalSettings settings;
    const QHash<QString, int> fields = {
        {"samples", settings.histogramSampleCount},
        {"limitX", settings.imageLimitX},
        {"limitY", settings.imageLimitY},
        {"limitPixel", settings.imageLimitPixel},
        {"damping", settings.damping},
        {"zoomAnimation", settings.zoomAnimation},
        {"moveAnimation", settings.moveAnimation},
        {"tips", settings.showTipsWhenStart},
        {"wall", settings.showPictureWallWhenStart},
        {"realtime", settings.histogramRealtimeUpdate},
        {"jpg", settings.jpgEstimateSize},
        {"raw", settings.rawDirectlyOpen},
    };
    QVERIFY(fields.contains(field));
    QCOMPARE(fields.value(field), expected);
}

void TestVellGlobalSettings::savedFileFormat()
{
    VellGlobalSettings settings;
    settings.zoomAnimation = true;
    settings.moveAnimation = false;
    settings.damping = 42;
    settings.imageLimitX = 9000;
    QVERIFY(settings.save());

    QSettings config(VellGlobalSettings::configFileName(), QSettings::IniFormat);
    QCOMPARE(config.value("Interaction/Zoom_Animation").toString(), QStringLiteral("true"));
    QCOMPARE(config.value("Interaction/Move_Animation").toString(), QStringLiteral("false"));
    QCOMPARE(config.value("Interaction/Damping").toString(), QStringLiteral("42"));
    QCOMPARE(config.value("Performance/Image_Size_Limit_X").toString(), QStringLiteral("9000"));
    QCOMPARE(config.value("Histogram/Sample_Count").toString(), QStringLiteral("50000"));
    QCOMPARE(config.childGroups(),
             QStringList({"Histogram", "IO", "Interaction", "Performance", "Raw", "UI"}));

    const QByteArray lastRun = fileText(VellGlobalSettings::lastRunFileName());
    QVERIFY2(lastRun.contains("Foreground=#ff6600"), lastRun.constData());
    QVERIFY2(lastRun.contains("Background=#55ffff"), lastRun.constData());
}

void TestVellGlobalSettings::survivesRestart()
{
    {
        VellGlobalSettings first;
        first.pushNewFileName("/pictures/a.png");
        first.pushNewFileName("/pictures/b c.jpg");
        first.foreground = QColor(1, 2, 3);
        first.background = QColor(250, 128, 0);
        first.histogramSampleCount = 77777;
        first.save();
    }
    VellGlobalSettings second;
    QCOMPARE(second.recentFiles, QStringList({"/pictures/b c.jpg", "/pictures/a.png"}));
    QCOMPARE(second.foreground, QColor(1, 2, 3));
    QCOMPARE(second.background, QColor(250, 128, 0));
    QCOMPARE(second.histogramSampleCount, 77777);
}

void TestVellGlobalSettings::recentFilesParsing()
{
    const QString lastRun = VellGlobalSettings::lastRunFileName();
    writeConfig(lastRun, QString(), "Recent_Files", ";a.png;;b.png;");
    writeConfig(lastRun, QString(), "Foreground", "not a colour");
    VellGlobalSettings settings;
    QCOMPARE(settings.recentFiles, QStringList({"a.png", "b.png"}));
    QCOMPARE(settings.foreground, QColor(0xFF, 0x66, 0x00));   // unreadable colour: default
}

void TestVellGlobalSettings::pushNewFileName()
{
    VellGlobalSettings settings;
    for (int i = 1; i <= 10; ++i)
        settings.pushNewFileName(QString("f%1").arg(i));
    QCOMPARE(settings.recentFiles.size(), 10);
    QCOMPARE(settings.recentFiles.first(), QStringLiteral("f10"));

    settings.pushNewFileName("f4");   // moved to the front, not duplicated
    QCOMPARE(settings.recentFiles.size(), 10);
    QCOMPARE(settings.recentFiles.first(), QStringLiteral("f4"));
    QCOMPARE(settings.recentFiles.count("f4"), 1);

    settings.pushNewFileName("f11");  // an eleventh name drops the oldest
    QCOMPARE(settings.recentFiles.size(), 10);
    QCOMPARE(settings.recentFiles.first(), QStringLiteral("f11"));
    QVERIFY(!settings.recentFiles.contains("f1"));
    QCOMPARE(settings.recentFiles.last(), QStringLiteral("f2"));
}

void TestVellGlobalSettings::setDefaultTable_data()
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
    QTest::newRow("none") << 0 << 7200 << 40;
}

void TestVellGlobalSettings::setDefaultTable()
{
    QFETCH(int, freeKb);
    QFETCH(int, limit);
    QFETCH(int, pixel);

    VellGlobalSettings::setGpuMemoryFigure([=] { return freeKb; });
    VellGlobalSettings settings;
    settings.pushNewFileName("x.png");
    settings.zoomAnimation = true;
    settings.damping = 50;
    settings.setDefault();

    QCOMPARE(settings.imageLimitX, limit);
    QCOMPARE(settings.imageLimitY, limit);
    QCOMPARE(settings.imageLimitPixel, pixel);
    QCOMPARE(settings.histogramSampleCount, 10240);
    QVERIFY(settings.histogramRealtimeUpdate);
    QVERIFY(!settings.zoomAnimation);
    QCOMPARE(settings.damping, 0);
    QVERIFY(settings.recentFiles.isEmpty());
    QVERIFY(!settings.foreground.isValid());
    QCOMPARE(settings.loadingVersion, 0);
    QCOMPARE(settings.currentVersion, 20111231);
}

QTEST_GUILESS_MAIN(TestVellGlobalSettings)
#include "tst_vellglobalsettings.moc"
