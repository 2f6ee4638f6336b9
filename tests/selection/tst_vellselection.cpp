// The selection's coverage operations on the CPU, each checked against a
// plain computation written here: combine modes, the 3 x 3 median that
// follows addMask, box scans, inversion, moves, the run-length history and
// the stream record.
#include "foundation/vellcodes.h"
#include "presets/vellactionmanager.h"
#include "selection/vellcompressedselection.h"
#include "selection/vellselection.h"
#include "support/vellteststreams.h"

#include <QAction>
#include <QBuffer>
#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<uchar>;

// A padded buffer of the selection's layout.
Bytes bufferOf(const VellSelection &s)
{
    return Bytes(s.getMask(), s.getMask() + s.getByteCount());
}

// Random bytes; with `runny`, long runs of a few values, as real masks have.
Bytes randomBytes(qint64 count, quint32 seed, bool runny)
{
    QRandomGenerator random(seed);
    Bytes bytes(size_t(count), 0);
    uchar value = 0;
    for (auto &b : bytes) {
        if (!runny)
            b = uchar(random.bounded(256));
        else {
            if (random.bounded(8) == 0)
                value = uchar(QList<int>{0, 255, 128, 7}.at(random.bounded(4)));
            b = value;
        }
    }
    return bytes;
}

// Selects the given bytes (padded layout) as a Mask.
void setCoverage(VellSelection &s, const Bytes &bytes)
{
    QVERIFY(s.copyMask(bytes.data()));
}

// The 3 x 3 median of every image pixel of a padded buffer, neighbours
// clamped to the image, by sorting the nine values.
Bytes median3(const Bytes &in, int width, int height, int stride)
{
    Bytes out = in;
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) {
            std::vector<uchar> nine;
            for (int dr = -1; dr <= 1; ++dr)
                for (int dc = -1; dc <= 1; ++dc)
                    nine.push_back(in[size_t(qBound(0, r + dr, height - 1) * stride
                                             + qBound(0, c + dc, width - 1))]);
            std::sort(nine.begin(), nine.end());
            out[size_t(r * stride + c)] = nine[4];
        }
    return out;
}

struct Scan
{
    QRectF box;
    int positive = 0, visible = 0;
};

// The box and counts of the pixels of rows r0..r1, columns c0..c1 (already
// inside the image), found by looking at every pixel.
Scan scan(const Bytes &bytes, int width, int height, int stride, int r0, int r1, int c0, int c1)
{
    Scan result;
    int top = height, bottom = -1, left = width, right = -1;
    for (int r = r0; r <= r1; ++r)
        for (int c = c0; c <= c1; ++c) {
            const uchar v = bytes[size_t(r * stride + c)];
            if (v == 0)
                continue;
            ++result.positive;
            result.visible += v >= 128;
            top = std::min(top, r), bottom = std::max(bottom, r);
            left = std::min(left, c), right = std::max(right, c);
        }
    result.box = bottom < 0 ? QRectF(width, height, -width, -height)
                            : QRectF(left, top, right - left + 1, bottom - top + 1);
    return result;
}

QString at(int r, int c)
{
    return QStringLiteral("row %1, column %2").arg(r).arg(c);
}

// Compares the image pixels (not the padding) of two padded buffers.
bool samePixels(const Bytes &got, const Bytes &want, int width, int height, int stride, QString *where)
{
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) {
            const size_t i = size_t(r * stride + c);
            if (got[i] != want[i]) {
                *where = at(r, c) + QStringLiteral(": %1, expected %2").arg(got[i]).arg(want[i]);
                return false;
            }
        }
    return true;
}

} // namespace

