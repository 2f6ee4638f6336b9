#include "canvas/vellblendreference.h"
#include "canvas/vellcanvas.h"
#include "dialogs/vellpixelatetextlayerwidget.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextcontrol.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "history/velllayermodifymemo.h"
#include "history/vellmemocanvasandlayerschange.h"
#include "picture/vellpicturehost.h"
#include "tools/ivelltool.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QTextBlock>
#include <QTextDocument>
#include <QtTest>

#include <memory>

namespace {

// Stands in for the text tool: the canvas only asks for its name.
class StandInTool : public IVellTool
{
public:
    explicit StandInTool(const QString &toolName) { name = toolName; }
    void active(VellContext *) override {}
    void disActive() override {}
    void init() override {}
    void release() override {}
};

QFont testFont()
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(16.0);
    return font;
}

// Premultiplied channels: where alpha is small the straight colour is mostly
// rounding, and only what a pixel contributes is worth comparing.
int premultipliedDifference(QRgb a, QRgb b)
{
    const auto pm = [](QRgb p, int c) { return (c * qAlpha(p) + 127) / 255; };
    return std::max({qAbs(qAlpha(a) - qAlpha(b)), qAbs(pm(a, qRed(a)) - pm(b, qRed(b))),
                     qAbs(pm(a, qGreen(a)) - pm(b, qGreen(b))), qAbs(pm(a, qBlue(a)) - pm(b, qBlue(b)))});
}

// Sends key presses to the controller: plain characters, and <Name> or
// <S-Name>/<C-Name> for a key with Shift or Control.
void typeInto(VellTextControl *control, const QString &keys)
{
    static const QMap<QString, int> named = {
        {"Left", Qt::Key_Left}, {"Right", Qt::Key_Right}, {"Home", Qt::Key_Home},
        {"End", Qt::Key_End}, {"BS", Qt::Key_Backspace}, {"Del", Qt::Key_Delete},
        {"Enter", Qt::Key_Return}, {"a", Qt::Key_A}};
    for (int i = 0; i < keys.size(); ++i) {
        int key = keys.at(i).toUpper().unicode();
        Qt::KeyboardModifiers modifiers = Qt::NoModifier;
        QString text = keys.at(i);
        if (keys.at(i) == '<') {
            const int close = keys.indexOf('>', i);
            QString name = keys.mid(i + 1, close - i - 1);
            if (name.startsWith("S-"))
                modifiers = Qt::ShiftModifier;
            if (name.startsWith("C-"))
                modifiers = Qt::ControlModifier;
            if (modifiers != Qt::NoModifier)
                name = name.mid(2);
            key = named.value(name);
            text = key == Qt::Key_Return ? QStringLiteral("\r") : QString();
            i = close;
        }
        QKeyEvent press(QEvent::KeyPress, key, modifiers, text);
        QCoreApplication::sendEvent(control, &press);
    }
}

} // namespace

class TestVellTextLayer : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    VellContextManager *contexts = nullptr;
    std::unique_ptr<VellContext> document;

    VellLayerManager *layers() const { return document->getLayerManager(); }

    void newDocument(int w, int h)
    {
        document.reset();
        canvas->makeCurrent();
        document = std::make_unique<VellContext>();
        contexts->addContext(document.get());
        contexts->setCurrentContext(contexts->indexOfContext(document.get()));
        canvas->reSizeCanvas(w, h, false);
        canvas->setScale(1.0f, false);
        canvas->moveToCenter(false);
        canvas->calcVisibleRect();
    }

    VellTextLayer *addText(const QString &text, const QPointF &at)
    {
        auto *layer = new VellTextLayer(QStringLiteral("Text"));
        layer->setFont(testFont());
        layer->setColor(QColor(200, 40, 10));
        layer->setText(text);
        layer->setPosition(at);
        layers()->addLayer(layer, false);
        return layer;
    }

    // Accepts the next pixelation dialog with the given margins.
    static void acceptPixelationDialog(int margin)
    {
        QTimer::singleShot(0, [margin] {
            auto *dialog = qobject_cast<VellPixelateTextLayerWidget *>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            for (const char *edit : {"leftEdit", "rightEdit", "topEdit", "bottomEdit"})
                dialog->findChild<QLineEdit *>(edit)->setText(QString::number(margin));
            dialog->on_okBtn_clicked();
        });
    }

