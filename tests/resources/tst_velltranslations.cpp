// The translations of the library and of the example plug-ins: every text of
// the .ts sources reaches the compiled resources translated and with its
// placeholders intact, a plug-in's setInternational installs its own, and
// the language of the settings file decides what the library's code says.
#include "foundation/velldatalocation.h"
#include "picture/vellpicturereader.h"
#include "tools/vellinternational.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLibrary>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSet>
#include <QSettings>
#include <QStandardPaths>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

#include <memory>

namespace {

const char *const languages[] = {"zh_CN", "zh_TW", "de_DE", "es_ES", "fr_FR", "ja_JP", "ko_KR"};

// One <message> of a .ts file.
struct TsMessage
{
    QString context;
    QString source;
    QString comment;        // the disambiguation, empty when none
    QStringList forms;      // the translation, or each plural form
    QString type;           // "unfinished", "vanished", "obsolete" or empty
    bool numerus = false;

    QString where() const { return context + QStringLiteral(": \"") + source + QLatin1Char('"'); }
};

struct TsFile
{
    QString language;
    QList<TsMessage> messages;
    QString error;          // empty when the file was read whole
};

TsFile readTs(const QString &path)
{
    TsFile ts;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        ts.error = QStringLiteral("cannot open ") + path;
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QStringRef name = xml.name();
        if (name == QLatin1String("TS")) {
            ts.language = xml.attributes().value(QLatin1String("language")).toString();
        } else if (name == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (name == QLatin1String("message")) {
            TsMessage message;
            message.context = context;
            message.numerus = xml.attributes().value(QLatin1String("numerus")) == QLatin1String("yes");
            while (xml.readNextStartElement()) {
                const QStringRef part = xml.name();
                if (part == QLatin1String("source")) {
                    message.source = xml.readElementText();
                } else if (part == QLatin1String("comment")) {
                    message.comment = xml.readElementText();
                } else if (part == QLatin1String("translation")) {
                    message.type = xml.attributes().value(QLatin1String("type")).toString();
                    if (!message.numerus)
                        message.forms << xml.readElementText();
                    while (message.numerus && xml.readNextStartElement())
                        message.forms << xml.readElementText();
                } else {
                    xml.skipCurrentElement();
                }
            }
            ts.messages << message;
        }
    }
    if (xml.hasError() && ts.error.isEmpty())
        ts.error = path + QStringLiteral(": ") + xml.errorString();
    return ts;
}

// The .ts sources of one translated module, "<prefix><code>.ts", and for a
// plug-in the built shared object whose resources hold the compiled files.
struct TranslatedModule
{
    const char *name;
    const char *tsPrefix;
    const char *plugin;     // null for the library
};

const TranslatedModule modules[] = {
    {"library", VELL_SOURCE_DIR "/src/resources/translations/vellcore_", nullptr},
    {"invert", VELL_SOURCE_DIR "/plugins/invert/translations/invert_",
     VELL_BINARY_DIR "/apps/vell/tools/invert/invert.mt"},
    {"brightnesscontrast", VELL_SOURCE_DIR "/plugins/brightnesscontrast/translations/brightnesscontrast_",
     VELL_BINARY_DIR "/apps/vell/tools/brightnesscontrast/brightnesscontrast.mt"},
};

using SetLanguageFunction = void (*)(QString);

// The messages of a .ts file by context, source and comment; a message
// listed twice is named in *twice.
QSet<QString> messageKeys(const TsFile &ts, QString *twice)
{
    QSet<QString> keys;
    for (const TsMessage &message : ts.messages) {
        const QString key = message.where() + QLatin1Char('/') + message.comment;
        if (keys.contains(key))
            *twice += key + QLatin1Char(' ');
        keys.insert(key);
    }
    return keys;
}

// The distinct placeholders of a text, in order ("%1", "%2"...).
QStringList placeholders(const QString &text)
{
    static const QRegularExpression marker(QStringLiteral("%(\\d+)"));
    QStringList found;
    auto it = marker.globalMatch(text);
    while (it.hasNext())
        found << it.next().captured(0);
    found.removeDuplicates();
    found.sort();
    return found;
}

// Full-width punctuation ends a Chinese, Japanese or Korean fragment without
// the space a Latin one needs before the next piece.
bool endsInWidePunctuation(const QString &text)
{
    if (text.isEmpty())
        return false;
    const ushort last = text.back().unicode();
    return (last >= 0x3000 && last <= 0x303f) || (last >= 0xff00 && last <= 0xffef);
}

// Whether a translation keeps what the code relies on; empty
// when it does, else the reason.
QString checkTranslation(const QString &source, const QString &translation)
{
    if (translation.trimmed().isEmpty())
        return QStringLiteral("empty translation");
    if (placeholders(translation) != placeholders(source))
        return QStringLiteral("placeholders %1 instead of %2")
            .arg(placeholders(translation).join(QLatin1Char(' ')), placeholders(source).join(QLatin1Char(' ')));
    if (translation.count(QLatin1Char('"')) != source.count(QLatin1Char('"')))
        return QStringLiteral("quotes differ from the source");
    // Texts the code glues to others keep their trailing space.
    if (source.endsWith(QLatin1Char(' ')) && !translation.endsWith(QLatin1Char(' '))
        && !endsInWidePunctuation(translation))
        return QStringLiteral("lost the trailing space");
    return QString();
}

void writeLanguage(const QString &code)
{
    QDir().mkpath(VellDataLocation::path());
    QSettings settings(VellDataLocation::configFile(), QSettings::IniFormat);
    settings.setValue(QStringLiteral("language"), code);
}

} // namespace

