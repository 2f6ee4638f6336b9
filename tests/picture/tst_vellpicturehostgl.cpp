#include "gpu/vellgltexture2d.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"
#include "tools/velltoolutil.h"

#include <QtTest>

#include <memory>

namespace {

std::unique_ptr<VellPictureHost> patternHost(QSize size, unsigned pixelWidth, int seed)
{
    auto host = std::make_unique<VellPictureHost>(size.width(), size.height(), pixelWidth);
    host->read(reinterpret_cast<const uchar *>(VellGLTestContext::patternBytes(int(host->getByteCount()), seed).constData()));
    return host;
}

QByteArray bytes(const VellPictureHost &host)
{
    return QByteArray(reinterpret_cast<const char *>(host.getData()), int(host.getByteCount()));
}

// The texels in the host's layout, read without the code under test.
QByteArray bytes(const VellGLTexture2D &texture, unsigned pixelWidth)
{
    return VellGLTestContext::readTexture(texture.getId(), texture.getWidth(), texture.getHeight(), GL_BGRA,
                                          pixelWidth == 8 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE, int(pixelWidth));
}

// Pixel (x, y) of rows `width` pixels wide.
QByteArray pixel(const QByteArray &rows, int width, int x, int y, int pixelWidth)
{
    return rows.mid((y * width + x) * pixelWidth, pixelWidth);
}

} // namespace

class TestVellPictureHostGL : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void cleanupTestCase() { VellToolUtil dropProgram; Q_UNUSED(dropProgram); }
    void cleanup() { QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>()); }
    void roundTrip_data();
    void roundTrip();
    void regionAcrossBands_data();
    void regionAcrossBands();
    void thumbnail_data();
    void thumbnail();

private:
    VellGLTestContext gl;
};

// Every pixel reaches the texture and comes back unchanged, band by band and
// in one piece. A wide 16-bit picture shows any sampling between texels.
void TestVellPictureHostGL::roundTrip_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<unsigned>("pixelWidth");
    QTest::newRow("2049 rows: two bands") << QSize(5, 2049) << 4u;
    QTest::newRow("2049 rows, 16-bit") << QSize(3, 2049) << 8u;
    QTest::newRow("1 x 1") << QSize(1, 1) << 4u;
    QTest::newRow("odd width, 16-bit") << QSize(7, 5) << 8u;
    QTest::newRow("width 6") << QSize(6, 3) << 4u;
    QTest::newRow("wide, 16-bit") << QSize(3001, 2) << 8u;
}

void TestVellPictureHostGL::roundTrip()
{
    QFETCH(QSize, size);
    QFETCH(unsigned, pixelWidth);
    const auto host = patternHost(size, pixelWidth, 1);
    const unsigned format = pixelWidth == 8 ? GL_RGBA16 : GL_RGBA8;

    VellGLTexture2D banded(size.width(), size.height(), format, true);
    host->writeTexture(&banded, QRect(QPoint(), size), QPoint());
    QCOMPARE(bytes(banded, pixelWidth), bytes(*host));
    const auto back = patternHost(size, pixelWidth, 2);
    back->readTexture(&banded, QRect(QPoint(), size), QPoint());
    QCOMPARE(bytes(*back), bytes(*host));

    const std::unique_ptr<VellGLTexture2D> entire(host->getEntireTexture());
    QCOMPARE(bytes(*entire, pixelWidth), bytes(*host));
    VellGLTexture2D reloaded(1, 1, format, true);
    host->writeEntireTexture(&reloaded);
    QCOMPARE(bytes(reloaded, pixelWidth), bytes(*host));
    const auto entireBack = patternHost(size, pixelWidth, 3);
    entireBack->readEntireTexture(&reloaded);
    QCOMPARE(bytes(*entireBack), bytes(*host));
}

