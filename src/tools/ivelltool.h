#ifndef IVELLTOOL_H
#define IVELLTOOL_H

// The interfaces between the library, its hosts and the filter plug-ins, and
// the binary interface of a plug-in file.
//
// A tool is anything the user applies to an image. Tools live in plug-ins
// (".mt" shared objects) that VellToolManager loads; the library only calls
// the operations of IVellTool. The other interfaces are agreements between a
// host and its plug-ins: the library declares them so that both sides share
// one definition, and never calls them itself.

#include <QObject>
#include <QString>
#include <QStringList>

class QEvent;
class QWidget;
class VellContext;
class VellGLTexture2D;
class VellLayer;

// One tool. A plug-in's subclass fills the descriptive strings in its
// constructor. A tool is owned by nobody and lives as long as the process.
// GUI thread.
class IVellTool : public QObject
{
    Q_OBJECT

public:
    explicit IVellTool(QObject *parent = nullptr);
    ~IVellTool() override;

    // Starts working on the document; a tool that cannot work on it stays
    // inactive.
    virtual void active(VellContext *context) = 0;
    virtual void disActive() = 0;
    virtual void init() = 0;
    virtual void release() = 0;
    virtual QWidget *getWidget() { return nullptr; }   // the tool's own, or null
    virtual void toolUndo() {}
    virtual void toolRedo() {}
    virtual void afterUndo() {}
    virtual bool isActive() { return activeFlag; }
    // Whether the host should forward the named event to processEvent();
    // names compare without regard to case.
    virtual bool eventRegistered(QString event);
    virtual void processEvent(QString event) { Q_UNUSED(event) }

    QString getName() const { return name; }
    QString getToolType() const { return toolType; }
    QString getVersion() const { return version; }
    QString getInfo() const { return info; }
    QString getToolId() const { return toolId; }
    QString getPluginPath() const { return pluginPath; }
    void setPluginPath(const QString &path) { pluginPath = path; }
    QObject *getParent() const { return parentObject; }
    QStringList getRegisteredEvents() const { return registeredEvents; }

    // Asks for a host event by name (stored upper-cased; a name registered
    // twice is stored twice).
    void registerEvent(QString event);

    // Every event is taken as handled here; tools that post themselves
    // events override this.
    bool event(QEvent *event) override;

protected:
    QString name;                        // display name, and the tool's preset folder
    QString toolType = QStringLiteral("Undefined");   // the registry group
    QString toolId;                      // registry key, host action name, batch identifier
    QString info;                        // description (the document's tool tip)
    QString version;
    QString pluginPath;                  // folder of the plug-in file, set by the loader
    void *reserved = nullptr;            // not used by the library
    bool activeFlag = false;             // between a successful active() and disActive()
    QObject *parentObject = nullptr;     // the constructor's parent, not owned
    QStringList registeredEvents;        // upper-cased
};

// A tool that offers the host one operation more.
class IVellTool2 : public IVellTool
{
    Q_OBJECT

public:
    explicit IVellTool2(QObject *parent = nullptr) : IVellTool(parent) {}
    // Host and plug-in agree on its use (for example a tool's second
    // action); the library never calls it.
    virtual void execute2() = 0;
};

// A tool that works inside another one and needs no document of its own.
class IVellInsideTool : public IVellTool
{
    Q_OBJECT

public:
    explicit IVellInsideTool(QObject *parent = nullptr) : IVellTool(parent) {}
    void active(VellContext *context) override { Q_UNUSED(context) }
    // Runs the tool for the tool that contains it; agreed between host and
    // plug-in.
    virtual void insideRun(IVellTool *outer) = 0;
};

// A command on a document; VellCommandMarco runs a list of them as one.
class IVellCommand : public QObject
{
    Q_OBJECT

public:
    explicit IVellCommand(QObject *parent = nullptr) : QObject(parent) {}
    virtual void execute(VellContext *context) = 0;
};

// What a plug-in may ask of the host's user interface. The host implements
// it; the library never calls it.
class IVellUIManager
{
public:
    virtual ~IVellUIManager() = default;
    virtual QWidget *mainWindow() = 0;
    virtual void addDockWidget(QWidget *widget, const QString &title) = 0;
    virtual void removeDockWidget(QWidget *widget) = 0;
    virtual void showStatus(const QString &text) = 0;
    virtual void lockUI(const QString &owner, const QString &text) = 0;
    virtual void unlockUI() = 0;
    virtual void setProgress(int percent) = 0;
    virtual void refresh() = 0;
};

