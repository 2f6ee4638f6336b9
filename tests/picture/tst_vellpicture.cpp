#include "gpu/vellgltexture2d.h"
#include "picture/vellpicture.h"
#include "picture/vellpicturereader.h"
#include "support/vellgltestcontext.h"
#include "support/vellteststreams.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray bytes(VellPicture &p) { return QByteArray(reinterpret_cast<const char *>(p.getRgb24()), int(p.getSize())); }

QByteArray texels(const VellPicture &p)   // read without the code under test
{
    return VellGLTestContext::readTexture(p.getTexture()->getId(), int(p.getWidth()), int(p.getHeight()), GL_BGRA, GL_UNSIGNED_BYTE, 4);
}

void draw(VellPicture &p, const QByteArray &bgra)   // as a caller drawing into the texture
{
    glBindTexture(GL_TEXTURE_2D, p.getTexture()->getId());
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, int(p.getWidth()), int(p.getHeight()), GL_BGRA, GL_UNSIGNED_BYTE, bgra.constData());
    glBindTexture(GL_TEXTURE_2D, 0);
}

QByteArray header(quint32 depth, quint32 height, quint32 width, quint32 size, quint32 length)
{
    return bigEndian32(depth) + bigEndian32(height) + bigEndian32(width) + bigEndian32(size) + bigEndian32(length);
}

} // namespace

class TestVellPicture : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void cleanup() { QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>()); }

    void roundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("odd width") << QSize(7, 3);
        QTest::newRow("1 x 1") << QSize(1, 1);
    }
    // Memory -> texture -> memory keeps every byte in B, G, R, A order; the
    // stream carries what the texture held.
    void roundTrip()
    {
        QFETCH(QSize, size);
        const int count = size.width() * size.height() * 4;
        const QByteArray first = VellGLTestContext::patternBytes(count, 1), drawn = VellGLTestContext::patternBytes(count, 2);
        VellPicture picture(reinterpret_cast<const uchar *>(first.constData()), size.width(), size.height(), 4);
        QCOMPARE(texels(picture), first);
        draw(picture, drawn);
        picture.updateTexture();
        const QImage image = picture.toQImage();   // syncs
        QCOMPARE(picture.getLastestModified(), 0);
        QCOMPARE(bytes(picture), drawn);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(image.constBits()), count), drawn);

        draw(picture, first);   // the stream must sync first
        picture.updateTexture();
        QByteArray stream;
        QDataStream out(&stream, QIODevice::WriteOnly);
        out << &picture;
        QCOMPARE(stream.left(20), header(4, size.height(), size.width(), count, count));
        VellPicture *read = nullptr;
        QDataStream in(stream);
        in >> &read;
        std::unique_ptr<VellPicture> owner(read);
        QVERIFY(read);
        QCOMPARE(read->getWidth(), unsigned(size.width()));
        QCOMPARE(texels(*read), first);
    }

    void corruptStream_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<bool>("sequential");
        const QByteArray pixels = VellGLTestContext::patternBytes(24);
        const QByteArray good = header(4, 2, 3, 24, 24) + pixels, huge = header(4, 16384, 16384, 1u << 30, 1u << 30) + pixels;
        QTest::newRow("inside the header") << good.left(14) << false;
        QTest::newRow("one byte short") << good.left(good.size() - 1) << false;
        QTest::newRow("length not size") << header(4, 2, 3, 24, 20) + pixels << false;
        QTest::newRow("depth 3") << header(3, 2, 2, 12, 12) + pixels << false;
        QTest::newRow("size wraps 32 bits") << header(4, 65536, 16384, 0, 0) << false;
        QTest::newRow("1 GiB claimed") << huge << false;
        QTest::newRow("1 GiB claimed, sequential") << huge << true;
    }
    void corruptStream()
    {
        QFETCH(QByteArray, stream);
        QFETCH(bool, sequential);
        SequentialBuffer pipe(stream);
        QBuffer buffer(&stream);
        buffer.open(QIODevice::ReadOnly);
        QDataStream in(sequential ? static_cast<QIODevice *>(&pipe) : &buffer);
        const std::unique_ptr<VellPicture> stale(new VellPicture(1, 1, 4));
        VellPicture *read = stale.get();   // must be overwritten
        AllocationCounter allocations;
        in >> &read;
        QVERIFY(!read);
        QVERIFY(in.status() != QDataStream::Ok);
        if (!sequential)
            QCOMPARE(allocations.count, 0);   // refused before allocating
    }

    void readPicture()
    {
        QTemporaryDir dir;
        QImage image(2, 1, QImage::Format_ARGB32);
        image.setPixel(0, 0, qRgba(1, 2, 3, 4)), image.setPixel(1, 0, qRgba(250, 0, 9, 128));
        QVERIFY(image.save(dir.filePath("p.png")));
        VellPictureReader reader;
        VellPictureReader::setDocumentProbe(nullptr);
        QVERIFY(!std::unique_ptr<VellPicture>(reader.ReadPicture(dir.filePath("p.png"))));   // no current document
        VellPictureReader::setDocumentProbe([] { return VellPictureReader::Document(); });
        std::unique_ptr<VellPicture> picture(reader.ReadPicture(dir.filePath("p.png")));
        QVERIFY(picture);
        QVERIFY(picture->getTexture());
        QCOMPARE(texels(*picture), QByteArray("\x03\x02\x01\x04\x09\x00\xfa\x80", 8));   // B, G, R, A
    }
};

QTEST_MAIN(TestVellPicture)
#include "tst_vellpicture.moc"
