#include "vellcommandline.h"

#include "foundation/vellglobalsettings.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"
#include "picture/velltiffwriter.h"

#include <QColorSpace>
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

#include <unistd.h>

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
    int error = errno;
    if (flushed && !std::ferror(results))
        return;
    if (!error) {
        // An earlier write failed inside stdio and its errno is gone; the
        // output is incomplete anyway, so one more byte finds the reason.
        std::clearerr(results);
        errno = 0;
        if (std::fputc('\n', results) == EOF || std::fflush(results) != 0)
            error = errno;
    }
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
    const QFileInfo info(path);
    if (!info.exists()) {
        vellError(QStringLiteral("no such file: %1").arg(path));
        return false;
    }
    if (info.isDir()) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(EISDIR))));
        return false;
    }
    return true;
}

namespace {

int g_progress = -1;   // -1: not decided yet
QString g_limitHint = QStringLiteral("--max-size WxH raises it");

} // namespace

void vellSetProgress(bool asked)
{
    g_progress = asked ? 1 : 0;
}

void vellProgress(const QString &message)
{
    if (g_progress < 0)
        g_progress = ::isatty(STDERR_FILENO) ? 1 : 0;
    if (g_progress)
        vellNote(message);
}

QString vellLimitText()
{
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    return QStringLiteral("%1 x %2 pixels, %3").arg(settings->imageLimitX).arg(settings->imageLimitY)
        .arg(vellCount(settings->imageLimitPixel, "Mpixel"));
}

bool vellWithinLimit(const QSize &size)
{
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    // In 64 bits: the pixel limit in units of 2^20 and the product of two
    // large sides both pass an int.
    return size.width() <= settings->imageLimitX && size.height() <= settings->imageLimitY
        && qint64(size.width()) * size.height() <= qint64(settings->imageLimitPixel) * 1048576;
}

QString vellLimitHint()
{
    return g_limitHint;
}

void vellSetLimitHint(const QString &hint)
{
    g_limitHint = hint;
}

QImage vellReadImage(const QString &path)
{
    if (!vellInputExists(path))
        return QImage();
    const auto overLimit = [&path](const QSize &size) {
        vellError(QStringLiteral("cannot read %1: its picture of %2 x %3 pixels is over the image size "
                                 "limit of this run (%4; %5)")
                      .arg(path).arg(size.width()).arg(size.height()).arg(vellLimitText(), vellLimitHint()));
        return QImage();
    };
    // The header alone, so that nothing is decoded for a picture over the
    // limit; the picture reader checks the size again against its decode
    // ceiling (and a GIF's logical screen, which this size leaves out).
    const QSize declared = QImageReader(path).size();
    if (declared.isValid() && !vellWithinLimit(declared))
        return overLimit(declared);
    QString reason;
    const QImage image = VellPictureReader::readImageFile(path, &reason);
    if (image.isNull()) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, reason));
        return QImage();
    }
    // A decoder may make more than its header declared.
    if (!vellWithinLimit(image.size()))
        return overLimit(image.size());
    return image;
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

int vellTakeOption(const QStringList &args, int *i, int kinds, VellSharedOptions *options)
{
    const QString &arg = args.at(*i);
    int kind = 0;
    if (arg == QLatin1String("--quality") || arg == QLatin1String("--lossless"))
        kind = QualityOptions;
    else if (arg == QLatin1String("--depth"))
        kind = DepthOption;
    else if (arg == QLatin1String("--max-size"))
        kind = MaxSizeOption;
    else if (arg == QLatin1String("--no-colour"))
        kind = NoColourOption;
    else if (arg == QLatin1String("--shrink"))
        kind = ShrinkOption;
    if (!(kind & kinds))
        return 0;
    const auto bad = [](const QString &message) {
        vellError(message);
        return -1;
    };
    bool repeated = false;
    if (arg == QLatin1String("--lossless")) {
        repeated = options->output.lossless;
        options->output.lossless = true;
    } else if (arg == QLatin1String("--no-colour")) {
        repeated = options->noColour;
        options->noColour = true;
    } else if (arg == QLatin1String("--shrink")) {
        repeated = options->shrink;
        options->shrink = true;
    } else {
        if (*i + 1 >= args.size())
            return bad(QStringLiteral("%1 needs a value").arg(arg));
        const QString &value = args.at(++*i);
        bool ok = false;
        if (arg == QLatin1String("--quality")) {
            repeated = options->output.quality >= 0;
            options->output.quality = value.toInt(&ok);
            if (!ok || options->output.quality < 0 || options->output.quality > 100)
                return bad(QStringLiteral("bad --quality '%1' (a whole number from 0 to 100)").arg(value));
        } else if (arg == QLatin1String("--depth")) {
            repeated = options->output.depth != 0;
            options->output.depth = value.toInt(&ok);
            if (!ok || (options->output.depth != 8 && options->output.depth != 16))
                return bad(QStringLiteral("bad --depth '%1' (8 or 16 bits per channel)").arg(value));
        } else {
            repeated = options->maxSize.isValid();
            if (!vellParseSize(value, &options->maxSize))
                return bad(QStringLiteral("bad --max-size '%1' (WxH, e.g. 20000x15000)").arg(value));
        }
    }
    if (repeated)
        return bad(QStringLiteral("%1 given twice").arg(arg));
    return 1;
}

