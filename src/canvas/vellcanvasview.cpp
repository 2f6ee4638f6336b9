// The canvas's view and input: the mapping between window and document
// coordinates, zooming, panning with inertia, wheel, touch, drag and drop and
// the timers. Rendering itself lives in vellcanvas.cpp.

#include "canvas/vellcanvas.h"

#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextcontrol.h"
#include "document/velltextlayer.h"
#include "foundation/vellglobalsettings.h"

#include <QCursor>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QMouseEvent>
#include <QPointer>
#include <QTimer>
#include <QTouchEvent>
#include <QUrl>
#include <QWheelEvent>

#include <GL/glu.h>

#include <algorithm>
#include <cmath>

namespace {

// 100 % sits at index 16; the fractions are kept at full double precision.
constexpr double kMagnifications[31] = {
    0.0625, 1.0 / 12.0, 0.1, 0.125, 1.0 / 6.0, 0.2, 0.25, 0.3, 1.0 / 3.0, 0.4, 0.45,
    0.5, 0.6, 2.0 / 3.0, 0.8, 0.9, 1.0, 1.2, 1.5, 1.8, 2.0, 2.5,
    3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 12.0, 16.0, 32.0,
};
constexpr int kActualPixelsIndex = 16;
constexpr int kBusyIntervalMs = 5;
constexpr int kInertiaIntervalMs = 10;
constexpr double kMaxInertiaSpeed = 10000.0;   // document pixels per millisecond
constexpr int kTouchWheelGuardMs = 500;
constexpr int kOutlineIntervalMs = 30;
constexpr int kSmallResize = 6;                // window pixels
const char *const kDndFormat = "application/x-dnditemdata";

VellCanvas::ViewHooks &hooks()
{
    static VellCanvas::ViewHooks h;
    return h;
}

VellContext *currentDocument()
{
    return VellContextManager::getInstance()->getCurrentContext();
}

int layerCount(const VellContext *document)
{
    return document && document->getLayerManager() ? document->getLayerManager()->getLayerCount() : 0;
}

double clampTo(double v, double hi)   // to 0 .. hi; a negative hi gives 0
{
    return std::max(0.0, std::min(hi, v));
}

double area(const QRectF &r)
{
    return std::max(0.0, r.width()) * std::max(0.0, r.height());
}

// Microseconds of a monotonic clock: the inertia needs wall time, and process
// CPU time stands still while the application idles.
qint64 clockTicks()
{
    if (hooks().clockMicroseconds)
        return hooks().clockMicroseconds();
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    return clock.nsecsElapsed() / 1000;
}

} // namespace

void VellCanvas::setViewHooks(ViewHooks h)
{
    hooks() = std::move(h);
}

VellCanvas::ViewHooks VellCanvas::viewHooks()
{
    return hooks();
}

double VellCanvas::zoomMagnification(int index)
{
    return kMagnifications[qBound(0, index, zoomLevelCount() - 1)];
}

double VellCanvas::getCanvasScaleText() const
{
    return zoomMagnification(zoomIndex) * 100.0;
}

bool VellCanvas::isInertiaRunning() const
{
    return moveTimer && moveTimer->isActive();
}

// ---- Set-up ----

void VellCanvas::initView()
{
    canvasTimer = new QTimer(this);
    connect(canvasTimer, &QTimer::timeout, this, &VellCanvas::onCanvasTimeout);
    busyTimer = new QTimer(this);
    busyTimer->setSingleShot(true);
    busyTimer->setInterval(kBusyIntervalMs);
    connect(busyTimer, &QTimer::timeout, this, &VellCanvas::onBusyTimeout);
    busyTimer->start();
    moveTimer = new QTimer(this);
    moveTimer->setInterval(kInertiaIntervalMs);
    connect(moveTimer, &QTimer::timeout, this, &VellCanvas::onMoveTimeout);
    installViewProbe();
    installTextLayerProbe();
}

