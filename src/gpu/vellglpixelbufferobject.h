#ifndef VELLGLPIXELBUFFEROBJECT_H
#define VELLGLPIXELBUFFEROBJECT_H

#include <QtGlobal>
#include <qopengl.h>

// A pixel buffer object for transfers between textures and memory that the
// driver may run asynchronously. Exported for hosts; the library itself does
// not use it.
//
// Owns the buffer name: made in the constructor, deleted in the destructor.
// Every call leaves both pixel-buffer targets unbound, so later transfers
// from and to client memory are not redirected into the buffer. Needs the
// OpenGL 1.5 group of the extension table and a current GL context (GUI
// thread); without them it holds no name and every call does nothing.
// Not copyable.
class VellGLPixelBufferObject
{
public:
    explicit VellGLPixelBufferObject(int size);   // bytes; negative counts as 0
    virtual ~VellGLPixelBufferObject();
    Q_DISABLE_COPY(VellGLPixelBufferObject)

    virtual void bindPack();     // to GL_PIXEL_PACK_BUFFER
    virtual void bindUnPack();   // to GL_PIXEL_UNPACK_BUFFER
    virtual void unbind();       // binds 0 to both targets
    // Maps the buffer read-write and returns the pointer, valid until
    // unlock(); null for an empty buffer, one already mapped, or on failure.
    // The flag is accepted for hosts written against it and does not change
    // the mapping.
    virtual void *lock(bool wait);
    virtual void unlock();   // does nothing unless locked

    GLuint getHandle() const { return buffer; }
    int getSize() const { return size; }

protected:
    GLuint buffer = 0;   // owned
    int size = 0;
    bool locked = false; // mapped by lock()
};

#endif // VELLGLPIXELBUFFEROBJECT_H
