#include "foundation/vellmessagebox.h"
#include "presets/vellactionmanager.h"

#include <QAction>
#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using StringMap = QMap<QString, QString>;
Q_DECLARE_METATYPE(StringMap)

namespace {

QByteArray commandFile(const QByteArray &body)
{
    return "<?xml version=\"1.0\"?>\n<Commands>\n" + body + "</Commands>\n";
}

} // namespace

class TestVellActionManager : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void lookups();
    void replacement_data();
    void replacement();
    void stateAfterLoad_data();
    void stateAfterLoad();
    void setEnabledByName();
    void setEnabledByGroup_data();
    void setEnabledByGroup();
    void groupTable_data();
    void groupTable();
    void badFiles_data();
    void badFiles();
    void sharedInstanceLoadsOnce();

private:
    QString writeFile(const QString &name, const QByteArray &contents);

    QTemporaryDir m_dir;
    QList<VellMessageBox::Message> m_boxes;
    VellMessageBox::Presenter m_previousPresenter;
};

QString TestVellActionManager::writeFile(const QString &name, const QByteArray &contents)
{
    const QString path = m_dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

void TestVellActionManager::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_previousPresenter = VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
        m_boxes.append(m);
        return QMessageBox::Ok;
    });
}

void TestVellActionManager::init()
{
    m_boxes.clear();
}

void TestVellActionManager::cleanupTestCase()
{
    VellMessageBox::setPresenter(m_previousPresenter);
}

void TestVellActionManager::lookups()
{
    QFile source(QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml"));
    QVERIFY(source.open(QIODevice::ReadOnly));
    QDomDocument document;
    QVERIFY(document.setContent(&source));

    VellActionManager manager;
    manager.loadContext(source.fileName());
    QVERIFY(m_boxes.isEmpty());

    int entries = 0;
    for (QDomElement e = document.documentElement().firstChildElement(); !e.isNull();
         e = e.nextSiblingElement(), ++entries) {
        const QString name = e.attribute("name"), guid = e.attribute("guid");
        QVERIFY2(!guid.isEmpty(), qPrintable(name));
        QAction *action = manager.getAction(guid);
        QVERIFY2(action, qPrintable(name));
        QCOMPARE(manager.getActionByName(name), action);
        QCOMPARE(action->text(), name);
        QCOMPARE(action->data().toString(), guid);
        QCOMPARE(action->parent(), &manager);
        QCOMPARE(manager.getGuidByName(name), guid);
        QCOMPARE(manager.getNameByGuid(guid), name);
    }
    QCOMPARE(manager.findChildren<QAction *>().size(), entries);
    for (int group = 0; group <= 8; ++group)
        for (const QString &name : VellActionManager::getActionNames(group))
            QVERIFY2(manager.getActionByName(name), qPrintable(name + " missing from commands.xml"));

    QVERIFY(!manager.getAction("{no such guid}"));
    QVERIFY(!manager.getActionByName("No Such Command"));
    QVERIFY(manager.getGuidByName("No Such Command").isEmpty());
    QVERIFY(manager.getNameByGuid("{no such guid}").isEmpty());
}

// Each table keeps the last entry for a key; an action displaced from one
// table no longer answers the cross lookups through the other.
void TestVellActionManager::replacement_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<StringMap>("guidByName");
    QTest::addColumn<StringMap>("nameByGuid");
    QTest::addColumn<StringMap>("textAtGuid");
    QTest::addColumn<int>("actionCount");

    QTest::newRow("other tags and nested actions ignored")
        << QByteArray("<Action name=\"Save\" guid=\"g1\"/><Menu name=\"File\" guid=\"m\">"
                      "<Action name=\"Open\" guid=\"g2\"/></Menu>")
        << StringMap{{"Save", "g1"}, {"Open", ""}, {"File", ""}}
        << StringMap{{"g1", "Save"}, {"g2", ""}, {"m", ""}}
        << StringMap{{"g1", "Save"}} << 1;
    QTest::newRow("same name, new guid")
        << QByteArray("<Action name=\"Save\" guid=\"g1\"/><Action name=\"Save\" guid=\"g2\"/>")
        << StringMap{{"Save", "g2"}}
        << StringMap{{"g1", ""}, {"g2", "Save"}}
        << StringMap{{"g1", "Save"}, {"g2", "Save"}} << 2;
    QTest::newRow("same guid, new name")
        << QByteArray("<Action name=\"Save\" guid=\"g1\"/><Action name=\"Print\" guid=\"g1\"/>")
        << StringMap{{"Save", ""}, {"Print", "g1"}}
        << StringMap{{"g1", "Print"}}
        << StringMap{{"g1", "Print"}} << 2;
    QTest::newRow("guid missing twice")
        << QByteArray("<Action name=\"Save\"/><Action name=\"Print\"/>")
        << StringMap{{"Save", ""}, {"Print", ""}}
        << StringMap{{"", "Print"}}
        << StringMap{{"", "Print"}} << 2;
    QTest::newRow("no attributes")
        << QByteArray("<Action/>")
        << StringMap{{"", ""}} << StringMap{{"", ""}} << StringMap{{"", ""}} << 1;
}

