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

QByteArray maskBytes(const VellSelection &s)
{
    return QByteArray(reinterpret_cast<const char *>(s.getMask()), int(s.getByteCount()));
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

enum Rule { Kept, Blurred, Either };

// The first pixel of `s` that breaks its rule: Kept pixels still hold the
// hard-edged `shape`, Blurred ones are near the convolution `want`; empty
// when none does.
template <typename RuleAt>
QString firstBad(const VellSelection &s, const QRect &shape, const std::vector<double> &want, RuleAt ruleAt)
{
    for (int y = 0; y < s.getHeight(); ++y)
        for (int x = 0; x < s.getWidth(); ++x) {
            const Rule rule = ruleAt(x, y);
            const int got = at(s, x, y), before = shape.contains(x, y) ? 255 : 0;
            const double exact = want[size_t(y) * s.getWidth() + x];
            if ((rule == Kept && got != before) || (rule == Blurred && !nearConvolution(got, exact)))
                return QString("%1,%2: %3, want %4").arg(x).arg(y).arg(got).arg(rule == Kept ? before : exact);
        }
    return QString();
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
        QTest::newRow("the corner pixel, r 2") << QRect(47, 39, 1, 1) << 2.0f;
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
        const QString bad = firstBad(*selection, shape, want, [](int, int) { return Blurred; });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
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
        const int in = 2 * half + 1;
        const QString bad = firstBad(*selection, shape, want, [&](int x, int y) {
            if (shape.adjusted(in, in, -in, -in).contains(x, y)
                || !shape.adjusted(-half, -half, half, half).contains(x, y))
                return Kept;
            // The band along the top and left edges is as blurred as the
            // whole picture would be. (On the bottom and right the corners'
            // coordinates are the pixel edges after the last row and column,
            // so the band is one pixel narrower there.)
            return x < shape.center().x() && y < shape.center().y() ? Blurred : Either;
        });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
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
        const QString bad = firstBad(*selection, QRect(6, 6, 30, 26), want, [&](int x, int y) {
            return outer.contains(y, x) ? Blurred : Either;   // rows as x
        });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
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
        QCOMPARE(maskBytes(*a), maskBytes(*b));
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
        const QByteArray before = maskBytes(*selection);
        selection->feather(radius);
        QCOMPARE(maskBytes(*selection), before);
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
        const QString bad = firstBad(*selection, QRect(8, 6, 20, 16), want, [](int x, int y) {
            const bool ring = y >= 2 && y <= 27 && x >= 4 && x <= 33
                              && !(y > 10 - 1 && y < 18 + 1 && x > 12 && x < 22);
            return ring ? Blurred : Kept;
        });
        QVERIFY2(bad.isEmpty(), qPrintable(bad));
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
