#include "foundation/vellconfig.h"

#include "foundation/velldatalocation.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

class TestVellConfig : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void folderTree();
    void requiredFileKeptWhenPresent();
    void style_data();
    void style();
    void nestedRoot_data();
    void nestedRoot();
    void cacheFileName_data();
    void cacheFileName();
    void styleImageName_data();
    void styleImageName();

private:
    QScopedPointer<QTemporaryDir> home;
};

void TestVellConfig::init()
{
    home.reset(new QTemporaryDir);
    QVERIFY(home->isValid());
    qputenv("XDG_DATA_HOME", home->path().toLocal8Bit());
    QVERIFY(VellDataLocation::path().startsWith(home->path()));
}

void TestVellConfig::folderTree()
{
    VellConfig config;
    const QString root = VellDataLocation::path() + "/Vellorix";
    QCOMPARE(config.appDataPath, root);
    QCOMPARE(config.tempPath, QDir::tempPath());
    QCOMPARE(config.pictureWallFile, root + "/presets/picture wall path.txt");
    QVERIFY(!QFileInfo::exists(config.pictureWallFile));   // only named

    const QList<QPair<QString, QString>> folders = {
        {config.thumbnailPath, root + "/cache/thumbnails/"},
        {config.batchActionPath, root + "/presets/batch actions/"},
        {config.curvesPresetPath, root + "/presets/curves/"},
        {config.levelsPresetPath, root + "/presets/levels/"},
        {config.colorFilterPresetPath, root + "/presets/digital color filter/"},
        {config.settingsPath, root + "/settings/"},
        {config.rawPath, root + "/VellRaw/"},
        {config.rawCachePath, root + "/VellRaw/cache/"},
        {config.rawPresetPath, root + "/VellRaw/preset/"},
    };
    for (const auto &folder : folders) {
        QCOMPARE(folder.first, folder.second);
        QVERIFY2(QFileInfo(folder.first).isDir(), qPrintable(folder.first));
    }
    const QFileInfo dcraw(config.settingsPath + "dcraw.ini");
    QVERIFY(dcraw.isFile());
    QCOMPARE(dcraw.size(), qint64(0));
}

void TestVellConfig::requiredFileKeptWhenPresent()
{
    const QString settings = VellDataLocation::path() + "/Vellorix/settings/";
    QVERIFY(QDir().mkpath(settings));
    QFile file(settings + "dcraw.ini");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("kept");
    file.close();
    VellConfig config;
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("kept"));
}

void TestVellConfig::style_data()
{
    QTest::addColumn<QString>("stored");   // null: no file
    QTest::addColumn<QString>("style");
    QTest::newRow("no config file") << QString() << "Metro";
    QTest::newRow("Default means Metro") << "Default" << "Metro";
    QTest::newRow("empty means Metro") << "" << "Metro";
    QTest::newRow("own style") << "Graphite" << "Graphite";
}

void TestVellConfig::style()
{
    QFETCH(QString, stored);
    QFETCH(QString, style);
    if (!stored.isNull()) {
        QDir().mkpath(VellDataLocation::path());
        QSettings ini(VellDataLocation::configFile(), QSettings::IniFormat);
        ini.setValue("Style", stored);
    }
    VellConfig config;
    QCOMPARE(config.style, style);
}

void TestVellConfig::nestedRoot_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("plain") << QStringList() << "/Vellorix";
    QTest::newRow("AppData") << QStringList{"AppData"} << "/AppData/Vellorix";
    QTest::newRow("Application Data") << QStringList{"Application Data"} << "/Application Data/Vellorix";
    QTest::newRow("AppData wins") << QStringList{"AppData", "Application Data"} << "/AppData/Vellorix";
    QTest::newRow("Roaming inside AppData") << QStringList{"AppData/Roaming"} << "/AppData/Roaming/Vellorix";
    QTest::newRow("Roaming alone") << QStringList{"Roaming"} << "/Roaming/Vellorix";
}

void TestVellConfig::nestedRoot()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, suffix);
    for (const QString &folder : existing)
        QVERIFY(QDir().mkpath(VellDataLocation::path() + '/' + folder));
    VellConfig config;
    QCOMPARE(config.appDataPath, VellDataLocation::path() + suffix);
}

void TestVellConfig::cacheFileName_data()
{
    QTest::addColumn<QString>("imagePath");
    QTest::addColumn<QString>("relative");   // below thumbnailPath
    // Digests computed independently (SHA-1 of the path's bytes).
    QTest::newRow("unix path") << "/Users/a/p.jpg" << "2d/e1/15/_Users_a_p_jpg.bmp";
    QTest::newRow("slash versus underscore") << "/Users/a_p.jpg" << "42/e1/8d/_Users_a_p_jpg.bmp";
    QTest::newRow("already flat") << "_Users_a_p.jpg" << "b2/09/ae/_Users_a_p_jpg.bmp";
    QTest::newRow("windows path") << "C:\\img.x.png" << "2c/fc/a0/C__img_x_png.bmp";
}

void TestVellConfig::cacheFileName()
{
    QFETCH(QString, imagePath);
    QFETCH(QString, relative);
    VellConfig config;
    const QString name = config.getCacheFileName(imagePath);
    const QFileInfo info(name);
    QVERIFY(info.dir().exists());
    QCOMPARE(name, config.thumbnailPath + relative);
}

void TestVellConfig::styleImageName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("marker") << ":/vellorix_replace_style/zoom.png" << ":/Metro_Image/zoom.png";
    QTest::newRow("twice") << "vellorix_replace_style-vellorix_replace_style"
                           << "Metro_Image-Metro_Image";
    QTest::newRow("case matters") << ":/VELLORIX_REPLACE_STYLE/a.png" << ":/VELLORIX_REPLACE_STYLE/a.png";
    QTest::newRow("no marker") << ":/icons/a.png" << ":/icons/a.png";
}

void TestVellConfig::styleImageName()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    VellConfig config;
    QCOMPARE(config.getStyleImageName(name), expected);
}

QTEST_GUILESS_MAIN(TestVellConfig)
#include "tst_vellconfig.moc"
