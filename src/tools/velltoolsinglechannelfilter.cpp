#include "tools/velltoolsinglechannelfilter.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velllayermask.h"
#include "foundation/vellcodes.h"
#include "foundation/velllog.h"
#include "foundation/vellmessagebox.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltextureluminance.h"
#include "gpu/vellrenderpass.h"
#include "history/vellhistory.h"
#include "history/velllayermaskfullmemo.h"
#include "picture/vellchannel.h"

#include <QApplication>
#include <QGLShaderProgram>
#include <QTimer>

#include <cstring>
#include <vector>

namespace {

// A refusal the user reads in a message box; in batch mode, where no modal
// dialog may stop the run, it goes to the log instead.
void refuse(const VellContext *document, const QString &text)
{
    if (document->batchFlag)
        VellLog::Instance()->Log("%s\n", qPrintable(text));
    else
        VellMessageBox::about(VellToolSingleChannelFilter::tr("Error"), text);
}

} // namespace

VellToolSingleChannelFilter::VellToolSingleChannelFilter(QObject *parent) : VellToolBase(parent) {}

// The backup's texture is a name of the canvas's context.
VellToolSingleChannelFilter::~VellToolSingleChannelFilter()
{
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    backup.reset();
}

void VellToolSingleChannelFilter::active(VellContext *document)
{
    if (!document || activeFlag || document->getLayerManager()->getLayerCount() == 0)
        return;
    VellLayerBase *current = document->getLayerManager()->getActiveLayer();
    if (!current)
        return;
    if (current->getType() != VellLayerType::Raster) {
        refuse(document, tr("This tool doesn't support text layer, please choose an image layer on the layer manager."));
        disActive();
        return;
    }
    auto *image = qobject_cast<VellLayer *>(current);
    if (!image || !image->getPictureHost())
        return;
    if (!image->hasLayerMask()) {
        refuse(document, tr("Current layer doesn't have a mask!"));
        disActive();
        return;
    }
    initBusyTimer();
    mask = image->getLayerMask();
    if (!mask)
        return;
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    backup = std::make_unique<VellChannel>(mask);
    context = document;
    layer = image;
    initShader();
    initParamWidget();
    widgetBuilt = true;
    activeFlag = true;
    document->setCurrentTool(this);
    reservedFlag = false;
    initParams();
    if (VellCanvas *canvas = VellCanvas::getInstance())
        connect(canvas, &VellCanvas::timeOut, this, &VellToolBase::onTimeout, Qt::UniqueConnection);
    previewUpToDate = true;
    showWidget();
    if (QWidget *widget = getWidget())
        QApplication::setActiveWindow(widget);
}

void VellToolSingleChannelFilter::disActive()
{
    if (!activeFlag)
        return;
    activeFlag = false;
    if (context)
        context->setCurrentTool(nullptr);
    if (VellCanvas *canvas = VellCanvas::getInstance()) {
        disconnect(canvas, &VellCanvas::timeOut, this, &VellToolBase::onTimeout);
        canvas->makeCurrent();
    }
    hideWidget();
    if (context)
        context->setCurrentTool(nullptr);
    backup.reset();
    if (busyTimer)
        busyTimer->stop();
}

VellLayer *VellToolSingleChannelFilter::maskEditingLayer() const
{
    if (!context)
        return nullptr;
    auto *image = qobject_cast<VellLayer *>(context->getLayerManager()->getActiveLayer());
    if (!image || image->getType() != VellLayerType::Raster || !image->getPictureHost()
        || !image->isEdittingMask() || image->getLayerMask() != mask)
        return nullptr;
    return image;
}

bool VellToolSingleChannelFilter::renderPreview(VellLayer *image)
{
    VellCanvas *canvas = VellCanvas::getInstance();
    QGLShaderProgram *program = getProgram();
    VellGLTextureLuminance *target = mask ? mask->getEntireTexture() : nullptr;
    VellGLTextureLuminance *source = backup ? backup->getEntireTexture() : nullptr;
    if (!canvas || !program || !program->isLinked() || !target || !source)
        return false;
    canvas->makeCurrent();
    preApply();
    const int width = mask->getWidth(), height = mask->getHeight();
    {
        VellGLFramebufferObject framebuffer(width, height);
        VellRenderPass pass(&framebuffer, target->getId());
        if (!pass.isOpen())
            return false;
        glDisable(GL_BLEND);
        glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        GLExtensionFunctions &gl = getGLExtensionFunctions();
        gl.glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, source->getId());
        passTextures();
        program->bind();
        program->setUniformValue("image", 0);
        passParamsToShader();
        glBegin(GL_QUADS);
        gl.glMultiTexCoord2fARB(GL_TEXTURE0, 0.0f, 0.0f);
        glVertex2d(0.0, 0.0);
        gl.glMultiTexCoord2fARB(GL_TEXTURE0, 1.0f, 0.0f);
        glVertex2d(width, 0.0);
        gl.glMultiTexCoord2fARB(GL_TEXTURE0, 1.0f, 1.0f);
        glVertex2d(width, height);
        gl.glMultiTexCoord2fARB(GL_TEXTURE0, 0.0f, 1.0f);
        glVertex2d(0.0, height);
        glEnd();
        gl.glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, 0);
        glFlush();
        program->release();
    }
    postApply();
    canvas->Render(context);
    canvas->update();
    Q_UNUSED(image)
    return true;
}

void VellToolSingleChannelFilter::actuallyApply()
{
    if (!activeFlag)
        return;
    if (VellLayer *image = maskEditingLayer())
        renderPreview(image);
}

void VellToolSingleChannelFilter::applyEntire()
{
    VellLayer *image = activeFlag ? maskEditingLayer() : nullptr;
    if (!image || !mask || !mask->getData() || !mask->getEntireTexture() || !getProgram()
        || !getProgram()->isLinked())
        return;
    // The mask's bytes still hold what the user started from: recorded first,
    // so that Undo brings them back.
    if (context && !context->batchFlag && !context->quietFlag && context->getHistory())
        context->getHistory()->pushNewMemo(new VellLayerMaskFullMemo(context, image->getPermanentIndex()));
    if (!renderPreview(image))
        return;
    const int width = mask->getWidth(), height = mask->getHeight(), padded = mask->getPaddedWidth();
    VellGLTextureLuminance *texture = mask->getEntireTexture();
    if (padded == width) {
        texture->write(mask->getData());
        return;
    }
    std::vector<unsigned char> rows(size_t(width) * size_t(height));
    texture->write(rows.data());
    for (int y = 0; y < height; ++y)
        std::memcpy(mask->getData() + size_t(y) * size_t(padded), rows.data() + size_t(y) * size_t(width),
                    size_t(width));
}

void VellToolSingleChannelFilter::applyEntire(bool silent)
{
    Q_UNUSED(silent)
    applyEntire();
}

void VellToolSingleChannelFilter::ok()
{
    hideWidget();
    applyEntire();
    disActive();
}

void VellToolSingleChannelFilter::restoreData()
{
    if (!mask || !backup || !mask->getData() || !backup->getData()
        || mask->getByteCount() != backup->getByteCount())
        return;
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    std::memcpy(mask->getData(), backup->getData(), size_t(backup->getByteCount()));
    mask->update();
    if (VellCanvas *canvas = VellCanvas::getInstance()) {
        canvas->Render(context);
        canvas->update();
    }
}
