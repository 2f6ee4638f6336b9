// Feathering against a plain full 2-D convolution written here, with the
// kernel from the same 20-step integrals, samples clamped at the borders.
#include "foundation/vellcodes.h"
#include "selection/vellselection.h"
#include "selection/vellselectionpath.h"
#include "tools/vellalgorithmconv.h"

#include <QtTest>

#include <cmath>
#include <memory>
#include <vector>

namespace {

// A w x h selection whose coverage is 255 inside `shape` (columns x, rows y)
// and 0 elsewhere, as a Mask with its box measured.
std::unique_ptr<VellSelection> hardEdged(int w, int h, const QRect &shape)
{
    auto selection = std::make_unique<VellSelection>(nullptr, w, h);
    const int stride = selection->getPaddedWidth();
    std::vector<uchar> bytes(size_t(stride) * h, 0);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            bytes[size_t(y) * stride + x] = shape.contains(x, y) ? 255 : 0;
    selection->copyMask(bytes.data());
    selection->calcBoundBox(QRect(QPoint(0, 0), QPoint(h - 1, w - 1)));
    return selection;
}

uchar at(const VellSelection &s, int x, int y)
{
    return s.getMask()[size_t(y) * s.getPaddedWidth() + x];
}

// The blur of the whole image as one 2-D convolution in double precision.
std::vector<double> fullConvolution(const VellSelection &s, float radius)
{
    int n = 0;
    std::unique_ptr<float[]> k(VellAlgorithmConv::getGaussian1D(radius, n));
    const int w = s.getWidth(), h = s.getHeight();
    std::vector<double> out(size_t(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            double sum = 0;
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j)
                    sum += double(k[i]) * k[j]
                           * at(s, qBound(0, x - n / 2 + j, w - 1), qBound(0, y - n / 2 + i, h - 1));
            out[size_t(y) * w + x] = sum;
        }
    return out;
}

// Whether `got` is the truncated `exact`, or one level below it (two passes
// truncate twice), with a thousandth of a level of slack for float sums.
bool nearConvolution(int got, double exact)
{
    return got <= std::floor(exact + 1e-3) && got >= std::floor(exact - 1e-3) - 1;
}

} // namespace

