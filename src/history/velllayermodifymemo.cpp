#include "history/velllayermodifymemo.h"

#include "document/velllayerbase.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"

VellLayerModifyMemo::VellLayerModifyMemo(VellContext *context, VellLayerBase *layer,
                                         QObject *parent)
    : VellLayerModifyMemo(context, QVector<VellLayerBase *>{layer}, parent)
{
}

VellLayerModifyMemo::VellLayerModifyMemo(VellContext *context,
                                         const QVector<VellLayerBase *> &layers, QObject *parent)
    : VellHistoryMemo(context, tr("Layer Change"), parent)
{
    type = VellMemoType::LayerModify;
    for (const VellLayerBase *layer : layers)
        if (layer)
            record(layer);
    layerIndex = getLayerIndex();
}

void VellLayerModifyMemo::record(const VellLayerBase *layer)
{
    VellLayerParam param;
    param.permanentIndex = layer->getPermanentIndex();
    param.name = layer->getLayerName();
    param.position = layer->getPosition();
    param.blendMode = layer->getBlendMode();
    param.visible = layer->visible;
    param.opacity = layer->getAlpha();
    if (const auto *text = qobject_cast<const VellTextLayer *>(layer))
        param.direction = text->getDirection();
    records.append(param);
}

int VellLayerModifyMemo::getLayerIndex() const
{
    return records.size() == 1 ? records.first().permanentIndex : -1;
}

bool VellLayerModifyMemo::undo()
{
    UndoMark mark(this);
    VellLayerManager *manager = layerManager();
    if (!mark.ok() || !manager)
        return false;
    for (VellLayerParam &param : records) {
        VellLayerBase *layer = manager->getLayerByPermanentIndex(param.permanentIndex);
        if (!layer)
            continue;
        VellLayerParam present;
        present.permanentIndex = param.permanentIndex;
        present.name = layer->getLayerName();
        present.position = layer->getPosition();
        present.blendMode = layer->getBlendMode();
        present.visible = layer->visible;
        present.opacity = layer->getAlpha();
        auto *text = qobject_cast<VellTextLayer *>(layer);
        if (text)
            present.direction = text->getDirection();
        // The name last: it announces the change to the layers panel.
        layer->setPosition(param.position);
        layer->setBlendMode(param.blendMode);
        layer->visible = param.visible;
        layer->setAlpha(param.opacity);
        if (text)
            text->setDirection(param.direction);
        layer->setLayerName(param.name);
        param = present;
    }
    return true;
}
