#include "tools/velltoolbase.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellconfig.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmessagebox.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "gpu/vellrenderpass.h"
#include "gpu/vellshaderbuilder.h"
#include "history/vellhistory.h"
#include "history/vellhistorymemo.h"
#include "history/vellparammemo.h"
#include "history/vellpicturemodifymemo.h"
#include "picture/vellpicturehost.h"
#include "presets/vellactionmanager.h"
#include "selection/vellselection.h"
#include "tools/velltoolutil.h"
#include "tools/velluicontroller.h"

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QDataStream>
#include <QGLShaderProgram>
#include <QTimer>
#include <QVector4D>

#include <ctime>

namespace {

constexpr int kBusyMilliseconds = 3;

QString textLayerMessage()
{
    return VellToolBase::tr("This tool doesn't support text layer, please choose an image layer on the layer manager.");
}

// 1.0 for each channel tools may write, alpha always 1.0.
QVector4D channelMask(int editingChannel)
{
    return QVector4D(editingChannel & VellChannelBits::Red ? 1.0f : 0.0f,
                     editingChannel & VellChannelBits::Green ? 1.0f : 0.0f,
                     editingChannel & VellChannelBits::Blue ? 1.0f : 0.0f, 1.0f);
}

} // namespace

VellToolBase::PresetsViewMaker VellToolBase::presetsViewMaker;
VellToolBase::BatchRecorder VellToolBase::batchRecorder;

QByteArray VellToolBase::parameterBytes()
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    serializeParams(out);
    return bytes;
}

VellToolBase::VellToolBase(QObject *parent) : IVellTool(parent)
{
    toolType = QStringLiteral("Filter");
    clock.start();
}

// The program and the fallback selection texture are GL names of the
// canvas's context: they go with it current when there is a canvas.
VellToolBase::~VellToolBase()
{
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    program.reset();
    programCanvas = nullptr;
    allSelected.reset();
}

void VellToolBase::setPresetsViewMaker(PresetsViewMaker maker)
{
    presetsViewMaker = std::move(maker);
}

void VellToolBase::setBatchRecorder(BatchRecorder recorder)
{
    batchRecorder = std::move(recorder);
}

// ---- Activation ----

void VellToolBase::active(VellContext *document)
{
    if (!document || activeFlag || document->getLayerManager()->getLayerCount() == 0)
        return;
    VellLayerBase *activeLayer = document->getLayerManager()->getActiveLayer();
    if (!activeLayer)
        return;
    if (activeLayer->getType() != VellLayerType::Raster) {
        VellMessageBox::about(tr("Error"), textLayerMessage());
        disActive();
        return;
    }
    auto *image = qobject_cast<VellLayer *>(activeLayer);
    if (!image)
        return;
    if (image->isEdittingMask()) {
        VellMessageBox::about(tr("Error"), tr("This tool doesn't support layer mask."));
        return;
    }
    if (document->isEditingSelection()) {
        VellMessageBox::about(tr("Error"), tr("This tool doesn't support selection mask."));
        return;
    }
    initBusyTimer();
    if (!image->getPictureHost())
        return;
    if (image->getLatestPlace() == VellLayer::HostOnly) {
        image->refresh();
        image->setLatestPlace(VellLayer::BothAgree);
    }
    context = document;
    layer = image;
    initShader();
    if (!widgetBuilt) {
        initParamWidget();
        widgetBuilt = true;
    }
    if (refreshPresetsOnActivation)
        updatePresetThumbs(image);

    activeFlag = true;
    document->setCurrentTool(this);
    reservedFlag = false;
    initParams();
    if (VellCanvas *canvas = VellCanvas::getInstance())
        connect(canvas, &VellCanvas::timeOut, this, &VellToolBase::onTimeout, Qt::UniqueConnection);
    previewUpToDate = true;
    showWidget();
    if (QWidget *widget = getWidget()) {
        QApplication::setActiveWindow(widget);
        VellUIController::getInstance()->lockUI(QStringLiteral("Filter"), QString());
    }
}

void VellToolBase::disActive()
{
    if (!activeFlag)
        return;
    activeFlag = false;
    if (context)
        context->setCurrentTool(nullptr);
    VellCanvas *canvas = VellCanvas::getInstance();
    if (canvas)
        disconnect(canvas, &VellCanvas::timeOut, this, &VellToolBase::onTimeout);
    if (widgetBuilt)
        hideWidget();
    if (getWidget())
        VellUIController::getInstance()->unlockUI();
    if (context)
        context->setCurrentTool(nullptr);
    if (canvas)
        canvas->setPreviewWhenApply(true);
    // The preview window ends with the tool: a window left open would
    // postpone every preview after the next activation.
    if (busyTimer)
        busyTimer->stop();
    busy = false;
}

