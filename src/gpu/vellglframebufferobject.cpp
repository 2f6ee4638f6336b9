#include "gpu/vellglframebufferobject.h"

#include "foundation/velllog.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellrenderpass.h"

#include <QOpenGLContext>

VellGLFramebufferObject::VellGLFramebufferObject(int width, int height)
    : width(qMax(0, width)), height(qMax(0, height))
{
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    if (!QOpenGLContext::currentContext() || !gl.fboSupported()) {
        VellLog::Instance()->Log("Framebuffer object needs a GL context with framebuffer objects\n");
        return;
    }
    gl.glGenFramebuffersEXT(1, &framebuffer);
    gl.glGenRenderbuffersEXT(1, &depthBuffer);
    gl.glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, depthBuffer);
    // A size over the driver's limit gets no depth storage (the object is
    // then never complete) rather than an error left for others to find.
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE_EXT, &maxSize);
    if (this->width <= maxSize && this->height <= maxSize)
        gl.glRenderbufferStorageEXT(GL_RENDERBUFFER_EXT, GL_DEPTH_COMPONENT, this->width,
                                    this->height);
    else
        VellLog::Instance()->Log("Framebuffer object of %dx%d exceeds the driver's %d\n",
                                 this->width, this->height, maxSize);
    gl.glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, 0);
    glFinish();
}

VellGLFramebufferObject::~VellGLFramebufferObject()
{
    if (!framebuffer && !depthBuffer)
        return;
    if (!QOpenGLContext::currentContext()) {
        VellLog::Instance()->Log("Framebuffer object deleted without a current GL context\n");
        return;
    }
    if (active)
        leave(true);
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glDeleteFramebuffersEXT(1, &framebuffer);
    glFinish();
    gl.glDeleteRenderbuffersEXT(1, &depthBuffer);
    glFinish();
}

void VellGLFramebufferObject::begin(GLuint texture)
{
    if (!framebuffer)
        return;
    if (active)
        leave(true);
    if (!VellRenderPass::claim(this))
        return;
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
    glPushAttrib(GL_VIEWPORT_BIT);
    glViewport(0, 0, width, height);
    gl.glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT,
                                    GL_RENDERBUFFER_EXT, depthBuffer);
    gl.glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D,
                                 texture, 0);
    active = true;
}

void VellGLFramebufferObject::end()
{
    if (active)
        leave(true);
}

void VellGLFramebufferObject::setAsRenderTarget(bool on)
{
    if (!framebuffer)
        return;
    if (!on) {
        if (active)
            leave(false);
        return;
    }
    if (active)
        leave(true);
    if (!VellRenderPass::claim(this))
        return;
    getGLExtensionFunctions().glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
    glPushAttrib(GL_VIEWPORT_BIT);
    glViewport(0, 0, width, height);
    active = true;
}

void VellGLFramebufferObject::leave(bool detach)
{
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    if (detach) {
        gl.glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT,
                                        GL_RENDERBUFFER_EXT, 0);
        gl.glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D,
                                     0, 0);
    }
    glPopAttrib();
    gl.glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    active = false;
    VellRenderPass::release(this);
}

bool VellGLFramebufferObject::isComplete() const
{
    if (!framebuffer || !active)
        return false;
    return getGLExtensionFunctions().glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT)
           == GL_FRAMEBUFFER_COMPLETE_EXT;
}