class TestVellSelectionFeather : public QObject
{
    Q_OBJECT

private slots:
    // The whole selection blurred: every pixel within a level of the plain
    // convolution, including the border, which sees clamped samples rather
    // than darkness outside.
    void featherMatchesConvolution_data()
    {
        QTest::addColumn<QRect>("shape");
        QTest::addColumn<float>("radius");
        QTest::newRow("square, r 3") << QRect(10, 8, 20, 16) << 3.0f;
        QTest::newRow("square, r 7.5") << QRect(12, 10, 15, 12) << 7.5f;
        QTest::newRow("touching the border, r 4") << QRect(0, 0, 25, 40) << 4.0f;
        QTest::newRow("one pixel, r 2") << QRect(20, 20, 1, 1) << 2.0f;
    }
    void featherMatchesConvolution()
    {
        QFETCH(QRect, shape);
        QFETCH(float, radius);
        auto selection = hardEdged(48, 40, shape);
        const std::vector<double> want = fullConvolution(*selection, radius);
        selection->feather(radius);
        // Both results are truncated to bytes; the two passes truncate twice,
        // so they may fall one level below the single truncation (a
        // thousandth of a level of slack for float against double sums).
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 48; ++x) {
                const double exact = want[size_t(y) * 48 + x];
                const int got = at(*selection, x, y);
                QVERIFY2(nearConvolution(got, exact),
                         qPrintable(QString("%1,%2: %3, want %4").arg(x).arg(y).arg(got).arg(exact)));
            }
        QCOMPARE(selection->getHistoryIndex(), selection->getHistoryCount() - 1);
    }

    // A rectangle path feathers only the band around its edge: inside the
    // rectangle shrunk by twice the half-width (and one more pixel, which the
    // bands' inclusive edges recompute, possibly a rounding below 255) the
    // bytes stay, and so does everything farther than the half-width outside.
    void rectangleInteriorUntouched()
    {
        const QRect shape(10, 8, 30, 24);
        auto selection = hardEdged(60, 50, shape);
        const float radius = 3.0f;
        const std::vector<double> want = fullConvolution(*selection, radius);
        const int half = 3;
        VellSelectionPath path;
        path.setType(VellPathType::Rectangle);
        path.addPoint(shape.left(), shape.top());
        path.addPoint(shape.right() + 1, shape.top());
        path.addPoint(shape.right() + 1, shape.bottom() + 1);
        path.addPoint(shape.left(), shape.bottom() + 1);
        selection->feather(&path, radius);
        int changed = 0;
        for (int y = 0; y < 50; ++y)
            for (int x = 0; x < 60; ++x) {
                const uchar before = shape.contains(x, y) ? 255 : 0;
                const int in = 2 * half + 1;
                const bool inside = shape.adjusted(in, in, -in, -in).contains(x, y);
                const bool far = !shape.adjusted(-half, -half, half, half).contains(x, y);
                if (inside || far)
                    QVERIFY2(at(*selection, x, y) == before, qPrintable(QString("%1,%2").arg(x).arg(y)));
                else if (x < shape.center().x() && y < shape.center().y())
                    // The band along the top and left edges is as blurred as
                    // the whole picture would be. (On the bottom and right
                    // the corners' coordinates are the pixel edges after the
                    // last row and column, so the band is one pixel narrower
                    // there.)
                    QVERIFY2(nearConvolution(at(*selection, x, y), want[size_t(y) * 60 + x]),
                             qPrintable(QString("%1,%2: %3").arg(x).arg(y).arg(at(*selection, x, y))));
                changed += at(*selection, x, y) != before;
            }
        QVERIFY(changed > 0);
    }

    // An outer region that cuts through the shape: inside it, the blur still
    // reads the coverage beyond its edge, as the whole picture's blur does.
    void outerCutsThroughShape()
    {
        auto selection = hardEdged(48, 40, QRect(6, 6, 30, 26));
        const float radius = 4.0f;
        const std::vector<double> want = fullConvolution(*selection, radius);
        const QRect outer(QPoint(12, 20), QPoint(30, 44));   // rows 12 .. 30, columns 20 .. 44
        selection->feather2way(QRect(0, 0, -1, -1), outer, radius);
        for (int y = 12; y <= 30; ++y)
            for (int x = 20; x <= 44; ++x)
                QVERIFY2(nearConvolution(at(*selection, x, y), want[size_t(y) * 48 + x]),
                         qPrintable(QString("%1,%2: %3, want %4").arg(x).arg(y)
                                        .arg(at(*selection, x, y)).arg(want[size_t(y) * 48 + x])));
    }

    // Above half the rectangle's side the radius is that limit.
    void rectangleRadiusLimit()
    {
        auto a = hardEdged(140, 140, QRect(20, 20, 100, 100));
        auto b = hardEdged(140, 140, QRect(20, 20, 100, 100));
        VellSelectionPath path;
        path.setType(VellPathType::Rectangle);
        for (QPointF p : {QPointF(20, 20), QPointF(120, 20), QPointF(120, 120), QPointF(20, 120)})
            path.addPoint(p);
        a->feather(&path, 80.0f);
        b->feather(&path, 49.5f);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(a->getMask()), 140 * a->getPaddedWidth()),
                 QByteArray(reinterpret_cast<const char *>(b->getMask()), 140 * b->getPaddedWidth()));
    }

    void noOps_data()
    {
        QTest::addColumn<float>("radius");
        QTest::addColumn<int>("kind");
        QTest::newRow("r 0.5: one tap of weight 1") << 0.5f << int(VellSelectionKind::Mask);
        QTest::newRow("r 0") << 0.0f << int(VellSelectionKind::Mask);
        QTest::newRow("r negative") << -3.0f << int(VellSelectionKind::Mask);
        QTest::newRow("whole") << 4.0f << int(VellSelectionKind::Whole);
        QTest::newRow("empty") << 4.0f << int(VellSelectionKind::Empty);
    }
    void noOps()
    {
        QFETCH(float, radius);
        QFETCH(int, kind);
        auto selection = hardEdged(30, 20, QRect(5, 5, 10, 8));
        selection->setType(kind);
        const QByteArray before(reinterpret_cast<const char *>(selection->getMask()), 20 * selection->getPaddedWidth());
        selection->feather(radius);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(selection->getMask()), 20 * selection->getPaddedWidth()), before);
    }

    // One pass (R <= 3.5): the ring is the 2-D convolution of the buffer as
    // it was; inside inner nothing moves.
    void repeatMethodSinglePass()
    {
        auto selection = hardEdged(40, 30, QRect(8, 6, 20, 16));
        const std::vector<double> want = fullConvolution(*selection, 3.0f);
        const QRect inner(QPoint(10, 12), QPoint(18, 22));   // rows 10 .. 18, columns 12 .. 22
        const QRect outer(QPoint(2, 4), QPoint(27, 33));
        selection->featherRepeatMethod(inner, outer, 3.0f);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                const bool ring = y >= 2 && y <= 27 && x >= 4 && x <= 33
                                  && !(y > 10 - 1 && y < 18 + 1 && x > 12 && x < 22);
                const uchar before = QRect(8, 6, 20, 16).contains(x, y) ? 255 : 0;
                if (ring)
                    QVERIFY2(nearConvolution(at(*selection, x, y), want[size_t(y) * 40 + x]),
                             qPrintable(QString("%1,%2: %3").arg(x).arg(y).arg(at(*selection, x, y))));
                else
                    QVERIFY2(at(*selection, x, y) == before, qPrintable(QString("%1,%2").arg(x).arg(y)));
            }
    }

    void repeatPasses_data()
    {
        QTest::addColumn<float>("radius");
        QTest::addColumn<QVector<int>>("steps");
        QTest::addColumn<QVector<float>>("radii");
        QTest::newRow("3.5: one pass") << 3.5f << QVector<int>{1} << QVector<float>{3.5f};
        QTest::newRow("2") << 2.0f << QVector<int>{1} << QVector<float>{2.0f};
        QTest::newRow("10") << 10.0f << QVector<int>{1, 3} << QVector<float>{3.5f, 10.0f / 3.5f};
        QTest::newRow("20") << 20.0f << QVector<int>{1, 3, 12} << QVector<float>{3.5f, 3.5f, 20.0f / 12.25f};
    }
    void repeatPasses()
    {
        QFETCH(float, radius);
        QFETCH(QVector<int>, steps);
        QFETCH(QVector<float>, radii);
        const QVector<QPair<int, float>> passes = VellSelection::featherRepeatPasses(radius);
        QCOMPARE(passes.size(), steps.size());
        for (int i = 0; i < passes.size(); ++i) {
            QCOMPARE(passes[i].first, steps[i]);
            QVERIFY2(std::fabs(passes[i].second - radii[i]) < 1e-5, qPrintable(QString::number(i)));
        }
    }
};

QTEST_GUILESS_MAIN(TestVellSelectionFeather)
#include "tst_vellselectionfeather.moc"
