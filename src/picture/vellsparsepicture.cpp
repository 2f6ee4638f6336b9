#include "picture/vellsparsepicture.h"

#include "picture/vellchannel.h"
#include "picture/vellpicturehost.h"

#include <cstring>

// The lists are stored as they are and their elements' layout is part of what
// a recording tool relies on.
static_assert(sizeof(CoordPixel8bit) == 8, "x, y and four bytes");
static_assert(sizeof(CoordPixel16bit) == 12, "x, y and four 16-bit channels");
static_assert(sizeof(CoordPixel) == 8, "x, y and a 32-bit slot");

namespace {

// Exchanges each element's pixel with the host's. Sequential on purpose: the
// list is in recording order and a place recorded twice must be exchanged in
// that order.
// An element's pixel is a whole host pixel (4 or 8 bytes), copied bytewise so
// 16-bit channels keep the host's little-endian layout.
template <typename Element>
void swapElements(QVector<Element> &list, VellPictureHost *host)
{
    constexpr size_t pixelWidth = sizeof(Element::pixel);
    unsigned char *bits = host->getData();
    const unsigned int width = host->getWidth(), height = host->getHeight();
    for (Element &e : list) {
        if (e.x >= width || e.y >= height)
            continue;
        unsigned char *px = bits + (size_t(e.y) * width + e.x) * pixelWidth;
        unsigned char saved[pixelWidth];
        std::memcpy(saved, px, pixelWidth);
        std::memcpy(px, e.pixel, pixelWidth);
        std::memcpy(e.pixel, saved, pixelWidth);
    }
}

} // namespace

VellSparsePicture::VellSparsePicture(int width, int height, int pixelWidth, QObject *parent)
    : QObject(parent), width(width), height(height), pixelWidth(pixelWidth)
{
}

VellSparsePicture::~VellSparsePicture() = default;

bool VellSparsePicture::swapToPicture(VellPictureHost *host)
{
    if (!host || !host->getData() || host->getWidth() != unsigned(width)
        || host->getHeight() != unsigned(height) || host->getPixelWidth() != unsigned(pixelWidth))
        return false;
    if (pixelWidth == 8)
        swapElements(data16bit, host);
    else if (pixelWidth == 4)
        swapElements(data8bit, host);
    return true;
}

bool VellSparsePicture::swapToChannel(VellChannel *channel)
{
    if (!channel || !channel->getData())
        return false;
    unsigned char *bits = channel->getData();
    const size_t stride = size_t(channel->getPaddedWidth());
    const int w = channel->getWidth(), h = channel->getHeight();
    for (CoordPixel &e : channelData) {
        if (e.x >= w || e.y >= h)
            continue;
        unsigned char &byte = bits[size_t(e.y) * stride + e.x];
        const quint32 previous = byte;
        byte = static_cast<unsigned char>(e.value);
        e.value = previous;
    }
    return true;
}
