#include "document/vellcontext.h"

#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextcontrol.h"
#include "document/velltextlayer.h"
#include "canvas/vellcanvas.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "history/vellhistory.h"
#include "history/vellhistorymemo.h"
#include "history/vellmemocanvasandlayerschange.h"
#include "history/vellselectionedithistory.h"
#include "presets/vellactionmanager.h"
#include "selection/vellselection.h"
#include "tools/ivelltool.h"

#include <QDataStream>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTransform>

#include <cmath>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

VellContext::VellContext(QObject *parent)
    : QObject(parent), layerManager(new VellLayerManager), history(new VellHistory(this))
{
    setFileName(tr("Untitled Document"));
}

VellContext::~VellContext()
{
    // Off the list first, so nothing reaches this document through the manager
    // while its parts are being deleted.
    VellContextManager::getInstance()->removeContext(this);
    // A tool still working here stops before the layers it works on go.
    if (IVellTool *tool = currentTool) {
        tool->disActive();
        setCurrentTool(nullptr);
    }
    delete selection;
    // Memos refer to layers and masks: they go before the layer manager.
    if (lastMemo && history->indexOfMemo(lastMemo) < 0)
        delete lastMemo;
    lastMemo = nullptr;
    delete history;
    delete layerManager;
    delete selectionChannel;
}

void VellContext::setSelection(VellSelection *newSelection)
{
    if (newSelection == selection)
        return;
    delete selection;
    selection = newSelection;
}

bool VellContext::hasSelection() const
{
    return selection && selection->hasSelection();
}

void VellContext::enterSelectionEditingMode()
{
    if (!selection || editingSelection)
        return;
    selectionChannel = new VellChannel(selection);
    selectionEditHistory = new VellSelectionEditHistory(this, this);
    selection->clear();
    editingSelection = true;
    if (VellCanvas *canvas = VellCanvas::getInstance()) {
        canvas->setFgColor(QColor(QStringLiteral("#000000")));
        canvas->setBgColor(QColor(QStringLiteral("#ffffff")));
    }
    emit selectionEditModeChanged(true);
    history->updateAction();
}

void VellContext::exitSelectionEditingMode()
{
    if (!selection || !selectionChannel || !editingSelection)
        return;
    // A tool that painted the grey-level copy has nothing left to work on.
    if (IVellTool *tool = currentTool) {
        tool->disActive();
        setCurrentTool(nullptr);
    }
    selection->copyMask(selectionChannel->getData());
    delete selectionChannel;
    selectionChannel = nullptr;
    delete selectionEditHistory;
    selectionEditHistory = nullptr;
    editingSelection = false;
    emit selectionEditModeChanged(false);
    history->updateAction();
}

void VellContext::setFileName(const QString &name)
{
    fileName = name;
    emit fileNameChange(name);
}

void VellContext::setCurrentTool(IVellTool *tool)
{
    currentTool = tool;
    emit toolTipInfoChange(tool ? tool->getInfo() : QString());
}

void VellContext::setSaveAble(bool enabled)
{
    saveAble = enabled;
    // getInstance("") would create the manager and load an empty command file,
    // which shows two error boxes; a host without commands has no Save to switch.
    if (VellActionManager::hasInstance())
        VellActionManager::getInstance(QString())->setEnabled(QStringLiteral("Save"), enabled);
}

// ---- Whole-document geometry ----

