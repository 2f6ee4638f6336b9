#ifndef IVELLPICTURE_H
#define IVELLPICTURE_H

#include <QImage>
#include <QtGlobal>

class VellGLTexture2D;

// Bytes per pixel of a whole picture. Only 4 (8-bit B, G, R, A) is used.
using PictureDepth = unsigned int;

// A whole picture kept twice: one memory copy and one texture, for code
// outside the library and for the picture reader. The concrete class makes
// and owns the texture; this base owns the memory copy (new[]).
//
// Byte order: the memory copy is always B, G, R, A per pixel (the layout of
// QImage::Format_ARGB32 on little-endian machines), both when it is uploaded
// and after sync() reads the texture back, so a round trip changes no byte.
//
// Only depth 4 is accepted, since the texture and toQImage() read 4 bytes a
// pixel; another depth, a size of 2^31 bytes or more, or a failed allocation
// gives a null picture (0 x 0, no data). Not assignable; GUI thread (the
// texture needs its GL context current).
class IVellPicture
{
public:
    virtual ~IVellPicture();
    IVellPicture &operator=(const IVellPicture &) = delete;

    // Copies the texture into memory when it is newer (see sync()) and
    // returns an ARGB32 copy of the memory; a null image for a null picture.
    virtual QImage toQImage() = 0;
    // Reads the texture back into the memory copy; afterwards memory is current.
    virtual void sync() = 0;
    // Marks memory current without reading anything back.
    virtual void sync(unsigned int, unsigned char, unsigned char *) = 0;
    // Records that the caller has drawn into the texture.
    virtual void updateTexture() = 0;
    // The memory copy (owned by the picture), getSize() bytes.
    virtual unsigned char *getRgb24() = 0;

    unsigned int getWidth() const { return width; }
    unsigned int getHeight() const { return height; }
    unsigned int getSize() const { return size; }   // width * height * depth
    PictureDepth getDepth() const { return depth; }
    bool isNull() const { return data == nullptr; }
    // A flag the caller keeps; the picture never reads it.
    void setIsDataIdentical(bool identical) { isDataIdentical = identical; }
    bool getIsDataIdentical() const { return isDataIdentical; }
    // 1 when the texture holds newer pixels than memory, 0 after a sync.
    qint32 getLastestModified() const { return lastestModified; }
    VellGLTexture2D *getTexture() const { return texture; }   // owned by the picture

protected:
    // Memory contents undefined.
    IVellPicture(unsigned int width, unsigned int height, PictureDepth depth);
    // Copies width * height * depth bytes from data (null: contents undefined).
    IVellPicture(const unsigned char *data, unsigned int width, unsigned int height,
                 PictureDepth depth);
    // Copies other's memory copy; sync() other first if its texture is newer.
    IVellPicture(const IVellPicture &other);

    VellGLTexture2D *texture = nullptr;   // owned by the concrete class
    qint32 lastestModified = 0;
    unsigned char *data = nullptr;        // owned, new[]
    unsigned int size = 0;
    PictureDepth depth = 4;
    bool isDataIdentical = false;
    unsigned int width = 0;
    unsigned int height = 0;

private:
    void allocate(unsigned int width, unsigned int height, PictureDepth depth);
};

#endif // IVELLPICTURE_H
