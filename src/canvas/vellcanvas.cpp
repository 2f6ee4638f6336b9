#include "canvas/vellcanvas.h"

#include "canvas/vellhistogram.h"
#include "canvas/velllayerwalk.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "gpu/vellgpumanager.h"
#include "gpu/vellrenderpass.h"
#include "gpu/vellshaderbuilder.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"
// The interface only: the canvas asks the document's tool for its name.
#include "tools/ivelltool.h"

#include <QCursor>
#include <QGLFramebufferObject>
#include <QGLShaderProgram>
#include <QPaintEvent>
#include <QPainter>
#include <QVector2D>

#include <GL/glu.h>

#include <cmath>
#include <cstring>
#include <memory>

namespace {

const char *const kBlendShaderPath = ":/Resources/layerBlending.glsl_";
const char *const kPostShaderPath = ":/Resources/postRender.glsl_";
const char *const kBackgroundPath = ":/Resources/background3.png";
// The grey of the window around and without a document.
const float kWindowGrey = 0.55f;

// The context the extension table was last resolved for.
const QGLContext *resolvedContext = nullptr;

VellContext *resolveDocument(VellContext *document)
{
    return document ? document : VellContextManager::getInstance()->getCurrentContext();
}

void bindUnit(GLenum unit, GLuint texture)
{
    getGLExtensionFunctions().glActiveTexture(unit);
    glBindTexture(GL_TEXTURE_2D, texture);
}

// Texture coordinates (0, 0)-(valid / allocated) of a display texture.
QRectF validCoord(const VellGLTexture *texture)
{
    if (texture->getWidth() <= 0 || texture->getHeight() <= 0)
        return QRectF();
    return QRectF(0.0, 0.0, texture->getWidthF() / texture->getWidth(),
                  texture->getHeightF() / texture->getHeight());
}

} // namespace

VellCanvas *VellCanvas::instance = nullptr;

QDataStream &operator<<(QDataStream &out, VellCanvasInfo *info)
{
    if (!info) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    return out << info->height << info->width;
}

QDataStream &operator>>(QDataStream &in, VellCanvasInfo **info)
{
    if (!info)
        return in;
    auto read = std::make_unique<VellCanvasInfo>();
    in >> read->height >> read->width;
    *info = in.status() == QDataStream::Ok ? read.release() : nullptr;
    return in;
}

VellCanvas *VellCanvas::getInstance(int width, int height, QWidget *parent)
{
    if (!instance)
        instance = new VellCanvas(width, height, parent);
    return instance;
}

VellCanvas *VellCanvas::getInstance()
{
    return instance;
}

VellCanvas::VellCanvas(int width, int height, QWidget *parent)
    : QGLWidget(parent),
      canvasWidth(qMax(0, width)),
      canvasHeight(qMax(0, height)),
      blendShaderPath(QString::fromLatin1(kBlendShaderPath)),
      postShaderPath(QString::fromLatin1(kPostShaderPath))
{
    if (!instance)
        instance = this;
    setAttribute(Qt::WA_AcceptTouchEvents);
    windowWidth = QGLWidget::width();
    windowHeight = QGLWidget::height();
    makeCurrent();
    initBackground();
    setAutoBufferSwap(false);
    setMouseTracking(true);
    setAcceptDrops(true);
    histogram = std::make_unique<VellHistogram>();
    initShader();
    initView();
    VellSelection::installCanvasHooks();
    calcHistogramThumbScale();
    // The current document's layer activations reach onLayerActive.
    connect(VellContextManager::getInstance(), &VellContextManager::contextChanged, this, [this] {
        editingTextLayer = nullptr;   // it belonged to the document shown before
        if (VellContext *document = VellContextManager::getInstance()->getCurrentContext())
            connect(document->getLayerManager(), SIGNAL(layerActive(int)), this,
                    SLOT(onLayerActive(int)), Qt::UniqueConnection);
    });
    VellGlobalSettings::getInstance()->setCanvas(this);
}

