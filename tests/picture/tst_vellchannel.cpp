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
#include <memory>

// The byte a test image holds at offset `at` of its buffer, for one seed.
static uchar patternByte(int at, int seed) { return uchar(at * 29 + seed * 101 + 7); }

static QByteArray bytesOf(const VellChannel &channel)
{
    return QByteArray(reinterpret_cast<const char *>(channel.getData()), int(channel.getByteCount()));
}

// Appends (x, y) with the pixel's bytes as stored to the list for pixelWidth.
static void record(VellSparsePicture &s, int pixelWidth, quint16 x, quint16 y, const uchar *px)
{
    if (pixelWidth == 1)
        s.getChannelData().append({x, y, px[0]});
    else if (pixelWidth == 4)
        std::memcpy((s.getData8bit() << CoordPixel8bit{x, y, {}}).last().pixel, px, 4);
    else
        std::memcpy((s.getData16bit() << CoordPixel16bit{x, y, {}}).last().pixel, px, 8);
}

// Reading `bytes` leaves no channel, sets `status` and allocates nothing.
static void expectRefused(const QByteArray &bytes, QDataStream::Status status)
{
    VellChannel dummy(0, 0), *readBack = &dummy;   // must be cleared
    AllocationCounter allocations;
    QDataStream in(bytes);
    in >> &readBack;
    QVERIFY(!readBack);
    QCOMPARE(allocations.count, 0);
    QCOMPARE(in.status(), status);
}

