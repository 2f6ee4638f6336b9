#include "gpu/vellrenderpass.h"

#include "foundation/velllog.h"
#include "gpu/vellglframebufferobject.h"

#include <QGLFramebufferObject>

namespace {

const void *openPassOwner = nullptr;   // GUI thread only, like every GL call

} // namespace

bool VellRenderPass::isAnyOpen()
{
    return openPassOwner != nullptr;
}

bool VellRenderPass::claim(const void *owner)
{
    if (openPassOwner && openPassOwner != owner) {
        VellLog::Instance()->Log("Render pass refused: another pass is still open\n");
        return false;
    }
    openPassOwner = owner;
    return true;
}

void VellRenderPass::release(const void *owner)
{
    if (openPassOwner == owner)
        openPassOwner = nullptr;
}

VellRenderPass::VellRenderPass(QGLFramebufferObject *target) : canvasTarget(target)
{
    if (!target || !target->isValid() || !claim(this))
        return;
    if (!target->bind()) {
        release(this);
        return;
    }
    targetWidth = target->width();
    targetHeight = target->height();
    glPushAttrib(GL_VIEWPORT_BIT);
    glViewport(0, 0, targetWidth, targetHeight);
    saveStateAndProject();
    open = true;
}

VellRenderPass::VellRenderPass(VellGLFramebufferObject *target, GLuint texture)
    : framebuffer(target)
{
    if (!target)
        return;
    target->begin(texture);   // claims the pass for the framebuffer object
    if (!target->isComplete()) {
        target->end();
        return;
    }
    targetWidth = target->getWidth();
    targetHeight = target->getHeight();
    saveStateAndProject();
    open = true;
}

VellRenderPass::~VellRenderPass()
{
    if (!open)
        return;
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
    if (framebuffer) {
        framebuffer->end();   // pops its viewport, releases the pass
        return;
    }
    glPopAttrib();
    canvasTarget->release();
    release(this);
}

void VellRenderPass::saveStateAndProject()
{
    // Texture state is left out: saving it costs a software rasteriser
    // several milliseconds a pass, and every pass unbinds what it binds.
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TRANSFORM_BIT);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0.0, targetWidth, 0.0, targetHeight, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
}
