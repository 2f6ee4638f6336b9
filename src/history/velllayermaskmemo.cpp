#include "history/velllayermaskmemo.h"

#include "document/velllayer.h"
#include "foundation/vellcodes.h"
#include "picture/vellblockedsparsechannel.h"

VellLayerMaskMemo::VellLayerMaskMemo(VellContext *context, VellBlockedSparseChannel *part,
                                     int layer, QObject *parent)
    : VellHistoryMemo(context, tr("Mask Change"), parent), part(part)
{
    type = VellMemoType::LayerMask;
    layerIndex = layer;
}

VellLayerMaskMemo::~VellLayerMaskMemo()
{
    delete part;
}

bool VellLayerMaskMemo::undo()
{
    UndoMark mark(this);
    VellLayer *target = rasterLayer();
    if (!mark.ok() || !part || !target || !target->getLayerMask())
        return false;
    if (!part->swapToMask(target->getLayerMask()))
        return false;
    target->getLayerMask()->update(part->getRegion());
    return true;
}