class TestVellSelection : public QObject
{
    Q_OBJECT

private slots:
    // A uniform mask over a selection of all or nothing: the median keeps a
    // flat image, so every pixel shows the mode's arithmetic. Each mode on a
    // partial selection is checked pixel by pixel in placedMasks.
    void combineModes_data()
    {
        QTest::addColumn<bool>("selectAll");   // false: nothing selected
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("expected");     // from a mask of 40
        QTest::newRow("add to select-all replaces") << true << int(VellCombineMode::Add) << 40;
        QTest::newRow("add to no selection replaces") << false << int(VellCombineMode::Add) << 40;
        QTest::newRow("subtract from select-all") << true << int(VellCombineMode::Subtract) << 215;
        QTest::newRow("intersect with select-all") << true << int(VellCombineMode::Intersect) << 40;
    }

    void combineModes()
    {
        QFETCH(bool, selectAll);
        QFETCH(int, mode);
        QFETCH(int, expected);
        VellSelection s(nullptr, 7, 6);
        if (selectAll)
            s.selectAll();
        const int before = s.getHistoryCount();
        s.combineMode = mode;
        const Bytes mask(7 * 6, 40);
        QVERIFY(s.addMask(mask.data(), 7, 6, 0, 0));
        for (int r = 0; r < 6; ++r)
            for (int c = 0; c < 7; ++c)
                QVERIFY2(s.getMask()[r * 8 + c] == expected, qPrintable(at(r, c)));
        QCOMPARE(s.getType(), int(VellSelectionKind::Mask));
        QCOMPARE(s.getHistoryCount(), before + 1);
        QCOMPARE(s.getHistoryIndex(), before);
        QCOMPARE(s.getPositiveCount(), 42);
        QCOMPARE(s.getVisibleCount(), expected >= 128 ? 42 : 0);
    }

    // Masks placed anywhere, over the edges or outside: only the pixels
    // under the mask change (all of them for Replace, which clears the rest),
    // then the 3 x 3 median. Checked against the same steps done pixel by
    // pixel here.
    void placedMasks_data()
    {
        // Four ints rather than a QRect: QRect would overflow computing the
        // right edge of a mask that reaches past INT_MAX.
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("x");   // the mask's top-left pixel: column x, row y
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("maskWidth");
        QTest::addColumn<int>("maskHeight");
        QTest::newRow("replace inside") << int(VellCombineMode::Replace) << 3 << 2 << 6 << 5;
        QTest::newRow("add over the right and bottom edges") << int(VellCombineMode::Add) << 9 << 7 << 8 << 6;
        QTest::newRow("subtract over the left and top edges") << int(VellCombineMode::Subtract) << -4 << -3 << 9 << 8;
        QTest::newRow("intersect inside leaves the rest") << int(VellCombineMode::Intersect) << 2 << 2 << 5 << 4;
        QTest::newRow("intersect covering the image") << int(VellCombineMode::Intersect) << -2 << -2 << 20 << 20;
        QTest::newRow("add wholly right of the image") << int(VellCombineMode::Add) << 13 << 0 << 4 << 4;
        QTest::newRow("replace wholly above the image") << int(VellCombineMode::Replace) << 0 << -9 << 4 << 4;
        QTest::newRow("add reaching past INT_MAX") << int(VellCombineMode::Add) << INT_MAX - 2 << 2 << 3 << 3;
        QTest::newRow("subtract from INT_MIN") << int(VellCombineMode::Subtract) << INT_MIN << 0 << 5 << 5;
    }

