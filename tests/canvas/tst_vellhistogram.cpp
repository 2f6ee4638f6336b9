#include "canvas/vellhistogram.h"

#include <QtTest>

#include <algorithm>
#include <vector>

class TestVellHistogram : public QObject
{
    Q_OBJECT
    using Pixels = std::vector<Pixel8bit>;
    using Gains = QVector<double>;   // Ar, Ab; none: both 0

    // `each` pixels of every colour of `rgb` (r, g, b, r, g, b, ...) in turn.
    static Pixels blocks(const QVector<int> &rgb, int each)
    {
        Pixels pixels;
        for (int i = 0; i + 2 < rgb.size(); i += 3)
            pixels.insert(pixels.end(), size_t(each), Pixel8bit{uchar(rgb[i + 2]), uchar(rgb[i + 1]),
                                                                uchar(rgb[i]), 255});
        return pixels;
    }

private slots:
    // One colour over more rows than threads fills one bin of each histogram:
    // grey (R + G + B) / 3, luminosity 0.299 R + 0.587 G + 0.114 B, rounded down.
    void oneColour_data()
    {
        QTest::addColumn<QVector<int>>("bins");   // grey, red, green, blue, luminosity
        QTest::newRow("mid grey (luminosity exactly 128)") << QVector<int>{128, 128, 128, 128, 128};
        QTest::newRow("white") << QVector<int>{255, 255, 255, 255, 255};
        QTest::newRow("red: 76.245") << QVector<int>{85, 255, 0, 0, 76};
        QTest::newRow("green: 149.685") << QVector<int>{85, 0, 255, 0, 149};
        QTest::newRow("blue: 29.07") << QVector<int>{85, 0, 0, 255, 29};
        QTest::newRow("10,0,0: 2.99 rounds down") << QVector<int>{3, 10, 0, 0, 2};
        QTest::newRow("grey sum 299 -> 99") << QVector<int>{99, 100, 100, 99, 99};
    }
    void oneColour()
    {
        QFETCH(QVector<int>, bins);
        const int width = 7, height = 301, n = width * height;
        const Pixels pixels = blocks(bins.mid(1, 3), n);
        VellHistogram h;
        h.updateData(pixels.data(), width, height);
        for (int which = 0; which < 5; ++which) {
            const int *got = h.getGrayHistogram() + 256 * which;
            const QByteArray at = QString("histogram %1: %2").arg(which).arg(got[bins[which]]).toLatin1();
            QVERIFY2(got[bins[which]] == n, at.constData());
            QVERIFY2(std::count(got, got + 256, 0) == 255, at.constData());
        }
        // Counting again adds to the bins; clear() empties all of them.
        h.updateData(pixels.data(), width, height);
        QCOMPARE(h.getRedHistogram()[bins[1]], 2 * n);
        h.clear();
        QCOMPARE(h.getCountedPixels() + h.getMaxValue(), 0);
        QVERIFY(std::count(h.getGrayHistogram(), h.getGrayHistogram() + 1280, 0) == 1280);
    }

    void emptyInput()
    {
        const Pixels pixels = blocks({1, 2, 3}, 16);
        const struct { const Pixel8bit *pixels; int width, height; } cases[] = {
            {nullptr, 4, 4}, {pixels.data(), 0, 4}, {pixels.data(), 4, -3}, {pixels.data(), 65536, 65536}};
        for (const auto &c : cases) {
            VellHistogram h;
            h.setAr(3.0);
            h.updateData(c.pixels, c.width, c.height);
            const QByteArray size = QString("%1x%2").arg(c.width).arg(c.height).toLatin1();
            QVERIFY2(h.getCountedPixels() + h.getMaxValue() == 0, size.constData());
            QVERIFY2(h.getAr() == 0.0, size.constData());
            QVERIFY2(h.clipGray(0.5f) == 255, size.constData());
        }
    }

    // The first bin whose running count exceeds the fraction; none gives 255.
    void clip()
    {
        Pixels pixels;   // red = x, green = 255 - x, blue 7, grey 87 over 256 x 4
        for (int i = 0; i < 4 * 256; ++i)
            pixels.push_back(Pixel8bit{7, uchar(255 - i % 256), uchar(i % 256), 255});
        VellHistogram h;
        h.updateData(pixels.data(), 256, 4);
        QCOMPARE(h.clipRed(0.5f), 128);   // red and green bin i close at (i + 1) / 256
        QCOMPARE(h.clipRed(0.25f), 64);
        QCOMPARE(h.clipRed(0.0f), 0);
        QCOMPARE(h.clipGreen(0.9f), 230);
        QCOMPARE(h.clipBlue(0.1f), 7);
        QCOMPARE(h.clipGray(0.99f), 87);
        QCOMPARE(h.clipGray(1.0f), 255);   // never exceeded
    }

