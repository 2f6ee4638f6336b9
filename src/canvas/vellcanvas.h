#ifndef VELLCANVAS_H
#define VELLCANVAS_H

#include "canvas/ivellrender.h"

#include <QColor>
#include <QCursor>
#include <QDataStream>
#include <QElapsedTimer>
#include <QGLWidget>
#include <QHash>
#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QTime>

#include <functional>
#include <map>
#include <memory>

class QGLFramebufferObject;
class QGLShaderProgram;
class QPainter;
class QTimer;
class VellContext;
class VellGLFramebufferObject;
class VellGLTexture2D;
class VellHistogram;
class VellLayer;
class VellLayerBase;
class VellSelection;
class VellTextLayer;

// Document size as the canvas reports it: height, then width.
struct VellCanvasInfo
{
    qint32 height = 0;
    qint32 width = 0;
};
QDataStream &operator<<(QDataStream &out, VellCanvasInfo *info);
QDataStream &operator>>(QDataStream &in, VellCanvasInfo **info);

// The one GL widget that shows the current document.
//
// Compositing (Render, then postRender) draws the document's layers into the
// canvas framebuffer at display resolution; presentation (paintGL) draws that
// framebuffer onto the window at the current zoom and offset, with the
// selection's outline and the tools' feedback over it. renderToImage
// composites the whole document at full resolution for export.
//
// View: scale is document pixels per window pixel; window point (x, y) shows
// document point (x * scale - origin.x, y * scale - origin.y).
//
// Rendering lives in vellcanvas.cpp, the view and input in
// vellcanvasview.cpp, the histogram thumb in vellcanvashistogram.cpp.
// GUI thread only; every entry point that issues GL makes the canvas's
// context current first.
class VellCanvas : public QGLWidget, public IVellRender
{
    Q_OBJECT
    Q_PROPERTY(float scale READ getScale NOTIFY scaleChanged)
    Q_PROPERTY(QPointF origin READ getOrigin NOTIFY originChanged)

public:
    // The single canvas: made on the first call, returned afterwards (the
    // arguments are then ignored). getInstance() without arguments returns
    // it, or null before it exists.
    static VellCanvas *getInstance(int width, int height, QWidget *parent = nullptr);
    static VellCanvas *getInstance();

    VellCanvas(int width, int height, QWidget *parent = nullptr);
    ~VellCanvas() override;
    Q_DISABLE_COPY(VellCanvas)

    // ---- Rendering (vellcanvas.cpp) ----
    void Render(VellContext *document) override;
    virtual void postRender(VellContext *document);
    virtual void RenderHistogramThumb(VellContext *document);
    virtual void Render(VellContext *document, QRectF rect);
    // Makes the canvas's context current when another one is, and resolves
    // the extension table for it.
    virtual void makeCurrent();

    // The whole document at full resolution, straight (unpremultiplied)
    // ARGB32, transparent where no layer covers it: a new image the caller
    // owns; null without a document. For a document of one opaque, unmasked
    // layer that covers it exactly, the image uses that layer's host memory
    // instead of a copy: use it while the document lives (or copy it).
    QImage *renderToImage(VellContext *document);
    void paintCPU(QPainter *painter, QRect rect, VellContext *document);
    void renderCPU(QImage *image, QRect rect, VellContext *document);

    QImage toQimage();
    QByteArray getCanvasRawData();
    QColor readPixel(int x, int y);
    QColor readMousePosPixel();

    void initShader();
    void buildFBO();
    void initBackground();
    void drawBackground();
    void drawBackground(const QRectF &rect);
    void glInit() override;
    GLuint getTexture() const;                     // the canvas framebuffer's texture
    QSizeF getFboRegion() const { return QSizeF(fboRegionWidth, fboRegionHeight); }
    QRectF getScaledFboRegion(const QRectF &rect) const;
    float getFboScale() const;
    QPointF getFboCorner() const { return fboCorner; }
    QGLFramebufferObject *getCanvasFbo() const { return canvasFbo.get(); }
    QGLFramebufferObject *getSelectionFbo() const { return selectionFbo.get(); }
    QGLShaderProgram *getLayerBlendingProgram() const { return blendProgram.get(); }
    QGLShaderProgram *getPostRenderProgram() const { return postProgram.get(); }

