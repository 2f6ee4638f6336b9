#ifndef VELLGLTEXTUREPBO_H
#define VELLGLTEXTUREPBO_H

#include "gpu/vellglpixelbufferobject.h"

class VellGLTexture2D;

// A pixel buffer the size of one colour texture, for moving that texture's
// pixels into the buffer and back. Both transfers use GL_RGBA /
// GL_UNSIGNED_BYTE, 4 bytes per pixel, so a 16-bit texture loses its low
// bytes on the way. The texture is not owned and must outlive this object;
// a null texture gives an empty buffer and transfers that do nothing.
class VellGLTexturePBO : public VellGLPixelBufferObject
{
public:
    explicit VellGLTexturePBO(VellGLTexture2D *texture);

    virtual void packTextureToPbo();     // texture level 0 -> buffer
    virtual void unpackPboToTexture();   // buffer -> whole texture

    VellGLTexture2D *getTexture() const { return texture; }

private:
    VellGLTexture2D *texture = nullptr;   // not owned
};

#endif // VELLGLTEXTUREPBO_H