// A widget a plug-in hands to the host to be placed in its windows.
class IVellWidgetRegisterAble
{
public:
    virtual ~IVellWidgetRegisterAble() = default;
    virtual QWidget *registeredWidget() = 0;
};

// The browser of a filter's presets, with a thumbnail of each: the presets
// floor makes one for a tool (VellToolBase::setPresetsViewMaker) and the tool
// owns it and puts its widget under the tool's own.
class IVellPresetsView
{
public:
    virtual ~IVellPresetsView() = default;
    virtual QWidget *widget() = 0;
    // Whether the thumbnails are shown; only then are they rendered.
    virtual bool isExpanded() const = 0;
    // Renders each preset's thumbnail from `source`, a copy of the part of
    // `layer` the thumbnails show (valid during the call only).
    virtual void updatePreviews(VellLayer *layer, VellGLTexture2D *source) = 0;
};

// ---- The binary interface of a plug-in ----
//
// A plug-in is a shared object named "<anything>.mt" that exports, with C
// linkage (use VELL_PLUGIN_EXPORT):
//   void setInternational(QString language)       optional; called first with
//                                                  the language code of the
//                                                  settings ("de_DE", "" ...)
//   QStringList *getInstanceNames()                required; owned by the
//                                                  plug-in, copied by the loader
//   IVellTool *getInstance(QObject *parent, QString name)
//                                                  required; once per name, in
//                                                  order; null skips the name
// QString crosses the boundary by value: plug-in and library are built
// against the same Qt, as they must be to share QObject.
#define VELL_PLUGIN_EXPORT extern "C" Q_DECL_EXPORT

// The tools a plug-in offers, one entry each: the instance name and what
// makes the tool (a null maker, or one that returns null, makes the loader
// skip the name).
struct VellPluginEntry
{
    const char *name;                     // UTF-8
    IVellTool *(*make)(QObject *parent);
};

template<typename Tool>
IVellTool *vellMakeTool(QObject *parent)
{
    return new Tool(parent);
}

template<size_t N>
QStringList vellPluginNames(const VellPluginEntry (&entries)[N])
{
    QStringList names;
    for (const VellPluginEntry &entry : entries)
        names << QString::fromUtf8(entry.name);
    return names;
}

template<size_t N>
IVellTool *vellPluginInstance(const VellPluginEntry (&entries)[N], QObject *parent, const QString &name)
{
    for (const VellPluginEntry &entry : entries)
        if (name == QString::fromUtf8(entry.name))
            return entry.make ? entry.make(parent) : nullptr;
    return nullptr;
}

// The two required exports over an array of VellPluginEntry, each alone or
// both at once; VELL_PLUGIN_TOOL(Class, "Name") serves a plug-in of one tool.
#define VELL_PLUGIN_NAMES(entries)                                                   \
    VELL_PLUGIN_EXPORT QStringList *getInstanceNames()                               \
    {                                                                                \
        static QStringList names = vellPluginNames(entries);                        \
        return &names;                                                               \
    }
#define VELL_PLUGIN_INSTANCES(entries)                                               \
    VELL_PLUGIN_EXPORT IVellTool *getInstance(QObject *parent, QString name)         \
    {                                                                                \
        return vellPluginInstance(entries, parent, name);                            \
    }
#define VELL_PLUGIN_TOOLS(entries) VELL_PLUGIN_NAMES(entries) VELL_PLUGIN_INSTANCES(entries)
#define VELL_PLUGIN_TOOL(Class, toolName)                                            \
    namespace {                                                                      \
    const VellPluginEntry vellPluginEntries[] = {{toolName, vellMakeTool<Class>}};   \
    }                                                                                \
    VELL_PLUGIN_TOOLS(vellPluginEntries)

using VellSetInternationalFunction = void (*)(QString language);
using VellGetInstanceNamesFunction = QStringList *(*)();
using VellGetInstanceFunction = IVellTool *(*)(QObject *parent, QString name);

#endif // IVELLTOOL_H