void VellCanvas::installViewProbe()
{
    // The guard turns null once the canvas is going away; the layers then
    // see no view rather than a dead canvas.
    QPointer<VellCanvas> guard(this);
    VellLayer::setViewProbe([guard]() -> std::optional<VellLayer::View> {
        if (!guard || !VellContextManager::getInstance()->getCurrentContext())
            return std::nullopt;
        VellLayer::View view;
        view.scale = guard->scale;
        view.fboScale = guard->getFboScale();
        view.histogramThumbScale = guard->histogramThumbScale;
        view.documentSize = QSize(guard->canvasWidth, guard->canvasHeight);
        return view;
    });
}

void VellCanvas::installTextLayerProbe()
{
    QPointer<VellCanvas> guard(this);
    VellTextLayer::setCanvasProbe([guard]() -> std::optional<VellTextLayer::Canvas> {
        if (!guard || !currentDocument())
            return std::nullopt;
        VellCanvas *canvas = guard.data();
        VellTextLayer::Canvas seen;
        seen.fboScale = canvas->getFboScale();
        seen.documentSize = QSize(canvas->canvasWidth, canvas->canvasHeight);
        // Window point (x, y) shows document point (x, y) * scale - origin.
        seen.documentToWindow = QTransform::fromTranslate(canvas->origin.x(), canvas->origin.y())
                                * QTransform::fromScale(1.0 / canvas->scale, 1.0 / canvas->scale);
        seen.makeCurrent = [guard] { if (guard) guard->makeCurrent(); };
        seen.editingLayer = [guard] { return guard ? guard->editingTextLayer : nullptr; };
        seen.forgetEditingLayer = [guard] { if (guard) guard->editingTextLayer = nullptr; };
        seen.renderDocument = [guard] { if (guard) guard->Render(nullptr); };
        seen.repaint = [guard] { if (guard) guard->update(); };
        return seen;
    });
}

// ---- Coordinates ----

QPointF VellCanvas::roundedOrigin(double x, double y, float scale)
{
    // Whole document pixels; zoomed out, a window pixel's worth more so the
    // first window column starts inside a document pixel.
    const double extra = scale > 1.0f ? 1.0 / double(scale) : 0.0;
    return QPointF(std::floor(x) + extra, std::floor(y) + extra);
}

QPointF VellCanvas::uiToCanvasCoord(int x, int y, bool clamp) const
{
    double cx = x * double(scale) - origin.x();
    double cy = y * double(scale) - origin.y();
    if (clamp) {
        cx = clampTo(cx, canvasWidth);
        cy = clampTo(cy, canvasHeight);
    }
    return QPointF(cx, cy);
}

QPointF VellCanvas::canvasCoordtoUI(const QPointF &point) const
{
    return QPointF((point.x() + origin.x()) / double(scale), (point.y() + origin.y()) / double(scale));
}

VellCanvasInfo VellCanvas::getCanvasInfo() const
{
    VellCanvasInfo info;
    info.height = canvasHeight;
    info.width = canvasWidth;
    return info;
}

void VellCanvas::setWindowSize(QRect rect)
{
    windowWidth = rect.width();
    windowHeight = rect.height();
}

void VellCanvas::setCursor(const QCursor &cursor)
{
    // A pan shows the closed hand; the new cursor comes back when it ends.
    if (dragging)
        savedCursor = cursor;
    else
        QGLWidget::setCursor(cursor);
}

void VellCanvas::setFgColor(const QColor &color)
{
    fgColor = color;
    VellGlobalSettings::getInstance()->foreground = color;
    emit FgColorChange(color);
}

void VellCanvas::setBgColor(const QColor &color)
{
    bgColor = color;
    VellGlobalSettings::getInstance()->background = color;
    emit BgColorChange(color);
}

void VellCanvas::calcVisibleRect()
{
    VellContext *document = currentDocument();
    if (!document)
        return;
    const double w = canvasWidth, h = canvasHeight;
    const double s = scale;
    const double ox = origin.x(), oy = origin.y();
    visibleRect = QRectF(QPointF(clampTo(-ox, w), clampTo(-oy, h)),
                         QPointF(clampTo(windowWidth * s - ox + 1.0, w),
                                 clampTo(windowHeight * s - oy + 1.0, h)));
    fboCorner = QPointF(clampTo(std::trunc(std::max(ox / s, 0.0)) * s - ox, w),
                        clampTo(std::trunc(std::max(oy / s, 0.0)) * s - oy, h));
    makeCurrent();
    if (VellLayerManager *manager = document->getLayerManager()) {
        for (VellLayerBase *base : manager->getLayers()) {
            if (base && base->getType() == VellLayerType::Raster)
                if (auto *layer = qobject_cast<VellLayer *>(base))
                    layer->updateVisibleRect(visibleRect);
        }
    }
    buildFBO();
}

