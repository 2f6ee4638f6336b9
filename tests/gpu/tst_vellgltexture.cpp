#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "gpu/vellgltexturepbo.h"

#include "foundation/vellmemory.h"
#include "foundation/vellmessagebox.h"
#include "foundation/vellrecovery.h"
#include "support/vellgltestcontext.h"

#include <QImage>
#include <QTimer>
#include <QtTest>

// The same pixels with the first and third channel swapped: BGRA <-> RGBA.
static QByteArray swapRedBlue(QByteArray bytes, int channelBytes)
{
    char *d = bytes.data();
    for (int i = 0; i < bytes.size(); ++i)
        if (i / channelBytes % 4 == 0)
            std::swap(d[i], d[i + 2 * channelBytes]);
    return bytes;
}

static QByteArray written(VellGLTexture2D &texture)
{
    QByteArray out(int(texture.getSize()), '\x5a');
    texture.write(reinterpret_cast<unsigned int *>(out.data()));
    return out;
}

static GLint glInt(GLenum name) { GLint v = -1; glGetIntegerv(name, &v); return v; }
static const uint *words(const QByteArray &b) { return reinterpret_cast<const uint *>(b.constData()); }

class TestVellGLTexture : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;
    int m_clears = 0, m_drops = 0, m_probes = 0, m_failures = 0;   // failures: allocations left to fail
    QStringList m_shown;   // message boxes

