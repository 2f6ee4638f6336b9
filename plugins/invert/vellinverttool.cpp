#include "vellinverttool.h"

#include "tools/vellinternational.h"

#include <QCoreApplication>
#include <QTranslator>

#include <memory>

VellInvertTool::VellInvertTool(QObject *parent) : VellToolBase(parent)
{
    name = QStringLiteral("Invert");
    toolId = QStringLiteral("invert");
    version = QStringLiteral("1.0");
    info = tr("Turns every colour into its complement.");
    // The resource vell_add_plugin() makes from invert.glsl.
    shaderPath = QStringLiteral(":/invert/invert.glsl_");
}

// ---- What the tool manager asks of the plug-in ----

// Called by the host before getInstance, with the language of its settings.
// The translation stays installed while the plug-in is loaded; a language
// without a file (English among them) takes it away again.
VELL_PLUGIN_EXPORT void setInternational(QString language)
{
    static std::unique_ptr<QTranslator> installed;
    installed.reset(getTranslater(QStringLiteral(":/invert/invert_") + language + QStringLiteral(".qm")));
    if (installed)
        QCoreApplication::installTranslator(installed.get());
}

VELL_PLUGIN_TOOL(VellInvertTool, "Invert")