    void placedMasks()
    {
        QFETCH(int, mode);
        QFETCH(int, x);
        QFETCH(int, y);
        QFETCH(int, maskWidth);
        QFETCH(int, maskHeight);
        const int width = 13, height = 11, stride = 16;
        VellSelection s(nullptr, width, height);
        const Bytes old = randomBytes(stride * height, 3, true);
        setCoverage(s, old);
        const Bytes mask = randomBytes(qint64(maskWidth) * maskHeight, 4, true);
        s.combineMode = mode;
        QVERIFY(s.addMask(mask.data(), maskWidth, maskHeight, x, y));

        Bytes want = old;
        if (mode == VellCombineMode::Replace)
            std::fill(want.begin(), want.end(), 0);
        for (int r = 0; r < height; ++r)
            for (int c = 0; c < width; ++c) {
                const qint64 mr = qint64(r) - y, mc = qint64(c) - x;
                if (mr < 0 || mr >= maskHeight || mc < 0 || mc >= maskWidth)
                    continue;
                const int n = mask[size_t(mr * maskWidth + mc)];
                uchar &o = want[size_t(r * stride + c)];
                switch (mode) {
                case VellCombineMode::Replace: o = uchar(n); break;
                case VellCombineMode::Add: o = uchar(std::min(255, o + n)); break;
                case VellCombineMode::Subtract: o = uchar(std::max(0, o - n)); break;
                default: o = std::min(o, uchar(n)); break;
                }
            }
        const Scan before = scan(want, width, height, stride, 0, height - 1, 0, width - 1);
        want = median3(want, width, height, stride);
        QString where;
        QVERIFY2(samePixels(bufferOf(s), want, width, height, stride, &where), qPrintable(where));
        // The box and counts are measured before the median.
        QCOMPARE(s.getRawBoundBox(), before.box);
        QCOMPARE(s.getPositiveCount(), before.positive);
        QCOMPARE(s.getVisibleCount(), before.visible);
    }

    void refusedMasks_data()
    {
        QTest::addColumn<bool>("nullMask");
        QTest::addColumn<int>("maskWidth");
        QTest::addColumn<int>("maskHeight");
        QTest::addColumn<int>("mode");
        QTest::newRow("null mask") << true << 2 << 2 << int(VellCombineMode::Add);
        QTest::newRow("no width") << false << 0 << 2 << int(VellCombineMode::Replace);
        QTest::newRow("negative height") << false << 2 << -1 << int(VellCombineMode::Replace);
        QTest::newRow("unknown mode") << false << 2 << 2 << 4;
        QTest::newRow("negative mode") << false << 2 << 2 << -1;
    }

    void refusedMasks()
    {
        QFETCH(bool, nullMask);
        QFETCH(int, maskWidth);
        QFETCH(int, maskHeight);
        QFETCH(int, mode);
        VellSelection s(nullptr, 6, 4);
        const Bytes old = randomBytes(s.getByteCount(), 5, false);
        setCoverage(s, old);
        const int count = s.getHistoryCount();
        const Bytes mask(4, 200);
        s.combineMode = mode;
        QVERIFY(!s.addMask(nullMask ? nullptr : mask.data(), maskWidth, maskHeight, 1, 1));
        QCOMPARE(bufferOf(s), old);
        QCOMPARE(s.getHistoryCount(), count);
    }

    void medianFilter_data()
    {
        QTest::addColumn<int>("radius");
        QTest::addColumn<QRect>("region");   // rows x, columns y
        QTest::newRow("radius 1, whole") << 1 << QRect(QPoint(0, 0), QPoint(8, 10));
        QTest::newRow("radius 2, inner part") << 2 << QRect(QPoint(2, 3), QPoint(6, 7));
        QTest::newRow("radius 3, over the corner") << 3 << QRect(QPoint(-5, -5), QPoint(3, 2));
        QTest::newRow("radius 0 does nothing") << 0 << QRect(QPoint(0, 0), QPoint(8, 10));
        QTest::newRow("region outside") << 1 << QRect(QPoint(9, 0), QPoint(12, 4));
        QTest::newRow("region the wrong way round") << 1 << QRect(QPoint(5, 5), QPoint(2, 2));
    }