namespace {

// A raster layer that refused its part stops the whole operation.
bool layerRefused(VellLayer *layer, QString *reason)
{
    if (layer->getGeometryError().isEmpty())
        return false;
    *reason = QStringLiteral("layer '%1': %2").arg(layer->getLayerName(), layer->getGeometryError());
    return true;
}

// Whether a raster layer has pixels to move; one without is only placed.
bool hasPixels(const VellLayer *layer)
{
    return layer->getPictureHost() && layer->getWidth() > 0 && layer->getHeight() > 0;
}

// The type of a text layer scaled with the document: every point and pixel
// size its text names and the font for new text by `mean`, the text scale by
// (rx, ry) in the text's own axes.
void scaleText(VellTextLayer *text, double mean, double rx, double ry)
{
    QTextDocument *document = text->getDocument();
    struct Change
    {
        int from, to;
        QTextCharFormat format;
    };
    QVector<Change> changes;   // gathered first: merging re-cuts the fragments
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next())
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat old = fragment.charFormat();
            QTextCharFormat scaled;
            if (old.hasProperty(QTextFormat::FontPointSize))
                scaled.setFontPointSize(old.fontPointSize() * mean);
            if (old.hasProperty(QTextFormat::FontPixelSize))
                scaled.setProperty(QTextFormat::FontPixelSize,
                                   qMax(1, int(std::lround(old.intProperty(QTextFormat::FontPixelSize) * mean))));
            if (!scaled.properties().isEmpty())
                changes.append({fragment.position(), fragment.position() + fragment.length(), scaled});
        }
    QTextCursor cursor(document);
    for (const Change &change : qAsConst(changes)) {
        cursor.setPosition(change.from);
        cursor.setPosition(change.to, QTextCursor::KeepAnchor);
        cursor.mergeCharFormat(change.format);
    }
    QFont font = text->getFont();
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * mean);
    else if (font.pixelSize() > 0)
        font.setPixelSize(qMax(1, int(std::lround(font.pixelSize() * mean))));
    // setFont() merges the font into the editing cursor's selection: with
    // none, it only sets what is typed next.
    QTextCursor editing = text->getTextControl()->textCursor();
    editing.clearSelection();
    text->getTextControl()->setTextCursor(editing);
    text->setFont(font);
    const QSizeF scale = text->getTextScale();
    text->setTextScale(QSizeF(scale.width() * rx, scale.height() * ry));
}

} // namespace

QSize VellContext::getDocumentSize() const
{
    const VellCanvas *canvas = VellCanvas::getInstance();
    if (canvas && VellContextManager::getInstance()->getCurrentContext() == this)
        return QSize(canvas->getCanvasWidth(), canvas->getCanvasHeight());
    return selection ? QSize(selection->getWidth(), selection->getHeight()) : QSize();
}

bool VellContext::refuseGeometry(const QString &reason)
{
    geometryError = reason;
    VellLog::Instance()->Log("VellContext '%s': %s\n", qPrintable(fileName), qPrintable(reason));
    return false;
}

