// vell compose end to end on the bundled sample: the built binary's output, on
// the GPU and on the CPU, from the layer files and from a saved document,
// against the CPU compositor run here on a document built from the same files.
// Also vell unpack on streams that hold a valid but empty picture.
#include "canvas/vellblendreference.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"
#include "support/vellt2files.h"

#include <QImageReader>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

namespace {

const QString kSamples = QStringLiteral(VELL_SOURCE_DIR "/data/samples/compose/");

// The sample as scripts/run.sh composes it, one mode spelled another way.
QStringList sampleLayers()
{
    return {kSamples + "background.png",
            kSamples + "shapes.png", "--mode", "multiply", "--opacity", "0.85", "--offset", "60,40",
            "--mask", kSamples + "shapes-mask.png",
            kSamples + "stripes.png", "--mode", "Hard_Light", "--offset", "-40,150"};
}

// mode: a VellBlend code.
VellLayer *makeLayer(const char *file, int mode, float opacity, QPoint offset, const char *maskFile)
{
    const QImage image = QImage(kSamples + file).convertToFormat(QImage::Format_ARGB32);
    auto *host = new VellPictureHost(unsigned(image.width()), unsigned(image.height()), 4);
    std::memcpy(host->getData(), image.constBits(), size_t(image.sizeInBytes()));   // both rows unpadded
    auto *layer = new VellLayer(file);
    layer->setVellPictureHost(host);
    layer->setBlendMode(mode);
    layer->setAlpha(opacity);
    layer->setPosition(offset);
    if (maskFile) {
        const QImage grey = QImage(kSamples + maskFile).convertToFormat(QImage::Format_Grayscale8);
        layer->createLayerMask();
        VellLayerMask *mask = layer->getLayerMask();
        for (int y = 0; y < grey.height(); ++y)
            std::memcpy(mask->getData() + size_t(y) * mask->getPaddedWidth(), grey.constScanLine(y),
                        size_t(grey.width()));
        mask->update();
    }
    return layer;
}

} // namespace

class TestVellCompose : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;
    QTemporaryDir dir;
    QImage reference;

    QString doc() const { return dir.filePath("sample.vdoc"); }

    // Runs vell; the exit code, with stdout + stderr in *output.
    static int vell(const QStringList &args, QString *output) { return vellt2::runVell(args, output, nullptr, true); }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY(dir.isValid());
        VellContextManager *manager = VellContextManager::getInstance();
        VellContext document;
        manager->addContext(&document);
        manager->setCurrentContext(manager->indexOfContext(&document));
        VellLayerManager *layers = document.getLayerManager();
        layers->addLayer(makeLayer("background.png", VellBlend::Normal, 1.0f, QPoint(0, 0), nullptr), false);
        layers->addLayer(makeLayer("shapes.png", VellBlend::Multiply, 0.85f, QPoint(60, 40), "shapes-mask.png"), false);
        layers->addLayer(makeLayer("stripes.png", VellBlend::HardLight, 1.0f, QPoint(-40, 150), nullptr), false);
        std::unique_ptr<QImage> image(VellBlendReference::renderToImage(&document, 320, 240));
        QVERIFY(image);
        reference = image->convertToFormat(QImage::Format_ARGB32);
        QString output;   // the document that the rows below read
        const QStringList save = {"compose", "-o", dir.filePath("saving.png"), "--gpu", "--save", doc()};
        QVERIFY2(vell(save + sampleLayers(), &output) == 0, qPrintable(output));
    }

    // --size keeps the document's top-left corner.
    void compose_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("said");
        QTest::newRow("gpu") << QStringList{"--gpu"} + sampleLayers() << "3 layers, 320x240, on the GPU";
        QTest::newRow("cpu") << QStringList{"--cpu"} + sampleLayers() << "3 layers, 320x240, on the CPU";
        // Mesa's llvmpipe, the only renderer here, is slower than the CPU compositor.
        QTest::newRow("default on a software rasteriser") << sampleLayers()
            << "path: CPU (the GL renderer 'llvmpipe";
        QTest::newRow("document, gpu")
            << QStringList{"--gpu", "--progress", doc()} << "2/3: shapes.png, 200x150 at 60,40, Multiply, opacity 0.85, masked";
        QTest::newRow("document, cpu") << QStringList{"--cpu", doc()} << "on the CPU";
        QTest::newRow("document, part") << QStringList{"--size", "200x100", "--gpu", doc()} << "200x100";
    }
    void compose()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, said);
        const QString out = dir.filePath(QString(QTest::currentDataTag()).replace(", ", "-") + ".png");
        QString output;
        QCOMPARE(vell(QStringList{"compose", "-o", out} + args, &output), 0);
        QVERIFY2(output.contains(said), qPrintable(output));
        QImageReader reader(out);
        QCOMPARE(reader.imageFormat(), QImage::Format_ARGB32);   // 8-bit RGBA PNG
        const QImage got = reader.read();
        const bool part = args.contains("--size");
        const QImage want = reference.copy(0, 0, part ? 200 : 320, part ? 100 : 240);
        QCOMPARE(got.size(), want.size());
        int bad = -1;   // the first byte more than 1 off
        for (int i = 0; i < int(want.sizeInBytes()) && bad < 0; ++i)
            if (qAbs(got.constBits()[i] - want.constBits()[i]) > 1)
                bad = i;
        const QPoint at(bad / 4 % want.width(), bad / 4 / want.width());
        QVERIFY2(bad < 0, qPrintable(QString("%1,%2: %3 for %4").arg(at.x()).arg(at.y())
                                         .arg(got.pixel(at), 8, 16).arg(want.pixel(at), 8, 16)));
        // Where only the background shows (no layer above, or the mask's
        // black band over the shapes) it comes through unchanged.
        const QImage background(kSamples + "background.png");
        for (const QPoint p : {QPoint(0, 0), QPoint(160, 100), QPoint(300, 230)})
            QVERIFY(!got.rect().contains(p) || got.pixel(p) == background.pixel(p));
    }

    // A picture host stream may hold a picture with no pixels; no image
    // format can, so unpack refuses it by name and writes nothing.
    void unpackEmpty_data()
    {
        QTest::addColumn<quint32>("width");
        QTest::addColumn<quint32>("height");
        QTest::addColumn<quint32>("pixelWidth");
        QTest::addColumn<QString>("said");
        // One side empty is a damaged stream, refused by the reader; 0 x 0 is
        // the empty picture, which there is no image to save of.
        QTest::newRow("no columns, 8-bit") << 0u << 5u << 4u << "not a valid picture host stream";
        QTest::newRow("no rows, 16-bit") << 3u << 0u << 8u << "not a valid picture host stream";
        QTest::newRow("nothing") << 0u << 0u << 4u << "holds an empty picture (0 x 0)";
    }
    void unpackEmpty()
    {
        QFETCH(quint32, width);
        QFETCH(quint32, height);
        QFETCH(quint32, pixelWidth);
        QFETCH(QString, said);
        const QString in = dir.filePath("empty.vph");
        const QString out = dir.filePath("empty.png");
        QFile file(in);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QDataStream stream(&file);
        stream.setVersion(QDataStream::Qt_4_8);
        stream << width << height << pixelWidth;   // the header; no pixel bytes follow
        file.close();
        QString output;
        QCOMPARE(vell({"unpack", in, out}, &output), 1);
        QVERIFY2(output.contains(said), qPrintable(output));
        QVERIFY(!QFile::exists(out));
    }
};

QTEST_MAIN(TestVellCompose)
#include "tst_vellcompose.moc"
