// Times OpenRaster files of a 3-layer 6000 x 4000 document (Normal, Multiply
// with a soft mask, Overlay at opacity 0.5): writing (masks as stacks and
// baked) with the file's size, reading into a document and reading plus
// compositing to a PNG (written as vell compose writes it), each next to the
// library's own document stream, and the share that PNG coding alone takes.
// No GL.
//
//   ./build/bench/bench_ora [FOLDER]   (files go to FOLDER, default a temporary one)
#include "canvas/vellblendreference.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/vellmemory.h"
#include "interchange/vellorareader.h"
#include "interchange/vellorawriter.h"
#include "interchange/vellziparchive.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpngwriter.h"
#include "selection/vellselection.h"

#include "vellbenchtimer.h"

#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QTemporaryDir>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

const int W = 6000, H = 4000;
const int kRuns = 2;

// The composite as `vell compose -o OUT.png` writes it: the library's PNG
// writer at its default level, deflating on every core.
void writePng(const QImage &image, const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !VellPngWriter().write(image, &file))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
}

// Smooth gradients with two bits of noise, roughly what a photograph gives
// PNG to work with.
VellLayer *makeLayer(int kind)
{
    auto *host = new VellPictureHost(W, H, 4);
    uchar *base = host->getData();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < H; ++y) {
        uchar *p = base + size_t(y) * W * 4;
        quint32 noise = quint32(y) * 2654435761u + quint32(kind);
        for (int x = 0; x < W; ++x, p += 4) {
            noise = noise * 1664525u + 1013904223u;
            const int n = int(noise >> 30);
            p[0] = uchar(((x * (kind + 1) / 24) + n) & 255);
            p[1] = uchar(((y * (kind + 2) / 16) + n) & 255);
            p[2] = uchar((((x + y) * (kind + 3) / 40) + n) & 255);
            p[3] = kind == 0 ? 255 : uchar(128 + ((x / 8 ^ y / 8) & 127));
        }
    }
    auto *layer = new VellLayer(QStringLiteral("layer %1").arg(kind));
    layer->setVellPictureHost(host);
    return layer;
}

std::unique_ptr<VellContext> makeDocument()
{
    VellLayerManager::setDocumentProbe([] { return std::optional(VellLayerManager::Document()); });
    auto document = std::make_unique<VellContext>();
    document->setSelection(new VellSelection(nullptr, W, H));
    VellLayerManager *stack = document->getLayerManager();
    const int modes[3] = { VellBlend::Normal, VellBlend::Multiply, VellBlend::Overlay };
    for (int i = 0; i < 3; ++i) {
        VellLayer *layer = makeLayer(i);
        layer->setBlendMode(modes[i]);
        if (i == 1) {
            layer->createLayerMask();
            VellLayerMask *mask = layer->getLayerMask();
            uchar *m = mask->getData();
            const int pw = mask->getPaddedWidth();
#pragma omp parallel for schedule(static)
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < pw; ++x)
                    m[size_t(y) * pw + x] = uchar((x + y) * 255 / (W + H));
        }
        if (i == 2)
            layer->setAlpha(0.5f);
        stack->insertLayer(layer, stack->getLayerCount(), false);
    }
    stack->setActiveLayer(2);
    return document;
}

double megabytes(const QString &path)
{
    return QFileInfo(path).size() / 1e6;
}