    void medianFilter()
    {
        QFETCH(int, radius);
        QFETCH(QRect, region);
        const int width = 11, height = 9, stride = 12;
        VellSelection s(nullptr, width, height);
        const Bytes old = randomBytes(stride * height, 6, false);
        setCoverage(s, old);
        s.medianFilter(radius, region);
        Bytes want = old;
        const bool reversed = region.left() > region.right() || region.top() > region.bottom();
        for (int r = 0; radius >= 1 && !reversed && r < height; ++r)
            for (int c = 0; c < width; ++c) {
                if (r < region.left() || r > region.right() || c < region.top() || c > region.bottom())
                    continue;
                std::vector<uchar> all;
                for (int dr = -radius; dr <= radius; ++dr)
                    for (int dc = -radius; dc <= radius; ++dc)
                        all.push_back(old[size_t(qBound(0, r + dr, height - 1) * stride
                                                 + qBound(0, c + dc, width - 1))]);
                std::sort(all.begin(), all.end(), std::greater<uchar>());
                want[size_t(r * stride + c)] = all[all.size() / 2];
            }
        QString where;
        QVERIFY2(samePixels(bufferOf(s), want, width, height, stride, &where), qPrintable(where));
    }

    void boundBox_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QRect>("region");   // rows x, columns y
        QTest::addColumn<int>("density");    // one pixel in `density` is non-zero
        QTest::newRow("whole, sparse") << QSize(13, 70) << QRect(QPoint(0, 0), QPoint(69, 12)) << 40;
        QTest::newRow("part") << QSize(13, 70) << QRect(QPoint(10, 2), QPoint(50, 9)) << 40;
        QTest::newRow("beyond the image") << QSize(9, 5) << QRect(QPoint(-3, -3), QPoint(20, 20)) << 7;
        QTest::newRow("one pixel set") << QSize(9, 5) << QRect(QPoint(0, 0), QPoint(4, 8)) << 1000;
        QTest::newRow("all zero") << QSize(9, 5) << QRect(QPoint(0, 0), QPoint(4, 8)) << 0;
        QTest::newRow("region outside") << QSize(9, 5) << QRect(QPoint(5, 0), QPoint(8, 8)) << 2;
    }

    void boundBox()
    {
        QFETCH(QSize, size);
        QFETCH(QRect, region);
        QFETCH(int, density);
        const int width = size.width(), height = size.height();
        VellSelection s(nullptr, width, height);
        const int stride = s.getPaddedWidth();
        QRandomGenerator random(8);
        Bytes bytes(size_t(s.getByteCount()), 0);
        for (auto &b : bytes)
            b = density > 0 && random.bounded(density) == 0 ? uchar(1 + random.bounded(255)) : 0;
        if (density == 1000)
            bytes[size_t(3 * stride + 6)] = 9;
        setCoverage(s, bytes);
        s.calcBoundBox(region);
        const int r0 = std::max(region.left(), 0), r1 = std::min(region.right(), height - 1);
        const int c0 = std::max(region.top(), 0), c1 = std::min(region.bottom(), width - 1);
        const Scan want = scan(bytes, width, height, stride, r0, r1, c0, c1);
        QCOMPARE(s.getRawBoundBox(), want.box);
        QCOMPARE(s.getPositiveCount(), want.positive);
        QCOMPARE(s.getVisibleCount(), want.visible);
        if (want.positive == 0)
            QVERIFY(s.getBoundBox().isEmpty());
        else
            QCOMPARE(s.getBoundBox(), QRectF(want.box.x(), want.box.y(), want.box.width() + 1,
                                             want.box.height() + 1).intersected(QRectF(0, 0, width, height)));
    }

    void inverseOfMaskCoversPadding()
    {
        VellSelection s(nullptr, 5, 4);
        const Bytes bytes = randomBytes(s.getByteCount(), 9, false);
        setCoverage(s, bytes);
        s.inverse();
        const Bytes got = bufferOf(s);
        for (size_t i = 0; i < got.size(); ++i)
            QVERIFY2(got[i] == 255 - bytes[i], qPrintable(QString::number(i)));
        QCOMPARE(s.getType(), int(VellSelectionKind::Mask));
        const Scan want = scan(got, 5, 4, 8, 0, 3, 0, 4);
        QCOMPARE(s.getRawBoundBox(), want.box);
        QCOMPARE(s.getPositiveCount(), want.positive);
    }

    void inverseOfWholeAndEmpty()
    {
        VellSelection s(nullptr, 4, 4);
        s.selectAll();
        QVERIFY(s.hasSelection());
        s.inverse();
        QCOMPARE(s.getType(), int(VellSelectionKind::Empty));
        QVERIFY(!s.hasSelection());
        QVERIFY(s.getBoundBox().isEmpty());
        s.inverse();
        QCOMPARE(s.getType(), int(VellSelectionKind::Whole));
        QVERIFY(!s.displayFull());
        QVERIFY(!s.hasSelection());
        QCOMPARE(s.getRawBoundBox(), QRectF(0, 0, 4, 4));
        QCOMPARE(bufferOf(s), Bytes(16, 255));
    }

    void translation_data()
    {
        QTest::addColumn<QPointF>("offset");
        QTest::newRow("right and down") << QPointF(2, 1);
        QTest::newRow("left") << QPointF(-3, 0);
        QTest::newRow("fractions truncate toward zero") << QPointF(0.9, -1.7);
        QTest::newRow("off the image") << QPointF(100, 0);
        QTest::newRow("far off the image") << QPointF(-1e300, 3);
    }

    void translation()
    {
        QFETCH(QPointF, offset);
        const int width = 7, height = 5, stride = 8;
        VellSelection s(nullptr, width, height);
        Bytes bytes = randomBytes(stride * height, 10, true);
        setCoverage(s, bytes);
        s.calcBoundBox(QRect(QPoint(0, 0), QPoint(height - 1, width - 1)));
        const QRectF box = s.getRawBoundBox();
        s.setTranslation(offset);
        s.applyTranslation();
        const qint64 dx = qint64(qBound(-1e6, offset.x(), 1e6)), dy = qint64(qBound(-1e6, offset.y(), 1e6));
        Bytes want(bytes.size(), 0);
        for (int r = 0; r < height; ++r)
            for (int c = 0; c < width; ++c) {
                const qint64 sr = r - dy, sc = c - dx;
                if (sr >= 0 && sr < height && sc >= 0 && sc < width)
                    want[size_t(r * stride + c)] = bytes[size_t(sr * stride + sc)];
            }
        QCOMPARE(bufferOf(s), want);   // the padding is zeroed too
        QCOMPARE(s.getTranslation(), QPointF(0, 0));
        QCOMPARE(s.getType(), int(VellSelectionKind::Mask));
        if (box.width() > 0)
            QCOMPARE(s.getRawBoundBox(), box.translated(double(dx), double(dy))
                                             .intersected(QRectF(0, 0, width, height)));
    }

    void runsOfTheExample()
    {
        const uchar five[] = {0, 0, 0, 255, 255};
        std::unique_ptr<QByteArray> runs(VellCompressedSelection::encodeRuns(five, 5));
        QCOMPARE(*runs, QByteArray::fromHex("0000000003ff00000002"));
        VellSelection uniform(nullptr, 5, 3);
        setCoverage(uniform, Bytes(24, 77));
        const QByteArray *one = uniform.getCompressedSelection(uniform.getHistoryIndex())->getCompressedMask();
        QVERIFY(one);
        QCOMPARE(*one, QByteArray::fromHex("4d00000018"));   // 77, length 8 x 3
    }

    void runsRoundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<quint32>("seed");
        QTest::addColumn<bool>("runny");
        QTest::newRow("1 x 1") << QSize(1, 1) << 11u << false;
        QTest::newRow("odd width, noise") << QSize(5, 7) << 12u << false;
        QTest::newRow("odd width, runs") << QSize(37, 19) << 13u << true;
        QTest::newRow("runs across rows") << QSize(64, 64) << 14u << true;
        QTest::newRow("noise, larger") << QSize(101, 40) << 15u << false;
    }

    // Through the selection's history: the state recorded for a mask comes
    // back byte for byte after other states have replaced it.
    void runsRoundTrip()
    {
        QFETCH(QSize, size);
        QFETCH(quint32, seed);
        QFETCH(bool, runny);
        VellSelection s(nullptr, size.width(), size.height());
        const Bytes bytes = randomBytes(s.getByteCount(), seed, runny);
        setCoverage(s, bytes);
        const int recorded = s.getHistoryIndex();
        const QByteArray runs = *s.getCompressedSelection(recorded)->getCompressedMask();
        QCOMPARE(runs.size() % 5, 0);
        s.selectAll();
        QCOMPARE(bufferOf(s), Bytes(bytes.size(), 255));
        s.decompress(recorded);
        QCOMPARE(bufferOf(s), bytes);
        QCOMPARE(s.getType(), int(VellSelectionKind::Mask));
        QCOMPARE(s.getHistoryIndex(), recorded);
        s.decompress(0);   // the first, Whole, state
        QCOMPARE(bufferOf(s), Bytes(bytes.size(), 255));
        QCOMPARE(s.getType(), int(VellSelectionKind::Whole));
    }

    void malformedRuns_data()
    {
        QTest::addColumn<QByteArray>("runs");
        QTest::newRow("cut inside a run") << QByteArray::fromHex("07000000");
        QTest::newRow("length 0") << QByteArray::fromHex("0700000000");
        QTest::newRow("negative length") << QByteArray::fromHex("07ffffffff");
        QTest::newRow("longer than the buffer") << QByteArray::fromHex("0700000005");
        QTest::newRow("more runs than bytes") << QByteArray::fromHex("07000000040800000001");
        QTest::newRow("too short") << QByteArray::fromHex("0700000003");
    }

    void malformedRuns()
    {
        QFETCH(QByteArray, runs);
        uchar buffer[8];
        std::fill(buffer, buffer + 8, uchar(0xAA));
        QVERIFY(!VellCompressedSelection::decodeRuns(runs, buffer, 4));
        for (int i = 4; i < 8; ++i)
            QCOMPARE(buffer[i], uchar(0xAA));   // never past the 4 bytes
    }

    void historyOutOfRange()
    {
        VellSelection s(nullptr, 4, 2);
        setCoverage(s, Bytes(8, 9));
        const Bytes now = bufferOf(s);
        for (int index : {-1, 2, 99, s.getHistoryIndex()})
            s.decompress(index);
        QCOMPARE(bufferOf(s), now);
        QCOMPARE(s.getHistoryIndex(), 1);
        QVERIFY(!s.getCompressedSelection(-1));
        QVERIFY(!s.getCompressedSelection(2));
        s.initMasks();
        QCOMPARE(s.getHistoryCount(), 1);
        QCOMPARE(s.getType(), int(VellSelectionKind::Whole));
    }

    void commandGroups()
    {
        VellActionManager *actions = VellActionManager::getInstance(QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml"));
        QAction *inverse = actions->getActionByName(QStringLiteral("Inverse"));
        QAction *copy = actions->getActionByName(QStringLiteral("Copy"));
        QVERIFY(inverse);
        QVERIFY(copy);
        VellSelection s(nullptr, 4, 4);
        const uchar mask[] = {255, 255, 255, 255};
        QVERIFY(s.addMask(mask, 2, 2, 1, 1));
        QVERIFY(inverse->isEnabled());
        QVERIFY(copy->isEnabled());
        s.deselect();
        QVERIFY(!inverse->isEnabled());
        QVERIFY(!copy->isEnabled());
        s.decompress(1);   // the mask again
        QVERIFY(inverse->isEnabled());
        s.decompress(0);
        QVERIFY(!inverse->isEnabled());
    }

    // The record written and read back, re-written to the same bytes; then
    // every shorter stream, from a random-access and a sequential device.
    void streamRecord()
    {
        VellSelection s(nullptr, 6, 5);
        setCoverage(s, randomBytes(s.getByteCount(), 16, true));
        s.calcBoundBox(QRect(QPoint(0, 0), QPoint(4, 5)));
        s.setDisplayMask(true);
        s.setDisplayMarchingAnts(false);
        QByteArray whole;
        {
            QDataStream out(&whole, QIODevice::WriteOnly);
            out.setVersion(QDataStream::Qt_4_8);
            out << &s;
            QCOMPARE(out.status(), QDataStream::Ok);
        }
        QCOMPARE(whole.size(), 12 + 32 + 8 + 2 + 8 * 5);
        for (int length = whole.size(); length >= 0; --length) {
            for (bool sequential : {false, true}) {
                const QByteArray bytes = whole.left(length);
                SequentialBuffer pipe(bytes);
                QBuffer file;
                file.setData(bytes);
                file.open(QIODevice::ReadOnly);
                QDataStream in(sequential ? static_cast<QIODevice *>(&pipe) : &file);
                in.setVersion(QDataStream::Qt_4_8);
                VellSelection *raw = &s;   // must be overwritten
                in >> &raw;
                std::unique_ptr<VellSelection> back(raw);
                const QString where = QStringLiteral("%1 of %2 bytes").arg(length).arg(whole.size());
                QVERIFY2(bool(back) == (length == whole.size()), qPrintable(where));
                QVERIFY2((in.status() == QDataStream::Ok) == bool(back), qPrintable(where));
                if (!back)
                    continue;
                QCOMPARE(bufferOf(*back), bufferOf(s));
                QCOMPARE(back->getType(), int(VellSelectionKind::Mask));
                QCOMPARE(back->getRawBoundBox(), s.getRawBoundBox());
                QCOMPARE(back->getPositiveCount(), s.getPositiveCount());
                QVERIFY(back->getDisplayMask());
                QVERIFY(!back->getDisplayMarchingAnts());
                QCOMPARE(back->getHistoryCount(), 1);
                QByteArray again;
                QDataStream reout(&again, QIODevice::WriteOnly);
                reout.setVersion(QDataStream::Qt_4_8);
                reout << back.get();
                QCOMPARE(again, whole);
            }
        }
    }

    void corruptRecords_data()
    {
        QTest::addColumn<QByteArray>("header");   // up to the counts; flags and bytes follow
        QTest::addColumn<bool>("withBytes");       // 100 bytes follow the header
        QByteArray box;
        QDataStream boxOut(&box, QIODevice::WriteOnly);
        boxOut << QRectF(0, 0, 4, 4);
        const auto header = [&box](quint32 width, quint32 height, quint32 visible, quint32 positive) {
            return bigEndian32(width) + bigEndian32(height) + bigEndian32(2) + box
                + bigEndian32(visible) + bigEndian32(positive);
        };
        QTest::newRow("negative width") << header(quint32(-4), 4, 0, 0) << true;
        QTest::newRow("claims 2 GB") << header(65536, 32767, 0, 0) << true;
        QTest::newRow("claims 1 GB, holds 100 bytes") << header(32768, 32768, 0, 0) << true;
        QTest::newRow("no columns, many rows") << header(0, 0x7fffffff, 0, 0) << true;
        QTest::newRow("more visible than positive") << header(4, 4, 5, 3) << true;
        QTest::newRow("more positive than pixels") << header(4, 4, 0, 17) << true;
        QTest::newRow("short of bytes") << header(4, 4, 0, 0) << false;
    }

    // Refused before anything is allocated.
    void corruptRecords()
    {
        QFETCH(QByteArray, header);
        QFETCH(bool, withBytes);
        QByteArray bytes = header + QByteArray(2, 0);
        bytes += withBytes ? QByteArray(100, 1) : QByteArray(15, 1);
        AllocationCounter allocations;
        QDataStream in(bytes);
        in.setVersion(QDataStream::Qt_4_8);
        VellSelection *back = nullptr;
        in >> &back;
        QVERIFY(!back);
        QVERIFY(in.status() != QDataStream::Ok);
        QCOMPARE(allocations.count, 0);
    }
};

QTEST_GUILESS_MAIN(TestVellSelection)
#include "tst_vellselection.moc"
