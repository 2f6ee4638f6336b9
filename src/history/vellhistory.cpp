#include "history/vellhistory.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellconfig.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "foundation/vellmessagebox.h"
#include "history/vellhistorymemo.h"
#include "history/vellpicturemodifymemo.h"
#include "history/vellselectionedithistory.h"
#include "presets/vellactionmanager.h"

namespace {

// Sets the flag for one step and puts it back, on every way out.
class SteppingScope
{
public:
    explicit SteppingScope(bool &flag) : flag(flag) { flag = true; }
    ~SteppingScope() { flag = false; }
    Q_DISABLE_COPY(SteppingScope)

private:
    bool &flag;
};

VellLayer *activeRaster(VellContext *document)
{
    if (!document || document->getLayerManager()->getLayerCount() == 0)
        return nullptr;
    return qobject_cast<VellLayer *>(document->getLayerManager()->getActiveLayer());
}

} // namespace

VellHistory::VellHistory(VellContext *document, QObject *parent)
    : QObject(parent), document(document)
{
    connect(VellMemory::getInstance(), &VellMemory::memoryNotEnough, this,
            &VellHistory::onMemoryNotEnough);
}

VellHistory::~VellHistory()
{
    qDeleteAll(memos);
}

VellHistoryMemo *VellHistory::getMemo(int index) const
{
    return index >= 0 && index < memos.size() ? memos.at(index) : nullptr;
}

int VellHistory::indexOfMemo(const VellHistoryMemo *memo) const
{
    return memos.indexOf(const_cast<VellHistoryMemo *>(memo));
}

int VellHistory::typeAt(int index) const
{
    const VellHistoryMemo *memo = getMemo(index);
    return memo ? memo->getType() : -1;
}

void VellHistory::deleteRange(int from, int to)
{
    if (from > to)
        return;
    for (int i = from; i <= to; ++i)
        delete memos.at(i);
    memos.remove(from, to - from + 1);
}

void VellHistory::pushNewMemo(VellHistoryMemo *memo)
{
    if (!memo)
        return;
    clearRedoStack();

    int fullCount = 0, oldestFull = -1;
    for (int i = 0; i < memos.size(); ++i) {
        if (memos.at(i)->getType() != VellMemoType::PictureFull)
            continue;
        if (oldestFull < 0)
            oldestFull = i;
        ++fullCount;
    }
    if (fullCount >= VellConfig::getInstance()->fullMemoLimit) {
        // The oldest full picture goes, with everything older and the filter
        // replays that need it, up to the next memo of its layer that stands
        // on its own.
        const int layerIndex = memos.at(oldestFull)->getLayerIndex();
        int keepFrom = oldestFull + 1;
        for (int i = oldestFull + 1; i < memos.size(); ++i) {
            if (memos.at(i)->getType() != VellMemoType::Param
                && memos.at(i)->getLayerIndex() == layerIndex) {
                keepFrom = i;
                break;
            }
        }
        deleteRange(0, keepFrom - 1);
    }

    memos.append(memo);
    current = memos.size();
    forwardIndex = -1;
    backwardIndex = memos.size() - 1;
    updateAction();
    emit historyChanged();

    // A memo books its bytes before it joins the list, so the shortage it
    // caused could not swap it out. A one-layer document looks again now;
    // with several layers the shortage already cleared what it could.
    VellMemory *memory = VellMemory::getInstance();
    const qint64 over = memory->getUsed() - memory->getLimit();
    if (over > 0 && isCurrentDocument() && document->getLayerManager()->getLayerCount() == 1)
        swapOut(over);
}

bool VellHistory::isCurrentDocument() const
{
    return document && VellContextManager::getInstance()->getCurrentContext() == document;
}

void VellHistory::stepBackward()
{
    if (isUndoAble()) {
        stepToMemo(backwardIndex);
        updateAction();
        document->getLayerManager()->unselectDisactiveLayers();
    } else {
        updateAction();
    }
}

void VellHistory::stepForward()
{
    if (isRedoAble()) {
        stepToMemo(forwardIndex);
        updateAction();
        document->getLayerManager()->unselectDisactiveLayers();
    } else {
        updateAction();
    }
}

void VellHistory::readBackActiveLayer()
{
    VellLayer *layer = activeRaster(document);
    if (layer && layer->getLatestPlace() == VellLayer::GpuNewer) {
        layer->fboTextureToHost(true);
        layer->setLatestPlace(VellLayer::BothAgree);
    }
}

void VellHistory::stepToMemo(int index)
{
    readBackActiveLayer();
    if (index < 0 || index >= memos.size())
        return;
    if (document->isUndoing()) {
        VellMessageBox::about(tr("Error"), tr("System is undoing, please wait!"));
        return;
    }
    {
        SteppingScope scope(stepping);
        switch (memos.at(index)->getType()) {
        case VellMemoType::PictureFull:
            stepToPictureFullMemo(index);
            break;
        case VellMemoType::Param:
            stepToPictureParamMemo(index);
            break;
        default:
            undoToSwapType(index);
            break;
        }
    }
    emit historyChanged();
    afterStep();
    if (clearPending) {
        clearPending = false;
        clearHistory();
    }
}

