// Times VellColorProfileConverter::convertToSRGB on a 6000 x 4000 8-bit
// picture. bench_color.sh runs it next to `vips icc_transform` on the same
// pixels with the same profile.
//   bench_color SOURCE.raw RESULT.raw [NAME]
// Run in a folder holding data/iccprofiles. Writes the source and the
// converted pixels as raw R, G, B, A bytes (vips rawload's layout).
#include "color/vellcolorprofileconverter.h"
#include "picture/vellpicturehost.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <omp.h>

#include <cstdio>
#include <utility>

namespace {

// B, G, R, A in the host; R, G, B, A in the file.
bool saveRgba(const VellPictureHost *host, const QString &path)
{
    QByteArray bytes(reinterpret_cast<const char *>(host->getData()), int(host->getByteCount()));
    char *pixel = bytes.data();
    for (int i = 0; i < bytes.size(); i += 4)
        std::swap(pixel[i], pixel[i + 2]);
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Best of three, in milliseconds; *result keeps the last conversion.
double timeConversion(const VellPictureHost *source, const QString &name, VellPictureHost **result)
{
    double best = 1e300;
    for (int run = 0; run < 3; ++run) {
        VellPictureHost *host = new VellPictureHost(source);
        QElapsedTimer timer;
        timer.start();
        VellColorProfileConverter::convertToSRGB(&host, name);
        best = qMin(best, timer.nsecsElapsed() / 1e6);
        delete *result;
        *result = host;
    }
    return best;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_color SOURCE.raw RESULT.raw [NAME]\n");
        return 2;
    }
    const QString name = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("Adobe RGB");
    const unsigned w = 6000, h = 4000;

    VellPictureHost source(w, h, 4);
    quint32 seed = 1;
    for (qint64 i = 0; i < source.getByteCount(); ++i) {
        seed = seed * 1664525u + 1013904223u;
        source.getData()[i] = static_cast<unsigned char>(seed >> 24);
    }
    if (!saveRgba(&source, QString::fromLocal8Bit(argv[1])))
        return 1;

    VellPictureHost *result = nullptr;
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    const double single = timeConversion(&source, name, &result);
    omp_set_num_threads(threads);
    const double parallel = timeConversion(&source, name, &result);
    if (result->getData() == source.getData() || !saveRgba(result, QString::fromLocal8Bit(argv[2])))
        return 1;
    delete result;

    double copy = 1e300;   // the converter's own share: a copy of the host
    for (int run = 0; run < 3; ++run) {
        QElapsedTimer timer;
        timer.start();
        delete new VellPictureHost(&source);
        copy = qMin(copy, timer.nsecsElapsed() / 1e6);
    }

    std::printf("convertToSRGB %s, 6000 x 4000 8-bit, best of 3 (host copy included):\n",
                qPrintable(name));
    std::printf("  host copy and delete alone %8.1f ms\n", copy);
    std::printf("  1 thread   %8.1f ms\n", single);
    std::printf("  %d threads %8.1f ms\n", threads, parallel);
    std::printf("result %.1f\n", parallel);
    return 0;
}