void TestVellActionManager::replacement()
{
    QFETCH(QByteArray, body);
    QFETCH(StringMap, guidByName);
    QFETCH(StringMap, nameByGuid);
    QFETCH(StringMap, textAtGuid);
    QFETCH(int, actionCount);

    VellActionManager manager;
    manager.loadContext(writeFile("replacement.xml", commandFile(body)));
    QVERIFY(m_boxes.isEmpty());
    QCOMPARE(manager.findChildren<QAction *>().size(), actionCount);

    for (auto it = guidByName.cbegin(); it != guidByName.cend(); ++it)
        QCOMPARE(manager.getGuidByName(it.key()), it.value());
    for (auto it = nameByGuid.cbegin(); it != nameByGuid.cend(); ++it)
        QCOMPARE(manager.getNameByGuid(it.key()), it.value());
    for (auto it = textAtGuid.cbegin(); it != textAtGuid.cend(); ++it) {
        QAction *action = manager.getAction(it.key());
        QVERIFY2(action, qPrintable(it.key()));
        QCOMPARE(action->text(), it.value());
        QCOMPARE(action->data().toString(), it.key());
    }
}

void TestVellActionManager::stateAfterLoad_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<bool>("enabled");

    for (int group = 0; group <= 5; ++group)
        QTest::addRow("group %d disabled", group) << VellActionManager::getActionNames(group) << false;
    QTest::newRow("group 7 enabled") << VellActionManager::getActionNames(7) << true;
    QTest::newRow("group 8 enabled") << VellActionManager::getActionNames(8) << true;
    QTest::newRow("no group, enabled")
        << QStringList{"New", "Open", "Paste", "Exit", "About"} << true;
}