// ---- View helpers ----

bool VellCanvas::documentFits() const
{
    const double s = scale;
    return canvasWidth / s <= windowWidth - 2.0 * margin
        && canvasHeight / s <= windowHeight - 2.0 * margin;
}

void VellCanvas::centreIfFits()
{
    if (!documentFits())
        return;
    const QPointF centred(windowWidth * double(scale) * 0.5 - canvasWidth * 0.5,
                          windowHeight * double(scale) * 0.5 - canvasHeight * 0.5);
    origin = roundedOrigin(centred.x(), centred.y(), scale);
    calcVisibleRect();
    emit originChanged(centred);
}

void VellCanvas::refreshActiveLayerIfHostOnly()
{
    VellLayer *layer = activeRasterLayer();
    if (layer && layer->getLatestPlace() == VellLayer::HostOnly) {
        makeCurrent();
        layer->refresh();
    }
}

void VellCanvas::reRender()
{
    if (hooks().reapplyTool && hooks().reapplyTool())
        return;
    if (VellContext *document = currentDocument())
        Render(document);
    update();
}

// ---- Zoom ----

QPointF VellCanvas::clampedAnchor(int x, int y) const
{
    return QPointF(clampTo(x * double(scale) - origin.x(), canvasWidth),
                   clampTo(y * double(scale) - origin.y(), canvasHeight));
}

void VellCanvas::rescaleAbout(const QPointF &anchor, double newScale)
{
    const QPointF moved = (origin + anchor) * (newScale / double(scale)) - anchor;
    // Rounded for the scale it is shown at, so 100 % lands on whole pixels.
    origin = roundedOrigin(moved.x(), moved.y(), float(newScale));
    emit originChanged(moved);
    setScale(float(newScale), true);
}

void VellCanvas::zoom(int x, int y, int step, bool updateCanvas)
{
    VellContext *document = currentDocument();
    if (layerCount(document) == 0)
        return;
    actualPixelsToggle = false;
    zoomIndex = qBound(0, zoomIndex + step, lastZoomIndex);
    rescaleAbout(clampedAnchor(x, y), 1.0 / zoomMagnification(zoomIndex));
    if (area(visibleRect) < 4.0)
        moveToCenter(true);
    centreIfFits();
    if (updateCanvas) {
        Render(document);
        update();
    }
}

void VellCanvas::zoom(int x, int y, int step) { zoom(x, y, step, true); }
void VellCanvas::zoomIn(bool updateCanvas) { zoom(windowWidth / 2, windowHeight / 2, 1, updateCanvas); }
void VellCanvas::zoomIn() { zoomIn(true); }
void VellCanvas::zoomIn(int x, int y, bool updateCanvas) { zoom(x, y, 1, updateCanvas); }
void VellCanvas::zoomIn(int x, int y) { zoom(x, y, 1, true); }
void VellCanvas::zoomIn(QPointF point, bool updateCanvas) { zoom(int(point.x()), int(point.y()), 1, updateCanvas); }
void VellCanvas::zoomIn(QPointF point) { zoomIn(point, true); }
void VellCanvas::zoomOut(bool updateCanvas) { zoom(windowWidth / 2, windowHeight / 2, -1, updateCanvas); }
void VellCanvas::zoomOut() { zoomOut(true); }
void VellCanvas::zoomOut(int x, int y, bool updateCanvas) { zoom(x, y, -1, updateCanvas); }
void VellCanvas::zoomOut(int x, int y) { zoom(x, y, -1, true); }
void VellCanvas::zoomOut(QPointF point, bool updateCanvas) { zoom(int(point.x()), int(point.y()), -1, updateCanvas); }
void VellCanvas::zoomOut(QPointF point) { zoomOut(point, true); }