// ---- Preview coalescing ----

void VellToolBase::initBusyTimer()
{
    if (busyTimer)
        return;
    busy = false;
    busyTimer = new QTimer(this);
    busyTimer->setInterval(kBusyMilliseconds);
    connect(busyTimer, &QTimer::timeout, this, &VellToolBase::onBusyTimeout);
}

void VellToolBase::onBusyTimeout()
{
    busy = false;
}

void VellToolBase::requestPreview()
{
    if (busy) {
        previewUpToDate = false;   // served on the next canvas tick
        return;
    }
    initBusyTimer();
    busy = true;
    busyTimer->stop();
    previewUpToDate = true;
    actuallyApply();
    busyTimer->start();
}

void VellToolBase::apply()
{
    requestPreview();
}

void VellToolBase::onApplyAcquired(bool)
{
    requestPreview();
}

void VellToolBase::onTimeout()
{
    if (!previewUpToDate)
        apply();
}

bool VellToolBase::event(QEvent *event)
{
    const int type = int(event->type());
    if (type == VellEventType::ApplyAcquired || type == VellEventType::ApplyNotAcquired) {
        event->accept();
        requestPreview();
        return true;
    }
    return IVellTool::event(event);
}

// ---- Rendering ----

void VellToolBase::initShader()
{
    VellCanvas *canvas = VellCanvas::getInstance();
    if (program && programCanvas == canvas)
        return;
    dropPrograms();
    if (canvas)
        canvas->makeCurrent();
    program = VellShaderBuilder::build(shaderPath, name);
    programCanvas = canvas;
}

void VellToolBase::dropPrograms()
{
    if (programCanvas)
        programCanvas->makeCurrent();
    program.reset();
    programCanvas = nullptr;
}

unsigned int VellToolBase::selectionTexture()
{
    VellSelection *selection = context ? context->getSelection() : nullptr;
    if (selection && selection->getTextureHandle())
        return selection->getTextureHandle();
    if (!allSelected) {
        const unsigned char selected[4] = {255, 255, 255, 255};
        allSelected = std::make_unique<VellGLTextureLuminance>(1, 1, selected, false);
    }
    return allSelected->getId();
}

bool VellToolBase::renderProgram(unsigned int target, int width, int height, unsigned int source,
                                 const QRectF &sourceCoords, const QRectF &selectionRegion)
{
    if (!program || !program->isLinked() || !target || !source || width <= 0 || height <= 0)
        return false;
    const unsigned int coverage = selectionTexture();
    VellGLFramebufferObject framebuffer(width, height);
    VellRenderPass pass(&framebuffer, target);
    if (!pass.isOpen())
        return false;
    glDisable(GL_BLEND);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

    GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, source);
    gl.glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, coverage);
    gl.glActiveTexture(GL_TEXTURE0);
    passTextures();
    program->bind();
    program->setUniformValue("image", 0);
    program->setUniformValue("selection", 1);
    program->setUniformValue("channelMask",
                             channelMask(context ? context->editingChannel : int(VellChannelBits::All)));
    passParamsToShader();

    const QPointF vertices[4] = {{0.0, 0.0}, {double(width), 0.0}, {double(width), double(height)},
                                 {0.0, double(height)}};
    const QPointF unit0[4] = {sourceCoords.topLeft(), sourceCoords.topRight(),
                              sourceCoords.bottomRight(), sourceCoords.bottomLeft()};
    const QPointF unit1[4] = {selectionRegion.topLeft(), selectionRegion.topRight(),
                              selectionRegion.bottomRight(), selectionRegion.bottomLeft()};
    glBegin(GL_QUADS);
    for (int i = 0; i < 4; ++i) {
        gl.glMultiTexCoord2fARB(GL_TEXTURE0, GLfloat(unit0[i].x()), GLfloat(unit0[i].y()));
        gl.glMultiTexCoord2fARB(GL_TEXTURE1, GLfloat(unit1[i].x()), GLfloat(unit1[i].y()));
        glVertex2d(vertices[i].x(), vertices[i].y());
    }
    glEnd();

    gl.glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, 0);
    gl.glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glFlush();
    program->release();
    return true;
}

VellLayer *VellToolBase::currentImageLayer(bool reportText)
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    if (!document)
        return nullptr;
    context = document;
    VellLayerBase *activeLayer = document->getLayerManager()->getActiveLayer();
    if (!activeLayer)
        return nullptr;
    if (activeLayer->getType() != VellLayerType::Raster) {
        if (reportText)
            VellMessageBox::about(tr("Error"), applyTextLayerMessage());
        return nullptr;
    }
    return qobject_cast<VellLayer *>(activeLayer);
}

