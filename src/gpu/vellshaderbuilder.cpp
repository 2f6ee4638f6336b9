#include "gpu/vellshaderbuilder.h"

#include "foundation/vellendecodetool.h"
#include "foundation/velllog.h"
#include "foundation/vellmessagebox.h"

#include <QGLShader>
#include <QGLShaderProgram>

std::unique_ptr<QGLShaderProgram> VellShaderBuilder::build(const QString &path,
                                                           const QString &logTitle,
                                                           const QStringList &defines)
{
    QString source = VellEnDecodeTool::loadShaderSource(path);
    if (source.isEmpty()) {
        VellLog::Instance()->Log("Shader %s could not be read\n", qPrintable(path));
        return nullptr;
    }
    if (!defines.isEmpty()) {
        const int firstLine = source.indexOf(QLatin1Char('\n'));
        if (!source.startsWith(QLatin1String("#version")) || firstLine < 0)
            return nullptr;
        QString lines;
        for (const QString &define : defines)
            lines += QStringLiteral("#define ") + define + QLatin1Char('\n');
        source.insert(firstLine + 1, lines);
    }
    auto program = std::make_unique<QGLShaderProgram>();
    auto *shader = new QGLShader(QGLShader::Fragment, program.get());   // owned by the program
    shader->compileSourceCode(source);
    const QString log = shader->log().trimmed();
    if (!log.isEmpty()) {
        if (logTitle.isEmpty())
            VellLog::Instance()->Log("Shader %s: %s\n", qPrintable(path), qPrintable(log));
        else
            VellMessageBox::about(logTitle, shader->log());
    }
    if (shader->isCompiled() && program->addShader(shader))
        program->link();
    return program;
}
