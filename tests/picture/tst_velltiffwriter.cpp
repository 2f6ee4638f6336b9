#include "picture/velltiffwriter.h"
#include "support/vellimagesamples.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QImageWriter>
#include <QtTest>

#include <vector>

namespace {

// Noise in every channel, low bytes of 16-bit formats included, with some
// fully transparent and fully opaque pixels.
QImage testImage(QImage::Format format, QSize size)
{
    QImage image(size, format);
    quint32 seed = 777;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            seed = seed * 1664525u + 1013904223u;
            const quint16 a = (x + y) % 5 == 0 ? 0 : (x + y) % 5 == 1 ? 65535 : quint16(seed >> 12);
            image.setPixelColor(x, y, QColor(QRgba64::fromRgba64(quint16(seed >> 16), quint16(seed >> 8),
                                                                 quint16(seed * 31), a)));
        }
    return image;
}

} // namespace

class TestVellTiffWriter : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void failedWrite();
};

void TestVellTiffWriter::roundTrip_data()
{
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("stripRows");   // 0: the writer's own
    QTest::addColumn<int>("channels");    // what the file must hold
    QTest::addColumn<int>("depth");

    struct Format
    {
        const char *name;
        QImage::Format format;
        int channels;
        int depth;
    };
    const Format formats[] = {
        {"grey8", QImage::Format_Grayscale8, 1, 8},
        {"rgb32", QImage::Format_RGB32, 3, 8},
        {"rgb888", QImage::Format_RGB888, 3, 8},
        {"argb32", QImage::Format_ARGB32, 4, 8},
        {"rgba8888", QImage::Format_RGBA8888, 4, 8},
        {"argb32 premultiplied", QImage::Format_ARGB32_Premultiplied, 4, 8},
        {"grey16", QImage::Format_Grayscale16, 1, 16},
        {"rgbx64", QImage::Format_RGBX64, 3, 16},
        {"rgba64", QImage::Format_RGBA64, 4, 16},
    };
    for (const Format &f : formats) {
        QTest::addRow("%s 1x1", f.name) << f.format << QSize(1, 1) << 0 << f.channels << f.depth;
        QTest::addRow("%s odd 7x5", f.name) << f.format << QSize(7, 5) << 0 << f.channels << f.depth;
        // A strip a row: 70 strips in three batches, the last one short.
        QTest::addRow("%s many strips", f.name) << f.format << QSize(13, 70) << 1 << f.channels << f.depth;
    }
}

void TestVellTiffWriter::roundTrip()
{
    QFETCH(QImage::Format, format);
    QFETCH(QSize, size);
    QFETCH(int, stripRows);
    QFETCH(int, channels);
    QFETCH(int, depth);

    QImage image = testImage(format, size);
    image.setDotsPerMeterX(3937);
    image.setDotsPerMeterY(2000);
    image.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    buffer.write("xy");   // offsets count from where the write begins
    VellTiffWriter writer;
    writer.setStripRows(stripRows);
    QVERIFY2(writer.write(image, &buffer), qPrintable(writer.errorString()));

    QBuffer file;
    file.setData(buffer.data().mid(2));
    file.open(QIODevice::ReadOnly);
    QImageReader reader(&file, "tiff");
    const QImage back = reader.read();
    QVERIFY2(!back.isNull(), qPrintable(reader.errorString()));
    QCOMPARE(back.size(), size);
    QCOMPARE(back.hasAlphaChannel(), channels == 4);
    QCOMPARE(back.depth() == 64 || back.format() == QImage::Format_Grayscale16, depth == 16);
    if (channels == 1)
        QVERIFY(back.isGrayscale());
    QCOMPARE(back.dotsPerMeterX(), 3937);
    QCOMPARE(back.dotsPerMeterY(), 2000);
    QCOMPARE(back.colorSpace(), image.colorSpace());
    // Qt's reader hands 8-bit alpha over premultiplied (libtiff's RGBA
    // path), so there the file must read as Qt's own writer's does.
    QBuffer qtFile;
    qtFile.open(QIODevice::ReadWrite);
    QVERIFY(QImageWriter(&qtFile, "tiff").write(image));
    qtFile.seek(0);
    const QImage qtBack = QImageReader(&qtFile, "tiff").read();
    QCOMPARE(back.format(), qtBack.format());
    QVERIFY(back == qtBack);
    if (depth == 8 && channels == 4)
        return;
    const std::vector<quint16> want = vellImageSamples(image, channels);
    const std::vector<quint16> got = vellImageSamples(back, channels);
    for (size_t i = 0; i < want.size(); ++i)
        QVERIFY2(got[i] == want[i], qPrintable(QStringLiteral("pixel %1,%2 channel %3: %4, not %5")
                                                   .arg(i / size_t(channels) % size_t(size.width()))
                                                   .arg(i / size_t(channels) / size_t(size.width()))
                                                   .arg(i % size_t(channels)).arg(got[i]).arg(want[i])));
}

// A device that fails (a full disk; /dev/full is not seekable, so this also
// takes the path through memory) gives false and the system's reason.
void TestVellTiffWriter::failedWrite()
{
    QFile full(QStringLiteral("/dev/full"));
    if (!full.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        QSKIP("no /dev/full");
    VellTiffWriter writer;
    QVERIFY(!writer.write(testImage(QImage::Format_ARGB32, QSize(64, 64)), &full));
    QVERIFY2(writer.errorString().contains(QStringLiteral("space"), Qt::CaseInsensitive),
             qPrintable(writer.errorString()));
}

QTEST_GUILESS_MAIN(TestVellTiffWriter)
#include "tst_velltiffwriter.moc"