void TestVellActionManager::stateAfterLoad()
{
    QFETCH(QStringList, names);
    QFETCH(bool, enabled);

    VellActionManager manager;
    manager.loadContext(QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml"));
    for (const QString &name : names) {
        QAction *action = manager.getActionByName(name);
        QVERIFY2(action, qPrintable(name));
        QVERIFY2(action->isEnabled() == enabled, qPrintable(name));
    }

    // Turning everything on and resetting must land in the same state.
    for (int group = 0; group <= 8; ++group)
        manager.setEnabled(group, true);
    manager.initActionStatus();
    for (const QString &name : names)
        QVERIFY2(manager.getActionByName(name)->isEnabled() == enabled, qPrintable(name));
}

void TestVellActionManager::setEnabledByName()
{
    VellActionManager manager;
    manager.loadContext(writeFile("byname.xml", commandFile("<Action name=\"Save\" guid=\"g1\"/>"
                                                            "<Action name=\"Exit\" guid=\"g2\"/>")));
    QVERIFY(manager.setEnabled(QStringLiteral("Save"), true));   // grouped: off after loading
    QVERIFY(manager.getActionByName("Save")->isEnabled());
    QVERIFY(manager.setEnabled(QStringLiteral("Exit"), false));
    QVERIFY(!manager.getActionByName("Exit")->isEnabled());
    QVERIFY(!manager.setEnabled(QStringLiteral("save"), true));  // names match exactly
    QVERIFY(!manager.setEnabled(QString(), true));
    QVERIFY(!manager.getActionByName("save"));
    QVERIFY(m_boxes.isEmpty());
}

void TestVellActionManager::setEnabledByGroup_data()
{
    QTest::addColumn<int>("group");
    QTest::addColumn<bool>("enable");
    QTest::addColumn<QStringList>("changed");

    QTest::newRow("group 5 with only Inverse defined") << 5 << true << QStringList{"Inverse"};
    QTest::newRow("group 0 with gaps") << 0 << true << QStringList{"Print", "Reload"};
    QTest::newRow("group 7 off") << 7 << false << QStringList{"Brush Tool"};
    QTest::newRow("group with nothing defined") << 1 << true << QStringList{};
    QTest::newRow("unknown group") << 42 << false << QStringList{};
}

void TestVellActionManager::setEnabledByGroup()
{
    QFETCH(int, group);
    QFETCH(bool, enable);
    QFETCH(QStringList, changed);

    VellActionManager manager;
    manager.loadContext(writeFile("bygroup.xml", commandFile(
        "<Action name=\"Print\" guid=\"g1\"/><Action name=\"Reload\" guid=\"g2\"/>"
        "<Action name=\"Inverse\" guid=\"g3\"/><Action name=\"Brush Tool\" guid=\"g4\"/>"
        "<Action name=\"About\" guid=\"g5\"/>")));
    QHash<QString, bool> before;
    for (QAction *action : manager.findChildren<QAction *>())
        before.insert(action->text(), action->isEnabled());

    QVERIFY(manager.setEnabled(group, enable));
    for (QAction *action : manager.findChildren<QAction *>()) {
        const bool want = changed.contains(action->text()) ? enable : before.value(action->text());
        QVERIFY2(action->isEnabled() == want, qPrintable(action->text()));
    }
}

void TestVellActionManager::groupTable_data()
{
    QTest::addColumn<int>("group");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("0") << 0 << QStringList{"Save", "Print", "Save As", "Open as a Layer",
        "Close Current Document", "Reload", "Save As PDF", "Save As EPS"};
    QTest::newRow("1") << 1 << QStringList{"Undo", "Redo"};
    QTest::newRow("2") << 2 << QStringList{"Copy", "Cut", "Delete", "Copy to file"};
    QTest::newRow("3") << 3 << QStringList{"Clip", "Image Size", "Rotate 90 Degrees CW",
        "Rotate 90 Degrees CCW", "Rotate 180 Degrees", "Flip Canvas Horizontal",
        "Flip Canvas Vertical", "Image EXIF", "Image Attributes"};
    QTest::newRow("4") << 4 << QStringList{"Magic Select Tool", "Rectangular Marquee Tool",
        "Polygonal Lasso Tool", "Lasso Tool", "Ellipse Select Tool", "Color Range",
        "Select All", "Extract Tool"};
    QTest::newRow("5, Feather twice") << 5 << QStringList{"Inverse", "Feather", "Deselect",
        "Move Selection", "Feather"};
    QTest::newRow("6 empty") << 6 << QStringList{};
    QTest::newRow("7") << 7 << QStringList{"Brush Tool", "Eraser Tool", "Pencil Tool",
        "Red Eye Tool", "Dodge Tool", "Burn Tool", "Blur Brush Tool", "Sharpen Brush Tool",
        "Smudge Tool", "Bucket Tool", "Repair Tool", "Clone Stamp"};
    QTest::newRow("8") << 8 << QStringList{"Text Tool"};
    QTest::newRow("42 empty") << 42 << QStringList{};
    QTest::newRow("-1 empty") << -1 << QStringList{};
}

void TestVellActionManager::groupTable()
{
    QFETCH(int, group);
    QFETCH(QStringList, names);
    QCOMPARE(VellActionManager::getActionNames(group), names);
}

// A malformed file keeps what the parser read before the fault, and those
// commands still get their grouped state.
void TestVellActionManager::badFiles_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("contents");   // null: the file is not created
    QTest::addColumn<QStringList>("texts");     // %1 stands for the path
    QTest::addColumn<QStringList>("readSoFar");

    QTest::newRow("missing file") << "missing.xml" << QByteArray()
        << QStringList{"Cannot open file %1", "Parsing error for file %1"} << QStringList{};
    QTest::newRow("root never closed") << "unclosed.xml"
        << QByteArray("<Commands><Action name=\"Save\" guid=\"g1\"/><Action name=\"Exit\"")
        << QStringList{"Parsing error for file %1"} << QStringList{"Save"};
    QTest::newRow("not xml") << "text.xml" << QByteArray("Save = g1\n")
        << QStringList{"Parsing error for file %1"} << QStringList{};
    QTest::newRow("empty file") << "empty.xml" << QByteArray("")
        << QStringList{"Parsing error for file %1"} << QStringList{};
    QTest::newRow("root without actions") << "bare.xml" << QByteArray("<Commands/>")
        << QStringList{} << QStringList{};
}

