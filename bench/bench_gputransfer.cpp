// Moves a 6000 x 4000 8-bit picture between a host and a texture, band by
// band and in one piece, next to a plain memcpy of the same bytes; then
// resamples it to 1500 x 1000 with each filter code. Needs an X server
// (xvfb-run -a). With a path argument it also writes the picture's raw
// B, G, R, A bytes there, so bench_gpu.sh can time vips on the same image.
#include "foundation/vellmemory.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellgltexture2d.h"
#include "picture/vellpicturehost.h"
#include "tools/velltoolutil.h"
#include "vellbenchgl.h"
#include "vellbenchtimer.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QGLWidget>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QString rawPath = argc > 1 ? QFile::decodeName(argv[1]) : QString();
    QTemporaryDir dir;   // the budget and the host log into the current folder
    QDir::setCurrent(dir.path());

    QGLWidget widget;
    if (!vellBenchMakeCurrent(widget))
        return 1;

    const int w = 6000, h = 4000;
    const size_t bytes = size_t(w) * h * 4;
    const int runs = 3;
    VellPictureHost host(w, h, 4);
    unsigned char *pixels = host.getData();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            unsigned char *p = pixels + (size_t(y) * w + x) * 4;
            p[0] = uchar(x * 255 / w);
            p[1] = uchar(y * 255 / h);
            p[2] = uchar((x ^ y) & 0xFF);   // fine detail for the resamplers
            p[3] = 255;
        }
    if (!rawPath.isEmpty()) {
        QFile raw(rawPath);
        if (!raw.open(QIODevice::WriteOnly)
            || raw.write(reinterpret_cast<const char *>(pixels), qint64(bytes)) != qint64(bytes)) {
            std::fprintf(stderr, "cannot write %s\n", argv[1]);
            return 1;
        }
    }

    std::vector<unsigned char> target(bytes);
    const auto finish = [] { glFinish(); };
    const double memcpyMs = vellBestMs(runs, [&] { std::memcpy(target.data(), pixels, bytes); }, finish);
    std::printf("6000 x 4000 x 4 bytes = %.1f MB, best of %d runs, glFinish inside each\n",
                bytes / 1e6, runs);
    vellReport("memcpy", memcpyMs, memcpyMs, bytes);

    const QRect whole(0, 0, w, h);
    VellGLTexture2D texture(w, h, GL_RGBA8, true);
    vellReport("upload, bands", vellBestMs(runs, [&] { host.writeTexture(&texture, whole, QPoint()); }, finish),
               memcpyMs, bytes);
    vellReport("download, bands", vellBestMs(runs, [&] { host.readTexture(&texture, whole, QPoint()); }, finish),
               memcpyMs, bytes);
    vellReport("upload, entire texture", vellBestMs(runs, [&] { host.writeEntireTexture(&texture); }, finish),
               memcpyMs, bytes);
    vellReport("download, entire texture", vellBestMs(runs, [&] { host.readEntireTexture(&texture); }, finish),
               memcpyMs, bytes);

    // The first call builds the resize program; it is not timed.
    VellGLTexture2D small(w / 4, h / 4, GL_RGBA8, true);
    const char *names[] = {"nearest", "linear", "cubic", "lanczos3"};
    for (int filter = 0; filter < 4; ++filter) {
        auto resize = [&] {
            VellToolUtil::resizeTextureToTexture(&small, &texture, QRectF(0, 0, w / 4, h / 4),
                                                 QRectF(0, 0, w, h), filter);
        };
        resize();
        glFinish();
        std::printf("resize %-9s %9.2f ms (filter %d, 6000 x 4000 -> 1500 x 1000)\n",
                    names[filter], vellBestMs(runs, resize, finish), filter);
    }
    VellToolUtil dropProgram;
    Q_UNUSED(dropProgram);
    return 0;
}
