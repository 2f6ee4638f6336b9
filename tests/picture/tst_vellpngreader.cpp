#include "picture/vellpngreader.h"
#include "picture/vellpngwriter.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QtTest>

#include <png.h>

#include <cstring>
#include <functional>
#include <vector>

namespace {

// Smooth runs and noise, with transparent and opaque pixels, so every row
// filter meets both.
QImage testImage(QImage::Format format, QSize size)
{
    QImage image(size, format);
    quint32 seed = 4242;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            seed = seed * 1664525u + 1013904223u;
            const bool smooth = (x / 3 + y / 2) % 2 == 0;
            const int a = (x + y) % 7 == 0 ? 0 : smooth ? 255 : int(seed >> 24);
            image.setPixel(x, y, qRgba(smooth ? x * 9 : int(seed >> 16) & 255, smooth ? y * 13 : int(seed >> 8) & 255,
                                       int(seed) & 255, a));
        }
    return image;
}

QByteArray ours(const QImage &image, int filter, int stripRows)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    VellPngWriter writer;
    writer.setFilter(filter);
    writer.setStripRows(stripRows);
    return writer.write(image, &buffer) ? buffer.data() : QByteArray();
}

QByteArray qts(const QImage &image)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    return QImageWriter(&buffer, "png").write(image) ? buffer.data() : QByteArray();
}

// A PNG written by libpng from `image`'s grey levels and alpha (grey +
// alpha, which neither our writer nor Qt's makes), every filter allowed;
// `extra` adds chunks or interlacing.
QByteArray libpngs(const QImage &image, int colourType, const std::function<void(png_structp, png_infop)> &extra)
{
    QByteArray out;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return QByteArray();
    }
    png_set_write_fn(png, &out, [](png_structp p, png_bytep data, size_t n) {
        static_cast<QByteArray *>(png_get_io_ptr(p))->append(reinterpret_cast<const char *>(data), int(n));
    }, nullptr);
    png_set_IHDR(png, info, png_uint_32(image.width()), png_uint_32(image.height()), 8, colourType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(png, 0, PNG_ALL_FILTERS);
    if (extra)
        extra(png, info);
    png_write_info(png, info);
    const int passes = png_set_interlace_handling(png);
    const int channels = colourType == PNG_COLOR_TYPE_GRAY_ALPHA ? 2 : 3;
    std::vector<png_byte> row(size_t(image.width()) * size_t(channels));
    for (int pass = 0; pass < passes; ++pass)
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                png_byte *s = row.data() + size_t(x) * size_t(channels);
                s[0] = png_byte(qGray(p));
                s[1] = png_byte(channels == 2 ? qAlpha(p) : qGray(p) / 2);
                if (channels == 3)
                    s[2] = png_byte(qRed(p));
            }
            png_write_row(png, row.data());
        }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return out;
}

QImage readFast(const QByteArray &bytes, QString *error)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    VellPngReader reader(&buffer);
    const QImage image = reader.readHeader() ? reader.read() : QImage();
    *error = reader.errorString();
    return image;
}

} // namespace

class TestVellPngReader : public QObject
{
    Q_OBJECT

private slots:
    void sameAsQt_data();
    void sameAsQt();
    void damaged_data();
    void damaged();
};