void VellCanvas::zoomAlpha(QPointF point, float alpha, bool updateCanvas)
{
    if (scale > 10.0f || !std::isfinite(alpha) || alpha <= 0.0f)
        return;
    rescaleAbout(QPointF(point.x() * scale - origin.x(), point.y() * scale - origin.y()),
                 double(alpha) * scale);
    if (area(visibleRect) < 4.0)
        moveToCenter(true);
    centreIfFits();
    if (updateCanvas) {
        if (VellContext *document = currentDocument())
            Render(document);
        const QPointF topLeft = canvasCoordtoUI(visibleRect.topLeft());
        const QPointF bottomRight = canvasCoordtoUI(visibleRect.bottomRight());
        update(QRectF(topLeft, bottomRight).toAlignedRect());
    }
}

void VellCanvas::zoomAlpha(QPointF point, float alpha) { zoomAlpha(point, alpha, true); }

void VellCanvas::resetToActualPixels(int x, int y, bool updateCanvas)
{
    refreshActiveLayerIfHostOnly();
    double newScale = 1.0;
    if (actualPixelsToggle) {
        std::swap(savedZoomIndex, zoomIndex);
        newScale = savedScale;
    } else {
        savedZoomIndex = zoomIndex;
        zoomIndex = kActualPixelsIndex;
    }
    savedScale = scale;
    actualPixelsToggle = true;
    rescaleAbout(clampedAnchor(x, y), newScale);
    if (updateCanvas)
        reRender();
}

void VellCanvas::resetToActualPixels(int x, int y) { resetToActualPixels(x, y, true); }
void VellCanvas::resetToActualPixels(bool updateCanvas) { resetToActualPixels(windowWidth / 2, windowHeight / 2, updateCanvas); }
void VellCanvas::resetToActualPixels() { resetToActualPixels(true); }

void VellCanvas::moveToCenter(bool updateCanvas)
{
    actualPixelsToggle = false;
    if (!documentFits()) {
        // Fitting only ever zooms out: at most 100 %, and the smallest zoom
        // when even that does not fit.
        const double availW = windowWidth - 2.0 * margin;
        const double availH = windowHeight - 2.0 * margin;
        double fit = HUGE_VAL;
        if (availW > 0.0 && availH > 0.0)
            fit = std::max({ canvasWidth / availW, canvasHeight / availH, 1.0 });
        int index = 0;
        for (int i = 0; i < zoomLevelCount(); ++i)
            if (1.0 / zoomMagnification(i) >= fit)
                index = i;
        zoomIndex = std::min(index, lastZoomIndex);
        setScale(float(1.0 / zoomMagnification(zoomIndex)), false);
    }
    const QPointF centred(windowWidth * double(scale) * 0.5 - canvasWidth * 0.5,
                          windowHeight * double(scale) * 0.5 - canvasHeight * 0.5);
    origin = roundedOrigin(centred.x(), centred.y(), scale);
    calcVisibleRect();
    emit originChanged(centred);
    if (updateCanvas)
        reRender();
}

// ---- Scrolling ----

void VellCanvas::horizonSroll(float step)
{
    setOrigin(QPointF(origin.x() + double(step), origin.y()), true);
    if (VellContext *document = currentDocument())
        Render(document);
    const QPointF topLeft = canvasCoordtoUI(visibleRect.topLeft());
    update(QRectF(topLeft, canvasCoordtoUI(visibleRect.bottomRight())).toAlignedRect());
}

void VellCanvas::verticalSroll(float step)
{
    setOrigin(QPointF(origin.x(), origin.y() + double(step)), true);
    if (VellContext *document = currentDocument())
        Render(document);
    const QPointF topLeft = canvasCoordtoUI(visibleRect.topLeft());
    update(QRectF(topLeft, canvasCoordtoUI(visibleRect.bottomRight())).toAlignedRect());
}

void VellCanvas::setScale(float newScale, bool recompute)
{
    if (!std::isfinite(newScale) || newScale <= 0.0f)
        return;
    double s = newScale;
    if (canvasWidth > 0) {
        // The document spans a whole number of window pixels.
        const double spans = std::max(1.0, std::trunc(canvasWidth / s));
        s = canvasWidth / spans;
    }
    scale = float(s);
    // Text is rendered at the framebuffer's scale, so it stays sharp.
    if (VellContext *document = currentDocument())
        for (VellLayerBase *layer : document->getLayerManager()->getLayers())
            if (auto *text = qobject_cast<VellTextLayer *>(layer))
                text->renderText();
    if (recompute)
        calcVisibleRect();
    emit scaleChanged(scale);
}

