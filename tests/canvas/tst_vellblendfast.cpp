#include "canvas/vellblendfast.h"

#include "canvas/vellblendreference.h"
#include "foundation/vellcodes.h"

#include <QtTest>

#include <cstdlib>

namespace {

// Levels around the edges every formula branches or clamps on.
const int kLevels[] = {0, 1, 2, 63, 64, 127, 128, 129, 191, 253, 254, 255};
const int kAlphas[] = {0, 1, 127, 128, 254, 255};
const int kMasks[] = {0, 1, 128, 254, 255};

// Every combination of layer level, backdrop level, layer alpha, backdrop
// alpha and mask byte, one pixel each, the colour channels offset from one
// another so that each channel meets other pairs. The three images are of
// one size: layer, backdrop, mask.
struct Grid
{
    QImage source, backdrop, mask;
};

Grid makeGrid()
{
    const int n = int(std::size(kLevels));
    const int count = n * n * int(std::size(kAlphas)) * int(std::size(kAlphas)) * int(std::size(kMasks));
    const int width = 97;   // odd, so rows start at every phase of the grid
    const int height = (count + width - 1) / width;
    Grid grid{QImage(width, height, QImage::Format_ARGB32), QImage(width, height, QImage::Format_ARGB32),
              QImage(width, height, QImage::Format_Grayscale8)};
    for (int i = 0; i < width * height; ++i) {
        int k = i % count;
        const int sl = k % n; k /= n;
        const int bl = k % n; k /= n;
        const int sa = kAlphas[k % int(std::size(kAlphas))]; k /= int(std::size(kAlphas));
        const int ba = kAlphas[k % int(std::size(kAlphas))]; k /= int(std::size(kAlphas));
        const int m = kMasks[k % int(std::size(kMasks))];
        const int x = i % width, y = i / width;
        grid.source.setPixel(x, y, qRgba(kLevels[sl], kLevels[(sl + 3) % n], kLevels[(sl + 7) % n], sa));
        grid.backdrop.setPixel(x, y, qRgba(kLevels[bl], kLevels[(bl + 5) % n], kLevels[(bl + 2) % n], ba));
        grid.mask.scanLine(y)[x] = uchar(m);
    }
    return grid;
}

} // namespace

class TestVellBlendFast : public QObject
{
    Q_OBJECT

private slots:
    void agreesWithReference_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QPoint>("offset");
        QTest::addColumn<int>("maskWidth");   // -1: no mask; else the mask's width, cut from the left

        const int modes[] = {VellBlend::Normal, VellBlend::Multiply, VellBlend::Screen, VellBlend::Overlay,
                             VellBlend::HardLight, VellBlend::Darken, VellBlend::Lighten, VellBlend::Difference,
                             VellBlend::Exclusion, VellBlend::LinearBurn, VellBlend::LinearDodge};
        for (int mode : modes) {
            QVERIFY(VellBlendFast::covers(mode));
            QTest::newRow(qPrintable(QStringLiteral("mode %1, masked").arg(mode))) << mode << QPoint() << 97;
            QTest::newRow(qPrintable(QStringLiteral("mode %1, no mask").arg(mode))) << mode << QPoint() << -1;
        }
        QTest::newRow("clipped at the top left, narrower mask")
            << int(VellBlend::Overlay) << QPoint(-5, -3) << 40;
        QTest::newRow("clipped at the bottom right") << int(VellBlend::Multiply) << QPoint(31, 4) << 97;
        // Not covered: must come out exactly as the reference.
        QTest::newRow("soft light goes to the reference") << int(VellBlend::SoftLight) << QPoint() << 97;
    }
    void agreesWithReference()
    {
        QFETCH(int, mode);
        QFETCH(QPoint, offset);
        QFETCH(int, maskWidth);
        const Grid grid = makeGrid();
        const QImage mask = maskWidth < 0 ? QImage() : grid.mask.copy(0, 0, maskWidth, grid.mask.height());
        int offByOne = 0;
        for (float opacity : {0.0f, 0.003f, 0.5f, 0.7f, 1.0f}) {
            QImage fast = grid.backdrop.copy();
            QImage reference = grid.backdrop.copy();
            VellBlendFast::compositeLayer(&fast, grid.source, offset, mode, opacity, mask.isNull() ? nullptr : &mask);
            VellBlendReference::compositeLayer(&reference, grid.source, offset, mode, opacity,
                                               mask.isNull() ? nullptr : &mask);
            for (int y = 0; y < fast.height(); ++y) {
                const uchar *f = fast.constScanLine(y);
                const uchar *r = reference.constScanLine(y);
                for (int i = 0; i < fast.width() * 4; ++i) {
                    const int diff = std::abs(int(f[i]) - int(r[i]));
                    if (diff > 1)
                        QFAIL(qPrintable(QStringLiteral("opacity %1, pixel %2,%3 byte %4: %5, reference %6")
                                             .arg(double(opacity)).arg(i / 4).arg(y).arg(i % 4).arg(f[i]).arg(r[i])));
                    offByOne += diff;
                }
            }
        }
        if (!VellBlendFast::covers(mode))
            QCOMPARE(offByOne, 0);
        qInfo("%d of %lld values one level off", offByOne, 5LL * grid.backdrop.sizeInBytes());
    }
};

QTEST_GUILESS_MAIN(TestVellBlendFast)
#include "tst_vellblendfast.moc"
