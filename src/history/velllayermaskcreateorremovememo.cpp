#include "history/velllayermaskcreateorremovememo.h"

#include "document/velllayer.h"
#include "foundation/vellcodes.h"

VellLayerMaskCreateOrRemoveMemo::VellLayerMaskCreateOrRemoveMemo(VellContext *context, int layer,
                                                                 QObject *parent)
    : VellHistoryMemo(context, tr("Create Mask"), parent)
{
    type = VellMemoType::LayerMaskCreateOrRemove;
    layerIndex = layer;
    if (VellLayer *target = rasterLayer())
        mask = target->getLayerMask();
}

VellLayerMaskCreateOrRemoveMemo::~VellLayerMaskCreateOrRemoveMemo()
{
    // A removed mask has no parent: then it is ours.
    if (mask && !mask->parent())
        delete mask.data();
}

bool VellLayerMaskCreateOrRemoveMemo::undo()
{
    UndoMark mark(this);
    VellLayer *target = rasterLayer();
    if (!mark.ok() || !target)
        return false;
    if (mask) {
        if (mask->parent() && mask->parent() != target)
            return false;   // another layer's mask now
        target->setLayerMask(mask);
        mask = nullptr;
    } else {
        mask = target->getLayerMask();
        target->removeLayerMask();
    }
    return true;
}
