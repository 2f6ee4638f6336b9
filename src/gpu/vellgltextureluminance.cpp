#include "gpu/vellgltextureluminance.h"

#include "foundation/vellmemory.h"

#include <QImage>

VellGLTextureLuminance::VellGLTextureLuminance(int width, int height,
                                               const unsigned char *pixels, bool linear)
{
    format = GL_LUMINANCE;
    load(width, height, pixels, linear);
}

VellGLTextureLuminance::VellGLTextureLuminance(int width, int height, bool linear)
    : VellGLTextureLuminance(width, height, nullptr, linear)
{
}

void VellGLTextureLuminance::load(int width, int height, const unsigned char *pixels,
                                  bool linear)
{
    setGeometry(width, height, 1);
    specify(GL_LUMINANCE8, GL_LUMINANCE, GL_UNSIGNED_BYTE, pixels, linear);
}

void VellGLTextureLuminance::write(unsigned char *pixels)
{
    if (!id || !pixels)
        return;
    glBindTexture(GL_TEXTURE_2D, id);
    download(GL_LUMINANCE, GL_UNSIGNED_BYTE, pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
}

QImage VellGLTextureLuminance::toQImage()
{
    VellMemory::clearMemory();
    if (!id)
        return QImage();
    QImage image(width, height, QImage::Format_Indexed8);
    if (image.isNull())
        return image;
    // Indexed8 rows are padded to 4 bytes, which is what alignment 4 writes.
    glBindTexture(GL_TEXTURE_2D, id);
    download(GL_LUMINANCE, GL_UNSIGNED_BYTE, image.bits(), 4);
    glBindTexture(GL_TEXTURE_2D, 0);
    return image;
}
