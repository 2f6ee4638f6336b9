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

bool wantsHelp(const QStringList &args)
{
    return !args.isEmpty() && (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"));
}

struct IccJob
{
    QString inputPath, outputPath;
    QString from;                            // empty: the one the metadata names
    bool alpha = true;                       // the input has an alpha channel
    std::unique_ptr<VellPictureHost> host;   // built from the image, then converted
    QImage result;
};

int parse(const QStringList &arguments, IccJob *job)
{
    if (wantsHelp(arguments)) {
        vellPrint(QStringLiteral(
            "Usage: vell icc IN OUT [--from NAME]\n"
            "Converts image IN to sRGB and saves it as OUT (format from OUT's suffix);\n"
            "16-bit images stay 16-bit. The colour space is the one IN's metadata names\n"
            "(sRGB when none), or NAME, one of\n  %1.\n"
            "Profiles are read from data/iccprofiles in the working folder, else beside\n"
            "the vell binary, else from %2.")
                      .arg(nameList(), QStringLiteral(VELL_DATA_DIR "/data/iccprofiles")));
        return ExitOk;
    }
    QStringList args = arguments;
    const int option = args.indexOf(QStringLiteral("--from"));
    if (option >= 0) {
        if (option + 1 >= args.size()) {
            vellError(QStringLiteral("--from needs a colour space name"));
            return ExitUsage;
        }
        const QString given = args.takeAt(option + 1);
        args.removeAt(option);
        job->from = canonicalName(given);
        if (job->from.isEmpty()) {
            vellError(QStringLiteral("unknown colour space '%1' (one of %2; case, blanks, '-' and '_' "
                                     "do not matter)").arg(given, nameList()));
            return ExitUsage;
        }
    }
    if (args.size() != 2) {
        vellError(QStringLiteral("icc needs IN and OUT (got %1)").arg(vellCount(args.size(), "argument")));
        return ExitUsage;
    }
    job->inputPath = args.at(0);
    job->outputPath = args.at(1);
    return kProceed;
}

bool build(IccJob *job)
{
    job->host.reset(vellReadImageHost(job->inputPath, true, &job->alpha));
    return job->host != nullptr;
}

bool work(IccJob *job)
{
    VellPictureHost *picture = job->host.release();
    const bool converted = vellColourStep(&picture, job->inputPath, job->from);
    job->host.reset(picture);
    if (!converted)
        return false;
    job->result = vellHostToImage(job->host.get());
    if (job->result.isNull()) {
        vellError(QStringLiteral("no memory for a %1 x %2 image").arg(job->host->getWidth())
                      .arg(job->host->getHeight()));
        return false;
    }
    const bool deep = job->host->getPixelWidth() == 8;
    if (!job->alpha)
        job->result = job->result.convertToFormat(deep ? QImage::Format_RGBX64 : QImage::Format_RGB32);
    return true;
}

bool write(const IccJob &job)
{
    return vellWriteImageFile(job.outputPath, job.result);
}

} // namespace

bool vellColourStep(VellPictureHost **host, const QString &imagePath, const QString &from)
{
    const QString name = from.isEmpty() ? VellColorProfileConverter::extractCameraProfile(imagePath) : from;
    if (name.isEmpty() || name == QLatin1String(kSRGB)) {
        vellNote(QStringLiteral("colour space: sRGB"));
        return true;
    }
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
    vellNote(QStringLiteral("colour space: %1 (converted to sRGB)").arg(name));
    return true;
}

int vellIccCommand(VellHost &host, const QStringList &args)
{
    IccJob job;
    const int parsed = parse(args, &job);
    if (parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);
    if (!vellCheckImageSuffix(job.outputPath) || vellOutputIsInput(job.outputPath, {job.inputPath}))
        return ExitUsage;

    QElapsedTimer timer;
    timer.start();
    if (!build(&job) || !work(&job) || !write(job))
        return ExitFailure;
    vellNote(QStringLiteral("wrote %1 (%2 x %3, %4 bits per channel)")
                  .arg(job.outputPath).arg(job.result.width()).arg(job.result.height())
                  .arg(job.host->getPixelWidth() == 8 ? 16 : 8));
    vellNote(QStringLiteral("%1 ms").arg(timer.elapsed()));
    return ExitOk;
}
