#ifndef VELLHISTORYMEMO_H
#define VELLHISTORYMEMO_H

#include <QObject>
#include <QString>

class QTemporaryFile;
class VellContext;
class VellLayer;
class VellLayerBase;
class VellLayerManager;
class VellMemoLoaderThread;

// One recorded edit of a document: enough to take the document from one
// state to its neighbour (VellMemoType says which kind and how the history
// steps over it). Made by the code that edits, usually before the edit, and
// handed to the document's VellHistory, which owns it from then on.
//
// Every memo names the layer it concerns by permanent index (-1 for none).
// undo() does nothing while the document is already undoing; otherwise the
// document is marked as undoing with this memo for the whole call (UndoMark)
// and the memo's layer is made active first.
//
// Bulk data (a picture, serialised layers) can go to a swap file and back:
// swapToDisk() and swapFromDisk() start a transfer on the memo's loader
// thread and return at once; the transfer completes in the memo's thread
// when the thread's event arrives, or at once through ensureInMemory(),
// which waits for the thread instead of the event. States of such a memo:
//   in memory  -> writing (transfer running) -> on disk (isInDisk())
//   on disk    -> loading (transfer running) -> in memory
// A failed write leaves it in memory, a failed read on disk; either is logged.
// The swap file is a QTemporaryFile child of the memo, made on the first
// swap-out, reused later and removed with the memo.
//
// GUI thread, apart from the loader's transfers.
class VellHistoryMemo : public QObject
{
    Q_OBJECT

public:
    VellHistoryMemo(VellContext *context, const QString &name, QObject *parent = nullptr);
    // Waits for a running transfer, so the thread never outlives the data.
    ~VellHistoryMemo() override;
    Q_DISABLE_COPY(VellHistoryMemo)

    QString getName() const { return name; }
    VellContext *getContext() const { return context; }
    bool isInDisk() const { return inDisk; }
    QTemporaryFile *getSwapFile() const { return swapFile; }   // owned here; null before a swap
    bool isTransferRunning() const { return transferRunning; }

    virtual int getLayerIndex() const { return layerIndex; }
    // Makes the change (or, for an exchanging memo, exchanges it back): true
    // when it did its work, false when it could not (already undoing, its
    // layer gone or of another kind, its data unreadable) and changed nothing.
    virtual bool undo() = 0;
    // Bytes the memo holds in memory while not swapped out.
    virtual qint64 memoryTaken() const = 0;
    virtual bool swapToDisk() = 0;
    virtual bool swapFromDisk() = 0;
    // Whether the memo holds the complete picture of that layer.
    virtual bool hasFullLayer(int layerIndex) const = 0;
    int getType() const { return type; }

    // Brings swapped-out data back and waits for it, finishing a transfer in
    // flight first. True when the data is in memory (always for memos that
    // never swap).
    bool ensureInMemory();

public slots:
    // The completion, for callers that learn of the end some other way than
    // the event.
    void onSwapFinished();

protected:
    bool event(QEvent *event) override;

    // The preamble and epilogue every undo() shares. Marks the document as
    // undoing with `memo` and activates the memo's layer; the destructor
    // clears the mark, so every way out of undo() clears it. ok() is false
    // (and nothing was marked) when the document was already undoing.
    class UndoMark
    {
    public:
        explicit UndoMark(VellHistoryMemo *memo);
        ~UndoMark();
        Q_DISABLE_COPY(UndoMark)
        bool ok() const { return marked; }

    private:
        VellContext *context = nullptr;
        bool marked = false;
    };

    VellLayerManager *layerManager() const;
    VellLayerBase *layer() const;     // the memo's layer in the stack, or null
    VellLayer *rasterLayer() const;   // the same when it is a raster layer

    // The transfer machinery for subclasses that swap. The subclass hands its
    // data to loader() (setPicture / setByteArray), then calls one of these;
    // each returns false, starting nothing, when a transfer is running or the
    // data is already where it is asked to go (or, for writing, no swap file
    // can be opened).
    VellMemoLoaderThread *loader();
    bool startWrite();
    bool startLoad();
    // Called in the memo's thread once the thread has finished: `ok` is the
    // loader's outcome. Writing that succeeded must free the memory copy.
    virtual void finishTransfer(bool load, bool ok);

    VellContext *context = nullptr;   // not owned
    int layerIndex = -1;
    int type = 0;
    bool inDisk = false;
    bool transferRunning = false;

private:
    void completeTransfer();

    QString name;
    QTemporaryFile *swapFile = nullptr;          // owned (QObject child)
    VellMemoLoaderThread *loaderThread = nullptr; // owned (QObject child)
};

#endif // VELLHISTORYMEMO_H
