#include "picture/ivellpicture.h"

#include "foundation/velllog.h"

#include <climits>
#include <cstring>
#include <new>

IVellPicture::IVellPicture(unsigned int width, unsigned int height, PictureDepth depth)
{
    allocate(width, height, depth);
}

IVellPicture::IVellPicture(const unsigned char *data, unsigned int width, unsigned int height,
                           PictureDepth depth)
{
    allocate(width, height, depth);
    if (this->data && data)
        std::memcpy(this->data, data, size);
}

IVellPicture::IVellPicture(const IVellPicture &other)
    : IVellPicture(other.data, other.width, other.height, other.depth)
{
    isDataIdentical = other.isDataIdentical;
}

IVellPicture::~IVellPicture()
{
    delete[] data;
}

void IVellPicture::allocate(unsigned int width, unsigned int height, PictureDepth depth)
{
    // Below 2^31 bytes: the stream form and QImage count bytes as int. The
    // division keeps the check itself from overflowing.
    const bool fits = depth == 4 && width <= INT_MAX && height <= INT_MAX
                      && (width == 0 || height <= unsigned(INT_MAX) / width / depth);
    if (!fits) {
        VellLog::Instance()->Log("IVellPicture: refused %u x %u x %u\n", width, height, depth);
        return;
    }
    const unsigned int bytes = width * height * depth;
    if (bytes == 0)
        return;   // an empty picture holds nothing and is null
    data = new (std::nothrow) unsigned char[bytes];
    if (!data) {
        VellLog::Instance()->Log("IVellPicture: no memory for %u x %u\n", width, height);
        return;
    }
    this->width = width;
    this->height = height;
    this->depth = depth;
    size = bytes;
}
