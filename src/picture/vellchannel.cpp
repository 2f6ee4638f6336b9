#include "picture/vellchannel.h"

#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgltextureluminance.h"
#include "picture/vellreadbudgetbytes.h"

#include <QDataStream>
#include <QOpenGLContext>

#include <climits>
#include <cstring>

namespace {

// Below this many rows a loop is too short to pay for waking the thread team.
const int kParallelRows = 64;

// Sets every byte of `rows` rows of `stride` bytes to `value`.
void fillRows(unsigned char *bits, int rows, size_t stride, int value)
{
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int y = 0; y < rows; ++y)
        std::memset(bits + size_t(y) * stride, value, stride);
}

// Whether a width x height channel can be held: sides not negative and the
// padded data below 2^31 bytes, since the budget books sizes as int.
bool acceptedSize(int width, int height)
{
    const int padded = VellChannel::paddedWidthFor(width);
    // padded and height are below 2^31, so the product fits in 64 bits.
    return width >= 0 && height >= 0 && padded >= 0 && qint64(padded) * height <= qint64(INT_MAX);
}

} // namespace

VellChannel::VellChannel(int width, int height, QObject *parent)
    : QObject(parent)
{
    if (setSize(width, height))
        init();
}

VellChannel::VellChannel(const VellChannel *other)
{
    if (!other || !other->data || !setSize(other->width, other->height))
        return;
    data = VellMemory::getInstance()->alloc(int(getByteCount()));
    if (!data)
        return;
    std::memcpy(data, other->data, size_t(getByteCount()));
    initTexture();
}

VellChannel::VellChannel(int width, int height, unsigned char *adopted, Adopt, QObject *parent)
    : QObject(parent), data(adopted), paddedWidth(paddedWidthFor(width)), width(width), height(height)
{
    initTexture();
}

VellChannel::~VellChannel()
{
    release();
}

int VellChannel::paddedWidthFor(int width)
{
    const qint64 padded = (qint64(width) + 3) / 4 * 4;
    return padded > INT_MAX ? -1 : int(padded);
}

bool VellChannel::setSize(int newWidth, int newHeight)
{
    if (!acceptedSize(newWidth, newHeight)) {
        VellLog::Instance()->Log("VellChannel: refused a %d x %d channel\n", newWidth, newHeight);
        width = height = paddedWidth = 0;
        return false;
    }
    width = newWidth;
    height = newHeight;
    paddedWidth = paddedWidthFor(newWidth);
    return true;
}

void VellChannel::release()
{
    delete texture;
    texture = nullptr;
    if (data)
        VellMemory::getInstance()->release(data);
    data = nullptr;
}

void VellChannel::init()
{
    release();
    data = VellMemory::getInstance()->alloc(int(getByteCount()));
    if (!data)
        return;
    fillRows(data, height, size_t(paddedWidth), 255);
    initTexture();
}

void VellChannel::resize(int newWidth, int newHeight, bool)
{
    release();
    if (setSize(newWidth, newHeight))
        init();
}

void VellChannel::invert()
{
    if (!data)
        return;
    unsigned char *bits = data;
    const size_t stride = size_t(paddedWidth);
    const int rows = height;
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int y = 0; y < rows; ++y) {
        unsigned char *px = bits + size_t(y) * stride;
        for (size_t x = 0; x < stride; ++x)
            px[x] = static_cast<unsigned char>(255 - px[x]);
    }
    update();
}

QRectF VellChannel::getTexCoord(const QRectF &rect) const
{
    if (width <= 0 || height <= 0)
        return QRectF();
    const double w = width, h = height;
    return QRectF(float(rect.x() / w), float(rect.y() / h), float(rect.width() / w),
                  float(rect.height() / h));
}

void VellChannel::update()
{
    initTexture();
}

void VellChannel::initTexture()
{
    delete texture;
    texture = nullptr;
    // Without a context there is nothing to make it in; the memory side works
    // alone and a later update() makes the texture.
    if (!data || width == 0 || height == 0 || !QOpenGLContext::currentContext())
        return;
    // The texture takes tightly packed rows, ours are padded, so the storage
    // is made empty and filled by the same row upload as a partial update.
    texture = new VellGLTextureLuminance(width, height, true);
    uploadColumns(0, 0, width, height);
}