bool VellContext::transformDocument(const QSize &newSize, const std::function<bool(VellLayerBase *)> &step,
                                    const std::function<QImage(const QImage &)> &mapSelection)
{
    if (undoing)
        return refuseGeometry(QStringLiteral("the history is replaying a step"));
    if (editingSelection)
        return refuseGeometry(QStringLiteral("the selection is being edited as an image"));
    VellCanvas *canvas = VellCanvas::getInstance();
    // The canvas's size is the current document's.
    if (canvas && VellContextManager::getInstance()->getCurrentContext() != this)
        return refuseGeometry(QStringLiteral("the document is not the one the canvas shows"));
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    const qint64 pixels = qint64(newSize.width()) * newSize.height();   // both below 2^31
    if (newSize.width() > settings->imageLimitX || newSize.height() > settings->imageLimitY
        || pixels > qint64(settings->imageLimitPixel) * (qint64(1) << 20))
        return refuseGeometry(QStringLiteral("%1 x %2 pixels is beyond the image limit (%3 x %4, %5 Mpixels)")
                                  .arg(newSize.width()).arg(newSize.height()).arg(settings->imageLimitX)
                                  .arg(settings->imageLimitY).arg(settings->imageLimitPixel));
    if (canvas)
        canvas->makeCurrent();
    const QSize before = getDocumentSize();
    // The coverage to carry over; a selection of everything stays one.
    QImage coverage;
    const bool wholeSelected = selection && selection->getType() == VellSelectionKind::Whole && selection->displayFull();
    if (selection && selection->hasSelection() && !wholeSelected && selection->getMask()) {
        const QImage shared(selection->getMask(), selection->getWidth(), selection->getHeight(),
                            selection->getPaddedWidth(), QImage::Format_Grayscale8);
        coverage = mapSelection(shared.copy()).convertToFormat(QImage::Format_Grayscale8);
        if (coverage.size() != newSize)
            return refuseGeometry(QStringLiteral("the selection could not follow the document"));
    }
    std::unique_ptr<VellMemoCanvasAndLayersChange> memo(new VellMemoCanvasAndLayersChange(this));
    if (memo->getBytes().isEmpty())
        return refuseGeometry(QStringLiteral("the document could not be recorded for undo"));
    // Raster layers first: only they can refuse, and the text layers are then
    // still as they were, for the memo's bytes hold their plain text alone.
    const QVector<VellLayerBase *> layers = layerManager->getLayers();
    for (VellLayerBase *layer : layers) {
        if (qobject_cast<VellTextLayer *>(layer) || step(layer))
            continue;
        // Puts back the layers done so far; the size has not changed yet.
        const QString reason = geometryError;
        QVector<QPair<VellTextLayer *, QString>> texts;
        for (VellLayerBase *other : layers)
            if (auto *text = qobject_cast<VellTextLayer *>(other))
                texts.append({text, text->toHtml()});
        if (!VellMemoCanvasAndLayersChange::load(this, &memo->getBytes(), before))
            VellLog::Instance()->Log("VellContext: the layers could not be put back\n");
        for (const auto &text : qAsConst(texts))
            text.first->setHtml(text.second);
        return refuseGeometry(reason);
    }
    for (VellLayerBase *layer : layers)
        if (qobject_cast<VellTextLayer *>(layer))
            step(layer);   // text follows the document whatever it is asked
    if (canvas && (canvas->getCanvasWidth() != newSize.width() || canvas->getCanvasHeight() != newSize.height()))
        canvas->reSizeCanvas(newSize.width(), newSize.height(), true);   // resizes the selection too
    if (selection) {
        if (selection->getWidth() != newSize.width() || selection->getHeight() != newSize.height()) {
            selection->resize(newSize.width(), newSize.height(), false);
            selection->initMasks();
        }
        if (wholeSelected) {
            selection->selectAll();
        } else if (!coverage.isNull()) {
            std::vector<uchar> bytes(size_t(selection->getByteCount()));
            for (int y = 0; y < newSize.height(); ++y)
                std::memcpy(bytes.data() + size_t(y) * size_t(selection->getPaddedWidth()), coverage.constScanLine(y),
                            size_t(newSize.width()));
            selection->copyMask(bytes.data());
        } else {
            selection->deselect();
        }
    }
    if (lastMemo) {
        VellHistoryMemo *pending = lastMemo;
        lastMemo = nullptr;
        history->pushNewMemo(pending);
    }
    history->pushNewMemo(memo.release());
    if (canvas) {
        canvas->Render(this);
        canvas->moveToCenter(true);
        canvas->setScale(canvas->getScale(), true);
    }
    return true;
}

