#include "tools/velltoolmanager.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "foundation/velldatalocation.h"
#include "tools/ivelltool.h"
#include "tools/vellinternational.h"
#include "tools/velltoolbase.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>
#include <QSettings>

#include <memory>

VellToolManager *VellToolManager::instance = nullptr;

VellToolManager *VellToolManager::getInstance(QObject *parent)
{
    if (!instance)
        instance = new VellToolManager(parent);
    return instance;
}

VellToolManager::VellToolManager(QObject *parent) : QObject(parent)
{
    // The core's texts are translated before any tool is made.
    setInternational();
    installCanvasHooks();
}

namespace {

// The tool working on the current document, if any.
IVellTool *documentTool()
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    return document ? document->getCurrentTool() : nullptr;
}

} // namespace

void VellToolManager::installCanvasHooks()
{
    VellCanvas::ViewHooks hooks = VellCanvas::viewHooks();
    if (!hooks.hasCurrentTool)
        hooks.hasCurrentTool = [] { return documentTool() != nullptr; };
    if (!hooks.currentToolIsToolBase)
        hooks.currentToolIsToolBase = [] { return qobject_cast<VellToolBase *>(documentTool()) != nullptr; };
    if (!hooks.reapplyTool)
        hooks.reapplyTool = [] {
            auto *filter = qobject_cast<VellToolBase *>(documentTool());
            if (!filter || !filter->isSupportWheel())
                return false;
            filter->actuallyApply();   // the preview for the new view
            return true;
        };
    if (!hooks.toolEvent)
        hooks.toolEvent = [](QEvent *event) {
            if (IVellTool *tool = documentTool())
                tool->event(event);
        };
    VellCanvas::setViewHooks(hooks);
}

VellToolManager::~VellToolManager()
{
    if (instance == this)
        instance = nullptr;
}

QString VellToolManager::languageCode()
{
    const QSettings settings(VellDataLocation::configFile(), QSettings::IniFormat);
    return settings.value(QStringLiteral("language")).toString();
}

int VellToolManager::loadTools()
{
    const QString language = languageCode();
    const QDir root(toolsPath);
    int loaded = 0;
    if (toolsPath.isEmpty() || !root.exists())
        return 0;
    const QFileInfoList entries = root.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QFileInfo &folder : entries) {
        qDebug() << folder.absoluteFilePath();
        const QDir dir(folder.absoluteFilePath());
        const QFileInfoList plugins =
            dir.entryInfoList(QStringList(QStringLiteral("*.mt")), QDir::Files, QDir::NoSort);
        for (const QFileInfo &plugin : plugins)
            loaded += loadPlugin(plugin.absoluteFilePath(), language);
    }
    return loaded;
}

int VellToolManager::loadPlugin(const QString &filePath, const QString &language)
{
    qDebug() << filePath;
    auto library = std::make_unique<QLibrary>(filePath);
    if (!library->load())
        return 0;
    if (auto setLanguage = reinterpret_cast<VellSetInternationalFunction>(library->resolve("setInternational")))
        setLanguage(language);
    auto getInstance = reinterpret_cast<VellGetInstanceFunction>(library->resolve("getInstance"));
    auto getNames = reinterpret_cast<VellGetInstanceNamesFunction>(library->resolve("getInstanceNames"));
    if (!getInstance || !getNames) {
        library->unload();
        return 0;
    }
    int count = 0;
    {
        // The names may point into the plug-in's own data: they must be gone
        // before an unused plug-in is unloaded.
        const QStringList *offered = getNames();
        const QStringList names = offered ? *offered : QStringList();
        const QString folder = QFileInfo(filePath).absolutePath();
        for (const QString &name : names) {
            IVellTool *tool = getInstance(nullptr, name);
            if (!tool)
                continue;
            tool->setPluginPath(folder);
            loadedTools.append(tool);
            emit loadingTool(tool->getName(), tool->getVersion(), tool->getInfo());
            regist(tool);
            ++count;
        }
    }
    if (count > 0)
        libraries.append(library.release());   // stays loaded, and its tools with it
    else
        library->unload();
    return count;
}

void VellToolManager::regist(IVellTool *tool)
{
    if (tool)
        regist(tool->getToolType(), tool);
}

void VellToolManager::regist(const QString &type, IVellTool *tool)
{
    if (!tool)
        return;
    registry[type].insert(tool->getToolId(), tool);
    if (!loadedTools.contains(tool))
        loadedTools.append(tool);
}

IVellTool *VellToolManager::getTool(const QString &type, const QString &id) const
{
    const auto group = registry.constFind(type);
    return group == registry.constEnd() ? nullptr : group->value(id, nullptr);
}

IVellTool *VellToolManager::getTool(const QString &id) const
{
    for (auto group = registry.constBegin(); group != registry.constEnd(); ++group)
        if (IVellTool *tool = group->value(id, nullptr))
            return tool;
    return nullptr;
}

IVellTool *VellToolManager::setCurrentTool(const QString &id)
{
    currentTool = getTool(id);
    return currentTool;
}

QStringList VellToolManager::getToolTypes() const
{
    return registry.keys();
}

QList<IVellTool *> VellToolManager::getTools(const QString &type) const
{
    return registry.value(type).values();
}
