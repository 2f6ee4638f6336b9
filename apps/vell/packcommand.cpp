#include "vellcommandline.h"

#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"

#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QImageReader>

#include <cstring>
#include <memory>

namespace {

struct HostDeleter
{
    void operator()(VellPictureHost *host) const { delete host; }
};
using HostPointer = std::unique_ptr<VellPictureHost, HostDeleter>;

bool wantsHelp(const QStringList &args)
{
    return !args.isEmpty() && (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"));
}

HostPointer readHostFile(const QString &path)
{
    return HostPointer(vellReadStreamFile<VellPictureHost>(
        path, QStringLiteral("'%1' is not a valid picture host stream")));
}

} // namespace

int vellPackCommand(const QStringList &arguments)
{
    if (wantsHelp(arguments)) {
        vellPrint(QStringLiteral("Usage: vell pack IMAGE OUT [--no-colour]\n"
                                 "Reads IMAGE into an 8-bit picture host, converts it to sRGB from the\n"
                                 "colour space its metadata names (not with --no-colour) and writes the\n"
                                 "host's stream to OUT."));
        return ExitOk;
    }
    QStringList args = arguments;
    const bool colour = args.removeAll(QStringLiteral("--no-colour")) == 0;
    if (args.size() != 2) {
        vellError(QStringLiteral("pack needs IMAGE and OUT (got %1 arguments)").arg(args.size()));
        return ExitUsage;
    }
    QElapsedTimer timer;
    timer.start();

    QImageReader reader(args.at(0));
    QImage image = reader.read();
    if (image.isNull()) {
        vellError(QStringLiteral("cannot read image '%1': %2").arg(args.at(0), reader.errorString()));
        return ExitFailure;
    }
    HostPointer host(vellImageToHost(image, false));
    if (!host) {
        vellError(QStringLiteral("no memory for a %1 x %2 picture").arg(image.width()).arg(image.height()));
        return ExitFailure;
    }
    if (colour) {
        VellPictureHost *picture = host.release();
        const bool ok = vellColourStep(&picture, args.at(0), QString());
        host.reset(picture);
        if (!ok)
            return ExitFailure;
    }
    const unsigned w = host->getWidth();
    const unsigned h = host->getHeight();

    QFile out(args.at(1));
    if (!out.open(QIODevice::WriteOnly)) {
        vellError(QStringLiteral("cannot write '%1': %2").arg(args.at(1), out.errorString()));
        return ExitFailure;
    }
    QDataStream stream(&out);
    stream.setVersion(QDataStream::Qt_4_8);
    stream << host.get();
    out.close();
    if (stream.status() != QDataStream::Ok || out.error() != QFileDevice::NoError) {
        vellError(QStringLiteral("writing '%1' failed: %2").arg(args.at(1), out.errorString()));
        return ExitFailure;
    }

    // Read the stream back, so a user knows the file is sound.
    HostPointer check = readHostFile(args.at(1));
    if (!check)
        return ExitFailure;
    const size_t bytes = size_t(w) * h * 4;
    if (check->getWidth() != w || check->getHeight() != h
        || std::memcmp(check->getData(), host->getData(), bytes) != 0) {
        vellError(QStringLiteral("'%1' does not read back as written").arg(args.at(1)));
        return ExitFailure;
    }

    vellPrint(QStringLiteral("packed %1 (%2 x %3, %4 bands of up to 2048 rows) into %5: %6 bytes, verified")
                  .arg(args.at(0)).arg(w).arg(h).arg((h + 2047) / 2048).arg(args.at(1))
                  .arg(QFile(args.at(1)).size()));
    vellNote(QStringLiteral("memory budget: %1 of %2 bytes booked; %3 ms")
                 .arg(VellMemory::getInstance()->getUsed()).arg(VellMemory::getInstance()->getLimit())
                 .arg(timer.elapsed()));
    return ExitOk;
}

int vellUnpackCommand(const QStringList &args)
{
    if (wantsHelp(args)) {
        vellPrint(QStringLiteral("Usage: vell unpack IN OUT\nReads a picture host stream and saves it as an image (format from OUT's suffix)."));
        return ExitOk;
    }
    if (args.size() != 2) {
        vellError(QStringLiteral("unpack needs IN and OUT (got %1 arguments)").arg(args.size()));
        return ExitUsage;
    }
    QElapsedTimer timer;
    timer.start();
    HostPointer host = readHostFile(args.at(0));
    if (!host)
        return ExitFailure;
    const QImage image = vellHostToImage(host.get());
    if (!image.save(args.at(1))) {
        vellError(QStringLiteral("cannot save '%1' (unknown suffix or unwritable)").arg(args.at(1)));
        return ExitFailure;
    }
    vellPrint(QStringLiteral("unpacked %1 (%2 x %3, %4 bytes per pixel) into %5")
                  .arg(args.at(0)).arg(host->getWidth()).arg(host->getHeight())
                  .arg(host->getPixelWidth()).arg(args.at(1)));
    vellNote(QStringLiteral("%1 ms").arg(timer.elapsed()));
    return ExitOk;
}
