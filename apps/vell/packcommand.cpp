// vell pack and unpack: an image into a picture host's stream file and back.
#include "vellcommandline.h"
#include "vellhost.h"

#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>

#include <cstring>
#include <memory>

namespace {

using HostPointer = std::unique_ptr<VellPictureHost>;

HostPointer readHostFile(const QString &path)
{
    return HostPointer(vellReadStreamFile<VellPictureHost>(
        path, QStringLiteral("cannot read %1: not a valid picture host stream")));
}

// ---- pack ----

struct PackJob
{
    QString imagePath, outputPath;
    VellSharedOptions options;   // --no-colour, --max-size
    QByteArray iccProfile;       // the one the image embeds
    HostPointer host;       // built from the image, then converted to sRGB
    HostPointer readBack;   // the written file, read back to check it
    qint64 bytes = 0;       // the size of the written file
};

int parsePack(const QStringList &args, PackJob *job)
{
    if (vellWantsHelp(args)) {
        vellPrint(QStringLiteral("Usage: vell pack IMAGE OUT [--no-colour] [--max-size WxH]\n"
                                 "Reads IMAGE into an 8-bit picture host, converts it to sRGB from the\n"
                                 "colour space its embedded ICC profile or else its metadata names (not\n"
                                 "with --no-colour) and writes the host's stream to OUT. --max-size sets\n"
                                 "the largest picture read (see vell --help)."));
        return ExitOk;
    }
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const int taken = vellTakeOption(args, &i, NoColourOption | MaxSizeOption, &job->options);
        if (taken < 0)
            return ExitUsage;
        if (taken > 0)
            continue;
        if (args.at(i).startsWith(QLatin1String("--"))) {
            vellError(QStringLiteral("unknown option '%1' (try 'vell pack --help')").arg(args.at(i)));
            return ExitUsage;
        }
        positional << args.at(i);
    }
    if (positional.size() != 2) {
        vellError(QStringLiteral("pack needs IMAGE and OUT (got %1)").arg(vellCount(positional.size(), "argument")));
        return ExitUsage;
    }
    job->imagePath = positional.at(0);
    job->outputPath = positional.at(1);
    return kProceed;
}

bool buildPack(PackJob *job)
{
    job->host.reset(vellReadImageHost(job->imagePath, false, nullptr, &job->iccProfile));
    return job->host != nullptr;
}

bool workPack(PackJob *job)
{
    if (job->options.noColour)
        return true;
    VellPictureHost *picture = job->host.release();
    const bool ok = vellColourStep(&picture, job->imagePath, job->iccProfile, QString());
    job->host.reset(picture);
    return ok;
}

// Writes the stream and reads it back before it replaces OUT, so a user
// knows the file is sound and a file that is not never takes OUT's place.
bool writePack(PackJob *job)
{
    VellAtomicFile file(job->outputPath);
    if (!file.open() || !vellWriteStream(&file, job->host.get()) || !file.finish()) {
        file.reportError();
        return false;
    }
    job->readBack = readHostFile(file.writtenPath());
    const VellPictureHost *check = job->readBack.get();
    if (!check)
        return false;
    const VellPictureHost &host = *job->host;
    if (check->getWidth() != host.getWidth() || check->getHeight() != host.getHeight()
        || check->getPixelWidth() != host.getPixelWidth()
        || std::memcmp(check->getData(), host.getData(), size_t(host.getByteCount())) != 0) {
        vellError(QStringLiteral("%1 does not read back as written").arg(job->outputPath));
        return false;
    }
    job->bytes = QFileInfo(file.writtenPath()).size();
    if (!file.commit()) {
        file.reportError();
        return false;
    }
    return true;
}

// ---- unpack ----

struct UnpackJob
{
    QString inputPath, outputPath;
    VellOutputOptions options;
    HostPointer host;   // read from the stream
    QImage image;       // the host's pixels, as they are written
};

