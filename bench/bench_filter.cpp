// Times the Brightness/Contrast plug-in on a 6000 x 4000 layer: the whole-
// layer apply on the GPU (tiles rendered, then the entire texture updated),
// reading the result back to the picture host, the live preview at 25 %
// (one display texture), and a plain OpenMP loop of the same formula on the
// CPU over the same pixels. With a file argument it also writes the layer as
// a PNG for bench_filter.sh to hand to vips and to vell filter.
// Needs an X server (xvfb-run -a) and the build's plug-ins.
#include "tools/velltoolbase.h"

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
const int kBrightness = 20, kContrast = 30;

// The plug-in's formula on 8-bit BGRA rows, alpha kept.
void cpuBrightnessContrast(const uchar *in, uchar *out)
{
    const float b = kBrightness / 100.0f;
    const float slant = std::tan((std::min(kContrast / 100.0f, 0.99f) + 1.0f) * 0.78539816f);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < H; ++y) {
        const uchar *s = in + size_t(y) * W * 4;
        uchar *d = out + size_t(y) * W * 4;
        for (int x = 0; x < W * 4; x += 4) {
            for (int k = 0; k < 3; ++k) {
                float v = s[x + k] / 255.0f;
                v = b < 0.0f ? v * (1.0f + b) : v + (1.0f - v) * b;
                v = std::clamp((v - 0.5f) * slant + 0.5f, 0.0f, 1.0f);
                d[x + k] = uchar(v * 255.0f + 0.5f);
            }
            d[x + 3] = s[x + 3];
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QSize window(1500, 1000);
    VellCanvas *canvas = vellBenchCanvas("bench_filter", W, H, window, VELL_PLUGIN_TOOLS_DIR);
    if (!canvas)
        return 1;
    VellToolManager *tools = VellToolManager::getInstance();
    auto *filter = qobject_cast<VellToolBase *>(tools->getTool(QStringLiteral("Filter"), QStringLiteral("brightness-contrast")));
    if (!filter) {
        std::fprintf(stderr, "bench_filter: no brightness-contrast plug-in in %s\n", VELL_PLUGIN_TOOLS_DIR);
        return 1;
    }

    VellLayer *layer = nullptr;
    std::unique_ptr<VellContext> document = vellBenchDocument(canvas, W, H, window, vellBenchGradient(W, H), &layer);
    document->batchFlag = true;   // no undo records: only the filter is timed
    const uchar *base = layer->getPictureHost()->getData();
    const std::vector<uchar> original(base, base + size_t(W) * H * 4);
    if (argc > 1) {
        const QImage image(original.data(), W, H, QImage::Format_ARGB32);
        if (!image.save(QString::fromLocal8Bit(argv[1]), nullptr, 6))
            return 1;
    }

    filter->active(document.get());
    filter->setParameterValue(QStringLiteral("brightness"), kBrightness);
    filter->setParameterValue(QStringLiteral("contrast"), kContrast);
    const auto finish = [] { glFinish(); };
    const int runs = 3;
    // Each apply starts from the unfiltered picture, as a user's would.
    const auto restore = [&] { vellBenchRestore(layer, original); };
    const double applyMs = vellBestMs(runs, [&] { filter->applyEntire(true); }, finish, restore);
    const double readMs = vellBestMs(runs, [&] { layer->fboTextureToHost(true); }, finish,
                                     [&] { layer->setLatestPlace(VellLayer::GpuNewer); });
    const double previewMs = vellBestMs(runs, [&] { filter->actuallyApply(); }, finish);
    std::vector<uchar> cpuOut(original.size());
    const double cpuMs = vellBestMs(runs, [&] { cpuBrightnessContrast(original.data(), cpuOut.data()); });
    filter->disActive();

    // The GPU's result against the CPU loop's, as a check that both timed
    // the same work.
    int worst = 0;
    const uchar *gpu = layer->getPictureHost()->getData();
    for (size_t i = 0; i < cpuOut.size(); ++i)
        worst = std::max(worst, std::abs(int(gpu[i]) - int(cpuOut[i])));

    std::printf("Brightness/Contrast %d/%d on %d x %d (best of %d)\n", kBrightness, kContrast, W, H, runs);
    std::printf("apply_ms %.1f\n", applyMs);
    std::printf("readback_ms %.1f\n", readMs);
    std::printf("preview_25_ms %.2f\n", previewMs);
    std::printf("cpu_openmp_ms %.1f\n", cpuMs);
    std::printf("gpu_vs_cpu_max_diff %d\n", worst);
    document.reset();
    delete canvas;
    return 0;
}