    void enableMosaic(bool on);
    void switchMosaic();
    bool isMosaicEnabled() const { return mosaic; }
    bool isShowPreviewWhenApply() const { return showPreview; }
    void setPreviewWhenApply(bool show);   // emits previewSwitched() on a change
    // The active layer when it is a text layer (onLayerActive), else null.
    VellTextLayer *getEditingTextLayer() const { return editingTextLayer; }
    // Whether the text tool is drawing the editing text layer itself: there
    // is one, and the current document's tool is named "Text Tool". The
    // composite then leaves the layer out and paintEvent lets it draw
    // itself with its cursor and selection (VellTextLayer::editRender).
    bool isTextBeingEdited() const;
    void setSelection(VellSelection *s) { selection = s; }
    VellSelection *getSelection() const { return selection; }
    void setSkipGLPaint(bool skip) { skipGLPaint = skip; }
    void setSkipCPUPaint(bool skip) { skipCPUPaint = skip; }
    bool isPartialRender() const { return partialRender; }
    QRectF getUpdateRect() const { return updateRect; }

    int getCanvasWidth() const { return canvasWidth; }
    int getCanvasHeight() const { return canvasHeight; }

    // ---- Histogram (vellcanvashistogram.cpp) ----
    void calcHistogramThumbScale();
    VellHistogram *getHistogram() const { return histogram.get(); }
    QImage getHistogramThumbImage();
    float getHistogramThumbScale() const { return histogramThumbScale; }

    // ---- View and input (vellcanvasview.cpp) ----
    QPointF uiToCanvasCoord(int x, int y, bool clamp) const;
    QPointF canvasCoordtoUI(const QPointF &point) const;
    float getScale() const { return scale; }
    QPointF getOrigin() const { return origin; }
    QRectF getVisibleRect() const { return visibleRect; }
    int getWindowWidth() const { return windowWidth; }
    int getWindowHeight() const { return windowHeight; }
    VellCanvasInfo getCanvasInfo() const;
    void setWindowSize(QRect rect);
    void setUpdateRect(QRectF rect) { updateRect = rect; }
    void setDirtyWindowRect(QRect rect) { dirtyWindowRect = rect; }
    void setCursor(const QCursor &cursor);
    double getCanvasScaleText() const;   // percentage at the current zoom index
    int getZoomIndex() const { return zoomIndex; }
    static int zoomLevelCount() { return 31; }
    static double zoomMagnification(int index);   // index clamped to 0 .. 30
    int getMargin() const { return margin; }
    void setMargin(int pixels) { margin = pixels; }
    bool isActualPixelsToggled() const { return actualPixelsToggle; }
    bool isDragging() const { return dragging; }
    bool isBusy() const { return busy; }
    bool isInertiaRunning() const;
    void setEmitMouseEvent(bool on) { emitMouseEvent = on; }
    bool isEmitMouseEvent() const { return emitMouseEvent; }
    void setFgColor(const QColor &color);
    void setBgColor(const QColor &color);
    QColor getFgColor() const { return fgColor; }
    QColor getBgColor() const { return bgColor; }
    void setColorPickerWidget(QWidget *w) { colorPickerWidget = w; }
    QWidget *getColorPickerWidget() const { return colorPickerWidget; }
    QTimer *getBusyTimer() const { return busyTimer; }
    QTimer *getCanvasTimer() const { return canvasTimer; }
    // Recomputes the visible rectangle and the framebuffer corner, tells
    // every raster layer, and rebuilds the framebuffers.
    void calcVisibleRect();

