#ifndef VELLSPARSEPICTURE_H
#define VELLSPARSEPICTURE_H

#include <QObject>
#include <QVector>
#include <QtGlobal>

class VellChannel;
class VellPictureHost;

// One recorded pixel of a 4-byte picture: picture coordinates, then the bytes
// B, G, R, A as the host stores them.
struct CoordPixel8bit
{
    quint16 x = 0;
    quint16 y = 0;
    unsigned char pixel[4] = {0, 0, 0, 0};
};

// One recorded pixel of an 8-byte picture: four 16-bit channels B, G, R, A.
struct CoordPixel16bit
{
    quint16 x = 0;
    quint16 y = 0;
    quint16 pixel[4] = {0, 0, 0, 0};
};

// One recorded channel value; the 8-bit value sits in a 32-bit slot.
struct CoordPixel
{
    quint16 x = 0;
    quint16 y = 0;
    quint32 value = 0;
};

// The previous values of the pixels an edit changed, kept so that an undo
// record can exchange them with the live image. A painting tool appends one
// element per changed pixel to the list that matches the pixel width (4:
// data8bit, 8: data16bit, 1: channelData); the other lists stay empty.
// Coordinates are 16-bit, so only pictures up to 65536 pixels a side can be
// recorded this way.
//
// Owns its lists. No lock: one thread at a time. Exchanging never touches a
// texture; the caller refreshes whatever shows the image afterwards.
class VellSparsePicture : public QObject
{
    Q_OBJECT

public:
    // pixelWidth: 4 or 8 for a colour picture, 1 for a channel; kept as given.
    VellSparsePicture(int width, int height, int pixelWidth, QObject *parent = nullptr);
    ~VellSparsePicture() override;

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    int getPixelWidth() const { return pixelWidth; }
    // The lists themselves, for the recording tool to append to.
    QVector<CoordPixel8bit> &getData8bit() { return data8bit; }
    QVector<CoordPixel16bit> &getData16bit() { return data16bit; }
    QVector<CoordPixel> &getChannelData() { return channelData; }

    // Exchanges every recorded pixel with the host's pixel at its place, so
    // exchanging twice restores both sides (as long as no place is recorded
    // twice). Only a host of this picture's width, height and pixel width is
    // touched; false otherwise. Elements outside the picture are skipped.
    virtual bool swapToPicture(VellPictureHost *host);
    // Exchanges channelData with the channel's bytes (row stride paddedWidth).
    // False when the channel has no data; elements outside it are skipped.
    virtual bool swapToChannel(VellChannel *channel);

private:
    int width = 0;
    int height = 0;
    int pixelWidth = 4;
    QVector<CoordPixel8bit> data8bit;
    QVector<CoordPixel16bit> data16bit;
    QVector<CoordPixel> channelData;
};

#endif // VELLSPARSEPICTURE_H
