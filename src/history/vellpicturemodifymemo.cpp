#include "history/vellpicturemodifymemo.h"

#include "document/velllayer.h"
#include "foundation/vellcodes.h"
#include "foundation/velllog.h"
#include "history/vellmemoloaderthread.h"
#include "picture/vellpicturehost.h"

#include <memory>

VellPictureModifyMemo::VellPictureModifyMemo(VellContext *context, VellPictureHost *source,
                                             int layer, bool adopt, QObject *parent)
    : VellHistoryMemo(context, QString(), parent)
{
    type = VellMemoType::PictureFull;
    layerIndex = layer;
    host = adopt ? source : (source ? new VellPictureHost(source) : nullptr);
    if (host) {
        width = int(host->getWidth());
        height = int(host->getHeight());
        pixelWidth = int(host->getPixelWidth());
    }
}

VellPictureModifyMemo::~VellPictureModifyMemo()
{
    // The thread may be writing from the host or reading a new one into it.
    if (isTransferRunning())
        loader()->wait();
    delete host;
}

qint64 VellPictureModifyMemo::memoryTaken() const
{
    return qint64(width) * height * pixelWidth;
}

bool VellPictureModifyMemo::swapToDisk()
{
    if (!host || transferRunning || inDisk)
        return false;
    loader()->setPicture(&host);
    return startWrite();
}

bool VellPictureModifyMemo::swapFromDisk()
{
    if (transferRunning || !inDisk)
        return false;
    loader()->setPicture(&host);
    return startLoad();
}

void VellPictureModifyMemo::finishTransfer(bool load, bool ok)
{
    if (!load) {
        if (ok) {
            delete host;   // its buffer goes back to the budget
            host = nullptr;
            inDisk = true;
        }
        return;   // a failed write keeps the picture here
    }
    if (!ok)
        return;   // logged by the loader; the picture stays unreadable
    if (!host || int(host->getWidth()) != width || int(host->getHeight()) != height
        || int(host->getPixelWidth()) != pixelWidth) {
        VellLog::Instance()->Log("Swap file of a picture memo holds another picture\n");
        delete host;
        host = nullptr;
        return;
    }
    inDisk = false;
}

bool VellPictureModifyMemo::undo()
{
    UndoMark mark(this);
    if (!mark.ok())
        return false;
    VellLayer *target = rasterLayer();
    if (!target || (!host && !inDisk))
        return false;
    if (!ensureInMemory() || !host) {
        VellLog::Instance()->Log("Picture memo of layer %d: the picture cannot be read back\n",
                                 layerIndex);
        return false;
    }
    // Deleted only once the layer holds the copy.
    const std::unique_ptr<VellPictureHost> replaced = target->takePictureHost();
    target->setVellPictureHost(new VellPictureHost(host));
    target->refresh();
    return true;
}
