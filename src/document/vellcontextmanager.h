#ifndef VELLCONTEXTMANAGER_H
#define VELLCONTEXTMANAGER_H

#include <QObject>
#include <QVector>

class VellContext;

// The process-wide list of open documents and which one is current; almost
// every operation of the library acts on getCurrentContext() and does nothing
// when it is null. The host registers, switches and destroys documents.
//
// Creating the manager installs the hooks through which the lower floors ask
// about the current document: the layers' stack index, the layer manager's
// document (quiet mode), the picture reader's document (batch and quiet
// mode), the layer manager's undo recording (the pending memo and a memo of
// the stack before each change, into the current document's history) and the
// recovery from exhausted memory, which clears the current document's history
// and drops its inactive layers' textures.
//
// Owns none of the documents. One per process, created on first use with no
// parent and never destroyed by the library. GUI thread only, no locking.
class VellContextManager : public QObject
{
    Q_OBJECT

public:
    static VellContextManager *getInstance();
    Q_DISABLE_COPY(VellContextManager)

    // Appends; neither checks for duplicates nor changes the current document.
    void addContext(VellContext *context);
    // Removes the first occurrence; removing the current document leaves none
    // current. No signal.
    void removeContext(VellContext *context);
    int indexOfContext(VellContext *context) const;   // the first position, or -1
    const QVector<VellContext *> &getContexts() const { return contexts; }

    // Makes the document at `index` current and emits contextChanged(); an
    // index outside the list, or a null entry, changes nothing and emits nothing.
    void setCurrentContext(int index);
    VellContext *getCurrentContext() const { return current; }

signals:
    void contextChanged();

private:
    VellContextManager();
    void installProbes();
    void clearCurrentHistory();
    void dropInactiveTextures();

    QVector<VellContext *> contexts;   // not owned
    VellContext *current = nullptr;    // one of contexts, or null
};

#endif // VELLCONTEXTMANAGER_H
