// The marching ants: the selection's outline program and its pass into the
// canvas's selection framebuffer, and the canvas hooks that drive it.
#include "selection/vellselection.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellrenderpass.h"
#include "gpu/vellshaderbuilder.h"

#include <QGLFramebufferObject>
#include <QGLShaderProgram>
#include <QVector2D>

namespace {

const char *const kShaderPath = ":/Resources/selectionRendering.glsl_";
constexpr int kPhaseCount = 8;
// The dash cell of the outline, in framebuffer pixels.
const QVector2D kFragSpacing(2.0f, 2.0f);

VellSelection *currentSelection()
{
    VellContextManager *manager = VellContextManager::getInstance();
    VellContext *document = manager ? manager->getCurrentContext() : nullptr;
    return document ? document->getSelection() : nullptr;
}

} // namespace

int VellSelection::phase = 0;

void VellSelection::initShader()
{
    if (program)
        return;
    program = VellShaderBuilder::build(QString::fromLatin1(kShaderPath), QStringLiteral("selection"));
}

void VellSelection::render(VellCanvas *canvas)
{
    if (!canvas || !canvas->getSelectionFbo())
        return;
    canvas->makeCurrent();
    initShader();
    const unsigned int mask = getTextureHandle();
    const int width = getWidth(), height = getHeight();
    if (!program || !program->isLinked() || !mask || width <= 0 || height <= 0)
        return;

    QGLFramebufferObject *fbo = canvas->getSelectionFbo();
    const QRectF visible = canvas->getVisibleRect();
    const float scale = canvas->getFboScale();
    phase = (phase + 1) % kPhaseCount;
    // The outline lies inside the selection's box, so without the tint only
    // the box (grown by two fragments, against rounding) is drawn: the rest
    // of the framebuffer stays clear, and a software rasteriser is spared
    // running the outline program over the whole view on every tick.
    QRectF region = visible;
    if (!displayMask) {
        const QRectF box = boundBox.width() > 0 && boundBox.height() > 0 ? boundBox : QRectF();
        region = box.adjusted(-2.0 * scale, -2.0 * scale, 2.0 * scale, 2.0 * scale) & visible;
    }
    const QRectF coords = getTexCoord(region);

    VellRenderPass pass(fbo);
    if (!pass.isOpen())
        return;
    glDisable(GL_BLEND);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

    GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, mask);
    program->bind();
    program->setUniformValue("selection", 1);
    program->setUniformValue("colorFlag", phase);
    program->setUniformValue("displayMask", int(displayMask));
    program->setUniformValue("displayMarchingAnts", int(displayMarchingAnts));
    program->setUniformValue("texel", QVector2D(scale / float(width), scale / float(height)));
    program->setUniformValue("fragSpacing", kFragSpacing);

    // Framebuffer row 0 shows the top of the visible part, as in the
    // canvas framebuffer that this one is laid over.
    if (!region.isEmpty()) {
        const double left = (region.left() - visible.left()) / scale;
        const double top = (region.top() - visible.top()) / scale;
        const double right = (region.right() - visible.left()) / scale;
        const double bottom = (region.bottom() - visible.top()) / scale;
        glBegin(GL_QUADS);
        glTexCoord2d(coords.left(), coords.top());
        glVertex2d(left, top);
        glTexCoord2d(coords.right(), coords.top());
        glVertex2d(right, top);
        glTexCoord2d(coords.right(), coords.bottom());
        glVertex2d(right, bottom);
        glTexCoord2d(coords.left(), coords.bottom());
        glVertex2d(left, bottom);
        glEnd();
    }

    program->release();
    glBindTexture(GL_TEXTURE_2D, 0);
    gl.glActiveTexture(GL_TEXTURE0);
    glFlush();
}

void VellSelection::renderOnCanvas()
{
    VellCanvas *canvas = VellCanvas::getInstance();
    if (canvas && currentSelection() == this && hasSelection())
        render(canvas);
}

void VellSelection::installCanvasHooks()
{
    VellCanvas::ViewHooks hooks = VellCanvas::viewHooks();
    if (!hooks.renderSelectionOutline)
        hooks.renderSelectionOutline = [] {
            VellCanvas *canvas = VellCanvas::getInstance();
            VellSelection *selection = currentSelection();
            if (!canvas || !selection || !selection->hasSelection())
                return false;
            selection->render(canvas);
            return true;
        };
    if (!hooks.resizeSelection)
        hooks.resizeSelection = [](int width, int height) {
            VellSelection *selection = currentSelection();
            if (!selection)
                return;
            if (selection->getWidth() != width || selection->getHeight() != height)
                selection->resize(width, height, false);
            selection->initMasks();
        };
    VellCanvas::setViewHooks(hooks);
}