int parseUnpack(const QStringList &args, UnpackJob *job)
{
    if (vellWantsHelp(args)) {
        vellPrint(QStringLiteral("Usage: vell unpack IN OUT [--quality N] [--lossless] [--depth 8|16]\n"
                                 "Reads a picture host stream and saves it as an image (format from OUT's\n"
                                 "suffix); 16-bit hosts give 16-bit PNG and TIFF files unless --depth 8."));
        return ExitOk;
    }
    VellSharedOptions shared;
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const int taken = vellTakeOption(args, &i, QualityOptions | DepthOption, &shared);
        if (taken < 0)
            return ExitUsage;
        if (taken > 0)
            continue;
        if (args.at(i).startsWith(QLatin1String("--"))) {
            vellError(QStringLiteral("unknown option '%1' (try 'vell unpack --help')").arg(args.at(i)));
            return ExitUsage;
        }
        positional << args.at(i);
    }
    if (positional.size() != 2) {
        vellError(QStringLiteral("unpack needs IN and OUT (got %1)").arg(vellCount(positional.size(), "argument")));
        return ExitUsage;
    }
    job->inputPath = positional.at(0);
    job->outputPath = positional.at(1);
    job->options = shared.output;
    return kProceed;
}

bool buildUnpack(UnpackJob *job)
{
    job->host = readHostFile(job->inputPath);
    return job->host != nullptr;
}

bool workUnpack(UnpackJob *job)
{
    const VellPictureHost &host = *job->host;
    if (host.getWidth() == 0 || host.getHeight() == 0) {
        // A valid stream, but no image format holds an empty picture.
        vellError(QStringLiteral("'%1' holds an empty picture (%2 x %3): there is no image to save")
                      .arg(job->inputPath).arg(host.getWidth()).arg(host.getHeight()));
        return false;
    }
    job->image = vellOutputImage(vellHostToImage(&host), vellImageFormat(job->outputPath), job->options);
    if (job->image.isNull()) {
        vellError(QStringLiteral("no memory for a %1 x %2 image").arg(host.getWidth()).arg(host.getHeight()));
        return false;
    }
    return true;
}

bool writeUnpack(const UnpackJob &job)
{
    return vellWriteImageFile(job.outputPath, job.image, job.options);
}

} // namespace

int vellPackCommand(VellHost &host, const QStringList &args)
{
    PackJob job;
    const int parsed = parsePack(args, &job);
    if (parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);
    if (!host.setImageLimit(job.options.maxSize) || vellOutputIsInput(job.outputPath, {job.imagePath}))
        return ExitUsage;

    QElapsedTimer timer;
    timer.start();
    if (!buildPack(&job) || !workPack(&job) || !writePack(&job))
        return ExitFailure;
    const unsigned h = job.host->getHeight();
    vellNote(QStringLiteral("packed %1 (%2 x %3, %4 of up to %5 rows) into %6: %7, verified")
                  .arg(job.imagePath).arg(job.host->getWidth()).arg(h)
                  .arg(vellCount((h + VellPictureHost::kBandRows - 1) / VellPictureHost::kBandRows, "band"))
                  .arg(VellPictureHost::kBandRows).arg(job.outputPath).arg(vellCount(job.bytes, "byte")));
    vellNote(QStringLiteral("memory budget: %1 of %2 bytes booked; %3 ms")
                 .arg(VellMemory::getInstance()->getUsed()).arg(VellMemory::getInstance()->getLimit())
                 .arg(timer.elapsed()));
    return ExitOk;
}

int vellUnpackCommand(VellHost &host, const QStringList &args)
{
    UnpackJob job;
    const int parsed = parseUnpack(args, &job);
    if (parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);
    if (!vellCheckImageSuffix(job.outputPath)
        || !vellCheckOutputOptions(job.options, vellImageFormat(job.outputPath))
        || vellOutputIsInput(job.outputPath, {job.inputPath}))
        return ExitUsage;

    QElapsedTimer timer;
    timer.start();
    if (!buildUnpack(&job) || !workUnpack(&job) || !writeUnpack(job))
        return ExitFailure;
    vellNote(QStringLiteral("unpacked %1 (%2 x %3, %4 bytes per pixel) into %5 (%6 bits per channel)")
                  .arg(job.inputPath).arg(job.host->getWidth()).arg(job.host->getHeight())
                  .arg(job.host->getPixelWidth()).arg(job.outputPath)
                  .arg(vellWrittenDepth(job.image, vellImageFormat(job.outputPath))));
    vellNote(QStringLiteral("%1 ms").arg(timer.elapsed()));
    return ExitOk;
}
