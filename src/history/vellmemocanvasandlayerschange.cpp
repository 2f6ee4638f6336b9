#include "history/vellmemocanvasandlayerschange.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "history/vellmemoloaderthread.h"
#include "picture/vellpicturehost.h"
#include "picture/vellchannel.h"
#include "selection/vellselection.h"

#include <QBuffer>
#include <QDataStream>
#include <QFont>
#include <QSizeF>

#include <cmath>
#include <memory>
#include <vector>

namespace {

// What a record holds of the document's selection.
const qint8 kNothingSelected = 0, kAllSelected = 1, kCoverageSelected = 2;

// One layer's state as read from the bytes, before it is applied.
struct LayerState
{
    QPointF position;
    float opacity = 1.0f;
    std::unique_ptr<VellPictureHost> host;   // raster layers only
    std::unique_ptr<VellLayerMask> mask;     // raster layers with a mask
    QPointF maskPosition;
    // Text layers only.
    QString text;
    QFont font;
    qint32 direction = 0;
    bool vertical = false;
    QSizeF textScale = QSizeF(1.0, 1.0);
};

} // namespace

VellMemoCanvasAndLayersChange::VellMemoCanvasAndLayersChange(VellContext *context,
                                                             QObject *parent)
    : VellHistoryMemo(context, tr("Canvas Change"), parent)
{
    type = VellMemoType::CanvasAndLayers;
    if (!context)
        return;
    if (VellLayerBase *active = context->getLayerManager()->currentActiveLayer())
        activeIndex = active->getPermanentIndex();
    savedSize = documentSize(context);
    if (!save(context, &bytes))
        VellLog::Instance()->Log("Canvas memo: the document could not be recorded whole\n");
    byteCount = bytes.size();
    book();
}

VellMemoCanvasAndLayersChange::~VellMemoCanvasAndLayersChange()
{
    if (isTransferRunning())
        loader()->wait();
    unbook();
}

void VellMemoCanvasAndLayersChange::book()
{
    // The budget ignores a booking of more than half of it; then there is
    // nothing to give back either.
    VellMemory *memory = VellMemory::getInstance();
    if (bytes.size() > memory->getLimit() / 2)
        return;
    booked = bytes.size();
    memory->takeAway(booked);
}

void VellMemoCanvasAndLayersChange::unbook()
{
    if (booked)
        VellMemory::getInstance()->returnBack(booked);
    booked = 0;
}

QSize VellMemoCanvasAndLayersChange::documentSize(VellContext *context)
{
    if (VellCanvas *canvas = VellCanvas::getInstance())
        return QSize(canvas->getCanvasWidth(), canvas->getCanvasHeight());
    if (context && context->getSelection())
        return QSize(context->getSelection()->getWidth(), context->getSelection()->getHeight());
    return QSize();
}