// Every GL name goes while the canvas's context is current, programs and
// framebuffers first; members are destroyed in the same state.
VellCanvas::~VellCanvas()
{
    makeCurrent();
    deleteFramebuffers();
    modePrograms.clear();
    blendProgram.reset();
    postProgram.reset();
    histogramFbo.reset();
    histogramTexture.reset();
    backgroundTexture.reset();
    if (resolvedContext == context())
        resolvedContext = nullptr;
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    if (settings->getCanvas() == this)
        settings->setCanvas(nullptr);
    if (instance == this)
        instance = nullptr;
}

void VellCanvas::makeCurrent()
{
    if (!isValid())
        return;
    if (QGLContext::currentContext() != context())
        QGLWidget::makeCurrent();
    if (resolvedContext != context()) {
        getGLExtensionFunctions().resolve(context());
        resolvedContext = context();
    }
}

void VellCanvas::initShader()
{
    makeCurrent();
    if (!isValid())
        return;
    if (!blendProgram)
        blendProgram = VellShaderBuilder::build(blendShaderPath, QStringLiteral("renderer"));
    if (!postProgram)
        postProgram = VellShaderBuilder::build(postShaderPath, QStringLiteral("post renderer"));
}

QGLShaderProgram *VellCanvas::blendProgramFor(int mode)
{
    const auto built = modePrograms.find(mode);
    if (built != modePrograms.end())
        return built->second.get();
    // The mode defined as a constant: the compiler then drops every other
    // mode's code, which a software rasteriser would otherwise run for each
    // fragment. Its log, if any, was the general program's to show.
    std::unique_ptr<QGLShaderProgram> program = VellShaderBuilder::build(
        blendShaderPath, QString(), {QStringLiteral("VELL_MODE %1").arg(mode)});
    if (!program || !program->isLinked())
        return blendProgram.get();
    return modePrograms.emplace(mode, std::move(program)).first->second.get();
}

