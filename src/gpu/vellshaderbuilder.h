#ifndef VELLSHADERBUILDER_H
#define VELLSHADERBUILDER_H

#include <QString>
#include <QStringList>

#include <memory>

class QGLShaderProgram;

// The one way the library builds a shader program: a fragment shader from an
// enciphered ".glsl_" resource, compiled into a new program that owns it.
// Needs a current GL context (GUI thread).
class VellShaderBuilder
{
public:
    // `defines` ("NAME VALUE" each) go in as #define lines right after the
    // source's #version line, before the named codes, so a caller can fix a
    // uniform as a constant. A non-empty compile log is shown in a message
    // box titled `logTitle`, or only logged when the title is empty. Null
    // when the resource is unreadable or the defines have no #version line
    // to follow; otherwise the program, which the caller owns and checks
    // with isLinked().
    static std::unique_ptr<QGLShaderProgram> build(const QString &path, const QString &logTitle,
                                                   const QStringList &defines = QStringList());
};

#endif // VELLSHADERBUILDER_H