void VellHistory::afterStep()
{
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!canvas)
        return;
    if (VellGlobalSettings::getInstance()->isHistogramVisible())
        canvas->updateHistogram();
    canvas->calcVisibleRect();
    if (VellContext *currentDocument = VellContextManager::getInstance()->getCurrentContext())
        canvas->Render(currentDocument);
    canvas->update();
}

bool VellHistory::bringIn(const QVector<int> &indices)
{
    for (int i : indices) {
        if (!memos.at(i)->ensureInMemory()) {
            VellLog::Instance()->Log("History: memo %d cannot be read back from disk, step refused\n",
                                     i);
            return false;
        }
    }
    return true;
}

VellHistoryMemo *VellHistory::takeSnapshot()
{
    if (VellHistoryMemo *pending = document->getLastMemo()) {
        document->setLastMemo(nullptr);
        return pending;
    }
    VellLayer *layer = activeRaster(document);
    if (!layer || !layer->getPictureHost())
        return nullptr;
    return new VellPictureModifyMemo(document, layer->getPictureHost(),
                                     layer->getPermanentIndex(), false);
}

void VellHistory::undoToSwapType(int target)
{
    if (target < 0 || target >= memos.size())
        return;
    QVector<int> order;
    int position = 0;
    if (current <= target) {
        for (int i = current; i <= target; ++i)
            order.append(i);
        position = target + 1;
    } else {
        // A full picture above the target restores everything above it at
        // once; the memos between it and the position need no replay.
        int top = current - 1;
        for (int i = target + 1; i <= current - 1; ++i) {
            if (typeAt(i) == VellMemoType::PictureFull) {
                top = i;
                break;
            }
        }
        for (int i = top; i >= target; --i)
            order.append(i);
        position = target;
    }
    if (!bringIn(order))
        return;
    for (int i : order)
        memos.at(i)->undo();

    current = position;
    backwardIndex = position - 1;
    const int below = typeAt(backwardIndex);
    if (below == VellMemoType::PictureFull || below == VellMemoType::Param)
        --backwardIndex;
    forwardIndex = current;
}

void VellHistory::stepToPictureFullMemo(int target)
{
    if (target < 0 || target >= memos.size())
        return;
    bool saveNeeded = current >= memos.size();
    for (int i = target + 1; i < current; ++i) {
        if (typeAt(i) != VellMemoType::Param) {
            saveNeeded = true;
            break;
        }
    }
    if (!bringIn({target}))
        return;
    if (saveNeeded) {
        if (VellHistoryMemo *snapshot = takeSnapshot()) {
            const int at = qMin(current, memos.size());
            memos.insert(at, snapshot);
            if (at <= target)
                ++target;
        }
    }
    VellHistoryMemo *memo = memos.at(target);
    memo->undo();
    // Consumed: the snapshot just taken, or the memos above, lead back.
    memos.removeAt(target);
    delete memo;
    current = target;
    backwardIndex = target - 1;
    forwardIndex = target;
}

void VellHistory::stepToPictureParamMemo(int target)
{
    if (target < 0 || target >= memos.size())
        return;
    // The newest full picture below the target, which a step back replays from.
    int base = -1;
    for (int i = target - 1; i >= 0; --i)
        if (typeAt(i) == VellMemoType::PictureFull) {
            base = i;
            break;
        }
    if (target < current && base < 0) {
        readBackActiveLayer();
        return;   // nothing to replay from: the list stays as it is
    }
    if (current == memos.size()) {
        // The present picture is the end of the list: keep it.
        if (VellHistoryMemo *snapshot = takeSnapshot())
            memos.append(snapshot);
    }

    if (target < current) {
        QVector<int> order;
        for (int i = base; i <= target; ++i)
            order.append(i);
        if (bringIn(order)) {
            for (int i : order)
                memos.at(i)->undo();
            current = target + 1;
            backwardIndex = target - 1;
            forwardIndex = target + 1;
        }
    } else {
        bool replayFromHere = typeAt(current) == VellMemoType::PictureFull
                              || typeAt(current - 1) == VellMemoType::Param;
        for (int i = current + 1; i <= target - 1 && !replayFromHere; ++i)
            replayFromHere = typeAt(i) == VellMemoType::PictureFull;
        int first = current, last = target;
        if (!replayFromHere) {
            // The present picture is in no memo: keep it before replaying.
            VellHistoryMemo *snapshot = takeSnapshot();
            if (snapshot) {
                memos.insert(current, snapshot);
                first = current + 1;
                last = target + 1;
            }
        }
        QVector<int> order;
        for (int i = first; i <= last; ++i)
            order.append(i);
        if (bringIn(order)) {
            for (int i : order)
                memos.at(i)->undo();
            const int position = last + 1;
            current = position;
            backwardIndex = position - 2;
            forwardIndex = position;
            if (last == memos.size() - 1) {
                // The newest replay becomes the document's pending memo again.
                VellHistoryMemo *newest = memos.takeLast();
                delete document->getLastMemo();
                document->setLastMemo(newest);
                current = last;
            }
        }
    }
    readBackActiveLayer();
}

