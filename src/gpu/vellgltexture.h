#ifndef VELLGLTEXTURE_H
#define VELLGLTEXTURE_H

#include <QCoreApplication>
#include <qopengl.h>

#include <functional>

// Base of the library's GL textures: a 2D texture name with its size and
// pixel format. The object owns its name: it is made in the constructor and
// deleted in the destructor, both with a GL context current (GUI thread).
// Without a current context no name is made and failed() is true; every
// operation on such a texture does nothing.
//
// Storage is (re)specified through specify(), which runs the video-memory
// recovery: on GL_OUT_OF_MEMORY it clears the history, drops inactive layers'
// textures and tries once more; if that fails too it tells the user "Out of
// memory!" and quits the event loop. Not copyable.
class VellGLTexture
{
    Q_DECLARE_TR_FUNCTIONS(VellGLTexture)

public:
    virtual ~VellGLTexture();
    Q_DISABLE_COPY(VellGLTexture)

    // The base binds nothing; colour textures bind to GL_TEXTURE_2D.
    virtual void bind();
    virtual void unbind();
    // True when built from a null image, without a current GL context, or
    // when the driver refused the storage (the size then reads 0 x 0).
    virtual bool failed() const;

    GLuint getId() const { return id; }   // still owned by this object
    int getWidth() const { return width; }
    int getHeight() const { return height; }
    // The valid size: the allocated size unless an owner that fills only part
    // of the texture (a layer's display texture) records a smaller one.
    double getWidthF() const { return widthF; }
    double getHeightF() const { return heightF; }
    void setValidSize(double w, double h) { widthF = w; heightF = h; }
    unsigned int getFormat() const { return format; }
    unsigned int getType() const { return type; }
    unsigned int getSize() const { return size; }   // bytes of the pixels

    // Same type, size, width, height and format; the names may differ.
    bool operator==(const VellGLTexture &other) const;
    bool operator!=(const VellGLTexture &other) const { return !(*this == other); }

    // When `other` matches (see ==), deletes this texture's name and takes
    // over other's; `other` is left without a name (only its destructor
    // should run) so that exactly one object deletes the shared name.
    // Otherwise changes nothing.
    void ChangeHandle(VellGLTexture *other);

    // Test seam: sees the glGetError() value read after each storage
    // allocation and returns the one to act on, e.g. GL_OUT_OF_MEMORY to
    // drive the recovery path. Empty restores the plain read. Returns the
    // previous hook.
    using AllocationErrorHook = std::function<GLenum(GLenum reported)>;
    static AllocationErrorHook setAllocationErrorHook(AllocationErrorHook hook);

protected:
    // Generates the name (then glFinish) when a context is current.
    VellGLTexture();

    // Records the size (negative sizes count as 0) and the byte size for
    // `bytesPerPixel`.
    void setGeometry(int w, int h, int bytesPerPixel);
    // Specifies level 0 of the whole texture from `pixels` (null: storage
    // without contents) with the recovery described above; storage the
    // driver still refuses is dropped (0 x 0, failed). Then sets
    // clamp-to-edge wrapping and linear or nearest filtering. Rows of
    // `pixels` are tightly packed. Leaves GL_TEXTURE_2D unbound.
    void specify(GLint internalFormat, GLenum pixelFormat, GLenum pixelType,
                 const void *pixels, bool linear);
    // Downloads level 0 into tightly packed rows; `pixels` must hold `size`
    // bytes. Expects the texture bound to GL_TEXTURE_2D.
    void download(GLenum pixelFormat, GLenum pixelType, void *pixels, int rowAlignment = 1);

    GLuint id = 0;                // owned
    bool failedFlag = false;
    int width = 0;
    int height = 0;
    unsigned int format = 0;      // GL_BGRA, GL_RGBA16 or GL_LUMINANCE
    unsigned int type = GL_UNSIGNED_BYTE;
    unsigned int size = 0;
    double widthF = 0.0;
    double heightF = 0.0;
};

#endif // VELLGLTEXTURE_H