// A region across the band edge at row 2048 lands at (x, y) - origin in the
// texture and nowhere else; read back, it fills exactly its part of a picture.
void TestVellPictureHostGL::regionAcrossBands_data()
{
    QTest::addColumn<unsigned>("pixelWidth");
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QPoint>("origin");
    QTest::newRow("straddling, at the corner") << 4u << QRect(2, 2040, 5, 15) << QPoint(2, 2040);
    QTest::newRow("straddling, moved") << 4u << QRect(2, 2040, 5, 15) << QPoint(-3, 2035);
    QTest::newRow("straddling, 16-bit") << 8u << QRect(1, 2046, 6, 5) << QPoint(0, 2044);
    QTest::newRow("past the picture") << 4u << QRect(6, 2050, 9, 30) << QPoint(0, 2040);
}

void TestVellPictureHostGL::regionAcrossBands()
{
    QFETCH(unsigned, pixelWidth);
    QFETCH(QRect, region);
    QFETCH(QPoint, origin);
    const int pw = int(pixelWidth), w = 9, h = 2060, tw = 16, th = 30;
    const auto host = patternHost(QSize(w, h), pixelWidth, 4);
    const QByteArray fill = VellGLTestContext::patternBytes(tw * th * pw, 5);
    VellGLTexture2D texture(tw, th, reinterpret_cast<const unsigned *>(fill.constData()),
                            pixelWidth == 8 ? GL_RGBA16 : GL_RGBA8, true);
    host->writeTexture(&texture, region, origin);
    const QRect part = region & QRect(0, 0, w, h);
    const QByteArray texels = bytes(texture, pixelWidth), pixels = bytes(*host);
    for (int y = 0; y < th; ++y)
        for (int x = 0; x < tw; ++x) {
            const QPoint p = QPoint(x, y) + origin;
            QVERIFY2(pixel(texels, tw, x, y, pw) == (part.contains(p) ? pixel(pixels, w, p.x(), p.y(), pw)
                                                                      : pixel(fill, tw, x, y, pw)),
                     qPrintable(QString("texel %1,%2").arg(x).arg(y)));
        }

    const auto back = patternHost(QSize(w, h), pixelWidth, 6);
    const QByteArray before = bytes(*back);
    back->readTexture(&texture, region, origin);
    const QByteArray after = bytes(*back);
    for (int y = 2030; y < h; ++y)   // rows above lie outside every region
        for (int x = 0; x < w; ++x)
            QVERIFY2(pixel(after, w, x, y, pw) == (part.contains(x, y) ? pixel(texels, tw, x - origin.x(), y - origin.y(), pw)
                                                                              : pixel(before, w, x, y, pw)),
                     qPrintable(QString("pixel %1,%2").arg(x).arg(y)));
}

// Reduced by 4 through linear filtering, each thumbnail pixel centre falls
// between texels 4i + 1 and 4i + 2 on both axes, across the band edge too:
// their 2 x 2 mean (of the high bytes for 16 bits) within rounding.
void TestVellPictureHostGL::thumbnail_data()
{
    QTest::addColumn<unsigned>("pixelWidth");
    QTest::newRow("8-bit") << 4u;
    QTest::newRow("16-bit") << 8u;
}

void TestVellPictureHostGL::thumbnail()
{
    QFETCH(unsigned, pixelWidth);
    const auto host = patternHost(QSize(16, 2064), pixelWidth, 7);
    const QRect region(0, 8, 16, 2056);
    const std::unique_ptr<VellGLTexture2D> thumb(host->getThumbTexture(region, 4, 4));
    QCOMPARE(QSize(thumb->getWidth(), thumb->getHeight()), QSize(4, 514));
    const QByteArray got = bytes(*thumb, 4);
    for (int i = 0; i < got.size(); ++i) {
        const int x = i / 4 % 4, y = i / 16, shift = 8 * (i % 4);
        double sum = 0;
        for (int d = 0; d < 4; ++d)
            sum += host->getPixel8bit(4 * x + 1 + d % 2, region.top() + 4 * y + 1 + d / 2) >> shift & 0xFF;
        QVERIFY2(qAbs(uchar(got[i]) - sum / 4) <= 1.0, qPrintable(QString("%1,%2 byte %3").arg(x).arg(y).arg(i % 4)));
    }
}

QTEST_MAIN(TestVellPictureHostGL)
#include "tst_vellpicturehostgl.moc"
