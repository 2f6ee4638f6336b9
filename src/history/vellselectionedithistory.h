#ifndef VELLSELECTIONEDITHISTORY_H
#define VELLSELECTIONEDITHISTORY_H

#include <QList>
#include <QObject>

class VellContext;
class VellHistoryMemo;

// The undo list used while a document's selection is edited as a grey-level
// image: a plain list of exchanging memos and the index of the last one in
// effect (-1 for none). The document's own history is left alone meanwhile;
// its Undo and Redo commands ask this list instead.
//
// Owns its memos. A QObject child of its document. GUI thread.
class VellSelectionEditHistory : public QObject
{
    Q_OBJECT

public:
    VellSelectionEditHistory(VellContext *document, QObject *parent = nullptr);
    ~VellSelectionEditHistory() override;
    Q_DISABLE_COPY(VellSelectionEditHistory)

    // Takes ownership (null is ignored); drops the memos after the index.
    void pushNewMemo(VellHistoryMemo *memo);
    void undo();
    void redo();
    bool isUndoAble() const { return index >= 0; }
    bool isRedoAble() const { return index >= -1 && index < memos.size() - 1; }
    void clear();

    int getMemoCount() const { return memos.size(); }
    int getIndex() const { return index; }

signals:
    void historyChanged();

private:
    void announce();

    VellContext *document = nullptr;   // not owned
    QList<VellHistoryMemo *> memos;    // owned
    int index = -1;
};

#endif // VELLSELECTIONEDITHISTORY_H
