// Region grow against a breadth-first flood fill written here, with the
// colour distance written from its definition.
#include "picture/vellpicturehost.h"
#include "selection/vellalgorithmgrow.h"

#include <QtTest>

#include <cmath>
#include <deque>
#include <memory>
#include <random>
#include <vector>

namespace {

// Premultiplied colour distance, alphas more than 128 units apart far away.
qint64 referenceDistance(const std::vector<int> &p, const std::vector<int> &q, double maximum)
{
    if (std::abs(p[3] - q[3]) > 128)
        return 65536;
    const float fa = float(p[3] / maximum), fb = float(q[3] / maximum);
    qint64 sum = 0;
    for (int c = 0; c < 3; ++c) {
        const qint64 d = qint64(std::trunc(float(p[c]) * fa - float(q[c]) * fb));
        sum += d * d;
    }
    return sum;
}

struct Picture
{
    int w, h;
    bool deep;
    std::vector<std::vector<int>> pixels;   // B, G, R, A per pixel

    std::unique_ptr<VellPictureHost> host() const
    {
        auto host = std::make_unique<VellPictureHost>(w, h, deep ? 8 : 4);
        for (int i = 0; i < w * h; ++i)
            for (int c = 0; c < 4; ++c) {
                if (deep)
                    reinterpret_cast<quint16 *>(host->getData())[i * 4 + c] = quint16(pixels[i][c]);
                else
                    host->getData()[i * 4 + c] = uchar(pixels[i][c]);
            }
        return host;
    }
};

// Breadth first from the seed; returns the mask and sets the box (rows as x,
// columns as y).
std::vector<uchar> floodFill(const Picture &pic, float tolerance, int sx, int sy, QRect *box)
{
    double threshold = double(tolerance) * tolerance * (pic.deep ? 65536.0 : 1.0) * 3.0;
    const double maximum = pic.deep ? 65535.0 : 255.0;
    std::vector<uchar> mask(size_t(pic.w) * pic.h, 0);
    std::deque<QPoint> queue{QPoint(sx, sy)};
    mask[size_t(sy) * pic.w + sx] = 255;
    int c0 = sx, c1 = sx, r0 = sy, r1 = sy;
    while (!queue.empty()) {
        const QPoint p = queue.front();
        queue.pop_front();
        for (QPoint d : {QPoint(-1, 0), QPoint(1, 0), QPoint(0, -1), QPoint(0, 1)}) {
            const QPoint q = p + d;
            if (q.x() < 0 || q.y() < 0 || q.x() >= pic.w || q.y() >= pic.h)
                continue;
            uchar &m = mask[size_t(q.y()) * pic.w + q.x()];
            if (m)
                continue;
            const qint64 dist = referenceDistance(pic.pixels[size_t(q.y()) * pic.w + q.x()],
                                                  pic.pixels[size_t(sy) * pic.w + sx], maximum);
            if (float(dist) > threshold)
                continue;
            m = 255;
            queue.push_back(q);
            c0 = qMin(c0, q.x()); c1 = qMax(c1, q.x());
            r0 = qMin(r0, q.y()); r1 = qMax(r1, q.y());
        }
    }
    *box = QRect(QPoint(r0, c0), QPoint(r1, c1));
    return mask;
}

// Blobs of a few colours with noise, so regions have ragged edges.
Picture blobs(int w, int h, bool deep, unsigned seed)
{
    std::mt19937 random(seed);
    Picture pic{w, h, deep, {}};
    const int scale = deep ? 257 : 1;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int band = ((x / 7) + (y / 5) + int(random() % 2)) % 3;
            const int noise = int(random() % 9);
            pic.pixels.push_back({(40 + band * 80 + noise) * scale, (90 + band * 50) * scale,
                                  (200 - band * 60 + noise) * scale, (band == 2 ? 180 : 255) * scale});
        }
    return pic;
}

} // namespace

class TestVellAlgorithmGrow : public QObject
{
    Q_OBJECT

private slots:
    void matchesFloodFill_data()
    {
        QTest::addColumn<bool>("deep");
        QTest::addColumn<float>("tolerance");
        QTest::addColumn<unsigned>("seed");
        for (bool deep : {false, true})
            for (float t : {0.0f, 6.0f, 40.0f, 90.0f})
                for (unsigned seed : {1u, 2u})
                    QTest::addRow("%s, tolerance %g, picture %u", deep ? "16-bit" : "8-bit", double(t), seed)
                        << deep << t << seed;
    }
    void matchesFloodFill()
    {
        QFETCH(bool, deep);
        QFETCH(float, tolerance);
        QFETCH(unsigned, seed);
        const Picture pic = blobs(37, 29, deep, seed);
        const auto host = pic.host();
        for (QPoint start : {QPoint(0, 0), QPoint(18, 14), QPoint(36, 28)}) {
            std::vector<uchar> mask(size_t(pic.w) * pic.h, 0);
            const QRect got = VellAlgorithmGrow::grow(host.get(), mask.data(), tolerance, start.x(), start.y());
            QRect want;
            const std::vector<uchar> expected = floodFill(pic, tolerance, start.x(), start.y(), &want);
            QCOMPARE(got, want);
            for (size_t i = 0; i < mask.size(); ++i)
                QVERIFY2(mask[i] == expected[i], qPrintable(QString("pixel %1 from %2,%3").arg(i).arg(start.x()).arg(start.y())));
        }
    }

