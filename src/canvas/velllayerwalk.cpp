#include "canvas/velllayerwalk.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"
#include "picture/vellpicturehost.h"

namespace {

bool hasPixels(const VellLayer *raster)
{
    const VellPictureHost *host = raster->getPictureHost();
    return host && !host->isNull() && host->getWidth() > 0 && host->getHeight() > 0;
}

// Whether `layer` is drawn in `composite`, and how.
bool place(VellDrawnLayer *drawn, VellLayerWalk::Composite composite, bool showToolPreview,
           const VellLayerBase *active)
{
    VellLayerBase *layer = drawn->layer;
    VellLayer *raster = drawn->raster;
    switch (composite) {
    case VellLayerWalk::Display:
        if (!layer->getThumbTexture()
            || (layer->getType() == VellLayerType::Raster && (!raster || !raster->getPictureHost())))
            return false;
        drawn->program = layer->needShaderBlending() ? VellDrawnLayer::Blending
                                                     : VellDrawnLayer::PlainOver;
        drawn->source = raster && raster == active && raster->getEntireTexture() && !showToolPreview
                            ? VellDrawnLayer::EntireTexture
                            : VellDrawnLayer::Thumb;
        return true;
    case VellLayerWalk::DisplayPart:
        if (!raster || !layer->getThumbTexture())
            return false;
        drawn->program = VellDrawnLayer::PlainOver;
        drawn->source = VellDrawnLayer::Thumb;
        return true;
    case VellLayerWalk::Export:
        // A text layer without fonts or text lays out to an empty rectangle.
        if (raster ? !hasPixels(raster) : (!drawn->text || drawn->text->getDocumentRect().isEmpty()))
            return false;
        drawn->program = VellDrawnLayer::Blending;
        drawn->source = VellDrawnLayer::FullResolution;
        return true;
    case VellLayerWalk::Histogram:
        if (!raster)
            return false;
        drawn->program = VellDrawnLayer::PlainOver;
        drawn->source = VellDrawnLayer::HistogramThumb;
        return true;
    }
    return false;
}

// The layer as a raster layer when it is one by type and by class.
VellLayer *rasterOf(VellLayerBase *layer)
{
    return layer->getType() == VellLayerType::Raster ? qobject_cast<VellLayer *>(layer) : nullptr;
}

VellTextLayer *textOf(VellLayerBase *layer)
{
    return layer->getType() == VellLayerType::Text ? qobject_cast<VellTextLayer *>(layer) : nullptr;
}

} // namespace

QVector<VellDrawnLayer> VellLayerWalk::drawnLayers(const VellContext *document,
                                                   Composite composite, bool showToolPreview,
                                                   const VellLayerBase *drawnElsewhere)
{
    QVector<VellDrawnLayer> drawn;
    VellLayerManager *manager = document ? document->getLayerManager() : nullptr;
    if (!manager)
        return drawn;
    // Asking for the active layer activates the bottom one when none is
    // active, which only the display composite may do.
    const VellLayerBase *active = composite == Display ? manager->getActiveLayer() : nullptr;
    const QVector<VellLayerBase *> &layers = manager->getLayers();
    for (int i = 0; i < layers.size(); ++i) {
        VellLayerBase *layer = layers[i];
        if (!layer || !layer->visible || layer->excluded)
            continue;
        if (layer == drawnElsewhere && (composite == Display || composite == DisplayPart))
            continue;
        VellDrawnLayer entry;
        entry.index = i;
        entry.layer = layer;
        entry.raster = rasterOf(layer);
        entry.text = textOf(layer);
        entry.mode = i == 0 ? int(VellBlend::Normal) : layer->getBlendMode();
        entry.opacity = layer->getAlpha();
        entry.masked = entry.raster && entry.raster->hasLayerMask();
        if (place(&entry, composite, showToolPreview, active))
            drawn.append(entry);
    }
    return drawn;
}

QVector<VellLayer *> VellLayerWalk::maskOverlays(const VellContext *document)
{
    QVector<VellLayer *> overlays;
    VellLayerManager *manager = document ? document->getLayerManager() : nullptr;
    if (!manager)
        return overlays;
    for (VellLayerBase *layer : manager->getLayers()) {
        VellLayer *raster = layer ? rasterOf(layer) : nullptr;
        if (raster && raster->getPictureHost() && raster->getThumbTexture()
            && raster->getLayerMaskTexture() && raster->isLayerMaskVisible())
            overlays.append(raster);
    }
    return overlays;
}
