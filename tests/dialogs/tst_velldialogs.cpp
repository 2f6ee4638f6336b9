#include "dialogs/vellinputdialog.h"
#include "dialogs/vellpixelatetextlayerwidget.h"
#include "dialogs/vellreadimageresizewidget.h"
#include "foundation/vellglobalsettings.h"

#include <QAbstractButton>
#include <QLabel>
#include <QTimer>
#include <QTranslator>
#include <QtTest>

namespace {

QLineEdit *edit(QObject *dialog, const QString &name) { return dialog->findChild<QLineEdit *>(name); }

// Title, labels, buttons and group titles, sorted.
QStringList shownTexts(QWidget *dialog)
{
    QStringList texts = {dialog->windowTitle()};
    for (QObject *child : dialog->findChildren<QObject *>())
        if (!qobject_cast<QLineEdit *>(child))
            texts << child->property("text").toString() << child->property("title").toString();
    texts.removeAll(QString());
    texts.sort();
    return texts;
}

} // namespace

class TestVellDialogs : public QObject
{
    Q_OBJECT

private slots:
    void getText_data()
    {
        QTest::addColumn<QString>("typed");    // after the initial "Soft"
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("result");   // null when cancelled, "" when accepted empty
        QTest::newRow("separators and dots refused") << " glow/\\:.!-2_b" << "okBtn" << "Soft glow-2_b";
        QTest::newRow("cut at 50") << QString(60, 'x') << "okBtn" << "Soft" + QString(46, 'x');
        QTest::newRow("accepted empty") << "\b\b\b\b" << "okBtn" << "";
        QTest::newRow("cancelled") << "x" << "cancelBtn" << QString();
    }
    void getText()
    {
        QFETCH(QString, typed);
        QFETCH(QString, button);
        QFETCH(QString, result);
        QStringList seen;
        QTimer::singleShot(0, [&] {
            auto *dialog = qobject_cast<VellInputDialog *>(QApplication::activeModalWidget());
            QLineEdit *line = edit(dialog, "lineEdit");
            seen << dialog->windowTitle() << dialog->findChild<QLabel *>()->text() << QString::number(line->echoMode());
            QTest::keyClicks(line, typed);
            dialog->findChild<QAbstractButton *>(button)->click();
        });
        bool ok = result.isNull();
        const QString text = VellInputDialog::getText(nullptr, "Save", "Name:", QLineEdit::Password, "Soft", &ok);
        QCOMPARE(seen, QStringList({"Save", "Name:", QString::number(QLineEdit::Password)}));
        QCOMPARE(ok, !result.isNull());
        QCOMPARE(text, result);
        QCOMPARE(text.isNull(), result.isNull());
    }

    void resize_data()
    {
        // Side limits 7200; expected sizes worked out by hand.
        QTest::addColumn<QSize>("original");
        QTest::addColumn<int>("pixelLimit");   // in 2^20 pixels
        QTest::addColumn<QString>("field");    // the edit typed into after clearing it, if any
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QSize>("resized");
        QTest::newRow("width binds") << QSize(10000, 5000) << 40 << "" << "" << QSize(7200, 3600);
        QTest::newRow("height binds") << QSize(5000, 10000) << 40 << "" << "" << QSize(3600, 7200);
        QTest::newRow("pixels bind: 7000 * 0.92519") << QSize(7000, 7000) << 40 << "" << "" << QSize(6476, 6476);
        QTest::newRow("limit side exact (doubles: 7199)") << QSize(8467, 100) << 400 << "" << "" << QSize(7200, 85);
        QTest::newRow("thin side at least 1") << QSize(100000, 1) << 40 << "" << "" << QSize(7200, 1);
        QTest::newRow("width sets height") << QSize(10000, 5000) << 40 << "widthEdit" << "3600" << QSize(3600, 1800);
        QTest::newRow("height sets width") << QSize(10000, 5000) << 40 << "heightEdit" << "1000" << QSize(2000, 1000);
        QTest::newRow("exact (doubles: 6 wide, 2 high)") << QSize(10000, 5000) << 40 << "widthEdit" << "6" << QSize(6, 3);
        QTest::newRow("no echo (2333 high maps to 6999)") << QSize(10000, 3333) << 40 << "widthEdit" << "7001" << QSize(7001, 2333);
        QTest::newRow("over the proposal refused") << QSize(10000, 5000) << 40 << "heightEdit" << "3700" << QSize(740, 370);
        QTest::newRow("emptied") << QSize(10000, 5000) << 40 << "widthEdit" << "" << QSize(1, 1);
    }
    void resize()
    {
        QFETCH(QSize, original);
        QFETCH(int, pixelLimit);
        QFETCH(QString, field);
        QFETCH(QString, typed);
        VellGlobalSettings::getInstance()->setImageLimitSize(QSize(7200, 7200));
        VellGlobalSettings::getInstance()->setImageLimitPixel(pixelLimit);
        VellReadImageResizeWidget dialog;
        dialog.setOriginalSize(original);
        if (!field.isEmpty()) {
            edit(&dialog, field)->clear();
            QTest::keyClicks(edit(&dialog, field), typed);
        }
        QTEST(dialog.getResizedSize(), "resized");
        dialog.findChild<QAbstractButton *>("okBtn")->click();
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }

