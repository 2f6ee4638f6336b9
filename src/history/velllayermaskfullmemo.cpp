#include "history/velllayermaskfullmemo.h"

#include "document/velllayer.h"
#include "foundation/vellcodes.h"

#include <cstring>

VellLayerMaskFullMemo::VellLayerMaskFullMemo(VellContext *context, int layer, QObject *parent)
    : VellHistoryMemo(context, tr("Mask Change"), parent)
{
    type = VellMemoType::LayerMaskFull;
    layerIndex = layer;
    VellLayer *target = rasterLayer();
    VellLayerMask *mask = target ? target->getLayerMask() : nullptr;
    if (mask && mask->getData())
        bytes = QByteArray(reinterpret_cast<const char *>(mask->getData()),
                           int(mask->getByteCount()));
}

bool VellLayerMaskFullMemo::undo()
{
    UndoMark mark(this);
    VellLayer *target = rasterLayer();
    VellLayerMask *mask = target ? target->getLayerMask() : nullptr;
    if (!mark.ok() || bytes.isEmpty() || !mask || !mask->getData()
        || mask->getByteCount() != bytes.size())
        return false;
    const QByteArray present(reinterpret_cast<const char *>(mask->getData()), bytes.size());
    std::memcpy(mask->getData(), bytes.constData(), size_t(bytes.size()));
    bytes = present;
    mask->update();
    return true;
}
