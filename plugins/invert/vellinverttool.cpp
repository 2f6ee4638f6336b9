#include "vellinverttool.h"

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

VELL_PLUGIN_EXPORT QStringList *getInstanceNames()
{
    static QStringList names{QStringLiteral("Invert")};
    return &names;
}

VELL_PLUGIN_EXPORT IVellTool *getInstance(QObject *parent, QString name)
{
    if (name == QLatin1String("Invert"))
        return new VellInvertTool(parent);
    return nullptr;
}