private slots:
    void initTestCase()
    {
        contexts = VellContextManager::getInstance();
        canvas = VellCanvas::getInstance(64, 48);
        canvas->resize(320, 240);
        canvas->show();
        QVERIFY(QTest::qWaitForWindowExposed(canvas));
        QVERIFY(canvas->isValid());
        QVERIFY(QFontInfo(testFont()).family() == QStringLiteral("DejaVu Sans"));
    }
    void cleanup()
    {
        document.reset();
        VellGlobalSettings::getInstance()->streamReadVersion = 0;
        VellGlobalSettings::getInstance()->streamWriteVersion = 0;
    }
    void cleanupTestCase() { delete canvas; }

    // Pixelating with no margins gives a raster layer where the canvas draws
    // the text's quad, holding what renderToImage draws.
    void pixelationCoincidesWithTheQuad_data()
    {
        QTest::addColumn<int>("direction");
        QTest::addColumn<QSizeF>("scale");
        QTest::addColumn<bool>("vertical");
        QTest::newRow("plain") << 0 << QSizeF(1, 1) << false;
        QTest::newRow("stretched") << 0 << QSizeF(1.5, 0.75) << false;
        QTest::newRow("turned a quarter") << 90 << QSizeF(1, 1) << false;
        QTest::newRow("upside down, squeezed") << 180 << QSizeF(0.8, 1.25) << false;
        QTest::newRow("turned 30, stretched") << 30 << QSizeF(1.25, 1) << false;
        QTest::newRow("vertical") << 0 << QSizeF(1, 1) << true;
        QTest::newRow("vertical turned 300") << 300 << QSizeF(1, 1.5) << true;
    }
    void pixelationCoincidesWithTheQuad()
    {
        QFETCH(int, direction);
        QFETCH(QSizeF, scale);
        QFETCH(bool, vertical);
        newDocument(240, 200);
        VellTextLayer *text = addText(QStringLiteral("Vell\ngy"), QPointF(90, 90));
        text->setDirection(direction);
        text->setTextScale(scale);
        text->setVertical(vertical);
        text->setAlpha(0.75f);
        QVERIFY(text->getThumbTexture());

        const QRectF quad = text->getThumbQuadOnFbo(QPointF(0, 0), 1.0f).boundingRect();
        QVERIFY(!quad.isEmpty());
        QVERIFY2(QRectF(0, 0, 240, 200).contains(quad), qPrintable(QString("%1,%2 %3x%4").arg(quad.x()).arg(quad.y()).arg(quad.width()).arg(quad.height())));
        QImage reference(240, 200, QImage::Format_ARGB32);
        reference.fill(0);
        text->setAlpha(1.0f);
        text->renderToImage(&reference, document.get());
        text->setAlpha(0.75f);
        const int index = layers()->getLayerIndex(text);

        acceptPixelationDialog(0);
        layers()->pixelateTextLayer(text);
        auto *raster = qobject_cast<VellLayer *>(layers()->getLayer(index));
        QVERIFY(raster);
        QCOMPARE(raster->getLayerName(), QStringLiteral("Vell\ngy"));
        QCOMPARE(raster->getAlpha(), 0.75f);
        QVERIFY(qAbs(raster->getPosition().x() - quad.x()) <= 1);
        QVERIFY(qAbs(raster->getPosition().y() - quad.y()) <= 1);
        QVERIFY(qAbs(raster->getWidth() - quad.width()) <= 1);
        QVERIFY(qAbs(raster->getHeight() - quad.height()) <= 1);

        const QPoint at = raster->getPosition().toPoint();
        const uchar *bits = raster->getPictureHost()->getData();
        QRect ink;
        for (int y = 0; y < raster->getHeight(); ++y)
            for (int x = 0; x < raster->getWidth(); ++x) {
                const uchar *p = bits + (size_t(y) * raster->getWidth() + x) * 4;
                const QRgb got = qRgba(p[2], p[1], p[0], p[3]);
                const QRgb want = reference.pixel(at.x() + x, at.y() + y);
                QVERIFY2(premultipliedDifference(got, want) <= 1,
                         qPrintable(QString("%1,%2: %3 against %4").arg(x).arg(y)
                                        .arg(got, 8, 16).arg(want, 8, 16)));
                if (p[3])
                    ink |= QRect(at.x() + x, at.y() + y, 1, 1);
            }
        QVERIFY(!ink.isEmpty());
        QVERIFY2(quad.adjusted(-1, -1, 1, 1).contains(QRectF(ink)),
                 qPrintable(QString("ink %1,%2 %3x%4").arg(ink.x()).arg(ink.y()).arg(ink.width()).arg(ink.height())));
    }

    // The full-resolution export draws a text layer through the blend
    // arithmetic, on the GPU as on the CPU, where its rectangle lies (part of
    // it off the document in one row).
    void exportDrawsText_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QPointF>("at");
        QTest::newRow("multiply") << int(VellBlend::Multiply) << 1.0f << 0 << QPointF(12, 10);
        QTest::newRow("difference at 60%, turned") << int(VellBlend::Difference) << 0.6f << 30 << QPointF(30, 4);
        QTest::newRow("overlay, over the left edge") << int(VellBlend::Overlay) << 0.8f << 0 << QPointF(-14, 40);
    }
    void exportDrawsText()
    {
        QFETCH(int, mode);
        QFETCH(float, opacity);
        QFETCH(int, direction);
        QFETCH(QPointF, at);
        const int w = 120, h = 80;
        newDocument(w, h);
        auto *host = new VellPictureHost(w, h, 4);
        unsigned char *pixels = host->getData();
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                unsigned char *p = pixels + (size_t(y) * w + x) * 4;
                p[0] = uchar(x * 2);
                p[1] = uchar(y * 3);
                p[2] = uchar(255 - x - y);
                p[3] = 255;
            }
        auto *bottom = new VellLayer(QStringLiteral("bottom"));
        bottom->setVellPictureHost(host);
        layers()->addLayer(bottom, false);
        VellTextLayer *text = addText(QStringLiteral("Vell"), at);
        text->setFont(QFont(QStringLiteral("DejaVu Sans"), 28, QFont::Bold));
        text->setBlendMode(mode);
        text->setAlpha(opacity);
        text->setDirection(direction);
        const QRect rect = text->getDocumentRect();
        QVERIFY(!rect.isEmpty());

        const auto gpuExport = [&] {
            std::unique_ptr<QImage> image(canvas->renderToImage(document.get()));
            return image ? image->copy() : QImage();
        };
        const QImage gpu = gpuExport();
        std::unique_ptr<QImage> cpu(VellBlendReference::renderToImage(document.get(), w, h));
        text->visible = false;
        const QImage plain = gpuExport();
        QVERIFY(!gpu.isNull() && cpu && !plain.isNull());
        int inked = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const QRgb g = gpu.pixel(x, y), c = cpu->pixel(x, y);
                const int difference = std::max({qAbs(qRed(g) - qRed(c)), qAbs(qGreen(g) - qGreen(c)),
                                                  qAbs(qBlue(g) - qBlue(c)), qAbs(qAlpha(g) - qAlpha(c))});
                QVERIFY2(difference <= 1, qPrintable(QString("%1,%2: GPU %3, CPU %4").arg(x).arg(y)
                                                         .arg(g, 8, 16).arg(c, 8, 16)));
                if (g != plain.pixel(x, y)) {
                    QVERIFY2(rect.contains(x, y), qPrintable(QString("%1,%2 changed").arg(x).arg(y)));
                    ++inked;
                }
            }
        QVERIFY2(inked > 50, qPrintable(QString::number(inked)));   // the text is really there
    }

    void pixelationMargins_data()
    {
        QTest::addColumn<int>("margin");
        QTest::addColumn<bool>("wholeCanvas");
        QTest::addColumn<bool>("cancel");
        QTest::newRow("defaults, clipped to the document") << 20 << false << false;
        QTest::newRow("whole canvas") << 0 << true << false;
        QTest::newRow("cancelled") << 20 << false << true;
    }
    void pixelationMargins()
    {
        QFETCH(int, margin);
        QFETCH(bool, wholeCanvas);
        QFETCH(bool, cancel);
        newDocument(120, 80);
        VellTextLayer *text = addText(QStringLiteral("Hi"), QPointF(8, 30));
        const QRect box = text->getDocumentRect();
        QTimer::singleShot(0, [=] {
            auto *dialog = qobject_cast<VellPixelateTextLayerWidget *>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            int l = 0, r = 0, t = 0, b = 0;
            dialog->getExpansion(l, r, t, b);
            QCOMPARE(QVector<int>({l, r, t, b}), QVector<int>({20, 20, 20, 20}));
            dialog->findChild<QCheckBox *>("expandCanvasCheck")->setChecked(wholeCanvas);
            if (cancel)
                dialog->on_cancelBtn_clicked();
            else
                dialog->on_okBtn_clicked();
        });
        layers()->pixelateTextLayer(0);
        if (cancel) {
            QCOMPARE(layers()->getLayer(0), static_cast<VellLayerBase *>(text));
            return;
        }
        auto *raster = qobject_cast<VellLayer *>(layers()->getLayer(0));
        QVERIFY(raster);
        QRect expected(0, 0, 120, 80);
        if (!wholeCanvas) {
            const int left = qMax(box.left() - margin, 0), top = qMax(box.top() - margin, 0);
            const int right = qMin(box.left() + box.width() + margin, 119);
            const int bottom = qMin(box.top() + box.height() + margin, 79);
            expected = QRect(left, top, right - left + 1, bottom - top + 1);
        }
        QCOMPARE(QRect(raster->getPosition().toPoint(), QSize(raster->getWidth(), raster->getHeight())),
                 expected);
    }

    // Key events through the controller edit the text, and the layer's name
    // follows its first ten characters unless it is kept.
    void typing_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("keepName");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::newRow("typed") << "Hello world, again" << false << "Hello world, again" << "Hello worl";
        QTest::newRow("kept name") << "Hello world, again" << true << "Hello world, again" << "Text";
        QTest::newRow("moves and deletes") << "abc<Left><Left>X<End><BS>" << false << "aXb" << "aXb";
        QTest::newRow("shift selection replaced") << "abcd<Home><S-Right><S-Right>Q" << false << "Qcd" << "Qcd";
        QTest::newRow("select all, then a new paragraph") << "abc<C-a>z<Enter>y" << false << "z\ny" << "z\ny";
    }
    void typing()
    {
        QFETCH(QString, keys);
        QFETCH(bool, keepName);
        QFETCH(QString, text);
        QFETCH(QString, name);
        newDocument(64, 48);
        auto *layer = new VellTextLayer(QStringLiteral("Text"));
        layer->setKeepName(keepName);
        layers()->addLayer(layer, false);
        QSignalSpy changed(layer, &VellTextLayer::textChanged);
        typeInto(layer->getTextControl(), keys);
        QCOMPARE(layer->getText(), text);
        QCOMPARE(layer->getLayerName(), name);
        QVERIFY(!changed.isEmpty());
        QVERIFY(layer->getThumbTexture());   // rendered for the canvas as it changed
    }

    // A window point on a character, found in the rendering by its selection
    // colour, hits that character, however the text is turned.
    void hitTestFindsTheRenderedCharacter_data()
    {
        QTest::addColumn<int>("direction");
        QTest::addColumn<bool>("vertical");
        QTest::newRow("plain") << 0 << false;
        QTest::newRow("turned 90") << 90 << false;
        QTest::newRow("turned 200") << 200 << false;
        QTest::newRow("vertical") << 0 << true;
        QTest::newRow("vertical turned 45") << 45 << true;
    }
    void hitTestFindsTheRenderedCharacter()
    {
        QFETCH(int, direction);
        QFETCH(bool, vertical);
        newDocument(400, 400);
        VellTextLayer *text = addText(QStringLiteral("abcdefgh"), QPointF(200, 200));
        text->setDirection(direction);
        text->setVertical(vertical);
        text->setTextScale(QSizeF(1.5, 0.75));
        QTextCursor select = text->getTextControl()->textCursor();
        select.setPosition(4);
        select.setPosition(5, QTextCursor::KeepAnchor);
        text->getTextControl()->setTextCursor(select);
        const QImage rendered = text->renderText(true, 1.0f);
        QPointF sum;
        int count = 0;
        for (int y = 0; y < rendered.height(); ++y)
            for (int x = 0; x < rendered.width(); ++x) {
                const QRgb p = rendered.pixel(x, y);
                if (qAlpha(p) > 250 && qBlue(p) > 200 && qRed(p) < 100 && qGreen(p) > 100 && qGreen(p) < 200) {
                    sum += QPointF(x + 0.5, y + 0.5);
                    ++count;
                }
            }
        QVERIFY(count > 20);
        const QPointF documentPoint = QPointF(text->getDocumentRect().topLeft()) + sum / count;
        const QPoint window = canvas->canvasCoordtoUI(documentPoint).toPoint();
        const int hit = text->hitTest(window.x(), window.y());
        QVERIFY2(hit == 4 || hit == 5, qPrintable(QString::number(hit)));
        // A click there puts the cursor on it too.
        QMouseEvent press(QEvent::MouseButtonPress, window, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QVERIFY(text->handleEvent(&press));
        QCOMPARE(text->getTextControl()->textCursor().position(), hit);
    }

    // Whole-document turns and mirrors move the anchor with the document and
    // keep the text's box where the turned or mirrored document puts it.
    void rotateAndFlip_data()
    {
        QTest::addColumn<int>("direction");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QPointF>("position");
        QTest::addColumn<int>("newDirection");
        QTest::newRow("rotate 90") << 0 << "r90" << QPointF(50, 700) << 270;
        QTest::newRow("rotate -90") << 0 << "r-90" << QPointF(550, 100) << 90;
        QTest::newRow("rotate 180 from 30") << 30 << "r180" << QPointF(700, 550) << 210;
        QTest::newRow("rotate 45 does nothing") << 10 << "r45" << QPointF(100, 50) << 10;
        QTest::newRow("flip left-right") << 0 << "h" << QPointF() << 180;
        QTest::newRow("flip top-bottom turned 30") << 30 << "v" << QPointF() << 210;
        QTest::newRow("two flips") << 20 << "hh" << QPointF(100, 50) << 20;
    }
    void rotateAndFlip()
    {
        QFETCH(int, direction);
        QFETCH(QString, operation);
        QFETCH(QPointF, position);
        QFETCH(int, newDirection);
        newDocument(800, 600);
        VellTextLayer *text = addText(QStringLiteral("Turn"), QPointF(100, 50));
        text->setDirection(direction);
        const QRect before = text->getDocumentRect();
        QRect expected = before;
        if (operation.startsWith('r')) {
            const int angle = operation.mid(1).toInt();
            text->rotate(angle);
            if (angle == 90)
                expected = QRect(before.y(), 800 - before.x() - before.width(), before.height(), before.width());
            else if (angle == -90)
                expected = QRect(600 - before.y() - before.height(), before.x(), before.height(), before.width());
            else if (angle == 180)
                expected = QRect(800 - before.x() - before.width(), 600 - before.y() - before.height(),
                                 before.width(), before.height());
        } else {
            for (const QChar c : operation)
                text->flip(c == 'h');
            if (operation == "h")
                expected.moveLeft(800 - before.x() - before.width());
            else if (operation == "v")
                expected.moveTop(600 - before.y() - before.height());
        }
        QCOMPARE(text->getDirection(), newDirection);
        if (!position.isNull())
            QCOMPARE(text->getPosition(), position);
        const QRect after = text->getDocumentRect();
        QVERIFY2(qAbs(after.x() - expected.x()) <= 1 && qAbs(after.y() - expected.y()) <= 1
                     && qAbs(after.width() - expected.width()) <= 1
                     && qAbs(after.height() - expected.height()) <= 1,
                 qPrintable(QString("%1,%2 %3x%4").arg(after.x()).arg(after.y()).arg(after.width()).arg(after.height())));
    }

    void streamVersions_data()
    {
        QTest::addColumn<int>("version");
        QTest::newRow("version 1") << 1;
        QTest::newRow("version 2") << 2;
    }
    void streamVersions()
    {
        QFETCH(int, version);
        newDocument(64, 48);
        VellGlobalSettings::getInstance()->streamWriteVersion = version;
        VellGlobalSettings::getInstance()->streamReadVersion = version;
        auto *text = addText(QStringLiteral("Streamed\ntext"), QPointF(3, -4));
        QTextCharFormat bold;
        bold.setFontWeight(QFont::Bold);
        text->mergeFormatOnWordOrSelection(bold);   // the word under the cursor: "text"
        text->setKeepName(true);
        text->setLayerName(QStringLiteral("Kept"));
        text->setAlpha(0.5f);
        text->setBlendMode(30);
        text->visible = false;
        text->setDirection(300);
        text->setVertical(true);
        text->setTextScale(QSizeF(2.0, 0.5));

        QByteArray bytes;
        {
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out.setVersion(QDataStream::Qt_4_8);
            out << layers();
        }
        QDataStream in(bytes);
        in.setVersion(QDataStream::Qt_4_8);
        VellLayerManager *read = nullptr;
        in >> &read;
        QVERIFY(read);
        std::unique_ptr<VellLayerManager> owned(read);
        auto *back = qobject_cast<VellTextLayer *>(read->getLayer(0));
        QVERIFY(back);
        QCOMPARE(back->getType(), 1);
        QCOMPARE(back->getText(), QStringLiteral("Streamed\ntext"));
        QCOMPARE(back->getLayerName(), QStringLiteral("Kept"));
        QVERIFY(back->isKeepName());
        QCOMPARE(back->getAlpha(), 0.5f);
        QCOMPARE(back->getBlendMode(), 30);
        QCOMPARE(back->getPosition(), QPointF(3, -4));
        QCOMPARE(back->visible, false);
        QCOMPARE(back->getPermanentIndex(), text->getPermanentIndex());
        QTextCursor last(back->getDocument()->lastBlock());
        last.movePosition(QTextCursor::EndOfBlock);
        QCOMPARE(last.charFormat().fontWeight(), int(QFont::Bold));
        QCOMPARE(back->getDirection(), version >= 2 ? 300 : 0);
        QCOMPARE(back->isVertical(), version >= 2);
        QCOMPARE(back->getTextScale(), version >= 2 ? QSizeF(2.0, 0.5) : QSizeF(1.0, 1.0));

        // The text layer's own record, cut anywhere, gives nothing.
        QByteArray record;
        {
            QDataStream out(&record, QIODevice::WriteOnly);
            out.setVersion(QDataStream::Qt_4_8);
            out << text;
        }
        for (int cut = 0; cut < record.size(); cut += qMax(1, cut / 16)) {
            QDataStream part(record.left(cut));
            part.setVersion(QDataStream::Qt_4_8);
            VellTextLayer *partial = nullptr;
            part >> &partial;
            QVERIFY2(!partial, qPrintable(QString::number(cut)));
            QVERIFY(part.status() != QDataStream::Ok);
        }
    }

    // HTML that names a picture on disk gets nothing from there.
    void htmlReadsNoFiles()
    {
        QTemporaryDir dir;
        QImage picture(40, 40, QImage::Format_ARGB32);
        picture.fill(Qt::red);
        const QString path = dir.filePath(QStringLiteral("picture.png"));
        QVERIFY(picture.save(path));
        VellTextLayer text(QStringLiteral("Text"));
        text.getDocument()->setBaseUrl(QUrl::fromLocalFile(dir.path() + '/'));
        text.setHtml(QStringLiteral("<img src=\"picture.png\"><img src=\"%1\">")
                         .arg(QUrl::fromLocalFile(path).toString()));
        const QImage rendered = text.renderText(false, 1.0f);
        for (int y = 0; y < rendered.height(); ++y)
            for (int x = 0; x < rendered.width(); ++x)
                QVERIFY(qAlpha(rendered.pixel(x, y)) == 0 || qRed(rendered.pixel(x, y)) < 200);
        QVERIFY(text.layout(1.0f).contentSize.width() < 40);
    }

    // With the text tool current, the composite leaves the edited layer out
    // and the window shows it drawn by the layer itself.
    void textToolDrawsTheEditedLayer_data()
    {
        QTest::addColumn<QString>("toolName");
        QTest::newRow("text tool") << "Text Tool";
        QTest::newRow("another tool") << "Brush";
    }
    void textToolDrawsTheEditedLayer()
    {
        QFETCH(QString, toolName);
        newDocument(160, 120);
        VellTextLayer *text = addText(QStringLiteral("Edit"), QPointF(20, 20));
        QCOMPARE(canvas->getEditingTextLayer(), text);
        StandInTool tool(toolName);
        document->setCurrentTool(&tool);

        text->visible = false;
        canvas->Render(nullptr);
        const QImage without = canvas->toQimage();
        text->visible = true;
        canvas->Render(nullptr);
        const QImage composite = canvas->toQimage();
        QCOMPARE(composite == without, toolName == "Text Tool");

        // The window: the layer draws itself there over the composite.
        canvas->repaint();
        const QImage window = canvas->grabFrameBuffer();
        const QPointF inside = canvas->canvasCoordtoUI(QPointF(text->getDocumentRect().center()));
        bool drawn = false;
        for (int dy = -6; dy <= 6 && !drawn; ++dy)
            for (int dx = -12; dx <= 12 && !drawn; ++dx) {
                const QRgb p = window.pixel(inside.toPoint() + QPoint(dx, dy));
                drawn = qRed(p) > 150 && qGreen(p) < 110;   // the text's red
            }
        QVERIFY(drawn);
        document->setCurrentTool(nullptr);
    }

    // Undo of a canvas-and-layers change restores text, font, direction,
    // orientation and scale; a layer change swaps the direction.
    void memosRestoreText()
    {
        newDocument(100, 80);
        VellTextLayer *text = addText(QStringLiteral("Before"), QPointF(10, 10));
        text->setDirection(45);
        text->setTextScale(QSizeF(1.5, 1.0));
        auto canvasMemo = std::make_unique<VellMemoCanvasAndLayersChange>(document.get());
        auto layerMemo = std::make_unique<VellLayerModifyMemo>(document.get(), text);
        text->setText(QStringLiteral("After"));
        text->setDirection(90);
        text->setVertical(true);
        text->setTextScale(QSizeF(1.0, 2.0));
        QFont other(QStringLiteral("DejaVu Sans"));
        other.setPointSizeF(30.0);
        text->setFont(other);

        QVERIFY(canvasMemo->undo());
        QCOMPARE(text->getText(), QStringLiteral("Before"));
        QCOMPARE(text->getLayerName(), QStringLiteral("Before"));
        QCOMPARE(text->getDirection(), 45);
        QVERIFY(!text->isVertical());
        QCOMPARE(text->getTextScale(), QSizeF(1.5, 1.0));
        QCOMPARE(text->getFont().pointSizeF(), 16.0);
        QVERIFY(text->getThumbTexture());

        text->setDirection(200);
        QVERIFY(layerMemo->undo());
        QCOMPARE(text->getDirection(), 45);
        QVERIFY(layerMemo->undo());
        QCOMPARE(text->getDirection(), 200);
    }
};

QTEST_MAIN(TestVellTextLayer)
#include "tst_velltextlayer.moc"
