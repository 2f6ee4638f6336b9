// Times the plug-ins on the blur-based, block-divided and mask tool bases on
// a 6000 x 4000 layer: the whole-layer apply of Gaussian Blur at radii 5, 50
// and 200, Unsharp Mask, Median (k = 2), the build of each cascade level,
// and Mask Levels on a 6000 x 4000 mask next to a plain OpenMP loop of its
// formula. Each apply starts from the unfiltered picture and ends with the
// GPU finished (glFinish); read-back to the host is timed on its own. With
// a file argument it also writes the picture as a PNG for bench_bases.sh to
// hand to vips and ImageMagick.
// Needs an X server (xvfb-run -a) and the build's plug-ins.
#include "document/velllayermask.h"
#include "tools/velltoolblockdivided.h"
#include "tools/velltoolgaussianblurbased.h"
#include "tools/velltoolsinglechannelfilter.h"

#include "vellbenchgl.h"
#include "vellbenchtimer.h"

#include <QApplication>
#include <QImage>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

const int W = 6000, H = 4000;

// Mask Levels' formula, black 30, white 200, gamma 1.8, one byte a pixel.
void cpuMaskLevels(const uchar *in, uchar *out, int stride)
{
    const float black = 30.0f / 255.0f, white = 200.0f / 255.0f, inverse = 1.0f / 1.8f;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < H; ++y) {
        const uchar *s = in + size_t(y) * size_t(stride);
        uchar *d = out + size_t(y) * size_t(stride);
        for (int x = 0; x < W; ++x) {
            const float t = std::clamp((s[x] / 255.0f - black) / (white - black), 0.0f, 1.0f);
            d[x] = uchar(std::pow(t, inverse) * 255.0f + 0.5f);
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QSize window(1500, 1000);
    VellCanvas *canvas = vellBenchCanvas("bench_bases", W, H, window, VELL_PLUGIN_TOOLS_DIR);
    if (!canvas)
        return 1;
    VellToolManager *tools = VellToolManager::getInstance();
    auto *blur = qobject_cast<VellToolGaussianBlurBased *>(tools->getTool(QStringLiteral("gaussian-blur")));
    auto *sharpen = qobject_cast<VellToolGaussianBlurBased *>(tools->getTool(QStringLiteral("unsharp-mask")));
    auto *median = qobject_cast<VellToolBlockDivided *>(tools->getTool(QStringLiteral("median")));
    auto *levels = qobject_cast<VellToolSingleChannelFilter *>(tools->getTool(QStringLiteral("mask-levels")));
    if (!blur || !sharpen || !median || !levels) {
        std::fprintf(stderr, "bench_bases: the plug-ins are missing from %s\n", VELL_PLUGIN_TOOLS_DIR);
        return 1;
    }

    VellLayer *layer = nullptr;
    const auto pattern = [](int x, int y, uchar *p) {
        p[0] = uchar(x / 24 + ((x / 7 + y / 5) % 3) * 20);
        p[1] = uchar(y / 16);
        p[2] = uchar((x + y) / 40 + (x * y) % 17);
    };
    std::unique_ptr<VellContext> document = vellBenchDocument(canvas, W, H, window, pattern, &layer);
    document->batchFlag = true;   // no undo records: only the filters are timed
    const uchar *base = layer->getPictureHost()->getData();
    const std::vector<uchar> original(base, base + size_t(W) * H * 4);
    if (argc > 1) {
        const QImage image(original.data(), W, H, QImage::Format_ARGB32);
        if (!image.save(QString::fromLocal8Bit(argv[1]), nullptr, 6))
            return 1;
    }

    const auto finish = [] { glFinish(); };
    const auto restore = [&] { vellBenchRestore(layer, original); };
    // One filter's whole-layer apply, parameters set after activation.
    const auto timeApply = [&](VellToolBase *tool, const QVector<QPair<QString, double>> &parameters, int runs) {
        restore();
        tool->active(document.get());
        for (const auto &parameter : parameters)
            tool->setParameterValue(parameter.first, parameter.second);
        const double ms = vellBestMs(runs, [&] { tool->applyEntire(true); }, finish, restore);
        tool->disActive();
        return ms;
    };

    std::printf("6000 x 4000 RGBA8, whole-layer apply (ms, best of the runs)\n");
    for (double radius : {5.0, 50.0, 200.0})
        std::printf("gaussian_r%g_ms %.1f\n", radius,
                    timeApply(blur, {{QStringLiteral("radius"), radius}}, 2));
    std::printf("unsharp_r6_ms %.1f\n",
                timeApply(sharpen,
                          {{QStringLiteral("amount"), 100}, {QStringLiteral("radius"), 6},
                           {QStringLiteral("threshold"), 0}},
                          2));
    std::printf("median_k2_ms %.1f\n", timeApply(median, {{QStringLiteral("radius"), 2}}, 1));
    const double readMs = vellBestMs(2, [&] { layer->fboTextureToHost(true); }, finish,
                                     [&] { layer->setLatestPlace(VellLayer::GpuNewer); });
    std::printf("readback_ms %.1f\n", readMs);

    // Each level from the one before, at the working size.
    restore();
    blur->active(document.get());
    blur->clearGaussianTextures();
    const QSizeF working = blur->getWorkingSize();
    for (int level = 0; level < VellToolGaussianBlurBased::kLevels; ++level)
        std::printf("cascade_level%d_ms %.1f (%gx%g)\n", level,
                    vellBestMs(1, [&] { blur->getGaussianTexture(level); }, finish), working.width(),
                    working.height());
    blur->disActive();

    // Mask Levels: preview into the mask texture and read-back, from the
    // backup each time.
    restore();
    layer->createLayerMask();
    VellLayerMask *mask = layer->getLayerMask();
    const int stride = mask->getPaddedWidth();
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < stride; ++x)
            mask->getData()[size_t(y) * size_t(stride) + size_t(x)] = uchar((x / 3 + y / 2) % 256);
    mask->update();
    layer->setEdittingMask(true);
    levels->active(document.get());
    levels->setParameterValue(QStringLiteral("black"), 30);
    levels->setParameterValue(QStringLiteral("white"), 200);
    levels->setParameterValue(QStringLiteral("gamma"), 1.8);
    const double levelsMs = vellBestMs(3, [&] { levels->applyEntire(); }, finish, [&] { levels->restoreData(); });
    const std::vector<uchar> gpuMask(mask->getData(), mask->getData() + mask->getByteCount());
    levels->restoreData();
    levels->disActive();
    std::vector<uchar> cpuMask(gpuMask.size());
    const double cpuMs = vellBestMs(3, [&] { cpuMaskLevels(mask->getData(), cpuMask.data(), stride); });
    int worst = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const size_t i = size_t(y) * size_t(stride) + size_t(x);
            worst = std::max(worst, std::abs(int(gpuMask[i]) - int(cpuMask[i])));
        }
    std::printf("mask_levels_ms %.1f\n", levelsMs);
    std::printf("mask_levels_cpu_openmp_ms %.1f\n", cpuMs);
    std::printf("mask_levels_gpu_vs_cpu_max_diff %d\n", worst);
    document.reset();
    delete canvas;
    return 0;
}
