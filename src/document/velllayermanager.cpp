#include "document/velllayermanager.h"

#include "dialogs/vellpixelatetextlayerwidget.h"
#include "document/velllayer.h"
#include "document/velltextlayer.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"

#include <QDataStream>
#include <QPainter>

#include <algorithm>
#include <climits>
#include <cstring>

#include <memory>

namespace {

const char kRasterTag[] = "VellLayer";
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

void VellLayerManager::pixelateTextLayer(int index)
{
    if (index >= 0 && index < layers.size())
        if (auto *text = qobject_cast<VellTextLayer *>(layers[index]))
            pixelateTextLayer(text);
}

void VellLayerManager::pixelateTextLayer(VellTextLayer *textLayer)
{
    const int index = getLayerIndex(textLayer);
    const std::optional<Document> document = currentDocument();
    const std::optional<VellTextLayer::Canvas> canvas = VellTextLayer::currentCanvas();
    if (index < 0 || !document || !canvas)
        return;
    const QImage image = textLayer->renderText(false, 1.0f);
    if (image.isNull())
        return;

    VellPixelateTextLayerWidget dialog;
    if (dialog.exec() != QDialog::Accepted)
        return;
    const int documentWidth = canvas->documentSize.width();
    const int documentHeight = canvas->documentSize.height();
    QRect rect(0, 0, documentWidth, documentHeight);
    const QPoint corner = textLayer->getDocumentRect().topLeft();
    if (!dialog.isExpandToCanvas()) {
        int left = 0, right = 0, top = 0, bottom = 0;
        dialog.getExpansion(left, right, top, bottom);
        // In 64 bits: margins are whatever was typed.
        const qint64 x0 = std::max<qint64>(qint64(corner.x()) - left, 0);
        const qint64 x1 = std::min<qint64>(qint64(corner.x()) + image.width() + right, documentWidth - 1);
        const qint64 y0 = std::max<qint64>(qint64(corner.y()) - top, 0);
        const qint64 y1 = std::min<qint64>(qint64(corner.y()) + image.height() + bottom, documentHeight - 1);
        if (x1 - x0 + 1 < 1 || y1 - y0 + 1 < 1)
            return;
        rect = QRect(int(x0), int(y0), int(x1 - x0 + 1), int(y1 - y0 + 1));
    }
    if (rect.isEmpty() || qint64(rect.width()) * rect.height() > INT_MAX / 4) {
        VellLog::Instance()->Log("VellLayerManager: no room to pixelate a text layer of %d x %d\n",
                                 rect.width(), rect.height());
        return;
    }
    const int bytes = rect.width() * rect.height() * 4;
    unsigned char *memory = VellMemory::getInstance()->alloc(bytes);
    if (!memory)
        return;
    std::memset(memory, 0, size_t(bytes));
    {
        QImage pixels(memory, rect.width(), rect.height(), rect.width() * 4, QImage::Format_ARGB32);
        QPainter painter(&pixels);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(corner - rect.topLeft(), image);
    }
    auto *raster = new VellLayer(textLayer->getLayerName());
    raster->setVellPictureHost(new VellPictureHost(unsigned(rect.width()), unsigned(rect.height()),
                                                   memory, 4));
    raster->setPosition(rect.topLeft());
    raster->setAlpha(textLayer->getAlpha());
    raster->visible = textLayer->visible;

    if (!document->quiet)
        record(*document, this, true);
    if (canvas->makeCurrent)
        canvas->makeCurrent();
    deleteLayer(textLayer, false);   // in quiet mode this deletes it
    insertLayer(raster, index, false);
    if (getLayerIndex(raster) < 0) {   // no permanent index left for it
        delete raster;
        return;
    }
    activate(index, document->quiet);
    unselectDisactiveLayers();
    if (!document->quiet)
        emit layerListChanged();
    if (canvas->renderDocument)
        canvas->renderDocument();
    if (canvas->repaint)
        canvas->repaint();
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
    QVector<VellLayerBase *> written;
    for (VellLayerBase *layer : manager->getLayers())
        if (qobject_cast<VellLayer *>(layer) || qobject_cast<VellTextLayer *>(layer))
            written.append(layer);
    out << qint32(manager->getNextPermanentIndex()) << qint32(written.size());
    for (VellLayerBase *layer : written) {
        if (auto *text = qobject_cast<VellTextLayer *>(layer))
            out << QString::fromLatin1(kTextTag) << text;
        else
            out << QString::fromLatin1(kRasterTag) << qobject_cast<VellLayer *>(layer);
    }
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
        VellLayerBase *layer = nullptr;
        VellLayer *raster = nullptr;
        if (tag == QLatin1String(kTextTag)) {
            VellTextLayer *text = nullptr;
            in >> &text;
            layer = text;
        } else if (tag == QLatin1String(kRasterTag)) {
            in >> &raster;
            layer = raster;
        } else {
            continue;   // an entry of an unknown kind carries no record
        }
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
        if (raster)
            raster->setLatestPlace(VellLayer::HostOnly);
    }
    *manager = result.release();
    return in;
}
