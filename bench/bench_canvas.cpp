// Times compositing a 3-layer 6000 x 4000 document (Normal, Multiply, Overlay
// at opacity 0.5 with a mask): the canvas's full-resolution export on the GPU,
// the CPU compositor, and one display composite at 25 %, next to one memcpy
// of a layer. With a folder argument it also writes the layers as raw RGBA
// (opacity and mask folded into alpha) for bench_canvas.sh to hand to vips.
// Needs an X server (xvfb-run -a).
#include "canvas/vellblendreference.h"
#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include "vellbenchtimer.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

const int W = 6000, H = 4000;

// Texture names made so far, when bench/vellglcount.cpp is preloaded; -1
// without it.
long texturesMade()
{
    using Count = unsigned long (*)();
    const auto count = reinterpret_cast<Count>(dlsym(RTLD_DEFAULT, "vell_gen_textures_count"));
    return count ? long(count()) : -1;
}

VellLayer *makeLayer(int kind)
{
    auto *host = new VellPictureHost(W, H, 4);
    uchar *base = host->getData();
#pragma omp parallel for
    for (int y = 0; y < H; ++y) {
        uchar *p = base + size_t(y) * W * 4;
        for (int x = 0; x < W; ++x, p += 4) {
            p[0] = uchar((x * (kind + 1) / 24) & 255);
            p[1] = uchar((y * (kind + 2) / 16) & 255);
            p[2] = uchar(((x + y) * (kind + 3) / 40) & 255);
            p[3] = kind == 0 ? 255 : uchar(128 + ((x ^ y) & 127));
        }
    }
    auto *layer = new VellLayer(QString::number(kind));
    layer->setVellPictureHost(host);
    return layer;
}