QString VellToolBase::applyTextLayerMessage() const
{
    return textLayerMessage();
}

void VellToolBase::actuallyApply()
{
    if (!activeFlag)
        return;
    VellLayer *image = currentImageLayer(true);
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!image || !canvas)
        return;
    layer = image;
    canvas->makeCurrent();
    VellGLTexture2D *thumb = image->getThumbTexture();
    VellGLTexture2D *entire = image->getEntireTexture();
    if (!thumb || !entire)
        return;
    thumbWidth = float(thumb->getWidth());
    thumbHeight = float(thumb->getHeight());
    thumbRegion = image->getThumbRegion();
    VellSelection *selection = context->getSelection();
    const QRectF placed = thumbRegion.translated(image->getPosition());
    selectionCoords = selection ? selection->getTexCoord(placed) : QRectF(0, 0, 1, 1);
    thumbCoords = image->getThumbTexCoord();
    preApply();
    renderProgram(thumb->getId(), thumb->getWidth(), thumb->getHeight(), entire->getId(),
                  thumbCoords, selectionCoords);

    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    VellGLTexture2D *histogramThumb = image->getHistogramThumb();
    if (settings->isHistogramVisible() && settings->isHistogramRealtimeUpdate() && histogramThumb
        && canvas->getCanvasWidth() > 0 && canvas->getCanvasHeight() > 0) {
        const double cw = canvas->getCanvasWidth(), ch = canvas->getCanvasHeight();
        const QRectF layerOnCanvas(image->getPosition().x() / cw, image->getPosition().y() / ch,
                                   image->getWidth() / cw, image->getHeight() / ch);
        renderProgram(histogramThumb->getId(), histogramThumb->getWidth(), histogramThumb->getHeight(),
                      entire->getId(), QRectF(0, 0, 1, 1), layerOnCanvas);
        canvas->updateHistogram();
    }
    glGetError();
    postApply();
    canvas->Render(context);
    canvas->update();
}

// ---- Whole-layer apply ----

QString VellToolBase::actionText() const
{
    // Only a host that made the action manager has commands to name.
    if (!VellActionManager::hasInstance())
        return QString();
    QAction *action = VellActionManager::getInstance(QString())->getAction(toolId);
    return action ? action->text() : QString();
}

void VellToolBase::applyEntire(bool silent)
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!document || !canvas)
        return;
    context = document;
    canvas->makeCurrent();
    initShader();
    if (!currentImageLayer(true))
        return;
    // A program that did not link would leave the tiles as they were and copy
    // them over the layer: nothing is applied instead.
    if (!program || !program->isLinked()) {
        VellLog::Instance()->Log("VellToolBase: %s has no working shader program; nothing applied\n",
                                 qPrintable(name));
        return;
    }

    ApplyRun run;
    VellLayer *image = beginApplyEntire(silent, run);
    if (!image)
        return;
    VellGLTexture2D *entire = image->getEntireTexture();
    VellSelection *selection = document->getSelection();
    const double entireWidth = entire->getWidth(), entireHeight = entire->getHeight();
    for (const VellLayer::FboTexture &tile : image->getFboTextureList()) {
        const QRect rect = tile.second;
        if (!tile.first || rect.isEmpty())
            continue;
        const QRectF sourceCoords(rect.x() / entireWidth, rect.y() / entireHeight,
                                  rect.width() / entireWidth, rect.height() / entireHeight);
        const QRectF placed = QRectF(rect).translated(image->getPosition());
        renderProgram(tile.first->getId(), rect.width(), rect.height(), entire->getId(), sourceCoords,
                      selection ? selection->getTexCoord(placed) : QRectF(0, 0, 1, 1));
    }
    finishApplyEntire(image, run, silent);
}

VellLayer *VellToolBase::beginApplyEntire(bool silent, ApplyRun &run)
{
    VellCanvas *canvas = VellCanvas::getInstance();
    run.started = std::clock();
    applying = true;
    run.cursor = canvas->cursor();
    canvas->QWidget::setCursor(Qt::BusyCursor);

    processUndo(silent);
    VellLayer *image = currentImageLayer(false);
    if (!image || !image->getEntireTexture()) {
        applying = false;
        canvas->QWidget::setCursor(run.cursor);
        return nullptr;
    }
    layer = image;
    preApplyEntire();
    if (image->getFboTextureList().isEmpty())
        image->initFboTextureList();
    return image;
}

