#include "interchange/vellorareader.h"
#include "interchange/vellorawriter.h"

#include "canvas/vellblendreference.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "interchange/oratestsupport.h"

#include <QGuiApplication>
#include <QImageReader>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using OraTest::LayerSpec;

Q_DECLARE_METATYPE(QVector<LayerSpec>)
Q_DECLARE_METATYPE(VellOraWriter::MaskPolicy)

namespace {

QString layerSummary(const VellLayerBase *layer)
{
    return QStringLiteral("\"%1\" at %2,%3 mode %4 opacity %5 %6")
        .arg(layer->getLayerName())
        .arg(layer->getPosition().x())
        .arg(layer->getPosition().y())
        .arg(layer->getBlendMode())
        .arg(double(layer->getAlpha()), 0, 'g', 9)
        .arg(layer->visible ? "visible" : "hidden");
}

QByteArray hostBytes(const VellLayer *layer)
{
    const VellPictureHost *host = layer->getPictureHost();
    return QByteArray(reinterpret_cast<const char *>(host->getData()), int(host->getByteCount()));
}

QByteArray maskBytes(const VellLayer *layer)
{
    const VellLayerMask *mask = layer->getLayerMask();
    if (!mask)
        return QByteArray();
    return QByteArray(reinterpret_cast<const char *>(mask->getData()),
                      mask->getPaddedWidth() * mask->getHeight());
}

QImage cpuComposite(VellContext *document)
{
    const QSize size = VellOraWriter::documentSize(document);
    std::unique_ptr<QImage> image(VellBlendReference::renderToImage(document, size.width(), size.height()));
    return image ? *image : QImage();
}

} // namespace

