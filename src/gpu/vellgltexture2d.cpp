#include "gpu/vellgltexture2d.h"

#include "foundation/vellmemory.h"
#include "gpu/glextensionfunctions.h"

#include <QImage>

namespace {

// GL_BGRA and GL_RGBA16 are the only tags; every other code means 8 bits.
unsigned int normalisedFormat(unsigned int format)
{
    return format == GL_RGBA16 ? GL_RGBA16 : GL_BGRA;
}

} // namespace

VellGLTexture2D::VellGLTexture2D(int width, int height, unsigned int format, bool linear)
    : VellGLTexture2D(width, height, nullptr, format, linear)
{
}

VellGLTexture2D::VellGLTexture2D(int width, int height, const unsigned int *pixels,
                                 unsigned int format, bool linear)
{
    this->format = normalisedFormat(format);
    load(width, height, pixels, linear);
}

VellGLTexture2D::VellGLTexture2D(const QImage &image, unsigned int format, bool linear)
{
    this->format = normalisedFormat(format);
    if (image.isNull()) {
        failedFlag = true;
        return;
    }
    // Textures hold straight (not premultiplied) B, G, R, A bytes.
    const bool argb = image.format() == QImage::Format_ARGB32
                      || image.format() == QImage::Format_RGB32;
    const QImage source = argb ? image : image.convertToFormat(QImage::Format_ARGB32);
    setGeometry(source.width(), source.height(), is16Bit() ? 8 : 4);
    // ARGB32 rows are whole 32-bit words, so they are tightly packed; for a
    // 16-bit texture the driver widens the bytes to words.
    specify(is16Bit() ? GL_RGBA16 : GL_RGBA, GL_BGRA, GL_UNSIGNED_BYTE, source.constBits(),
            linear);
}

void VellGLTexture2D::bind()
{
    glBindTexture(GL_TEXTURE_2D, id);
    glEnable(GL_TEXTURE_2D);
}

void VellGLTexture2D::unbind()
{
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
}

void VellGLTexture2D::load(int width, int height, const unsigned int *pixels, bool linear)
{
    setGeometry(width, height, is16Bit() ? 8 : 4);
    if (is16Bit())
        specify(GL_RGBA16, GL_BGRA, GL_UNSIGNED_SHORT, pixels, linear);
    else
        specify(GL_RGBA, GL_BGRA, GL_UNSIGNED_BYTE, pixels, linear);
}

void VellGLTexture2D::write(unsigned int *pixels)
{
    if (!id || !pixels)
        return;
    const GLExtensionFunctions &gl = getGLExtensionFunctions();
    if (gl.glActiveTexture)
        gl.glActiveTexture(GL_TEXTURE0);
    bind();
    download(GL_BGRA, is16Bit() ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE, pixels);
    unbind();
}

QImage VellGLTexture2D::toQImage()
{
    VellMemory::clearMemory();
    if (!id)
        return QImage();
    QImage image(width, height, QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    glBindTexture(GL_TEXTURE_2D, id);
    download(GL_BGRA, GL_UNSIGNED_BYTE, image.bits());
    glBindTexture(GL_TEXTURE_2D, 0);
    return image;
}
