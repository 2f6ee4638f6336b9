// Times what a 6000 x 4000 8-bit layer costs on the GPU: becoming active
// (host to entire texture, framebuffer tiles, half/quarter/eighth textures,
// thumb) and the display-texture update for a pan and a zoom step, with the
// reduced textures (active layer) and from the host alone (inactive layer
// that dropped its textures), next to one memcpy of the host's bytes.
// Needs an X server (xvfb-run -a).
#include "document/velllayer.h"
#include "gpu/glextensionfunctions.h"
#include "picture/vellpicturehost.h"

#include "vellbenchgl.h"
#include "vellbenchtimer.h"

#include <QApplication>
#include <QDir>
#include <QGLWidget>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

VellLayer::View view;

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QTemporaryDir dir;   // the budget and the host log into the current folder
    QDir::setCurrent(dir.path());

    QGLWidget widget;
    if (!vellBenchMakeCurrent(widget))
        return 1;
    VellLayer::setViewProbe([] { return std::optional<VellLayer::View>(view); });

    const int w = 6000, h = 4000, runs = 3;
    auto *host = new VellPictureHost(w, h, 4);
    unsigned char *pixels = host->getData();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            unsigned char *p = pixels + (size_t(y) * w + x) * 4;
            p[0] = uchar(x * 255 / w);
            p[1] = uchar(y * 255 / h);
            p[2] = uchar((x ^ y) & 0xFF);
            p[3] = 255;
        }
    std::vector<unsigned char> copy(host->getByteCount());
    const auto finish = [] { glFinish(); };
    const double memcpyMs = vellBestMs(runs, [&] { std::memcpy(copy.data(), pixels, copy.size()); }, finish);
    std::printf("%-46s %9.2f ms\n", "memcpy of the host (96 MB)", memcpyMs);

    VellLayer layer("bench");
    view.scale = view.fboScale = 4.0;   // the whole layer in a 1500 x 1000 window
    layer.setVellPictureHost(host);
    vellReport("activate (upload, tiles, pyramid, thumb at 4)",
               vellBestMs(runs, [&] { layer.active(); }, finish,
                          [&] { layer.disactive(true); layer.deleteTextures(); }),
               memcpyMs);

    const QRectF window(1000, 1000, 1500, 1000);
    const auto visible = [&](double scale, QPointF shift) {
        return QRectF(window.topLeft() + shift, window.size() * scale);
    };
    const auto step = [&](const char *what, double fromScale, QPointF fromShift, double toScale,
                          QPointF toShift) {
        vellReport(what,
                   vellBestMs(runs,
                              [&] {
                                  view.fboScale = toScale;
                                  layer.updateVisibleRect(visible(toScale, toShift));
                              },
                              finish,
                              [&] {
                                  view.fboScale = fromScale;
                                  layer.updateVisibleRect(visible(fromScale, fromShift));
                              }),
                   memcpyMs);
    };
    step("active: pan 100 px at 1.0 (entire texture)", 1.0, QPointF(), 1.0, QPointF(100, 60));
    step("active: zoom out 1.0 -> 2.0 (half texture)", 1.0, QPointF(), 2.0, QPointF());
    step("active: zoom in 2.0 -> 1.0 (entire texture)", 2.0, QPointF(), 1.0, QPointF());

    layer.disactive(true);
    layer.deleteTextures();   // host only from here on
    step("host only: pan 100 px at 1.0 (strips)", 1.0, QPointF(), 1.0, QPointF(100, 60));
    step("host only: zoom out 1.0 -> 2.0 (copy + strips)", 1.0, QPointF(), 2.0, QPointF());
    step("host only: zoom in 2.0 -> 1.0 (whole region)", 2.0, QPointF(), 1.0, QPointF());
    VellLayer::setViewProbe(nullptr);
    return 0;
}