    void expansion()
    {
        VellPixelateTextLayerWidget dialog;
        QVector<int> got(4);
        dialog.getExpansion(got[0], got[1], got[2], got[3]);
        QCOMPARE(got, QVector<int>({20, 20, 20, 20}));
        QVERIFY(!dialog.isExpandToCanvas());
        edit(&dialog, "leftEdit")->setText("abc");
        edit(&dialog, "topEdit")->setText("-3");
        dialog.findChild<QAbstractButton *>("expandCanvasCheck")->click();
        dialog.getExpansion(got[0], got[1], got[2], got[3]);
        QCOMPARE(got, QVector<int>({0, 20, -3, 20}));
        QVERIFY(dialog.isExpandToCanvas());
        dialog.findChild<QAbstractButton *>("cancelBtn")->click();
        QCOMPARE(dialog.result(), int(QDialog::Rejected));
    }

    void texts_data()
    {
        QTest::addColumn<QString>("language");   // empty: the source texts
        for (const char *language : {"", "zh_CN", "zh_TW", "de_DE", "es_ES", "fr_FR", "ja_JP", "ko_KR"})
            QTest::newRow(*language ? language : "source") << language;
    }
    void texts()
    {
        QFETCH(QString, language);
        QTranslator translator;
        if (!language.isEmpty()) {
            QVERIFY(translator.load(":/Resources/vellcore_" + language + ".qm"));
            QVERIFY(QCoreApplication::installTranslator(&translator));
        }
        VellInputDialog input;
        VellReadImageResizeWidget resize;
        VellPixelateTextLayerWidget pixelate;
        const QList<std::pair<QDialog *, QStringList>> sources = {
            {&input, {"Ok", "Cancel"}},
            {&resize, {"Resize Image", "The image exceeds the  maximum size your system supports.",
                "Please resize it before editing. This will not affect the\noriginal image.", "Resize to", "Width:",
                "Pixels", "Height:", "Pixels", "Ok", "Cancel"}},
            {&pixelate, {"Text Pixelation", "Pixelation Options", "Expand the text layer(in pixels)",
                "Left:", "Right:", "Top:", "Bottom:", "Expand to whole canvas", "Confirm to pixelate", "Cancel"}},
        };
        for (const auto &[dialog, texts] : sources) {
            QStringList want;
            for (const QString &source : texts)   // a missing translation comes back empty
                want << (language.isEmpty() ? source : translator.translate(dialog->metaObject()->className(), qPrintable(source)));
            want.sort();
            QCOMPARE(shownTexts(dialog), want);
        }
        QCoreApplication::removeTranslator(&translator);
    }
};

QTEST_MAIN(TestVellDialogs)
#include "tst_velldialogs.moc"