    // What the view asks of the floors above the canvas. Each installer
    // reads the hooks, fills its own members and sets them back: the tool
    // manager the tool members, the selection the selection members. An
    // absent hook means "no tool", "no selection". Tests install their own,
    // and a clock.
    struct ViewHooks
    {
        std::function<bool()> hasCurrentTool;
        std::function<bool()> currentToolIsToolBase;
        // A current tool base that follows the wheel re-runs its preview for
        // the new view; false when nothing was done (the canvas renders).
        std::function<bool()> reapplyTool;
        // The current tool sees every non-touch event before the canvas.
        std::function<void(QEvent *event)> toolEvent;
        // Draws the outline of the current document's selection into the
        // selection framebuffer; false when there is no non-empty selection.
        std::function<bool()> renderSelectionOutline;
        // The document was resized: resize and re-initialise the masks.
        std::function<void(int width, int height)> resizeSelection;
        // Microseconds of a monotonic clock (inertia timing).
        std::function<qint64()> clockMicroseconds;
    };
    static void setViewHooks(ViewHooks hooks);
    static ViewHooks viewHooks();

public slots:
    void zoom(int x, int y, int step, bool updateCanvas);
    void zoom(int x, int y, int step);
    void zoomIn(bool updateCanvas);
    void zoomIn();
    void zoomIn(int x, int y, bool updateCanvas);
    void zoomIn(int x, int y);
    void zoomIn(QPointF point, bool updateCanvas);
    void zoomIn(QPointF point);
    void zoomOut(bool updateCanvas);
    void zoomOut();
    void zoomOut(int x, int y, bool updateCanvas);
    void zoomOut(int x, int y);
    void zoomOut(QPointF point, bool updateCanvas);
    void zoomOut(QPointF point);
    void zoomAlpha(QPointF point, float alpha, bool updateCanvas);
    void zoomAlpha(QPointF point, float alpha);
    void resetToActualPixels(int x, int y, bool updateCanvas);
    void resetToActualPixels(int x, int y);
    void resetToActualPixels(bool updateCanvas);
    void resetToActualPixels();
    void moveToCenter(bool updateCanvas);
    void horizonSroll(float step);
    void verticalSroll(float step);
    void setScale(float newScale, bool recompute);
    void setOrigin(QPointF point, bool recompute);
    void fixViewLimited();
    void reSizeCanvas(int width, int height, bool recompute);
    void startCanvasTimer(int interval);
    void stopCanvasTimer();
    void updateHistogram();

signals:
    void mousePosChanged(QPointF point);
    void mouseColorChanged(QColor color);
    void scaleChanged(float scale);
    void originChanged(QPointF origin);
    void mouseMove(int x, int y);
    void mouseRelease(int x, int y);
    void mouseDoubleClick(int x, int y);
    void mousePress(int x, int y);
    void mouseWheel(int delta);
    void canvasDragged();
    void drawFeedback();
    void mouseEnter();
    void mouseLeave();
    void timeOut();
    void cpuDraw(QPainter *painter);
    void FgColorChange(QColor color);
    void BgColorChange(QColor color);
    void histogramUpdated();
    void dropNewFile(QString string);
    void previewSwitched();

protected:
    // Rendering side.
    void initializeGL() override;
    void paintGL() override;
    void paintEvent(QPaintEvent *event) override;
    void resizeGL(int w, int h) override;
    // Input side.
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    bool event(QEvent *event) override;

private slots:
    void onCanvasTimeout();
    void onLayerActive(int index);
    void onBusyTimeout();
    void onMoveTimeout();

private:
    // Rendering helpers (vellcanvas.cpp).
    // The blending program for `mode`: one built with the mode as a
    // constant (made on first use), or the general program when that fails.
    QGLShaderProgram *blendProgramFor(int mode);
    void setupWindowProjection();                   // the window in document pixels, y down
    // Composites one layer through the blending program into the target of
    // the open pass (targetWidth x targetHeight): copies the target box
    // under `quad` into `backdropCopy` (a texture of `copySize`, the
    // target's size and storage format) and draws `quad` with the source
    // coordinates `srcCoord`; `maskTexture` (0: none) is read at
    // `maskCoord`. The target's texel (0, 0) shows document point
    // docCorner, and one texel covers docScale document pixels.
    void blendThroughShader(GLuint backdropCopy, const QSize &copySize, int targetWidth,
                            int targetHeight, GLuint sourceTexture, const QRectF &quad,
                            const QRectF &srcCoord, GLuint maskTexture, const QRectF &maskCoord,
                            int mode, float opacity, const QPointF &docCorner, float docScale);
    // Copies the box of the bound target under `quad` (framebuffer pixels)
    // to texel (0, 0) of the texture `into` (of `intoSize`, at least the
    // box's size) and returns the coordinates of `quad` in it. A copy
    // between textures of one storage format is a plain block copy; any
    // other costs a software rasteriser a conversion per texel.
    QRectF copyBackdrop(GLuint into, const QSize &intoSize, int targetWidth, int targetHeight,
                        const QRectF &quad);
    void drawQuad(const QRectF &quad, const QRectF &coord0, const QRectF *coord1,
                  const QRectF *coord2);
    void deleteFramebuffers();
    VellLayer *activeRasterLayer() const;
    // The selection whose outline is presented: the one set with
    // setSelection, else the current document's.
    VellSelection *shownSelection() const;
    // View helpers (vellcanvasview.cpp).
    void initView();                       // timers, connections, the layers' view probe
    void installViewProbe();
    void installTextLayerProbe();
    void reRender();                       // the tool re-applies, or Render + repaint
    void refreshActiveLayerIfHostOnly();
    static QPointF roundedOrigin(double x, double y, float scale);
    void centreIfFits();
    // The document point under window point (x, y), clamped to the document.
    QPointF clampedAnchor(int x, int y) const;
    // Moves the origin so that document point `anchor` stays where it is
    // shown, then takes the new scale.
    void rescaleAbout(const QPointF &anchor, double newScale);
    bool documentFits() const;

