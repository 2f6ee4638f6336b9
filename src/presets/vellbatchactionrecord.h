#ifndef VELLBATCHACTIONRECORD_H
#define VELLBATCHACTIONRECORD_H

#include <QList>
#include <QObject>
#include <QString>

class QDataStream;
class VellBatchAction;
class VellContext;

// The ordered steps of a batch, and their file (a "vba" file): on a Qt 4.8
// QDataStream, int32 version, int32 count, then per entry an int32 type and
// that type's body (see the action classes).
//
// Mode 0 records: processAction() keeps what it is given. The host sets
// another mode while it replays, so replayed filters are not recorded again.
// While a document runs in batch mode, the filter tools hand the document's
// record (setDocumentRecord) each step they apply.
//
// Owns the actions in its list (clear() deletes them; removeAction() hands
// one back to the caller). GUI thread only.
class VellBatchActionRecord : public QObject
{
    Q_OBJECT

public:
    // The version is the global settings' currentVersion.
    explicit VellBatchActionRecord(QObject *parent = nullptr);
    ~VellBatchActionRecord() override;

    QList<VellBatchAction *> *getActionList() { return &actions; }
    int getMode() const { return mode; }
    void setMode(int value) { mode = value; }
    int getVersion() const { return version; }

    // Only in mode 0: appends the action (the record then owns it) and
    // emits actionPrepared, actionListChanged, actionAdded. In any other
    // mode the caller keeps it.
    void processAction(VellBatchAction *action);
    void addAction(VellBatchAction *action);
    // Takes the first occurrence off the list; the caller owns it again.
    void removeAction(VellBatchAction *action);
    // Moves the action by `offset` places when the target index i + offset
    // is inside the list. A positive offset lands one place short of it
    // (after the removal the target index is taken in the shortened list
    // minus one), so +1 changes nothing. Emits actionListChanged always.
    void moveAction(VellBatchAction *action, int offset);
    // The caller edited `changed` in place; announces it.
    void resetAction(VellBatchAction *old, VellBatchAction *changed);
    // Deletes every action, last first; no signal.
    void clear();

    // Always true.
    bool save(QDataStream &out);
    // Writes the file (truncating it). True even when the file could not be
    // opened: hosts that must know write through save(QDataStream &) to a
    // file they check themselves.
    bool save(const QString &path);
    // Clears, reads the version (stored as the global settings'
    // loadingVersion) and the entries. False, with a message box, for a file
    // newer than this record. Stops at the first entry that is not whole,
    // keeping the whole ones before it; an unknown type is skipped (it has
    // no body). loadProblem() says where reading went wrong.
    bool load(QDataStream &in);
    // An unreadable file reads as an empty stream: true, no actions.
    bool load(const QString &path);

    // After load(): the count the stream declared, and the 1-based entry at
    // which it stopped being a well-formed file: the first entry cut short,
    // corrupt or of an unknown type; 1 when the count itself is missing or
    // negative; 0 when every entry was read.
    int declaredCount() const { return declared; }
    int loadProblem() const { return problem; }

    // The document's record, where batch-mode filters record their steps
    // (not owned by either; null detaches). A document without one records
    // nothing.
    static void setDocumentRecord(VellContext *document, VellBatchActionRecord *record);
    static VellBatchActionRecord *documentRecord(VellContext *document);

    // Writes one action's type and body (only the type for an unknown one).
    static void writeAction(QDataStream &out, const VellBatchAction *action);

signals:
    void actionListChanged();
    void actionPrepared();
    void actionAdded();

private:
    QList<VellBatchAction *> actions;   // owned
    int mode = 0;
    int version = 0;
    int declared = 0;
    int problem = 0;
};

#endif // VELLBATCHACTIONRECORD_H
