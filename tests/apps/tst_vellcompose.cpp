// vell compose end to end on the bundled sample: the built binary's output on
// the GPU and on the CPU against the CPU compositor run here on a document
// built from the same files, and a saved document read back.
#include "canvas/vellblendreference.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"

#include <QImageReader>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

namespace {

const QString kSamples = QStringLiteral(VELL_SOURCE_DIR "/data/samples/compose/");
const QString kVell = QStringLiteral(VELL_BINARY_DIR "/apps/vell/vell");

// The sample as scripts/run.sh composes it, one mode spelled another way.
QStringList sampleLayers()
{
    return {kSamples + "background.png",
            kSamples + "shapes.png", "--mode", "multiply", "--opacity", "0.85", "--offset", "60,40",
            "--mask", kSamples + "shapes-mask.png",
            kSamples + "stripes.png", "--mode", "Hard_Light", "--offset", "-40,150"};
}

struct Layer
{
    const char *file;
    int mode;   // the blend-mode table's codes: 30 Multiply, 140 Hard Light
    float opacity;
    QPoint offset;
    const char *mask;
};
const Layer kSample[] = {{"background.png", 0, 1.0f, QPoint(0, 0), nullptr},
                         {"shapes.png", 30, 0.85f, QPoint(60, 40), "shapes-mask.png"},
                         {"stripes.png", 140, 1.0f, QPoint(-40, 150), nullptr}};

VellLayer *makeLayer(const Layer &sample)
{
    const QImage image = QImage(kSamples + sample.file).convertToFormat(QImage::Format_ARGB32);
    auto *host = new VellPictureHost(unsigned(image.width()), unsigned(image.height()), 4);
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(host->getData() + size_t(y) * image.width() * 4, image.constScanLine(y),
                    size_t(image.width()) * 4);
    auto *layer = new VellLayer(sample.file);
    layer->setVellPictureHost(host);
    layer->setBlendMode(sample.mode);
    layer->setAlpha(sample.opacity);
    layer->setPosition(sample.offset);
    if (sample.mask) {
        const QImage grey = QImage(kSamples + sample.mask).convertToFormat(QImage::Format_Grayscale8);
        layer->createLayerMask();
        VellLayerMask *mask = layer->getLayerMask();
        for (int y = 0; y < grey.height(); ++y)
            std::memcpy(mask->getData() + size_t(y) * mask->getPaddedWidth(), grey.constScanLine(y),
                        size_t(grey.width()));
        mask->update();
    }
    return layer;
}

// The largest difference of any channel, and where it is.
QString compare(const QImage &got, const QImage &want, int *worst)
{
    *worst = 0;
    QString where = QStringLiteral("none");
    for (int y = 0; y < want.height(); ++y)
        for (int x = 0; x < want.width(); ++x) {
            const QRgb g = got.pixel(x, y), w = want.pixel(x, y);
            const int d = qMax(qMax(qAbs(qRed(g) - qRed(w)), qAbs(qGreen(g) - qGreen(w))),
                               qMax(qAbs(qBlue(g) - qBlue(w)), qAbs(qAlpha(g) - qAlpha(w))));
            if (d > *worst) {
                *worst = d;
                where = QStringLiteral("%1 at %2,%3: %4 for %5").arg(d).arg(x).arg(y)
                            .arg(g, 8, 16).arg(w, 8, 16);
            }
        }
    return where;
}

} // namespace

class TestVellCompose : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;
    QTemporaryDir dir;
    QImage reference;

    // Runs vell; the exit code, with stdout + stderr in *output.
    int vell(const QStringList &args, QString *output)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(kVell, args);
        if (!process.waitForFinished(120000))
            return -1;
        *output = QString::fromLocal8Bit(process.readAll());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY2(QFileInfo(kVell).isExecutable(), "build the vell target first");
        QVERIFY(dir.isValid());
        VellContextManager *manager = VellContextManager::getInstance();
        VellContext document;
        manager->addContext(&document);
        manager->setCurrentContext(manager->indexOfContext(&document));
        for (const Layer &layer : kSample)
            document.getLayerManager()->addLayer(makeLayer(layer), false);
        QCOMPARE(document.getLayerManager()->getLayerCount(), 3);
        std::unique_ptr<QImage> image(VellBlendReference::renderToImage(&document, 320, 240));
        QVERIFY(image);
        reference = image->convertToFormat(QImage::Format_ARGB32);
    }

    void sample_data()
    {
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("reported");
        QTest::newRow("gpu") << "--gpu" << "on the GPU";
        QTest::newRow("cpu") << "--cpu" << "on the CPU";
    }
    void sample()
    {
        QFETCH(QString, device);
        QFETCH(QString, reported);
        const QString out = dir.filePath(device.mid(2) + ".png");
        QString output;
        QCOMPARE(vell(QStringList{"compose", "-o", out, device} + sampleLayers(), &output), 0);
        QVERIFY2(output.contains("composed 3 layers, 320x240, " + reported), qPrintable(output));
        QImageReader reader(out);
        QCOMPARE(reader.imageFormat(), QImage::Format_ARGB32);   // 8-bit RGBA PNG
        const QImage got = reader.read();
        QCOMPARE(got.size(), QSize(320, 240));
        int worst = 0;
        const QString where = compare(got, reference, &worst);
        QVERIFY2(worst <= 1, qPrintable(where));

        // Where only the background shows (no layer above, or the mask's
        // black band over the shapes) it comes through unchanged.
        const QImage background(kSamples + "background.png");
        for (const QPoint p : {QPoint(300, 230), QPoint(160, 100), QPoint(0, 0)})
            QCOMPARE(got.pixel(p), background.pixel(p));
    }

    // A saved document renders as the composition it came from, also at
    // another size: --size keeps the top-left corner.
    void savedDocument()
    {
        const QString doc = dir.filePath("sample.vdoc");
        const QString first = dir.filePath("first.png");
        QString output;
        QCOMPARE(vell(QStringList{"compose", "-o", first, "--save", doc, "--gpu"} + sampleLayers(),
                      &output), 0);
        const QImage composed(first);

        const QString again = dir.filePath("again.png");
        QCOMPARE(vell({"compose", "-o", again, "--gpu", doc}, &output), 0);
        QVERIFY2(output.contains("layer 2/3: shapes.png, 200x150 at 60,40, Multiply, opacity 0.85, masked"),
                 qPrintable(output));
        QCOMPARE(QImage(again), composed);

        const QString cpu = dir.filePath("again-cpu.png");
        QCOMPARE(vell({"compose", "-o", cpu, "--cpu", doc}, &output), 0);
        int worst = 0;
        const QString where = compare(QImage(cpu), reference, &worst);
        QVERIFY2(worst <= 1, qPrintable(where));

        const QString part = dir.filePath("part.png");
        QCOMPARE(vell({"compose", "-o", part, "--size", "200x100", "--gpu", doc}, &output), 0);
        QCOMPARE(QImage(part), composed.copy(0, 0, 200, 100));
    }
};

QTEST_MAIN(TestVellCompose)
#include "tst_vellcompose.moc"
