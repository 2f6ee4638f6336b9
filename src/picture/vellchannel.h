#ifndef VELLCHANNEL_H
#define VELLCHANNEL_H

#include <QObject>
#include <QRect>
#include <QRectF>

class QDataStream;
class VellGLTextureLuminance;

// A one-channel 8-bit image with its luminance texture: layer masks and the
// grey-level copy of the selection are channels. 255 means fully on (opaque,
// selected), 0 fully off.
//
// The data is height rows of paddedWidth bytes, paddedWidth being the width
// rounded up to a multiple of 4 so that rows meet OpenGL's default unpack
// alignment and the buffer can be uploaded as it is. The padding bytes belong
// to the data: invert(), copies and the stream form cover them.
//
// Owns the data (from the memory budget, VellMemory) and the texture. The data
// exists between init() and release(); the texture is made only while a GL
// context is current, so without one getEntireTexture() is null and the
// memory side works on its own (update() makes the texture later).
//
// GUI thread: the texture needs the canvas's context current. The data must
// stay below 2^31 bytes, since the budget books sizes as int; a bigger or
// negative size is refused and leaves a 0 x 0 channel with no data (isNull()).
class VellChannel : public QObject
{
    Q_OBJECT

public:
    // Data filled with 255, texture made from it. Constructors run this
    // class's init() and initTexture(), never a subclass's overrides.
    VellChannel(int width, int height, QObject *parent = nullptr);
    // Copy of the other channel's size and bytes, with a texture of its own. A
    // null or empty source gives a null channel.
    explicit VellChannel(const VellChannel *other);
    ~VellChannel() override;

    virtual VellGLTextureLuminance *getEntireTexture() const { return texture; }   // owned here
    virtual unsigned char *getData() const { return data; }   // owned here; null when released
    // Uploads the part of the data inside rect (clipped to the channel) to the
    // texture, widened on the left to a multiple of 4 columns; nothing without
    // a texture.
    virtual void update(const QRect &rect);
    // Re-creates the texture from the data (initTexture()): the old texture is
    // deleted, so a pointer taken from getEntireTexture() before is stale.
    virtual void update();
    // rect in texture coordinates: (x / width, y / height, w / width,
    // h / height), each rounded through single precision. Null for an empty
    // channel.
    virtual QRectF getTexCoord(const QRectF &rect) const;
    virtual int getWidth() const { return width; }
    virtual int getHeight() const { return height; }
    virtual int getPaddedWidth() const { return paddedWidth; }
    // release(), adopt the new size, init(): every byte becomes 255. The flag
    // means nothing here; subclasses may use it.
    virtual void resize(int width, int height, bool flag);
    // Every byte b (padding included) becomes 255 - b, then update().
    virtual void invert();
    // Frees data and texture; the size is kept for a later init().
    virtual void release();
    // Fresh data of the current size filled with 255, then initTexture().
    virtual void init();
    // Deletes any texture and, with a GL context current and data present,
    // makes a new one of width x height from the data (linear filtering).
    virtual void initTexture();

    bool isNull() const { return data == nullptr; }
    qint64 getByteCount() const { return qint64(paddedWidth) * height; }
    // width rounded up to a multiple of 4; -1 when that exceeds an int.
    static int paddedWidthFor(int width);

protected:
    struct Adopt {};
    // Takes data (paddedWidth x height bytes from VellMemory::alloc) as it is;
    // for the stream readers, which have already checked the size.
    VellChannel(int width, int height, unsigned char *data, Adopt, QObject *parent = nullptr);
    // The stream form's header and bytes, for this class's reader and those of
    // subclasses that share the form: the data (the caller owns it, to adopt)
    // with *width and *height set, or null with the stream's status set and
    // the failure logged under `owner`.
    static unsigned char *readStreamForm(QDataStream &in, int *width, int *height,
                                         const char *owner);
    // Replaces data and size by `data` (width x height in padded rows, from
    // VellMemory::alloc; the channel owns it from here on) and remakes the
    // texture: how a subclass that computed a new picture beside the old one
    // commits it. False, freeing `data` and changing nothing, for a size the
    // channel refuses.
    bool adoptData(int width, int height, unsigned char *data);

private:
    // Sets the size, or refuses it (0 x 0, logged) and returns false.
    bool setSize(int width, int height);
    void uploadColumns(int left, int top, int columns, int rows);

    unsigned char *data = nullptr;   // owned, from VellMemory::alloc
    int paddedWidth = 0;
    int width = 0;
    int height = 0;
    VellGLTextureLuminance *texture = nullptr;   // owned

    friend QDataStream &operator>>(QDataStream &in, VellChannel **channel);
};

// Stream form: width and height as 32-bit integers in the stream's byte
// order, then paddedWidth x height raw bytes with no length prefix. Writing a
// null channel, or one without data, writes nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, const VellChannel *channel);
// Allocates *channel (the caller owns it) and uploads its texture when a
// context is current. A truncated or malformed stream (one side 0 and the
// other not included) leaves *channel null with the status set to
// ReadPastEnd or ReadCorruptData, and never allocates more than the stream
// can supply.
QDataStream &operator>>(QDataStream &in, VellChannel **channel);

#endif // VELLCHANNEL_H
