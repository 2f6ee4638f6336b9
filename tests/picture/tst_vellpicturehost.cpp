#include "foundation/vellmemory.h"
#include "picture/vellpictureblock.h"
#include "picture/vellpicturehost.h"
#include "support/vellteststreams.h"

#include <QBuffer>
#include <QColor>
#include <QDataStream>
#include <QtTest>

#include <cstdlib>
#include <functional>
#include <memory>

namespace {

const int kBand = 2048;

// The expected byte c of pixel (x, y) in picture coordinates.
using ByteRule = std::function<int(int x, int y, int c)>;

ByteRule pattern(int seed)
{
    return [seed](int x, int y, int c) { return (x * 31 + y * 17 + c * 5 + seed * 101) & 0xFF; };
}

size_t offsetIn(const QRect &rect, int x, int y, int c, int pixelWidth)
{
    return (size_t(y - rect.top()) * rect.width() + (x - rect.left())) * pixelWidth + c;
}

// Fills a buffer laid out as `rect`.
void fill(unsigned char *bits, const QRect &rect, int pixelWidth, const ByteRule &rule)
{
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            for (int c = 0; c < pixelWidth; ++c)
                bits[offsetIn(rect, x, y, c, pixelWidth)] = static_cast<unsigned char>(rule(x, y, c));
}

// The first byte of a buffer laid out as `rect` that breaks the rule, or "".
QString mismatch(const unsigned char *bits, const QRect &rect, int pixelWidth, const ByteRule &want)
{
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            for (int c = 0; c < pixelWidth; ++c) {
                const int got = bits[offsetIn(rect, x, y, c, pixelWidth)];
                if (got != want(x, y, c))
                    return QString("pixel %1,%2 byte %3: %4, want %5")
                        .arg(x).arg(y).arg(c).arg(got).arg(want(x, y, c));
            }
    return QString();
}

QRect hostRect(const VellPictureHost &host)
{
    return QRect(0, 0, int(host.getWidth()), int(host.getHeight()));
}

QByteArray header(quint32 width, quint32 height, quint32 pixelWidth)
{
    return bigEndian32(width) + bigEndian32(height) + bigEndian32(pixelWidth);
}

} // namespace

class TestVellPictureHost : public QObject
{
    Q_OBJECT

private slots:
    void bandLayout_data();
    void bandLayout();
    void getPixel8bit_data();
    void getPixel8bit();
    void regionCopy_data();
    void regionCopy();
    void blockSetRegion_data();
    void blockSetRegion();
    void initHostData_data();
    void initHostData();
    void budgetFollowsLifetime();
    void refusedSizes_data();
    void refusedSizes();
    void streamRoundTrip_data();
    void streamRoundTrip();
    void badStreams_data();
    void badStreams();
};

void TestVellPictureHost::bandLayout_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("givenPixelWidth");
    QTest::addColumn<int>("pixelWidth");
    QTest::newRow("one row") << 3 << 1 << 4 << 4;
    QTest::newRow("one row short of a band") << 5 << 2047 << 4 << 4;
    QTest::newRow("exactly one band, 16-bit") << 7 << 2048 << 8 << 8;
    QTest::newRow("second band one row high") << 1 << 2049 << 4 << 4;
    QTest::newRow("three bands, odd width") << 3 << 4097 << 8 << 8;
    QTest::newRow("no rows") << 5 << 0 << 4 << 4;
    QTest::newRow("no columns") << 0 << 3000 << 4 << 4;
    QTest::newRow("pixel width 3 taken as 4") << 3 << 2 << 3 << 4;
    QTest::newRow("pixel width 16 taken as 4") << 3 << 2 << 16 << 4;
}