void VellCanvas::setOrigin(QPointF point, bool recompute)
{
    origin = roundedOrigin(point.x(), point.y(), scale);
    if (recompute)
        calcVisibleRect();
    emit originChanged(point);
}

void VellCanvas::fixViewLimited()
{
    const QPointF limited(clampTo(origin.x(), canvasWidth - windowWidth),
                          clampTo(origin.y(), canvasHeight - windowHeight));
    setOrigin(limited, true);
}

void VellCanvas::reSizeCanvas(int width, int height, bool recompute)
{
    if (width < 0 || height < 0)
        return;
    canvasWidth = width;
    canvasHeight = height;
    calcHistogramThumbScale();
    updateHistogram();
    if (recompute)
        calcVisibleRect();
    if (hooks().resizeSelection)
        hooks().resizeSelection(width, height);
}

// ---- Timers ----

void VellCanvas::startCanvasTimer(int interval)
{
    canvasTimerInterval = std::max(0, interval);
    canvasTimer->start(canvasTimerInterval);
}

void VellCanvas::stopCanvasTimer()
{
    canvasTimer->stop();
}

void VellCanvas::onCanvasTimeout()
{
    canvasElapsed += canvasTimerInterval;
    VellContext *document = currentDocument();
    if (document && hooks().renderSelectionOutline
        && canvasElapsed - lastOutlineElapsed > kOutlineIntervalMs) {
        makeCurrent();
        if (hooks().renderSelectionOutline()) {   // marching ants
            lastOutlineElapsed = canvasElapsed;
            update();
        }
    }
    if (editingTextLayer)
        update();   // the text cursor blinks
    if (hooks().currentToolIsToolBase && hooks().currentToolIsToolBase()) {
        // Holding Control shows the picture without the tool's preview.
        const bool control = QGuiApplication::keyboardModifiers() & Qt::ControlModifier;
        if (control != controlHeld) {
            controlHeld = control;
            showPreview = !control;
            emit previewSwitched();
            if (document)
                Render(document);
            update();
        }
    }
    emit timeOut();
}

void VellCanvas::onLayerActive(int index)
{
    VellTextLayer *previous = editingTextLayer;
    VellContext *document = currentDocument();
    const int count = layerCount(document);
    editingTextLayer = index >= 0 && index < count
                           ? qobject_cast<VellTextLayer *>(document->getLayerManager()->getLayer(index))
                           : nullptr;
    if (previous && previous != editingTextLayer)
        previous->getTextControl()->setFocus(false);
    if (editingTextLayer)
        editingTextLayer->getTextControl()->setFocus(true);   // its cursor blinks
}

void VellCanvas::onBusyTimeout()
{
    busy = false;
    busyTimer->stop();
}

void VellCanvas::onMoveTimeout()
{
    const qint64 now = clockTicks();
    const double damping = std::trunc(VellGlobalSettings::getInstance()->damping * double(scale));
    const double t = (now - inertiaTick) / 1000.0;   // milliseconds
    const double speed = inertiaSpeed - 150.0 * damping * t;
    if (speed < 0.0) {
        moveTimer->stop();
        return;
    }
    const QPointF previous = origin;
    const double distance = (inertiaSpeed + speed) * 0.5 * t;
    setOrigin(origin + QPointF(inertiaDirX * distance, inertiaDirY * distance), true);
    if (area(visibleRect) < 1000.0) {
        // Never glide the document out of sight.
        moveTimer->stop();
        origin = previous;
        calcVisibleRect();
        emit originChanged(previous);
        return;
    }
    reRender();
    inertiaTick = now;
    inertiaSpeed = speed;
}

// ---- Window ----