class TestVellChannel : public QObject
{
    Q_OBJECT

private slots:
    void channel_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("padded");   // -1: refused; -2: made, but refused in a stream
        QTest::newRow("width 1") << 1 << 3 << 4;
        QTest::newRow("aligned width") << 8 << 2 << 8;
        QTest::newRow("empty") << 0 << 0 << 0;
        QTest::newRow("negative width") << -3 << 2 << -1;
        QTest::newRow("2^31 bytes") << 65536 << 32768 << -1;
        QTest::newRow("int max width pads past int") << 0x7FFFFFFF << 1 << -1;
        // One empty side holds no bytes but rows (or columns) that every row loop would walk.
        QTest::newRow("0 x 3") << 0 << 3 << -2;
        QTest::newRow("5 x 0") << 5 << 0 << -2;
        QTest::newRow("0 x int max") << 0 << 0x7FFFFFFF << -2;
    }

    // Padded rows of 255 booked for the channel's lifetime; invert and copy cover the padding;
    // the stream form is the two sizes and the padded rows, read back byte for byte. A size the
    // constructor refuses is refused in a stream too; refusals and truncation allocate nothing.
    void channel()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(int, padded);
        const qint64 used = VellMemory::getInstance()->getUsed();
        const QByteArray header = bigEndian32(width) + bigEndian32(height);
        if (padded == -1) {
            AllocationCounter allocations;
            const VellChannel channel(width, height);
            QVERIFY(channel.isNull());
            QCOMPARE(QSize(channel.getWidth(), channel.getHeight()), QSize(0, 0));
            QCOMPARE(allocations.count, 0);
        }
        if (padded < 0)
            return expectRefused(header + QByteArray(64, 'x'), QDataStream::ReadCorruptData);
        {
            VellChannel channel(width, height);
            QCOMPARE(channel.getPaddedWidth(), padded);
            QCOMPARE(VellMemory::getInstance()->getUsed(), used + padded * height);
            QCOMPARE(bytesOf(channel), QByteArray(padded * height, char(255)));
            QVERIFY(!channel.getEntireTexture());   // no GL context here

            QByteArray inverted(padded * height, 0);
            for (int at = 0; at < inverted.size(); ++at)
                inverted[at] = char(255 - (channel.getData()[at] = patternByte(at, 1)));
            channel.invert();
            QCOMPARE(bytesOf(channel), inverted);
            QCOMPARE(bytesOf(VellChannel(&channel)), inverted);

            QByteArray bytes;
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out << &channel;
            QCOMPARE(bytes, header + inverted);
            QDataStream in(bytes);
            VellChannel *readBack = nullptr;
            in >> &readBack;
            std::unique_ptr<VellChannel> owner(readBack);
            QVERIFY(readBack);
            QCOMPARE(in.status(), QDataStream::Ok);
            QVERIFY(in.atEnd());   // took exactly its bytes
            QCOMPARE(QSize(readBack->getWidth(), readBack->getHeight()), QSize(width, height));
            QCOMPARE(bytesOf(*readBack), inverted);

            // One byte short: in the header when empty.
            expectRefused(bytes.left(bytes.size() - 1), QDataStream::ReadPastEnd);
        }
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
    }

    void swapTwice_data()
    {
        QTest::addColumn<int>("pixelWidth");   // 1: a channel
        QTest::addColumn<bool>("blocked");     // a block, or a list of pixels
        QTest::addColumn<QRect>("region");
        QTest::addColumn<QRect>("held");       // the part inside the 7 x 70 picture
        for (int pw : {4, 8, 1})
            for (bool blocked : {true, false}) {
                const QByteArray s = QByteArray::number(pw) + (blocked ? "-byte block" : "-byte list");
                QTest::newRow("inside, " + s) << pw << blocked << QRect(1, 2, 3, 4) << QRect(1, 2, 3, 4);
                QTest::newRow("corner, " + s) << pw << blocked << QRect(5, 60, 4, 20) << QRect(5, 60, 2, 10);
                QTest::newRow("misses, " + s) << pw << blocked << QRect(8, 0, 2, 2) << QRect();
            }
        QTest::newRow("block hangs off top left") << 4 << true << QRect(-2, -1, 4, 3) << QRect(0, 0, 2, 2);
        QTest::newRow("inverted block") << 1 << true << QRect(QPoint(3, 3), QPoint(1, 1)) << QRect();
    }

    // Record the region, edit the picture, exchange: the old pixels are back inside the held part
    // and nowhere else (padding included); again: the edit is back, in the same budget block.
    // A picture of another depth or a channel of another size is refused.
    void swapTwice()
    {
        QFETCH(int, pixelWidth);
        QFETCH(bool, blocked);
        QFETCH(QRect, region);
        QFETCH(QRect, held);
        // A 7 x 70 picture host of 4- or 8-byte pixels, or for pixel width 1 a channel.
        std::unique_ptr<VellPictureHost> host(pixelWidth > 1 ? new VellPictureHost(7, 70, pixelWidth) : nullptr);
        std::unique_ptr<VellChannel> channel(pixelWidth == 1 ? new VellChannel(7, 70) : nullptr);
        uchar *bits = channel ? channel->getData() : host->getData();
        const int bytes = int(channel ? channel->getByteCount() : 7 * 70 * pixelWidth), stride = bytes / 70;
        // The bytes when the pixels inside rect follow seed `inside`, all others (padding too) `outside`.
        auto mixed = [&](const QRect &rect, int inside, int outside) {
            QByteArray out(bytes, 0);
            for (int at = 0; at < bytes; ++at)
                out[at] = char(patternByte(at, rect.contains(at % stride / pixelWidth, at / stride)
                                                   ? inside : outside));
            return out;
        };
        auto fill = [&](int seed) { std::memcpy(bits, mixed(QRect(), 0, seed).constData(), size_t(bytes)); };
        fill(4);

        const qint64 used = VellMemory::getInstance()->getUsed();
        std::unique_ptr<VellBlockedSparseChannel> mask;
        std::unique_ptr<VellSparsePicture> list;
        VellBlockedSparsePicture *block = nullptr;
        if (blocked && channel) {
            mask.reset(new VellBlockedSparseChannel(region, channel.get()));
        } else if (blocked) {
            list.reset(block = new VellBlockedSparsePicture(region, host.get()));
        } else {
            list.reset(new VellSparsePicture(7, 70, pixelWidth));
            const uchar junk[8] = {1, 2, 3, 4, 5, 6, 7, 8};   // must be skipped
            for (int y = region.top(); y <= region.bottom(); ++y)
                for (int x = region.left(); x <= region.right(); ++x)
                    record(*list, pixelWidth, quint16(x), quint16(y),
                           held.contains(x, y) ? bits + y * stride + x * pixelWidth : junk);
        }
        auto swap = [&] {
            return mask ? mask->swapToMask(channel.get())
                        : channel ? list->swapToChannel(channel.get()) : list->swapToPicture(host.get());
        };
        auto blockData = [&] { return mask ? mask->getBlockData() : block ? block->getBlockData() : nullptr; };
        const uchar *first = blockData();
        QCOMPARE(first != nullptr, blocked && !held.isEmpty());
        QCOMPARE(VellMemory::getInstance()->getUsed(),
                 used + (blocked ? held.width() * held.height() * pixelWidth : 0));

        fill(5);   // the edit
        QCOMPARE(swap(), !blocked || !held.isEmpty());
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(bits), bytes), mixed(held, 4, 5));
        swap();
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(bits), bytes), mixed(held, 5, 5));
        QCOMPARE(blockData(), first);

        VellPictureHost otherDepth(7, 70, 12 - pixelWidth);
        VellChannel wider(8, 70);
        QVERIFY(mask ? !mask->swapToMask(&wider) : pixelWidth == 1 || !list->swapToPicture(&otherDepth));
    }
};

QTEST_GUILESS_MAIN(TestVellChannel)
#include "tst_vellchannel.moc"
