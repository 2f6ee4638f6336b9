#ifndef VELLGLTEXTURELUMINANCE_H
#define VELLGLTEXTURELUMINANCE_H

#include "gpu/vellgltexture.h"

class QImage;

// A one-channel 8-bit texture (GL_LUMINANCE8) for masks, selections and
// single-channel filters. Its memory form is width x height bytes with rows
// tightly packed (no padding to 4); a caller whose rows are padded passes the
// padded width. getFormat() is GL_LUMINANCE. bind() and unbind() do nothing:
// callers bind getId() to the unit they need.
// Needs a current GL context for every call; see VellGLTexture.
class VellGLTextureLuminance : public VellGLTexture
{
public:
    // Storage filled from `pixels`; null gives storage without contents.
    VellGLTextureLuminance(int width, int height, const unsigned char *pixels, bool linear);
    // Storage without contents.
    VellGLTextureLuminance(int width, int height, bool linear);

    // Re-specifies size and contents (null: storage without contents).
    void load(int width, int height, const unsigned char *pixels, bool linear);
    // Moves width x height bytes out into `pixels`; does nothing for null.
    void write(unsigned char *pixels);
    // An Indexed8 copy without a colour table; a null image for a texture
    // without a name.
    QImage toQImage();
};

#endif // VELLGLTEXTURELUMINANCE_H
