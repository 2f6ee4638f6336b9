#include "gpu/vellgltexture2d.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"
#include "tools/velltoolutil.h"

#include <QtTest>

#include <memory>

namespace {

std::unique_ptr<VellPictureHost> patternHost(QSize size, int pixelWidth, int seed)
{
    auto host = std::make_unique<VellPictureHost>(size.width(), size.height(), pixelWidth);
    const QByteArray bytes = VellGLTestContext::patternBytes(int(host->getByteCount()), seed);
    host->read(reinterpret_cast<const uchar *>(bytes.constData()));
    return host;
}

QByteArray bytes(const VellPictureHost &host)
{
    return QByteArray(reinterpret_cast<const char *>(host.getData()), int(host.getByteCount()));
}

// The texels in the host's layout, read without the code under test.
QByteArray bytes(const VellGLTexture2D &t, int pixelWidth)
{
    return VellGLTestContext::readTexture(t.getId(), t.getWidth(), t.getHeight(), GL_BGRA,
                                          pixelWidth == 8 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE, pixelWidth);
}

// `to` with the pixels of `part` copied from `from`; both hold rows of pixels, their pixel
// (0, 0) at picture point toAt and fromAt.
QByteArray withPart(QByteArray to, int toWidth, QPoint toAt, const QByteArray &from, int fromWidth,
                    QPoint fromAt, const QRect &part, int pw)
{
    for (int y = part.top(); y <= part.bottom(); ++y)
        for (int x = part.left(); x <= part.right(); ++x)
            to.replace(((y - toAt.y()) * toWidth + x - toAt.x()) * pw, pw,
                       from.mid(((y - fromAt.y()) * fromWidth + x - fromAt.x()) * pw, pw));
    return to;
}

} // namespace

class TestVellPictureHostGL : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void cleanupTestCase() { VellToolUtil dropProgram; Q_UNUSED(dropProgram); }
    void cleanup() { QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>()); }

    void transfers_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("pixelWidth");
        QTest::addColumn<QRect>("region");
        QTest::addColumn<QPoint>("origin");
        QTest::addColumn<QSize>("textureSize");
        auto whole = [](const char *name, QSize size, int pw) {
            QTest::newRow(name) << size << pw << QRect(QPoint(), size) << QPoint() << size;
        };
        whole("2049 rows: two bands", QSize(5, 2049), 4);
        whole("2049 rows, 16-bit", QSize(3, 2049), 8);
        whole("1 x 1", QSize(1, 1), 4);
        whole("odd width, 16-bit", QSize(7, 5), 8);
        whole("width 6", QSize(6, 3), 4);
        whole("wide, 16-bit", QSize(3001, 2), 8);   // shows any sampling between texels
        auto part = [](const char *name, int pw, QRect region, QPoint origin) {
            QTest::newRow(name) << QSize(9, 2060) << pw << region << origin << QSize(16, 30);
        };
        part("straddling, at the corner", 4, QRect(2, 2040, 5, 15), QPoint(2, 2040));
        part("straddling, moved", 4, QRect(2, 2040, 5, 15), QPoint(-3, 2035));
        part("straddling, 16-bit", 8, QRect(1, 2046, 6, 5), QPoint(0, 2044));
        part("past the picture", 4, QRect(6, 2050, 9, 30), QPoint(0, 2040));
    }

    // The region's part inside the picture lands at (x, y) - origin in the texture and nowhere else;
    // read back, it fills exactly its part of a picture. Whole-picture transfers keep every pixel.
    void transfers()
    {
        QFETCH(QSize, size);
        QFETCH(int, pixelWidth);
        QFETCH(QRect, region);
        QFETCH(QPoint, origin);
        QFETCH(QSize, textureSize);
        const int w = size.width(), tw = textureSize.width();
        const unsigned format = pixelWidth == 8 ? GL_RGBA16 : GL_RGBA8;
        const auto host = patternHost(size, pixelWidth, 1), back = patternHost(size, pixelWidth, 2);
        const QByteArray fill = VellGLTestContext::patternBytes(tw * textureSize.height() * pixelWidth, 5);
        VellGLTexture2D texture(tw, textureSize.height(), reinterpret_cast<const unsigned *>(fill.constData()),
                                format, true);
        host->writeTexture(&texture, region, origin);
        const QRect part = region & QRect(QPoint(), size);
        const QByteArray texels = bytes(texture, pixelWidth), pixels = bytes(*host), before = bytes(*back);
        QCOMPARE(texels, withPart(fill, tw, origin, pixels, w, QPoint(), part, pixelWidth));
        back->readTexture(&texture, region, origin);
        QCOMPARE(bytes(*back), withPart(before, w, QPoint(), texels, tw, origin, part, pixelWidth));

        const std::unique_ptr<VellGLTexture2D> entire(host->getEntireTexture());
        VellGLTexture2D reloaded(1, 1, format, true);
        host->writeEntireTexture(&reloaded);
        const auto entireBack = patternHost(size, pixelWidth, 3);
        entireBack->readEntireTexture(&reloaded);
        QCOMPARE(bytes(*entire, pixelWidth), pixels);
        QCOMPARE(bytes(reloaded, pixelWidth), pixels);
        QCOMPARE(bytes(*entireBack), pixels);
    }

    // Reduced by 4 through linear filtering, each pixel centre falls between texels 4i + 1 and 4i + 2
    // on both axes, across the band edge too: their 2 x 2 mean (high bytes for 16 bits) within rounding.
    void thumbnail()
    {
        for (int pixelWidth : {4, 8}) {
            const auto host = patternHost(QSize(16, 2064), pixelWidth, 7);
            const QRect region(0, 8, 16, 2056);
            const std::unique_ptr<VellGLTexture2D> thumb(host->getThumbTexture(region, 4, 4));
            QCOMPARE(QSize(thumb->getWidth(), thumb->getHeight()), QSize(4, 514));
            const QByteArray got = bytes(*thumb, 4);
            for (int i = 0; i < got.size(); ++i) {
                const int x = i / 4 % 4, y = i / 16, shift = 8 * (i % 4);
                double sum = 0;
                for (int d = 0; d < 4; ++d)
                    sum += host->getPixel8bit(4 * x + 1 + d % 2, region.top() + 4 * y + 1 + d / 2) >> shift
                           & 0xFF;
                QVERIFY2(qAbs(uchar(got[i]) - sum / 4) <= 1.0,
                         qPrintable(QString("%1-byte: %2,%3 byte %4").arg(pixelWidth).arg(x).arg(y).arg(i % 4)));
            }
        }
    }

private:
    VellGLTestContext gl;
};

QTEST_MAIN(TestVellPictureHostGL)
#include "tst_vellpicturehostgl.moc"
