#include "document/velllayermanager.h"

#include "document/velllayer.h"
#include "foundation/velllog.h"

#include <QDataStream>

#include <climits>

#include <memory>

namespace {

const char kRasterTag[] = "VellLayer";
// Written by text layers; their record can only be read by the text layer's
// own reader, so without it such a stream cannot be read on.
const char kTextTag[] = "VellTextLayer";

VellLayerManager::DocumentProbe &documentProbe()
{
    static VellLayerManager::DocumentProbe probe;
    return probe;
}

bool isQuiet(const std::optional<VellLayerManager::Document> &document)
{
    return document && document->quiet;
}

// Flushes the pending memo, then (with `withListChange`) captures the stack.
void record(const VellLayerManager::Document &document, VellLayerManager *manager,
            bool withListChange)
{
    if (document.flushPendingMemo)
        document.flushPendingMemo();
    if (withListChange && document.pushListChangeMemo)
        document.pushListChangeMemo(manager);
}

} // namespace

void VellLayerManager::setDocumentProbe(DocumentProbe probe)
{
    documentProbe() = std::move(probe);
}

std::optional<VellLayerManager::Document> VellLayerManager::currentDocument()
{
    const DocumentProbe &probe = documentProbe();
    return probe ? probe() : std::nullopt;
}

VellLayerManager::VellLayerManager() : VellLayerBase(QStringLiteral("VellManager"), nullptr)
{
}

VellLayerManager::~VellLayerManager()
{
    if (activeLayer)
        activeLayer->disactive(false);
    activeLayer = nullptr;
    layers.clear();
    selectedLayers.clear();
    // Layers deleted here can no longer reach onLayerChanged.
    const QVector<VellLayerBase *> owned = allLayers;
    allLayers.clear();
    qDeleteAll(owned);
}

int VellLayerManager::getLayerIndex(VellLayerBase *layer) const
{
    return layer ? layers.indexOf(layer) : -1;
}

VellLayerBase *VellLayerManager::getLayerByPermanentIndex(int permanentIndex) const
{
    for (VellLayerBase *layer : layers)
        if (layer->getPermanentIndex() == permanentIndex)
            return layer;
    return nullptr;
}

VellLayerBase *VellLayerManager::getActiveLayer()
{
    if (layers.isEmpty())
        return nullptr;
    if (!activeLayer)
        setActiveLayer(0);
    return activeLayer;
}

bool VellLayerManager::canOwn(const VellLayerBase *layer) const
{
    return layer->getPermanentIndex() != -1 || nextPermanentIndex < INT_MAX;
}

void VellLayerManager::own(VellLayerBase *layer)
{
    if (!allLayers.contains(layer))
        allLayers.append(layer);
    if (layer->getPermanentIndex() == -1)
        layer->setPermanentIndex(nextPermanentIndex++);   // canOwn() was asked first
}

void VellLayerManager::addLayer(VellLayerBase *layer, bool recordMemo)
{
    const std::optional<Document> document = currentDocument();
    if (!document || !layer || layers.contains(layer))
        return;
    if (!canOwn(layer)) {
        VellLog::Instance()->Log("VellLayerManager: no permanent index left for a new layer\n");
        return;
    }
    // An empty stack has nothing to restore, but the pending memo still
    // belongs before this change.
    if (recordMemo)
        record(*document, this, !layers.isEmpty());
    addToStack(layer, document->quiet);
}

void VellLayerManager::addToStack(VellLayerBase *layer, bool quiet)
{
    if (!layers.isEmpty() && !activeLayer)
        activate(0, quiet);
    const int above = activeLayer ? layers.indexOf(activeLayer) + 1 : layers.size();
    layers.insert(above, layer);
    own(layer);
    if (!quiet)
        emit layerListChanged();
    activate(above, quiet);
    unselectDisactiveLayers();
    // Unique: a layer taken off and added again (undo) is already connected.
    connect(layer, &VellLayerBase::layerChanged, this, &VellLayerManager::onLayerChanged,
            Qt::UniqueConnection);
}

void VellLayerManager::insertLayer(VellLayerBase *layer, int index, bool recordMemo)
{
    Q_UNUSED(recordMemo)   // the caller records, as it activates and signals
    if (!currentDocument() || !layer || layers.contains(layer) || index < 0
        || index > layers.size() || !canOwn(layer))
        return;
    layers.insert(index, layer);
    own(layer);
}

void VellLayerManager::deleteLayer(VellLayerBase *layer, bool recordMemo)
{
    const std::optional<Document> document = currentDocument();
    const int index = getLayerIndex(layer);
    if (!document || index < 0)
        return;
    if (recordMemo && !document->quiet)
        record(*document, this, true);

    activate(index > 0 ? index - 1 : index + 1, document->quiet);
    // The only layer has no neighbour to take over; it still stops being
    // active, so that adding it back (undo) activates it afresh.
    if (!activeLayer)
        layer->disactive(true);
    if (auto *raster = qobject_cast<VellLayer *>(layer)) {
        raster->deleteTextures();   // reads newer GPU pixels back first
        raster->setLatestPlace(VellLayer::HostOnly);
    }
    layers.removeAt(index);
    updateSelectedLayers();
    if (document->quiet) {
        allLayers.removeAll(layer);
        delete layer;
    } else {
        emit layerListChanged();
    }
}

void VellLayerManager::moveLayer(VellLayerBase *layer, int offset, bool recordMemo)
{
    const std::optional<Document> document = currentDocument();
    const int from = getLayerIndex(layer);
    const qint64 to = qint64(from) + offset;
    if (!document || from < 0 || to < 0 || to >= layers.size() || offset == 0)
        return;
    if (recordMemo)
        record(*document, this, true);
    layers.removeAt(from);
    layers.insert(int(to), layer);
    updateSelectedLayers();   // keeps stack order
    if (!document->quiet)
        emit layerListChanged();
}