    // Equal colours, alphas 0 and 200 (8-bit) or 129 units apart (16-bit):
    // joined only once 3 t^2 (x 65536 for 16 bits) reaches 65536.
    void alphaLimit_data()
    {
        QTest::addColumn<bool>("deep");
        QTest::addColumn<int>("alphaA");
        QTest::addColumn<int>("alphaB");
        QTest::addColumn<float>("tolerance");
        QTest::addColumn<bool>("joined");
        QTest::newRow("8-bit, t 147") << false << 0 << 200 << 147.0f << false;
        QTest::newRow("8-bit, t 148") << false << 0 << 200 << 148.0f << true;
        QTest::newRow("16-bit, t 0.57") << true << 1000 << 1129 << 0.57f << false;
        QTest::newRow("16-bit, t 0.58") << true << 1000 << 1129 << 0.58f << true;
    }
    void alphaLimit()
    {
        QFETCH(bool, deep);
        QFETCH(int, alphaA);
        QFETCH(int, alphaB);
        QFETCH(float, tolerance);
        QFETCH(bool, joined);
        const int c = deep ? 30000 : 100;
        Picture pic{2, 1, deep, {{c, c, c, alphaA}, {c, c, c, alphaB}}};
        std::vector<uchar> mask(2, 0);
        VellAlgorithmGrow::grow(pic.host().get(), mask.data(), tolerance, 0, 0);
        QCOMPARE(mask[1] == 255, joined);
    }

    // A zero in the constraint, or a byte already set, stops the growth; the
    // constraint is placed by (dx, dy) and its rows are padded to 4 bytes.
    void barriers()
    {
        Picture pic{6, 4, false, std::vector<std::vector<int>>(24, {50, 50, 50, 255})};
        const auto host = pic.host();
        // Constraint 8 x 6 (stride 8), image at (1, 1): a wall on image column 3.
        std::vector<uchar> constraint(8 * 6, 255);
        for (int y = 0; y < 6; ++y)
            constraint[size_t(y) * 8 + 3 + 1] = 0;
        std::vector<uchar> mask(24, 0);
        QCOMPARE(VellAlgorithmGrow::grow(host.get(), mask.data(), 0.0f, 0, 0, constraint.data(), 7, 6, 1, 1),
                 QRect(QPoint(0, 0), QPoint(3, 2)));
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 6; ++x)
                QVERIFY2((mask[size_t(y) * 6 + x] == 255) == (x < 3), qPrintable(QString("%1,%2").arg(x).arg(y)));

        std::vector<uchar> blocked(24, 0);
        for (int y = 0; y < 4; ++y)
            blocked[size_t(y) * 6 + 2] = 255;   // already visited
        QCOMPARE(VellAlgorithmGrow::grow(host.get(), blocked.data(), 0.0f, 5, 0), QRect(QPoint(0, 3), QPoint(3, 5)));
        QCOMPARE(int(blocked[0]), 0);

        // A seed on a zero of the constraint grows nothing.
        std::vector<uchar> none(24, 0);
        QCOMPARE(VellAlgorithmGrow::grow(host.get(), none.data(), 0.0f, 3, 1, constraint.data(), 7, 6, 1, 1),
                 QRect(QPoint(1, 3), QPoint(1, 3)));
        QCOMPARE(std::count(none.begin(), none.end(), 255), 0);
    }

    void seedOutside_data()
    {
        QTest::addColumn<QPoint>("seed");
        QTest::newRow("left") << QPoint(-1, 0);
        QTest::newRow("below") << QPoint(0, 4);
        QTest::newRow("far") << QPoint(INT_MAX, INT_MIN);
    }
    void seedOutside()
    {
        QFETCH(QPoint, seed);
        Picture pic{6, 4, false, std::vector<std::vector<int>>(24, {50, 50, 50, 255})};
        std::vector<uchar> mask(24, 0);
        QVERIFY(VellAlgorithmGrow::grow(pic.host().get(), mask.data(), 10.0f, seed.x(), seed.y()).isNull());
        QCOMPARE(std::count(mask.begin(), mask.end(), 0), 24);
    }
};

QTEST_GUILESS_MAIN(TestVellAlgorithmGrow)
#include "tst_vellalgorithmgrow.moc"
