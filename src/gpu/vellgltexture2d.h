#ifndef VELLGLTEXTURE2D_H
#define VELLGLTEXTURE2D_H

#include "gpu/vellgltexture.h"

class QImage;

// A four-channel colour texture in the picture host's memory layout:
// format GL_BGRA means 4 bytes B, G, R, A per pixel (stored as GL_RGBA);
// GL_RGBA16 means four 16-bit words B, G, R, A (stored as GL_RGBA16,
// transferred as GL_BGRA / GL_UNSIGNED_SHORT). Any other format code handed
// in (the picture code passes GL_RGBA8) is taken as GL_BGRA.
// Needs a current GL context for every call; see VellGLTexture.
class VellGLTexture2D : public VellGLTexture
{
public:
    // Storage without contents.
    VellGLTexture2D(int width, int height, unsigned int format, bool linear);
    // Storage filled from `pixels` (width x height pixels, rows tightly
    // packed); null gives storage without contents.
    VellGLTexture2D(int width, int height, const unsigned int *pixels, unsigned int format,
                    bool linear);
    // From an image's pixels (converted to ARGB32 first when it is in
    // another format). A 16-bit texture gets each 8-bit channel widened by
    // the driver (x * 257). A null image only sets the failed flag.
    VellGLTexture2D(const QImage &image, unsigned int format, bool linear);

    void bind() override;     // binds to GL_TEXTURE_2D and enables texturing
    void unbind() override;   // binds 0 and disables texturing

    // Re-specifies the whole texture with a new size and contents (null:
    // storage without contents); the format stays.
    void load(int width, int height, const unsigned int *pixels, bool linear);
    // Moves the pixels out into `pixels`, which must hold getSize() bytes;
    // does nothing for null. Uses texture unit 0 and leaves it unbound.
    void write(unsigned int *pixels);
    // An ARGB32 copy (16-bit textures are narrowed by the driver); a null
    // image for a texture without a name.
    QImage toQImage();

    bool is16Bit() const { return format == GL_RGBA16; }
};

#endif // VELLGLTEXTURE2D_H
