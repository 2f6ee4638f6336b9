#include "gpu/glextensionfunctions.h"
#include "gpu/vellgpumanager.h"

#include "foundation/vellglobalsettings.h"
#include "support/vellgltestcontext.h"

#include <QOpenGLContext>
#include <QtTest>

class TestVellGpuManager : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void extensionTable();
    void driverTexts_data();
    void driverTexts();
    void driverFields();
    void initWithoutCurrentContext();
    void memoryQueries_data();
    void memoryQueries();
    void memoryFigureFeedsSettings_data();
    void memoryFigureFeedsSettings();

private:
    VellGLTestContext gl;
};

void TestVellGpuManager::extensionTable()
{
    GLExtensionFunctions &f = getGLExtensionFunctions();
    QVERIFY(!f.resolve(nullptr));
    QVERIFY(!f.glslSupported() && !f.fboSupported() && !f.openGL15Supported());
    QVERIFY(f.resolve(gl.glWidget()->context()));
    QVERIFY(f.glslSupported() && f.fboSupported() && f.openGL15Supported());

    // Shifted or swapped slots would still all be non-null: call one entry of
    // each group and watch its effect.
    f.glActiveTexture(GL_TEXTURE1);
    GLint unit = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &unit);
    f.glActiveTexture(GL_TEXTURE0);
    QCOMPARE(unit, GLint(GL_TEXTURE1));

    GLuint fbo = 0;
    f.glGenFramebuffersEXT(1, &fbo);
    f.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, fbo);
    const GLenum status = f.glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT);
    f.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    f.glDeleteFramebuffersEXT(1, &fbo);
    QCOMPARE(status, GLenum(GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT_EXT));

    const GLhandleARB shader = f.glCreateShaderObjectARB(GL_FRAGMENT_SHADER_ARB);
    QVERIFY(shader != 0);
    f.glDeleteObjectARB(shader);
    QVERIFY(VellGLTestContext::takeErrors().isEmpty());
}

void TestVellGpuManager::driverTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<float>("version");
    QTest::addColumn<QString>("renderer");
    QTest::newRow("vendor suffix") << "2.1 NVIDIA-7.32.12" << 2.1f << "2.1 NVIDIA-7.32.12";
    QTest::newRow("three parts") << "4.1.0" << 4.1f << "4.1.0";
    QTest::newRow("two-digit minor") << "1.20" << 1.2f << "1.20";
    QTest::newRow("four parts, cut once") << "2.1.2.3" << 0.0f << "2.1.2.3";
    QTest::newRow("bus suffix") << "ATI Radeon/PCIe" << 0.0f << "ATI Radeon";
    QTest::newRow("first slash wins") << "GeForce/PCIe/SSE2" << 0.0f << "GeForce";
    QTest::newRow("empty") << "" << 0.0f << "";
}

void TestVellGpuManager::driverTexts()
{
    QFETCH(QString, text);
    QFETCH(float, version);
    QFETCH(QString, renderer);
    QCOMPARE(VellGpuManager::parseVersion(text), version);
    QCOMPARE(VellGpuManager::cutRenderer(text), renderer);
}

void TestVellGpuManager::driverFields()
{
    const VellGpuManager *m = VellGpuManager::getInstance();
    QVERIFY(m->isInitialized());
    QCOMPARE(m->version, QString::fromLatin1(reinterpret_cast<const char *>(glGetString(GL_VERSION))).toLower());
    QVERIFY(m->versionNumber >= 2.0f && m->glslVersionNumber >= 1.1f);
    QVERIFY(!m->vendor.isEmpty() && !m->renderer.isEmpty());
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    QCOMPARE(m->maxTextureWidth, maxSize);
    QCOMPARE(m->maxTextureHeight, maxSize);
}

// Asked before any window has a context, the manager borrows one and leaves
// nothing current behind.
void TestVellGpuManager::initWithoutCurrentContext()
{
    VellGpuManager *m = VellGpuManager::getInstance();
    const QString vendor = m->vendor;
    const qint32 maxSize = m->maxTextureWidth;
    gl.glWidget()->doneCurrent();
    m->vendor.clear();
    m->maxTextureWidth = -1;
    m->init();
    QVERIFY(!QOpenGLContext::currentContext());
    gl.makeCurrent();
    QCOMPARE(m->vendor, vendor);
    QCOMPARE(m->maxTextureWidth, maxSize);
}

void TestVellGpuManager::memoryQueries_data()
{
    QTest::addColumn<QString>("vendor");
    // "Intel Corporation" contains "ATI": the query reaches a driver without it.
    QTest::newRow("Intel reads as ATI") << "Intel Corporation";
    QTest::newRow("NVIDIA name, no NVX") << "NVIDIA Corporation";
}

// Mesa answers no vendor query whatever the vendor string claims: the pre-set
// -1 comes back and the refused query leaves no error behind.
void TestVellGpuManager::memoryQueries()
{
    QFETCH(QString, vendor);
    VellGpuManager *m = VellGpuManager::getInstance();
    const QString real = m->vendor;
    m->vendor = vendor;
    const unsigned int available = m->getAvailableMemory();
    const unsigned int total = m->getTotalMemory();
    m->vendor = real;
    QCOMPARE(available, 0xFFFFFFFFu);
    QCOMPARE(total, 0xFFFFFFFFu);
    QVERIFY(VellGLTestContext::takeErrors().isEmpty());
}

void TestVellGpuManager::memoryFigureFeedsSettings_data()
{
    QTest::addColumn<unsigned int>("freeKb");
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("pixels");
    QTest::newRow("unknown (-1) reads as plenty") << 0xFFFFFFFFu << 20000 << 256;
    QTest::newRow("just over 1.5 GiB") << 1572865u << 15000 << 128;
    QTest::newRow("exactly 1.5 GiB") << 1572864u << 10000 << 80;
    QTest::newRow("512 MiB") << 524288u << 7200 << 40;
}

// The manager installs its query into the settings when it is created.
void TestVellGpuManager::memoryFigureFeedsSettings()
{
    QFETCH(unsigned int, freeKb);
    QFETCH(int, limit);
    QFETCH(int, pixels);
    VellGpuManager::getInstance();
    VellGpuManager::setAvailableMemoryOverride([freeKb] { return freeKb; });
    VellGlobalSettings settings;
    settings.setDefault();
    VellGpuManager::setAvailableMemoryOverride(nullptr);
    QCOMPARE(settings.imageLimitX, limit);
    QCOMPARE(settings.imageLimitY, limit);
    QCOMPARE(settings.imageLimitPixel, pixels);
}

QTEST_MAIN(TestVellGpuManager)
#include "tst_vellgpumanager.moc"