void TestVellPictureHost::bandLayout()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, givenPixelWidth);
    QFETCH(int, pixelWidth);
    VellPictureHost host(width, height, givenPixelWidth);
    QVERIFY(!host.isNull());
    QCOMPARE(hostRect(host), QRect(0, 0, width, height));
    QCOMPARE(host.getPixelWidth(), unsigned(pixelWidth));
    QCOMPARE(host.getByteCount(), qint64(width) * height * pixelWidth);

    const int bands = (width == 0 || height == 0) ? 0 : (height + kBand - 1) / kBand;
    QCOMPARE(host.getBlocksAcross(), 1u);
    QCOMPARE(host.getBlocksDown(), unsigned(bands));
    QVERIFY(!host.getBlock(0, bands));
    QVERIFY(!host.getBlock(1, 0));
    for (int k = 0; k < bands; ++k) {
        VellPictureBlock *band = host.getBlock(0, k);
        const int top = k * kBand;
        const QRect expected(0, top, width, qMin(kBand, height - top));
        QCOMPARE(band->getRegion(), expected);
        QVERIFY(band->isBorrowed());
        QCOMPARE(band->getPixelWidth(), unsigned(pixelWidth));
        QCOMPARE(band->getData(), host.getData() + size_t(top) * width * pixelWidth);
        QCOMPARE(host.getBlockOfPoint(width - 1, top), band);
        QCOMPARE(host.getBlockOfPoint(QPoint(0, expected.bottom())), band);
        QCOMPARE(host.getBlockOfPoint(QPointF(width - 0.5, expected.bottom() + 0.9)), band);
    }
    QVERIFY(!host.getBlockOfPoint(-1, 0));
    QVERIFY(!host.getBlockOfPoint(width, 0));
    QVERIFY(!host.getBlockOfPoint(0, height));
    QVERIFY(!host.getBlockOfPoint(QPointF(-0.5, 0)));   // truncation alone would say row 0
    QVERIFY(!host.getBlockOfPoint(QPointF(qQNaN(), 0)));
}

void TestVellPictureHost::getPixel8bit_data()
{
    QTest::addColumn<int>("pixelWidth");
    QTest::addColumn<QByteArray>("pixel");   // B, G, R, A as stored
    QTest::addColumn<uint>("expected");
    QTest::newRow("8-bit") << 4 << QByteArray::fromHex("11223344") << 0x44332211u;
    // Words B 0x1234, G 0x5678, R 0x9ABC, A 0xDEF0, little-endian.
    QTest::newRow("16-bit keeps high bytes")
        << 8 << QByteArray::fromHex("34127856BC9AF0DE") << 0xDE9A5612u;
}

void TestVellPictureHost::getPixel8bit()
{
    QFETCH(int, pixelWidth);
    QFETCH(QByteArray, pixel);
    QFETCH(uint, expected);
    VellPictureHost host(3, 2, pixelWidth);
    // All other bytes 0xFF, so reading outside, or the wrong pixel, shows.
    memset(host.getData(), 0xFF, size_t(host.getByteCount()));
    memcpy(host.getData() + (1 * 3 + 2) * pixelWidth, pixel.constData(), size_t(pixelWidth));

    QCOMPARE(host.getPixel8bit(2, 1), expected);
    QCOMPARE(host.getPixel8bit(0, 0), 0xFFFFFFFFu);
    QCOMPARE(host.getPixel8bit(-1, 0), 0u);
    QCOMPARE(host.getPixel8bit(3, 0), 0u);
    QCOMPARE(host.getPixel8bit(0, -1), 0u);
    QCOMPARE(host.getPixel8bit(0, 2), 0u);
}

void TestVellPictureHost::regionCopy_data()
{
    QTest::addColumn<int>("pixelWidth");
    QTest::addColumn<QRect>("area");
    for (int pw : {4, 8}) {
        const QByteArray suffix = pw == 4 ? ", 8-bit" : ", 16-bit";
        QTest::newRow("straddles first band edge" + suffix) << pw << QRect(1, 2040, 4, 16);
        QTest::newRow("spans all three bands" + suffix) << pw << QRect(2, 2000, 3, 2200);
        QTest::newRow("hangs off left and bottom" + suffix) << pw << QRect(-2, 4090, 5, 20);
        QTest::newRow("inside the last band" + suffix) << pw << QRect(0, 4097, 6, 2);
        QTest::newRow("whole picture" + suffix) << pw << QRect(0, 0, 6, 4100);
        QTest::newRow("misses the picture" + suffix) << pw << QRect(7, 10, 3, 3);
    }
}

