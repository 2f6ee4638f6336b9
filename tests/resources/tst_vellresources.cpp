#include "foundation/vellendecodetool.h"

#include <QCoreApplication>
#include <QFile>
#include <QTranslator>
#include <QtTest>

// The resources compiled into the library: translations for seven languages
// and the key text the shaders are enciphered with.
class TestVellResources : public QObject
{
    Q_OBJECT

private slots:
    void translations_data();
    void translations();
    void keyText();
};

void TestVellResources::translations_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("outOfMemory");
    QTest::newRow("zh_CN") << "zh_CN" << QString::fromUtf8("内存不足！");
    QTest::newRow("zh_TW") << "zh_TW" << QString::fromUtf8("記憶體不足！");
    QTest::newRow("de_DE") << "de_DE" << QString::fromUtf8("Nicht genügend Arbeitsspeicher!");
    QTest::newRow("es_ES") << "es_ES" << QString::fromUtf8("¡Memoria insuficiente!");
    QTest::newRow("fr_FR") << "fr_FR" << QString::fromUtf8("Mémoire insuffisante !");
    QTest::newRow("ja_JP") << "ja_JP" << QString::fromUtf8("メモリが不足しています！");
    QTest::newRow("ko_KR") << "ko_KR" << QString::fromUtf8("메모리가 부족합니다!");
}

void TestVellResources::translations()
{
    QFETCH(QString, language);
    QFETCH(QString, outOfMemory);
    QTranslator translator;
    QVERIFY(translator.load(":/Resources/vellcore_" + language + ".qm", QString(), QString(), QString()));
    QCOMPARE(translator.translate("VellMemory", "Out of Memory!"), outOfMemory);
    const QList<QPair<const char *, const char *>> shown = {
        {"VellActionManager", "Cannot open file %1"},
        {"VellGLTexture", "Out of memory!"},
        {"VellLayerBase", "Color Burn"},
        {"VellLayerBase", "Luminosity"},
    };
    for (const auto &text : shown)
        QVERIFY2(!translator.translate(text.first, text.second).isEmpty(), text.second);
}

void TestVellResources::keyText()
{
    // Also what makes this program load the library, and so its resources.
    QString key;
    QVERIFY(VellEnDecodeTool::VellGetMM(key));
    QVERIFY(key.size() >= 8);   // DES uses the first 8 bytes
    // English is the source language: no resource for it, none for an empty code.
    QVERIFY(!QFile::exists(":/Resources/vellcore_.qm"));
    QVERIFY(!QFile::exists(":/Resources/vellcore_en.qm"));
}

QTEST_GUILESS_MAIN(TestVellResources)
#include "tst_vellresources.moc"
