#ifndef VELLGLFRAMEBUFFEROBJECT_H
#define VELLGLFRAMEBUFFEROBJECT_H

#include <QtGlobal>
#include <qopengl.h>

// An off-screen render target: an EXT framebuffer object with its own depth
// renderbuffer of a fixed size. A pass attaches the destination texture with
// begin(texture), draws, and calls end(), which detaches everything and
// restores the viewport, so deleting the texture afterwards cannot leave a
// dangling attachment. Passes do not nest: begin() inside this object's own
// pass ends that one first, and begin() while another pass is open (another
// framebuffer object's, or a VellRenderPass) is refused and leaves the
// object inactive, so nothing is drawn into the wrong target.
//
// Owns both names (made in the constructor, deleted in the destructor).
// Needs the framebuffer-object group of the extension table and a current
// GL context (GUI thread); without them it holds no names and every call
// does nothing. Not copyable.
class VellGLFramebufferObject
{
public:
    VellGLFramebufferObject(int width, int height);   // negative sizes count as 0
    virtual ~VellGLFramebufferObject();
    Q_DISABLE_COPY(VellGLFramebufferObject)

    // Binds the framebuffer, pushes the viewport, sets it to the object's
    // size and attaches the depth buffer and level 0 of `texture` (a
    // GL_TEXTURE_2D name, not owned) as colour attachment 0.
    void begin(GLuint texture);
    // Detaches both attachments, pops the viewport and binds framebuffer 0.
    // Does nothing outside a pass.
    void end();
    // true: binds the framebuffer, pushes the viewport and sets it to the
    // object's size, attaching nothing; false: pops it and binds 0.
    void setAsRenderTarget(bool on);

    // True when the framebuffer with its current attachments is complete;
    // outside a pass nothing is attached, so false.
    bool isComplete() const;
    bool isActive() const { return active; }

    GLuint getHandle() const { return framebuffer; }
    int getWidth() const { return width; }
    int getHeight() const { return height; }

private:
    void leave(bool detach);

    GLuint framebuffer = 0;   // owned
    GLuint depthBuffer = 0;   // owned renderbuffer
    int width = 0;
    int height = 0;
    bool active = false;      // bound with one viewport pushed
};

#endif // VELLGLFRAMEBUFFEROBJECT_H
