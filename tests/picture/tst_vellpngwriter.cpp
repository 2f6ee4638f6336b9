#include "picture/vellpngwriter.h"
#include "support/vellimagesamples.h"

#include <QBuffer>
#include <QtTest>

#include <png.h>

#include <cstring>
#include <vector>

namespace {

// A mix of smooth runs and noise, so strips find matches in their
// dictionaries and also store literals; 16-bit formats get low bytes too.
QImage testImage(QImage::Format format, QSize size)
{
    QImage image(size, format);
    quint32 seed = 12345;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            seed = seed * 1664525u + 1013904223u;
            const bool smooth = (x / 5 + y / 3) % 2 == 0;
            const quint16 r = smooth ? quint16(x * 97) : quint16(seed >> 16);
            const quint16 g = smooth ? quint16(y * 131) : quint16(seed >> 8);
            const quint16 b = quint16(seed);
            const quint16 a = smooth ? 65535 : quint16(seed >> 12);
            image.setPixelColor(x, y, QColor(QRgba64::fromRgba64(r, g, b, a)));
        }
    return image;
}

// The samples of a PNG decoded by libpng, 16-bit values (8-bit ones times
// 257); empty when libpng refuses it.
std::vector<quint16> libpngSamples(const QByteArray &bytes, QSize *size, int *channels)
{
    struct Source
    {
        const QByteArray *bytes;
        int at;
    } source{&bytes, 0};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    std::vector<quint16> out;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return {};
    }
    png_set_read_fn(png, &source, [](png_structp p, png_bytep data, size_t length) {
        Source *s = static_cast<Source *>(png_get_io_ptr(p));
        if (s->at + int(length) > s->bytes->size())
            png_error(p, "truncated");
        std::memcpy(data, s->bytes->constData() + s->at, length);
        s->at += int(length);
    });
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    const int w = int(png_get_image_width(png, info));
    const int h = int(png_get_image_height(png, info));
    const int depth = png_get_bit_depth(png, info);
    *channels = png_get_channels(png, info);
    *size = QSize(w, h);
    png_bytepp rows = png_get_rows(png, info);
    for (int y = 0; y < h; ++y)
        for (int i = 0; i < w * *channels; ++i)
            out.push_back(depth == 16 ? quint16(rows[y][2 * i] << 8 | rows[y][2 * i + 1]) : quint16(rows[y][i] * 257));
    png_destroy_read_struct(&png, &info, nullptr);
    return out;
}

} // namespace

class TestVellPngWriter : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void failedWrite();
};

void TestVellPngWriter::roundTrip_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("stripRows");   // 0: the writer's own
    QTest::addColumn<int>("filter");

    QTest::newRow("8-bit RGBA, odd width, strips of 2 rows")
        << int(QImage::Format_ARGB32) << QSize(37, 11) << 4 << 6 << 2 << 0;
    QTest::newRow("8-bit RGB") << int(QImage::Format_RGB32) << QSize(29, 17) << 3 << 6 << 4 << 0;
    QTest::newRow("8-bit RGB888") << int(QImage::Format_RGB888) << QSize(15, 6) << 3 << 1 << 1 << 0;
    QTest::newRow("8-bit grey, odd width") << int(QImage::Format_Grayscale8) << QSize(33, 20) << 1 << 6 << 3 << 0;
    QTest::newRow("16-bit RGBA") << int(QImage::Format_RGBA64) << QSize(21, 13) << 4 << 6 << 5 << 0;
    QTest::newRow("16-bit RGB") << int(QImage::Format_RGBX64) << QSize(19, 8) << 3 << 9 << 3 << 0;
    QTest::newRow("16-bit grey") << int(QImage::Format_Grayscale16) << QSize(9, 25) << 1 << 6 << 7 << 0;
    QTest::newRow("premultiplied comes out straight")
        << int(QImage::Format_ARGB32_Premultiplied) << QSize(7, 7) << 4 << 6 << 0 << 0;
    QTest::newRow("1x1") << int(QImage::Format_ARGB32) << QSize(1, 1) << 4 << 6 << 0 << 0;
    QTest::newRow("20000x3 strip") << int(QImage::Format_ARGB32) << QSize(20000, 3) << 4 << 6 << 0 << 0;
    QTest::newRow("stored (level 0), many strips")
        << int(QImage::Format_ARGB32) << QSize(301, 40) << 4 << 0 << 3 << 0;
    // Rows far wider than the 32 KiB dictionary, one row a strip.
    QTest::newRow("wide rows, one a strip") << int(QImage::Format_RGBA64) << QSize(5000, 6) << 4 << 6 << 1 << 0;
    // Each filter reads the row above and the pixel to the left (1, 3, 4 and
    // 8 bytes a pixel), across strip edges too.
    QTest::newRow("sub, 8-bit grey") << int(QImage::Format_Grayscale8) << QSize(23, 9) << 1 << 6 << 2 << 1;
    QTest::newRow("up, 8-bit RGB") << int(QImage::Format_RGB888) << QSize(17, 9) << 3 << 6 << 4 << 2;
    QTest::newRow("average, 8-bit RGBA") << int(QImage::Format_ARGB32) << QSize(19, 10) << 4 << 6 << 3 << 3;
    QTest::newRow("Paeth, 16-bit RGBA") << int(QImage::Format_RGBA64) << QSize(13, 11) << 4 << 6 << 2 << 4;
    QTest::newRow("Paeth, wide rows") << int(QImage::Format_ARGB32) << QSize(9000, 5) << 4 << 2 << 1 << 4;
}

