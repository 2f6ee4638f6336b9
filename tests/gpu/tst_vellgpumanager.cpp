#include "gpu/glextensionfunctions.h"
#include "gpu/vellgpumanager.h"

#include "foundation/vellglobalsettings.h"
#include "support/vellgltestcontext.h"

#include <QOpenGLContext>
#include <QtTest>

class TestVellGpuManager : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    // No query may leave a GL error for unrelated code to find.
    void cleanup() { QCOMPARE(VellGLTestContext::takeErrors().value(0), GLenum(GL_NO_ERROR)); }

    void extensionTable()
    {
        GLExtensionFunctions &f = getGLExtensionFunctions();
        for (QGLContext *context : {static_cast<QGLContext *>(nullptr), gl.glWidget()->context()}) {
            const bool resolved = context != nullptr;
            QCOMPARE(f.resolve(context), resolved);
            QCOMPARE(f.glslSupported(), resolved);
            QCOMPARE(f.fboSupported(), resolved);
            QCOMPARE(f.openGL15Supported(), resolved);
        }

        // Shifted or swapped slots would still be non-null: call one per group, watch its effect.
        GLint unit = 0;
        f.glActiveTexture(GL_TEXTURE1);
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
    }

    void driverTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<float>("version");
        QTest::addColumn<QString>("renderer");
        QTest::newRow("vendor suffix") << "2.1 NVIDIA-7.32.12" << 2.1f << "2.1 NVIDIA-7.32.12";
        QTest::newRow("three parts") << "4.1.0" << 4.1f << "4.1.0";
        QTest::newRow("four parts, cut once") << "2.1.2.3" << 0.0f << "2.1.2.3";
        QTest::newRow("first slash wins") << "GeForce/PCIe/SSE2" << 0.0f << "GeForce";
        QTest::newRow("empty") << "" << 0.0f << "";
    }
    void driverTexts()
    {
        QFETCH(QString, text);
        QTEST(VellGpuManager::parseVersion(text), "version");
        QTEST(VellGpuManager::cutRenderer(text), "renderer");
    }

    // The fields match the driver, also read with no context current: one is borrowed, none
    // left current. Mesa answers no memory query whatever the vendor claims, so -1 comes back
    // and the refused query leaves no error ("Intel Corporation" contains "ATI": queried too).
    void driver()
    {
        VellGpuManager *m = VellGpuManager::getInstance();
        GLint maxSize = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
        QVERIFY(m->isInitialized());
        QVERIFY(!m->vendor.isEmpty());
        QVERIFY(!m->renderer.isEmpty());
        QCOMPARE(m->version, QString(reinterpret_cast<const char *>(glGetString(GL_VERSION))).toLower());
        QVERIFY(m->versionNumber >= 2.0f);
        QVERIFY(m->glslVersionNumber >= 1.1f);
        QCOMPARE(m->maxTextureWidth, maxSize);
        QCOMPARE(m->maxTextureHeight, maxSize);

        const QString real = m->vendor;
        gl.glWidget()->doneCurrent();
        m->vendor.clear();
        m->maxTextureWidth = -1;
        m->init();
        QVERIFY(!QOpenGLContext::currentContext());
        gl.makeCurrent();
        QCOMPARE(m->vendor, real);
        QCOMPARE(m->maxTextureWidth, maxSize);
        for (const char *vendor : {"Intel Corporation", "NVIDIA Corporation"}) {
            m->vendor = vendor;
            QCOMPARE(m->getAvailableMemory(), VellGpuManager::kUnknownMemory);
            QCOMPARE(m->getTotalMemory(), VellGpuManager::kUnknownMemory);
        }
        m->vendor = real;
    }

    // Creating the manager installs its memory figure into the settings; the
    // unsigned "unknown" must arrive as -1, which reads as plenty.
    void memoryFigureFeedsSettings()
    {
        VellGpuManager::getInstance();
        for (const auto &figure : {qMakePair(VellGpuManager::kUnknownMemory, 20000), qMakePair(1572864u, 10000)}) {
            VellGpuManager::setAvailableMemoryOverride([figure] { return figure.first; });
            VellGlobalSettings settings;
            settings.setDefault();
            QCOMPARE(settings.imageLimitX, figure.second);
        }
        VellGpuManager::setAvailableMemoryOverride(nullptr);
    }
};

QTEST_MAIN(TestVellGpuManager)
#include "tst_vellgpumanager.moc"
