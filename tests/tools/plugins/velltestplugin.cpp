// Plug-ins for the tool manager's tests, one file built several ways
// (VELL_TEST_PLUGIN_KIND):
//   1 good: two tools of two types from three names, the middle one refused;
//   2 no getInstanceNames export;
//   3 every name refused;
//   4 one tool reusing the first tool's type and id.
// Each tool's info records the language the plug-in was handed.
#include "tools/ivelltool.h"

namespace {

QString receivedLanguage = QStringLiteral("<never set>");

class TestTool : public IVellTool
{
public:
    TestTool(const QString &toolName, const QString &type, const QString &id)
    {
        name = toolName;
        toolType = type;
        toolId = id;
        version = QStringLiteral("1.0");
        info = QStringLiteral("language:") + receivedLanguage;
    }
    void active(VellContext *) override { activeFlag = true; }
    void disActive() override { activeFlag = false; }
    void init() override {}
    void release() override {}
};

} // namespace

VELL_PLUGIN_EXPORT void setInternational(QString language)
{
    receivedLanguage = language;
}

#if VELL_TEST_PLUGIN_KIND != 2
VELL_PLUGIN_EXPORT QStringList *getInstanceNames()
{
    static QStringList names{QStringLiteral("first"), QStringLiteral("refused"), QStringLiteral("second")};
    return &names;
}
#endif

VELL_PLUGIN_EXPORT IVellTool *getInstance(QObject *, QString toolName)
{
#if VELL_TEST_PLUGIN_KIND == 1 || VELL_TEST_PLUGIN_KIND == 2
    if (toolName == QLatin1String("first"))
        return new TestTool(QStringLiteral("First"), QStringLiteral("Filter"), QStringLiteral("test.first"));
    if (toolName == QLatin1String("second"))
        return new TestTool(QStringLiteral("Second"), QStringLiteral("Paint"), QStringLiteral("test.second"));
#elif VELL_TEST_PLUGIN_KIND == 4
    if (toolName == QLatin1String("first"))
        return new TestTool(QStringLiteral("Replacement"), QStringLiteral("Filter"), QStringLiteral("test.first"));
#else
    Q_UNUSED(toolName)
#endif
    return nullptr;
}
