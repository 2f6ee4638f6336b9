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

namespace {

// The same pixels with the first and third channel swapped: BGRA <-> RGBA.
QByteArray swapRedBlue(QByteArray bytes, int channelBytes)
{
    char *d = bytes.data();
    for (int p = 0; p + 4 * channelBytes <= bytes.size(); p += 4 * channelBytes)
        for (int b = 0; b < channelBytes; ++b)
            std::swap(d[p + b], d[p + 2 * channelBytes + b]);
    return bytes;
}

QByteArray written(VellGLTexture2D &texture)
{
    QByteArray out(int(texture.getSize()), '\x5a');
    texture.write(reinterpret_cast<unsigned int *>(out.data()));
    return out;
}

QRect viewport()
{
    GLint v[4] = {};
    glGetIntegerv(GL_VIEWPORT, v);
    return QRect(v[0], v[1], v[2], v[3]);
}

const unsigned int *words(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned int *>(bytes.constData());
}

} // namespace

class TestVellGLTexture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void cleanup();
    void colourRoundTrip_data();
    void colourRoundTrip();
    void luminanceRoundTrip_data();
    void luminanceRoundTrip();
    void fromImage();
    void equalityAndChangeHandle();
    void badInputLeavesNoError_data();
    void badInputLeavesNoError();
    void framebufferPass();
    void pixelBufferRoundTrip();
    void outOfMemory_data();
    void outOfMemory();

private:
    VellGLTestContext gl;
};

// No operation may leave a GL error for unrelated code to find.
void TestVellGLTexture::cleanup()
{
    const QVector<GLenum> errors = VellGLTestContext::takeErrors();
    QVERIFY2(errors.isEmpty(), qPrintable(QString::number(errors.value(0), 16)));
}

void TestVellGLTexture::colourRoundTrip_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<unsigned int>("format");
    QTest::addColumn<bool>("reload");   // specified empty first, then by load()
    QTest::newRow("8-bit odd size") << QSize(5, 3) << 0x80E1u << false;
    QTest::newRow("RGBA8 taken as BGRA, reloaded") << QSize(3, 2) << 0x8058u << true;
    QTest::newRow("16-bit 10 x 10") << QSize(10, 10) << 0x805Bu << false;
    QTest::newRow("16-bit odd width, reloaded") << QSize(7, 1) << 0x805Bu << true;
}

void TestVellGLTexture::colourRoundTrip()
{
    QFETCH(QSize, size);
    QFETCH(unsigned int, format);
    QFETCH(bool, reload);
    const int channel = format == GL_RGBA16 ? 2 : 1;
    const QByteArray pixels = VellGLTestContext::patternBytes(size.width() * size.height() * 4 * channel);
    VellGLTexture2D texture(reload ? 2 : size.width(), reload ? 9 : size.height(),
                            reload ? nullptr : words(pixels), format, true);
    if (reload)
        texture.load(size.width(), size.height(), words(pixels), false);
    QCOMPARE(texture.getFormat(), channel == 2 ? 0x805Bu : 0x80E1u);
    QCOMPARE(QSizeF(texture.getWidthF(), texture.getHeightF()), QSizeF(size));
    QCOMPARE(texture.getSize(), unsigned(pixels.size()));
    QCOMPARE(written(texture), pixels);

    // Stored as R, G, B, A: a reader asking for RGBA sees red and blue swapped.
    QCOMPARE(VellGLTestContext::readTexture(texture.getId(), size.width(), size.height(), GL_RGBA,
                                            channel == 2 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE,
                                            4 * channel),
             swapRedBlue(pixels, channel));

    // From 16 bits the driver keeps each word's high byte, within rounding.
    const QImage image = texture.toQImage();
    QCOMPARE(image.size(), size);
    for (int i = 0; i < size.width() * size.height() * 4; ++i) {
        const int want = uchar(pixels[i * channel + channel - 1]);
        QVERIFY2(qAbs(image.constBits()[i] - want) <= 1, qPrintable(QString::number(i)));
    }
}

void TestVellGLTexture::luminanceRoundTrip_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("1 x 1") << QSize(1, 1);
    QTest::newRow("width 7, rows unpadded") << QSize(7, 4);
    QTest::newRow("width multiple of 4") << QSize(8, 2);
}

