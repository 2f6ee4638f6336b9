#ifndef VELLHISTORY_H
#define VELLHISTORY_H

#include <QObject>
#include <QVector>

class VellContext;
class VellHistoryMemo;

// A document's undo list: memos oldest first and a position in it. The
// first `current` memos are in effect; those from `current` on can be
// redone. Undo steps to backwardIndex, Redo to forwardIndex (-1: none); any
// memo can be stepped to, as a history panel does.
//
// How a step works depends on the target's kind (VellMemoType):
//  - exchanging kinds: every memo between the position and the target is
//    undone in turn (each is its own inverse), stopping downwards at the
//    first full picture above the target, which is undone instead;
//  - a full picture: the present picture is first saved as a new memo at
//    the position when nothing above the target can bring it back, then the
//    target's snapshot goes into the layer and the target leaves the list;
//  - a filter application: the newest full picture below it is restored and
//    the filters from there up to the target are replayed.
// Before anything changes, every memo the step will use is brought back from
// its swap file; when one cannot be read the step is refused (logged) and
// the document and the list stay as they were.
//
// Also keeps the list within limits: at most fullMemoLimit full pictures
// (older ones are dropped with what depends on them), and when the memory
// budget is exceeded, either the whole list goes (documents of several
// layers) or memos are swapped to disk from both ends inwards (one layer).
// Switches the host's Undo and Redo commands and emits historyChanged()
// after every change.
//
// Owns its memos. Not a QObject child of its document: the document owns
// and deletes it. GUI thread only.
class VellHistory : public QObject
{
    Q_OBJECT

public:
    // Listens to the memory budget's memoryNotEnough (automatic connection:
    // queued when a swap thread exceeds the budget).
    explicit VellHistory(VellContext *document, QObject *parent = nullptr);
    ~VellHistory() override;
    Q_DISABLE_COPY(VellHistory)

    // Takes ownership (null is ignored): drops the redo part, trims full
    // pictures, appends and makes the new memo the one Undo goes to.
    void pushNewMemo(VellHistoryMemo *memo);

    void stepBackward();   // Undo
    void stepForward();    // Redo
    // Makes the document's state the one the list describes at `index`;
    // outside the list nothing happens; while the document is undoing, the
    // user is told "System is undoing, please wait!" and nothing happens.
    void stepToMemo(int index);

    // The three stepping rules (no checks of the undoing flag; stepToMemo
    // does those), then the swap step under the names of the kinds.
    void stepToPictureFullMemo(int index);
    void stepToPictureParamMemo(int index);
    void undoToSwapType(int index);
    void stepToPictureSparseMemo(int index) { undoToSwapType(index); }
    void stepToSelectionMemo(int index) { undoToSwapType(index); }
    void stepToLayerListChangeMemo(int index) { undoToSwapType(index); }
    void stepToCanvasLayersChangeMemo(int index) { undoToSwapType(index); }
    void stepToLayerParamMemo(int index) { undoToSwapType(index); }
    void stepToLayerParamChangeMemo(int index) { undoToSwapType(index); }
    void stepToLayerMaskMemo(int index) { undoToSwapType(index); }
    void stepToLayerMaskCreateOrRemoveMemo(int index) { undoToSwapType(index); }

    bool isUndoAble() const;
    bool isRedoAble() const;
    int getMemoCount() const { return memos.size(); }
    VellHistoryMemo *getMemo(int index) const;   // null outside the list; owned here
    int indexOfMemo(const VellHistoryMemo *memo) const;
    int getCurrent() const { return current; }
    int getBackwardIndex() const { return backwardIndex; }
    int getForwardIndex() const { return forwardIndex; }

    // The newest applied memo of that layer (by layer index, or holding its
    // full picture); null when none.
    VellHistoryMemo *getLatestMemo(int layerIndex) const;
    // How many applied memos follow the layer's newest full picture; -1
    // without one. Tools take a new full picture when this reaches the
    // configuration's chainLimit.
    int getSequenceLength(int layerIndex) const;

    void clearRedoStack();
    void clearHistory();
    void setCurrentBackwardForwardMemo(int current, int backward, int forward);
    // The host's Undo and Redo commands follow isUndoAble()/isRedoAble(), or
    // the selection-edit history's while the selection is being edited.
    void updateAction();

signals:
    void historyChanged();

public slots:
    // need: bytes above the budget. Acts only for the current document, and
    // never in the middle of a step.
    void onMemoryNotEnough(int need);

private:
    int typeAt(int index) const;
    void deleteRange(int from, int to);   // inclusive
    // The present picture of the active raster layer as a memo: the
    // document's pending memo when it has one, else a new snapshot; null
    // without an active raster layer.
    VellHistoryMemo *takeSnapshot();
    bool bringIn(const QVector<int> &indices);   // ensureInMemory on each
    bool isCurrentDocument() const;
    // Starts swapping memos out, inwards from both ends of the list, until
    // `need` bytes are on their way to disk or none is left to swap.
    void swapOut(qint64 need);
    void readBackActiveLayer();
    void afterStep();

    VellContext *document = nullptr;   // not owned
    QVector<VellHistoryMemo *> memos;  // owned, oldest first
    int current = 0;
    int forwardIndex = -1;
    int backwardIndex = -1;
    // Set during a step: memory shortage waits, a clear is deferred to its end.
    bool stepping = false;
    bool clearPending = false;
};

#endif // VELLHISTORY_H
