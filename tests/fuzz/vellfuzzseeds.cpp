// Writes small seed inputs for every harness with the library's own writers,
// into FOLDER/<harness>/: vell-fuzz-seeds FOLDER. The seeds in the
// repository were made by it; run it again when a stream form changes.

#include "vellfuzz.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velllayermask.h"
#include "foundation/vellglobalsettings.h"
#include "picture/vellchannel.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpngwriter.h"
#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionlogo.h"
#include "presets/vellbatchactionrecord.h"
#include "presets/vellbatchactionresize.h"
#include "presets/vellbatchactionrotation.h"
#include "presets/vellbatchactiontext.h"
#include "selection/vellselection.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"
#include "tools/velltoolrecord.h"

#include <QBuffer>
#include <QColorSpace>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageWriter>

#include <cstdio>
#include <functional>

namespace {

QString outRoot;

bool save(const QString &harness, const QString &name, const QByteArray &bytes)
{
    const QString dir = outRoot + QLatin1Char('/') + harness;
    QFile file(dir + QLatin1Char('/') + name);
    if (!QDir().mkpath(dir) || !file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
        return false;
    }
    return true;
}

// What a writer puts into a stream of the library's file version.
QByteArray streamed(const std::function<void(QDataStream &)> &write)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    write(out);
    return bytes;
}

// A small picture with a different value in every byte.
VellPictureHost *host(unsigned width, unsigned height, unsigned pixelWidth, int seed)
{
    auto *h = new VellPictureHost(width, height, pixelWidth);
    for (qint64 i = 0; i < h->getByteCount(); ++i)
        h->getData()[i] = uchar(i * 37 + seed);
    return h;
}

VellLayer *layer(const char *name, unsigned width, unsigned height, bool masked, int seed)
{
    auto *l = new VellLayer(QString::fromLatin1(name));
    l->setVellPictureHost(host(width, height, 4, seed));
    l->setAlpha(0.75f);
    l->setPosition(QPointF(3, -2));
    if (masked) {
        l->createLayerMask();
        l->getLayerMask()->getData()[1] = 17;
    }
    return l;
}

// The harnesses' leading byte: its low bit picks layer stream version 2.
QByteArray versioned(int version, const QByteArray &stream)
{
    return QByteArray(1, char(version == 2 ? 1 : 0)) + stream;
}

QByteArray image(const QImage &picture, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    return writer.write(picture) ? bytes : QByteArray();
}

// A filter that names its presets without asking, so its writer makes a
// preset's ".name" companion.
class NamedPresetTool : public VellToolBase
{
public:
    NamedPresetTool() { name = QStringLiteral("Fuzz Seeds"); }

protected:
    QString askPresetName(const QString &) override { return QStringLiteral("Soft light"); }
};

