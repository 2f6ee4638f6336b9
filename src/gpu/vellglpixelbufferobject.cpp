#include "gpu/vellglpixelbufferobject.h"

#include "foundation/velllog.h"
#include "gpu/glextensionfunctions.h"

#include <QOpenGLContext>

VellGLPixelBufferObject::VellGLPixelBufferObject(int size)
    : size(qMax(0, size))
{
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    if (!QOpenGLContext::currentContext() || !gl.openGL15Supported()) {
        VellLog::Instance()->Log("Pixel buffer object needs a GL context with buffer objects\n");
        return;
    }
    gl.glGenBuffers(1, &buffer);
    gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
    gl.glBufferData(GL_PIXEL_UNPACK_BUFFER, this->size, nullptr, GL_STREAM_DRAW);
    gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
}

VellGLPixelBufferObject::~VellGLPixelBufferObject()
{
    if (!buffer)
        return;
    if (!QOpenGLContext::currentContext()) {
        VellLog::Instance()->Log("Pixel buffer object deleted without a current GL context\n");
        return;
    }
    unbind();
    // Deleting a mapped buffer unmaps it.
    getGLExtensionFunctions().glDeleteBuffers(1, &buffer);
}

void VellGLPixelBufferObject::bindPack()
{
    if (buffer)
        getGLExtensionFunctions().glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
}

void VellGLPixelBufferObject::bindUnPack()
{
    if (buffer)
        getGLExtensionFunctions().glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
}

void VellGLPixelBufferObject::unbind()
{
    if (!buffer)
        return;
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
}

void *VellGLPixelBufferObject::lock(bool wait)
{
    Q_UNUSED(wait)
    if (!buffer || size == 0 || locked)
        return nullptr;   // a buffer without bytes, or already mapped, cannot be mapped
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
    // The mapping belongs to the buffer, not to the binding, so the target
    // can be released at once.
    void *pointer = gl.glMapBuffer(GL_PIXEL_PACK_BUFFER, GL_READ_WRITE);
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    locked = pointer != nullptr;
    return pointer;
}

void VellGLPixelBufferObject::unlock()
{
    if (!locked)
        return;   // unmapping an unmapped buffer is an error
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
    gl.glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
    locked = false;
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
}