// Both directions against the geometry: inside area and picture the bytes
// move, everywhere else the target keeps what it had.
void TestVellPictureHost::regionCopy()
{
    QFETCH(int, pixelWidth);
    QFETCH(QRect, area);
    VellPictureHost host(6, 4100, pixelWidth);
    const QRect picture = hostRect(host);
    fill(host.getData(), picture, pixelWidth, pattern(1));

    QByteArray buffer(area.width() * area.height() * pixelWidth, char(0xAB));
    auto *bits = reinterpret_cast<unsigned char *>(buffer.data());
    QVERIFY(host.write(bits, area));
    QString bad = mismatch(bits, area, pixelWidth, [&](int x, int y, int c) {
        return picture.contains(x, y) ? pattern(1)(x, y, c) : 0xAB;
    });
    QVERIFY2(bad.isEmpty(), qPrintable(bad));

    fill(bits, area, pixelWidth, pattern(2));
    QVERIFY(host.read(bits, area));
    bad = mismatch(host.getData(), picture, pixelWidth, [&](int x, int y, int c) {
        return pattern(area.contains(x, y) ? 2 : 1)(x, y, c);
    });
    QVERIFY2(bad.isEmpty(), qPrintable(bad));

    QVERIFY(!host.write(nullptr, area));
    QVERIFY(!host.write(bits, QRect()));
}

void TestVellPictureHost::blockSetRegion_data()
{
    QTest::addColumn<QRect>("newRegion");
    QTest::addColumn<bool>("borrow");
    QTest::newRow("moved right and down") << QRect(12, 21, 4, 3) << false;
    QTest::newRow("grown on every side") << QRect(8, 18, 8, 7) << false;
    QTest::newRow("shrunk inside") << QRect(11, 21, 2, 1) << false;
    QTest::newRow("disjoint") << QRect(100, 100, 2, 2) << false;
    QTest::newRow("unchanged") << QRect(10, 20, 4, 3) << false;
    QTest::newRow("borrowed, moved left") << QRect(9, 20, 4, 3) << true;
    QTest::newRow("borrowed, unchanged") << QRect(10, 20, 4, 3) << true;
}

void TestVellPictureHost::blockSetRegion()
{
    QFETCH(QRect, newRegion);
    QFETCH(bool, borrow);
    const int pw = 8;
    const QRect oldRegion(10, 20, 4, 3);
    QByteArray lender(oldRegion.width() * oldRegion.height() * pw, 0);
    auto *lent = reinterpret_cast<unsigned char *>(lender.data());
    fill(lent, oldRegion, pw, pattern(3));
    const QByteArray lenderBefore = lender;

    VellPictureBlock block(oldRegion, pw, borrow ? lent : nullptr);
    if (!borrow)
        fill(block.getData(), oldRegion, pw, pattern(3));
    unsigned char *before = block.getData();
    block.setRegion(newRegion);

    QCOMPARE(block.getRegion(), newRegion);
    QCOMPARE(block.getRightBottom(), newRegion.bottomRight());
    QCOMPARE(block.getData() == before, newRegion == oldRegion);
    QCOMPARE(block.isBorrowed(), borrow && newRegion == oldRegion);
    const QString bad = mismatch(block.getData(), newRegion, pw, [&](int x, int y, int c) {
        return oldRegion.contains(x, y) ? pattern(3)(x, y, c) : 0;
    });
    QVERIFY2(bad.isEmpty(), qPrintable(bad));

    block.initData();
    QVERIFY(!block.isBorrowed());
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(block.getData()), int(block.getByteCount())),
             QByteArray(int(block.getByteCount()), 0));
    QCOMPARE(lender, lenderBefore);   // a borrowed buffer is never written
    QCOMPARE(VellPictureBlock(QRect(0, 0, 1, 1), 3, nullptr).getPixelWidth(), 4u);
}

void TestVellPictureHost::initHostData_data()
{
    QTest::addColumn<QColor>("color");
    QTest::addColumn<int>("fill");   // -1: pixels unchanged
    QTest::newRow("opaque white") << QColor(255, 255, 255, 255) << 0xFF;
    QTest::newRow("transparent black") << QColor(0, 0, 0, 0) << 0;
    QTest::newRow("opaque black") << QColor(0, 0, 0, 255) << -1;
    QTest::newRow("transparent white") << QColor(255, 255, 255, 0) << -1;
    QTest::newRow("almost white") << QColor(255, 255, 254, 255) << -1;
    QTest::newRow("invalid colour") << QColor() << -1;
}