// The layer as vips sees it: R, G, B, A with opacity and mask in alpha.
bool writeRaw(const QString &path, VellLayer *layer)
{
    const uchar *src = layer->getPictureHost()->getData();
    const VellLayerMask *mask = layer->getLayerMask();
    const float opacity = layer->getAlpha();
    std::vector<uchar> out(size_t(W) * H * 4);
#pragma omp parallel for
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const size_t i = (size_t(y) * W + x) * 4;
            const float m = mask ? mask->getData()[size_t(y) * mask->getPaddedWidth() + x] / 255.0f : 1.0f;
            out[i] = src[i + 2];
            out[i + 1] = src[i + 1];
            out[i + 2] = src[i];
            out[i + 3] = uchar(src[i + 3] * opacity * m + 0.5f);
        }
    QFile file(path);
    return file.open(QIODevice::WriteOnly)
           && file.write(reinterpret_cast<const char *>(out.data()), qint64(out.size())) == qint64(out.size());
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QTemporaryDir dir;   // the budget and the host log into the current folder
    const QString rawFolder = argc > 1 ? QDir(QString::fromLocal8Bit(argv[1])).absolutePath() : QString();
    QDir::setCurrent(dir.path());

    VellCanvas *canvas = VellCanvas::getInstance(W, H);
    if (!canvas->isValid()) {
        std::fprintf(stderr, "no GL context (run under xvfb-run -a)\n");
        return 1;
    }
    canvas->makeCurrent();
    std::printf("GL: %s / %s\n", reinterpret_cast<const char *>(glGetString(GL_VENDOR)),
                reinterpret_cast<const char *>(glGetString(GL_RENDERER)));

    auto document = std::make_unique<VellContext>();
    VellContextManager *manager = VellContextManager::getInstance();
    manager->addContext(document.get());
    manager->setCurrentContext(manager->indexOfContext(document.get()));
    document->batchFlag = document->quietFlag = true;
    VellLayerManager *layers = document->getLayerManager();
    const int modes[3] = {VellBlend::Normal, VellBlend::Multiply, VellBlend::Overlay};
    for (int kind = 0; kind < 3; ++kind) {
        VellLayer *layer = makeLayer(kind);
        layer->setBlendMode(modes[kind]);
        if (kind == 2) {
            layer->setAlpha(0.5f);
            layer->createLayerMask();
            VellLayerMask *mask = layer->getLayerMask();
            for (int y = 0; y < H; ++y)
                memset(mask->getData() + size_t(y) * mask->getPaddedWidth(), y * 255 / H, size_t(W));
            mask->update();
        }
        layers->addLayer(layer, false);
    }
    layers->setActiveLayer(2);
    if (!rawFolder.isEmpty())
        for (int kind = 0; kind < 3; ++kind)
            writeRaw(rawFolder + QStringLiteral("/layer%1.raw").arg(kind),
                     static_cast<VellLayer *>(layers->getLayer(kind)));

    const int runs = 3;
    std::vector<uchar> copy(size_t(W) * H * 4);
    const uchar *pixels = layers->getLayer(0)->getPictureHost()->getData();
    const auto finish = [] { glFinish(); };
    const double memcpyMs = vellBestMs(runs, [&] { std::memcpy(copy.data(), pixels, copy.size()); });
    std::printf("%-46s %9.2f ms\n", "memcpy of one layer (96 MB)", memcpyMs);

    const double gpuMs = vellBestMs(runs, [&] { delete canvas->renderToImage(nullptr); }, finish);
    vellReport("renderToImage, GPU (3 layers, full size)", gpuMs, memcpyMs);
    const double cpuMs = vellBestMs(runs, [&] { delete VellBlendReference::renderToImage(document.get(), W, H); });
    vellReport("renderToImage, CPU compositor", cpuMs, memcpyMs);
    std::printf("%-46s %9.2f\n", "CPU / GPU", cpuMs / gpuMs);

    // The whole document in a 1500 x 1000 window: 25 %.
    canvas->resize(1500, 1000);
    canvas->setWindowSize(QRect(0, 0, 1500, 1000));
    canvas->setScale(4.0f, false);
    canvas->setOrigin(QPointF(0, 0), true);
    const double renderMs = vellBestMs(runs, [&] { canvas->Render(nullptr); }, finish);
    vellReport("Render at 25 % (1500 x 1000 framebuffer)", renderMs, memcpyMs);
    // The marching ants of an elliptical selection over that view: the
    // outline pass the canvas runs on its timer.
    {
        auto *selection = new VellSelection(nullptr, W, H);
        document->setSelection(selection);
        std::vector<uchar> ellipse(size_t(W) * H);
#pragma omp parallel for
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                const double dx = (x - W / 2.0) / (W * 0.4), dy = (y - H / 2.0) / (H * 0.4);
                ellipse[size_t(y) * W + x] = dx * dx + dy * dy <= 1.0 ? 255 : 0;
            }
        selection->addMask(ellipse.data(), W, H, 0, 0);
        const double antsMs = vellBestMs(runs, [&] { selection->render(canvas); }, finish);
        vellReport("marching ants at 25 % (one outline pass)", antsMs, memcpyMs);
        document->setSelection(nullptr);
    }
    if (texturesMade() >= 0) {
        const int frames = 10;
        long before = texturesMade();
        for (int i = 0; i < frames; ++i)
            canvas->Render(nullptr);
        std::printf("%-46s %9.1f\n", "textures made per Render at 25 %",
                    double(texturesMade() - before) / frames);
        before = texturesMade();
        delete canvas->renderToImage(nullptr);
        std::printf("%-46s %9ld\n", "textures made per renderToImage", texturesMade() - before);
    }
    if (!rawFolder.isEmpty()) {
        std::printf("gpu_ms %.1f\ncpu_ms %.1f\n", gpuMs, cpuMs);
        std::unique_ptr<QImage> image(canvas->renderToImage(nullptr));
        image->save(rawFolder + QStringLiteral("/gpu.png"));
    }
    document.reset();
    delete canvas;
    return 0;
}
