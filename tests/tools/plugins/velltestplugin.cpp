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
    TestTool(const char *toolName, const char *type, const char *id)
    {
        name = QLatin1String(toolName);
        toolType = QLatin1String(type);
        toolId = QLatin1String(id);
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

namespace {

#if VELL_TEST_PLUGIN_KIND == 1 || VELL_TEST_PLUGIN_KIND == 2
const VellPluginEntry kTools[] = {
    {"first", [](QObject *) -> IVellTool * { return new TestTool("First", "Filter", "test.first"); }},
    {"refused", nullptr},
    {"second", [](QObject *) -> IVellTool * { return new TestTool("Second", "Paint", "test.second"); }}};
#elif VELL_TEST_PLUGIN_KIND == 4
const VellPluginEntry kTools[] = {
    {"first", [](QObject *) -> IVellTool * { return new TestTool("Replacement", "Filter", "test.first"); }},
    {"refused", nullptr},
    {"second", nullptr}};
#else
const VellPluginEntry kTools[] = {{"first", nullptr}, {"refused", nullptr}, {"second", nullptr}};
#endif

} // namespace

#if VELL_TEST_PLUGIN_KIND != 2
VELL_PLUGIN_NAMES(kTools)
#endif
VELL_PLUGIN_INSTANCES(kTools)
