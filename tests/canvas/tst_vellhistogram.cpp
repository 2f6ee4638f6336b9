#include "canvas/vellhistogram.h"

#include <QtTest>

#include <vector>

namespace {

using Pixels = std::vector<Pixel8bit>;

Pixels uniform(int count, int r, int g, int b)
{
    return Pixels(size_t(count), Pixel8bit{uchar(b), uchar(g), uchar(r), 255});
}

// 256 columns x `rows`: red = x, green = 255 - x, blue = 7 in every pixel.
Pixels ramp(int rows)
{
    Pixels pixels;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < 256; ++x)
            pixels.push_back(Pixel8bit{7, uchar(255 - x), uchar(x), 255});
    return pixels;
}

int *histogramOf(VellHistogram &h, int which)
{
    int *const all[] = {h.getGrayHistogram(), h.getRedHistogram(), h.getGreenHistogram(),
                        h.getBlueHistogram(), h.getLuminosityHistogram()};
    return all[which];
}

} // namespace

class TestVellHistogram : public QObject
{
    Q_OBJECT

private slots:
    // One colour fills exactly one bin of each histogram: bins worked out by
    // hand, grey = (R + G + B) / 3 rounded down, luminosity =
    // 0.299 R + 0.587 G + 0.114 B rounded down.
    void oneColour_data()
    {
        QTest::addColumn<int>("r");
        QTest::addColumn<int>("g");
        QTest::addColumn<int>("b");
        QTest::addColumn<int>("grayBin");
        QTest::addColumn<int>("lumBin");
        QTest::newRow("mid grey (luminosity exactly 128)") << 128 << 128 << 128 << 128 << 128;
        QTest::newRow("white") << 255 << 255 << 255 << 255 << 255;
        QTest::newRow("red: 76.245") << 255 << 0 << 0 << 85 << 76;
        QTest::newRow("green: 149.685") << 0 << 255 << 0 << 85 << 149;
        QTest::newRow("blue: 29.07") << 0 << 0 << 255 << 85 << 29;
        QTest::newRow("10,0,0: 2.99 rounds down") << 10 << 0 << 0 << 3 << 2;
        QTest::newRow("grey sum 299 -> 99") << 100 << 100 << 99 << 99 << 99;
        QTest::newRow("channels apart: 200,40,3") << 200 << 40 << 3 << 81 << 83;
    }
    void oneColour()
    {
        QFETCH(int, r);
        QFETCH(int, g);
        QFETCH(int, b);
        QFETCH(int, grayBin);
        QFETCH(int, lumBin);
        const int width = 7, height = 5;   // odd sizes, more rows than some thread counts
        const Pixels pixels = uniform(width * height, r, g, b);
        VellHistogram h;
        h.updateData(pixels.data(), width, height);
        QCOMPARE(h.getCountedPixels(), width * height);
        const int wanted[] = {grayBin, r, g, b, lumBin};
        for (int which = 0; which < 5; ++which) {
            const int *bins = histogramOf(h, which);
            for (int i = 0; i < 256; ++i)
                QVERIFY2(bins[i] == (i == wanted[which] ? width * height : 0),
                         qPrintable(QString("histogram %1, bin %2: %3").arg(which).arg(i).arg(bins[i])));
        }
    }

    // A ramp over many rows: each red and green bin gets one pixel per row,
    // blue and grey ((x + 255 - x + 7) / 3 = 87) get all of them. Catches
    // rows lost or counted twice between threads.
    void rampAcrossThreads()
    {
        const int rows = 301;
        const Pixels pixels = ramp(rows);
        VellHistogram h;
        h.updateData(pixels.data(), 256, rows);
        for (int i = 0; i < 256; ++i) {
            QCOMPARE(h.getRedHistogram()[i], rows);
            QCOMPARE(h.getGreenHistogram()[i], rows);
            QCOMPARE(h.getBlueHistogram()[i], i == 7 ? 256 * rows : 0);
            QCOMPARE(h.getGrayHistogram()[i], i == 87 ? 256 * rows : 0);
        }
        // Counting again adds to the bins; clear() empties everything.
        h.updateData(pixels.data(), 256, rows);
        QCOMPARE(h.getRedHistogram()[200], 2 * rows);
        h.clear();
        QCOMPARE(h.getCountedPixels(), 0);
        QCOMPARE(h.getMaxValue(), 0);
        for (int i = 0; i < 1280; ++i)
            QVERIFY2(h.getGrayHistogram()[i] == 0, qPrintable(QString::number(i)));
    }

