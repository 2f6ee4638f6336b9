#ifndef VELLTOOLMANAGER_H
#define VELLTOOLMANAGER_H

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class IVellTool;
class QLibrary;

// The registry of tools, filled from the plug-ins of the tools folder.
//
// Tools are registered by type ("Filter", ...) and, inside a type, by their
// toolId; a later tool with the same type and id replaces the earlier one.
// loadTools() scans each folder directly inside the tools path (one level:
// files lying in the tools path itself are not plug-ins) for "*.mt" files,
// loads each, hands it the language of the settings and asks it for its
// tools. A file that does not load or lacks the exports is skipped.
//
// Process-wide singleton. Neither the tools nor the plug-in libraries that
// gave them are ever released: they live as long as the process. GUI thread.
class VellToolManager : public QObject
{
    Q_OBJECT

public:
    // Made on the first call, with that call's parent; installs the
    // library's translations first.
    static VellToolManager *getInstance(QObject *parent = nullptr);
    ~VellToolManager() override;

    QString getToolsPath() const { return toolsPath; }
    void setToolsPath(const QString &path) { toolsPath = path; }
    // Loads every plug-in below the tools path; returns how many tools
    // were registered.
    int loadTools();

    // Under the tool's own type.
    void regist(IVellTool *tool);
    void regist(const QString &type, IVellTool *tool);

    IVellTool *getTool(const QString &type, const QString &id) const;   // null when unknown
    // The tool of the first type, in the registry's order, that has the id.
    IVellTool *getTool(const QString &id) const;
    IVellTool *setCurrentTool(const QString &id);   // the tool, or null when unknown
    IVellTool *getCurrentTool() const { return currentTool; }
    QStringList getToolTypes() const;
    QList<IVellTool *> getTools(const QString &type) const;

    // Fills the canvas's tool hooks that are still empty, for the tool
    // working on the current document: whether there is one and whether it
    // is a filter, re-running a filter's preview after the view changed (when
    // it follows the wheel), and offering it the canvas's events. Made with
    // the manager; tests replace them.
    static void installCanvasHooks();

    // The language code of the settings ("language" in config.ini), empty
    // when none is set.
    static QString languageCode();

signals:
    // For each tool a plug-in yields, before it is registered.
    void loadingTool(QString name, QString version, QString info);

private:
    explicit VellToolManager(QObject *parent);
    // Loads one plug-in file; the number of tools it gave.
    int loadPlugin(const QString &filePath, const QString &language);

    static VellToolManager *instance;
    QHash<QString, QHash<QString, IVellTool *>> registry;   // type -> id -> tool (not owned)
    // Every tool ever registered, replaced ones included, and the plug-ins
    // that gave them: kept, never freed, for the life of the process.
    QList<IVellTool *> loadedTools;
    QList<QLibrary *> libraries;
    IVellTool *currentTool = nullptr;
    QString toolsPath;
};

#endif // VELLTOOLMANAGER_H
