#include "history/velllayermaskinvertmemo.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "foundation/vellcodes.h"

VellLayerMaskInvertMemo::VellLayerMaskInvertMemo(VellContext *context, int layer,
                                                 QObject *parent)
    : VellHistoryMemo(context, tr("Invert Mask"), parent)
{
    type = VellMemoType::LayerMaskFull;
    layerIndex = layer;
}

bool VellLayerMaskInvertMemo::undo()
{
    UndoMark mark(this);
    if (!mark.ok())
        return false;
    VellChannel *channel = nullptr;
    if (context->isEditingSelection()) {
        channel = context->getChannelSelectionForEditing();
    } else if (VellLayer *target = rasterLayer()) {
        channel = target->getLayerMask();
    }
    if (!channel || channel->isNull())
        return false;
    channel->invert();   // updates the texture too
    return true;
}