private slots:
    // The hooks count, record and inject failures for outOfMemory; elsewhere they stay idle.
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        VellRecovery::setClearHistory([this] { ++m_clears; });
        VellRecovery::setDropInactiveTextures([this] { ++m_drops; });
        const VellSystemResources plenty{true, quint64(8) << 30, true, quint64(8) << 30};
        VellMemory::setProbe([this, plenty] { ++m_probes; return plenty; });
        VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
            m_shown << QString(m.kind == VellMessageBox::About ? "about " : "") + m.title + ": " + m.text;
            return QMessageBox::Ok;
        });
        VellGLTexture::setAllocationErrorHook(
            [this](GLenum e) { return m_failures-- > 0 ? GLenum(GL_OUT_OF_MEMORY) : e; });
    }

    void colourRoundTrip_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<unsigned int>("format");
        QTest::addColumn<bool>("reload");   // specified empty first, then by load()
        QTest::newRow("8-bit odd size") << QSize(5, 3) << 0x80E1u << false;
        QTest::newRow("RGBA8 taken as BGRA, reloaded") << QSize(3, 2) << 0x8058u << true;
        QTest::newRow("16-bit odd width, reloaded") << QSize(7, 1) << 0x805Bu << true;
    }
    void colourRoundTrip()
    {
        QFETCH(QSize, size);
        QFETCH(unsigned int, format);
        QFETCH(bool, reload);
        const int channel = format == GL_RGBA16 ? 2 : 1, w = size.width(), h = size.height();
        const QByteArray pixels = VellGLTestContext::patternBytes(w * h * 4 * channel);
        VellGLTexture2D texture(reload ? 2 : w, reload ? 9 : h, reload ? nullptr : words(pixels), format,
                                true);
        if (reload)
            texture.load(w, h, words(pixels), false);
        QCOMPARE(texture.getFormat(), channel == 2 ? 0x805Bu : 0x80E1u);
        QCOMPARE(QSizeF(texture.getWidthF(), texture.getHeightF()), QSizeF(size));
        QCOMPARE(written(texture), pixels);

        // Stored as R, G, B, A: a reader asking for RGBA sees red and blue swapped.
        const GLenum type = channel == 2 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE;
        QCOMPARE(VellGLTestContext::readTexture(texture.getId(), w, h, GL_RGBA, type, 4 * channel),
                 swapRedBlue(pixels, channel));

        // From 16 bits the driver keeps each word's high byte, within rounding.
        const QImage image = texture.toQImage();
        QCOMPARE(image.size(), size);
        for (int i = 0; i < w * h * 4; ++i)
            QVERIFY2(qAbs(image.constBits()[i] - uchar(pixels[i * channel + channel - 1])) <= 1,
                     qPrintable(QString::number(i)));
    }

    // Luminance rows are unpadded, its Indexed8 image's padded to 4. A colour image
    // of another format is converted first; a null one makes a failed texture.
    void images()
    {
        const int w = 7, h = 4;
        const QByteArray pixels = VellGLTestContext::patternBytes(w * h, 3);
        VellGLTextureLuminance texture(w, h, reinterpret_cast<const uchar *>(pixels.constData()), false);
        QByteArray out(pixels.size() + 4, '\x5a');
        texture.write(reinterpret_cast<uchar *>(out.data()));
        QCOMPARE(out, pixels + QByteArray(4, '\x5a'));   // nothing written past the end

        const QImage image = texture.toQImage();
        QCOMPARE(image.format(), QImage::Format_Indexed8);
        for (int y = 0; y < h; ++y)
            QCOMPARE(QByteArray(reinterpret_cast<const char *>(image.constScanLine(y)), w),
                     pixels.mid(y * w, w));

        const QImage argb(reinterpret_cast<const uchar *>(pixels.constData()), 3, 2, QImage::Format_ARGB32);
        QCOMPARE(VellGLTexture2D(argb, GL_BGRA, false).toQImage(), argb);
        QCOMPARE(VellGLTexture2D(argb.convertToFormat(QImage::Format_RGB888), GL_BGRA, false).toQImage(),
                 argb.convertToFormat(QImage::Format_RGB32).convertToFormat(QImage::Format_ARGB32));
        VellGLTexture2D none{QImage(), GL_BGRA, false};
        QVERIFY(none.failed());
        QVERIFY(none.toQImage().isNull());
    }

    void equalityAndChangeHandle()
    {
        const QByteArray pixels = VellGLTestContext::patternBytes(4 * 2 * 4, 7);
        VellGLTexture2D a(4, 2, GL_BGRA, false), b(4, 2, words(pixels), 0x8058u, true);
        VellGLTexture2D wider(5, 2, GL_BGRA, false);
        QVERIFY(a == b);
        QVERIFY(a != wider);
        QVERIFY(a != VellGLTexture2D(4, 2, GL_RGBA16, false));

        const GLuint widerId = wider.getId(), aId = a.getId(), bId = b.getId();
        wider.ChangeHandle(&b);
        QCOMPARE(wider.getId(), widerId);
        QCOMPARE(b.getId(), bId);
        a.ChangeHandle(&b);
        QCOMPARE(a.getId(), bId);   // one owner per name
        QCOMPARE(b.getId(), 0u);
        QVERIFY(!glIsTexture(aId));
        QCOMPARE(written(a), pixels);
    }

    void badInputLeavesNoError_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("stored");
        QTest::newRow("negative width") << QSize(-3, 4) << QSize(0, 4);
        QTest::newRow("empty") << QSize(0, 0) << QSize(0, 0);
        // The driver refuses the storage; the texture then reports none.
        QTest::newRow("over the maximum") << QSize(glInt(GL_MAX_TEXTURE_SIZE) + 1, 1) << QSize(0, 0);
    }
    void badInputLeavesNoError()
    {
        QFETCH(QSize, size);
        QFETCH(QSize, stored);
        VellGLTexture2D colour(size.width(), size.height(), GL_BGRA, true);
        QCOMPARE(QSize(colour.getWidth(), colour.getHeight()), stored);
        QCOMPARE(colour.getSize(), unsigned(stored.width() * stored.height() * 4));
        colour.write(nullptr);
        VellGLTextureLuminance mask(size.width(), size.height(), false);
        QCOMPARE(mask.getSize(), unsigned(stored.width() * stored.height()));

        VellGLFramebufferObject fbo(size.width(), size.height());
        fbo.end();   // outside a pass: nothing to pop
        fbo.begin(colour.getId());
        QVERIFY(!fbo.isComplete());
        fbo.end();

        VellGLTexturePBO pbo(&colour);
        pbo.packTextureToPbo();
        pbo.unpackPboToTexture();
        pbo.unlock();   // never locked
        QCOMPARE(VellGLTexturePBO(nullptr).lock(false), nullptr);
    }

    // A pass draws with its own viewport, then restores binding, viewport and attribute stack.
    void framebufferPass()
    {
        const GLExtensionFunctions &f = getGLExtensionFunctions();
        GLint v[4] = {};
        auto viewport = [&v] { glGetIntegerv(GL_VIEWPORT, v); return QRect(v[0], v[1], v[2], v[3]); };
        VellGLTexture2D target(8, 6, GL_BGRA, false);
        VellGLFramebufferObject fbo(8, 6);
        glViewport(1, 2, 30, 40);
        const GLint stackBefore = glInt(GL_ATTRIB_STACK_DEPTH);

        fbo.begin(target.getId());
        fbo.begin(target.getId());   // a second begin ends the first pass
        QVERIFY(fbo.isComplete());
        QCOMPARE(viewport(), QRect(0, 0, 8, 6));
        glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        fbo.end();

        QCOMPARE(glInt(GL_ATTRIB_STACK_DEPTH), stackBefore);
        QCOMPARE(glInt(GL_FRAMEBUFFER_BINDING_EXT), 0);
        QCOMPARE(viewport(), QRect(1, 2, 30, 40));
        f.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, fbo.getHandle());
        const GLenum status = f.glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT);
        f.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        QCOMPARE(status, GLenum(GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT));   // nothing left attached
        // Red cleared into an RGBA store reads back as B, G, R, A = 0, 0, 255, 255.
        QCOMPARE(written(target), QByteArray("\x00\x00\xff\xff", 4).repeated(8 * 6));
    }

    // Texture -> buffer (RGBA order) -> rewritten -> texture, leaving both buffer targets free.
    void pixelBufferRoundTrip()
    {
        const QByteArray pixels = VellGLTestContext::patternBytes(80, 11);
        const QByteArray edited = VellGLTestContext::patternBytes(80, 12);
        VellGLTexture2D texture(5, 4, words(pixels), GL_BGRA, false);
        VellGLTexturePBO pbo(&texture);
        pbo.packTextureToPbo();
        char *mapped = static_cast<char *>(pbo.lock(true));
        QVERIFY(mapped);
        QCOMPARE(QByteArray(mapped, 80), swapRedBlue(pixels, 1));
        memcpy(mapped, swapRedBlue(edited, 1).constData(), 80);
        pbo.unlock();
        pbo.unpackPboToTexture();
        QCOMPARE(glInt(GL_PIXEL_PACK_BUFFER_BINDING), 0);
        QCOMPARE(glInt(GL_PIXEL_UNPACK_BUFFER_BINDING), 0);
        QCOMPARE(written(texture), edited);
    }

    // One failure clears the history and drops textures once; a second gives up:
    // the user is told and the running loop quits.
    void outOfMemory_data()
    {
        QTest::addColumn<int>("failures");   // allocations that report GL_OUT_OF_MEMORY
        for (int failures : {0, 1, 2})
            QTest::addRow("%d failures", failures) << failures;
    }
    void outOfMemory()
    {
        QFETCH(int, failures);
        const bool gaveUp = failures > 1;
        m_failures = failures, m_clears = m_drops = m_probes = 0, m_shown.clear();
        // quit() ends the running loop with 0; otherwise the second timer does with 3.
        const QByteArray pixels = VellGLTestContext::patternBytes(3 * 2 * 4, 13);
        QByteArray out;
        QTimer::singleShot(0, [&] {
            VellGLTexture2D texture(3, 2, words(pixels), GL_BGRA, false);
            out = texture.failed() ? QByteArray("failed") : written(texture);
            QTimer::singleShot(0, [] { QCoreApplication::exit(3); });
        });
        QCOMPARE(QCoreApplication::exec(), gaveUp ? 0 : 3);
        QCOMPARE(m_probes, 1);   // the machine's memory is checked before allocating
        QCOMPARE(m_clears, failures > 0 ? 1 : 0);
        QCOMPARE(m_drops, m_clears);
        QCOMPARE(out, gaveUp ? QByteArray("failed") : pixels);
        QCOMPARE(m_shown, gaveUp ? QStringList{"about Error: Out of memory!"} : QStringList());
    }

    // No operation may leave a GL error for unrelated code to find.
    void cleanup() { QCOMPARE(VellGLTestContext::takeErrors().value(0), GLenum(GL_NO_ERROR)); }
};

QTEST_MAIN(TestVellGLTexture)
#include "tst_vellgltexture.moc"
