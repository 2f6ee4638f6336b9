#ifndef VELLIMAGESAMPLES_H
#define VELLIMAGESAMPLES_H

// For tests of image writers and readers: an image's samples as any reader
// must give them back.

#include <QColor>
#include <QImage>

#include <vector>

// Every channel of every pixel as 16-bit values (8-bit ones times 257),
// from Qt's own pixel accessors; `channels` of R, G, B, A (1: grey as red).
inline std::vector<quint16> vellImageSamples(const QImage &image, int channels)
{
    std::vector<quint16> out;
    out.reserve(size_t(image.width()) * size_t(image.height()) * size_t(channels));
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgba64 c = image.pixelColor(x, y).rgba64();
            const quint16 all[4] = {c.red(), c.green(), c.blue(), c.alpha()};
            out.insert(out.end(), all, all + channels);
        }
    return out;
}

#endif // VELLIMAGESAMPLES_H