void VellCanvas::resizeGL(int w, int h)
{
    if (std::abs(w - windowWidth) < kSmallResize && std::abs(h - windowHeight) < kSmallResize) {
        const bool changed = w != windowWidth || h != windowHeight;
        windowWidth = w;
        windowHeight = h;
        VellContext *document = currentDocument();
        if (changed && document) {
            refreshActiveLayerIfHostOnly();
            calcVisibleRect();
            Render(document);
        }
    } else {
        windowWidth = w;
        windowHeight = h;
        actualPixelsToggle = false;
        resetToActualPixels(true);
        moveToCenter(true);
        calcVisibleRect();
    }
    makeCurrent();
    glViewport(0, 0, w, h);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    // One unit is one document pixel; y runs down the window, as paintGL draws.
    gluOrtho2D(0.0, w * double(scale), h * double(scale), 0.0);
    glMatrixMode(GL_MODELVIEW);
}

// ---- Mouse ----

void VellCanvas::mousePressEvent(QMouseEvent *event)
{
    moveTimer->stop();
    if (event->button() == Qt::LeftButton) {
        if (emitMouseEvent)
            emit mousePress(event->x(), event->y());
    } else if (event->button() == Qt::RightButton && event->buttons() == Qt::RightButton) {
        refreshActiveLayerIfHostOnly();
        dragging = true;
        pressPosition = event->pos();
        dragStartOrigin = lastOrigin = previousOrigin = origin;
        savedCursor = cursor();
        lastOriginTick = previousOriginTick = clockTicks();
        QGLWidget::setCursor(Qt::ClosedHandCursor);
    }
}

void VellCanvas::mouseMoveEvent(QMouseEvent *event)
{
    if (dragging) {
        if (busy) {
            busyTimer->start();   // drop the step until the last one is shown
            return;
        }
        busyTimer->stop();
        busy = true;
        setOrigin(dragStartOrigin + QPointF(event->pos() - pressPosition) * double(scale), true);
        previousOrigin = lastOrigin;
        previousOriginTick = lastOriginTick;
        lastOrigin = origin;
        lastOriginTick = clockTicks();
        reRender();
        busyTimer->start();
        emit canvasDragged();
    } else if (!busy && emitMouseEvent) {
        emit mouseMove(event->x(), event->y());
    }
    emit mousePosChanged(QPointF(event->x() * double(scale) - origin.x(),
                                 event->y() * double(scale) - origin.y()));
}

void VellCanvas::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        if (emitMouseEvent)
            emit mouseRelease(event->x(), event->y());
        return;
    }
    if (event->button() != Qt::RightButton || !dragging)
        return;
    dragging = false;
    QGLWidget::setCursor(savedCursor);
    update();
    const QPointF direction = lastOrigin - previousOrigin;
    if (!VellGlobalSettings::getInstance()->moveAnimation
        || (std::abs(direction.x()) <= 1e-12 && std::abs(direction.y()) <= 1e-12))
        return;
    const qint64 now = clockTicks();
    const double t = (now - previousOriginTick) / 1000.0;   // milliseconds
    const double length = std::hypot(direction.x(), direction.y());
    inertiaSpeed = t > 0.0 ? std::min(length / t, kMaxInertiaSpeed) : kMaxInertiaSpeed;
    inertiaDirX = float(direction.x() / length);
    inertiaDirY = float(direction.y() / length);
    inertiaTick = now;
    moveTimer->start(kInertiaIntervalMs);
}

void VellCanvas::mouseDoubleClickEvent(QMouseEvent *event)
{
    emit mouseDoubleClick(event->x(), event->y());
}

void VellCanvas::enterEvent(QEvent *)
{
    emit mouseEnter();
}

void VellCanvas::leaveEvent(QEvent *)
{
    emit mouseLeave();
}

// ---- Wheel ----

