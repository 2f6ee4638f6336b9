#include "interchange/vellorareader.h"
#include "interchange/vellorawriter.h"

#include "canvas/vellblendreference.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/vellmemory.h"
#include "interchange/oratestsupport.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <tuple>
#include <vector>

using OraTest::Entry;

namespace {

QImage solid(const QSize &size, QRgb colour)
{
    QImage image(size, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

// Sets `value` at `offset` of every local and central header, whatever
// entry it belongs to (the archives patched here hold no binary data).
QByteArray patchHeaders(QByteArray bytes, int localOffset, int centralOffset, quint16 value)
{
    const auto patch = [&](const QByteArray &signature, int offset) {
        for (int at = bytes.indexOf(signature); at >= 0; at = bytes.indexOf(signature, at + 4)) {
            bytes[at + offset] = char(value & 0xff);
            bytes[at + offset + 1] = char(value >> 8);
        }
    };
    patch(QByteArray("PK\x03\x04", 4), localOffset);
    patch(QByteArray("PK\x01\x02", 4), centralOffset);
    return bytes;
}

QString nested(int depth, const QString &inner)
{
    QString xml = inner;
    for (int i = 0; i < depth; ++i)
        xml = QStringLiteral("<stack isolation=\"auto\">%1</stack>").arg(xml);
    return xml;
}

struct Read
{
    std::unique_ptr<VellContext> document;
    QStringList warnings;
    QString error;
};

Read readBytes(const QByteArray &bytes)
{
    VellOraReader reader;
    Read result;
    if (reader.openData(bytes, QStringLiteral("test.ora")))
        result.document.reset(reader.readDocument());
    result.warnings = reader.warnings();
    result.error = reader.errorString();
    return result;
}

VellLayer *layerAt(const Read &read, int index)
{
    return qobject_cast<VellLayer *>(read.document->getLayerManager()->getLayer(index));
}

QImage layerImage(const VellLayer *layer)
{
    const VellPictureHost *host = layer->getPictureHost();
    return QImage(host->getData(), int(host->getWidth()), int(host->getHeight()), QImage::Format_ARGB32).copy();
}

// The layers top first as "name: Mode", with ", hidden" where not visible.
QStringList describeLayers(VellContext *document)
{
    QStringList lines;
    VellLayerManager *stack = document->getLayerManager();
    for (int i = int(stack->getLayerCount()) - 1; i >= 0; --i) {
        const VellLayerBase *layer = stack->getLayer(i);
        lines << QStringLiteral("%1: %2%3").arg(layer->getLayerName(), VellLayerBase::getBlendModeName(layer->getBlendMode()),
                                               layer->visible ? QString() : QStringLiteral(", hidden"));
    }
    return lines;
}

} // namespace

class TestVellOraReader : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;
    QByteArray pngA, pngB;

    QByteArray ora(const QString &stack, QVector<Entry> pngs = {}, const QSize &size = QSize(8, 6))
    {
        pngs += { { QStringLiteral("data/a.png"), pngA }, { QStringLiteral("data/b.png"), pngB } };
        return OraTest::oraWith(dir, stack, pngs, size);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        pngA = OraTest::png(solid(QSize(4, 3), qRgba(200, 40, 10, 255)));
        pngB = OraTest::png(solid(QSize(8, 6), qRgba(20, 100, 240, 128)));
    }

    void refused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");   // a part of the message
        const QString layer = QStringLiteral("<layer src=\"data/a.png\"/>");
        const QByteArray good = ora(layer);
        QVERIFY(readBytes(good).document);
        QTest::newRow("empty") << QByteArray() << "not a readable zip";
        QTest::newRow("not a zip") << QByteArray("just some text, not an archive") << "not a readable zip";
        QTest::newRow("truncated by half") << good.left(good.size() / 2) << "not a readable zip";
        QTest::newRow("last byte missing") << good.left(good.size() - 1) << "not a readable zip";
        QTest::newRow("no stack.xml")
            << OraTest::archive(dir, { { "mimetype", "image/openraster" }, { "data/a.png", pngA } }) << "no stack.xml";
        QByteArray wrongMime = good;
        wrongMime.replace("image/openraster", "image/openraste!");
        QTest::newRow("wrong mimetype text") << wrongMime << "mimetype is";
        QTest::newRow("DOCTYPE")
            << OraTest::archive(dir, { { "mimetype", "image/openraster" },
                                       { "stack.xml", "<?xml version=\"1.0\"?><!DOCTYPE image [<!ENTITY e \"x\">]>"
                                                      "<image w=\"1\" h=\"1\"><stack/></image>" } })
            << "DOCTYPE";
        QTest::newRow("not well-formed") << ora(QStringLiteral("<layer src=\"data/a.png\">")) << "not well-formed";
        QTest::newRow("no stack") << OraTest::archive(dir, { { "mimetype", "image/openraster" },
                                                             { "stack.xml", "<image w=\"1\" h=\"1\"/>" } })
                                  << "no <stack>";
        QTest::newRow("33 stacks deep") << ora(nested(32, layer)) << "nested deeper than 32";
        QTest::newRow("4097 layers") << ora(layer.repeated(4097)) << "more than 4096 layers";
        QTest::newRow("4097 stacks") << ora(QStringLiteral("<stack/>").repeated(4097)) << "more than 4096 stacks";
        QTest::newRow("width 0") << ora(layer, {}, QSize(0, 6)) << "image size 0 x 6";
        QTest::newRow("negative height") << ora(layer, {}, QSize(8, -6)) << "image size 8 x -6";
        QTest::newRow("width over the limit") << ora(layer, {}, QSize(7201, 6)) << "image size 7201 x 6";
        QTest::newRow("pixels over the limit") << ora(layer, {}, QSize(7000, 7000)) << "image size 7000 x 7000";
        QTest::newRow("layer PNG over the limit")
            << ora(QStringLiteral("<layer src=\"data/wide.png\"/>"),
                   { { QStringLiteral("data/wide.png"), OraTest::png(solid(QSize(7201, 1), 0u)) } })
            << "data/wide.png is 7201 x 1 pixels";
        QTest::newRow("group spanning offsets summed through stacks")
            << ora(QStringLiteral("<stack><stack isolation=\"auto\" x=\"1000000000\"><stack isolation=\"auto\" "
                                  "x=\"1000000000\"><layer src=\"data/a.png\"/></stack></stack>"
                                  "<layer src=\"data/a.png\" x=\"-1000000000\"/></stack>"))
            << "a group spans";
        const QByteArray huge = QByteArray("<image w=\"1\" h=\"1\"><stack/></image>") + QByteArray(16 << 20, ' ');
        QTest::newRow("stack.xml over 16 MiB")
            << OraTest::archive(dir, { { "mimetype", "image/openraster" }, { "stack.xml", huge, VellZipArchive::Deflated } })
            << "over the cap";
        QTest::newRow("bzip2 entries") << patchHeaders(good, 8, 10, 12) << "compression method 12";
        QTest::newRow("encrypted entries") << patchHeaders(good, 6, 8, 1) << "encrypted";
    }