// The preset harness's inputs: a byte picking the plug-in (with the high bit,
// through the presets folder), then each plug-in's default preset and one
// with every parameter at its minimum; then a ".name" companion. The tool
// record harness's: one tool's record, every tool's in turn, and an unknown
// id.
bool toolSeeds()
{
    const char *const ids[] = {"invert", "brightness-contrast", "gaussian-blur", "unsharp-mask", "median", "mask-levels"};
    VellToolManager *manager = VellToolManager::getInstance();
    manager->setToolsPath(QStringLiteral(VELL_PLUGIN_TOOLS_DIR));
    manager->loadTools();
    bool ok = true;
    QByteArray everyTool;
    QBuffer recordBuffer(&everyTool);
    recordBuffer.open(QIODevice::WriteOnly);
    QDataStream recordStream(&recordBuffer);
    recordStream.setVersion(QDataStream::Qt_4_8);
    VellToolRecord record;
    record.recording = true;
    record.stream = &recordStream;
    for (int i = 0; i < 6; ++i) {
        auto *tool = qobject_cast<VellToolBase *>(manager->getTool(QStringLiteral("Filter"), QLatin1String(ids[i])));
        if (!tool) {
            std::fprintf(stderr, "no plug-in %s in %s\n", ids[i], VELL_PLUGIN_TOOLS_DIR);
            return false;
        }
        tool->initParams();
        const QByteArray defaults = tool->parameterBytes();
        ok &= save("preset", QStringLiteral("%1-default").arg(ids[i]), QByteArray(1, char(i)) + defaults);
        if (i == 0) {
            VellToolRecord one;
            QByteArray bytes;
            QBuffer buffer(&bytes);
            buffer.open(QIODevice::WriteOnly);
            QDataStream out(&buffer);
            out.setVersion(QDataStream::Qt_4_8);
            one.recording = true;
            one.stream = &out;
            one.Recode(tool);
            ok &= save("toolrecord", QStringLiteral("%1").arg(ids[i]), bytes);
        }
        const QVector<VellToolParameter> parameters = tool->parameterList();
        if (parameters.isEmpty())
            continue;
        for (const VellToolParameter &p : parameters)
            ok &= tool->setParameterValue(p.name, p.minimum);
        ok &= save("preset", QStringLiteral("%1-minimum-folder").arg(ids[i]),
                   QByteArray(1, char(0x80 | i)) + tool->parameterBytes());
        record.Recode(tool);
        tool->initParams();
    }
    ok &= save("toolrecord", "every-tool", everyTool);
    ok &= save("toolrecord", "unknown-id", streamed([](QDataStream &out) { out << QStringLiteral("no-such-tool"); }));

    NamedPresetTool named;
    named.saveCurrentPreset();
    QFile names(named.getPresetsPath() + QStringLiteral("/Soft light.name"));
    if (!names.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "the preset writer made no names file\n");
        return false;
    }
    ok &= save("preset", "names", QByteArray(1, char(6)) + names.readAll());
    names.close();
    QDir(named.getPresetsPath()).removeRecursively();   // the data location outlives this run
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    VellFuzz::setUp();
    outRoot = QString::fromLocal8Bit(argv[1]);
    bool ok = true;

    for (unsigned pw : {4u, 8u}) {
        std::unique_ptr<VellPictureHost> h(host(3, 2, pw, int(pw)));
        ok &= save("picturehost", QStringLiteral("3x2x%1").arg(pw), streamed([&](QDataStream &out) { out << h.get(); }));
    }
    std::unique_ptr<VellPictureHost> empty(new VellPictureHost(0, 0, 4));
    ok &= save("picturehost", "empty", streamed([&](QDataStream &out) { out << empty.get(); }));

    VellChannel channel(5, 2);
    channel.getData()[2] = 9;
    ok &= save("channel", "5x2", streamed([&](QDataStream &out) { out << &channel; }));
    VellChannel none(0, 0);
    ok &= save("channel", "empty", streamed([&](QDataStream &out) { out << &none; }));
    VellLayerMask mask(6, 1);
    mask.getData()[0] = 3;
    ok &= save("mask", "6x1", streamed([&](QDataStream &out) { out << &mask; }));

    // A partly selected block (a mask), everything selected, and no pixels.
    VellSelection shape(nullptr, 6, 4);
    const unsigned char block[] = {200, 255, 90, 255, 255, 130, 60, 255, 255, 255, 140, 255};
    shape.addMask(block, 4, 3, 1, 1);
    ok &= save("selection", "6x4-mask", streamed([&](QDataStream &out) { out << &shape; }));
    VellSelection all(nullptr, 3, 2);
    all.selectAll();
    ok &= save("selection", "3x2-all", streamed([&](QDataStream &out) { out << &all; }));
    const VellSelection nothing(nullptr, 0, 0);
    ok &= save("selection", "empty", streamed([&](QDataStream &out) { out << &nothing; }));

    // Batch-action files: one of every step, an empty one, and a logo and a
    // text step as files before the alignment fields (20101116) wrote them.
    for (int version : {20111231, 20101116}) {
        VellGlobalSettings *settings = VellGlobalSettings::getInstance();
        settings->currentVersion = version;
        VellBatchActionRecord record;
        if (version == 20111231) {
            auto *filter = new VellBatchActionFilter;
            filter->setName(QStringLiteral("Invert"));
            filter->setToolId(QStringLiteral("invert"));
            filter->setParams(QByteArray("\x00\x00\x00\x05", 4));
            record.addAction(filter);
            auto *resize = new VellBatchActionResize;
            resize->setResizeMode(1);
            resize->setParam(50, 50);
            record.addAction(resize);
            auto *rotation = new VellBatchActionRotation;
            rotation->setRotation(90);
            record.addAction(rotation);
        }
        auto *logo = new VellBatchActionLogo;
        QImage picture(2, 2, QImage::Format_ARGB32);
        picture.fill(qRgba(200, 10, 10, 128));
        logo->setImage(picture);
        logo->setAccordingToLeft(false);
        logo->setFactor(0.5f);
        record.addAction(logo);
        auto *text = new VellBatchActionText;
        text->setText(QStringLiteral("vell"));
        text->setColor(QColor(10, 20, 30));
        text->setAccordingToTop(false);
        record.addAction(text);
        ok &= save("vba", version == 20111231 ? "every-step" : "20101116-stamps",
                   streamed([&](QDataStream &out) { record.save(out); }));
        settings->currentVersion = 20111231;
    }
    VellBatchActionRecord emptyRecord;
    ok &= save("vba", "empty", streamed([&](QDataStream &out) { emptyRecord.save(out); }));

    for (int version : {1, 2}) {
        VellGlobalSettings::getInstance()->streamWriteVersion = version;
        for (bool masked : {false, true}) {
            std::unique_ptr<VellLayer> l(layer("L", 2, 3, masked, version));
            ok &= save("layer", QStringLiteral("v%1%2").arg(version).arg(masked ? "-masked" : ""),
                       versioned(version, streamed([&](QDataStream &out) { out << l.get(); })));
        }
        // A stack, and a document around one, written by their writers.
        VellContext document;
        VellLayerManager *stack = document.getLayerManager();
        // Stacks change only for a current document; this one needs no undo.
        VellLayerManager::setDocumentProbe([] { return VellLayerManager::Document{true, {}, {}}; });
        stack->addLayer(layer("A", 2, 2, false, 1), false);
        stack->addLayer(layer("B", 1, 2, true, 2), false);
        VellLayerManager::setDocumentProbe(nullptr);
        ok &= save("layerstack", QStringLiteral("v%1-two-layers").arg(version),
                   versioned(version, streamed([&](QDataStream &out) { out << stack; })));
        ok &= save("document", QStringLiteral("v%1-two-layers").arg(version),
                   versioned(version, streamed([&](QDataStream &out) { out << &document; })));
    }
    VellGlobalSettings::getInstance()->streamWriteVersion = 0;

    QFile commands(QStringLiteral(VELL_SOURCE_DIR "/data/commands.xml"));
    if (commands.open(QIODevice::ReadOnly)) {
        // The first lines, closed again: the same shape in a few hundred bytes.
        const QList<QByteArray> lines = commands.readAll().split('\n');
        ok &= save("commandxml", "head", lines.mid(0, 8).join('\n') + "\n</Commands>\n");
    } else {
        ok = false;
    }
    ok &= save("commandxml", "empty-root", "<Commands/>");

    QImage picture(5, 3, QImage::Format_ARGB32);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            picture.setPixel(x, y, qRgba(x * 50, y * 80, 90, 255 - x * 20));
    for (const char *format : {"png", "jpeg", "bmp", "tiff", "webp"}) {
        const QByteArray bytes = image(picture, format);
        if (!bytes.isEmpty())
            ok &= save("picturereader", QStringLiteral("5x3.%1").arg(format), bytes);
    }

    // The PNG reader's: every row filter, several IDAT chunks, each colour
    // type our writer makes, and a profile.
    const auto png = [](const QImage &source, int filter) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        VellPngWriter writer;
        writer.setFilter(filter);
        writer.setStripRows(1);
        return writer.write(source, &buffer) ? bytes : QByteArray();
    };
    for (int filter = 0; filter < 5; ++filter)
        ok &= save("pngreader", QStringLiteral("5x3-rgba-filter%1.png").arg(filter), png(picture, filter));
    // 'C' first: the harness makes the CRCs right after each mutation.
    ok &= save("pngreader", "crc-fixed-5x3-rgba-filter4.png", "C" + png(picture, 4));
    ok &= save("pngreader", "5x3-grey.png", png(picture.convertToFormat(QImage::Format_Grayscale8), 1));
    QImage profiled = picture.convertToFormat(QImage::Format_RGB32);
    profiled.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
    ok &= save("pngreader", "5x3-rgb-profile.png", png(profiled, 4));

    ok &= save("colourdetect", "adobe-head", QByteArray(64, '\0') + "ICC profile: Adobe RGB (1998)" + QByteArray(64, 'x'));
    ok &= save("colourdetect", "prophoto-tail", QByteArray("no names here") + QByteArray(600, '\0') + "profile ProPhoto RGB");
    ok &= save("colourdetect", "plain", "nothing to see");
    ok &= toolSeeds();
    return ok ? 0 : 1;
}
