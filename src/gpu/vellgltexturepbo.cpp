#include "gpu/vellgltexturepbo.h"

#include "gpu/glextensionfunctions.h"
#include "gpu/vellgltexture2d.h"

namespace {

// The transfers move 4 bytes per pixel; a texture re-specified larger since
// the buffer was made would overrun it.
// Empty transfers are skipped too: drivers reject any access to a buffer
// without storage, even one of no bytes.
bool fits(const VellGLTexture2D *texture, int bufferSize)
{
    if (!texture || !texture->getId())
        return false;
    const qint64 bytes = qint64(texture->getWidth()) * texture->getHeight() * 4;
    return bytes > 0 && bytes <= bufferSize;
}

} // namespace

VellGLTexturePBO::VellGLTexturePBO(VellGLTexture2D *texture)
    : VellGLPixelBufferObject(texture ? int(texture->getSize()) : 0), texture(texture)
{
}

void VellGLTexturePBO::packTextureToPbo()
{
    if (!buffer || !fits(texture, size))
        return;
    texture->bind();
    bindPack();
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);   // offset 0
    unbind();
    texture->unbind();
}

void VellGLTexturePBO::unpackPboToTexture()
{
    if (!buffer || !fits(texture, size))
        return;
    texture->bind();
    bindUnPack();
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, texture->getWidth(), texture->getHeight(), GL_RGBA,
                    GL_UNSIGNED_BYTE, nullptr);   // offset 0
    unbind();
    texture->unbind();
}
