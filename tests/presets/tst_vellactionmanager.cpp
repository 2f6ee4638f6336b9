#include "foundation/vellmessagebox.h"
#include "presets/vellactionmanager.h"
#include "support/vellt2files.h"

#include <QAction>
#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class TestVellActionManager : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_boxes.clear(); }

    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        VellMessageBox::setPresenter(
            [this](const VellMessageBox::Message &m) { m_boxes.append(m); return QMessageBox::Ok; });
    }

    // Every entry answers all four lookups; groups 0 to 5 start disabled while 7,
    // 8 and ungrouped commands stay enabled, also after switching all on and resetting.
    void commandFile()
    {
        QFile source(QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml"));
        QDomDocument document;
        QVERIFY(source.open(QIODevice::ReadOnly));
        QVERIFY(document.setContent(&source));
        VellActionManager manager;
        manager.loadContext(source.fileName());
        QVERIFY(m_boxes.isEmpty());

        int entries = 0;
        for (QDomElement e = document.documentElement().firstChildElement(); !e.isNull();
             e = e.nextSiblingElement(), ++entries) {
            const QString name = e.attribute("name"), guid = e.attribute("guid");
            QAction *action = manager.getAction(guid);
            QVERIFY2(action, qPrintable(name));
            QVERIFY2(!guid.isEmpty(), qPrintable(name));
            QCOMPARE(manager.getActionByName(name), action);
            QCOMPARE(action->text(), name);
            QCOMPARE(action->data().toString(), guid);
            QCOMPARE(manager.getGuidByName(name), guid);
            QCOMPARE(manager.getNameByGuid(guid), name);
        }
        QCOMPARE(manager.findChildren<QAction *>().size(), entries);
        QVERIFY(!manager.getAction("{x}"));
        QVERIFY(!manager.getActionByName("X"));
        QVERIFY(manager.getNameByGuid("{x}").isEmpty());
        QVERIFY(manager.getGuidByName("X").isEmpty());

        for (int pass = 0; pass < 2; ++pass) {
            for (int group = -1; group <= 8; ++group) {
                const QStringList names = group < 0 ? QStringList{"New", "Open", "Paste", "Exit", "About"}
                                                    : VellActionManager::getActionNames(group);
                for (const QString &name : names) {
                    const QByteArray at = (name + QString::number(pass)).toLatin1();
                    QVERIFY2(manager.getActionByName(name), at.constData());
                    QVERIFY2(manager.getActionByName(name)->isEnabled() == (group < 0 || group > 5), at.constData());
                }
            }
            for (int group = 0; group <= 8; ++group)
                manager.setEnabled(group, true);
            manager.initActionStatus();
        }
    }

    // Each table keeps the last entry for a key; a displaced action loses the cross lookup.
    // n:NAME=GUID is getGuidByName, g:GUID=NAME getNameByGuid, a:GUID=TEXT getAction.
    void replacement_data()
    {
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("expect");
        QTest::addColumn<int>("actionCount");
        QTest::newRow("other tags and nested actions ignored") << "<Action name='Save' guid='g1'/>"
            "<Menu name='File' guid='m'><Action name='Open' guid='g2'/></Menu>"
            << "n:Save=g1 n:Open= n:File= g:g1=Save g:g2= g:m= a:g1=Save" << 1;
        QTest::newRow("same name, new guid") << "<Action name='Save' guid='g1'/><Action name='Save' guid='g2'/>"
            << "n:Save=g2 g:g1= g:g2=Save a:g1=Save a:g2=Save" << 2;
        QTest::newRow("same guid, new name") << "<Action name='Save' guid='g1'/><Action name='Print' guid='g1'/>"
            << "n:Save= n:Print=g1 g:g1=Print a:g1=Print" << 2;
        QTest::newRow("guid missing twice") << "<Action name='Save'/><Action name='Print'/>"
            << "n:Save= n:Print= g:=Print a:=Print" << 2;
    }

    void replacement()
    {
        QFETCH(QString, body);
        QFETCH(QString, expect);
        VellActionManager manager;
        manager.loadContext(writeFile("replacement.xml", body.toUtf8()));
        QVERIFY(m_boxes.isEmpty());
        QTEST(manager.findChildren<QAction *>().size(), "actionCount");
        for (const QString &e : expect.split(' ')) {
            const QString key = e.mid(2).section('=', 0, 0), value = e.section('=', 1);
            const QAction *action = manager.getAction(key);
            if (e.startsWith("n:")) {
                QCOMPARE(manager.getGuidByName(key), value);
            } else if (e.startsWith("g:")) {
                QCOMPARE(manager.getNameByGuid(key), value);
            } else {
                QVERIFY2(action, qPrintable(e));
                QVERIFY2(action->text() == value, qPrintable(e));
                QVERIFY2(action->data() == key, qPrintable(e));
            }
        }
    }

    // A malformed file keeps what the parser read before the fault, and those
    // commands still get their grouped state; groups with absent commands are fine.
    void badFiles_data()
    {
        QTest::addColumn<QByteArray>("contents");   // null: the file is not created
        QTest::addColumn<QStringList>("texts");     // %1 stands for the path
        QTest::addColumn<QStringList>("readSoFar");
        const QStringList none, parse{"Parsing error for file %1"};
        QTest::newRow("missing") << QByteArray() << QStringList{"Cannot open file %1"} + parse << none;
        QTest::newRow("unclosed") << QByteArray("<c><Action name='Save'/><Action name='Exit'") << parse
                                  << QStringList{"Save"};
        QTest::newRow("notxml") << QByteArray("Save = g1\n") << parse << none;
        QTest::newRow("noactions") << QByteArray("<c/>") << none << none;
    }

    void badFiles()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QStringList, texts);
        QFETCH(QStringList, readSoFar);
        const QString name = QString("bad-%1.xml").arg(QTest::currentDataTag());
        const QString path = contents.isNull() ? m_dir.filePath(name) : writeFile(name, contents, false);
        VellActionManager manager;
        manager.loadContext(path);

        QStringList shown;
        for (const VellMessageBox::Message &box : qAsConst(m_boxes)) {
            QCOMPARE(box.kind, VellMessageBox::Critical);
            QCOMPARE(box.title, QStringLiteral("Critical Error"));
            shown << box.text;
        }
        QCOMPARE(shown, texts.replaceInStrings("%1", path));
        QCOMPARE(manager.findChildren<QAction *>().size(), readSoFar.size());
        for (const QString &name : qAsConst(readSoFar)) {
            const QAction *action = manager.getActionByName(name);
            QVERIFY2(action, qPrintable(name));
            QVERIFY2(!action->isEnabled(), qPrintable(name));
            QVERIFY(!manager.setEnabled(name.toLower(), true));   // names match exactly
            QVERIFY(manager.setEnabled(name, true));
            QVERIFY(action->isEnabled());
        }
        QVERIFY(!manager.setEnabled(QStringLiteral("Exit"), true));
        QVERIFY(!manager.setEnabled(QString(), true));
        QVERIFY(manager.setEnabled(0, true));   // absent ones skipped
        QVERIFY(manager.setEnabled(42, false));
    }

    void sharedInstanceLoadsOnce()
    {
        VellActionManager *manager = VellActionManager::getInstance(writeFile("a.xml", "<Action name='Save'/>"));
        QVERIFY(manager);
        QVERIFY(!manager->parent());
        QVERIFY(manager->getActionByName("Save"));
        QCOMPARE(VellActionManager::getInstance(writeFile("b.xml", "<Action name='Open'/>")), manager);
        QCOMPARE(VellActionManager::getInstance(QString()), manager);
        QVERIFY(m_boxes.isEmpty());
        QVERIFY(!manager->getActionByName("Open"));
    }

private:
    QString writeFile(const QString &name, const QByteArray &body, bool wrap = true)
    {
        const QString path = m_dir.filePath(name);
        if (!vellt2::writeFile(path, wrap ? "<c>" + body + "</c>" : body))
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }

    QTemporaryDir m_dir;
    QList<VellMessageBox::Message> m_boxes;
};

QTEST_MAIN(TestVellActionManager)
#include "tst_vellactionmanager.moc"
