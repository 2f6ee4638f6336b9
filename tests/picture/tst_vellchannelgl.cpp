#include "gpu/vellgltextureluminance.h"
#include "picture/vellchannel.h"
#include "support/vellgltestcontext.h"

#include <QtTest>

#include <cstring>

namespace {

QByteArray pattern(const VellChannel &channel, int seed)
{
    return VellGLTestContext::patternBytes(int(channel.getByteCount()), seed);
}

// What the texture must hold, tightly packed: the channel bytes `inside` at
// every pixel inside rect, `outside` elsewhere; padding never shows.
QByteArray expected(const VellChannel &channel, const QRect &rect, const QByteArray &inside,
                    const QByteArray &outside)
{
    QByteArray want;
    for (int y = 0; y < channel.getHeight(); ++y)
        for (int x = 0; x < channel.getWidth(); ++x)
            want.append((rect.contains(x, y) ? inside : outside)[y * channel.getPaddedWidth() + x]);
    return want;
}

} // namespace

class TestVellChannelGL : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void upload_data();
    void upload();

private:
    VellGLTestContext gl;
};

void TestVellChannelGL::initTestCase()
{
    QVERIFY(gl.isValid());
}

void TestVellChannelGL::upload_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<QRect>("refreshed");   // the texels that take the new data
    QTest::newRow("width 16: whole group from column 0")
        << 16 << 2 << QRect(3, 0, 2, 1) << QRect(0, 0, 8, 1);
    QTest::newRow("width 8: group would reach the edge, columns 0-4")
        << 8 << 2 << QRect(3, 0, 2, 1) << QRect(0, 0, 5, 1);
    QTest::newRow("odd width 7, at the right edge")
        << 7 << 4 << QRect(5, 1, 2, 2) << QRect(4, 1, 3, 2);
    QTest::newRow("odd width 13, one column inside")
        << 13 << 5 << QRect(6, 2, 1, 3) << QRect(4, 2, 4, 3);
    QTest::newRow("hangs off the top left") << 9 << 4 << QRect(-3, -1, 5, 3) << QRect(0, 0, 4, 2);
    QTest::newRow("width 1, one row") << 1 << 3 << QRect(0, 1, 1, 1) << QRect(0, 1, 1, 1);
    QTest::newRow("misses the channel") << 9 << 4 << QRect(20, 0, 2, 2) << QRect();
}

// A new channel's texture is width x height and all 255. update() shows the
// padded rows without their padding. Then the memory is rewritten and only a
// rectangle updated: the texels the 4-byte rule covers take the new data, all
// others keep the old. The caller's unpack state survives.
void TestVellChannelGL::upload()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QRect, rect);
    QFETCH(QRect, refreshed);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
    VellChannel channel(width, height);
    VellGLTextureLuminance *texture = channel.getEntireTexture();
    QVERIFY(texture);
    QCOMPARE(QSize(texture->getWidth(), texture->getHeight()), QSize(width, height));
    auto texels = [&] {   // read without the channel's code; update() replaces the texture
        return VellGLTestContext::readTexture(channel.getEntireTexture()->getId(), width, height,
                                              GL_LUMINANCE, GL_UNSIGNED_BYTE, 1);
    };
    QCOMPARE(texels(), QByteArray(width * height, char(255)));

    const QByteArray oldBytes = pattern(channel, 2), newBytes = pattern(channel, 3);
    std::memcpy(channel.getData(), oldBytes.constData(), size_t(oldBytes.size()));
    channel.update();
    QCOMPARE(texels(), expected(channel, QRect(), oldBytes, oldBytes));
    std::memcpy(channel.getData(), newBytes.constData(), size_t(newBytes.size()));
    channel.update(rect);
    QCOMPARE(texels(), expected(channel, refreshed, newBytes, oldBytes));

    GLint unpack[2] = {0, -1};
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &unpack[0]);
    glGetIntegerv(GL_UNPACK_ROW_LENGTH, &unpack[1]);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    QVERIFY(unpack[0] == 2 && unpack[1] == 0);
    QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
}

QTEST_MAIN(TestVellChannelGL)
#include "tst_vellchannelgl.moc"
