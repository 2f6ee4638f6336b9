#include "foundation/vellmemory.h"
#include "picture/vellpictureblock.h"
#include "picture/vellpicturehost.h"
#include "support/vellteststreams.h"

#include <QColor>
#include <QDataStream>
#include <QtTest>

#include <cstring>
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

// Walks a buffer laid out as `rect`: writes the rule into it, or returns the first byte
// that breaks the rule ("" when none does).
QString walk(unsigned char *bits, const QRect &rect, int pixelWidth, const ByteRule &rule, bool write = false)
{
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            for (int c = 0; c < pixelWidth; ++c, ++bits) {
                const int want = rule(x, y, c);
                if (write)
                    *bits = static_cast<unsigned char>(want);
                else if (*bits != want)
                    return QString("%1,%2 byte %3: %4, want %5").arg(x).arg(y).arg(c).arg(*bits).arg(want);
            }
    return QString();
}

QByteArray bytesOf(const VellPictureHost &host)
{
    return QByteArray(reinterpret_cast<const char *>(host.getData()), int(host.getByteCount()));
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
    void host_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("givenPixelWidth");
        QTest::addColumn<int>("pixelWidth");
        QTest::newRow("one row short of a band") << 5 << 2047 << 4 << 4;
        QTest::newRow("exactly one band, 16-bit") << 7 << 2048 << 8 << 8;
        QTest::newRow("second band one row high") << 1 << 2049 << 4 << 4;
        QTest::newRow("two bands, 16-bit, over a read step") << 70 << 2049 << 8 << 8;
        QTest::newRow("three bands, odd width") << 3 << 4097 << 8 << 8;
        QTest::newRow("0 x 0, the empty host") << 0 << 0 << 4 << 4;
        QTest::newRow("pixel width 3 taken as 4") << 3 << 2 << 3 << 4;
    }

    // The host, a copy and both read back from the stream form (the header, then the raw bytes)
    // through a file and a sequential device hold the same pixels in bands of 2048 rows that
    // borrow their buffer; the budget books each buffer for exactly its host's lifetime.
    void host()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(int, givenPixelWidth);
        QFETCH(int, pixelWidth);
        const qint64 used = VellMemory::getInstance()->getUsed();
        const int size = width * height * pixelWidth;
        {
            VellPictureHost host(width, height, givenPixelWidth);
            walk(host.getData(), hostRect(host), pixelWidth, pattern(5), true);
            const QByteArray pixels = bytesOf(host);
            VellPictureHost copy(&host);
            QVERIFY(copy.getData() != host.getData());
            QCOMPARE(VellMemory::getInstance()->getUsed(), used + 2 * size);

            QByteArray bytes;
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out << &copy << quint32(0xCAFEBABE);
            QCOMPARE(bytes, header(width, height, pixelWidth) + pixels + bigEndian32(0xCAFEBABE));
            SequentialBuffer pipe(bytes);
            QDataStream file(bytes), piped(&pipe);
            std::unique_ptr<VellPictureHost> readBack[2];
            for (QDataStream *in : {&file, &piped}) {
                VellPictureHost *back = nullptr;
                quint32 marker = 0;
                *in >> &back >> marker;
                readBack[in == &piped].reset(back);
                QCOMPARE(in->status(), QDataStream::Ok);
                QVERIFY(back);
                QCOMPARE(marker, 0xCAFEBABEu);   // took its own bytes
            }
            for (const VellPictureHost *h : {&host, &copy, readBack[0].get(), readBack[1].get()}) {
                QVERIFY(!h->isNull());
                QCOMPARE(h->getBlocksAcross(), 1u);
                QCOMPARE(h->getPixelWidth(), unsigned(pixelWidth));
                QCOMPARE(hostRect(*h), QRect(0, 0, width, height));
                QCOMPARE(h->getByteCount(), qint64(size));
                QCOMPARE(bytesOf(*h), pixels);
                const int bands = (width == 0 || height == 0) ? 0 : (height + kBand - 1) / kBand;
                QCOMPARE(h->getBlocksDown(), unsigned(bands));
                QVERIFY(!h->getBlock(0, bands));
                QVERIFY(!h->getBlock(1, 0));
                for (int k = 0; k < bands; ++k) {
                    VellPictureBlock *band = h->getBlock(0, k);
                    const int top = k * kBand, bottom = qMin(top + kBand, height) - 1;
                    QCOMPARE(band->getRegion(), QRect(QPoint(0, top), QPoint(width - 1, bottom)));
                    QVERIFY(band->isBorrowed());
                    QCOMPARE(band->getPixelWidth(), unsigned(pixelWidth));
                    QCOMPARE(band->getData(), h->getData() + size_t(top) * width * pixelWidth);
                    QCOMPARE(h->getBlockOfPoint(width - 1, top), band);
                    QCOMPARE(h->getBlockOfPoint(QPoint(0, bottom)), band);
                    QCOMPARE(h->getBlockOfPoint(QPointF(width - 0.5, bottom + 0.9)), band);
                }
                // -0.5: truncation alone would say column 0.
                QVERIFY(!h->getBlockOfPoint(-1, 0));
                QVERIFY(!h->getBlockOfPoint(width, 0));
                QVERIFY(!h->getBlockOfPoint(0, height));
                QVERIFY(!h->getBlockOfPoint(QPointF(-0.5, 0)));
                QVERIFY(!h->getBlockOfPoint(QPointF(qQNaN(), 0)));
            }
            // Opaque white sets every byte to 0xFF, transparent black to 0, any other colour nothing.
            for (QColor keeps : {QColor(Qt::black), QColor(255, 255, 255, 0), QColor(255, 255, 254), QColor()}) {
                host.initHostData(keeps);
                QVERIFY2(bytesOf(host) == pixels, qPrintable(keeps.name(QColor::HexArgb)));
            }
            host.initHostData(Qt::white);
            QCOMPARE(bytesOf(host), QByteArray(size, char(0xFF)));
            host.initHostData(QColor(0, 0, 0, 0));
            QCOMPARE(bytesOf(host), QByteArray(size, 0));
        }
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
    }

    // High bytes for 16 bits; every other byte 0xFF, so reading the wrong pixel shows.
    void getPixel8bit()
    {
        // B, G, R, A as stored; the 16-bit words are B 0x1234, G 0x5678, R 0x9ABC, A 0xDEF0.
        for (QByteArray pixel : {QByteArray::fromHex("11223344"), QByteArray::fromHex("34127856BC9AF0DE")}) {
            VellPictureHost host(3, 2, pixel.size());
            memset(host.getData(), 0xFF, size_t(host.getByteCount()));
            memcpy(host.getData() + 5 * pixel.size(), pixel.constData(), size_t(pixel.size()));
            QCOMPARE(host.getPixel8bit(2, 1), pixel.size() == 4 ? 0x44332211u : 0xDE9A5612u);
            QCOMPARE(host.getPixel8bit(0, 0), ~0u);
            QCOMPARE(host.getPixel8bit(-1, 0), 0u);
            QCOMPARE(host.getPixel8bit(3, 0), 0u);
            QCOMPARE(host.getPixel8bit(0, -1), 0u);
            QCOMPARE(host.getPixel8bit(0, 2), 0u);
        }
    }

    void regionCopy_data()
    {
        QTest::addColumn<int>("pixelWidth");
        QTest::addColumn<QRect>("area");
        for (int pw : {4, 8}) {
            const char *depth = pw == 4 ? "8-bit" : "16-bit";
            QTest::addRow("straddles first band edge, %s", depth) << pw << QRect(1, 2040, 4, 16);
            QTest::addRow("spans all three bands, %s", depth) << pw << QRect(2, 2000, 3, 2200);
            QTest::addRow("hangs off left and bottom, %s", depth) << pw << QRect(-2, 4090, 5, 20);
            QTest::addRow("inside the last band, %s", depth) << pw << QRect(0, 4097, 6, 2);
            QTest::addRow("misses the picture, %s", depth) << pw << QRect(7, 10, 3, 3);
        }
    }

    // Both directions: inside area and picture the bytes move, elsewhere the target keeps its own.
    void regionCopy()
    {
        QFETCH(int, pixelWidth);
        QFETCH(QRect, area);
        VellPictureHost host(6, 4100, pixelWidth);
        const QRect picture = hostRect(host);
        walk(host.getData(), picture, pixelWidth, pattern(1), true);

        QByteArray buffer(area.width() * area.height() * pixelWidth, char(0xAB));
        auto *bits = reinterpret_cast<unsigned char *>(buffer.data());
        QVERIFY(host.write(bits, area));
        QCOMPARE(walk(bits, area, pixelWidth, [&](int x, int y, int c) {
            return picture.contains(x, y) ? pattern(1)(x, y, c) : 0xAB;
        }), QString());

        walk(bits, area, pixelWidth, pattern(2), true);
        QVERIFY(host.read(bits, area));
        QCOMPARE(walk(host.getData(), picture, pixelWidth, [&](int x, int y, int c) {
            return pattern(area.contains(x, y) ? 2 : 1)(x, y, c);
        }), QString());
        QVERIFY(!host.write(nullptr, area));
        QVERIFY(!host.write(bits, QRect()));
    }

    void blockSetRegion_data()
    {
        QTest::addColumn<QRect>("newRegion");
        QTest::addColumn<bool>("borrow");
        QTest::newRow("moved right and down") << QRect(12, 21, 4, 3) << false;
        QTest::newRow("grown on every side") << QRect(8, 18, 8, 7) << false;
        QTest::newRow("shrunk inside") << QRect(11, 21, 2, 1) << false;
        QTest::newRow("disjoint") << QRect(100, 100, 2, 2) << false;
        QTest::newRow("borrowed, moved left") << QRect(9, 20, 4, 3) << true;
        QTest::newRow("borrowed, unchanged") << QRect(10, 20, 4, 3) << true;
    }

    // The overlap keeps its pixels, the rest is zero; a lent buffer is never written.
    void blockSetRegion()
    {
        QFETCH(QRect, newRegion);
        QFETCH(bool, borrow);
        const int pw = 8;
        const QRect oldRegion(10, 20, 4, 3);
        QByteArray lender(oldRegion.width() * oldRegion.height() * pw, 0);
        auto *lent = reinterpret_cast<unsigned char *>(lender.data());
        walk(lent, oldRegion, pw, pattern(3), true);
        const QByteArray lenderBefore = lender;

        VellPictureBlock block(oldRegion, pw, borrow ? lent : nullptr);
        if (!borrow)
            walk(block.getData(), oldRegion, pw, pattern(3), true);
        unsigned char *before = block.getData();
        block.setRegion(newRegion);
        QCOMPARE(block.getRegion(), newRegion);
        QCOMPARE(block.getData() == before, newRegion == oldRegion);
        QCOMPARE(block.isBorrowed(), borrow && newRegion == oldRegion);
        QCOMPARE(walk(block.getData(), newRegion, pw, [&](int x, int y, int c) {
            return oldRegion.contains(x, y) ? pattern(3)(x, y, c) : 0;
        }), QString());

        block.initData();
        QCOMPARE(walk(block.getData(), newRegion, pw, [](int, int, int) { return 0; }), QString());
        QVERIFY(!block.isBorrowed());
        QCOMPARE(lender, lenderBefore);
        QCOMPARE(VellPictureBlock(QRect(0, 0, 1, 1), 3, nullptr).getPixelWidth(), 4u);
    }

    // An adopted buffer is given back with its host, also when the host refuses the size.
    void adoptedBuffer()
    {
        VellMemory *memory = VellMemory::getInstance();
        const qint64 used = memory->getUsed();
        const int records = memory->getRecordCount();
        auto host = std::make_unique<VellPictureHost>(6, 4, memory->alloc(6 * 4 * 4), 3);
        QCOMPARE(host->getPixelWidth(), 4u);
        QCOMPARE(memory->getUsed(), used + 6 * 4 * 4);
        host = std::make_unique<VellPictureHost>(70000, 70000, memory->alloc(16), 4);
        QVERIFY(host->isNull());
        QVERIFY(VellPictureHost(nullptr).isNull());
        QCOMPARE(memory->getUsed(), used);
        QCOMPARE(memory->getRecordCount(), records);
    }

    void badStreams_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("sequential");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("sizeRefused");   // by the constructor too
        const int pastEnd = QDataStream::ReadPastEnd, corrupt = QDataStream::ReadCorruptData;
        for (bool seq : {false, true}) {
            auto row = [seq](const char *name, const QByteArray &bytes, int status, bool sizeRefused = true) {
                QTest::addRow("%s%s", name, seq ? ", sequential device" : "") << bytes << seq << status << sizeRefused;
            };
            row("empty stream", QByteArray(), pastEnd);
            row("header cut inside pixel width", header(2, 2, 4).left(11), pastEnd);
            row("pixels one byte short", header(2, 2, 4) + QByteArray(15, 'x'), pastEnd);
            row("just under 2^31 bytes, no pixels", header(536870911, 1, 4) + QByteArray(8, 'x'), pastEnd);
            row("pixel width 3", header(2, 2, 3) + QByteArray(12, 'x'), corrupt);
            row("pixel width 0", header(2, 2, 0), corrupt);
            row("pixel width 16", header(2, 2, 16) + QByteArray(64, 'x'), corrupt);
            row("exactly 2^31 bytes, 8-bit", header(32768, 16384, 4), corrupt);
            row("exactly 2^31 bytes, 16-bit", header(16384, 16384, 8), corrupt);
            row("int max sides, 16-bit", header(0x7FFFFFFF, 0x7FFFFFFF, 8), corrupt);
            row("uint max sides", header(0xFFFFFFFF, 0xFFFFFFFF, 8), corrupt);
            row("width past int, no rows", header(0x80000000, 0, 4), corrupt);
            // One empty side is no picture, though its rows (or columns) would still be walked.
            row("0 x 3", header(0, 3, 4), corrupt, false);
            row("3 x 0", header(3, 0, 4), corrupt, false);
            row("0 x int max", header(0, 0x7FFFFFFF, 4), corrupt, false);
            row("int max x 0", header(0x7FFFFFFF, 0, 4), corrupt, false);
        }
    }

    // No host, the right status and no allocation at all. A size refused in a stream is
    // refused by the constructor too, also without allocating.
    void badStreams()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, sequential);
        QFETCH(int, status);
        QFETCH(bool, sizeRefused);
        VellPictureHost stale(1, 1, 4), *host = &stale;   // must be cleared
        const qint64 used = VellMemory::getInstance()->getUsed();
        SequentialBuffer pipe(bytes);
        QDataStream file(bytes), piped(&pipe), &in = sequential ? piped : file;
        AllocationCounter allocations;
        in >> &host;
        QVERIFY(!host);
        QCOMPARE(allocations.count, 0);
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
        QCOMPARE(int(in.status()), status);

        quint32 width = 0, height = 0, pixelWidth = 0;
        QDataStream(bytes) >> width >> height >> pixelWidth;
        if (sizeRefused && status == QDataStream::ReadCorruptData && (pixelWidth == 4 || pixelWidth == 8)) {
            VellPictureHost refused(width, height, pixelWidth);
            QVERIFY(refused.isNull());
            QCOMPARE(allocations.count, 0);
            QVERIFY(hostRect(refused).isNull());
            QCOMPARE(refused.getBlocksDown(), 0u);
            QCOMPARE(refused.getPixel8bit(0, 0), 0u);
        }
    }
};

QTEST_GUILESS_MAIN(TestVellPictureHost)
#include "tst_vellpicturehost.moc"