bool vellParseSize(const QString &text, QSize *size)
{
    const QStringList parts = text.toLower().split(QLatin1Char('x'));
    if (parts.size() != 2)
        return false;
    bool okW = false, okH = false;
    const int w = parts.at(0).toInt(&okW);
    const int h = parts.at(1).toInt(&okH);
    if (!okW || !okH || w <= 0 || h <= 0)
        return false;
    *size = QSize(w, h);
    return true;
}

namespace {

bool holdsSixteenBits(const QByteArray &format)
{
    return format == "png" || format == "tif" || format == "tiff";
}

QString formatName(const QByteArray &format)
{
    return QString::fromLatin1(format.toUpper());
}

} // namespace

bool vellCheckOutputOptions(const VellOutputOptions &options, const QByteArray &format)
{
    const bool webp = format == "webp";
    QString problem;
    if (options.quality >= 0 && !webp && format != "jpg" && format != "jpeg")
        problem = QStringLiteral("--quality applies to JPEG and WebP, not to %1").arg(formatName(format));
    else if (options.lossless && !webp)
        problem = QStringLiteral("--lossless applies to WebP, not to %1").arg(formatName(format));
    else if (options.lossless && options.quality >= 0)
        problem = QStringLiteral("--lossless and --quality exclude each other");
    else if (options.depth == 16 && !holdsSixteenBits(format))
        problem = QStringLiteral("--depth 16 needs PNG or TIFF: %1 holds 8 bits per channel").arg(formatName(format));
    if (problem.isEmpty())
        return true;
    vellError(problem);
    return false;
}

QImage vellOutputImage(const QImage &image, const QByteArray &format, const VellOutputOptions &options)
{
    const bool grey = image.format() == QImage::Format_Grayscale8 || image.format() == QImage::Format_Grayscale16;
    const bool deep = image.depth() == 64 || image.format() == QImage::Format_Grayscale16;
    const bool wantDeep = holdsSixteenBits(format) && (options.depth == 16 || (deep && options.depth != 8));
    if (wantDeep == deep)
        return image;
    const bool alpha = image.hasAlphaChannel();
    if (wantDeep)
        return image.convertToFormat(grey ? QImage::Format_Grayscale16
                                          : alpha ? QImage::Format_RGBA64 : QImage::Format_RGBX64);
    return image.convertToFormat(grey ? QImage::Format_Grayscale8
                                      : alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
}

int vellWrittenDepth(const QImage &image, const QByteArray &format)
{
    const bool deep = image.depth() == 64 || image.format() == QImage::Format_Grayscale16;
    return deep && holdsSixteenBits(format) ? 16 : 8;
}

bool vellWriteImage(VellAtomicFile *file, const QImage &image, const QByteArray &format,
                    const VellOutputOptions &options)
{
    // TIFF through the library's writer, which converts rows on every core
    // and writes whole strips.
    if (format == "tif" || format == "tiff") {
        VellTiffWriter writer;
        return writer.write(image, file->device()) || file->fail(writer.errorString());
    }
    QImageWriter writer(file->device(), format);
    // Qt's WebP writer encodes losslessly at quality 100.
    if (options.lossless)
        writer.setQuality(100);
    else if (options.quality >= 0)
        writer.setQuality(options.quality);
    return writer.write(image) || file->fail(writer.errorString());
}

bool vellWriteImageFile(const QString &path, const QImage &image, const VellOutputOptions &options)
{
    VellAtomicFile file(path);
    const QByteArray format = vellImageFormat(path);
    if (format.isEmpty())
        file.fail(QStringLiteral("no image format has the suffix of this name"));
    else if (file.open() && vellWriteImage(&file, image, format, options) && file.commit())
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
VellPictureHost *vellReadImageHost(const QString &path, bool keepDepth, bool *hasAlpha, QByteArray *iccProfile)
{
    const QImage image = vellReadImage(path);
    if (image.isNull())
        return nullptr;
    if (hasAlpha)
        *hasAlpha = image.hasAlphaChannel();
    if (iccProfile)
        *iccProfile = image.colorSpace().iccProfile();
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

bool vellWantsHelp(const QStringList &args)
{
    return !args.isEmpty() && (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"));
}

int vellUsageError(const QString &message)
{
    vellError(message);
    return ExitUsage;
}
