#include "history/vellsparsemodifymemo.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "foundation/vellcodes.h"
#include "picture/vellchannel.h"
#include "picture/vellsparsepicture.h"

VellSparseModifyMemo::VellSparseModifyMemo(VellContext *context, VellSparsePicture *pixels,
                                           int layer, QObject *parent)
    : VellHistoryMemo(context, tr("Painting Operation"), parent), pixels(pixels)
{
    type = VellMemoType::SparsePicture;
    layerIndex = layer;
}

VellSparseModifyMemo::~VellSparseModifyMemo()
{
    delete pixels;
}

bool VellSparseModifyMemo::undo()
{
    UndoMark mark(this);
    if (!mark.ok() || !pixels)
        return false;
    VellLayer *target = rasterLayer();
    if (!target)
        return false;
    if (pixels->getPixelWidth() == 4 || pixels->getPixelWidth() == 8) {
        if (!pixels->swapToPicture(target->getPictureHost()))
            return false;
        target->setLatestPlace(VellLayer::HostOnly);
        target->refresh();
        return true;
    }
    VellChannel *channel = context->isEditingSelection()
                               ? context->getChannelSelectionForEditing()
                               : target->getLayerMask();
    if (!channel || !pixels->swapToChannel(channel))
        return false;
    channel->update();
    return true;
}
