// Selection paths: points, the closing rule, resampling and the dash colours.
// Resampled outlines are checked against a walk written here: every vertex
// on the polygon's edges, consecutive vertices at most one step apart.
#include "foundation/vellcodes.h"
#include "selection/vellselectionpath.h"

#include <QtTest>

#include <cmath>

namespace {

// Distance from p to the segment a-b.
double toSegment(QPointF p, QPointF a, QPointF b)
{
    const QPointF d = b - a;
    const double len2 = QPointF::dotProduct(d, d);
    const double t = len2 > 0 ? qBound(0.0, QPointF::dotProduct(p - a, d) / len2, 1.0) : 0.0;
    const QPointF q = a + d * t - p;
    return std::sqrt(QPointF::dotProduct(q, q));
}

} // namespace

class TestVellSelectionPath : public QObject
{
    Q_OBJECT

private slots:
    void points()
    {
        VellSelectionPath path;
        QCOMPARE(path.getType(), int(VellPathType::Polygon));
        path.deleteFront();   // empty: nothing
        path.addPoint(1, 2);
        path.addPoint(QPointF(3, 4));
        path.setClosed(true);
        QVERIFY(!path.isClosed());   // two points stay open
        QCOMPARE(path.getPoint(1), QPointF(3, 4));
        QCOMPARE(path.getPoint(2), QPointF(0, 0));
        QCOMPARE(path.getPoint(-1), QPointF(0, 0));
        path.setPoint(5, QPointF(9, 9));   // ignored
        path.setPoint(0, QPointF(5, 6));
        QCOMPARE(path.getPoint(0), QPointF(5, 6));
        path.deleteFront();   // the most recent point
        QCOMPARE(path.getPointNumber(), 1);
        QCOMPARE(path.getPoint(0), QPointF(5, 6));
    }

    // The copy keeps the points only.
    void copy()
    {
        VellSelectionPath source;
        source.addPoint(0, 0);
        source.addPoint(10, 5);
        source.addPoint(3, 8);
        source.setType(VellPathType::Ellipse);
        source.setClosed(true);
        QVERIFY(source.isClosed());   // three points close
        source.doPathSampling(1.0f);
        VellSelectionPath copy(&source);
        QCOMPARE(*copy.getData(), *source.getData());
        QCOMPARE(copy.getType(), int(VellPathType::Polygon));
        QVERIFY(!copy.isClosed());
        QVERIFY(!copy.isSampled());
        VellSelectionPath none(static_cast<VellSelectionPath *>(nullptr));
        QCOMPARE(none.getPointNumber(), 0);
    }

    void sampling_data()
    {
        QTest::addColumn<QVector<QPointF>>("points");
        QTest::addColumn<float>("step");
        QTest::addColumn<float>("spacing");   // the step actually used; 0: refused
        QTest::newRow("square, step 2") << QVector<QPointF>{{0, 0}, {10, 0}, {10, 10}, {0, 10}} << 2.0f << 2.0f;
        QTest::newRow("triangle, step 0.7") << QVector<QPointF>{{1, 1}, {9, 3}, {4, 8}} << 0.7f << 0.7f;
        QTest::newRow("segment, step 0 is 0.1") << QVector<QPointF>{{0, 0}, {3, 4}} << 0.0f << 0.1f;
        QTest::newRow("repeated point") << QVector<QPointF>{{2, 2}, {2, 2}, {6, 2}} << 1.0f << 1.0f;
        QTest::newRow("one point: refused") << QVector<QPointF>{{1, 1}} << 1.0f << 0.0f;
        QTest::newRow("absurdly far apart: refused") << QVector<QPointF>{{0, 0}, {1e12, 0}} << 1.0f << 0.0f;
        QTest::newRow("not a number: refused") << QVector<QPointF>{{0, 0}, {qQNaN(), 0}} << 1.0f << 0.0f;
    }
    void sampling()
    {
        QFETCH(QVector<QPointF>, points);
        QFETCH(float, step);
        QFETCH(float, spacing);
        VellSelectionPath path;
        for (const QPointF &p : points)
            path.addPoint(p);
        path.doPathSampling(step);
        QCOMPARE(path.isSampled(), spacing > 0);
        if (!path.isSampled())
            return;
        const int n = path.getSampledCount();
        const float *v = path.getSampledVertices();
        // Closed: it starts and ends on the first point and visits every point.
        QCOMPARE(QPointF(v[0], v[1]), points.first());
        QCOMPARE(QPointF(v[2 * n - 2], v[2 * n - 1]), points.first());
        double perimeter = 0.0;
        for (int i = 0; i < points.size(); ++i) {
            const QPointF d = points[(i + 1) % points.size()] - points[i];
            perimeter += std::sqrt(QPointF::dotProduct(d, d));
        }
        // Each edge of length L gives ceil(L / step) - 1 inner vertices (one
        // fewer when L is a whole number of steps, within rounding) plus its
        // start; the first point closes the outline.
        QVERIFY2(n >= perimeter / spacing - points.size(), qPrintable(QString::number(n)));
        QVERIFY2(n <= perimeter / spacing + points.size() + 1, qPrintable(QString::number(n)));
        for (int i = 0; i < n; ++i) {
            const QPointF p(v[2 * i], v[2 * i + 1]);
            double nearest = 1e9;
            for (int e = 0; e < points.size(); ++e)
                nearest = qMin(nearest, toSegment(p, points[e], points[(e + 1) % points.size()]));
            QVERIFY2(nearest < 1e-4, qPrintable(QString("vertex %1 is %2 off the outline").arg(i).arg(nearest)));
            if (i > 0) {
                const QPointF d = p - QPointF(v[2 * i - 2], v[2 * i - 1]);
                QVERIFY2(std::sqrt(QPointF::dotProduct(d, d)) <= spacing + 1e-4, qPrintable(QString("gap before %1").arg(i)));
            }
        }
    }

    // Dashes: white on every period-th vertex, black between, opaque, with 20 spare.
    void colorPeriod_data()
    {
        QTest::addColumn<int>("asked");   // -1: the period sampling sets
        QTest::addColumn<int>("period");
        QTest::newRow("after sampling: 3") << -1 << 3;
        QTest::newRow("5") << 5 << 5;
        QTest::newRow("limited to 9") << 12 << 9;
        QTest::newRow("at least 1") << 0 << 1;
    }
    void colorPeriod()
    {
        QFETCH(int, asked);
        QFETCH(int, period);
        VellSelectionPath path;
        path.addPoint(0, 0);
        path.addPoint(4, 0);
        path.doPathSampling(1.0f);
        if (asked >= 0)
            path.initColorList(asked);
        QCOMPARE(path.getColorPeriod(), period);
        const float *c = path.getColorList();
        for (int i = 0; i < path.getSampledCount() + 20; ++i) {
            const float shade = i % period == 0 ? 1.0f : 0.0f;
            for (int k = 0; k < 3; ++k)
                QVERIFY2(c[4 * i + k] == shade, qPrintable(QString("vertex %1 channel %2").arg(i).arg(k)));
            QCOMPARE(c[4 * i + 3], 1.0f);
        }
    }
};

QTEST_GUILESS_MAIN(TestVellSelectionPath)
#include "tst_vellselectionpath.moc"
