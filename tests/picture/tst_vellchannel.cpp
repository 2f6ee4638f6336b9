#include "foundation/vellmemory.h"
#include "picture/vellblockedsparsechannel.h"
#include "picture/vellblockedsparsepicture.h"
#include "picture/vellchannel.h"
#include "picture/vellpicturehost.h"
#include "picture/vellsparsepicture.h"
#include "support/vellteststreams.h"

#include <QDataStream>
#include <QtTest>

#include <cstring>
#include <functional>
#include <memory>

namespace {

// The byte a test image holds at offset `at` of its buffer, for one seed.
unsigned char patternByte(size_t at, int seed)
{
    return static_cast<unsigned char>((at * 29 + size_t(seed) * 101 + 7) & 0xFF);
}

void fillPattern(unsigned char *bits, size_t bytes, int seed)
{
    for (size_t i = 0; i < bytes; ++i)
        bits[i] = patternByte(i, seed);
}

QByteArray bytesOf(const unsigned char *bits, qint64 count)
{
    return QByteArray(reinterpret_cast<const char *>(bits), int(count));
}

// A 7 x 70 picture host of 4- or 8-byte pixels, or for pixel width 1 a channel.
struct Target
{
    explicit Target(int pixelWidth) : pixelWidth(pixelWidth)
    {
        if (pixelWidth == 1)
            channel = std::make_unique<VellChannel>(7, 70);
        else
            host = std::make_unique<VellPictureHost>(7, 70, pixelWidth);
        bits = channel ? channel->getData() : host->getData();
        stride = channel ? size_t(channel->getPaddedWidth()) : size_t(7 * pixelWidth);
    }
    size_t bytes() const { return stride * 70; }
    QByteArray snapshot() const { return bytesOf(bits, qint64(bytes())); }
    // The bytes when the pixels inside rect follow seed `inside` and all
    // others (channel padding too) seed `outside`.
    QByteArray mixed(const QRect &rect, int inside, int outside) const
    {
        QByteArray out(int(bytes()), 0);
        for (size_t at = 0; at < bytes(); ++at) {
            const QPoint p(int(at % stride) / pixelWidth, int(at / stride));
            out[int(at)] = char(patternByte(at, rect.contains(p) ? inside : outside));
        }
        return out;
    }

    int pixelWidth;
    std::unique_ptr<VellPictureHost> host;
    std::unique_ptr<VellChannel> channel;
    unsigned char *bits = nullptr;
    size_t stride = 0;
};

// Appends (x, y) with the pixel's bytes as stored to the list for pixelWidth.
void record(VellSparsePicture &sparse, int pixelWidth, int x, int y, const unsigned char *px)
{
    const quint16 qx = quint16(x), qy = quint16(y);
    if (pixelWidth == 1) {
        sparse.getChannelData().append({qx, qy, px[0]});
    } else if (pixelWidth == 4) {
        sparse.getData8bit().append({qx, qy, {}});
        std::memcpy(sparse.getData8bit().last().pixel, px, 4);
    } else {
        sparse.getData16bit().append({qx, qy, {}});
        std::memcpy(sparse.getData16bit().last().pixel, px, 8);
    }
}

} // namespace

class TestVellChannel : public QObject
{
    Q_OBJECT

private slots:
    void channel_data();
    void channel();
    void swapTwice_data();
    void swapTwice();
};

void TestVellChannel::channel_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("padded");   // -1: refused
    QTest::newRow("width 1") << 1 << 3 << 4;
    QTest::newRow("width 5") << 5 << 3 << 8;
    QTest::newRow("width 7, many rows") << 7 << 130 << 8;
    QTest::newRow("aligned width") << 8 << 2 << 8;
    QTest::newRow("empty") << 0 << 0 << 0;
    QTest::newRow("negative width") << -3 << 2 << -1;
    QTest::newRow("negative height") << 3 << -2 << -1;
    QTest::newRow("2^31 bytes") << 65536 << 32768 << -1;
    QTest::newRow("int max width pads past int") << 0x7FFFFFFF << 1 << -1;
}

// Padded rows filled with 255 and booked for the channel's lifetime; invert
// and copy cover the padding; the stream form is the two sizes and the padded
// rows, read back byte for byte. A size refused by the constructor is refused
// in a stream too, and neither a refused size nor a truncated stream allocates.
void TestVellChannel::channel()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, padded);
    const int used = VellMemory::getInstance()->getUsed();
    if (padded < 0) {
        AllocationCounter allocations;
        VellChannel channel(width, height);
        QVERIFY(channel.isNull());
        QCOMPARE(QSize(channel.getWidth(), channel.getHeight()), QSize(0, 0));
        VellChannel *readBack = &channel;   // must be cleared
        QDataStream in(bigEndian32(width) + bigEndian32(height) + QByteArray(64, 'x'));
        in >> &readBack;
        QVERIFY(!readBack);
        QCOMPARE(in.status(), QDataStream::ReadCorruptData);
        QCOMPARE(allocations.count, 0);
        return;
    }
    {
        VellChannel channel(width, height);
        QCOMPARE(channel.getPaddedWidth(), padded);
        QCOMPARE(VellMemory::getInstance()->getUsed(), used + padded * height);
        QCOMPARE(bytesOf(channel.getData(), channel.getByteCount()),
                 QByteArray(padded * height, char(255)));
        QVERIFY(!channel.getEntireTexture());   // no GL context here

        fillPattern(channel.getData(), size_t(padded) * height, 1);
        const QByteArray before = bytesOf(channel.getData(), channel.getByteCount());
        QByteArray inverted = before;
        for (char &b : inverted)
            b = char(255 - uchar(b));
        channel.invert();
        QCOMPARE(bytesOf(channel.getData(), channel.getByteCount()), inverted);
        channel.invert();
        QCOMPARE(bytesOf(channel.getData(), channel.getByteCount()), before);
        const VellChannel copy(&channel);
        QCOMPARE(bytesOf(copy.getData(), copy.getByteCount()), before);

        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << &channel << quint32(0xCAFEBABE);
        const QByteArray header = bigEndian32(width) + bigEndian32(height);
        QCOMPARE(bytes, header + before + bigEndian32(0xCAFEBABE));
        QDataStream in(bytes);
        VellChannel *readBack = nullptr;
        quint32 marker = 0;
        in >> &readBack >> marker;
        std::unique_ptr<VellChannel> owner(readBack);
        QVERIFY(readBack);
        QCOMPARE(marker, 0xCAFEBABEu);   // the reader took exactly its own bytes
        QCOMPARE(QSize(readBack->getWidth(), readBack->getHeight()), QSize(width, height));
        QCOMPARE(bytesOf(readBack->getData(), readBack->getByteCount()), before);

        AllocationCounter allocations;   // one byte short: in the header when empty
        QDataStream cut(bytes.left(bytes.size() - 5));
        cut >> &readBack;
        QVERIFY(!readBack);
        QCOMPARE(cut.status(), QDataStream::ReadPastEnd);
        QCOMPARE(allocations.count, 0);
    }
    QCOMPARE(VellMemory::getInstance()->getUsed(), used);
}

