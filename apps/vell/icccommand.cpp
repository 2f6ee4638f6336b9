// vell icc, and the colour step of every command that opens an image.
#include "vellcommandline.h"
#include "vellhost.h"

#include "color/vellcolorprofileconverter.h"
#include "foundation/velllog.h"
#include "picture/vellpicturehost.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>

#include <memory>

namespace {

const char kSRGB[] = "SRGB";
const char *const kNames[] = {"SRGB", "ProPhoto", "Adobe RGB", "Apple RGB", "WideGamut", "CIERGB", "MelissaRGB"};

QString nameList()
{
    QStringList names;
    for (const char *name : kNames)
        names << QStringLiteral("\"%1\"").arg(QLatin1String(name));
    return names.join(QStringLiteral(", "));
}

// A name as a user may spell it: case, blanks, '-' and '_' do not matter,
// as in blend mode names ("adobe-rgb", "srgb").
QString nameKey(const QString &name)
{
    QString key = name.toLower();
    key.remove(QRegularExpression(QStringLiteral("[\\s_-]")));
    return key;
}

// The library's name for the colour space `given` names; empty for none.
QString canonicalName(const QString &given)
{
    for (const char *name : kNames) {
        const QString canonical = QLatin1String(name);
        if (nameKey(canonical) == nameKey(given)
            && (canonical == QLatin1String(kSRGB) || !VellColorProfileConverter::profileFile(canonical).isEmpty()))
            return canonical;
    }
    return QString();
}

// The library reads "./data/iccprofiles/..." relative to the working folder,
// so the colour step enters the first data root that holds the profile.
QString profileRoot(const QString &name)
{
    const QString file = VellColorProfileConverter::profileFile(name);
    for (const QString &root : vellDataRoots())
        if (QFileInfo(QDir(root).filePath(file)).isFile())
            return root;
    return QString();
}

// Makes `folder` the working folder for its lifetime, so the library finds
// its profiles there; every path the command was given has been used or is
// used only after the working folder is back.
class WorkingFolder
{
public:
    explicit WorkingFolder(const QString &folder) : saved(QDir::currentPath())
    {
        QDir::setCurrent(folder);
    }
    ~WorkingFolder() { QDir::setCurrent(saved); }
    Q_DISABLE_COPY(WorkingFolder)

private:
    const QString saved;
};

struct IccJob
{
    QString inputPath, outputPath;
    QString from;                            // empty: the one the file names
    VellSharedOptions options;
    bool alpha = true;                       // the input has an alpha channel
    QByteArray iccProfile;                   // the one the input embeds
    std::unique_ptr<VellPictureHost> host;   // built from the image, then converted
    QImage result;
};

int parse(const QStringList &args, IccJob *job)
{
    if (vellWantsHelp(args)) {
        vellPrint(QStringLiteral(
            "Usage: vell icc IN OUT [--from NAME] [--no-colour] [--quality N] [--lossless]\n"
            "                       [--depth 8|16] [--max-size WxH]\n"
            "Converts image IN to sRGB and saves it as OUT (format from OUT's suffix);\n"
            "16-bit images give 16-bit PNG and TIFF files unless --depth 8, and\n"
            "--depth 16 widens 8-bit ones. The colour space is, first that decides:\n"
            "NAME, the ICC profile IN embeds, the one IN's metadata names, else sRGB.\n"
            "NAME is one of\n  %1\n"
            "(case, blanks, '-' and '_' do not matter). --no-colour converts nothing.\n"
            "Profiles are read from data/iccprofiles in the working folder, else beside\n"
            "the vell binary, else from %2.")
                      .arg(nameList(), QStringLiteral(VELL_DATA_DIR "/data/iccprofiles")));
        return ExitOk;
    }
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const int taken = vellTakeOption(args, &i, NoColourOption | MaxSizeOption | QualityOptions | DepthOption,
                                         &job->options);
        if (taken < 0)
            return ExitUsage;
        if (taken > 0)
            continue;
        const QString &arg = args.at(i);
        if (arg == QLatin1String("--from")) {
            if (i + 1 >= args.size()) {
                vellError(QStringLiteral("--from needs a colour space name"));
                return ExitUsage;
            }
            if (!job->from.isEmpty()) {
                vellError(QStringLiteral("--from given twice"));
                return ExitUsage;
            }
            const QString &given = args.at(++i);
            job->from = canonicalName(given);
            if (job->from.isEmpty()) {
                vellError(QStringLiteral("unknown colour space '%1' (one of %2; case, blanks, '-' and '_' "
                                         "do not matter)").arg(given, nameList()));
                return ExitUsage;
            }
        } else if (arg.startsWith(QLatin1String("--"))) {
            vellError(QStringLiteral("unknown option '%1' (try 'vell icc --help')").arg(arg));
            return ExitUsage;
        } else {
            positional << arg;
        }
    }
    if (!job->from.isEmpty() && job->options.noColour) {
        vellError(QStringLiteral("--from and --no-colour exclude each other"));
        return ExitUsage;
    }
    if (positional.size() != 2) {
        vellError(QStringLiteral("icc needs IN and OUT (got %1)").arg(vellCount(positional.size(), "argument")));
        return ExitUsage;
    }
    job->inputPath = positional.at(0);
    job->outputPath = positional.at(1);
    return kProceed;
}

bool build(IccJob *job)
{
    job->host.reset(vellReadImageHost(job->inputPath, true, &job->alpha, &job->iccProfile));
    return job->host != nullptr;
}

