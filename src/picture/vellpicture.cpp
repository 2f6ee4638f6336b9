#include "picture/vellpicture.h"

#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgltexture2d.h"
#include "picture/vellreadbudgetbytes.h"

#include <QDataStream>
#include <QOpenGLContext>

#include <climits>
#include <cstring>
#include <memory>

static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "ARGB32 images must be stored B, G, R, A");

VellPicture::VellPicture(unsigned int width, unsigned int height, PictureDepth depth)
    : IVellPicture(width, height, depth)
{
    createTexture();
}

VellPicture::VellPicture(const unsigned char *data, unsigned int width, unsigned int height,
                         PictureDepth depth)
    : IVellPicture(data, width, height, depth)
{
    createTexture();
}

VellPicture::VellPicture(const VellPicture &other) : IVellPicture(other)
{
    createTexture();
}

VellPicture::~VellPicture()
{
    delete texture;   // the memory copy goes in the base destructor
}

void VellPicture::createTexture()
{
    if (isNull() || !QOpenGLContext::currentContext())
        return;
    // new[] memory is aligned for any type, so the bytes may be read as words.
    texture = new VellGLTexture2D(int(width), int(height),
                                  reinterpret_cast<const unsigned int *>(data), GL_RGBA8, true);
}

QImage VellPicture::toQImage()
{
    sync();
    if (isNull())
        return QImage();
    QImage image(int(width), int(height), QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    std::memcpy(image.bits(), data, size);   // ARGB32 rows of 4-byte pixels are unpadded
    return image;
}

void VellPicture::sync()
{
    lastestModified = 0;
    // A texture the driver refused, or one read without its context, would
    // leave the memory copy undefined; keep the old pixels instead.
    if (!texture || texture->failed() || texture->getSize() != size
        || !QOpenGLContext::currentContext())
        return;
    texture->write(reinterpret_cast<unsigned int *>(data));
}

void VellPicture::sync(unsigned int, unsigned char, unsigned char *)
{
    lastestModified = 0;
}

void VellPicture::updateTexture()
{
    lastestModified = 1;
}

unsigned char *VellPicture::getRgb24()
{
    return data;
}

void VellPicture::getHistgram(int *, int)
{
}

QDataStream &operator<<(QDataStream &out, VellPicture *picture)
{
    if (!picture) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    picture->sync();
    out << quint32(picture->getDepth()) << quint32(picture->getHeight())
        << quint32(picture->getWidth()) << quint32(picture->getSize());
    out.writeBytes(reinterpret_cast<const char *>(picture->getRgb24()), picture->getSize());
    return out;
}

QDataStream &operator>>(QDataStream &in, VellPicture **picture)
{
    if (!picture)
        return in;
    *picture = nullptr;
    if (!in.device()) {
        in.setStatus(QDataStream::ReadPastEnd);
        return in;
    }
    quint32 depth = 0, height = 0, width = 0, size = 0, length = 0;
    in >> depth >> height >> width >> size >> length;
    if (in.status() != QDataStream::Ok) {
        VellLog::Instance()->Log("VellPicture: stream ended inside the header\n");
        return in;
    }
    // A writer only produces depth 4, sizes below 2^31 and a length equal to
    // the size; anything else is a damaged stream.
    // Dividing keeps the check from overflowing; once it passes the product fits.
    const bool fits = depth == 4 && (width == 0 || height <= unsigned(INT_MAX) / width / depth);
    if (!fits || size != width * height * depth || length != size) {
        VellLog::Instance()->Log("VellPicture: corrupt stream header %u x %u x %u, %u bytes\n",
                                 width, height, depth, length);
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    if (size == 0) {
        *picture = new VellPicture(width, height, depth);
        return in;
    }
    // Read through the budget, which checks what the device can supply before
    // allocating; the picture then takes its own copy.
    unsigned char *bytesRead = vellReadBudgetBytes(in, qint64(size), "VellPicture");
    if (!bytesRead)
        return in;
    std::unique_ptr<VellPicture> read(new VellPicture(bytesRead, width, height, depth));
    VellMemory::getInstance()->release(bytesRead);
    if (read->isNull())
        return in;   // no memory for the copy; the constructor logged it
    *picture = read.release();
    return in;
}