void TestVellChannel::swapTwice_data()
{
    QTest::addColumn<int>("pixelWidth");   // 1: a channel
    QTest::addColumn<bool>("blocked");     // a block, or a list of pixels
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QRect>("held");       // the part inside the 7 x 70 picture
    for (int pw : {4, 8, 1})
        for (bool blocked : {true, false}) {
            const QByteArray s = QByteArray(", ") + QByteArray::number(pw) + "-byte"
                + (blocked ? " block" : " list");
            QTest::newRow("inside" + s) << pw << blocked << QRect(1, 2, 3, 4) << QRect(1, 2, 3, 4);
            QTest::newRow("hangs off bottom right" + s)
                << pw << blocked << QRect(5, 60, 4, 20) << QRect(5, 60, 2, 10);
            QTest::newRow("misses the picture" + s)
                << pw << blocked << QRect(8, 0, 2, 2) << QRect();
        }
    QTest::newRow("whole picture, 8-byte block")
        << 8 << true << QRect(0, 0, 7, 70) << QRect(0, 0, 7, 70);
    QTest::newRow("block hangs off top left")
        << 4 << true << QRect(-2, -1, 4, 3) << QRect(0, 0, 2, 2);
    QTest::newRow("inverted block") << 1 << true << QRect(QPoint(3, 3), QPoint(1, 1)) << QRect();
}

// Record the region's pixels, edit the picture, exchange: the old pixels are
// back inside the held part and nowhere else (padding included); exchange
// again: the edit is back. The block stays the same budget buffer.
void TestVellChannel::swapTwice()
{
    QFETCH(int, pixelWidth);
    QFETCH(bool, blocked);
    QFETCH(QRect, region);
    QFETCH(QRect, held);
    Target target(pixelWidth);
    fillPattern(target.bits, target.bytes(), 4);
    const int used = VellMemory::getInstance()->getUsed();
    std::unique_ptr<QObject> sparse;
    std::function<bool()> swap;
    std::function<unsigned char *()> block = [] { return nullptr; };
    if (blocked && target.channel) {
        auto *s = new VellBlockedSparseChannel(region, target.channel.get());
        swap = [&, s] { return s->swapToMask(target.channel.get()); };
        block = [s] { return s->getBlockData(); };
        sparse.reset(s);
    } else if (blocked) {
        auto *s = new VellBlockedSparsePicture(region, target.host.get());
        swap = [&, s] { return s->swapToPicture(target.host.get()); };
        block = [s] { return s->getBlockData(); };
        sparse.reset(s);
    } else {
        auto *s = new VellSparsePicture(7, 70, pixelWidth);
        const unsigned char junk[8] = {1, 2, 3, 4, 5, 6, 7, 8};   // must be skipped
        for (int y = region.top(); y <= region.bottom(); ++y)
            for (int x = region.left(); x <= region.right(); ++x)
                record(*s, pixelWidth, x, y, held.contains(x, y)
                       ? target.bits + size_t(y) * target.stride + size_t(x) * pixelWidth : junk);
        swap = [&, s] {
            return target.channel ? s->swapToChannel(target.channel.get())
                                  : s->swapToPicture(target.host.get());
        };
        sparse.reset(s);
    }
    const unsigned char *first = block();
    QCOMPARE(first != nullptr, blocked && !held.isEmpty());
    QCOMPARE(VellMemory::getInstance()->getUsed(),
             used + (blocked ? held.width() * held.height() * pixelWidth : 0));

    fillPattern(target.bits, target.bytes(), 5);   // the edit
    QCOMPARE(swap(), !blocked || !held.isEmpty());
    QCOMPARE(target.snapshot(), target.mixed(held, 4, 5));
    swap();
    QCOMPARE(target.snapshot(), target.mixed(held, 5, 5));
    QCOMPARE(block(), first);

    VellPictureHost otherDepth(7, 70, 12 - pixelWidth);
    VellChannel wider(8, 70);
    if (auto *s = qobject_cast<VellSparsePicture *>(sparse.get()); s && pixelWidth != 1)
        QVERIFY(!s->swapToPicture(&otherDepth));
    if (auto *s = qobject_cast<VellBlockedSparseChannel *>(sparse.get()))
        QVERIFY(!s->swapToMask(&wider));
}

QTEST_GUILESS_MAIN(TestVellChannel)
#include "tst_vellchannel.moc"
