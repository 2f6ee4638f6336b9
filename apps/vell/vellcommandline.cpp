#include "vellcommandline.h"

#include "picture/vellpicturehost.h"

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include <cerrno>
#include <climits>
#include <cstdlib>
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

namespace {

FILE *g_results = nullptr;   // null: stdout

void checkResults()
{
    FILE *results = vellResultStream();
    errno = 0;
    const bool flushed = std::fflush(results) == 0;
    const int error = errno;
    if (flushed && !std::ferror(results))
        return;
    vellError(QStringLiteral("cannot write standard output: %1")
                  .arg(error ? QString::fromLocal8Bit(std::strerror(error)) : QStringLiteral("a write failed")));
    std::_Exit(ExitFailure);   // the status the command returned would say it worked
}

} // namespace

void vellSetResultStream(FILE *stream)
{
    g_results = stream;
}

FILE *vellResultStream()
{
    return g_results ? g_results : stdout;
}

void vellCheckResultsAtExit()
{
    std::atexit(checkResults);
}

void vellPrint(const QString &line)
{
    std::fprintf(vellResultStream(), "%s\n", qPrintable(line));
}

QString vellCount(qint64 n, const char *noun)
{
    return QStringLiteral("%1 %2%3").arg(n).arg(QLatin1String(noun)).arg(n == 1 ? "" : "s");
}

bool vellInputExists(const QString &path)
{
    if (QFileInfo::exists(path))
        return true;
    vellError(QStringLiteral("no such file: %1").arg(path));
    return false;
}

QByteArray vellImageFormat(const QString &path)
{
    const QByteArray suffix = QFileInfo(path).suffix().toLower().toLatin1();
    return QImageWriter::supportedImageFormats().contains(suffix) ? suffix : QByteArray();
}

bool vellCheckImageSuffix(const QString &path)
{
    if (!vellImageFormat(path).isEmpty())
        return true;
    vellError(QStringLiteral("cannot tell an image format from %1 (use a suffix such as .png)").arg(path));
    return false;
}

bool vellWriteImage(VellAtomicFile *file, const QImage &image, const QByteArray &format)
{
    QImageWriter writer(file->device(), format);
    return writer.write(image) || file->fail(writer.errorString());
}

bool vellWriteImageFile(const QString &path, const QImage &image)
{
    VellAtomicFile file(path);
    const QByteArray format = vellImageFormat(path);
    if (format.isEmpty())
        file.fail(QStringLiteral("no image format has the suffix of this name"));
    else if (file.open() && vellWriteImage(&file, image, format) && file.commit())
        return true;
    file.reportError();
    return false;
}

bool vellOutputIsInput(const QString &output, const QStringList &inputs)
{
    for (const QString &input : inputs) {
        if (vellSameFile(output, input)) {
            vellError(QStringLiteral("the output %1 is the input %2: writing it would destroy the input")
                          .arg(output, input));
            return true;
        }
    }
    return false;
}

QStringList vellDataRoots()
{
    return {QDir::currentPath(), QCoreApplication::applicationDirPath(), QStringLiteral(VELL_DATA_DIR)};
}

// 8-bit hosts share QImage's ARGB32 layout (B, G, R, A bytes on little-endian
// machines); 16-bit hosts hold B, G, R, A words where RGBA64 holds R, G, B, A.
VellPictureHost *vellReadImageHost(const QString &path, bool keepDepth, bool *hasAlpha)
{
    if (!vellInputExists(path))
        return nullptr;
    QImageReader reader(path);
    const QImage image = reader.read();
    if (image.isNull()) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, reader.errorString()));
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