class TestVellTranslations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void cleanupTestCase() { QFile::remove(VellDataLocation::configFile()); }

    void everyMessageTranslated_data()
    {
        QTest::addColumn<QString>("tsPrefix");
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("plugin");
        for (const TranslatedModule &module : modules)
            for (const char *language : languages)
                QTest::addRow("%s %s", module.name, language) << QString::fromUtf8(module.tsPrefix)
                    << QString::fromLatin1(language) << QString::fromUtf8(module.plugin);
    }

    // Each message of a .ts source is finished and keeps the source's
    // placeholders and quotes, and once the compiled file is installed (by the
    // plug-in's own setInternational for a plug-in) the application says
    // exactly what the source says: a stale or partly compiled resource would
    // not. The files are updated together: a text missing from one language
    // would show in English there.
    void everyMessageTranslated()
    {
        QFETCH(QString, tsPrefix);
        QFETCH(QString, language);
        QFETCH(QString, plugin);
        const TsFile ts = readTs(tsPrefix + language + QStringLiteral(".ts"));
        const TsFile first = readTs(tsPrefix + QLatin1String(languages[0]) + QStringLiteral(".ts"));
        QVERIFY2(ts.error.isEmpty(), qPrintable(ts.error));
        QCOMPARE(ts.language, language);
        QVERIFY(!ts.messages.isEmpty());
        QString twice;
        const QSet<QString> keys = messageKeys(ts, &twice), firstKeys = messageKeys(first, &twice);
        QVERIFY2(twice.isEmpty(), qPrintable(QStringLiteral("listed twice: ") + twice));
        QCOMPARE(QStringList((keys - firstKeys).values()), QStringList());   // only in this language
        QCOMPARE(QStringList((firstKeys - keys).values()), QStringList());   // lacking here

        QTranslator core;
        SetLanguageFunction setPluginLanguage = nullptr;
        // Gives a plug-in's language back to English however the test leaves.
        const auto english = qScopeGuard([&] { if (setPluginLanguage) setPluginLanguage(QStringLiteral("en")); });
        if (plugin.isEmpty()) {
            QVERIFY(core.load(":/Resources/vellcore_" + language + ".qm", QString(), QString(), QString()));
            QVERIFY(QCoreApplication::installTranslator(&core));   // the destructor removes it
        } else {
            QLibrary library(plugin);   // stays loaded: a QLibrary does not unload when it goes
            QVERIFY2(library.load(), qPrintable(library.errorString()));
            setPluginLanguage = reinterpret_cast<SetLanguageFunction>(library.resolve("setInternational"));
            QVERIFY2(setPluginLanguage, qPrintable(plugin + QStringLiteral(" exports no setInternational")));
            setPluginLanguage(language);
        }
        for (const TsMessage &message : ts.messages) {
            const QByteArray context = message.context.toUtf8();
            const QByteArray source = message.source.toUtf8();
            const QByteArray comment = message.comment.toUtf8();
            const QByteArray where = message.where().toUtf8();
            QVERIFY2(message.type.isEmpty(), where + " is " + message.type.toUtf8());
            QVERIFY2(!message.forms.isEmpty(), where);
            for (const QString &form : message.forms) {
                const QString why = checkTranslation(message.source, form);
                QVERIFY2(why.isEmpty(), where + ": " + why.toUtf8());
            }
            for (int n : message.numerus ? QVector<int>{1, 2, 5} : QVector<int>{-1}) {
                const QString shown =
                    QCoreApplication::translate(context.constData(), source.constData(), comment.constData(), n);
                QVERIFY2(message.forms.contains(shown), where + ": " + shown.toUtf8());
            }
        }
        if (setPluginLanguage) {
            // A language without a file takes the plug-in's translation away again.
            setPluginLanguage(QStringLiteral("en"));
            const TsMessage &first = ts.messages.first();
            QCOMPARE(QCoreApplication::translate(first.context.toUtf8().constData(), first.source.toUtf8().constData()),
                     first.source);
        }
    }

    void languageFromSettings_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("context");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("expected");
        const auto add = [](const char *language, const char *context, const char *source, const char *expected) {
            QTest::addRow("%s %s", language, source) << QString::fromLatin1(language) << QString::fromLatin1(context)
                                                     << QString::fromLatin1(source) << QString::fromUtf8(expected);
        };
        const char *const mask = "This tool doesn't support layer mask.", *const memory = "Out of Memory!";
        add("zh_CN", "VellToolBase", mask, "此工具不支持图层蒙版。");
        add("zh_CN", "VellPictureReader", "no file name", "未指定文件名");
        add("zh_CN", "VellMemory", memory, "内存不足！");
        add("zh_CN", "VellLayerBase", "Multiply", "正片叠底");
        add("zh_CN", "VellHistory", "System is undoing, please wait!", "系统正在撤销，请稍候！");
        add("zh_TW", "VellToolBase", mask, "此工具不支援圖層遮色片。");
        add("zh_TW", "VellPictureReader", "no file name", "未指定檔案名稱");
        add("zh_TW", "VellMemory", memory, "記憶體不足！");
        add("zh_TW", "VellLayerMaskInvertMemo", "Invert Mask", "反轉遮色片");
        add("zh_TW", "VellContext", "Untitled Document", "未命名文件");
        add("de_DE", "VellToolBase", mask, "Dieses Werkzeug unterstützt keine Ebenenmasken.");
        add("de_DE", "VellPictureReader", "no file name", "kein Dateiname");
        add("de_DE", "VellMemory", memory, "Nicht genügend Arbeitsspeicher!");
        add("de_DE", "VellLayerBase", "Screen", "Negativ multiplizieren");
        add("de_DE", "VellToolBase", "Warning", "Warnung");
        add("es_ES", "VellToolBase", mask, "Esta herramienta no admite máscaras de capa.");
        add("es_ES", "VellPictureReader", "no file name", "sin nombre de archivo");
        add("es_ES", "VellMemory", memory, "¡Memoria insuficiente!");
        add("es_ES", "VellSelectionMemo", "Selection Operation", "Operación de selección");
        add("es_ES", "VellToolBase", "\"%1\" already exists, overwrite it?", "\"%1\" ya existe. ¿Desea sobrescribirlo?");
        add("fr_FR", "VellToolBase", mask, "Cet outil ne prend pas en charge les masques de calque.");
        add("fr_FR", "VellPictureReader", "no file name", "aucun nom de fichier");
        add("fr_FR", "VellMemory", memory, "Mémoire insuffisante !");
        add("fr_FR", "VellContext", "Untitled Document", "Document sans titre");
        add("fr_FR", "VellPictureReader", "its picture of %1 x %2 pixels is too large to open",
            "son image de %1 x %2 pixels est trop grande pour être ouverte");
        add("ja_JP", "VellToolBase", mask, "このツールはレイヤーマスクに対応していません。");
        add("ja_JP", "VellPictureReader", "no file name", "ファイル名がありません");
        add("ja_JP", "VellMemory", memory, "メモリが不足しています！");
        add("ja_JP", "VellLayerBase", "Darken", "比較（暗）");
        add("ja_JP", "VellToolBase", "Default Name", "デフォルト名");
        add("ko_KR", "VellToolBase", mask, "이 도구는 레이어 마스크를 지원하지 않습니다.");
        add("ko_KR", "VellPictureReader", "no file name", "파일 이름이 없습니다");
        add("ko_KR", "VellMemory", memory, "메모리가 부족합니다!");
        add("ko_KR", "VellSparseModifyMemo", "Painting Operation", "페인팅 작업");
        add("ko_KR", "VellInputDialog", "Cancel", "취소");
        // English is the source language and has no resource of its own.
        add("en", "VellToolBase", mask, mask);
        add("en", "VellPictureReader", "no file name", "no file name");
    }

    // The code stored in config.ini picks the translation that setInternational
    // installs, and the library's own messages then come out in that language.
    void languageFromSettings()
    {
        QFETCH(QString, language);
        QFETCH(QString, context);
        QFETCH(QString, source);
        writeLanguage(language);
        const std::unique_ptr<QTranslator> translator(setInternational());   // uninstalls when deleted
        QCOMPARE(bool(translator), language != QLatin1String("en"));
        QTEST(QCoreApplication::translate(context.toUtf8().constData(), source.toUtf8().constData()), "expected");
        QString error;
        QVERIFY(VellPictureReader::readImageFile(QString(), &error).isNull());
        QCOMPARE(error, QCoreApplication::translate("VellPictureReader", "no file name"));
    }
};

QTEST_GUILESS_MAIN(TestVellTranslations)
#include "tst_velltranslations.moc"