void TestVellGLTexture::luminanceRoundTrip()
{
    QFETCH(QSize, size);
    const QByteArray pixels = VellGLTestContext::patternBytes(size.width() * size.height(), 3);
    VellGLTextureLuminance texture(size.width(), size.height(),
                                   reinterpret_cast<const uchar *>(pixels.constData()), false);
    QCOMPARE(texture.getSize(), unsigned(pixels.size()));
    QByteArray out(pixels.size() + 4, '\x5a');
    texture.write(reinterpret_cast<uchar *>(out.data()));
    QCOMPARE(out, pixels + QByteArray(4, '\x5a'));   // nothing written past the end

    const QImage image = texture.toQImage();   // Indexed8 rows are padded to 4
    QCOMPARE(image.format(), QImage::Format_Indexed8);
    for (int y = 0; y < size.height(); ++y)
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(image.constScanLine(y)), size.width()),
                 pixels.mid(y * size.width(), size.width()));
}

void TestVellGLTexture::fromImage()
{
    QImage argb(3, 2, QImage::Format_ARGB32);
    argb.fill(qRgba(10, 20, 30, 40));
    argb.setPixel(2, 1, qRgba(200, 150, 100, 250));
    VellGLTexture2D eight(argb, GL_BGRA, false);
    QCOMPARE(eight.toQImage(), argb);

    // Another format is converted first.
    VellGLTexture2D converted(argb.convertToFormat(QImage::Format_RGB888), GL_BGRA, false);
    QCOMPARE(converted.toQImage(), argb.convertToFormat(QImage::Format_RGB32)
                                       .convertToFormat(QImage::Format_ARGB32));

    VellGLTexture2D none{QImage(), GL_BGRA, false};
    QVERIFY(none.failed());
    QVERIFY(none.toQImage().isNull());
}

void TestVellGLTexture::equalityAndChangeHandle()
{
    const QByteArray pixels = VellGLTestContext::patternBytes(4 * 2 * 4, 7);
    VellGLTexture2D a(4, 2, GL_BGRA, false);
    VellGLTexture2D b(4, 2, words(pixels), 0x8058u, true);
    VellGLTexture2D wider(5, 2, GL_BGRA, false);
    QVERIFY(a == b && a.getId() != b.getId());
    QVERIFY(a != wider);
    QVERIFY(a != VellGLTexture2D(4, 2, GL_RGBA16, false));

    const GLuint widerId = wider.getId(), aId = a.getId(), bId = b.getId();
    wider.ChangeHandle(&b);
    QVERIFY(wider.getId() == widerId && b.getId() == bId);
    a.ChangeHandle(&b);
    QCOMPARE(a.getId(), bId);
    QCOMPARE(b.getId(), 0u);   // one owner per name
    QVERIFY(!glIsTexture(aId));
    QCOMPARE(written(a), pixels);
}

void TestVellGLTexture::badInputLeavesNoError_data()
{
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QSize>("stored");
    QTest::newRow("negative width") << QSize(-3, 4) << QSize(0, 4);
    QTest::newRow("empty") << QSize(0, 0) << QSize(0, 0);
    // The driver refuses the storage; the texture then reports none.
    QTest::newRow("over the maximum") << QSize(maxSize + 1, 1) << QSize(0, 0);
}

void TestVellGLTexture::badInputLeavesNoError()
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

void TestVellGLTexture::framebufferPass()
{
    const GLExtensionFunctions &f = getGLExtensionFunctions();
    VellGLTexture2D target(8, 6, GL_BGRA, false);
    VellGLFramebufferObject fbo(8, 6);
    glViewport(1, 2, 30, 40);
    GLint stackBefore = 0, stackAfter = 0, binding = -1;
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &stackBefore);

    fbo.begin(target.getId());
    fbo.begin(target.getId());   // a second begin ends the first pass
    QVERIFY(fbo.isComplete());
    QCOMPARE(viewport(), QRect(0, 0, 8, 6));
    glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    fbo.end();

    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &stackAfter);
    glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &binding);
    QCOMPARE(stackAfter, stackBefore);
    QCOMPARE(binding, 0);
    QCOMPARE(viewport(), QRect(1, 2, 30, 40));

    // Nothing stays attached, so the texture may be deleted safely.
    f.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, fbo.getHandle());
    const GLenum status = f.glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT);
    f.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    QCOMPARE(status, GLenum(GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT));

    // Red cleared into an RGBA store reads back as B, G, R, A = 0, 0, 255, 255.
    QCOMPARE(written(target), QByteArray("\x00\x00\xff\xff", 4).repeated(8 * 6));
}