void TestVellPictureHost::initHostData()
{
    QFETCH(QColor, color);
    QFETCH(int, fill);
    VellPictureHost host(5, 3, 8);
    ::fill(host.getData(), hostRect(host), 8, pattern(4));
    host.initHostData(color);
    const QString bad = mismatch(host.getData(), hostRect(host), 8, [&](int x, int y, int c) {
        return fill < 0 ? pattern(4)(x, y, c) : fill;
    });
    QVERIFY2(bad.isEmpty(), qPrintable(bad));
}

// The buffer is booked for exactly the host's lifetime, however it came.
void TestVellPictureHost::budgetFollowsLifetime()
{
    VellMemory *memory = VellMemory::getInstance();
    const int used = memory->getUsed();
    const int records = memory->getRecordCount();

    auto original = std::make_unique<VellPictureHost>(4, 2050, 8);
    QCOMPARE(memory->getUsed(), used + 4 * 2050 * 8);
    fill(original->getData(), hostRect(*original), 8, pattern(5));
    {
        VellPictureHost copy(original.get());
        QCOMPARE(memory->getUsed(), used + 2 * 4 * 2050 * 8);
        QCOMPARE(copy.getPixelWidth(), 8u);
        QVERIFY(copy.getData() != original->getData());
        QCOMPARE(memcmp(copy.getData(), original->getData(), size_t(copy.getByteCount())), 0);
        QCOMPARE(copy.getBlock(0, 1)->getData(), copy.getData() + size_t(4) * kBand * 8);
    }
    original.reset();
    QCOMPARE(memory->getUsed(), used);

    auto host = std::make_unique<VellPictureHost>(6, 4, memory->alloc(6 * 4 * 4), 3);
    QCOMPARE(host->getPixelWidth(), 4u);
    QCOMPARE(memory->getUsed(), used + 6 * 4 * 4);
    host.reset();
    QCOMPARE(memory->getUsed(), used);

    // A refused size still gives the adopted buffer back.
    host = std::make_unique<VellPictureHost>(70000, 70000, memory->alloc(16), 4);
    QVERIFY(host->isNull());
    QCOMPARE(memory->getUsed(), used);
    QCOMPARE(memory->getRecordCount(), records);
    QVERIFY(VellPictureHost(nullptr).isNull());
}

void TestVellPictureHost::refusedSizes_data()
{
    QTest::addColumn<uint>("width");
    QTest::addColumn<uint>("height");
    QTest::addColumn<uint>("pixelWidth");
    QTest::newRow("70000 x 70000 x 4") << 70000u << 70000u << 4u;
    QTest::newRow("exactly 2^31 bytes, 8-bit") << 32768u << 16384u << 4u;
    QTest::newRow("exactly 2^31 bytes, 16-bit") << 16384u << 16384u << 8u;
    QTest::newRow("int max sides, 16-bit") << 0x7FFFFFFFu << 0x7FFFFFFFu << 8u;
    QTest::newRow("width past int, no rows") << 0x80000000u << 0u << 4u;
}

void TestVellPictureHost::refusedSizes()
{
    QFETCH(uint, width);
    QFETCH(uint, height);
    QFETCH(uint, pixelWidth);
    AllocationCounter allocations;
    VellPictureHost host(width, height, pixelWidth);
    QCOMPARE(allocations.count, 0);
    QVERIFY(host.isNull());
    QCOMPARE(hostRect(host), QRect(0, 0, 0, 0));
    QCOMPARE(host.getBlocksDown(), 0u);
    QCOMPARE(host.getPixel8bit(0, 0), 0u);
}

void TestVellPictureHost::streamRoundTrip_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("pixelWidth");
    QTest::addColumn<bool>("sequential");
    for (bool sequential : {false, true}) {
        const QByteArray suffix = sequential ? ", sequential device" : "";
        QTest::newRow("small 8-bit" + suffix) << 3 << 2 << 4 << sequential;
        QTest::newRow("two bands 16-bit, over a read step" + suffix)
            << 70 << 2049 << 8 << sequential;
        QTest::newRow("empty" + suffix) << 0 << 0 << 4 << sequential;
        QTest::newRow("width without rows" + suffix) << 4 << 0 << 8 << sequential;
    }
}