void VellCanvas::initBackground()
{
    makeCurrent();
    const QImage tile(QString::fromLatin1(kBackgroundPath));
    if (tile.isNull() || !isValid())
        return;
    backgroundTexture = std::make_unique<VellGLTexture2D>(tile, GL_BGRA, false);
    if (backgroundTexture->failed()) {
        backgroundTexture.reset();
        return;
    }
    glBindTexture(GL_TEXTURE_2D, backgroundTexture->getId());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void VellCanvas::drawBackground()
{
    const double w = fboRegionWidth;
    const double h = fboRegionHeight;
    glBindTexture(GL_TEXTURE_2D, backgroundTexture ? backgroundTexture->getId() : 0);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    drawQuad(QRectF(0.0, 0.0, w, h), QRectF(0.0, 0.0, w * 0.0625, h * 0.0625), nullptr, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void VellCanvas::drawBackground(const QRectF &rect)
{
    const QRectF target = getScaledFboRegion(rect);
    glBindTexture(GL_TEXTURE_2D, backgroundTexture ? backgroundTexture->getId() : 0);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    drawQuad(target, QRectF(target.x() * 0.0625, target.y() * 0.0625, target.width() * 0.0625,
                            target.height() * 0.0625),
             nullptr, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void VellCanvas::glInit()
{
    QGLWidget::glInit();
}

GLuint VellCanvas::getTexture() const
{
    return canvasFbo ? canvasFbo->texture() : 0;
}

QRectF VellCanvas::getScaledFboRegion(const QRectF &rect) const
{
    const double s = getFboScale();
    return QRectF((rect.x() - fboCorner.x()) / s, (rect.y() - fboCorner.y()) / s,
                  rect.width() / s, rect.height() / s);
}

float VellCanvas::getFboScale() const
{
    return scale >= 0.5f ? scale : 1.0f;
}

void VellCanvas::deleteFramebuffers()
{
    if (!canvasFbo && !selectionFbo && !backdrop)
        return;
    glFinish();
    canvasFbo.reset();
    selectionFbo.reset();
    backdrop.reset();
}

void VellCanvas::buildFBO()
{
    if (!isValid())
        return;
    makeCurrent();
    const double fboScale = getFboScale();
    fboRegionWidth = visibleRect.width() / fboScale;
    fboRegionHeight = visibleRect.height() / fboScale;
    const QSize size(qMax(1, int(std::ceil(fboRegionWidth))),
                     qMax(1, int(std::ceil(fboRegionHeight))));
    if (!canvasFbo || canvasFbo->size() != size) {
        deleteFramebuffers();
        canvasFbo = std::make_unique<QGLFramebufferObject>(
            size, QGLFramebufferObject::NoAttachment, GL_TEXTURE_2D, GL_RGBA8);
        selectionFbo = std::make_unique<QGLFramebufferObject>(
            size, QGLFramebufferObject::NoAttachment, GL_TEXTURE_2D, GL_RGBA8);
        backdrop = std::make_unique<QGLFramebufferObject>(
            size, QGLFramebufferObject::NoAttachment, GL_TEXTURE_2D, GL_RGBA8);
    }
    const GLint filter = mosaic ? GL_NEAREST : GL_LINEAR;
    glBindTexture(GL_TEXTURE_2D, canvasFbo->texture());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void VellCanvas::enableMosaic(bool on)
{
    mosaic = on;
    buildFBO();
    Render(nullptr);
    update();
}

void VellCanvas::switchMosaic()
{
    enableMosaic(!mosaic);
}

void VellCanvas::setPreviewWhenApply(bool show)
{
    if (show == showPreview)
        return;
    showPreview = show;
    emit previewSwitched();
}



void VellCanvas::setupWindowProjection()
{
    glViewport(0, 0, windowWidth, windowHeight);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    // One unit is one document pixel; y runs down the window.
    gluOrtho2D(0.0, windowWidth * scale, windowHeight * scale, 0.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

void VellCanvas::drawQuad(const QRectF &quad, const QRectF &coord0, const QRectF *coord1,
                          const QRectF *coord2)
{
    GLExtensionFunctions &gl = getGLExtensionFunctions();
    const QPointF corners[4] = {quad.topLeft(), quad.topRight(), quad.bottomRight(),
                                quad.bottomLeft()};
    auto corner = [](const QRectF &r, int i) {
        const QPointF points[4] = {r.topLeft(), r.topRight(), r.bottomRight(), r.bottomLeft()};
        return points[i];
    };
    glBegin(GL_QUADS);
    for (int i = 0; i < 4; ++i) {
        const QPointF c0 = corner(coord0, i);
        if (coord1 || coord2) {
            gl.glMultiTexCoord2fARB(GL_TEXTURE0, GLfloat(c0.x()), GLfloat(c0.y()));
            if (coord1) {
                const QPointF c1 = corner(*coord1, i);
                gl.glMultiTexCoord2fARB(GL_TEXTURE1, GLfloat(c1.x()), GLfloat(c1.y()));
            }
            if (coord2) {
                const QPointF c2 = corner(*coord2, i);
                gl.glMultiTexCoord2fARB(GL_TEXTURE2, GLfloat(c2.x()), GLfloat(c2.y()));
            }
        } else {
            glTexCoord2d(c0.x(), c0.y());
        }
        glVertex2d(corners[i].x(), corners[i].y());
    }
    glEnd();
}

QRectF VellCanvas::copyBackdrop(GLuint into, const QSize &intoSize, int targetWidth,
                                int targetHeight, const QRectF &quad)
{
    const int left = int(std::floor(quad.left()));
    const int top = int(std::floor(quad.top()));
    const QRect box(left, top, int(std::ceil(quad.right())) + 1 - left,
                    int(std::ceil(quad.bottom())) + 1 - top);
    const double w = intoSize.width();
    const double h = intoSize.height();
    getGLExtensionFunctions().glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, into);
    // Straight from the bound target: only the part of the box inside it.
    const QRect inside = box.intersected(QRect(0, 0, targetWidth, targetHeight));
    if (!inside.isEmpty())
        glCopyTexSubImage2D(GL_TEXTURE_2D, 0, inside.x() - left, inside.y() - top, inside.x(),
                            inside.y(), inside.width(), inside.height());
    glBindTexture(GL_TEXTURE_2D, 0);
    return QRectF((quad.x() - left) / w, (quad.y() - top) / h, quad.width() / w, quad.height() / h);
}

void VellCanvas::blendThroughShader(GLuint backdropCopy, const QSize &copySize, int targetWidth,
                                    int targetHeight, GLuint sourceTexture, const QRectF &quad,
                                    const QRectF &srcCoord, GLuint maskTexture,
                                    const QRectF &maskCoord, int mode, float opacity,
                                    const QPointF &docCorner, float docScale)
{
    if (!blendProgram || !backdropCopy)
        return;
    glDisable(GL_BLEND);
    const QRectF backdropCoord =
        copyBackdrop(backdropCopy, copySize, targetWidth, targetHeight, quad);

    bindUnit(GL_TEXTURE0, sourceTexture);
    bindUnit(GL_TEXTURE1, backdropCopy);
    if (maskTexture)
        bindUnit(GL_TEXTURE2, maskTexture);

    QGLShaderProgram *program = blendProgramFor(mode);
    program->bind();
    program->setUniformValue("srcTex", GLint(0));
    program->setUniformValue("dstTex", GLint(1));
    program->setUniformValue("layerMaskTex", GLint(2));
    program->setUniformValue("hasLayerMask", GLint(maskTexture ? 1 : 0));
    program->setUniformValue("mode", GLint(mode));   // absent from a program with the mode built in
    program->setUniformValue("opacity", GLfloat(opacity));
    program->setUniformValue("docOrigin", QVector2D(docCorner));
    program->setUniformValue("docScale", GLfloat(docScale));

    drawQuad(quad, srcCoord, &backdropCoord, &maskCoord);

    if (maskTexture)
        bindUnit(GL_TEXTURE2, 0);
    bindUnit(GL_TEXTURE1, 0);
    bindUnit(GL_TEXTURE0, 0);
    program->release();
    glFinish();
}

VellLayer *VellCanvas::activeRasterLayer() const
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    if (!document)
        return nullptr;
    VellLayerBase *active = document->getLayerManager()->getActiveLayer();
    return active && active->getType() == VellLayerType::Raster ? qobject_cast<VellLayer *>(active) : nullptr;
}

bool VellCanvas::isTextBeingEdited() const
{
    if (!editingTextLayer)
        return false;
    const VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    const IVellTool *tool = document ? document->getCurrentTool() : nullptr;
    return tool && tool->getName() == QLatin1String("Text Tool");
}

VellSelection *VellCanvas::shownSelection() const
{
    if (selection)
        return selection;
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    return document ? document->getSelection() : nullptr;
}

void VellCanvas::Render(VellContext *document)
{
    document = resolveDocument(document);
    if (!document || !canvasFbo)
        return;
    makeCurrent();
    partialRender = false;
    const float fboScale = getFboScale();
    // Display and entire textures are kept current by the layers themselves:
    // there is nothing to prepare before the pass.
    const QVector<VellDrawnLayer> layers = VellLayerWalk::drawnLayers(
        document, VellLayerWalk::Display, showPreview,
        isTextBeingEdited() ? editingTextLayer : nullptr);
    {
        VellRenderPass pass(canvasFbo.get());
        if (!pass.isOpen())
            return;
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glEnable(GL_TEXTURE_2D);
        glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        drawBackground();

        for (const VellDrawnLayer &drawn : layers) {
            VellLayerBase *layer = drawn.layer;
            VellLayer *raster = drawn.raster;
            const VellGLTexture2D *thumb = layer->getThumbTexture();
            GLuint source = thumb->getId();
            QRectF srcCoord = validCoord(thumb);
            if (drawn.source == VellDrawnLayer::EntireTexture) {
                source = raster->getEntireTexture()->getId();
                const QRectF part = visibleRect.translated(-raster->getPosition())
                                    & QRectF(0.0, 0.0, raster->getWidth(), raster->getHeight());
                srcCoord = raster->getBoundedTexCoord(part);
            }
            const QPolygonF polygon = layer->getThumbQuadOnFbo(fboCorner, fboScale);
            if (polygon.size() < 3)
                continue;
            const QRectF quad = QRectF(polygon.at(0), polygon.at(2));

            if (drawn.program == VellDrawnLayer::PlainOver) {
                glBindTexture(GL_TEXTURE_2D, source);
                glColor4f(1.0f, 1.0f, 1.0f, drawn.opacity);
                unsigned int srcFactor = GL_SRC_ALPHA, dstFactor = GL_ONE_MINUS_SRC_ALPHA;
                layer->getGLBlendMode(srcFactor, dstFactor);
                glBlendFunc(srcFactor, dstFactor);
                drawQuad(quad, srcCoord, nullptr, nullptr);
                glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
                glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
                glBindTexture(GL_TEXTURE_2D, 0);
                continue;
            }
            GLuint maskTexture = 0;
            QRectF maskCoord;
            if (drawn.masked && raster->getLayerMaskTexture()) {
                maskTexture = raster->getLayerMaskTexture()->getId();
                maskCoord = raster->getLayerMaskTexCoord();
            }
            blendThroughShader(backdrop->texture(), backdrop->size(), pass.width(),
                               pass.height(), source, quad, srcCoord, maskTexture, maskCoord,
                               drawn.mode, drawn.opacity, fboCorner, fboScale);
            glEnable(GL_BLEND);
        }
    }
    postRender(document);
}

void VellCanvas::postRender(VellContext *document)
{
    document = resolveDocument(document);
    if (!document || !canvasFbo || !postProgram || !backdrop)
        return;
    makeCurrent();
    const bool channelView = document->displayingChannel != VellChannelBits::All;
    const QVector<VellLayer *> overlays = VellLayerWalk::maskOverlays(document);
    if (!channelView && overlays.isEmpty())
        return;
    VellRenderPass pass(canvasFbo.get());
    if (!pass.isOpen())
        return;
    const int fw = pass.width();
    const int fh = pass.height();
    glDisable(GL_BLEND);

    if (channelView) {
        const QRectF whole(0.0, 0.0, fw, fh);
        const QRectF coord = copyBackdrop(backdrop->texture(), backdrop->size(), fw, fh, whole);
        bindUnit(GL_TEXTURE0, backdrop->texture());
        postProgram->bind();
        postProgram->setUniformValue("srcTex", GLint(0));
        postProgram->setUniformValue("displayingChannel", GLint(document->displayingChannel));
        drawQuad(whole, coord, nullptr, nullptr);
        postProgram->release();
        bindUnit(GL_TEXTURE0, 0);
        glFinish();
    }

    // Masks shown over their layers.
    for (VellLayer *layer : overlays) {
        const QPolygonF polygon = layer->getThumbQuadOnFbo(fboCorner, getFboScale());
        if (polygon.size() < 3)
            continue;
        const QRectF quad(polygon.at(0), polygon.at(2));
        const QRectF coord = copyBackdrop(backdrop->texture(), backdrop->size(), fw, fh, quad);
        const QRectF maskCoord = layer->getLayerMaskTexCoord();
        bindUnit(GL_TEXTURE0, backdrop->texture());
        bindUnit(GL_TEXTURE1, layer->getLayerMaskTexture()->getId());
        postProgram->bind();
        postProgram->setUniformValue("srcTex", GLint(0));
        postProgram->setUniformValue("layerMaskTex", GLint(1));
        postProgram->setUniformValue("displayingChannel", GLint(VellChannelBits::All));
        drawQuad(quad, coord, &maskCoord, nullptr);
        postProgram->release();
        bindUnit(GL_TEXTURE1, 0);
        bindUnit(GL_TEXTURE0, 0);
        glFinish();
    }
}

void VellCanvas::Render(VellContext *document, QRectF rect)
{
    document = resolveDocument(document);
    if (!document || !canvasFbo)
        return;
    makeCurrent();
    partialRender = true;
    updateRect = rect;
    const QVector<VellDrawnLayer> layers = VellLayerWalk::drawnLayers(
        document, VellLayerWalk::DisplayPart, true, editingTextLayer);
    VellRenderPass pass(canvasFbo.get());
    if (!pass.isOpen())
        return;
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glEnable(GL_TEXTURE_2D);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    drawBackground(rect);

    const QRectF target = getScaledFboRegion(rect);
    for (const VellDrawnLayer &drawn : layers) {
        const QRectF coord =
            drawn.raster->getThumbRegionCoord(rect.translated(-drawn.raster->getPosition()));
        glBindTexture(GL_TEXTURE_2D, drawn.raster->getThumbTexture()->getId());
        glColor4f(1.0f, 1.0f, 1.0f, drawn.opacity);
        drawQuad(target, coord, nullptr, nullptr);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
}

void VellCanvas::initializeGL()
{
    makeCurrent();
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_LIGHTING);
    glClearColor(kWindowGrey, kWindowGrey, kWindowGrey, 1.0f);
}

void VellCanvas::paintGL()
{
    makeCurrent();
    getGLExtensionFunctions().glActiveTexture(GL_TEXTURE0);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ZERO);
    setupWindowProjection();
    glClearColor(kWindowGrey, kWindowGrey, kWindowGrey, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    if (!canvasFbo)
        return;

    const double fboScale = getFboScale();
    glPushMatrix();
    glTranslated(qMax(0.0, origin.x()), qMax(0.0, origin.y()), 0.0);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, canvasFbo->texture());
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    drawQuad(QRectF(0.0, 0.0, fboRegionWidth * fboScale, fboRegionHeight * fboScale),
             QRectF(0.0, 0.0, fboRegionWidth / canvasFbo->width(),
                    fboRegionHeight / canvasFbo->height()),
             nullptr, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    glPopMatrix();

    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    // The marching ants, laid over the composite where it lies and moved
    // with a selection being dragged.
    VellSelection *shown = shownSelection();
    if (shown && shown->hasSelection() && selectionFbo) {
        const QPointF moved = shown->getTranslation();
        glPushMatrix();
        glTranslated(qMax(0.0, origin.x()) + moved.x(), qMax(0.0, origin.y()) + moved.y(), 0.0);
        glBindTexture(GL_TEXTURE_2D, selectionFbo->texture());
        drawQuad(QRectF(0.0, 0.0, selectionFbo->width() * fboScale, selectionFbo->height() * fboScale),
                 QRectF(0.0, 0.0, 1.0, 1.0), nullptr, nullptr);
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopMatrix();
    }

    glPushMatrix();
    glTranslated(origin.x(), origin.y(), 0.0);
    glDisable(GL_TEXTURE_2D);
    glBlendFunc(GL_ONE_MINUS_DST_COLOR, GL_ZERO);
    emit drawFeedback();
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glPopMatrix();
}

void VellCanvas::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    if (skipGLPaint) {
        if (!skipCPUPaint)
            paintCPU(&painter, event->rect(), resolveDocument(nullptr));
        emit cpuDraw(&painter);
        return;
    }
    makeCurrent();
    if (resolveDocument(nullptr)) {
        painter.beginNativePainting();
        QGLWidget::paintEvent(event);
        painter.endNativePainting();
    } else {   // nothing to show: the empty grey of the window
        glClearColor(kWindowGrey, kWindowGrey, kWindowGrey, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    setupWindowProjection();
    if (isTextBeingEdited())
        editingTextLayer->editRender(&painter);
    painter.end();
    swapBuffers();
}

void VellCanvas::paintCPU(QPainter *painter, QRect rect, VellContext *document)
{
    painter->fillRect(rect, QColor::fromRgbF(kWindowGrey, kWindowGrey, kWindowGrey));
    if (!document || !canvasFbo)
        return;
    // The last composite, placed and scaled as paintGL places it.
    const double fboScale = getFboScale();
    const QImage composite = toQimage();
    const QRectF target(qMax(0.0, origin.x()) / scale, qMax(0.0, origin.y()) / scale,
                        fboRegionWidth * fboScale / scale, fboRegionHeight * fboScale / scale);
    painter->drawImage(target, composite, QRectF(0.0, 0.0, fboRegionWidth, fboRegionHeight));
}

void VellCanvas::renderCPU(QImage *, QRect, VellContext *)
{
}

QImage VellCanvas::toQimage()
{
    if (!canvasFbo)
        return QImage();
    // Row 0 is the top of the shown part of the document, as in the texture.
    QImage image(canvasFbo->width(), canvasFbo->height(), QImage::Format_ARGB32);
    const QByteArray bytes = getCanvasRawData();
    if (!image.isNull() && bytes.size() == image.sizeInBytes())
        memcpy(image.bits(), bytes.constData(), size_t(bytes.size()));
    return image;
}

QByteArray VellCanvas::getCanvasRawData()
{
    if (!canvasFbo)
        return QByteArray();
    makeCurrent();
    QByteArray bytes(canvasFbo->width() * canvasFbo->height() * 4, '\0');
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glBindTexture(GL_TEXTURE_2D, canvasFbo->texture());
    glGetTexImage(GL_TEXTURE_2D, 0, GL_BGRA, GL_UNSIGNED_BYTE, bytes.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    return bytes;
}

QColor VellCanvas::readPixel(int x, int y)
{
    if (x < 1 || y < 1 || x >= width() - 1 || y >= height() - 1)
        return QColor::fromRgbF(kWindowGrey, kWindowGrey, kWindowGrey);
    makeCurrent();
    QGLFramebufferObject::bindDefault();
    GLubyte rgba[4] = {0, 0, 0, 0};
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(x, height() - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    return QColor(rgba[0], rgba[1], rgba[2], rgba[3]);
}

QColor VellCanvas::readMousePosPixel()
{
    const QPoint position = mapFromGlobal(QCursor::pos());
    return readPixel(position.x(), position.y());
}

QImage *VellCanvas::renderToImage(VellContext *document)
{
    document = resolveDocument(document);
    if (!document || canvasWidth <= 0 || canvasHeight <= 0 || !isValid())
        return nullptr;
    makeCurrent();
    const int width = canvasWidth;
    const int height = canvasHeight;
    const QVector<VellDrawnLayer> layers = VellLayerWalk::drawnLayers(document, VellLayerWalk::Export);

    // One plain layer covering the document: its host already is the image.
    if (document->getLayerManager()->getLayerCount() == 1 && layers.size() == 1
        && layers.first().raster) {
        VellLayer *layer = layers.first().raster;
        VellPictureHost *host = layer->getPictureHost();
        if (std::abs(layer->getPosition().x()) < 1e-12
            && std::abs(layer->getPosition().y()) < 1e-12 && layer->getAlpha() == 1.0f
            && host->getPixelWidth() == 4 && int(host->getWidth()) == width
            && int(host->getHeight()) == height && !layer->hasLayerMask()) {
            if (layer->getLatestPlace() == VellLayer::GpuNewer)
                layer->fboTextureToHost(true);
            return new QImage(host->getData(), width, height, width * 4, QImage::Format_ARGB32);
        }
    }

    // Room for the document's target and copies next to the active layer's
    // textures; otherwise drop those for the time being.
    VellLayer *emptied = nullptr;
    if (VellLayer *active = activeRasterLayer()) {
        const quint64 needed = quint64(width) * quint64(height) * 8u;
        const unsigned int available = VellGpuManager::getInstance()->getAvailableMemory();
        if (available != VellGpuManager::kUnknownMemory && needed > quint64(available) * 1024u) {
            active->deleteTextures();
            emptied = active;
        }
    }

    VellGLTexture2D target(width, height, GL_BGRA, false);
    VellGLTexture2D scratch(width, height, GL_BGRA, false);   // every layer's backdrop copy
    VellGLFramebufferObject framebuffer(width, height);
    {
        VellRenderPass pass(&framebuffer, target.getId());
        if (!pass.isOpen())
            return nullptr;
        glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    // A pass per layer, opened once the layer's sources are on the GPU:
    // uploading a host or a mask may run passes of its own, and only one
    // inactive layer's full-size upload is held at a time.
    const QRectF documentRect(0.0, 0.0, width, height);
    for (const VellDrawnLayer &drawn : layers) {
        if (drawn.text) {
            // The layer's rendering at scale 1 covers its document rectangle.
            const QRectF textRect = drawn.text->getDocumentRect();
            const QRectF rect = textRect & documentRect;
            VellGLTexture2D *texture = rect.isEmpty() ? nullptr : drawn.text->getEntireTexture();
            if (!texture)
                continue;
            const QRectF local = rect.translated(-textRect.topLeft());
            const QRectF coord(local.x() / textRect.width(), local.y() / textRect.height(),
                               local.width() / textRect.width(), local.height() / textRect.height());
            VellRenderPass pass(&framebuffer, target.getId());
            if (!pass.isOpen())
                break;
            blendThroughShader(scratch.getId(), QSize(width, height), width, height,
                               texture->getId(), rect, coord, 0, QRectF(), drawn.mode,
                               drawn.opacity, QPointF(0.0, 0.0), 1.0f);
            continue;
        }
        VellLayer *layer = drawn.raster;
        const QRectF layerRect(layer->getPosition(), QSizeF(layer->getWidth(), layer->getHeight()));
        const QRectF rect = layerRect & documentRect;
        if (rect.isEmpty())
            continue;
        std::unique_ptr<VellGLTexture2D> temporary;
        GLuint source = 0;
        if (!layer->getEntireTexture()) {
            temporary.reset(layer->getPictureHost()->getEntireTexture());
            if (!temporary)
                continue;
            source = temporary->getId();
        } else {
            if (layer->getLatestPlace() == VellLayer::HostOnly)
                layer->hostToEntireTexture();
            source = layer->getEntireTexture()->getId();
        }
        const QRectF local = rect.translated(-layer->getPosition());
        GLuint maskTexture = 0;
        QRectF maskCoord;
        if (VellLayerMask *mask = drawn.masked ? layer->getLayerMask() : nullptr) {
            if (!mask->getEntireTexture())
                mask->initTexture();
            if (mask->getEntireTexture()) {
                maskTexture = mask->getEntireTexture()->getId();
                maskCoord = mask->getTexCoord(local.translated(-layer->getLayerMaskPosition()));
            }
        }
        VellRenderPass pass(&framebuffer, target.getId());
        if (!pass.isOpen())
            break;
        blendThroughShader(scratch.getId(), QSize(width, height), width, height, source, rect,
                           layer->getBoundedTexCoord(local), maskTexture, maskCoord, drawn.mode,
                           drawn.opacity, QPointF(0.0, 0.0), 1.0f);
    }

    auto image = std::make_unique<QImage>(width, height, QImage::Format_ARGB32);
    if (!image->isNull()) {
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glBindTexture(GL_TEXTURE_2D, target.getId());
        glGetTexImage(GL_TEXTURE_2D, 0, GL_BGRA, GL_UNSIGNED_BYTE, image->bits());
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    if (emptied) {
        emptied->refresh();
        emptied->setLatestPlace(VellLayer::BothAgree);
    }
    return image->isNull() ? nullptr : image.release();
}
