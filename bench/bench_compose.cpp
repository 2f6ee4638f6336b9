// The compositing step of bench_compose.sh's stack alone: the CPU
// compositor's reference arithmetic and its fast paths, best of 3, next to
// a memcpy of one layer (the memory bandwidth a pass needs at least). Given
// a layer's PNG, also the codecs on one thread: decoding it with Qt's reader
// and with the library's, and writing it as TIFF with Qt's plug-in and with
// the library's writer (into a file under the system's temporary folder).
//   ./build/bench/bench_compose [WIDTH HEIGHT [LAYER.png]]
#include "vellbenchtimer.h"

#include "canvas/vellblendfast.h"
#include "canvas/vellblendreference.h"
#include "foundation/vellcodes.h"
#include "picture/vellpngreader.h"
#include "picture/velltiffwriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include <omp.h>

#include <cstring>
#include <vector>

namespace {

// Decoding and TIFF writing of one layer's PNG, one thread each, best of 3.
void codecs(const QString &png)
{
    omp_set_num_threads(1);
    QImage image;
    const double qtDecode = vellBestMs(3, [&] { image = QImageReader(png).read(); });
    std::vector<uchar> pixels;
    bool ok = true;
    const double ourDecode = vellBestMs(3, [&] {
        QFile file(png);
        VellPngReader reader(&file);
        ok = file.open(QIODevice::ReadOnly) && reader.readHeader();
        const qint64 stride = qint64(reader.size().width()) * 4;
        const qint64 bytes = ok ? reader.bufferBytes(VellPngReader::Bgra32, stride) : 0;
        pixels.resize(size_t(std::max<qint64>(bytes, 0)));   // faulted in once, in the first run
        ok = ok && reader.decode(pixels.data(), bytes, VellPngReader::Bgra32, stride);
    });
    const QString tiff = QDir::temp().filePath(QStringLiteral("bench_compose.tif"));
    const double qtTiff = vellBestMs(3, [&] { ok = QImageWriter(tiff, "tiff").write(image) && ok; });
    const double ourTiff = vellBestMs(3, [&] {
        QFile file(tiff);
        VellTiffWriter writer;
        ok = file.open(QIODevice::WriteOnly) && writer.write(image, &file) && ok;
    });
    QFile::remove(tiff);
    std::printf("one layer, one thread: PNG decode Qt %.1f ms, ours %.1f ms (%.2f x); TIFF write Qt %.1f ms, ours %.1f ms%s\n",
                qtDecode, ourDecode, qtDecode / ourDecode, qtTiff, ourTiff, ok ? "" : " (A STEP FAILED)");
    omp_set_num_threads(omp_get_num_procs());
}

// Smooth gradients with a little noise, like a photograph; opaque.
QImage layer(int w, int h, int seed)
{
    QImage image(w, h, QImage::Format_ARGB32);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        QRgb *row = reinterpret_cast<QRgb *>(image.scanLine(y));
        quint32 noise = quint32(y * 2654435761u + seed);
        for (int x = 0; x < w; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const int n = int(noise >> 28) - 8;
            row[x] = qRgba(qBound(0, (x * 255 / w + seed * 40) % 256 + n, 255), qBound(0, y * 255 / h + n, 255),
                           qBound(0, ((x + y) * 255 / (w + h) + seed * 90) % 256 + n, 255), 255);
        }
    }
    return image;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int w = argc > 2 ? atoi(argv[1]) : 6000;
    const int h = argc > 2 ? atoi(argv[2]) : 4000;
    const QImage layers[3] = {layer(w, h, 0), layer(w, h, 1), layer(w, h, 2)};
    QImage mask(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y)
        std::memset(mask.scanLine(y), (y * 255) / h, size_t(w));

    QImage result(w, h, QImage::Format_ARGB32);
    struct Step
    {
        int mode;
        float opacity;
        const QImage *mask;
    };
    const Step steps[3] = {{VellBlend::Normal, 1.0f, nullptr}, {VellBlend::Multiply, 0.5f, nullptr},
                           {VellBlend::Overlay, 1.0f, &mask}};
    using Compositor = VellBlendReference::Compositor;
    const auto stack = [&](Compositor composite) {
        result.fill(0u);
        for (int i = 0; i < 3; ++i)
            composite(&result, layers[i], QPoint(), steps[i].mode, steps[i].opacity, steps[i].mask);
    };
    const double reference = vellBestMs(3, [&] { stack(&VellBlendReference::compositeLayer); });
    const double fast = vellBestMs(3, [&] { stack(&VellBlendFast::compositeLayer); });
    // Each step from the reference's backdrop, so that differences do not
    // add up from layer to layer.
    long offByOne = 0, worse = 0;
    QImage backdrop(w, h, QImage::Format_ARGB32);
    backdrop.fill(0u);
    for (int i = 0; i < 3; ++i) {
        QImage want = backdrop.copy();
        VellBlendReference::compositeLayer(&want, layers[i], QPoint(), steps[i].mode, steps[i].opacity, steps[i].mask);
        QImage got = backdrop.copy();
        VellBlendFast::compositeLayer(&got, layers[i], QPoint(), steps[i].mode, steps[i].opacity, steps[i].mask);
        for (qsizetype j = 0; j < want.sizeInBytes(); ++j) {
            const int d = std::abs(int(want.constBits()[j]) - int(got.constBits()[j]));
            offByOne += d == 1;
            worse += d > 1;
        }
        backdrop = want;
    }
    QImage copy(w, h, QImage::Format_ARGB32);
    const double copyMs = vellBestMs(3, [&] {
        std::memcpy(copy.bits(), layers[0].constBits(), size_t(layers[0].sizeInBytes()));
    });
    std::printf("%dx%d, 3 layers (Normal; Multiply at 0.5; Overlay with a mask), best of 3\n", w, h);
    std::printf("reference_ms %.1f\nfast_ms %.1f\nmemcpy_ms %.1f\n", reference, fast, copyMs);
    std::printf("fast paths: %.1f x the reference; %.1f memcpys of one layer\n", reference / fast, fast / copyMs);
    std::printf("values one level off the reference: %ld of %lld; more than one: %ld\n", offByOne,
                3 * qint64(backdrop.sizeInBytes()), worse);
    if (argc > 3)
        codecs(QString::fromLocal8Bit(argv[3]));
    return worse == 0 ? 0 : 1;
}