    void emptyInput_data()
    {
        QTest::addColumn<bool>("nullPixels");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("null pixels") << true << 4 << 4;
        QTest::newRow("zero width") << false << 0 << 4;
        QTest::newRow("negative height") << false << 4 << -3;
        QTest::newRow("size beyond int") << false << 65536 << 65536;
    }
    void emptyInput()
    {
        QFETCH(bool, nullPixels);
        QFETCH(int, width);
        QFETCH(int, height);
        const Pixels pixels = uniform(16, 1, 2, 3);
        VellHistogram h;
        h.setAr(3.0);
        h.updateData(nullPixels ? nullptr : pixels.data(), width, height);
        QCOMPARE(h.getCountedPixels(), 0);
        QCOMPARE(h.getAr(), 0.0);
        QCOMPARE(h.getMaxValue(), 0);
        QCOMPARE(h.clipGray(0.5f), 255);
    }

    // The running count must pass the fraction; nothing passing gives 255.
    void clip_data()
    {
        QTest::addColumn<int>("which");   // 0 grey, 1 red, 2 green, 3 blue
        QTest::addColumn<float>("fraction");
        QTest::addColumn<int>("bin");
        // Red and green of the ramp hold 1/256 of the pixels per bin: bin i
        // closes at (i + 1) / 256.
        QTest::newRow("red, half: 129/256 > 0.5") << 1 << 0.5f << 128;
        QTest::newRow("red, quarter") << 1 << 0.25f << 64;
        QTest::newRow("red, nothing") << 1 << 0.0f << 0;
        QTest::newRow("green, 0.9: 231/256") << 2 << 0.9f << 230;
        QTest::newRow("blue, all in bin 7") << 3 << 0.1f << 7;
        QTest::newRow("grey, all in bin 87") << 0 << 0.99f << 87;
        QTest::newRow("grey, whole: never exceeded") << 0 << 1.0f << 255;
        QTest::newRow("grey, halfway: its own bin") << 0 << 0.5f << 87;
    }
    void clip()
    {
        QFETCH(int, which);
        QFETCH(float, fraction);
        QFETCH(int, bin);
        const Pixels pixels = ramp(4);
        VellHistogram h;
        h.updateData(pixels.data(), 256, 4);
        const int got[] = {h.clipGray(fraction), h.clipRed(fraction), h.clipGreen(fraction),
                           h.clipBlue(fraction)};
        QCOMPARE(got[which], bin);
    }