    static VellCanvas *instance;

    // Rendering state.
    int canvasWidth = 0, canvasHeight = 0;     // document size
    int windowWidth = 0, windowHeight = 0;
    float scale = 1.0f;
    QPointF origin;
    QPointF fboCorner;
    std::unique_ptr<QGLFramebufferObject> canvasFbo;
    std::unique_ptr<QGLFramebufferObject> selectionFbo;
    // What lies under each shader-blended layer, copied for the shader to
    // read: made and dropped with the canvas framebuffer, and like it in
    // size and storage format so that the copy is a block copy.
    std::unique_ptr<QGLFramebufferObject> backdrop;
    double fboRegionWidth = 0.0, fboRegionHeight = 0.0;
    QRectF visibleRect;
    QRectF updateRect;
    QRect dirtyWindowRect;
    bool partialRender = false;
    std::unique_ptr<VellGLTexture2D> backgroundTexture;   // the checkerboard tile
    std::unique_ptr<QGLShaderProgram> blendProgram;       // mode as a uniform
    std::map<int, std::unique_ptr<QGLShaderProgram>> modePrograms;   // see blendProgramFor
    std::unique_ptr<QGLShaderProgram> postProgram;
    QString blendShaderPath;
    QString postShaderPath;
    bool mosaic = true;
    bool showPreview = true;
    VellTextLayer *editingTextLayer = nullptr;
    VellSelection *selection = nullptr;
    bool skipGLPaint = false, skipCPUPaint = false;

    // Histogram.
    std::unique_ptr<VellHistogram> histogram;
    float histogramThumbScale = 1.0f;
    float histogramThumbWidth = 0.0f, histogramThumbHeight = 0.0f;
    std::unique_ptr<VellGLTexture2D> histogramTexture;
    std::unique_ptr<VellGLFramebufferObject> histogramFbo;

    // View state.
    int zoomIndex = 16;
    int lastZoomIndex = 30;
    int margin = 0;
    bool actualPixelsToggle = false;
    float savedScale = 1.0f;
    int savedZoomIndex = 16;
    bool dragging = false;
    QPoint pressPosition;
    QPointF dragStartOrigin;
    QPointF lastOrigin, previousOrigin;
    qint64 lastOriginTick = 0, previousOriginTick = 0;
    float inertiaDirX = 0.0f, inertiaDirY = 0.0f;
    double inertiaSpeed = 0.0;
    qint64 inertiaTick = 0;
    bool busy = false;
    bool emitMouseEvent = true;
    bool touchPan = false, touchZoomed = false;
    int pinchLevel = -1;
    QTime touchEndTime;
    QColor fgColor = Qt::black, bgColor = Qt::white;
    QCursor savedCursor;
    QWidget *colorPickerWidget = nullptr;
    QTimer *canvasTimer = nullptr;     // owned (QObject child)
    QTimer *busyTimer = nullptr;       // owned (QObject child)
    QTimer *moveTimer = nullptr;       // owned (QObject child)
    int canvasTimerInterval = 0;
    qint64 canvasElapsed = 0, lastOutlineElapsed = 0;
    bool controlHeld = false;
    bool pinchReferenced = false;      // a pinch level was taken this touch
};

#endif // VELLCANVAS_H
