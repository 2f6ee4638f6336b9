// The arithmetic of the blur-based and block-divided tool bases, checked
// against values worked out by hand: which cascade levels serve a radius,
// the steps of the single-image blur, the working size per driver vendor,
// and how a tile is cut into blocks.
#include "tools/velltoolblockdivided.h"
#include "tools/velltoolgaussianblurbased.h"

#include <QtTest>

#include <cmath>
#include <limits>

using Blur = VellToolGaussianBlurBased;

class TestVellToolBaseRules : public QObject
{
    Q_OBJECT

private slots:
    // Where a radius lands among the levels: level0 + distance, distance
    // 1.0 being level1; -1 is the picture itself. 9, 27 and 81 land on one
    // level, from either side of the boundary.
    void levelChoice_data()
    {
        QTest::addColumn<float>("radius");   // working pixels
        QTest::addColumn<int>("level0");
        QTest::addColumn<float>("position");
        const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
        QTest::newRow("3: level 0 exactly") << 3.0f << 0 << 0.0f;
        QTest::newRow("10: levels 1 and 2") << 10.0f << 1 << float(std::log(10.0) / std::log(3.0) - 1);
        QTest::newRow("1000 clamped to 242: levels 3 and 4")
            << 1000.0f << 3 << float(std::log(242.0) / std::log(3.0) - 1);
        QTest::newRow("9 is level 1") << 9.0f << -1 << 1.0f;
        QTest::newRow("27 is level 2") << 27.0f << -1 << 2.0f;
        QTest::newRow("81 is level 3") << 81.0f << -1 << 3.0f;
        QTest::newRow("1.5: half way back to the picture") << 1.5f << 0 << -0.5f;
        QTest::newRow("0: the picture") << 0.0f << 0 << -1.0f;
        QTest::newRow("negative: the picture") << -4.0f << 0 << -1.0f;
        QTest::newRow("not a number: the picture") << nan << 0 << -1.0f;
        QTest::newRow("infinite: the picture") << infinity << 0 << -1.0f;
    }
    void levelChoice()
    {
        QFETCH(float, radius);
        QFETCH(int, level0);   // -1: either side of the boundary
        QFETCH(float, position);
        const Blur::LevelChoice choice = Blur::chooseLevels(radius);
        if (level0 >= 0)
            QCOMPARE(choice.level0, level0);
        QCOMPARE(choice.level1, choice.level0 + 1);
        const float reached = choice.level0 + choice.distance;
        QVERIFY2(std::fabs(reached - position) < 1e-4f, qPrintable(QString::number(double(reached))));
    }

    void blurSteps_data()
    {
        QTest::addColumn<float>("radius");
        QTest::addColumn<QVector<float>>("steps");
        QTest::newRow("10") << 10.0f << QVector<float>{1.0f, 3.0f, 10.0f / 3.0f};
        QTest::newRow("2: one pass") << 2.0f << QVector<float>{2.0f / 3.0f};
        QTest::newRow("9") << 9.0f << QVector<float>{1.0f, 3.0f};
        QTest::newRow("100") << 100.0f << QVector<float>{1.0f, 3.0f, 9.0f, 27.0f, 100.0f / 3.0f};
        QTest::newRow("0: none") << 0.0f << QVector<float>{};
        QTest::newRow("not a number: none") << std::numeric_limits<float>::quiet_NaN() << QVector<float>{};
    }
    void blurSteps()
    {
        QFETCH(float, radius);
        QFETCH(QVector<float>, steps);
        QCOMPARE(Blur::blurSteps(radius), steps);
    }

    void workingSize_data()
    {
        QTest::addColumn<QSize>("layer");
        QTest::addColumn<QString>("vendor");
        QTest::addColumn<QSize>("working");
        QTest::addColumn<int>("draws");
        QTest::newRow("Mesa, 10000 x 5000") << QSize(10000, 5000) << "Mesa/X.org" << QSize(1024, 512) << 16;
        QTest::newRow("NVIDIA, 10000 x 5000") << QSize(10000, 5000) << "NVIDIA Corporation" << QSize(2048, 1024) << 1;
        QTest::newRow("ATI") << QSize(10000, 5000) << "ATI Technologies Inc." << QSize(2048, 1024) << 1;
        QTest::newRow("small layers keep their size") << QSize(300, 7) << "Mesa/X.org" << QSize(300, 7) << 16;
        QTest::newRow("rounded up") << QSize(3000, 1001) << "Mesa/X.org" << QSize(1024, 342) << 16;
    }
    void workingSize()
    {
        QFETCH(QSize, layer);
        QFETCH(QString, vendor);
        QFETCH(QSize, working);
        QFETCH(int, draws);
        QCOMPARE(Blur::workingSize(layer, Blur::workingLimit(vendor)), working);
        const QVector<QRectF> tiles = Blur::levelTiles(QSizeF(working), Blur::isFullSpeedVendor(vendor));
        QCOMPARE(tiles.size(), draws);
        // Row by row from the top, covering the level exactly once.
        double area = 0;
        for (int i = 0; i < tiles.size(); ++i) {
            area += tiles[i].width() * tiles[i].height();
            if (i > 0)
                QVERIFY(tiles[i].y() > tiles[i - 1].y()
                        || (tiles[i].y() == tiles[i - 1].y() && tiles[i].x() > tiles[i - 1].x()));
        }
        QCOMPARE(area, double(working.width()) * working.height());
    }

    void blocks_data()
    {
        QTest::addColumn<QRect>("tile");
        QTest::addColumn<int>("side");
        QTest::addColumn<QVector<QRect>>("blocks");
        QTest::newRow("1000 x 600 in 512")
            << QRect(0, 0, 1000, 600) << 512
            << QVector<QRect>{QRect(0, 0, 512, 512), QRect(512, 0, 488, 512), QRect(0, 512, 512, 88),
                              QRect(512, 512, 488, 88)};
        QTest::newRow("exact multiple: no narrow column")
            << QRect(100, 50, 512, 300) << 256
            << QVector<QRect>{QRect(100, 50, 256, 256), QRect(356, 50, 256, 256), QRect(100, 306, 256, 44),
                              QRect(356, 306, 256, 44)};
        QTest::newRow("block size 0 becomes 1")
            << QRect(0, 0, 2, 1) << 0 << QVector<QRect>{QRect(0, 0, 1, 1), QRect(1, 0, 1, 1)};
        QTest::newRow("1 x 1") << QRect(0, 0, 1, 1) << 512 << QVector<QRect>{QRect(0, 0, 1, 1)};
        QTest::newRow("1 x 700") << QRect(0, 0, 1, 700) << 512
                                 << QVector<QRect>{QRect(0, 0, 1, 512), QRect(0, 512, 1, 188)};
        QTest::newRow("empty") << QRect() << 512 << QVector<QRect>{};
    }
    void blocks()
    {
        QFETCH(QRect, tile);
        QFETCH(int, side);
        QFETCH(QVector<QRect>, blocks);
        QCOMPARE(VellToolBlockDivided::blockRects(tile, side, side), blocks);
        VellToolBlockDivided tool;
        tool.setBlockSizeX(side);
        tool.setBlockSizeY(-side);
        QCOMPARE(tool.getBlockSizeX(), qMax(1, side));
        QCOMPARE(tool.getBlockSizeY(), 1);
    }
};

QTEST_GUILESS_MAIN(TestVellToolBaseRules)
#include "tst_velltoolbaserules.moc"