    // Bins are set by hand: luminosity bins listed as {first, count, value},
    // red's tallest bin and the counted pixels decide between the two rules.
    void maxValue_data()
    {
        QTest::addColumn<int>("counted");
        QTest::addColumn<int>("redMax");
        QTest::addColumn<QVector<int>>("lumRuns");
        QTest::addColumn<int>("expected");
        QTest::newRow("tallest colour bin within 1/256 of the pixels")
            << 256000 << 1000 << QVector<int>{0, 10, 50000} << 1000;
        QTest::newRow("exactly 1/256") << 2560 << 10 << QVector<int>{0, 3, 999} << 10;
        QTest::newRow("spike, 10 luminosity bins: the tallest of them")
            << 1000 << 500 << QVector<int>{0, 9, 3, 9, 1, 40} << 40;
        QTest::newRow("80 bins: k = 2, the second tallest")
            << 1000 << 500 << QVector<int>{0, 78, 5, 78, 1, 60, 79, 1, 70} << 60;
        QTest::newRow("200 bins, 4 spikes: k = 5 skips them")
            << 1000 << 500 << QVector<int>{0, 4, 900, 4, 196, 12} << 12;
        QTest::newRow("200 bins, 5 spikes: the fifth is kept")
            << 1000 << 500 << QVector<int>{0, 5, 900, 5, 195, 12} << 900;
        // 10 non-empty bins at 5..14: the first ten bins (0..9) are copied,
        // so the 30s at 10..14 are not among them.
        QTest::newRow("the first n bins, not the non-empty ones")
            << 1000 << 500 << QVector<int>{5, 5, 7, 10, 5, 30} << 7;
        QTest::newRow("first n bins all empty: the colour bin")
            << 1000 << 500 << QVector<int>{100, 10, 30} << 500;
        QTest::newRow("no luminosity at all") << 1000 << 500 << QVector<int>{} << 500;
    }
    void maxValue()
    {
        QFETCH(int, counted);
        QFETCH(int, redMax);
        QFETCH(QVector<int>, lumRuns);
        QFETCH(int, expected);
        VellHistogram h;
        h.getRedHistogram()[40] = redMax;
        h.getGreenHistogram()[41] = redMax / 2;
        for (int i = 0; i + 2 < lumRuns.size(); i += 3)
            for (int bin = lumRuns[i]; bin < lumRuns[i] + lumRuns[i + 1]; ++bin)
                h.getLuminosityHistogram()[bin] = lumRuns[i + 2];
        h.setCountedPixels(counted);
        h.countMaxValue();
        for (int got : {h.getMaxValue(), h.getGrayMaxValue(), h.getRedMaxValue(), h.getGreenMaxValue(),
                        h.getBlueMaxValue(), h.getLuminosityMaxValue()})
            QCOMPARE(got, expected);
    }

    // The gains take the average near-grey pixel back to grey: red x Ar and
    // blue x Ab come out at the green level, within 1 % (the estimate's
    // constants are rounded). Pixels whose chroma outweighs their luminance
    // (saturated red here) take no part.
    void colourCast_data()
    {
        QTest::addColumn<QVector<int>>("colours");   // r, g, b per block of 64 pixels
        QTest::addColumn<double>("phi");
        QTest::addColumn<double>("wantAr");          // 0: expect both gains 0
        QTest::addColumn<double>("wantAb");
        QTest::newRow("neutral") << QVector<int>{128, 128, 128} << 0.0 << 1.0 << 1.0;
        QTest::newRow("warm cast") << QVector<int>{150, 128, 110} << 0.0 << 128.0 / 150 << 128.0 / 110;
        QTest::newRow("cool cast") << QVector<int>{100, 120, 140} << 0.0 << 1.2 << 120.0 / 140;
        QTest::newRow("saturated pixels ignored")
            << QVector<int>{200, 180, 160, 255, 0, 0, 0, 0, 255} << 0.0 << 0.9 << 180.0 / 160;
        QTest::newRow("phi above every pixel") << QVector<int>{128, 128, 128} << 128.0 << 0.0 << 0.0;
        QTest::newRow("no near-grey pixel") << QVector<int>{255, 0, 0} << 0.0 << 0.0 << 0.0;
    }
    void colourCast()
    {
        QFETCH(QVector<int>, colours);
        QFETCH(double, phi);
        QFETCH(double, wantAr);
        QFETCH(double, wantAb);
        Pixels pixels;
        for (int i = 0; i + 2 < colours.size(); i += 3) {
            const Pixels block = uniform(64, colours[i], colours[i + 1], colours[i + 2]);
            pixels.insert(pixels.end(), block.begin(), block.end());
        }
        VellHistogram h;
        QCOMPARE(h.getPhi(), 0.0);
        h.setPhi(phi);
        h.updateData(pixels.data(), 8, int(pixels.size()) / 8);
        if (wantAr == 0.0) {
            QCOMPARE(h.getAr(), 0.0);
            QCOMPARE(h.getAb(), 0.0);
            return;
        }
        QVERIFY2(qAbs(h.getAr() / wantAr - 1.0) < 0.01, qPrintable(QString::number(h.getAr())));
        QVERIFY2(qAbs(h.getAb() / wantAb - 1.0) < 0.01, qPrintable(QString::number(h.getAb())));
    }
};

QTEST_GUILESS_MAIN(TestVellHistogram)
#include "tst_vellhistogram.moc"