    // Refusals name the file and the reason, build nothing and leave the
    // memory budget as it was.
    void refused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        const qint64 used = VellMemory::getInstance()->getUsed();
        const Read read = readBytes(bytes);
        QVERIFY(!read.document);
        QVERIFY2(read.error.startsWith(QLatin1String("test.ora: ")), qPrintable(read.error));
        QVERIFY2(read.error.contains(reason), qPrintable(read.error));
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
    }

    void repaired_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("layer");     // the top layer as read
        QTest::addColumn<QStringList>("warnings");   // a part of each warning expected, in order
        QTest::newRow("plain") << ora(QStringLiteral("<layer name=\"a\" src=\"data/a.png\" x=\"2\" y=\"-1\" opacity=\"0.25\"/>"))
                               << "a 4x3 at 2,-1 mode 0 opacity 0.25 visible" << QStringList();
        QTest::newRow("no source") << ora(QStringLiteral("<layer name=\"e\"/>"))
                                   << "e 1x1 at 0,0 mode 0 opacity 1 visible" << QStringList{ "no source" };
        QTest::newRow("source missing") << ora(QStringLiteral("<layer name=\"e\" src=\"data/gone.png\"/>"))
                                        << "e 1x1 at 0,0 mode 0 opacity 1 visible" << QStringList{ "missing" };
        QTest::newRow("NaN opacity") << ora(QStringLiteral("<layer name=\"n\" src=\"data/a.png\" opacity=\"nan\"/>"))
                                     << "n 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "opacity \"nan\" read as 1" };
        QTest::newRow("opacity out of range") << ora(QStringLiteral("<layer name=\"o\" src=\"data/a.png\" opacity=\"7\"/>"))
                                              << "o 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList();
        QTest::newRow("half-pixel offsets") << ora(QStringLiteral("<layer name=\"h\" src=\"data/a.png\" x=\"2.5\" y=\"-0.5\"/>"))
                                            << "h 4x3 at 3,0 mode 0 opacity 1 visible" << QStringList{ "x=2.5 rounded", "y=-0.5 rounded" };
        QTest::newRow("unknown op") << ora(QStringLiteral("<layer name=\"u\" src=\"data/a.png\" composite-op=\"svg:pigment\"/>"))
                                    << "u 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "svg:pigment\" read as Normal" };
        QTest::newRow("LazPaint's add") << ora(QStringLiteral("<layer name=\"l\" src=\"data/a.png\" composite-op=\"svg:add\"/>"))
                                        << "l 4x3 at 0,0 mode 100 opacity 1 visible" << QStringList();
        QTest::newRow("LazPaint's linear-light op")
            << ora(QStringLiteral("<layer name=\"d\" src=\"data/a.png\" composite-op=\"svg:difference\" gamma-correction=\"yes\"/>"))
            << "d 4x3 at 0,0 mode 190 opacity 1 visible" << QStringList{ "\"svg:difference\" in linear light read as Difference" };
        QTest::newRow("MyPaint's linear light")
            << OraTest::archive(dir, { { "mimetype", "image/openraster" },
                                       { "stack.xml", "<image w=\"8\" h=\"6\" xmlns:mypaint=\"http://mypaint.org/ns/openraster\" "
                                                      "mypaint:eotf=\"2.2\"><stack><layer name=\"c\" src=\"a.png\"/></stack></image>" },
                                       { "a.png", pngA } })
            << "c 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "linear light (eotf 2.2)" };
        QTest::newRow("our mode wins") << ora(QStringLiteral("<layer name=\"m\" src=\"data/a.png\" composite-op=\"svg:multiply\" vell:mode=\"160\"/>"))
                                       << "m 4x3 at 0,0 mode 160 opacity 1 visible" << QStringList();
        QTest::newRow("bad mode code falls back") << ora(QStringLiteral("<layer name=\"m\" src=\"data/a.png\" composite-op=\"svg:screen\" vell:mode=\"15\"/>"))
                                                  << "m 4x3 at 0,0 mode 80 opacity 1 visible" << QStringList();
        QTest::newRow("filter and text skipped")
            << ora(QStringLiteral("<filter type=\"blur\"/><layer name=\"f\" src=\"data/a.png\"/><text>hi</text>"))
            << "f 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "1 <filter> element(s) skipped", "1 <text> element(s) skipped" };
        QTest::newRow("non-PNG source skipped")
            << ora(QStringLiteral("<layer name=\"j\" src=\"data/x.jpg\"/><layer name=\"a\" src=\"data/a.png\"/>"))
            << "a 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "not a PNG, skipped" };
        QTest::newRow("auto stack inlined")
            << ora(QStringLiteral("<stack isolation=\"auto\" opacity=\"0.5\" x=\"3\" y=\"1\" visibility=\"hidden\">"
                                  "<layer name=\"in\" src=\"data/a.png\" opacity=\"0.5\" x=\"1\"/></stack>"))
            << "in 4x3 at 4,1 mode 0 opacity 0.25 hidden" << QStringList();
        QTest::newRow("32 stacks deep") << ora(nested(31, QStringLiteral("<layer name=\"deep\" src=\"data/a.png\"/>")))
                                        << "deep 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList();
        // Our text layer's record, unusable: its PNG stands in.
        const QString text = QStringLiteral("<layer name=\"t\" src=\"data/a.png\" vell:text-src=\"data/t.bin\"%1/>");
        const QString version2 = QStringLiteral(" vell:text-version=\"2\"");
        for (const auto &[row, xml, record, warning] :
             std::vector<std::tuple<const char *, QString, Entry, const char *>>{
                 { "text record corrupt", text.arg(version2), { "data/t.bin", "not a record" }, "is corrupt" },
                 { "text record missing", text.arg(version2), { "data/other.bin", "" }, "missing" },
                 { "text record without a version", text.arg(QString()), { "data/t.bin", "" }, "has no stream version" },
                 { "text record over 16 MiB", text.arg(version2),
                   { "data/t.bin", QByteArray((16 << 20) + 1, ' '), VellZipArchive::Deflated }, "states 16777217 bytes" } })
            QTest::newRow(row) << ora(xml, { record }) << "t 4x3 at 0,0 mode 0 opacity 1 visible"
                               << QStringList{ QStringLiteral("text record data/t.bin ") + warning };
        QTest::newRow("mimetype compressed")
            << OraTest::archive(dir, { { "mimetype", "image/openraster", VellZipArchive::Deflated },
                                       { "stack.xml", "<image w=\"8\" h=\"6\"><stack><layer name=\"c\" src=\"a.png\"/></stack></image>" },
                                       { "a.png", pngA } })
            << "c 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "mimetype is compressed" };
        QTest::newRow("mimetype not first")
            << OraTest::archive(dir, { { "stack.xml", "<image w=\"8\" h=\"6\"><stack><layer name=\"c\" src=\"a.png\"/></stack></image>" },
                                       { "mimetype", "image/openraster" }, { "a.png", pngA } })
            << "c 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "not the first entry" };
        QTest::newRow("no mimetype")
            << OraTest::archive(dir, { { "stack.xml", "<image w=\"8\" h=\"6\"><stack><layer name=\"c\" src=\"a.png\"/></stack></image>" },
                                       { "a.png", pngA } })
            << "c 4x3 at 0,0 mode 0 opacity 1 visible" << QStringList{ "no mimetype" };
    }

    void repaired()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, layer);
        QFETCH(QStringList, warnings);
        const Read read = readBytes(bytes);
        QVERIFY2(read.document, qPrintable(read.error));
        VellLayerManager *stack = read.document->getLayerManager();
        const VellLayer *top = qobject_cast<VellLayer *>(stack->getLayer(stack->getLayerCount() - 1));
        QVERIFY(top);
        QCOMPARE(QStringLiteral("%1 %2x%3 at %4,%5 mode %6 opacity %7 %8")
                     .arg(top->getLayerName()).arg(top->getWidth()).arg(top->getHeight())
                     .arg(top->getPosition().x()).arg(top->getPosition().y()).arg(top->getBlendMode())
                     .arg(double(top->getAlpha())).arg(top->visible ? "visible" : "hidden"),
                 layer);
        QCOMPARE(read.warnings.size(), warnings.size());
        for (int i = 0; i < warnings.size(); ++i)
            QVERIFY2(read.warnings.at(i).contains(warnings.at(i)), qPrintable(read.warnings.at(i)));
    }

    // Without our vell:mode, the composite-op alone gives every mode back.
    void compositeOpNames_data()
    {
        QTest::addColumn<int>("mode");
        for (int mode = VellBlend::Normal; mode <= VellBlend::Luminosity; mode += VellBlend::Step)
            QTest::addRow("%s", qPrintable(VellOraWriter::compositeOp(mode))) << mode;
    }

    void compositeOpNames()
    {
        QFETCH(int, mode);
        const Read read = readBytes(ora(QStringLiteral("<layer src=\"data/a.png\" composite-op=\"%1\"/>")
                                            .arg(VellOraWriter::compositeOp(mode).toHtmlEscaped())));
        QVERIFY2(read.document, qPrintable(read.error));
        QCOMPARE(layerAt(read, 0)->getBlendMode(), mode);
        QCOMPARE(read.warnings, QStringList());
    }

    // An isolated group becomes one layer holding its members' composite,
    // with the group's name, opacity and mode.
    void isolatedGroupFlattened()
    {
        const Read read = readBytes(ora(QStringLiteral(
            "<layer name=\"top\" src=\"data/a.png\"/>"
            "<stack name=\"group\" opacity=\"0.5\" composite-op=\"svg:screen\" x=\"1\" y=\"1\">"
            "<layer name=\"a\" src=\"data/a.png\" composite-op=\"svg:multiply\" x=\"2\"/>"
            "<layer name=\"b\" src=\"data/b.png\"/></stack>")));
        QVERIFY2(read.document, qPrintable(read.error));
        QCOMPARE(read.document->getLayerManager()->getLayerCount(), 2);
        const VellLayer *group = layerAt(read, 0);
        QCOMPARE(group->getLayerName(), QStringLiteral("group"));
        QCOMPARE(group->getAlpha(), 0.5f);
        QCOMPARE(group->getBlendMode(), int(VellBlend::Screen));
        QCOMPARE(group->getPosition(), QPointF(1, 1));
        QCOMPARE(QSize(group->getWidth(), group->getHeight()), QSize(8, 6));
        QCOMPARE(read.warnings.size(), 1);
        const QImage pixels = layerImage(group);
        // b alone: its own colour. Under a (x 2..5, y 0..2): multiply of
        // a's opaque colour over b weighted by b's alpha, as the compositor
        // defines it; full alpha.
        QCOMPARE(pixels.pixel(0, 0), qRgba(20, 100, 240, 128));
        const auto mixed = [](int a, int b) {
            const double ab = 128 / 255.0;
            return int(std::floor((1 - ab) * a + ab * (a * b / 255.0) + 0.5));
        };
        QCOMPARE(pixels.pixel(3, 1), qRgba(mixed(200, 20), mixed(40, 100), mixed(10, 240), 255));
    }

    // A layer under a Porter-Duff operator is flattened with what lies
    // below it: dst-out cuts the backdrop by the layer's alpha.
    void porterDuffFlattened()
    {
        const QByteArray bytes = ora(QStringLiteral(
            "<layer name=\"cut\" src=\"data/c.png\" composite-op=\"svg:dst-out\" x=\"1\" y=\"1\"/>"
            "<layer name=\"base\" src=\"data/a.png\"/>"),
            { { QStringLiteral("data/c.png"), OraTest::png(solid(QSize(2, 2), qRgba(0, 0, 0, 102))) } });
        const Read read = readBytes(bytes);
        QVERIFY2(read.document, qPrintable(read.error));
        QCOMPARE(read.document->getLayerManager()->getLayerCount(), 1);
        const VellLayer *flat = layerAt(read, 0);
        QCOMPARE(flat->getLayerName(), QStringLiteral("cut"));
        QCOMPARE(QSize(flat->getWidth(), flat->getHeight()), QSize(4, 3));
        const QImage pixels = layerImage(flat);
        QCOMPARE(pixels.pixel(0, 0), qRgba(200, 40, 10, 255));
        QCOMPARE(pixels.pixel(1, 1), qRgba(200, 40, 10, 153));   // 255 (1 - 102 / 255)
        QCOMPARE(pixels.pixel(2, 2), qRgba(200, 40, 10, 153));
        QCOMPARE(pixels.pixel(3, 2), qRgba(200, 40, 10, 255));
        QCOMPARE(read.warnings.size(), 1);
    }

    // Another program's 16-bit PNG becomes an 8-byte layer, words kept.
    void sixteenBitPng()
    {
        QImage deep(3, 2, QImage::Format_RGBA64);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < 3; ++x)
                deep.setPixelColor(x, y, QColor::fromRgba64(quint16(1000 * x + 7), quint16(30000 + y), 65535,
                                                            quint16(40000 + x * 11)));
        const Read read = readBytes(ora(QStringLiteral("<layer src=\"data/deep.png\"/>"),
                                        { { QStringLiteral("data/deep.png"), OraTest::png(deep) } }));
        QVERIFY2(read.document, qPrintable(read.error));
        const VellPictureHost *host = layerAt(read, 0)->getPictureHost();
        QCOMPARE(host->getPixelWidth(), 8u);
        const auto *words = reinterpret_cast<const quint16 *>(host->getData());
        QCOMPARE(words[0], quint16(65535));          // blue
        QCOMPARE(words[1], quint16(30000));          // green
        QCOMPARE(words[4 * 5 + 2], quint16(2007));   // red of (2, 1)
        QCOMPARE(words[4 * 5 + 3], quint16(40022));  // alpha of (2, 1)
    }

    // The stored images are read one entry each, and their absence warns.
    void storedImagesMissing()
    {
        VellOraReader reader;
        QVERIFY(reader.openData(ora(QStringLiteral("<layer src=\"data/a.png\"/>")), QStringLiteral("x.ora")));
        QVERIFY(reader.mergedImage().isNull());
        QVERIFY(reader.thumbnail().isNull());
        QCOMPARE(reader.warnings(), QStringList({ "no mergedimage.png", "no Thumbnails/thumbnail.png" }));
    }

    // Files that LazPaint and MyPaint wrote (tests/interchange/fixtures, with
    // the scripts that made them): their layers, and our composite of them
    // next to the merged image they stored. They composite in 8-bit or
    // 15-bit fixed point and round otherwise than we do.
    void otherProgramsFiles_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("layers");
        QTest::addColumn<QStringList>("warnings");
        QTest::addColumn<int>("tolerance");   // in 8-bit levels, any channel
        QTest::newRow("LazPaint 7.2.2")
            << "lazpaint-modes.ora"
            << QStringList({ "hidden: Multiply, hidden", "normal 191: Normal", "add: Linear Dodge", "exclusion: Exclusion",
                             "difference: Difference", "soft light: Soft Light", "hard light: Hard Light",
                             "color dodge: Color Dodge", "color burn: Color Burn", "lighten: Lighten", "darken: Darken",
                             "overlay: Overlay", "screen: Screen", "multiply: Multiply", "backdrop: Normal" })
            << QStringList() << 2;
        QTest::newRow("MyPaint 2.0.1, 1.x mode")
            << "mypaint-modes.ora"
            << QStringList({ "hidden: Multiply, hidden", "isolated group: Normal", "luminosity: Luminosity",
                             "color: Color", "saturation: Saturation", "hue: Hue", "exclusion: Exclusion",
                             "difference: Difference", "softlight: Soft Light", "hardlight: Hard Light",
                             "colorburn: Color Burn", "colordodge: Color Dodge", "lighten: Lighten", "darken: Darken",
                             "overlay: Overlay", "screen: Screen", "multiply: Multiply", "backdrop: Normal",
                             "background: Normal" })
            << QStringList({ "\"isolated group\": group of 1 layers flattened" }) << 1;
    }

    void otherProgramsFiles()
    {
        QFETCH(QString, file);
        QFETCH(QStringList, layers);
        QFETCH(QStringList, warnings);
        QFETCH(int, tolerance);
        VellOraReader reader;
        QVERIFY2(reader.openFile(QStringLiteral(VELL_SOURCE_DIR "/tests/interchange/fixtures/") + file),
                 qPrintable(reader.errorString()));
        std::unique_ptr<VellContext> document(reader.readDocument());
        QVERIFY2(document, qPrintable(reader.errorString()));
        QCOMPARE(describeLayers(document.get()), layers);
        QCOMPARE(reader.warnings(), warnings);

        const QImage stored = reader.mergedImage();
        QCOMPARE(stored.size(), reader.imageSize());
        std::unique_ptr<QImage> ours(VellBlendReference::renderToImage(document.get(), stored.width(), stored.height()));
        QVERIFY(ours);
        for (int y = 0; y < stored.height(); ++y)
            for (int x = 0; x < stored.width(); ++x) {
                const QRgb a = ours->pixel(x, y), b = stored.pixel(x, y);
                const int diff = std::max({ std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                            std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b)) });
                if (diff > tolerance)
                    QFAIL(qPrintable(QStringLiteral("%1,%2: ours %3, theirs %4")
                                         .arg(x).arg(y).arg(a, 8, 16, QLatin1Char('0')).arg(b, 8, 16, QLatin1Char('0'))));
            }
    }

    void canRead()
    {
        QVERIFY(!VellOraReader::canRead(QByteArray()));
        QVERIFY(!VellOraReader::canRead(ora(QStringLiteral("<layer src=\"data/a.png\"/>")).replace("mimetype", "mimetypf")));
        QVERIFY(VellOraReader::canRead(ora(QStringLiteral("<layer src=\"data/a.png\"/>"))));
    }
};

QTEST_GUILESS_MAIN(TestVellOraReader)
#include "tst_vellorareader.moc"