void TestVellPictureHost::streamRoundTrip()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, pixelWidth);
    QFETCH(bool, sequential);
    VellPictureHost host(width, height, pixelWidth);
    fill(host.getData(), hostRect(host), pixelWidth, pattern(6));

    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    out << &host << quint32(0xCAFEBABE);
    QCOMPARE(out.status(), QDataStream::Ok);
    const int pixelBytes = width * height * pixelWidth;
    const QByteArray pixels(reinterpret_cast<const char *>(host.getData()), pixelBytes);
    QCOMPARE(bytes, header(width, height, pixelWidth) + pixels + bigEndian32(0xCAFEBABE));

    SequentialBuffer pipe(bytes);
    QBuffer file(&bytes);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QDataStream in(sequential ? static_cast<QIODevice *>(&pipe) : &file);
    in.setVersion(QDataStream::Qt_4_8);
    VellPictureHost *readBack = nullptr;
    quint32 marker = 0;
    in >> &readBack >> marker;
    std::unique_ptr<VellPictureHost> owner(readBack);
    QCOMPARE(in.status(), QDataStream::Ok);
    QVERIFY(readBack);
    QCOMPARE(marker, 0xCAFEBABEu);   // the reader took exactly its own bytes
    QCOMPARE(hostRect(*readBack), hostRect(host));
    QCOMPARE(readBack->getPixelWidth(), unsigned(pixelWidth));
    QCOMPARE(readBack->getBlocksDown(), host.getBlocksDown());
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(readBack->getData()), pixelBytes), pixels);
}

void TestVellPictureHost::badStreams_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("sequential");
    QTest::addColumn<int>("status");
    const int pastEnd = QDataStream::ReadPastEnd;
    const int corrupt = QDataStream::ReadCorruptData;
    for (bool seq : {false, true}) {
        const QByteArray s = seq ? ", sequential device" : "";
        QTest::newRow("empty stream" + s) << QByteArray() << seq << pastEnd;
        QTest::newRow("header cut after width" + s) << bigEndian32(2) << seq << pastEnd;
        QTest::newRow("header cut inside pixel width" + s) << header(2, 2, 4).left(11) << seq
                                                           << pastEnd;
        QTest::newRow("pixels one byte short" + s) << header(2, 2, 4) + QByteArray(15, 'x') << seq
                                                   << pastEnd;
        QTest::newRow("pixel width 3" + s) << header(2, 2, 3) + QByteArray(12, 'x') << seq
                                           << corrupt;
        QTest::newRow("pixel width 0" + s) << header(2, 2, 0) << seq << corrupt;
        QTest::newRow("pixel width 16" + s) << header(2, 2, 16) + QByteArray(64, 'x') << seq
                                            << corrupt;
        QTest::newRow("70000 x 70000 x 4" + s) << header(70000, 70000, 4) << seq << corrupt;
        QTest::newRow("exactly 2^31 bytes" + s) << header(32768, 16384, 4) << seq << corrupt;
        QTest::newRow("int max sides, 16-bit" + s) << header(0x7FFFFFFF, 0x7FFFFFFF, 8) << seq
                                                   << corrupt;
        QTest::newRow("uint max sides" + s) << header(0xFFFFFFFF, 0xFFFFFFFF, 8) << seq
                                            << corrupt;
        QTest::newRow("width past int, no rows" + s) << header(0x80000000, 0, 4) << seq
                                                     << corrupt;
        QTest::newRow("just under 2^31 bytes, no pixels" + s)
            << header(536870911, 1, 4) + QByteArray(8, 'x') << seq << pastEnd;
    }
}

// No host, the right status, and no allocation from the budget at all.
void TestVellPictureHost::badStreams()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, sequential);
    QFETCH(int, status);
    VellPictureHost stale(1, 1, 4);
    VellPictureHost *host = &stale;   // must be cleared, not left pointing anywhere
    const int used = VellMemory::getInstance()->getUsed();

    SequentialBuffer pipe(bytes);
    QBuffer file(&bytes);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QDataStream in(sequential ? static_cast<QIODevice *>(&pipe) : &file);
    AllocationCounter allocations;
    in >> &host;
    QCOMPARE(allocations.count, 0);
    QVERIFY(!host);
    QCOMPARE(int(in.status()), status);
    QCOMPARE(VellMemory::getInstance()->getUsed(), used);
}

QTEST_GUILESS_MAIN(TestVellPictureHost)
#include "tst_vellpicturehost.moc"