void VellCanvas::wheelEvent(QWheelEvent *event)
{
    VellContext *document = currentDocument();
    if (!document || touchZoomed)
        return;
    const QPoint angle = event->angleDelta();
    const bool horizontal = std::abs(angle.x()) > std::abs(angle.y());
    const int delta = horizontal ? angle.x() : angle.y();

    if (touchPan) {
        // Two fingers on a touch pad scroll rather than zoom.
        busyTimer->stop();
        busy = true;
        const double shift = delta * 2.0 * double(scale);
        setOrigin(horizontal ? origin + QPointF(shift, 0.0) : origin + QPointF(0.0, shift), true);
        reRender();
        busyTimer->start();
        return;
    }
    if (touchEndTime.isValid()) {
        int since = touchEndTime.msecsTo(QTime::currentTime());
        if (since < 0)
            since += 24 * 60 * 60 * 1000;   // past midnight
        if (since < kTouchWheelGuardMs)
            return;   // the tail of a touch gesture
    }
    moveTimer->stop();
    actualPixelsToggle = false;
    if (!dragging && event->modifiers() == Qt::NoModifier && !busy) {
        busyTimer->stop();
        busy = true;
        const QPointF position = event->position();
        if (layerCount(document) > 0 && emitMouseEvent)
            emit mousePosChanged(QPointF(position.x() * double(scale) - origin.x(),
                                         position.y() * double(scale) - origin.y()));
        refreshActiveLayerIfHostOnly();
        const int step = std::abs(delta) >= 120 ? delta / 120 : (delta > 0 ? 1 : -1);
        zoom(int(position.x()), int(position.y()), step, false);
        reRender();
        busyTimer->start();
        if (!hooks().hasCurrentTool || !hooks().hasCurrentTool())
            emit mouseWheel(delta);
    } else {
        Render(document);
        emit mouseWheel(delta);
    }
}

// ---- Touch and other events ----

bool VellCanvas::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::TouchBegin: {
        auto *touch = static_cast<QTouchEvent *>(event);
        if (touch->touchPoints().size() != 2)
            break;
        touchPan = true;
        pinchLevel = -1;
        pinchReferenced = false;
        touchZoomed = false;
        event->accept();
        return true;
    }
    case QEvent::TouchUpdate: {
        auto *touch = static_cast<QTouchEvent *>(event);
        const QList<QTouchEvent::TouchPoint> points = touch->touchPoints();
        if (!touchPan || points.size() != 2)
            break;
        moveTimer->stop();
        // Stopping the busy timer must not leave the canvas busy for good.
        onBusyTimeout();
        refreshActiveLayerIfHostOnly();
        const QLineF start(points[0].startPos(), points[1].startPos());
        const QLineF now(points[0].pos(), points[1].pos());
        if (start.length() <= 0.0) {
            event->accept();
            return true;
        }
        const double r = now.length() / start.length();
        const double sign = r > 1.0 ? 1.0 : -1.0;
        const int level = int(sign * std::sqrt(sign * (r - 1.0)) * 10.0);
        const int steps = pinchReferenced ? level - pinchLevel : level;
        pinchReferenced = true;
        pinchLevel = level;
        if (steps != 0) {
            touchZoomed = true;
            const QPoint at = mapFromGlobal(QCursor::pos());
            zoom(at.x(), at.y(), steps, false);
            reRender();
        }
        event->accept();
        return true;
    }
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
        touchEndTime = QTime::currentTime();
        touchPan = false;
        touchZoomed = false;
        event->accept();
        return true;
    default:
        if (hooks().toolEvent)
            hooks().toolEvent(event);
        break;
    }
    return QGLWidget::event(event);
}

// ---- Drag and drop ----

namespace {

// A drag from the canvas itself moves; others keep the action they propose.
void acceptDrop(QDropEvent *event, const QWidget *canvas)
{
    if (event->source() == canvas) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
    } else {
        event->acceptProposedAction();
    }
}

} // namespace

void VellCanvas::dragEnterEvent(QDragEnterEvent *event)
{
    const QMimeData *data = event->mimeData();
    if (!data || !(data->hasFormat(kDndFormat) || data->hasUrls())) {
        event->ignore();
        return;
    }
    acceptDrop(event, this);
}

void VellCanvas::dropEvent(QDropEvent *event)
{
    const QMimeData *data = event->mimeData();
    if (!data)
        return;
    QString name;
    if (data->hasFormat(kDndFormat)) {
        QByteArray bytes = data->data(kDndFormat);
        QDataStream in(&bytes, QIODevice::ReadOnly);
        in >> name;
        if (in.status() != QDataStream::Ok) {
            event->ignore();
            return;
        }
    } else if (data->hasUrls() && !data->urls().isEmpty()) {
        name = data->urls().first().toLocalFile();
    } else {
        event->ignore();
        return;
    }
    acceptDrop(event, this);
    emit dropNewFile(name);
}
