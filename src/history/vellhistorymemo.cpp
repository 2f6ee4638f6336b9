#include "history/vellhistorymemo.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/velllog.h"
#include "history/vellmemoloaderthread.h"
#include "history/vellswapfinisheevent.h"

#include <QTemporaryFile>

#include <climits>

VellHistoryMemo::VellHistoryMemo(VellContext *context, const QString &name, QObject *parent)
    : QObject(parent), context(context), name(name)
{
}

VellHistoryMemo::~VellHistoryMemo()
{
    if (loaderThread)
        loaderThread->wait();
}

VellLayerManager *VellHistoryMemo::layerManager() const
{
    return context ? context->getLayerManager() : nullptr;
}

VellLayerBase *VellHistoryMemo::layer() const
{
    VellLayerManager *manager = layerManager();
    return manager && layerIndex >= 0 ? manager->getLayerByPermanentIndex(layerIndex) : nullptr;
}

VellLayer *VellHistoryMemo::rasterLayer() const
{
    return qobject_cast<VellLayer *>(layer());
}

VellHistoryMemo::UndoMark::UndoMark(VellHistoryMemo *memo)
{
    VellContext *document = memo->context;
    if (!document || document->isUndoing())
        return;
    context = document;
    marked = true;
    document->setUndoing(true, memo);
    if (memo->layerIndex >= 0)
        document->getLayerManager()->activeLayerByPermanentIndex(unsigned(memo->layerIndex));
}

VellHistoryMemo::UndoMark::~UndoMark()
{
    if (marked)
        context->setUndoing(false, nullptr);
}

VellMemoLoaderThread *VellHistoryMemo::loader()
{
    if (!loaderThread)
        loaderThread = new VellMemoLoaderThread(this);
    return loaderThread;
}

bool VellHistoryMemo::startWrite()
{
    if (transferRunning || inDisk)
        return false;
    if (!swapFile) {
        auto *file = new QTemporaryFile(this);
        if (!file->open()) {
            VellLog::Instance()->Log("No swap file for memo \"%s\": %s\n", qPrintable(name),
                                     qPrintable(file->errorString()));
            delete file;
            return false;
        }
        swapFile = file;
    }
    transferRunning = true;
    loader()->setFileName(swapFile->fileName());
    loaderThread->setWriteMode();
    loaderThread->start();
    return true;
}

bool VellHistoryMemo::startLoad()
{
    if (transferRunning || !inDisk || !swapFile)
        return false;
    transferRunning = true;
    loader()->setFileName(swapFile->fileName());
    loaderThread->setLoadMode();
    loaderThread->start();
    return true;
}

void VellHistoryMemo::finishTransfer(bool load, bool ok)
{
    Q_UNUSED(load)
    Q_UNUSED(ok)
}

void VellHistoryMemo::completeTransfer()
{
    // The event is posted before run() returns, and a waiting undo may have
    // completed the transfer already: only the first completion counts.
    if (!transferRunning || !loaderThread)
        return;
    loaderThread->wait();
    transferRunning = false;
    finishTransfer(loaderThread->isLoadMode(), loaderThread->succeeded());
}

void VellHistoryMemo::onSwapFinished()
{
    completeTransfer();
}

bool VellHistoryMemo::event(QEvent *e)
{
    if (e->type() == VellSwapFinisheEvent::eventType()) {
        VellLog::Instance()->Log("Swap Finished;\n");
        completeTransfer();
        e->accept();
        return true;
    }
    return QObject::event(e);
}

bool VellHistoryMemo::ensureInMemory()
{
    // Polling inDisk in this thread would never see the posted completion,
    // so wait for the thread itself and complete here.
    completeTransfer();
    if (!inDisk)
        return true;
    if (!swapFromDisk())
        return false;
    completeTransfer();
    return !inDisk;
}
