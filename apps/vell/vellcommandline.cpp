#include "vellcommandline.h"

#include "picture/vellpicturehost.h"

#include <QImage>

#include <cstdio>
#include <cstring>

void vellError(const QString &message)
{
    std::fprintf(stderr, "vell: %s\n", qPrintable(message));
}

void vellNote(const QString &message)
{
    std::fprintf(stderr, "%s\n", qPrintable(message));
}

void vellPrint(const QString &line)
{
    std::fprintf(stdout, "%s\n", qPrintable(line));
}

// 8-bit hosts share QImage's ARGB32 layout (B, G, R, A bytes on little-endian
// machines); 16-bit hosts hold B, G, R, A words where RGBA64 holds R, G, B, A.
VellPictureHost *vellImageToHost(const QImage &source, bool keepDepth)
{
    const bool deep = keepDepth
        && (source.depth() == 64 || source.format() == QImage::Format_Grayscale16);
    const QImage image = source.convertToFormat(deep ? QImage::Format_RGBA64 : QImage::Format_ARGB32);
    const int w = image.width();
    const int h = image.height();
    VellPictureHost *host = new VellPictureHost(unsigned(w), unsigned(h), deep ? 8 : 4);
    if (host->isNull()) {
        delete host;
        return nullptr;
    }
    for (int y = 0; y < h; ++y) {
        unsigned char *row = host->getData() + size_t(y) * w * host->getPixelWidth();
        if (!deep) {
            std::memcpy(row, image.constScanLine(y), size_t(w) * 4);
            continue;
        }
        const quint16 *src = reinterpret_cast<const quint16 *>(image.constScanLine(y));
        quint16 *dst = reinterpret_cast<quint16 *>(row);
        for (int x = 0; x < w; ++x, src += 4, dst += 4) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
            dst[3] = src[3];
        }
    }
    return host;
}

QImage vellHostToImage(const VellPictureHost *host)
{
    const int w = int(host->getWidth());
    const int h = int(host->getHeight());
    if (host->getPixelWidth() == 4) {
        QImage image(w, h, QImage::Format_ARGB32);
        for (int y = 0; y < h; ++y)
            std::memcpy(image.scanLine(y), host->getData() + size_t(y) * w * 4, size_t(w) * 4);
        return image;
    }
    QImage image(w, h, QImage::Format_RGBA64);
    for (int y = 0; y < h; ++y) {
        const quint16 *src = reinterpret_cast<const quint16 *>(host->getData() + size_t(y) * w * 8);
        quint16 *dst = reinterpret_cast<quint16 *>(image.scanLine(y));
        for (int x = 0; x < w; ++x, src += 4, dst += 4) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
            dst[3] = src[3];
        }
    }
    return image;
}