void TestVellActionManager::badFiles()
{
    QFETCH(QString, fileName);
    QFETCH(QByteArray, contents);
    QFETCH(QStringList, texts);
    QFETCH(QStringList, readSoFar);

    const QString path = contents.isNull() ? m_dir.filePath(fileName) : writeFile(fileName, contents);
    VellActionManager manager;
    manager.loadContext(path);

    QCOMPARE(m_boxes.size(), texts.size());
    for (int i = 0; i < texts.size(); ++i) {
        QCOMPARE(m_boxes.at(i).kind, VellMessageBox::Critical);
        QCOMPARE(m_boxes.at(i).title, QStringLiteral("Critical Error"));
        QCOMPARE(m_boxes.at(i).text, texts.at(i).arg(path));
    }
    QCOMPARE(manager.findChildren<QAction *>().size(), readSoFar.size());
    for (const QString &name : readSoFar) {
        QVERIFY2(manager.getActionByName(name), qPrintable(name));
        QVERIFY2(!manager.getActionByName(name)->isEnabled(), qPrintable(name));
    }
    QVERIFY(!manager.getActionByName("Exit"));
    QVERIFY(!manager.setEnabled(QStringLiteral("Exit"), true));
    QVERIFY(manager.setEnabled(0, true));
}

void TestVellActionManager::sharedInstanceLoadsOnce()
{
    const QString first = writeFile("shared.xml", commandFile("<Action name=\"Save\" guid=\"g1\"/>"));
    VellActionManager *manager = VellActionManager::getInstance(first);
    QVERIFY(manager);
    QVERIFY(!manager->parent());
    QVERIFY(m_boxes.isEmpty());
    QCOMPARE(manager->getGuidByName("Save"), QStringLiteral("g1"));
    QVERIFY(!manager->getActionByName("Save")->isEnabled());

    const QString second = writeFile("other.xml", commandFile("<Action name=\"Open\" guid=\"g2\"/>"));
    QCOMPARE(VellActionManager::getInstance(second), manager);
    QCOMPARE(VellActionManager::getInstance(m_dir.filePath("missing.xml")), manager);
    QCOMPARE(VellActionManager::getInstance(QString()), manager);
    QVERIFY(m_boxes.isEmpty());
    QVERIFY(!manager->getActionByName("Open"));
    QCOMPARE(manager->findChildren<QAction *>().size(), 1);
}

QTEST_MAIN(TestVellActionManager)
#include "tst_vellactionmanager.moc"
