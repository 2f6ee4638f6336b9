// Paths rasterised into the selection, against an even-odd point-in-polygon
// test at pixel centres written here. Pixels whose centre lies within a
// pixel of the outline may go either way (the outline is drawn too).
#include "foundation/vellcodes.h"
#include "selection/vellselection.h"
#include "selection/vellselectionpath.h"

#include <QtTest>

#include <cmath>
#include <memory>

namespace {

bool insideEvenOdd(const QVector<QPointF> &poly, QPointF p)
{
    bool inside = false;
    for (int i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const QPointF a = poly[i], b = poly[j];
        if ((a.y() > p.y()) != (b.y() > p.y())
            && p.x() < (b.x() - a.x()) * (p.y() - a.y()) / (b.y() - a.y()) + a.x())
            inside = !inside;
    }
    return inside;
}

double distanceToOutline(const QVector<QPointF> &poly, QPointF p)
{
    double best = 1e9;
    for (int i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const QPointF d = poly[i] - poly[j];
        const double len2 = QPointF::dotProduct(d, d);
        const double t = len2 > 0 ? qBound(0.0, QPointF::dotProduct(p - poly[j], d) / len2, 1.0) : 0.0;
        const QPointF q = poly[j] + d * t - p;
        best = qMin(best, std::sqrt(QPointF::dotProduct(q, q)));
    }
    return best;
}

uchar at(const VellSelection &s, int x, int y)
{
    return s.getMask()[size_t(y) * s.getPaddedWidth() + x];
}

std::unique_ptr<VellSelectionPath> polygon(const QVector<QPointF> &points, int type = VellPathType::Polygon)
{
    auto path = std::make_unique<VellSelectionPath>();
    for (const QPointF &p : points)
        path->addPoint(p);
    path->setType(type);
    return path;
}

} // namespace

Q_DECLARE_METATYPE(QVector<QPointF>)

class TestVellSelectionAddPath : public QObject
{
    Q_OBJECT

private slots:
    void rasterisesEvenOdd_data()
    {
        QTest::addColumn<QVector<QPointF>>("points");
        QTest::newRow("triangle") << QVector<QPointF>{{5, 5}, {50, 12}, {20, 38}};
        QTest::newRow("self-crossing star")
            << QVector<QPointF>{{30, 2}, {40, 38}, {4, 14}, {56, 14}, {20, 38}};
        QTest::newRow("partly outside") << QVector<QPointF>{{-10, -5}, {45, 10}, {70, 45}, {10, 30}};
    }
    void rasterisesEvenOdd()
    {
        QFETCH(QVector<QPointF>, points);
        VellSelection selection(nullptr, 60, 40);
        auto path = polygon(points);
        selection.addPath(path.get(), 0.0f);
        QCOMPARE(selection.getType(), int(VellSelectionKind::Mask));
        QVERIFY(path->isClosed());
        QCOMPARE(selection.getPath(0), path.get());
        QCOMPARE(selection.getHistoryIndex(), selection.getHistoryCount() - 1);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 60; ++x) {
                const QPointF centre(x + 0.5, y + 0.5);
                if (distanceToOutline(points, centre) < 1.0)
                    continue;
                const uchar want = insideEvenOdd(points, centre) ? 255 : 0;
                QVERIFY2(at(selection, x, y) == want, qPrintable(QString("%1,%2").arg(x).arg(y)));
            }
        selection.clear();
        QCOMPARE(selection.getPathCount(), 0);
    }

    // Each combine mode over the whole image: inside and outside of a
    // rectangle path, starting from a half-selected (128) picture.
    void combineModes_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("inside");
        QTest::addColumn<int>("outside");
        QTest::newRow("replace") << int(VellCombineMode::Replace) << 255 << 0;
        QTest::newRow("add") << int(VellCombineMode::Add) << 255 << 128;
        QTest::newRow("subtract") << int(VellCombineMode::Subtract) << 0 << 128;
        QTest::newRow("intersect") << int(VellCombineMode::Intersect) << 128 << 0;
    }
    void combineModes()
    {
        QFETCH(int, mode);
        QFETCH(int, inside);
        QFETCH(int, outside);
        VellSelection selection(nullptr, 40, 30);
        std::vector<uchar> half(size_t(selection.getPaddedWidth()) * 30, 128);
        QVERIFY(selection.copyMask(half.data()));
        selection.combineMode = mode;
        auto path = polygon({{10, 8}, {30, 8}, {30, 22}, {10, 22}}, VellPathType::Rectangle);
        selection.addPath(path.get(), 0.0f);
        QCOMPARE(int(at(selection, 20, 15)), inside);
        QCOMPARE(int(at(selection, 2, 2)), outside);
        QCOMPARE(int(at(selection, 39, 29)), outside);
    }

    // A rectangle dragged either way has the same box; without feathering,
    // in Replace, the box is the path's.
    void rectangleBox_data()
    {
        QTest::addColumn<QPointF>("from");
        QTest::addColumn<QPointF>("to");
        QTest::newRow("top-left to bottom-right") << QPointF(5, 4) << QPointF(25, 18);
        QTest::newRow("bottom-right to top-left") << QPointF(25, 18) << QPointF(5, 4);
    }
    void rectangleBox()
    {
        QFETCH(QPointF, from);
        QFETCH(QPointF, to);
        VellSelection selection(nullptr, 40, 30);
        auto path = polygon({from, QPointF(to.x(), from.y()), to, QPointF(from.x(), to.y())},
                            VellPathType::Rectangle);
        selection.pathToSelection(path.get(), 0.0f);
        QCOMPARE(selection.getRawBoundBox(), QRectF(5, 4, 20, 14));
    }

    // Feathered, the box is measured again and covers the soft edge.
    void featheredBox()
    {
        VellSelection selection(nullptr, 60, 50);
        auto path = polygon({{20, 15}, {40, 15}, {40, 35}, {20, 35}}, VellPathType::Rectangle);
        selection.addPath(path.get(), 3.0f);
        const QRectF box = selection.getRawBoundBox();
        QVERIFY2(box.left() < 20, qPrintable(QString::number(box.left())));
        QVERIFY2(box.right() > 40, qPrintable(QString::number(box.right())));
        QVERIFY(at(selection, 18, 25) > 0);     // the soft edge outside the rectangle
        QVERIFY(at(selection, 30, 25) == 255);  // the interior
        QVERIFY(at(selection, 5, 5) == 0);
    }
};

QTEST_GUILESS_MAIN(TestVellSelectionAddPath)
#include "tst_vellselectionaddpath.moc"
