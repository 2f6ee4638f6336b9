#include "vellcommandline.h"

#include "picture/vellpicturehost.h"

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QImageReader>

#include <climits>
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

QStringList vellDataRoots()
{
    return {QDir::currentPath(), QCoreApplication::applicationDirPath(), QStringLiteral(VELL_DATA_DIR)};
}

// 8-bit hosts share QImage's ARGB32 layout (B, G, R, A bytes on little-endian
// machines); 16-bit hosts hold B, G, R, A words where RGBA64 holds R, G, B, A.
VellPictureHost *vellReadImageHost(const QString &path, bool keepDepth, bool *hasAlpha)
{
    QImageReader reader(path);
    const QImage image = reader.read();
    if (image.isNull()) {
        vellError(QStringLiteral("cannot read image '%1': %2").arg(path, reader.errorString()));
        return nullptr;
    }
    if (hasAlpha)
        *hasAlpha = image.hasAlphaChannel();
    VellPictureHost *host = vellImageToHost(image, keepDepth);
    if (!host)
        vellError(QStringLiteral("no memory for a %1 x %2 picture").arg(image.width()).arg(image.height()));
    return host;
}

VellPictureHost *vellImageToHost(const QImage &source, bool keepDepth)
{
    const bool deep = keepDepth
        && (source.depth() == 64 || source.format() == QImage::Format_Grayscale16);
    const QImage image = source.convertToFormat(deep ? QImage::Format_RGBA64 : QImage::Format_ARGB32);
    if (image.isNull())
        return nullptr;   // a null source, or no memory for the converted copy
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
    if (!host || host->isNull() || host->getWidth() == 0 || host->getHeight() == 0
        || host->getWidth() > unsigned(INT_MAX) || host->getHeight() > unsigned(INT_MAX))
        return QImage();
    const int w = int(host->getWidth());
    const int h = int(host->getHeight());
    const bool deep = host->getPixelWidth() == 8;
    QImage image(w, h, deep ? QImage::Format_RGBA64 : QImage::Format_ARGB32);
    if (image.isNull())
        return QImage();   // QImage could not allocate it
    const size_t rowBytes = size_t(w) * host->getPixelWidth();   // host rows are unpadded
    for (int y = 0; y < h; ++y) {
        const unsigned char *row = host->getData() + size_t(y) * rowBytes;
        if (!deep) {
            std::memcpy(image.scanLine(y), row, rowBytes);
            continue;
        }
        const quint16 *src = reinterpret_cast<const quint16 *>(row);
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
