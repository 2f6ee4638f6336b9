#ifndef VELLACTIONMANAGER_H
#define VELLACTIONMANAGER_H

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

class QAction;
class QDomElement;

// The registry of the host's menu commands. The host hands it an XML command
// file at start-up; every direct "Action" child of the root becomes one
// QAction (text = its "name", data = its "guid"), found afterwards by name or
// by identifier. Commands are switched on and off in groups as the document
// state changes; a command in no group keeps the state it was created with.
//
// Owns its QActions (they are its children); the two tables only index them.
// GUI thread only; the shared instance is created lazily without locking.
class VellActionManager : public QObject
{
    Q_OBJECT

public:
    // The shared manager. The first call creates it (no parent) and loads the
    // command file at path; later calls ignore path. Library code passes an
    // empty path and relies on the host having called first.
    static VellActionManager *getInstance(const QString &path);
    // Whether the shared manager exists yet: library code that only adjusts
    // commands asks first, so that it never creates the manager with an empty
    // command file (and the error boxes that come with it) in a host that
    // registered no commands.
    static bool hasInstance() { return instance != nullptr; }

    // A manager of its own with no commands; fill it with loadContext().
    explicit VellActionManager(QObject *parent = nullptr);
    ~VellActionManager() override;

    // Adds the commands of the file at path, then disables every grouped
    // command. A file that cannot be opened or parsed is reported in a
    // critical message box; the manager keeps whatever it had.
    void loadContext(const QString &path);

    // Creates one enabled action per direct "Action" child of root; other
    // elements and deeper levels are ignored, a missing attribute reads as an
    // empty string. A later entry with a known name or identifier replaces the
    // earlier one in that table only (the earlier action stays a child).
    void pareHostElement(const QDomElement &root);

    QAction *getAction(const QString &guid) const;        // not owned; null when unknown
    QAction *getActionByName(const QString &name) const;  // not owned; null when unknown
    // Empty when unknown, or when the action has since been replaced in the
    // other table.
    QString getGuidByName(const QString &name) const;
    QString getNameByGuid(const QString &guid) const;

    // The names of a command group; empty for an unknown group. Group 5 names
    // "Feather" twice.
    static QStringList getActionNames(int group);

    bool setEnabled(const QString &name, bool enabled);   // false when there is no such command
    bool setEnabled(int group, bool enabled);             // every name of the group; always true

    // Disables groups 0 to 5: the state with no document open.
    void initActionStatus();

private:
    static VellActionManager *instance;

    QHash<QString, QAction *> m_actionsByGuid;   // not owned; children of this
    QHash<QString, QAction *> m_actionsByName;   // not owned; children of this
};

#endif // VELLACTIONMANAGER_H