void line(const char *what, double ms, double mb = -1.0)
{
    if (mb >= 0.0)
        std::printf("%-52s %9.0f ms %9.1f MB\n", what, ms, mb);
    else
        std::printf("%-52s %9.0f ms\n", what, ms);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir scratch;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : scratch.path();
    VellGlobalSettings::getInstance()->streamReadVersion = 2;
    VellGlobalSettings::getInstance()->streamWriteVersion = 2;

    std::unique_ptr<VellContext> document = makeDocument();
    std::printf("3 layers of %d x %d (one masked), best of %d\n", W, H, kRuns);

    const QString stacks = folder + QStringLiteral("/bench-stacks.ora");
    const QString baked = folder + QStringLiteral("/bench-baked.ora");
    const QString streamed = folder + QStringLiteral("/bench.vell");
    VellOraWriter writer;
    const double writeStacks = vellBestMs(kRuns, [&] { writer.write(document.get(), stacks); });
    line("write .ora, mask as stack", writeStacks, megabytes(stacks));
    writer.setMaskPolicy(VellOraWriter::MasksBaked);
    const double writeBaked = vellBestMs(kRuns, [&] { writer.write(document.get(), baked); });
    line("write .ora, mask baked", writeBaked, megabytes(baked));
    const double writeStream = vellBestMs(kRuns, [&] {
        QFile file(streamed);
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        QDataStream out(&file);
        out.setVersion(QDataStream::Qt_4_8);
        out << document.get();
    });
    line("write document stream", writeStream, megabytes(streamed));

    // PNG coding alone: what the writer encodes (3 layers, the mask, the
    // merged image and thumbnail), on the same threads.
    std::vector<QImage> images;
    VellLayerManager *stack = document->getLayerManager();
    for (int i = 0; i < 3; ++i) {
        const VellPictureHost *host = stack->getLayer(i)->getPictureHost();
        images.emplace_back(host->getData(), W, H, W * 4, QImage::Format_ARGB32);
    }
    images.push_back(images[1].convertToFormat(QImage::Format_Alpha8).convertToFormat(QImage::Format_ARGB32));
    std::unique_ptr<QImage> merged(VellBlendReference::renderToImage(document.get(), W, H));
    images.push_back(*merged);
    images.push_back(merged->scaled(256, 171, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    const double composite = vellBestMs(kRuns, [&] {
        std::unique_ptr<QImage>(VellBlendReference::renderToImage(document.get(), W, H));
    });
    std::vector<QByteArray> pngs(images.size());
    const double encode = vellBestMs(kRuns, [&] {
        const int n = int(images.size());
#pragma omp parallel for schedule(dynamic, 1)
        for (int i = 0; i < n; ++i)
            pngs[size_t(i)] = VellOraWriter::encodePng(images[size_t(i)]);
    });
    line("  of which PNG encoding (6 images, in parallel)", encode);
    line("  of which CPU composite for the merged image", composite);

    const double read = vellBestMs(kRuns, [&] {
        VellOraReader reader;
        reader.openFile(stacks);
        std::unique_ptr<VellContext>(reader.readDocument());
    });
    line("read .ora into a document", read);
    const double readComposite = vellBestMs(kRuns, [&] {
        VellOraReader reader;
        reader.openFile(stacks);
        std::unique_ptr<VellContext> back(reader.readDocument());
        std::unique_ptr<QImage> image(VellBlendReference::renderToImage(back.get(), W, H));
        writePng(*image, folder + QStringLiteral("/bench-from-ora.png"));
    });
    line("read .ora, composite, write a PNG", readComposite);
    const double writeComposite = vellBestMs(kRuns, [&] {
        writePng(*merged, folder + QStringLiteral("/bench-merged.png"));
    });
    line("  of which writing the PNG (VellPngWriter, level 6)", writeComposite);
    const double decode = vellBestMs(kRuns, [&] {
        for (int i = 0; i < 4; ++i) {   // the three layers and the mask, one after another
            QBuffer buffer(&pngs[size_t(i)]);
            buffer.open(QIODevice::ReadOnly);
            QImageReader(&buffer, "png").read();
        }
    });
    line("  of which PNG decoding (3 layers and the mask)", decode);
    const double readStream = vellBestMs(kRuns, [&] {
        QFile file(streamed);
        file.open(QIODevice::ReadOnly);
        QDataStream in(&file);
        in.setVersion(QDataStream::Qt_4_8);
        VellContext *back = nullptr;
        in >> &back;
        delete back;
    });
    line("read document stream", readStream);
    const double readStreamComposite = vellBestMs(kRuns, [&] {
        QFile file(streamed);
        file.open(QIODevice::ReadOnly);
        QDataStream in(&file);
        in.setVersion(QDataStream::Qt_4_8);
        VellContext *raw = nullptr;
        in >> &raw;
        std::unique_ptr<VellContext> back(raw);
        std::unique_ptr<QImage> image(VellBlendReference::renderToImage(back.get(), W, H));
        writePng(*image, folder + QStringLiteral("/bench-from-stream.png"));
    });
    line("read document stream, composite, write a PNG", readStreamComposite);

    std::printf("\nwrite: .ora %.1fx the stream's time at %.2fx its size; PNG encoding %.0f%% of it\n",
                writeStacks / writeStream, megabytes(stacks) / megabytes(streamed),
                100.0 * encode / writeStacks);
    std::printf("read: .ora %.1fx the stream's time; PNG decoding %.0f%% of it\n", read / readStream,
                100.0 * decode / read);
    document.reset();
    VellLayerManager::setDocumentProbe(nullptr);
    return 0;
}
