// Render passes: one at a time, state put back, and the shader builder's
// defines. Needs an X server (xvfb-run -a).
#include "foundation/vellcodes.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellrenderpass.h"
#include "gpu/vellshaderbuilder.h"

#include "support/vellgltestcontext.h"

#include <QGLFramebufferObject>
#include <QGLShaderProgram>
#include <QtTest>

namespace {

const int kSize = 4;

// Fills the target of the open pass with one opaque colour.
void fill(float r, float g, float b)
{
    glClearColor(r, g, b, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

// The first texel's B, G, R, A bytes of an 8-bit colour texture.
QByteArray firstTexel(const VellGLTexture2D &texture)
{
    return VellGLTestContext::readTexture(texture.getId(), texture.getWidth(),
                                          texture.getHeight(), GL_BGRA, GL_UNSIGNED_BYTE, 4)
        .left(4);
}

QRect viewport()
{
    GLint v[4] = {};
    glGetIntegerv(GL_VIEWPORT, v);
    return QRect(v[0], v[1], v[2], v[3]);
}

QVector<float> projectionAndModelview()
{
    QVector<float> m(32);
    glGetFloatv(GL_PROJECTION_MATRIX, m.data());
    glGetFloatv(GL_MODELVIEW_MATRIX, m.data() + 16);
    return m;
}

const QByteArray kRed("\x00\x00\xff\xff", 4);
const QByteArray kBlue("\xff\x00\x00\xff", 4);
const QByteArray kGreen("\x00\xff\x00\xff", 4);

} // namespace

class TestVellRenderPass : public QObject
{
    Q_OBJECT
    VellGLTestContext gl;

private slots:
    void initTestCase()
    {
        QVERIFY(gl.isValid());
        QVERIFY(getGLExtensionFunctions().fboSupported());
    }

    // Whatever asks for the inner pass (a pass object on a texture, one on a
    // canvas framebuffer, or a framebuffer object's begin), it gets nothing, and
    // the outer pass still draws into its own target, not the window.
    void nestedPassIsRefused_data()
    {
        QTest::addColumn<int>("inner");
        QTest::newRow("pass on a texture") << 0;
        QTest::newRow("pass on a canvas framebuffer") << 1;
        QTest::newRow("framebuffer object begin") << 2;
    }
    void nestedPassIsRefused()
    {
        QFETCH(int, inner);
        gl.makeCurrent();
        VellGLTexture2D outerTarget(kSize, kSize, GL_BGRA, false);
        VellGLTexture2D innerTarget(kSize, kSize, GL_BGRA, false);
        VellGLFramebufferObject outerFbo(kSize, kSize);
        VellGLFramebufferObject innerFbo(kSize, kSize);
        QGLFramebufferObject canvasFbo(kSize, kSize, QGLFramebufferObject::NoAttachment,
                                       GL_TEXTURE_2D, GL_RGBA8);
        {
            VellRenderPass pass(&innerFbo, innerTarget.getId());
            QVERIFY(pass.isOpen());
            fill(0.0f, 1.0f, 0.0f);   // green: what the inner target holds before
        }
        QVERIFY(!VellRenderPass::isAnyOpen());
        {
            VellRenderPass outer(&outerFbo, outerTarget.getId());
            QVERIFY(outer.isOpen());
            QVERIFY(VellRenderPass::isAnyOpen());
            fill(1.0f, 0.0f, 0.0f);
            if (inner == 0) {
                VellRenderPass nested(&innerFbo, innerTarget.getId());
                QVERIFY(!nested.isOpen());
            } else if (inner == 1) {
                VellRenderPass nested(&canvasFbo);
                QVERIFY(!nested.isOpen());
                QVERIFY(!canvasFbo.isBound());
            } else {
                innerFbo.begin(innerTarget.getId());
                QVERIFY(!innerFbo.isActive());
                innerFbo.end();   // outside its own pass: nothing
            }
            fill(0.0f, 0.0f, 1.0f);   // still the outer target
        }
        QVERIFY(!VellRenderPass::isAnyOpen());
        QCOMPARE(firstTexel(outerTarget).toHex(), kBlue.toHex());
        QCOMPARE(firstTexel(innerTarget).toHex(), kGreen.toHex());

        // With the outer pass closed, the inner target can be drawn again.
        VellRenderPass after(&innerFbo, innerTarget.getId());
        QVERIFY(after.isOpen());
        fill(1.0f, 0.0f, 0.0f);
        glFinish();
        QCOMPARE(firstTexel(innerTarget).toHex(), kRed.toHex());
    }

    // A pass leaves the caller's viewport, matrices, enables and colour as it
    // found them, and binds the window's framebuffer again.
    void stateIsRestored()
    {
        gl.makeCurrent();
        glViewport(1, 2, 30, 40);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0.0, 7.0, 0.0, 9.0, -1.0, 1.0);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glTranslatef(3.0f, 5.0f, 0.0f);
        glDisable(GL_BLEND);
        glColor4f(0.25f, 0.5f, 0.75f, 1.0f);
        const QVector<float> matrices = projectionAndModelview();

        QGLFramebufferObject target(kSize, kSize, QGLFramebufferObject::NoAttachment, GL_TEXTURE_2D,
                                    GL_RGBA8);
        {
            VellRenderPass pass(&target);
            QVERIFY(pass.isOpen());
            QCOMPARE(pass.width(), kSize);
            QCOMPARE(viewport(), QRect(0, 0, kSize, kSize));
            glEnable(GL_BLEND);
            glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
            glMatrixMode(GL_MODELVIEW);
            glTranslatef(1.0f, 1.0f, 0.0f);
        }
        QVERIFY(!target.isBound());
        QCOMPARE(viewport(), QRect(1, 2, 30, 40));
        QVERIFY(!glIsEnabled(GL_BLEND));
        GLfloat colour[4];
        glGetFloatv(GL_CURRENT_COLOR, colour);
        QCOMPARE(colour[1], 0.5f);
        GLint mode = 0;
        glGetIntegerv(GL_MATRIX_MODE, &mode);
        QCOMPARE(mode, GLint(GL_MODELVIEW));
        QCOMPARE(projectionAndModelview(), matrices);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
    }

    // A define fixes what would otherwise be a uniform: the blending program
    // built with its mode as a constant has no "mode" uniform, and the named
    // codes reach every shader.
    void shaderDefines()
    {
        gl.makeCurrent();
        const QString blending = QStringLiteral(":/Resources/layerBlending.glsl_");
        const auto general = VellShaderBuilder::build(blending, QString());
        QVERIFY(general);
        QVERIFY(general->isLinked());
        QVERIFY(general->uniformLocation("mode") >= 0);
        const auto fixed = VellShaderBuilder::build(
            blending, QString(), {QStringLiteral("VELL_MODE %1").arg(VellBlend::Multiply)});
        QVERIFY(fixed);
        QVERIFY(fixed->isLinked());
        QCOMPARE(fixed->uniformLocation("mode"), -1);
        QVERIFY(!VellShaderBuilder::build(QStringLiteral(":/Resources/no-such.glsl_"), QString()));
    }
};

QTEST_MAIN(TestVellRenderPass)
#include "tst_vellrenderpass.moc"