class TestVellOra : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;

    QString write(VellContext *document, const QString &name,
                  VellOraWriter::MaskPolicy policy = VellOraWriter::MasksAsStacks)
    {
        VellOraWriter writer;
        writer.setMaskPolicy(policy);
        const QString path = dir.filePath(name);
        if (!writer.write(document, path))
            qWarning("%s", qPrintable(writer.errorString()));
        return path;
    }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    void roundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QVector<LayerSpec>>("layers");
        QTest::addColumn<int>("active");
        QTest::addColumn<VellOraWriter::MaskPolicy>("policy");
        const auto base = [](int seed) {
            LayerSpec spec;
            spec.name = QStringLiteral("base");
            spec.size = QSize(9, 6);
            spec.seed = seed;
            return spec;
        };
        for (int mode = VellBlend::Normal; mode <= VellBlend::Luminosity; mode += VellBlend::Step) {
            LayerSpec top = base(mode);
            top.name = VellLayerBase::getBlendModeName(mode);
            top.mode = mode;
            top.opacity = 0.8f;
            top.position = QPoint(1, 2);
            QTest::addRow("mode %s", qPrintable(top.name))
                << QSize(9, 6) << QVector<LayerSpec>{ base(0), top } << -1 << VellOraWriter::MasksAsStacks;
        }
        for (float opacity : { 0.0f, 0.37f, 1.0f, 0.1f + 0.2f }) {
            LayerSpec top = base(3);
            top.opacity = opacity;
            QTest::addRow("opacity %.9g", double(opacity))
                << QSize(9, 6) << QVector<LayerSpec>{ base(0), top } << -1 << VellOraWriter::MasksAsStacks;
        }
        LayerSpec hidden = base(4);
        hidden.visible = false;
        QTest::newRow("hidden") << QSize(9, 6) << QVector<LayerSpec>{ base(0), hidden } << -1
                                << VellOraWriter::MasksAsStacks;
        LayerSpec negative = base(5), overhanging = base(6);
        negative.position = QPoint(-4, -3);
        overhanging.position = QPoint(6, 4);
        overhanging.size = QSize(11, 8);
        QTest::newRow("negative and overhanging offsets")
            << QSize(9, 6) << QVector<LayerSpec>{ negative, overhanging } << -1 << VellOraWriter::MasksAsStacks;
        LayerSpec masked = base(7);
        masked.masked = true;
        masked.mode = VellBlend::Overlay;
        masked.opacity = 0.6f;
        masked.position = QPoint(-2, 1);
        masked.maskPosition = QPointF(2, -1);
        QTest::newRow("soft mask, overlay, as stack")
            << QSize(9, 6) << QVector<LayerSpec>{ base(0), masked } << -1 << VellOraWriter::MasksAsStacks;
        QTest::newRow("soft mask, overlay, baked")
            << QSize(9, 6) << QVector<LayerSpec>{ base(0), masked } << -1 << VellOraWriter::MasksBaked;
        LayerSpec wide = base(8), wideMasked = base(9);
        wide.wide = true;
        wideMasked.wide = true;
        wideMasked.masked = true;
        wideMasked.mode = VellBlend::Screen;
        QTest::newRow("8-byte layers, as stack")
            << QSize(9, 6) << QVector<LayerSpec>{ wide, wideMasked } << -1 << VellOraWriter::MasksAsStacks;
        QTest::newRow("8-byte layers, baked")
            << QSize(9, 6) << QVector<LayerSpec>{ wide, wideMasked } << -1 << VellOraWriter::MasksBaked;
        LayerSpec unicode = base(10), markup = base(11), blank = base(12);
        unicode.name = QStringLiteral("Ébauche 草稿 🎨");
        markup.name = QStringLiteral("<&\">' \ttab");
        blank.name = QString();
        QTest::newRow("odd names")
            << QSize(9, 6) << QVector<LayerSpec>{ unicode, markup, blank } << -1 << VellOraWriter::MasksAsStacks;
        QTest::newRow("middle layer active")
            << QSize(9, 6) << QVector<LayerSpec>{ base(1), masked, base(2), base(3) } << 1
            << VellOraWriter::MasksAsStacks;
        QTest::newRow("bottom layer active")
            << QSize(9, 6) << QVector<LayerSpec>{ base(1), base(2), base(3) } << 0 << VellOraWriter::MasksBaked;
        LayerSpec text = base(13), hiddenText = base(14);
        text.text = QStringLiteral("Ab\ncd");
        text.mode = VellBlend::Multiply;
        text.opacity = 0.7f;
        text.position = QPoint(-3, 1);
        text.direction = 30;
        hiddenText.text = QStringLiteral("x");
        hiddenText.visible = false;
        QTest::newRow("text layers, the active one turned and overhanging")
            << QSize(20, 16) << QVector<LayerSpec>{ base(0), text, hiddenText } << 1
            << VellOraWriter::MasksAsStacks;
    }

    // Everything a layer holds comes back exactly, in order, and the same
    // document gives the same bytes twice.
    void roundTrip()
    {
        QFETCH(QSize, size);
        QFETCH(QVector<LayerSpec>, layers);
        QFETCH(int, active);
        QFETCH(VellOraWriter::MaskPolicy, policy);
        std::unique_ptr<VellContext> document = OraTest::makeDocument(size, layers, active);
        VellGlobalSettings::getInstance()->streamWriteVersion = 2;   // text records hold direction
        const QString path = write(document.get(), QStringLiteral("round.ora"), policy);
        const QString again = write(document.get(), QStringLiteral("again.ora"), policy);
        QVERIFY(!OraTest::fileBytes(path).isEmpty());
        QCOMPARE(OraTest::fileBytes(again), OraTest::fileBytes(path));

        // Stream version 2 also carries the mask's position.
        for (int version : { 1, 2 }) {
            VellGlobalSettings::getInstance()->streamReadVersion = version;
            VellOraReader reader;
            QVERIFY2(reader.openFile(path), qPrintable(reader.errorString()));
            QCOMPARE(reader.imageSize(), size);
            std::unique_ptr<VellContext> back(reader.readDocument());
            QVERIFY2(back, qPrintable(reader.errorString()));
            QCOMPARE(reader.warnings(), QStringList());
            QCOMPARE(VellOraWriter::documentSize(back.get()), size);

            VellLayerManager *from = document->getLayerManager();
            VellLayerManager *to = back->getLayerManager();
            QCOMPARE(to->getLayerCount(), from->getLayerCount());
            bool directionLost = false;   // version 1 has no text direction
            for (int i = 0; i < from->getLayerCount(); ++i) {
                if (auto *wantText = qobject_cast<VellTextLayer *>(from->getLayer(i))) {
                    auto *gotText = qobject_cast<VellTextLayer *>(to->getLayer(i));
                    QVERIFY(gotText);
                    QCOMPARE(layerSummary(gotText), layerSummary(wantText));
                    QCOMPARE(gotText->getText(), wantText->getText());
                    QCOMPARE(gotText->getDirection(), version >= 2 ? wantText->getDirection() : 0);
                    directionLost = directionLost || gotText->getDirection() != wantText->getDirection();
                    if (!directionLost)   // font and colour as drawn
                        QCOMPARE(gotText->renderText(false, 1.0f), wantText->renderText(false, 1.0f));
                    continue;
                }
                auto *want = qobject_cast<VellLayer *>(from->getLayer(i));
                auto *got = qobject_cast<VellLayer *>(to->getLayer(i));
                QVERIFY(got);
                QCOMPARE(layerSummary(got), layerSummary(want));
                QCOMPARE(got->getAlpha(), want->getAlpha());   // bit for bit, not just as printed
                QCOMPARE(got->getPictureHost()->getPixelWidth(), want->getPictureHost()->getPixelWidth());
                QCOMPARE(got->getWidth(), want->getWidth());
                QCOMPARE(got->getHeight(), want->getHeight());
                QVERIFY2(hostBytes(got) == hostBytes(want), qPrintable(QStringLiteral("pixels of layer %1").arg(i)));
                QCOMPARE(got->hasLayerMask(), want->hasLayerMask());
                QVERIFY2(maskBytes(got) == maskBytes(want), qPrintable(QStringLiteral("mask of layer %1").arg(i)));
                QCOMPARE(got->getLayerMaskPosition(), version >= 2 ? want->getLayerMaskPosition() : QPointF());
            }
            QCOMPARE(to->getLayerIndex(to->currentActiveLayer()), from->getLayerIndex(from->currentActiveLayer()));
            QCOMPARE(to->getSelectedLayers().size(), 1);
            // What the document shows is what the file's merged image holds.
            if (!directionLost)
                QCOMPARE(cpuComposite(back.get()), reader.mergedImage());
        }
        VellGlobalSettings::getInstance()->streamReadVersion = 0;
        VellGlobalSettings::getInstance()->streamWriteVersion = 0;
    }

    // Both sides could reverse the order and still agree: the stack is
    // written top first, our attributes under their namespace.
    void stackXmlOrder()
    {
        LayerSpec a, b, c;
        a.name = QStringLiteral("A");
        b.name = QStringLiteral("B");
        c.name = QStringLiteral("C");
        a.size = b.size = c.size = QSize(2, 2);
        b.position = QPoint(-1, 3);
        b.mode = VellBlend::Multiply;
        b.opacity = 0.5f;
        c.mode = VellBlend::HardMix;
        c.visible = false;
        c.masked = true;
        std::unique_ptr<VellContext> document = OraTest::makeDocument(QSize(4, 3), { a, b, c }, 1);
        const QString path = write(document.get(), QStringLiteral("golden.ora"));
        const QByteArray golden =
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<image xmlns:vell=\"urn:x-vellcore:openraster\" xmlns:mypaint=\"http://mypaint.org/ns/openraster\""
            " version=\"0.0.5\" w=\"4\" h=\"3\" mypaint:eotf=\"1.0\">\n"
            " <stack>\n"
            "  <stack vell:kind=\"masked-layer\" isolation=\"isolate\" name=\"C\" opacity=\"1\" visibility=\"hidden\""
            " composite-op=\"krita:hard_mix_photoshop\" vell:mode=\"180\">\n"
            "   <layer name=\"mask\" opacity=\"1\" visibility=\"visible\" composite-op=\"svg:dst-in\" x=\"0\" y=\"0\""
            " src=\"data/mask2.png\" vell:kind=\"mask\"/>\n"
            "   <layer name=\"C\" opacity=\"1\" visibility=\"visible\" composite-op=\"svg:src-over\" x=\"0\" y=\"0\""
            " src=\"data/layer2.png\"/>\n"
            "  </stack>\n"
            "  <layer name=\"B\" opacity=\"0.5\" visibility=\"visible\" composite-op=\"svg:multiply\" x=\"-1\" y=\"3\""
            " src=\"data/layer1.png\" vell:mode=\"30\" selected=\"true\"/>\n"
            "  <layer name=\"A\" opacity=\"1\" visibility=\"visible\" composite-op=\"svg:src-over\" x=\"0\" y=\"0\""
            " src=\"data/layer0.png\" vell:mode=\"0\"/>\n"
            " </stack>\n"
            "</image>\n";
        QCOMPARE(OraTest::entryOf(OraTest::fileBytes(path), QStringLiteral("stack.xml")), golden);
    }

    // The first 54 bytes are what content sniffers look for; entries keep
    // the order and methods other programs expect.
    void container()
    {
        LayerSpec a, b;
        b.masked = true;
        std::unique_ptr<VellContext> document = OraTest::makeDocument(QSize(7, 5), { a, b });
        const QByteArray bytes = OraTest::fileBytes(write(document.get(), QStringLiteral("container.ora")));
        QVERIFY(bytes.size() > 54);
        QCOMPARE(bytes.left(4), QByteArray("PK\x03\x04", 4));
        QCOMPARE(bytes.mid(6, 2), QByteArray(2, '\0'));     // no flags: no data descriptor, ASCII name
        QCOMPARE(bytes.mid(8, 2), QByteArray(2, '\0'));     // stored
        QCOMPARE(bytes.mid(18, 4), QByteArray("\x10\0\0\0", 4));   // 16 bytes compressed
        QCOMPARE(bytes.mid(22, 4), QByteArray("\x10\0\0\0", 4));   // and uncompressed
        QCOMPARE(bytes.mid(26, 2), QByteArray("\x08\0", 2));       // name length
        QCOMPARE(bytes.mid(28, 2), QByteArray(2, '\0'));            // no extra field
        QCOMPARE(bytes.mid(30, 24), QByteArray("mimetypeimage/openraster"));
        QVERIFY(VellOraReader::canRead(bytes.left(54)));
        QVERIFY(!VellOraReader::canRead(bytes.left(53)));

        VellZipArchive zip;
        QVERIFY(zip.openData(bytes));
        QStringList names;
        QList<int> methods;
        for (const VellZipArchive::Entry &entry : zip.entries()) {
            names << entry.name;
            methods << entry.method;
        }
        QCOMPARE(names, QStringList({ "mimetype", "stack.xml", "data/mask1.png", "data/layer1.png",
                                      "data/layer0.png", "Thumbnails/thumbnail.png", "mergedimage.png" }));
        QCOMPARE(methods, QList<int>({ 0, 8, 0, 0, 0, 0, 0 }));
    }

    void thumbnailSize_data()
    {
        QTest::addColumn<QSize>("image");
        QTest::addColumn<QSize>("thumbnail");
        QTest::newRow("landscape photo") << QSize(6000, 4000) << QSize(256, 171);
        QTest::newRow("portrait photo") << QSize(4000, 6000) << QSize(171, 256);
        QTest::newRow("small kept") << QSize(100, 50) << QSize(100, 50);
        QTest::newRow("exactly 256") << QSize(256, 256) << QSize(256, 256);
        QTest::newRow("thin column") << QSize(1, 5000) << QSize(1, 256);
        QTest::newRow("thin row, side rounds to 0") << QSize(9000, 2) << QSize(256, 1);
        QTest::newRow("just over") << QSize(257, 100) << QSize(256, 100);
        QTest::newRow("empty") << QSize(0, 10) << QSize();
    }

    void thumbnailSize()
    {
        QFETCH(QSize, image);
        QFETCH(QSize, thumbnail);
        QCOMPARE(VellOraWriter::thumbnailSize(image), thumbnail);
    }

    // The thumbnail in a file: 8-bit RGBA, not interlaced, scaled down with
    // its aspect; the merged image is the CPU compositor's, excluded layers
    // included, or the caller's, stored as it is.
    void storedImages()
    {
        LayerSpec bottom, top;
        bottom.size = QSize(300, 90);
        top.size = QSize(50, 40);
        top.position = QPoint(20, 30);
        top.mode = VellBlend::Difference;
        top.masked = true;
        top.wide = true;
        std::unique_ptr<VellContext> document = OraTest::makeDocument(QSize(300, 90), { bottom, top });
        document->getLayerManager()->getLayer(1)->excluded = true;
        const QString path = write(document.get(), QStringLiteral("images.ora"));
        const QByteArray thumb = OraTest::entryOf(OraTest::fileBytes(path), QStringLiteral("Thumbnails/thumbnail.png"));
        QVERIFY(thumb.size() > 33);
        QCOMPARE(thumb.mid(12, 4), QByteArray("IHDR"));
        QCOMPARE(thumb.mid(16, 8), QByteArray("\0\0\1\0\0\0\0\x4d", 8));   // 256 x 77
        QCOMPARE(thumb.mid(24, 5), QByteArray("\x08\x06\0\0\0", 5));      // 8 bits, RGBA, not interlaced

        VellOraReader reader;
        QVERIFY(reader.openFile(path));
        const QImage merged = reader.mergedImage();
        document->getLayerManager()->getLayer(1)->excluded = false;
        QCOMPARE(merged, cpuComposite(document.get()));
        QCOMPARE(reader.thumbnail().size(), QSize(256, 77));

        QImage own(300, 90, QImage::Format_ARGB32);
        own.fill(qRgba(1, 2, 3, 4));
        VellOraWriter writer;
        writer.setMergedImage(own);
        QVERIFY(writer.write(document.get(), path));   // replacing the file
        QVERIFY(reader.openFile(path));
        QCOMPARE(reader.mergedImage(), own);
    }

    // Qt with the KDE image formats finds our files by content alone and
    // shows the merged image.
    void readByQtImageFormats()
    {
        if (!QImageReader::supportedImageFormats().contains("ora"))
            QSKIP("kimageformat-plugins is not installed");
        LayerSpec bottom, top;
        bottom.size = QSize(12, 9);
        top.mode = VellBlend::Screen;
        top.opacity = 0.4f;
        std::unique_ptr<VellContext> document = OraTest::makeDocument(QSize(12, 9), { bottom, top });
        const QString path = write(document.get(), QStringLiteral("by-content.bin"));
        QImageReader reader(path);
        reader.setDecideFormatFromContent(true);
        QCOMPARE(reader.format(), QByteArray("ora"));
        const QImage image = reader.read();
        QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
        QCOMPARE(image.convertToFormat(QImage::Format_ARGB32), cpuComposite(document.get()));
    }

    // A write that fails leaves what was there and no temporary file.
    void failedWriteKeepsTarget()
    {
        std::unique_ptr<VellContext> document = OraTest::makeDocument(QSize(7, 5), { LayerSpec() });
        VellOraWriter writer;
        const QString missing = dir.filePath(QStringLiteral("missing/folder/x.ora"));
        QVERIFY(!writer.write(document.get(), missing));
        QVERIFY2(writer.errorString().startsWith(missing + QStringLiteral(": "))
                     && writer.errorString().contains(QLatin1String("No such file or directory")),
                 qPrintable(writer.errorString()));

        QTemporaryDir folder;
        const QString occupied = folder.filePath(QStringLiteral("occupied.ora"));
        QVERIFY(QDir().mkdir(occupied));   // a folder cannot be replaced by a file
        QFile keep(occupied + QStringLiteral("/keep"));
        QVERIFY(keep.open(QIODevice::WriteOnly) && keep.write("kept") == 4);
        keep.close();
        QVERIFY(!writer.write(document.get(), occupied));
        QVERIFY(QFileInfo(occupied + QStringLiteral("/keep")).isFile());
        QCOMPARE(QDir(folder.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
                 QStringList{ QStringLiteral("occupied.ora") });

        VellContext empty;
        QVERIFY(!writer.write(&empty, dir.filePath(QStringLiteral("empty.ora"))));
        QVERIFY(!writer.write(nullptr, dir.filePath(QStringLiteral("null.ora"))));
        QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("empty.ora"))));
    }
};

// Text lays out with fonts, which need a GUI application: one on the
// offscreen platform, kept away from any X server that DISPLAY names, where
// it would make the GL contexts the library borrows (this test wants none).
int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("DISPLAY");
    QGuiApplication app(argc, argv);
    TestVellOra test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_vellora.moc"
