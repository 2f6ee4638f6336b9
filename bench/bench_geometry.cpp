// Times a 6000 x 4000 raster layer's geometry: a quarter turn, a mirror,
// resizing to 25 % (two halving steps) and to 200 % (one step), and a free
// rotation by 15 degrees (bicubic, edge repair included), each in
// milliseconds from the call until the new pixels are in the picture host
// (every operation reads its result back). Each run starts from a fresh,
// active layer made untimed. With a file argument it also writes the layer
// as a PNG for bench_geometry.sh to hand to vips and ImageMagick.
// Needs an X server (xvfb-run -a).
#include "document/velllayer.h"
#include "foundation/vellglobalsettings.h"
#include "picture/vellpicturehost.h"
#include "tools/velltoolutil.h"

#include "vellbenchgl.h"
#include "vellbenchtimer.h"

#include <QApplication>
#include <QImage>

#include <cstdio>
#include <functional>
#include <memory>

namespace {

const int W = 6000, H = 4000;

// Opaque, with detail at every scale (so no resampling path is trivial).
VellPictureHost *makePicture()
{
    auto *host = new VellPictureHost(W, H, 4);
    uchar *data = host->getData();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < H; ++y) {
        uchar *p = data + size_t(y) * W * 4;
        for (int x = 0; x < W; ++x, p += 4) {
            p[0] = uchar((x * 7 + y * 3) & 255);
            p[1] = uchar(((x >> 4) ^ (y >> 4)) * 16);
            p[2] = uchar((x * y) >> 9);
            p[3] = 255;
        }
    }
    return host;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QGLWidget widget;
    if (!vellBenchMakeCurrent(widget))
        return 1;
    // Room for the 12000 x 8000 result of the enlargement.
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    settings->setImageLimitSize(QSize(16384, 16384));
    settings->setImageLimitPixel(256);

    const std::unique_ptr<VellPictureHost> picture(makePicture());
    if (argc > 1) {
        const QImage image(picture->getData(), W, H, QImage::Format_ARGB32);
        if (!image.save(QString::fromLocal8Bit(argv[1]))) {
            std::fprintf(stderr, "bench_geometry: cannot write %s\n", argv[1]);
            return 1;
        }
    }

    std::unique_ptr<VellLayer> layer;
    const auto fresh = [&] {
        layer.reset();
        layer = std::make_unique<VellLayer>(QStringLiteral("bench"));
        layer->setVellPictureHost(new VellPictureHost(picture.get()));
        layer->active();
        glFinish();
    };
    const auto finish = [] { glFinish(); };
    struct Case
    {
        const char *name;
        std::function<void(VellLayer &)> run;
    };
    const Case cases[] = {
        {"rotate90_ms", [](VellLayer &l) { l.rotate(90); }},
        {"flip_ms", [](VellLayer &l) { l.flip(true); }},
        {"resize25_ms", [](VellLayer &l) { l.resize(0.25, 0.25); }},
        {"resize200_ms", [](VellLayer &l) { l.resize(2.0, 2.0); }},
        {"rotate15_ms", [](VellLayer &l) {
             l.setRotationAngle(15.0f);
             l.applyRotation();
         }},
    };
    for (const Case &c : cases) {
        const double ms = vellBestMs(3, [&] { c.run(*layer); }, finish, fresh);
        if (!layer->getGeometryError().isEmpty()) {
            std::fprintf(stderr, "bench_geometry: %s refused: %s\n", c.name,
                         qPrintable(layer->getGeometryError()));
            return 1;
        }
        std::printf("%-14s %9.1f   (%d x %d)\n", c.name, ms, layer->getWidth(), layer->getHeight());
    }
    layer.reset();
    VellToolUtil dropProgram;   // the resize program goes with the context
    Q_UNUSED(dropProgram);
    return 0;
}