void VellLayerManager::setActiveLayer(unsigned int index)
{
    const std::optional<Document> document = currentDocument();
    if (!document)
        return;
    // -1 arrives as the largest unsigned value, so it lands here too.
    activate(index < unsigned(layers.size()) ? int(index) : -1, document->quiet);
}

void VellLayerManager::activate(int index, bool quiet)
{
    if (index < 0 || index >= layers.size()) {
        activeLayer = nullptr;
        return;
    }
    VellLayerBase *incoming = layers[index];
    if (incoming == activeLayer) {
        const auto *raster = qobject_cast<const VellLayer *>(incoming);
        if (raster && raster->getEntireTexture())
            return;
    }
    if (activeLayer && activeLayer != incoming)
        activeLayer->disactive(VellLayer::shouldDropFullTexture(incoming));
    activeLayer = incoming;
    incoming->active();
    incoming->setSelected(true);
    updateSelectedLayers();
    if (!quiet) {
        emit layerActive(index);
        emit layerListChanged();
    }
}

void VellLayerManager::activeLayerByPermanentIndex(unsigned int permanentIndex)
{
    if (permanentIndex > unsigned(INT_MAX))
        return;
    if (VellLayerBase *layer = getLayerByPermanentIndex(int(permanentIndex)))
        setActiveLayer(unsigned(layers.indexOf(layer)));
}

void VellLayerManager::updateSelectedLayers()
{
    selectedLayers.clear();
    for (VellLayerBase *layer : layers)
        if (layer->isSelected())
            selectedLayers.append(layer);
}

void VellLayerManager::unselectDisactiveLayers()
{
    for (VellLayerBase *layer : layers)
        if (layer != activeLayer)
            layer->setSelected(false);
    updateSelectedLayers();
    emit layerListChanged();
}

void VellLayerManager::updateLayerList()
{
    if (!isQuiet(currentDocument()))
        emit layerListChanged();
}

bool VellLayerManager::setLayerList(const QVector<VellLayerBase *> &stack)
{
    for (int i = 0; i < stack.size(); ++i)
        if (!allLayers.contains(stack.at(i)) || stack.indexOf(stack.at(i)) != i)
            return false;
    if (activeLayer && !stack.contains(activeLayer)) {
        activeLayer->disactive(true);
        activeLayer = nullptr;
    }
    layers = stack;
    for (VellLayerBase *layer : layers)
        connect(layer, &VellLayerBase::layerChanged, this, &VellLayerManager::onLayerChanged,
                Qt::UniqueConnection);
    updateSelectedLayers();
    return true;
}

void VellLayerManager::deleteFullTextureInDisactiveLayers()
{
    for (VellLayerBase *layer : layers)
        if (layer != activeLayer)
            if (auto *raster = qobject_cast<VellLayer *>(layer))
                raster->deleteFullTexture();
}

void VellLayerManager::onLayerChanged()
{
    const int index = getLayerIndex(qobject_cast<VellLayerBase *>(sender()));
    if (index < 0 || isQuiet(currentDocument()))
        return;
    emit layerChange(index);
    emit layerListChanged();
}

QDataStream &operator<<(QDataStream &out, VellLayerManager *manager)
{
    if (!manager) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    QVector<VellLayer *> written;
    for (VellLayerBase *layer : manager->getLayers())
        if (auto *raster = qobject_cast<VellLayer *>(layer))
            written.append(raster);
    out << qint32(manager->getNextPermanentIndex()) << qint32(written.size());
    for (VellLayer *layer : written)
        out << QString::fromLatin1(kRasterTag) << layer;
    return out;
}

QDataStream &operator>>(QDataStream &in, VellLayerManager **manager)
{
    if (!manager)
        return in;
    *manager = nullptr;
    qint32 nextIndex = 0, count = 0;
    in >> nextIndex >> count;
    if (in.status() != QDataStream::Ok)
        return in;
    if (nextIndex < 0 || count < 0) {
        VellLog::Instance()->Log("VellLayerManager: corrupt stream header %d, %d\n", nextIndex, count);
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    // Nothing is reserved for `count`: every entry must arrive before it costs
    // anything, so a corrupt count only ends the loop with a read failure.
    std::unique_ptr<VellLayerManager> result(new VellLayerManager);
    result->nextPermanentIndex = nextIndex;
    for (qint32 i = 0; i < count; ++i) {
        QString tag;
        in >> tag;
        if (in.status() != QDataStream::Ok)
            return in;
        if (tag == QLatin1String(kTextTag)) {
            VellLog::Instance()->Log("VellLayerManager: cannot read a text layer\n");
            in.setStatus(QDataStream::ReadCorruptData);
            return in;
        }
        if (tag != QLatin1String(kRasterTag))
            continue;   // an entry of an unknown kind carries no record
        VellLayer *layer = nullptr;
        in >> &layer;
        if (!layer)
            return in;   // the layer's reader has set the status
        if (!result->canOwn(layer)) {
            // A layer without an index in a stack that has handed out the last one.
            VellLog::Instance()->Log("VellLayerManager: corrupt stream (no permanent index left)\n");
            delete layer;
            in.setStatus(QDataStream::ReadCorruptData);
            return in;
        }
        result->addToStack(layer, true);   // a manager being read has no listeners
        layer->setLatestPlace(VellLayer::HostOnly);
    }
    *manager = result.release();
    return in;
}
