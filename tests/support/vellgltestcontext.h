#ifndef VELLGLTESTCONTEXT_H
#define VELLGLTESTCONTEXT_H

// A GL context for tests: a hidden QGLWidget made current, with the
// extension table resolved from it. Needs a QApplication (QTEST_MAIN) and an
// X server (xvfb-run -a). Check isValid() in initTestCase: an invalid context
// fails silently and every GL call then does nothing.
//
//     VellGLTestContext gl;   // a member of the test class
//     void initTestCase() { QVERIFY(gl.isValid()); }

#include "gpu/glextensionfunctions.h"

#include <QByteArray>
#include <QGLWidget>
#include <QVector>

#include <memory>

class VellGLTestContext
{
public:
    VellGLTestContext() : widget(new QGLWidget)
    {
        if (!widget->isValid())
            return;
        widget->makeCurrent();
        getGLExtensionFunctions().resolve(widget->context());
    }

    bool isValid() const { return widget->isValid(); }
    void makeCurrent() { widget->makeCurrent(); }
    QGLWidget *glWidget() const { return widget.get(); }

    // Every error flag the driver has pending, oldest first; empty when the
    // code under test left none behind.
    static QVector<GLenum> takeErrors()
    {
        QVector<GLenum> errors;
        for (GLenum e = glGetError(); e != GL_NO_ERROR && errors.size() < 16; e = glGetError())
            errors.append(e);
        return errors;
    }

    // Level 0 of a GL_TEXTURE_2D name as tightly packed rows, read without
    // the code under test: `bytesPerPixel` must match format and type.
    static QByteArray readTexture(GLuint id, int width, int height, GLenum format, GLenum type,
                                  int bytesPerPixel)
    {
        QByteArray bytes(width * height * bytesPerPixel, '\0');
        GLint alignment = 4;
        glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glBindTexture(GL_TEXTURE_2D, id);
        glGetTexImage(GL_TEXTURE_2D, 0, format, type, bytes.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        glPixelStorei(GL_PACK_ALIGNMENT, alignment);
        return bytes;
    }

    // Deterministic bytes that differ between neighbouring pixels and rows.
    static QByteArray patternBytes(int count, int seed = 1)
    {
        QByteArray bytes(count, '\0');
        for (int i = 0; i < count; ++i)
            bytes[i] = char((i * 37 + seed * 101 + (i >> 7)) & 0xFF);
        return bytes;
    }

private:
    std::unique_ptr<QGLWidget> widget;
};

#endif // VELLGLTESTCONTEXT_H
