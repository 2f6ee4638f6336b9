#include "history/vellmemolayerlistchange.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"

VellMemoLayerListChange::VellMemoLayerListChange(VellContext *context, VellLayerManager *manager,
                                                 QObject *parent)
    : VellHistoryMemo(context, tr("Layer List Change"), parent)
{
    type = VellMemoType::LayerList;
    if (manager) {
        layers = manager->getLayers();
        if (VellLayerBase *active = manager->currentActiveLayer())
            activeIndex = active->getPermanentIndex();
    }
}

bool VellMemoLayerListChange::undo()
{
    UndoMark mark(this);
    VellLayerManager *manager = layerManager();
    if (!mark.ok() || !manager)
        return false;
    const QVector<VellLayerBase *> present = manager->getLayers();
    VellLayerBase *active = manager->currentActiveLayer();
    const int presentActive = active ? active->getPermanentIndex() : -1;
    if (!manager->setLayerList(layers))
        return false;
    for (VellLayerBase *layer : present)
        if (!layers.contains(layer))
            if (auto *raster = qobject_cast<VellLayer *>(layer))
                raster->deleteTextures();
    layers = present;
    if (activeIndex != -1)
        manager->activeLayerByPermanentIndex(unsigned(activeIndex));
    activeIndex = presentActive;
    manager->updateLayerList();
    return true;
}