bool VellContext::rotateDocument(int degrees)
{
    geometryError.clear();
    if (degrees != -90 && degrees != 90 && degrees != 180)
        return refuseGeometry(QStringLiteral("cannot rotate by %1 degrees (only -90, 90 and 180)").arg(degrees));
    const QSize size = getDocumentSize();
    if (size.isEmpty())
        return refuseGeometry(QStringLiteral("the document has no size"));
    // W x H is the document before the turn.
    const double W = size.width(), H = size.height();
    return transformDocument(degrees == 180 ? size : size.transposed(), [&](VellLayerBase *layer) {
        const QPointF p = layer->getPosition();
        if (auto *raster = qobject_cast<VellLayer *>(layer)) {
            const double w = raster->getWidth(), h = raster->getHeight();
            if (hasPixels(raster)) {
                raster->rotate(degrees);
                if (layerRefused(raster, &geometryError))
                    return false;
            }
            // w x h before the turn; a quarter turn swaps them.
            if (degrees == -90)
                raster->setPosition(QPointF(H - p.y() - h, p.x()));
            else if (degrees == 90)
                raster->setPosition(QPointF(p.y(), W - p.x() - w));
            else
                raster->setPosition(QPointF(W - w - p.x(), H - h - p.y()));
        } else if (auto *text = qobject_cast<VellTextLayer *>(layer)) {
            // The anchor turns with the document; the text turns about it.
            text->rotate(degrees);
            if (degrees == -90)
                text->setPosition(QPointF(H - p.y(), p.x()));
            else if (degrees == 90)
                text->setPosition(QPointF(p.y(), W - p.x()));
            else
                text->setPosition(QPointF(W - p.x(), H - p.y()));
        }
        return true;
    }, [degrees](const QImage &coverage) {   // exact for quarter turns; 90 is counter-clockwise
        return coverage.transformed(QTransform().rotate(-degrees));
    });
}

bool VellContext::flipDocument(bool leftRight)
{
    geometryError.clear();
    const QSize size = getDocumentSize();
    if (size.isEmpty())
        return refuseGeometry(QStringLiteral("the document has no size"));
    const double W = size.width(), H = size.height();
    return transformDocument(size, [&](VellLayerBase *layer) {
        const QPointF p = layer->getPosition();
        if (auto *raster = qobject_cast<VellLayer *>(layer)) {
            if (hasPixels(raster)) {
                raster->flip(leftRight);
                if (layerRefused(raster, &geometryError))
                    return false;
            }
            const double w = raster->getWidth(), h = raster->getHeight();
            raster->setPosition(leftRight ? QPointF(W - p.x() - w, p.y()) : QPointF(p.x(), H - p.y() - h));
        } else if (auto *text = qobject_cast<VellTextLayer *>(layer)) {
            // Text is never drawn mirrored: it turns by 180 degrees, and its
            // anchor goes where the mirrored bounding box asks.
            const QRect from = text->layout(1.0f).bounds;
            text->flip(leftRight);
            const QRect to = text->layout(1.0f).bounds;
            if (leftRight)
                text->setPosition(QPointF(W - (p.x() + from.left() + from.width()) - to.left(),
                                          p.y() + from.top() - to.top()));
            else
                text->setPosition(QPointF(p.x() + from.left() - to.left(),
                                          H - (p.y() + from.top() + from.height()) - to.top()));
        }
        return true;
    }, [leftRight](const QImage &coverage) { return coverage.mirrored(leftRight, !leftRight); });
}