bool VellHistory::isUndoAble() const
{
    return !memos.isEmpty() && backwardIndex >= 0 && backwardIndex <= memos.size() - 1;
}

bool VellHistory::isRedoAble() const
{
    return !memos.isEmpty() && forwardIndex >= 0 && forwardIndex <= memos.size() - 1;
}

VellHistoryMemo *VellHistory::getLatestMemo(int layerIndex) const
{
    for (int i = qMin(current, memos.size()) - 1; i >= 0; --i) {
        VellHistoryMemo *memo = memos.at(i);
        if (memo->getLayerIndex() == layerIndex || memo->hasFullLayer(layerIndex))
            return memo;
    }
    return nullptr;
}

int VellHistory::getSequenceLength(int layerIndex) const
{
    for (int i = qMin(current, memos.size()) - 1; i >= 0; --i) {
        const VellHistoryMemo *memo = memos.at(i);
        if (memo->getType() == VellMemoType::PictureFull && memo->getLayerIndex() == layerIndex)
            return current - 1 - i;
    }
    return -1;
}

void VellHistory::clearRedoStack()
{
    if (current < memos.size())
        deleteRange(qMax(current, 0), memos.size() - 1);
}

void VellHistory::clearHistory()
{
    if (stepping) {
        clearPending = true;   // a memo of the list is at work right now
        return;
    }
    qDeleteAll(memos);
    memos.clear();
    current = 0;
    backwardIndex = -1;
    forwardIndex = -1;
    updateAction();
}

void VellHistory::setCurrentBackwardForwardMemo(int newCurrent, int backward, int forward)
{
    current = newCurrent;
    backwardIndex = backward;
    forwardIndex = forward;
    updateAction();
}

void VellHistory::updateAction()
{
    // Creating the action manager here would load an empty command file;
    // a host without commands has nothing to switch.
    if (!VellActionManager::hasInstance())
        return;
    bool undoAble = isUndoAble(), redoAble = isRedoAble();
    if (document && document->isEditingSelection() && document->getSelectionEditHistory()) {
        undoAble = document->getSelectionEditHistory()->isUndoAble();
        redoAble = document->getSelectionEditHistory()->isRedoAble();
    }
    VellActionManager *actions = VellActionManager::getInstance(QString());
    actions->setEnabled(QStringLiteral("Undo"), undoAble);
    actions->setEnabled(QStringLiteral("Redo"), redoAble);
}

void VellHistory::onMemoryNotEnough(int need)
{
    if (!isCurrentDocument() || stepping || document->isUndoing())
        return;
    const int layers = document->getLayerManager()->getLayerCount();
    if (layers > 1) {
        clearHistory();
    } else if (layers == 1) {
        qint64 left = need;
        VellHistoryMemo *first = getMemo(0);
        if (first && first->getType() == VellMemoType::CanvasAndLayers && !first->isInDisk()
            && !first->isTransferRunning()) {
            left -= first->memoryTaken();
            if (current == 0) {
                // Every redo memo was recorded on top of this one: without it
                // none of them can be replayed.
                clearHistory();
                left = 0;
            } else {
                memos.removeFirst();
                delete first;
                current -= 1;
                backwardIndex = qMax(-1, backwardIndex - 1);
                if (forwardIndex >= 0)
                    forwardIndex -= 1;
                updateAction();
            }
        }
        swapOut(left);
    }
    VellLog::Instance()->Log("Remove some history memos to reduce memory usage.\n");
}

void VellHistory::swapOut(qint64 left)
{
    // Inwards from both ends: the oldest undo memo, then the newest redo
    // memo; the memo at the position stays, as a redo needs it first. A memo
    // already being written counts as leaving.
    int low = 0, high = memos.size() - 1;
    bool fromLow = true;
    while (left > 0 && (low < current || high > current)) {
        VellHistoryMemo *memo = nullptr;
        if (fromLow && low < current)
            memo = memos.at(low++);
        else if (!fromLow && high > current)
            memo = memos.at(high--);
        fromLow = !fromLow;
        if (!memo || memo->isInDisk())
            continue;
        if (!memo->isTransferRunning())
            memo->swapToDisk();
        left -= memo->memoryTaken();
    }
    emit historyChanged();
}
