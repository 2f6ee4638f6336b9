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
    QScopedPointer<QTemporaryDir> home;

private slots:
    void init()
    {
        home.reset(new QTemporaryDir);
        QVERIFY(home->isValid());
        qputenv("XDG_DATA_HOME", home->path().toLocal8Bit());
        QVERIFY(VellDataLocation::path().startsWith(home->path()));
    }

    // The tree is made on construction; an existing dcraw.ini is kept.
    void folderTree()
    {
        const QString root = VellDataLocation::path() + "/Vellorix";
        {
            VellConfig config;
            QCOMPARE(config.appDataPath, root);
            QCOMPARE(config.tempPath, QDir::tempPath());
            QCOMPARE(config.pictureWallFile, root + "/presets/picture wall path.txt");
            QVERIFY(!QFileInfo::exists(config.pictureWallFile));   // only named
            const QList<QPair<QString, QString>> folders = {
                {config.thumbnailPath, "/cache/thumbnails/"}, {config.batchActionPath, "/presets/batch actions/"},
                {config.curvesPresetPath, "/presets/curves/"}, {config.levelsPresetPath, "/presets/levels/"},
                {config.colorFilterPresetPath, "/presets/digital color filter/"},
                {config.settingsPath, "/settings/"}, {config.rawPath, "/VellRaw/"},
                {config.rawCachePath, "/VellRaw/cache/"}, {config.rawPresetPath, "/VellRaw/preset/"}};
            for (const auto &folder : folders) {
                QCOMPARE(folder.first, root + folder.second);
                QVERIFY2(QFileInfo(folder.first).isDir(), qPrintable(folder.first));
            }
            QCOMPARE(QFileInfo(config.settingsPath + "dcraw.ini").size(), qint64(0));
        }
        QFile file(root + "/settings/dcraw.ini");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("kept");
        file.close();
        VellConfig again;
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("kept"));
    }

    void style_data()
    {
        QTest::addColumn<QString>("stored");   // null: no file
        QTest::addColumn<QString>("style");
        QTest::newRow("no config file") << QString() << "Metro";
        QTest::newRow("Default means Metro") << "Default" << "Metro";
        QTest::newRow("empty means Metro") << "" << "Metro";
        QTest::newRow("own style") << "Graphite" << "Graphite";
    }
    void style()
    {
        QFETCH(QString, stored);
        if (!stored.isNull()) {
            QDir().mkpath(VellDataLocation::path());
            QSettings(VellDataLocation::configFile(), QSettings::IniFormat).setValue("Style", stored);
        }
        QTEST(VellConfig().style, "style");
    }

    void nestedRoot_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QString>("suffix");
        QTest::newRow("plain") << QStringList() << "/Vellorix";
        QTest::newRow("Application Data") << QStringList{"Application Data"} << "/Application Data/Vellorix";
        QTest::newRow("AppData wins") << QStringList{"AppData", "Application Data"} << "/AppData/Vellorix";
        QTest::newRow("Roaming inside AppData") << QStringList{"AppData/Roaming"} << "/AppData/Roaming/Vellorix";
        QTest::newRow("Roaming alone") << QStringList{"Roaming"} << "/Roaming/Vellorix";
    }
    void nestedRoot()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, suffix);
        for (const QString &folder : existing)
            QVERIFY(QDir().mkpath(VellDataLocation::path() + '/' + folder));
        QCOMPARE(VellConfig().appDataPath, VellDataLocation::path() + suffix);
    }

    void cacheFileName_data()
    {
        QTest::addColumn<QString>("imagePath");
        QTest::addColumn<QString>("relative");   // below thumbnailPath
        // Digests computed independently (SHA-1 of the path's bytes).
        QTest::newRow("unix path") << "/Users/a/p.jpg" << "2d/e1/15/_Users_a_p_jpg.bmp";
        QTest::newRow("slash versus underscore") << "/Users/a_p.jpg" << "42/e1/8d/_Users_a_p_jpg.bmp";
        QTest::newRow("windows path") << "C:\\img.x.png" << "2c/fc/a0/C__img_x_png.bmp";
    }
    void cacheFileName()
    {
        QFETCH(QString, imagePath);
        QFETCH(QString, relative);
        VellConfig config;
        const QString name = config.getCacheFileName(imagePath);
        QVERIFY(QFileInfo(name).dir().exists());
        QCOMPARE(name, config.thumbnailPath + relative);
    }

    void styleImageName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("twice") << "vellorix_replace_style-vellorix_replace_style" << "Metro_Image-Metro_Image";
        QTest::newRow("case matters") << ":/VELLORIX_REPLACE_STYLE/a.png" << ":/VELLORIX_REPLACE_STYLE/a.png";
    }
    void styleImageName()
    {
        QFETCH(QString, name);
        QTEST(VellConfig().getStyleImageName(name), "expected");
    }
};

QTEST_GUILESS_MAIN(TestVellConfig)
#include "tst_vellconfig.moc"