bool VellMemoCanvasAndLayersChange::save(VellContext *context, QByteArray *bytes)
{
    if (!context || !bytes)
        return false;
    bytes->clear();
    QDataStream out(bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    const QSize size = documentSize(context);
    out << qint32(size.width()) << qint32(size.height());
    for (VellLayerBase *layer : context->getLayerManager()->getLayers()) {
        out << layer->getPosition() << layer->getAlpha();
        if (auto *raster = qobject_cast<VellLayer *>(layer)) {
            if (raster->getLatestPlace() == VellLayer::GpuNewer) {
                raster->fboTextureToHost(true);
                raster->setLatestPlace(VellLayer::BothAgree);
            }
            out << static_cast<const VellPictureHost *>(raster->getPictureHost());
            VellLayerMask *mask = raster->getLayerMask();
            out << bool(mask);
            if (mask)
                out << mask << raster->getLayerMaskPosition();
        } else if (auto *text = qobject_cast<VellTextLayer *>(layer)) {
            out << text->getText() << text->getFont() << qint32(text->getDirection())
                << text->isVertical() << text->getTextScale();
        }
    }
    // Last, the selection: nothing, everything, or its coverage.
    const VellSelection *selection = context->getSelection();
    const bool whole = selection && selection->getType() == VellSelectionKind::Whole && selection->displayFull();
    const qint8 selected = !selection || !selection->hasSelection() ? kNothingSelected
        : whole                                                    ? kAllSelected
                                                                   : kCoverageSelected;
    out << selected;
    if (selected == kCoverageSelected)
        out << static_cast<const VellChannel *>(selection);
    bytes->squeeze();
    return out.status() == QDataStream::Ok;
}

bool VellMemoCanvasAndLayersChange::load(VellContext *context, const QByteArray *bytes,
                                         const QSize &savedSize)
{
    if (!context || !bytes)
        return false;
    QBuffer buffer(const_cast<QByteArray *>(bytes));
    if (!buffer.open(QIODevice::ReadOnly))
        return false;
    QDataStream in(&buffer);
    in.setVersion(QDataStream::Qt_4_8);
    qint32 width = 0, height = 0;
    in >> width >> height;
    if (in.status() != QDataStream::Ok || QSize(width, height) != savedSize)
        return false;   // resizing to it would allocate what the bytes ask for

    VellLayerManager *manager = context->getLayerManager();
    const QVector<VellLayerBase *> layers = manager->getLayers();
    std::vector<LayerState> states(size_t(layers.size()));   // sized by the document, not the bytes
    for (int i = 0; i < layers.size(); ++i) {
        LayerState &state = states[size_t(i)];
        in >> state.position >> state.opacity;
        if (in.status() != QDataStream::Ok)
            return false;
        if (qobject_cast<VellLayer *>(layers.at(i))) {
            VellPictureHost *host = nullptr;
            in >> &host;   // checks its sizes against what the bytes supply
            if (!host)
                return false;
            state.host.reset(host);
            bool hasMask = false;
            in >> hasMask;
            if (hasMask) {
                VellLayerMask *mask = nullptr;
                in >> &mask >> state.maskPosition;   // the mask checks its sizes too
                state.mask.reset(mask);
                if (!mask)
                    return false;
            }
            if (in.status() != QDataStream::Ok)
                return false;
        } else if (qobject_cast<VellTextLayer *>(layers.at(i))) {
            in >> state.text >> state.font >> state.direction >> state.vertical >> state.textScale;
            if (in.status() != QDataStream::Ok)
                return false;
            if (state.direction < 0 || state.direction >= 360 || !(state.textScale.width() > 0.0)
                || !(state.textScale.height() > 0.0) || !std::isfinite(state.textScale.width())
                || !std::isfinite(state.textScale.height()))
                return false;
        }
    }
    qint8 selected = kNothingSelected;
    in >> selected;
    std::unique_ptr<VellChannel> coverage;
    if (selected == kCoverageSelected) {
        VellChannel *read = nullptr;
        in >> &read;   // checks its sizes against what the bytes supply
        coverage.reset(read);
        if (!read || read->getWidth() != width || read->getHeight() != height)
            return false;
    } else if (selected != kNothingSelected && selected != kAllSelected) {
        return false;
    }
    if (in.status() != QDataStream::Ok || !buffer.atEnd())
        return false;   // bytes of another layer list

    // From here on the document changes. A text layer being edited is
    // rendered again below; the canvas stops drawing it as edited.
    VellCanvas *canvas = VellCanvas::getInstance();
    if (canvas && canvas->getEditingTextLayer())
        canvas->getEditingTextLayer()->disactive(false);
    const QSize present = documentSize(context);
    if (present != QSize(width, height)) {
        if (canvas) {
            canvas->reSizeCanvas(width, height, true);
        } else if (VellSelection *selection = context->getSelection()) {
            selection->resize(width, height, true);
            selection->initMasks();
        }
    }
    for (int i = 0; i < layers.size(); ++i) {
        LayerState &state = states[size_t(i)];
        VellLayerBase *layer = layers.at(i);
        layer->setPosition(state.position);
        layer->setAlpha(state.opacity);
        if (auto *raster = qobject_cast<VellLayer *>(layer)) {
            raster->deleteTextures();
            const std::unique_ptr<VellPictureHost> old = raster->takePictureHost();
            raster->setVellPictureHost(state.host.release());
            raster->setLatestPlace(VellLayer::HostOnly);
            raster->refresh();
            if (state.mask) {
                raster->setLayerMask(state.mask.release());
                raster->setLayerMaskPosition(state.maskPosition);
            } else if (VellLayerMask *present = raster->getLayerMask()) {
                raster->removeLayerMask();
                delete present;
            }
        } else if (auto *text = qobject_cast<VellTextLayer *>(layer)) {
            text->setDirection(state.direction);
            text->setVertical(state.vertical);
            text->setTextScale(state.textScale);
            text->setFont(state.font);
            text->setText(state.text);   // renames the layer after it unless kept
        }
    }
    if (VellSelection *selection = context->getSelection()) {
        if (selected == kAllSelected)
            selection->selectAll();
        else if (coverage && selection->getByteCount() == coverage->getByteCount())
            selection->copyMask(coverage->getData());
        else
            selection->deselect();
    }
    return true;
}

bool VellMemoCanvasAndLayersChange::undo()
{
    VellLayerManager *manager = layerManager();
    {
        UndoMark mark(this);
        if (!mark.ok())
            return false;
        if (!ensureInMemory()) {
            VellLog::Instance()->Log("Canvas memo: its bytes cannot be read back\n");
            return false;
        }
        VellLayerBase *active = manager->currentActiveLayer();
        const int presentActive = active ? active->getPermanentIndex() : -1;
        const QSize presentSize = documentSize(context);
        QByteArray present;
        if (!save(context, &present))
            return false;
        if (!load(context, &bytes, savedSize)) {
            VellLog::Instance()->Log("Canvas memo: its bytes do not fit the document\n");
            return false;
        }
        unbook();
        bytes = present;
        savedSize = presentSize;
        byteCount = bytes.size();
        book();
        if (activeIndex != -1)
            manager->activeLayerByPermanentIndex(unsigned(activeIndex));
        activeIndex = presentActive;

        if (VellCanvas *canvas = VellCanvas::getInstance()) {
            if (VellContext *current = VellContextManager::getInstance()->getCurrentContext())
                canvas->Render(current);
            canvas->moveToCenter(true);
            canvas->setScale(canvas->getScale(), true);
        }
    }
    // Once the document no longer reports undoing.
    manager->unselectDisactiveLayers();
    return true;
}

bool VellMemoCanvasAndLayersChange::swapToDisk()
{
    if (transferRunning || inDisk)
        return false;
    loader()->setByteArray(&bytes);
    return startWrite();
}

bool VellMemoCanvasAndLayersChange::swapFromDisk()
{
    if (transferRunning || !inDisk)
        return false;
    loader()->setByteArray(&bytes);
    return startLoad();
}

void VellMemoCanvasAndLayersChange::finishTransfer(bool load, bool ok)
{
    if (!load) {
        if (ok) {
            unbook();
            bytes = QByteArray();   // releases the storage
            inDisk = true;
        }
        return;
    }
    if (!ok)
        return;
    if (bytes.size() != byteCount) {
        VellLog::Instance()->Log("Swap file of a canvas memo holds %d bytes instead of %s\n",
                                 bytes.size(), QByteArray::number(byteCount).constData());
        bytes = QByteArray();
        return;
    }
    bytes.squeeze();
    book();
    inDisk = false;
}