void VellToolBase::finishApplyEntire(VellLayer *image, const ApplyRun &run, bool silent)
{
    VellContext *document = context;
    VellCanvas *canvas = VellCanvas::getInstance();
    image->setLatestPlace(VellLayer::GpuNewer);
    image->fboToEntireTexture();
    postApplyEntire();

    const long milliseconds = long((std::clock() - run.started) * 1000 / CLOCKS_PER_SEC);
    const QString text = actionText();
    const QString report = tr("Apply: ") + (text.isEmpty() ? name : text) + tr(", used ")
                           + QString::number(milliseconds) + QStringLiteral(" ms");
    image->updateThumb();
    image->updateFullThumb();
    if (!silent) {
        document->setToolTimeInfo(report);
        document->emitFilterAppliedEntire();
        canvas->Render(document);
        canvas->update();
        VellGlobalSettings *settings = VellGlobalSettings::getInstance();
        if (settings->isHistogramVisible() && !settings->isHistogramRealtimeUpdate())
            canvas->updateHistogram();
    }
    canvas->QWidget::setCursor(run.cursor);
    document->setSaveAble(true);
    applying = false;
}

void VellToolBase::processUndo(bool silent)
{
    VellContext *document = context;
    if (!document)
        return;
    if (silent || document->batchFlag || document->quietFlag) {
        if (document->batchFlag && batchRecorder)
            batchRecorder(document, toolId, actionText(), parameterBytes());
        return;
    }
    VellLayer *image = currentImageLayer(false);
    VellHistory *history = document->getHistory();
    if (!image || !history)
        return;
    const int index = image->getPermanentIndex();
    VellHistoryMemo *latest = history->getLatestMemo(index);
    const bool chain = latest
                       && (latest->getType() == VellMemoType::PictureFull
                           || latest->getType() == VellMemoType::Param)
                       && history->getSequenceLength(index) <= VellConfig::getInstance()->chainLimit;
    if (chain) {
        if (VellHistoryMemo *pending = document->getLastMemo()) {
            document->setLastMemo(nullptr);
            history->pushNewMemo(pending);
        } else {
            const int count = history->getMemoCount();
            history->setCurrentBackwardForwardMemo(count, count - 2, -1);
        }
    } else {
        if (image->getLatestPlace() == VellLayer::GpuNewer)
            image->fboTextureToHost(true);   // now BothAgree
        if (!image->getPictureHost())
            return;
        history->pushNewMemo(new VellPictureModifyMemo(document, image->getPictureHost(), index, false));
        if (VellHistoryMemo *dropped = document->getLastMemo()) {
            document->setLastMemo(nullptr);
            delete dropped;
        }
        VellLog::Instance()->Log("Full Picgture Memo\n");
    }
    const QByteArray parameters = parameterBytes();
    VellSelection *selection = document->getSelection();
    document->setLastMemo(new VellParamMemo(document, &parameters, this, index,
                                            selection ? selection->getHistoryIndex() : -1));
}

// ---- Closing ----

void VellToolBase::restoreData()
{
    VellCanvas *canvas = VellCanvas::getInstance();
    VellLayer *image = currentImageLayer(false);
    if (!canvas || !image || !image->getThumbTexture() || !image->getEntireTexture())
        return;
    canvas->makeCurrent();
    VellGLTexture2D *thumb = image->getThumbTexture();
    VellToolUtil::copyTextureToTexture(thumb, image->getEntireTexture(),
                                       QRectF(0, 0, thumb->getWidthF(), thumb->getHeightF()),
                                       image->getThumbRegion());
    canvas->Render(context);
    canvas->update();
}

void VellToolBase::refreshHistogramAfterRestore()
{
    if (!VellGlobalSettings::getInstance()->isHistogramVisible())
        return;
    if (VellLayer *image = currentImageLayer(false))
        image->updateFullThumb();
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->updateHistogram();
}

void VellToolBase::ok()
{
    hideWidget();
    applyEntire(false);
    disActive();
}

void VellToolBase::cancel()
{
    restoreData();
    hideWidget();
    refreshHistogramAfterRestore();
    disActive();
}

void VellToolBase::reset()
{
    restoreData();
    initParams();
    refreshHistogramAfterRestore();
}

void VellToolBase::resetDefault()
{
    initParams();
    apply();
}

// ---- Parameter stack ----

void VellToolBase::pushParam()
{
    paramStack.push(parameterBytes());
}

void VellToolBase::popParam()
{
    if (paramStack.isEmpty())
        return;
    const QByteArray bytes = paramStack.pop();
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_4_8);
    deserializeParams(in);
}