void TestVellPngWriter::roundTrip()
{
    QFETCH(int, format);
    QFETCH(QSize, size);
    QFETCH(int, channels);
    QFETCH(int, level);
    QFETCH(int, stripRows);
    QFETCH(int, filter);
    QImage image = testImage(QImage::Format(format), size);
    QVERIFY(!image.isNull());
    // What the file must hold: straight colour for premultiplied input.
    const QImage reference = image.format() == QImage::Format_ARGB32_Premultiplied
                                 ? image.convertToFormat(QImage::Format_ARGB32) : image;
    const std::vector<quint16> want = vellImageSamples(reference, channels);

    QByteArray first;
    for (int threads : {1, 2, 8}) {
        VellPngWriter writer;
        writer.setCompression(level);
        writer.setThreads(threads);
        writer.setStripRows(stripRows);
        writer.setFilter(filter);
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QVERIFY2(writer.write(image, &buffer), qPrintable(writer.errorString()));
        const QByteArray bytes = buffer.data();
        // The strips do not depend on the threads, so neither do the bytes.
        if (threads == 1)
            first = bytes;
        else
            QVERIFY2(bytes == first, qPrintable(QStringLiteral("%1 threads").arg(threads)));

        QSize pngSize;
        int pngChannels = 0;
        const std::vector<quint16> viaLibpng = libpngSamples(bytes, &pngSize, &pngChannels);
        QCOMPARE(pngSize, size);
        QCOMPARE(pngChannels, channels);
        QVERIFY(viaLibpng == want);

        const QImage viaQt = QImage::fromData(bytes, "PNG");
        QCOMPARE(viaQt.size(), size);
        const std::vector<quint16> got = vellImageSamples(viaQt, channels);
        for (size_t i = 0; i < want.size(); ++i)
            if (got[i] != want[i])
                QFAIL(qPrintable(QStringLiteral("sample %1 (pixel %2): %3, want %4")
                                     .arg(i).arg(i / size_t(channels)).arg(got[i]).arg(want[i])));
    }
}

// A device that takes no bytes (a full disk) fails the write with its
// reason instead of leaving a file that looks complete.
void TestVellPngWriter::failedWrite()
{
    QFile full(QStringLiteral("/dev/full"));
    if (!full.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        QSKIP("no /dev/full");
    VellPngWriter writer;
    QVERIFY(!writer.write(testImage(QImage::Format_ARGB32, QSize(64, 64)), &full));
    QVERIFY2(writer.errorString().contains(QStringLiteral("space"), Qt::CaseInsensitive),
             qPrintable(writer.errorString()));
}

QTEST_GUILESS_MAIN(TestVellPngWriter)
#include "tst_vellpngwriter.moc"
