// The selection's texture follows its coverage: after each kind of change
// the texture, read back here without the selection's help, holds the
// coverage's image pixels (rows without their padding).
#include "selection/vellselection.h"
#include "support/vellgltestcontext.h"

#include <QBuffer>
#include <QtTest>

#include <memory>

namespace {

// The coverage's image pixels as tightly packed rows.
QByteArray coverageRows(const VellSelection &s)
{
    QByteArray rows;
    for (int y = 0; y < s.getHeight(); ++y)
        rows.append(reinterpret_cast<const char *>(s.getMask()) + y * s.getPaddedWidth(), s.getWidth());
    return rows;
}

QByteArray textureRows(const VellSelection &s)
{
    return VellGLTestContext::readTexture(s.getTextureHandle(), s.getWidth(), s.getHeight(), GL_LUMINANCE,
                                          GL_UNSIGNED_BYTE, 1);
}

enum Change { AddMask, Inverse, Translate, Decompress, SelectAll, StreamedIn };

} // namespace

class TestVellSelectionGL : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }

    void textureFollowsCoverage_data()
    {
        QTest::addColumn<int>("change");
        QTest::newRow("addMask") << int(AddMask);
        QTest::newRow("inverse") << int(Inverse);
        QTest::newRow("applyTranslation") << int(Translate);
        QTest::newRow("decompress") << int(Decompress);
        QTest::newRow("selectAll") << int(SelectAll);
        QTest::newRow("read from a stream") << int(StreamedIn);
    }

    void textureFollowsCoverage()
    {
        QFETCH(int, change);
        // An odd width: rows padded from 13 to 16 bytes, unpadded in the texture.
        auto s = std::make_unique<VellSelection>(nullptr, 13, 7);
        QVERIFY(s->getTextureHandle() != 0);
        const QByteArray pattern = VellGLTestContext::patternBytes(13 * 7, 3);
        QVERIFY(s->addMask(reinterpret_cast<const uchar *>(pattern.constData()), 13, 7, 0, 0));
        switch (change) {
        case Inverse: s->inverse(); break;
        case Translate: s->setTranslation(QPointF(3, -2)); s->applyTranslation(); break;
        case Decompress: s->selectAll(); s->decompress(1); break;
        case SelectAll: s->selectAll(); break;
        case StreamedIn: {
            QByteArray bytes;
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out.setVersion(QDataStream::Qt_4_8);
            out << s.get();
            QDataStream in(bytes);
            in.setVersion(QDataStream::Qt_4_8);
            VellSelection *back = nullptr;
            in >> &back;
            QVERIFY(back);
            s.reset(back);
            break;
        }
        default: break;
        }
        QVERIFY(s->getTextureHandle() != 0);
        QCOMPARE(textureRows(*s), coverageRows(*s));
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
    }
};

QTEST_MAIN(TestVellSelectionGL)
#include "tst_vellselectiongl.moc"
