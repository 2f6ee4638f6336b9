// The tool manager loads plug-ins built for the test (tests/tools/plugins)
// from a tools folder laid out on disk, and the library's translations are
// chosen by the language of the settings.
#include "foundation/velldatalocation.h"
#include "tools/ivelltool.h"
#include "tools/vellinternational.h"
#include "tools/velltoolmanager.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

#include <memory>

namespace {

QString pluginFile(int kind)
{
    return QStringLiteral(VELL_TEST_PLUGIN_DIR "/velltestplugin%1.mt").arg(kind);
}

void setLanguage(const QString &code)
{
    QDir().mkpath(VellDataLocation::path());
    QSettings settings(VellDataLocation::configFile(), QSettings::IniFormat);
    if (code.isNull())
        settings.remove(QStringLiteral("language"));
    else
        settings.setValue(QStringLiteral("language"), code);
}

// A tool made in the test, registered by hand.
class LocalTool : public IVellTool
{
public:
    LocalTool(const QString &type, const QString &id)
    {
        toolType = type;
        toolId = id;
        name = id;
    }
    void active(VellContext *) override {}
    void disActive() override {}
    void init() override {}
    void release() override {}
};

} // namespace

class TestVellToolManager : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (int kind = 1; kind <= 4; ++kind)
            QVERIFY2(QFile::exists(pluginFile(kind)), qPrintable(pluginFile(kind)));
    }

    // The language of the settings picks the library's translation; none
    // exists for an empty or unknown code. (First: the manager, once made,
    // keeps the translation of its day installed.)
    void translations_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("error");
        QTest::newRow("German") << QStringLiteral("de_DE") << QStringLiteral("Fehler");
        QTest::newRow("French") << QStringLiteral("fr_FR") << QStringLiteral("Erreur");
        QTest::newRow("Japanese") << QStringLiteral("ja_JP") << QStringLiteral("エラー");
        QTest::newRow("empty") << QString() << QStringLiteral("Error");
        QTest::newRow("unknown") << QStringLiteral("xx_XX") << QStringLiteral("Error");
    }
    void translations()
    {
        QFETCH(QString, language);
        QFETCH(QString, error);
        setLanguage(language);
        std::unique_ptr<QTranslator> translator(setInternational());
        QCOMPARE(bool(translator), error != QLatin1String("Error"));
        QCOMPARE(QCoreApplication::translate("VellMemory", "Error"), error);
        // Removes it again (the destructor uninstalls it).
    }

    // Plug-ins one folder down are loaded, whatever else lies around them:
    // a file in the tools path itself, a ".mt" that is no library, one
    // without the name list, one refusing every name. Refused names are
    // skipped without losing the others, each tool knows its folder, and
    // the plug-ins hear the language of the settings.
    void loadsPluginsOneFolderDown_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("German") << QStringLiteral("de_DE");
        QTest::newRow("no language set") << QString();
    }
    void loadsPluginsOneFolderDown()
    {
        QFETCH(QString, language);
        setLanguage(language);
        QTemporaryDir root;
        QVERIFY(root.isValid());
        auto place = [&](int kind, const QString &relative) {
            QVERIFY(QDir(root.path()).mkpath(QFileInfo(relative).path()));
            QVERIFY(QFile::copy(pluginFile(kind), root.filePath(relative)));
        };
        place(1, QStringLiteral("good/tools.mt"));
        place(1, QStringLiteral("direct.mt"));               // not in a folder: ignored
        place(2, QStringLiteral("nonames/tools.mt"));
        place(3, QStringLiteral("refusing/tools.mt"));
        place(1, QStringLiteral("deeper/inner/tools.mt"));   // two folders down: ignored
        QFile junk(root.filePath(QStringLiteral("junk/notalibrary.mt")));
        QVERIFY(QDir(root.path()).mkpath(QStringLiteral("junk")));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("not a shared object\n");
        junk.close();

        VellToolManager *manager = VellToolManager::getInstance();
        manager->setToolsPath(root.path());
        QSignalSpy loading(manager, &VellToolManager::loadingTool);
        QCOMPARE(manager->loadTools(), 2);
        QCOMPARE(loading.size(), 2);
        QStringList names;
        for (const QList<QVariant> &args : qAsConst(loading))
            names << args.at(0).toString();
        names.sort();
        QCOMPARE(names, QStringList({QStringLiteral("First"), QStringLiteral("Second")}));

        IVellTool *first = manager->getTool(QStringLiteral("Filter"), QStringLiteral("test.first"));
        IVellTool *second = manager->getTool(QStringLiteral("test.second"));
        QVERIFY(first && second);
        QCOMPARE(second->getToolType(), QStringLiteral("Paint"));
        QCOMPARE(first->getPluginPath(), QDir(root.filePath(QStringLiteral("good"))).absolutePath());
        QCOMPARE(first->getInfo(), QStringLiteral("language:") + (language.isNull() ? QString() : language));
        QVERIFY(!manager->getTool(QStringLiteral("Paint"), QStringLiteral("test.first")));
        QCOMPARE(manager->setCurrentTool(QStringLiteral("test.second")), second);
        QCOMPARE(manager->getCurrentTool(), second);
        QVERIFY(!manager->setCurrentTool(QStringLiteral("unknown")));
    }

    // A later tool of the same type and id replaces the earlier one (both
    // announced); the same id under two types stays two tools. A tool's
    // event names ignore case.
    void registrySemantics()
    {
        QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkpath(QStringLiteral("replacement")));
        QVERIFY(QFile::copy(pluginFile(4), root.filePath(QStringLiteral("replacement/tools.mt"))));
        VellToolManager *manager = VellToolManager::getInstance();
        manager->setToolsPath(root.path());
        QSignalSpy loading(manager, &VellToolManager::loadingTool);
        QCOMPARE(manager->loadTools(), 1);
        QCOMPARE(loading.size(), 1);
        QCOMPARE(manager->getTool(QStringLiteral("Filter"), QStringLiteral("test.first"))->getName(),
                 QStringLiteral("Replacement"));

        auto *mine = new LocalTool(QStringLiteral("Mine"), QStringLiteral("shared"));
        auto *other = new LocalTool(QStringLiteral("Other"), QStringLiteral("shared"));
        manager->regist(mine);
        manager->regist(other);
        QVERIFY(manager->getToolTypes().contains(QStringLiteral("Mine")));
        QCOMPARE(manager->getTools(QStringLiteral("Mine")), QList<IVellTool *>{mine});
        QCOMPARE(manager->getTool(QStringLiteral("Other"), QStringLiteral("shared")), other);
        IVellTool *found = manager->getTool(QStringLiteral("shared"));
        QVERIFY(found == mine || found == other);
        QVERIFY(manager->getTools(QStringLiteral("no such type")).isEmpty());
        QVERIFY(!manager->getTool(QStringLiteral("no such type"), QStringLiteral("shared")));
        mine->registerEvent(QStringLiteral("KeyPress"));
        QVERIFY(mine->eventRegistered(QStringLiteral("keypress")));
        QVERIFY(!mine->eventRegistered(QStringLiteral("KeyRelease")));
    }

    void pluginTranslators()
    {
        QVERIFY(!getTranslater(QStringLiteral("/no/such/file.qm")));
        std::unique_ptr<QTranslator> translator(getTranslater(QStringLiteral(":/Resources/vellcore_es_ES.qm")));
        QVERIFY(translator);
        QCOMPARE(translator->translate("VellActionManager", "Critical Error"), QStringLiteral("Error crítico"));
    }
};

QTEST_MAIN(TestVellToolManager)
#include "tst_velltoolmanager.moc"
