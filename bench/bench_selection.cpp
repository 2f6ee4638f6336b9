// Times the selection's CPU work on a 6000 x 4000 selection: feathering an
// elliptical selection (radius 20), addMask of a full-size mask in each
// combine mode, and region grow over a uniform image, next to one memcpy of
// the coverage. With a folder argument it also writes the elliptical
// coverage as a one-band raw file for bench_selection.sh to blur with vips.
#include "foundation/vellcodes.h"
#include "picture/vellpicturehost.h"
#include "selection/vellalgorithmgrow.h"
#include "selection/vellselection.h"
#include "selection/vellselectionpath.h"

#include "vellbenchtimer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

const int W = 6000, H = 4000;

// The ellipse inscribed in the middle half of the picture, drawn as a path.
void selectEllipse(VellSelection *selection)
{
    VellSelectionPath path;
    path.setType(VellPathType::Ellipse);
    path.addPoint(W / 4.0f, H / 4.0f);
    path.addPoint(W * 3 / 4.0f, H * 3 / 4.0f);
    selection->combineMode = VellCombineMode::Replace;
    selection->pathToSelection(&path, 0.0f);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;   // the budget logs into the current folder
    const QString rawFolder = argc > 1 ? QDir(QString::fromLocal8Bit(argv[1])).absolutePath() : QString();
    QDir::setCurrent(dir.path());

    VellSelection selection(nullptr, W, H);
    const size_t bytes = size_t(selection.getPaddedWidth()) * H;
    std::vector<uchar> copy(bytes);
    const int runs = 3;
    const double memcpyMs = vellBestMs(runs, [&] { std::memcpy(copy.data(), selection.getMask(), bytes); });
    std::printf("%-46s %9.2f ms\n", "memcpy of the coverage (24 MB)", memcpyMs);

    selectEllipse(&selection);
    if (!rawFolder.isEmpty()) {
        QFile raw(rawFolder + QStringLiteral("/ellipse.raw"));
        if (raw.open(QIODevice::WriteOnly))
            for (int y = 0; y < H; ++y)
                raw.write(reinterpret_cast<const char *>(selection.getMask()) + size_t(y) * selection.getPaddedWidth(), W);
    }
    const double featherMs = vellBestMs(runs, [&] { selection.feather(20.0f); }, nullptr,
                                        [&] { selectEllipse(&selection); });
    vellReport("feather(20) of an elliptical selection", featherMs, memcpyMs);
    std::printf("feather_ms %.1f\n", featherMs);

    std::vector<uchar> mask(size_t(W) * H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            mask[size_t(y) * W + x] = uchar((x * 7 + y * 3) & 255);
    const char *names[] = {"Replace", "Add", "Subtract", "Intersect"};
    for (int mode = VellCombineMode::Replace; mode <= VellCombineMode::Intersect; ++mode) {
        const double ms = vellBestMs(runs, [&] { selection.addMask(mask.data(), W, H, 0, 0); }, nullptr,
                                     [&] { selectEllipse(&selection); selection.combineMode = mode; });
        vellReport(qPrintable(QStringLiteral("addMask, full size, %1").arg(QLatin1String(names[mode]))), ms, memcpyMs);
    }

    VellPictureHost uniform(W, H, 4);
    std::memset(uniform.getData(), 0x80, size_t(W) * H * 4);
    std::vector<uchar> grown(size_t(W) * H);
    const double growMs = vellBestMs(runs, [&] { VellAlgorithmGrow::grow(&uniform, grown.data(), 0.0f, W / 2, H / 2); },
                                     nullptr, [&] { std::fill(grown.begin(), grown.end(), 0); });
    vellReport("region grow over a uniform image", growMs, memcpyMs);
    std::printf("%-46s %9.1f Mpixel/s\n", "region grow", double(W) * H / growMs / 1e3);
    return 0;
}