bool work(IccJob *job)
{
    if (!job->options.noColour) {
        VellPictureHost *picture = job->host.release();
        const bool converted = vellColourStep(&picture, job->inputPath, job->iccProfile, job->from);
        job->host.reset(picture);
        if (!converted)
            return false;
    }
    job->result = vellHostToImage(job->host.get());
    if (job->result.isNull()) {
        vellError(QStringLiteral("no memory for a %1 x %2 image").arg(job->host->getWidth())
                      .arg(job->host->getHeight()));
        return false;
    }
    const bool deep = job->host->getPixelWidth() == 8;
    if (!job->alpha)
        job->result = job->result.convertToFormat(deep ? QImage::Format_RGBX64 : QImage::Format_RGB32);
    job->result = vellOutputImage(job->result, vellImageFormat(job->outputPath), job->options.output);
    if (job->result.isNull()) {
        vellError(QStringLiteral("no memory for a %1 x %2 image").arg(job->host->getWidth())
                      .arg(job->host->getHeight()));
        return false;
    }
    return true;
}

bool write(const IccJob &job)
{
    return vellWriteImageFile(job.outputPath, job.result, job.options.output);
}

// The colour step for a named colour space (from --from or the metadata):
// `source` says which, for the line printed.
bool convertNamed(VellPictureHost **host, const QString &imagePath, const QString &name, const QString &source)
{
    const QString root = profileRoot(name);
    if (root.isEmpty()) {
        vellError(QStringLiteral("no ICC profile for colour space '%1': %2 is in none of %3 "
                                 "(convert nothing with --no-colour)")
                      .arg(name, VellColorProfileConverter::profileFile(name),
                           vellDataRoots().join(QStringLiteral(", "))));
        return false;
    }
    // Logged before the working folder changes, so a log that had no file
    // open yet still opens the one the host named.
    VellLog::Instance()->LogEx(2, 0, "Colour space of %s: %s, profiles under %s\n",
                               qPrintable(imagePath), qPrintable(name), qPrintable(root));

    VellPictureHost *const before = *host;
    {
        WorkingFolder inRoot(root);
        // Returns false whether or not it converted: the new pointer tells.
        VellColorProfileConverter::convertToSRGB(host, name);
    }
    if (*host == before) {
        const QString log = VellHost::logFile();
        vellError(QStringLiteral("cannot convert from '%1' to sRGB%2").arg(name)
                      .arg(log.isEmpty() ? QString() : QStringLiteral(" (see %1)").arg(log)));
        return false;
    }
    vellNote(QStringLiteral("colour space: %1%2 (converted to sRGB)").arg(source, name));
    return true;
}

} // namespace

bool vellColourStep(VellPictureHost **host, const QString &imagePath, const QByteArray &embedded,
                    const QString &from)
{
    if (from == QLatin1String(kSRGB)) {
        vellNote(QStringLiteral("colour space: sRGB (as --from says)"));
        return true;
    }
    if (!from.isEmpty())
        return convertNamed(host, imagePath, from, QStringLiteral("as --from says: "));
    if (!embedded.isEmpty()) {
        // The file's own profile decides; its metadata text is not asked.
        const VellColorProfileConverter::EmbeddedProfile profile =
            VellColorProfileConverter::inspectProfile(embedded);
        const QString name = QStringLiteral("embedded profile '%1'").arg(profile.description);
        if (!profile.readable || !profile.rgb) {
            vellNote(QStringLiteral("warning: %1: the %2 is %3: the picture is taken as sRGB")
                         .arg(imagePath, profile.readable ? name : QStringLiteral("embedded profile"),
                              profile.readable ? QStringLiteral("not an RGB profile")
                                               : QStringLiteral("not a readable ICC profile")));
            return true;
        }
        if (profile.srgb) {
            vellNote(QStringLiteral("colour space: %1 (sRGB: left as it is)").arg(name));
            return true;
        }
        if (!VellColorProfileConverter::convertProfileToSRGB(host, embedded)) {
            const QString log = VellHost::logFile();
            vellError(QStringLiteral("cannot convert %1 from its %2 to sRGB%3").arg(imagePath, name)
                          .arg(log.isEmpty() ? QString() : QStringLiteral(" (see %1)").arg(log)));
            return false;
        }
        vellNote(QStringLiteral("colour space: %1 (converted to sRGB)").arg(name));
        return true;
    }
    const QString named = VellColorProfileConverter::extractCameraProfile(imagePath);
    if (named.isEmpty() || named == QLatin1String(kSRGB)) {
        vellNote(QStringLiteral("colour space: sRGB"));
        return true;
    }
    return convertNamed(host, imagePath, named, QStringLiteral("named in metadata: "));
}

int vellIccCommand(VellHost &host, const QStringList &args)
{
    IccJob job;
    const int parsed = parse(args, &job);
    if (parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);
    if (!vellCheckImageSuffix(job.outputPath)
        || !vellCheckOutputOptions(job.options.output, vellImageFormat(job.outputPath))
        || !host.setImageLimit(job.options.maxSize) || vellOutputIsInput(job.outputPath, {job.inputPath}))
        return ExitUsage;

    QElapsedTimer timer;
    timer.start();
    if (!build(&job) || !work(&job) || !write(job))
        return ExitFailure;
    vellNote(QStringLiteral("wrote %1 (%2 x %3, %4 bits per channel)")
                  .arg(job.outputPath).arg(job.result.width()).arg(job.result.height())
                  .arg(vellWrittenDepth(job.result, vellImageFormat(job.outputPath))));
    vellNote(QStringLiteral("%1 ms").arg(timer.elapsed()));
    return ExitOk;
}