bool VellContext::resizeDocument(const QSize &newSize)
{
    geometryError.clear();
    const QSize size = getDocumentSize();
    if (size.isEmpty())
        return refuseGeometry(QStringLiteral("the document has no size"));
    if (newSize.width() < 1 || newSize.height() < 1)
        return refuseGeometry(QStringLiteral("a document of %1 x %2 pixels is empty")
                                  .arg(newSize.width()).arg(newSize.height()));
    const double sx = double(newSize.width()) / size.width(), sy = double(newSize.height()) / size.height();
    const double mean = std::sqrt(sx * sy);
    return transformDocument(newSize, [&](VellLayerBase *layer) {
        const QPointF p = layer->getPosition();
        if (auto *raster = qobject_cast<VellLayer *>(layer)) {
            if (hasPixels(raster)) {
                const double w = raster->getWidth(), h = raster->getHeight();
                const double tw = qMax(1.0, std::round(w * sx)), th = qMax(1.0, std::round(h * sy));
                // resize() truncates: half a pixel more lands on the size.
                raster->resize((tw + 0.5) / w, (th + 0.5) / h);
                if (layerRefused(raster, &geometryError))
                    return false;
            }
            raster->setPosition(QPointF(std::round(p.x() * sx), std::round(p.y() * sy)));
        } else if (auto *text = qobject_cast<VellTextLayer *>(layer)) {
            text->resize(sx, sy);
            double rx = sx / mean, ry = sy / mean;
            const int direction = text->getDirection();
            if (direction == 90 || direction == 270)
                std::swap(rx, ry);
            else if (direction % 180 != 0)
                rx = ry = 1.0;
            scaleText(text, mean, rx, ry);
            text->setPosition(QPointF(p.x() * sx, p.y() * sy));
        }
        return true;
    }, [&newSize](const QImage &coverage) {
        return coverage.scaled(newSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    });
}

bool VellContext::clipDocument(const QRect &rect)
{
    geometryError.clear();
    const QSize size = getDocumentSize();
    const QRect cut = rect & QRect(QPoint(0, 0), size);
    if (cut.isEmpty())
        return refuseGeometry(QStringLiteral("the crop %1,%2 %3 x %4 misses the %5 x %6 document")
                                  .arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height())
                                  .arg(size.width()).arg(size.height()));
    const QPointF shift = cut.topLeft();
    return transformDocument(cut.size(), [&](VellLayerBase *layer) {
        auto *raster = qobject_cast<VellLayer *>(layer);
        if (!raster || !hasPixels(raster)) {
            layer->setPosition(layer->getPosition() - shift);
            return true;
        }
        const QPoint at = raster->getPosition().toPoint();
        const QRect bounds(at, QSize(raster->getWidth(), raster->getHeight()));
        const QRect part = bounds & cut;
        if (part.isEmpty() || part == bounds) {
            raster->setPosition(QPointF(at) - shift);
            return true;
        }
        raster->clip(part.translated(-at));
        if (layerRefused(raster, &geometryError))
            return false;
        raster->setPosition(QPointF(part.topLeft()) - shift);
        return true;
    }, [&cut](const QImage &coverage) { return coverage.copy(cut); });
}

QDataStream &operator<<(QDataStream &out, VellContext *context)
{
    if (!context) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    VellLayerManager *manager = context->getLayerManager();
    out << manager;
    if (const VellSelection *selection = context->getSelection()) {
        out << selection;
    } else {
        // The size a reader took from the bottom layer before documents had
        // selections.
        const VellLayerBase *bottom = manager->getLayerCount() > 0 ? manager->getLayer(0) : nullptr;
        const VellSelection none(nullptr, bottom ? bottom->getWidth() : 0,
                                 bottom ? bottom->getHeight() : 0);
        out << &none;
    }
    out << qint32(context->editingChannel) << qint32(context->displayingChannel);
    out << false;   // editing the selection as a channel: not yet possible
    return out;
}

QDataStream &operator>>(QDataStream &in, VellContext **context)
{
    if (!context)
        return in;
    *context = nullptr;
    std::unique_ptr<VellContext> result(new VellContext);
    VellLayerManager *manager = nullptr;
    in >> &manager;
    if (!manager)
        return in;   // the manager's reader has set the status
    delete result->layerManager;
    result->layerManager = manager;
    VellSelection *selection = nullptr;
    in >> &selection;   // uploads itself when a context is current
    if (!selection)
        return in;   // the selection's reader has set the status
    result->setSelection(selection);

    qint32 editing = 0, displaying = 0;
    bool editingSelection = false;
    in >> editing >> displaying >> editingSelection;
    if (in.status() != QDataStream::Ok)
        return in;
    if (editingSelection) {
        // Its channel would follow, but a document cannot edit its
        // selection as a channel yet.
        VellLog::Instance()->Log("VellContext: cannot read a document editing its selection\n");
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    result->editingChannel = editing;
    result->displayingChannel = displaying;
    *context = result.release();
    return in;
}