void TestVellPngReader::sameAsQt_data()
{
    QTest::addColumn<QByteArray>("png");
    QTest::addColumn<bool>("fast");   // else left to Qt's reader

    const QSize sizes[] = {QSize(1, 1), QSize(7, 5), QSize(33, 21)};
    const char *filters[] = {"none", "sub", "up", "average", "Paeth"};
    for (const QSize &size : sizes) {
        const QString at = QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
        // Strips of 4 rows: several IDAT chunks.
        for (int filter = 0; filter < 5; ++filter)
            QTest::addRow("ours RGBA %s %s", filters[filter], qPrintable(at))
                << ours(testImage(QImage::Format_ARGB32, size), filter, 4) << true;
        QTest::addRow("ours RGB Paeth %s", qPrintable(at)) << ours(testImage(QImage::Format_RGB32, size), 4, 4) << true;
        QTest::addRow("ours grey sub %s", qPrintable(at))
            << ours(testImage(QImage::Format_ARGB32, size).convertToFormat(QImage::Format_Grayscale8), 1, 0) << true;
        QTest::addRow("Qt RGBA %s", qPrintable(at)) << qts(testImage(QImage::Format_ARGB32, size)) << true;
        QTest::addRow("Qt grey %s", qPrintable(at))
            << qts(testImage(QImage::Format_RGB32, size).convertToFormat(QImage::Format_Grayscale8)) << true;
        QTest::addRow("libpng grey + alpha %s", qPrintable(at))
            << libpngs(testImage(QImage::Format_ARGB32, size), PNG_COLOR_TYPE_GRAY_ALPHA, nullptr) << true;
    }
    QImage withProfile = testImage(QImage::Format_RGB32, QSize(9, 4));
    withProfile.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
    withProfile.setDotsPerMeterX(5000);
    withProfile.setDotsPerMeterY(3000);
    QTest::newRow("Qt RGB with a profile and a resolution") << qts(withProfile) << true;
    QTest::newRow("ours RGB with a profile") << ours(withProfile, 2, 0) << true;
    const QImage small = testImage(QImage::Format_ARGB32, QSize(6, 5));
    QTest::newRow("sRGB chunk") << libpngs(small, PNG_COLOR_TYPE_RGB, [](png_structp png, png_infop info) {
        png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    }) << true;
    // An embedded profile wins over gamma.
    QTest::newRow("profile and gamma") << libpngs(small, PNG_COLOR_TYPE_RGB, [](png_structp png, png_infop info) {
        const QByteArray icc = QColorSpace(QColorSpace::ProPhotoRgb).iccProfile();
        png_set_iCCP(png, info, "icc", 0, reinterpret_cast<png_const_bytep>(icc.constData()), png_uint_32(icc.size()));
        png_set_gAMA(png, info, 1.0);
    }) << true;
    QTest::newRow("gamma alone") << libpngs(small, PNG_COLOR_TYPE_RGB, [](png_structp png, png_infop info) {
        png_set_gAMA(png, info, 1.0);
    }) << false;
    QTest::newRow("interlaced") << libpngs(small, PNG_COLOR_TYPE_RGB, [](png_structp png, png_infop info) {
        png_set_IHDR(png, info, 6, 5, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_ADAM7, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
    }) << false;
    QTest::newRow("transparent colour") << libpngs(small, PNG_COLOR_TYPE_RGB, [](png_structp png, png_infop info) {
        png_color_16 colour{};
        png_set_tRNS(png, info, nullptr, 0, &colour);
    }) << false;
    QTest::newRow("16-bit") << ours(small.convertToFormat(QImage::Format_RGBA64), 0, 0) << false;
    QTest::newRow("palette") << qts(small.convertToFormat(QImage::Format_Indexed8)) << false;
}

void TestVellPngReader::sameAsQt()
{
    QFETCH(QByteArray, png);
    QFETCH(bool, fast);
    QVERIFY(!png.isEmpty());
    QString error;
    const QImage image = readFast(png, &error);
    if (!fast) {
        QVERIFY(image.isNull());
        QVERIFY(!error.isEmpty());
        return;
    }
    QVERIFY2(!image.isNull(), qPrintable(error));
    QBuffer buffer(&png);
    buffer.open(QIODevice::ReadOnly);
    const QImage qt = QImageReader(&buffer, "png").read();
    QVERIFY(!qt.isNull());
    QCOMPARE(image.format(), qt.format());
    QCOMPARE(image.size(), qt.size());
    for (int y = 0; y < qt.height(); ++y)
        QVERIFY2(std::memcmp(image.constScanLine(y), qt.constScanLine(y), size_t(qt.width()) * size_t(qt.depth() / 8)) == 0,
                 qPrintable(QStringLiteral("row %1").arg(y)));
    QCOMPARE(image.colorSpace(), qt.colorSpace());
    QCOMPARE(image.colorSpace().iccProfile(), qt.colorSpace().iccProfile());
    QCOMPARE(image.dotsPerMeterX(), qt.dotsPerMeterX());
    QCOMPARE(image.dotsPerMeterY(), qt.dotsPerMeterY());
}

// Every cut of a small file, and a byte flipped in each chunk, is refused:
// the lengths and CRCs are checked, the image must be complete.
void TestVellPngReader::damaged_data()
{
    QTest::addColumn<int>("cut");    // bytes kept, or -1
    QTest::addColumn<int>("flip");   // byte flipped, or -1

    const QByteArray png = ours(testImage(QImage::Format_ARGB32, QSize(5, 4)), 4, 2);
    for (int cut = 0; cut < png.size(); ++cut)
        QTest::addRow("cut at %d", cut) << cut << -1;
    // Past the signature, one byte of each 8-byte stretch.
    for (int flip = 8; flip < png.size(); flip += 8)
        QTest::addRow("flip %d", flip) << -1 << flip;
}

void TestVellPngReader::damaged()
{
    QFETCH(int, cut);
    QFETCH(int, flip);
    QByteArray png = ours(testImage(QImage::Format_ARGB32, QSize(5, 4)), 4, 2);
    if (cut >= 0)
        png.truncate(cut);
    if (flip >= 0)
        png[flip] = char(png[flip] ^ 0x10);
    QString error;
    QVERIFY(readFast(png, &error).isNull());
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(TestVellPngReader)
#include "tst_vellpngreader.moc"
