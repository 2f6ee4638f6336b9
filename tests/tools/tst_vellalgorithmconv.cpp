// Gaussian kernels against the closed form of the normal integral (erf).
#include "tools/vellalgorithmconv.h"

#include <QtTest>

#include <cmath>
#include <memory>

namespace {

double exact(double a, double b, double sigma)
{
    return 0.5 * (std::erf(b / (sigma * M_SQRT2)) - std::erf(a / (sigma * M_SQRT2)));
}

} // namespace

class TestVellAlgorithmConv : public QObject
{
    Q_OBJECT

private slots:
    void integral_data()
    {
        QTest::addColumn<double>("a");
        QTest::addColumn<double>("b");
        QTest::addColumn<double>("sigma");
        QTest::newRow("centre tap, sigma 1") << -0.5 << 0.5 << 1.0;
        QTest::newRow("off-centre tap") << 1.5 << 2.5 << 1.0;
        QTest::newRow("narrow sigma") << -0.5 << 0.5 << 0.2;
        QTest::newRow("wide interval") << -3.0 << 3.0 << 1.0;
        QTest::newRow("far tail") << 8.5 << 9.5 << 3.0;
    }
    void integral()
    {
        QFETCH(double, a);
        QFETCH(double, b);
        QFETCH(double, sigma);
        const double got = gaussianIntergral(a, b, sigma);
        QVERIFY2(std::fabs(got - exact(a, b, sigma)) < 5e-4, qPrintable(QString::number(got)));
    }

    // Size 2 ceil(r - 0.5) + 1, taps symmetric, summing to 1, each the
    // normalised integral over its pixel.
    void kernel1D_data()
    {
        QTest::addColumn<float>("radius");
        QTest::addColumn<int>("size");
        QTest::newRow("0.3: one tap") << 0.3f << 1;
        QTest::newRow("0.5: one tap") << 0.5f << 1;
        QTest::newRow("0.51: three taps") << 0.51f << 3;
        QTest::newRow("2.5") << 2.5f << 5;
        QTest::newRow("3.5") << 3.5f << 7;
        QTest::newRow("20") << 20.0f << 41;
        QTest::newRow("0: the centre alone") << 0.0f << 1;
        QTest::newRow("negative") << -4.0f << 1;
    }
    void kernel1D()
    {
        QFETCH(float, radius);
        QFETCH(int, size);
        int n = -1;
        std::unique_ptr<float[]> k(VellAlgorithmConv::getGaussian1D(radius, n));
        QCOMPARE(n, size);
        const double sigma = radius / 3.0;
        double total = 0.0;
        for (int j = 0; j < n; ++j)
            total += radius > 0 ? exact(j - n / 2 - 0.5, j - n / 2 + 0.5, sigma) : (j == n / 2);
        double sum = 0.0;
        for (int j = 0; j < n; ++j) {
            const int t = j - n / 2;
            const double want = radius > 0 ? exact(t - 0.5, t + 0.5, sigma) / total : (t == 0);
            QVERIFY2(std::fabs(k[j] - want) < 5e-4, qPrintable(QString("tap %1: %2").arg(j).arg(k[j])));
            QCOMPARE(k[j], k[n - 1 - j]);
            sum += k[j];
        }
        QVERIFY2(std::fabs(sum - 1.0) < 1e-5, qPrintable(QString::number(sum)));
        if (n > 1)
            QVERIFY(k[n / 2] > k[n / 2 - 1]);
    }

    void kernel2D()
    {
        int n1 = 0, n2 = 0;
        std::unique_ptr<float[]> line(VellAlgorithmConv::getGaussian1D(2.5f, n1));
        std::unique_ptr<float[]> square(VellAlgorithmConv::getGaussian2D(2.5f, n2));
        QCOMPARE(n2, n1);
        for (int r = 0; r < n2; ++r)
            for (int c = 0; c < n2; ++c)
                QVERIFY2(square[r * n2 + c] == line[c] * line[r], qPrintable(QString("%1,%2").arg(r).arg(c)));
    }

    void calcGaussianKernelLeavesNothingForNoSize()
    {
        float k[2] = {7.0f, 7.0f};
        calcGaussianKernel(k, 0, 2.0f);
        calcGaussianKernel(k, -3, 2.0f);
        QCOMPARE(k[0], 7.0f);
        QCOMPARE(k[1], 7.0f);
    }
};

QTEST_GUILESS_MAIN(TestVellAlgorithmConv)
#include "tst_vellalgorithmconv.moc"
