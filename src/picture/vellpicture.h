#ifndef VELLPICTURE_H
#define VELLPICTURE_H

#include "picture/ivellpicture.h"

class QDataStream;

// The whole-picture class: an IVellPicture whose texture is a VellGLTexture2D
// (GL_RGBA8, linear filtering) made from the memory copy at construction.
//
// The texture is made only when a GL context is current and the picture is
// not null; without one getTexture() is null, sync() reads nothing back and
// the memory copy is all there is. Memory and texture both hold B, G, R, A.
class VellPicture : public IVellPicture
{
public:
    VellPicture(unsigned int width, unsigned int height, PictureDepth depth);
    VellPicture(const unsigned char *data, unsigned int width, unsigned int height,
                PictureDepth depth);
    // Copies other's memory copy (not its texture) into a new texture.
    VellPicture(const VellPicture &other);
    ~VellPicture() override;

    QImage toQImage() override;
    // Reads the texture back as GL_BGRA / GL_UNSIGNED_BYTE, so memory keeps
    // the byte order it was uploaded from. Needs the texture's context current.
    void sync() override;
    void sync(unsigned int, unsigned char, unsigned char *) override;
    void updateTexture() override;
    unsigned char *getRgb24() override;
    // Kept for outside callers; computes nothing and leaves `histogram` alone.
    void getHistgram(int *histogram, int count);

private:
    void createTexture();
};

// Stream form, in the stream's byte order: sync() first, then depth, height,
// width and size as 32-bit unsigned integers, then the size bytes with
// QDataStream::writeBytes (a 32-bit length, then the bytes). A null pointer
// writes nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, VellPicture *picture);
// Allocates *picture, which the caller then owns. A truncated or malformed
// stream leaves *picture null with the stream's status set, and never makes
// us allocate more than the stream can supply.
QDataStream &operator>>(QDataStream &in, VellPicture **picture);

#endif // VELLPICTURE_H