// A partial update re-sends whole 4-byte groups of each row, starting at the
// group that holds the rectangle's left edge, as long as they stay inside the
// texture; at the right edge it sends only up to the rectangle's right edge.
void VellChannel::update(const QRect &rect)
{
    if (!texture || !data)
        return;
    const QRect part = rect.intersected(QRect(0, 0, width, height));
    if (part.isEmpty())
        return;
    const int left = part.left() / 4 * 4;
    const int span = part.right() + 1 - left;
    const int groups = (span + 3) / 4 * 4;
    uploadColumns(left, part.top(), left + groups < width ? groups : span, part.height());
}

// Sends `columns` x `rows` bytes of the data, from (left, top), into the same
// place of the texture. The rows are read in place: the unpack row length
// steps over the padding, so no scratch copy is needed.
void VellChannel::uploadColumns(int left, int top, int columns, int rows)
{
    GLint previousAlignment = 4, previousRowLength = 0;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &previousAlignment);
    glGetIntegerv(GL_UNPACK_ROW_LENGTH, &previousRowLength);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);   // paddedWidth is a multiple of 4
    glPixelStorei(GL_UNPACK_ROW_LENGTH, paddedWidth);
    glBindTexture(GL_TEXTURE_2D, texture->getId());
    glTexSubImage2D(GL_TEXTURE_2D, 0, left, top, columns, rows, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                    data + size_t(top) * size_t(paddedWidth) + size_t(left));
    glBindTexture(GL_TEXTURE_2D, 0);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, previousRowLength);
    glPixelStorei(GL_UNPACK_ALIGNMENT, previousAlignment);
}

bool VellChannel::adoptData(int newWidth, int newHeight, unsigned char *adopted)
{
    if (!acceptedSize(newWidth, newHeight)) {
        VellMemory::getInstance()->release(adopted);
        return false;
    }
    release();
    setSize(newWidth, newHeight);
    data = adopted;
    initTexture();
    return true;
}

QDataStream &operator<<(QDataStream &out, const VellChannel *channel)
{
    if (!channel || !channel->getData()) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    out << qint32(channel->getWidth()) << qint32(channel->getHeight());
    const qint64 bytes = channel->getByteCount();   // below 2^31 for every channel
    const char *raw = reinterpret_cast<const char *>(channel->getData());
    if (bytes > 0 && out.writeRawData(raw, int(bytes)) != bytes)
        out.setStatus(QDataStream::WriteFailed);
    return out;
}

unsigned char *VellChannel::readStreamForm(QDataStream &in, int *width, int *height,
                                           const char *owner)
{
    if (!in.device()) {
        in.setStatus(QDataStream::ReadPastEnd);
        return nullptr;
    }
    qint32 w = 0, h = 0;
    in >> w >> h;
    if (in.status() != QDataStream::Ok) {
        VellLog::Instance()->Log("%s: stream ended inside the header\n", owner);
        return nullptr;
    }
    // A writer only produces sizes the constructor accepts; anything else is a
    // damaged stream.
    // One empty side is no picture either: 0 x 2^31 - 1 holds no bytes, yet
    // every row loop would still walk its rows. 0 x 0 is the empty channel.
    if (!acceptedSize(w, h) || (w == 0) != (h == 0)) {
        VellLog::Instance()->Log("%s: corrupt stream header %d x %d\n", owner, w, h);
        in.setStatus(QDataStream::ReadCorruptData);
        return nullptr;
    }
    unsigned char *bytes = vellReadBudgetBytes(in, qint64(paddedWidthFor(w)) * h, owner);
    if (bytes) {
        *width = w;
        *height = h;
    }
    return bytes;
}

QDataStream &operator>>(QDataStream &in, VellChannel **channel)
{
    if (!channel)
        return in;
    *channel = nullptr;
    int width = 0, height = 0;
    if (unsigned char *data = VellChannel::readStreamForm(in, &width, &height, "VellChannel"))
        *channel = new VellChannel(width, height, data, VellChannel::Adopt());
    return in;
}