    // Bins set by hand: red's tallest bin (500) against the counted pixels
    // chooses the rule; luminosity bins given as runs {first, count, value}.
    void maxValue_data()
    {
        QTest::addColumn<int>("counted");
        QTest::addColumn<QVector<int>>("lumRuns");
        QTest::addColumn<int>("expected");
        QTest::newRow("colour bin exactly 1/256") << 128000 << QVector<int>{0, 3, 999} << 500;
        QTest::newRow("10 bins: k = 1") << 1000 << QVector<int>{0, 9, 3, 9, 1, 40} << 40;
        QTest::newRow("80 bins: k = 2") << 1000 << QVector<int>{0, 78, 5, 78, 1, 60, 79, 1, 70} << 60;
        QTest::newRow("200 bins, 4 spikes: k = 5") << 1000 << QVector<int>{0, 4, 900, 4, 196, 12} << 12;
        QTest::newRow("200 bins, 5 spikes") << 1000 << QVector<int>{0, 5, 900, 5, 195, 12} << 900;
        // Non-empty bins 5..14: the first ten bins (0..9) are taken, not them.
        QTest::newRow("the first n bins") << 1000 << QVector<int>{5, 5, 7, 10, 5, 30} << 7;
        QTest::newRow("first n bins empty") << 1000 << QVector<int>{100, 10, 30} << 500;
        QTest::newRow("no luminosity") << 1000 << QVector<int>{} << 500;
    }
    void maxValue()
    {
        QFETCH(int, counted);
        QFETCH(QVector<int>, lumRuns);
        VellHistogram h;
        h.getRedHistogram()[40] = 500;
        for (int i = 0; i + 2 < lumRuns.size(); i += 3)
            std::fill_n(h.getLuminosityHistogram() + lumRuns[i], lumRuns[i + 1], lumRuns[i + 2]);
        h.setCountedPixels(counted);
        h.countMaxValue();
        QTEST(h.getMaxValue(), "expected");
    }

    // The gains take the average near-grey pixel back to grey: red x Ar and
    // blue x Ab land on the green level, within 1 % (the estimate's constants
    // are rounded). Pixels whose chroma outweighs their luminance take no part.
    void colourCast_data()
    {
        QTest::addColumn<QVector<int>>("colours");   // r, g, b per block of 64 pixels
        QTest::addColumn<double>("phi");
        QTest::addColumn<Gains>("gains");
        QTest::newRow("neutral") << QVector<int>{128, 128, 128} << 0.0 << Gains{1.0, 1.0};
        QTest::newRow("warm cast") << QVector<int>{150, 128, 110} << 0.0 << Gains{128.0 / 150, 128.0 / 110};
        QTest::newRow("cool cast") << QVector<int>{100, 120, 140} << 0.0 << Gains{1.2, 120.0 / 140};
        QTest::newRow("saturated pixels ignored")   // red, green and blue next to a warm grey
            << QVector<int>{200, 180, 160, 255, 0, 0, 0, 255, 0, 0, 0, 255} << 0.0 << Gains{0.9, 180.0 / 160};
        QTest::newRow("phi above every pixel") << QVector<int>{128, 128, 128} << 128.0 << Gains{};
        QTest::newRow("no near-grey pixel") << QVector<int>{255, 0, 0} << 0.0 << Gains{};
    }
    void colourCast()
    {
        QFETCH(QVector<int>, colours);
        QFETCH(double, phi);
        QFETCH(Gains, gains);
        const Pixels pixels = blocks(colours, 64);
        VellHistogram h;
        h.setPhi(phi);
        h.updateData(pixels.data(), 8, int(pixels.size()) / 8);
        const double ar = h.getAr(), ab = h.getAb();
        const bool near = gains.isEmpty() ? ar == 0.0 && ab == 0.0
                                          : qAbs(ar / gains[0] - 1) < 0.01 && qAbs(ab / gains[1] - 1) < 0.01;
        QVERIFY2(near, qPrintable(QString("Ar %1, Ab %2").arg(ar).arg(ab)));
    }
};

QTEST_GUILESS_MAIN(TestVellHistogram)
#include "tst_vellhistogram.moc"
