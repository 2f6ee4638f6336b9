#include "gpu/vellgltextureluminance.h"
#include "picture/vellchannel.h"
#include "support/vellgltestcontext.h"

#include <QtTest>

#include <cstring>

class TestVellChannelGL : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }

    void upload_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<QRect>("refreshed");   // the texels that take the new data
        QTest::newRow("16 wide: whole group") << 16 << 2 << QRect(3, 0, 2, 1) << QRect(0, 0, 8, 1);
        QTest::newRow("8 wide: group reaches edge") << 8 << 2 << QRect(3, 0, 2, 1) << QRect(0, 0, 5, 1);
        QTest::newRow("7 wide, at the right edge") << 7 << 4 << QRect(5, 1, 2, 2) << QRect(4, 1, 3, 2);
        QTest::newRow("13 wide, one column") << 13 << 5 << QRect(6, 2, 1, 3) << QRect(4, 2, 4, 3);
        QTest::newRow("hangs off the top left") << 9 << 4 << QRect(-3, -1, 5, 3) << QRect(0, 0, 4, 2);
        QTest::newRow("width 1, one row") << 1 << 3 << QRect(0, 1, 1, 1) << QRect(0, 1, 1, 1);
        QTest::newRow("misses the channel") << 9 << 4 << QRect(20, 0, 2, 2) << QRect();
    }

    // A new channel's texture is width x height and all 255; update() shows the padded rows
    // without their padding. After rewriting the memory, updating a rectangle refreshes the texels
    // the 4-column rule covers and keeps the others. The caller's unpack state survives.
    void upload()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(QRect, rect);
        QFETCH(QRect, refreshed);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
        VellChannel channel(width, height);
        const VellGLTextureLuminance *texture = channel.getEntireTexture();
        QVERIFY(texture);
        QCOMPARE(texture->getWidth(), width);
        QCOMPARE(texture->getHeight(), height);
        auto texels = [&] {   // read without the channel's code; update() replaces the texture
            return VellGLTestContext::readTexture(channel.getEntireTexture()->getId(), width, height,
                                                  GL_LUMINANCE, GL_UNSIGNED_BYTE, 1);
        };
        // The texture, tightly packed: `inside` bytes inside `in`, `outside` ones elsewhere.
        auto expected = [&](const QRect &in, const QByteArray &inside, const QByteArray &outside) {
            QByteArray want;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    want.append((in.contains(x, y) ? inside : outside)[y * channel.getPaddedWidth() + x]);
            return want;
        };
        QCOMPARE(texels(), QByteArray(width * height, char(255)));

        const QByteArray before = VellGLTestContext::patternBytes(int(channel.getByteCount()), 2);
        const QByteArray after = VellGLTestContext::patternBytes(before.size(), 3);
        std::memcpy(channel.getData(), before.constData(), size_t(before.size()));
        channel.update();
        QCOMPARE(texels(), expected(QRect(), before, before));
        std::memcpy(channel.getData(), after.constData(), size_t(after.size()));
        channel.update(rect);
        QCOMPARE(texels(), expected(refreshed, after, before));

        GLint alignment = 0, rowLength = -1;
        glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
        glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
        QCOMPARE(alignment, 2);
        QCOMPARE(rowLength, 0);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
    }

private:
    VellGLTestContext gl;
};

QTEST_MAIN(TestVellChannelGL)
#include "tst_vellchannelgl.moc"