// Texture -> buffer (RGBA order) -> edited in place -> texture.
void TestVellGLTexture::pixelBufferRoundTrip()
{
    const QByteArray pixels = VellGLTestContext::patternBytes(5 * 4 * 4, 11);
    VellGLTexture2D texture(5, 4, words(pixels), GL_BGRA, false);
    {
        VellGLTexturePBO pbo(&texture);
        QCOMPARE(pbo.getSize(), 80);
        pbo.packTextureToPbo();
        uchar *mapped = static_cast<uchar *>(pbo.lock(true));
        QVERIFY(mapped);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(mapped), 80), swapRedBlue(pixels, 1));
        for (int i = 0; i < 80; ++i)
            mapped[i] = uchar(255 - mapped[i]);
        pbo.unlock();
        pbo.unpackPboToTexture();

        // Both targets released, so transfers from client memory still work.
        GLint pack = -1, unpack = -1;
        glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &pack);
        glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpack);
        QVERIFY(pack == 0 && unpack == 0);
    }
    QByteArray inverted = pixels;
    for (char &c : inverted)
        c = char(255 - uchar(c));
    QCOMPARE(written(texture), inverted);
}

void TestVellGLTexture::outOfMemory_data()
{
    QTest::addColumn<int>("failures");   // allocations that report GL_OUT_OF_MEMORY
    QTest::addColumn<bool>("gaveUp");
    QTest::newRow("enough memory") << 0 << false;
    QTest::newRow("recovery frees enough") << 1 << false;
    QTest::newRow("still out after recovery") << 2 << true;
}

void TestVellGLTexture::outOfMemory()
{
    QFETCH(int, failures);
    QFETCH(bool, gaveUp);
    int clears = 0, drops = 0, probes = 0, remaining = failures;
    QList<VellMessageBox::Message> messages;
    VellRecovery::setClearHistory([&] { ++clears; });
    VellRecovery::setDropInactiveTextures([&] { ++drops; });
    VellMemory::setProbe([&] {
        ++probes;
        return VellSystemResources{true, quint64(8) << 30, true, quint64(8) << 30};
    });
    VellMessageBox::setPresenter([&](const VellMessageBox::Message &m) {
        messages.append(m);
        return QMessageBox::Ok;
    });
    VellGLTexture::setAllocationErrorHook([&](GLenum reported) {
        return remaining-- > 0 ? GLenum(GL_OUT_OF_MEMORY) : reported;
    });

    // quit() ends the running loop with 0; otherwise the second timer does with 3.
    const QByteArray pixels = VellGLTestContext::patternBytes(3 * 2 * 4, 13);
    QByteArray out;
    bool failed = false;
    QTimer::singleShot(0, [&] {
        VellGLTexture2D texture(3, 2, words(pixels), GL_BGRA, false);
        failed = texture.failed();
        out = written(texture);
        QTimer::singleShot(0, [] { QCoreApplication::exit(3); });
    });
    const int exitCode = QCoreApplication::exec();

    VellGLTexture::setAllocationErrorHook(nullptr);
    VellMessageBox::setPresenter(nullptr);
    VellMemory::setProbe(nullptr);
    VellRecovery::setClearHistory(nullptr);
    VellRecovery::setDropInactiveTextures(nullptr);

    QCOMPARE(probes, 1);   // the machine's memory is checked before allocating
    QCOMPARE(clears, failures > 0 ? 1 : 0);
    QCOMPARE(drops, clears);
    QCOMPARE(exitCode, gaveUp ? 0 : 3);
    QCOMPARE(failed, gaveUp);
    QCOMPARE(out, gaveUp ? QByteArray() : pixels);
    QStringList shown;
    for (const VellMessageBox::Message &m : messages)
        shown << QString("%1%2: %3").arg(m.kind == VellMessageBox::About ? "about " : "").arg(m.title, m.text);
    QCOMPARE(shown, gaveUp ? QStringList{"about Error: Out of memory!"} : QStringList());
}

QTEST_MAIN(TestVellGLTexture)
#include "tst_vellgltexture.moc"
