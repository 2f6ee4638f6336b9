#ifndef VELLRENDERPASS_H
#define VELLRENDERPASS_H

#include <QtGlobal>
#include <qopengl.h>

class QGLFramebufferObject;
class VellGLFramebufferObject;

// One off-screen drawing pass, open for the object's lifetime: opening binds
// the target, saves the GL state a pass changes (viewport, enables, blending,
// current colour, the projection and modelview matrices) and sets a pixel
// projection over the target (origin bottom-left, one unit a texel); the
// destructor restores all of it and binds the window again. Texture bindings
// are not saved: whatever a pass binds, it unbinds.
//
// Passes do not nest. Preparing a source texture (uploading a host, filling
// a display texture, building reduced levels) may run a pass of its own, and
// ending that one would leave the outer pass drawing into the window without
// a word. So every source is prepared before a pass opens, and a pass asked
// for while another is open is refused: isOpen() is false, the refusal is
// logged once per attempt, and the caller draws nothing.
// VellGLFramebufferObject::begin follows the same rule through claim().
//
// GUI thread only, with the context that owns the target current. Does not
// own the target. Not copyable.
class VellRenderPass
{
public:
    // The canvas's framebuffers.
    explicit VellRenderPass(QGLFramebufferObject *target);
    // A texture (not owned) attached to `framebuffer` for the pass; the
    // framebuffer must be complete with it, else the pass is not open.
    VellRenderPass(VellGLFramebufferObject *framebuffer, GLuint texture);
    ~VellRenderPass();
    Q_DISABLE_COPY(VellRenderPass)

    bool isOpen() const { return open; }
    int width() const { return targetWidth; }
    int height() const { return targetHeight; }

    // Whether any pass is open, through this class or a framebuffer object.
    static bool isAnyOpen();
    // The bookkeeping behind the rule: `owner` (a pass or a framebuffer
    // object) takes the one open pass; false, logged, when another owner
    // holds it. release() by the holder frees it; by anyone else it does
    // nothing.
    static bool claim(const void *owner);
    static void release(const void *owner);

private:
    void saveStateAndProject();

    QGLFramebufferObject *canvasTarget = nullptr;        // not owned
    VellGLFramebufferObject *framebuffer = nullptr;     // not owned
    int targetWidth = 0;
    int targetHeight = 0;
    bool open = false;
};

#endif // VELLRENDERPASS_H
