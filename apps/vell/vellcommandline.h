#ifndef VELLCOMMANDLINE_H
#define VELLCOMMANDLINE_H

#include "vellatomicfile.h"

#include <QDataStream>
#include <QFile>
#include <QSize>
#include <QStringList>

#include <cstdio>

class QImage;
class VellHost;
class VellPictureHost;

// Exit codes shared by every command of the host.
enum VellExitCode { ExitOk = 0, ExitFailure = 1, ExitUsage = 2 };
// What a phase of a command returns when the command goes on: not an exit
// code.
constexpr int kProceed = -1;

// Messages for people: errors and progress go to standard error, results to
// standard output.
void vellError(const QString &message);
void vellNote(const QString &message);
void vellPrint(const QString &line);
// Where vellPrint() and image data for standard output go (the C stream
// stdout until the host diverts it; see VellHost). Not owned by the caller
// once given: it lives to the end of the process.
void vellSetResultStream(FILE *stream);
FILE *vellResultStream();
// Makes the end of the process flush the result stream and, when anything
// written there was lost (a full disk), print "cannot write
// standard output: reason" and exit with status 1, so that a lost result
// is never a success. Call once.
void vellCheckResultsAtExit();

// "1 band", "2 bands": n and the noun, plural with an "s" unless n is 1.
QString vellCount(qint64 n, const char *noun);

// Whether the input file at `path` exists and is not a folder; prints "no
// such file: PATH" or "cannot read PATH: Is a directory" when it is not.
bool vellInputExists(const QString &path);

// Whether a command's arguments ask for its help (-h or --help first).
bool vellWantsHelp(const QStringList &args);
// Prints a usage error and returns ExitUsage.
int vellUsageError(const QString &message);

// Progress lines ("layer 1/3: ...", "compositing ...") go to standard error
// only when it is a terminal or the user asked for them with --progress, so a
// script sees warnings, errors and the final report alone.
void vellSetProgress(bool asked);
void vellProgress(const QString &message);

// The image-size limit of this run is the global settings' (the host writes
// it there for the run; see VellHost::setImageLimit): every image a command
// opens is checked against it before it is decoded.
//
// The limit as messages name it: "16384 x 16384 pixels, 100 Mpixels".
QString vellLimitText();
// Whether a picture of `size` is within the limit.
bool vellWithinLimit(const QSize &size);
// What raises the limit, for the messages of a picture over it; compose adds
// "--shrink" (see vellSetLimitHint). Default: "--max-size WxH raises it".
QString vellLimitHint();
void vellSetLimitHint(const QString &hint);

// The first frame of the image file at `path`, decoded only once the size its
// header declares is known to be within the run's limit and the picture
// reader's decode ceiling, so a few bytes claiming gigabytes cost nothing.
// Null, with "cannot read PATH: reason" printed, otherwise. The image keeps
// the colour space its file embeds (QImage::colorSpace()).
QImage vellReadImage(const QString &path);

// Every stream file vell reads or writes (picture hosts, documents) has the
// byte format of Qt 4.8's QDataStream, which the library's stream operators
// are written for.

// Reads one object written by its stream operator from the file at `path`
// (new object, caller owns it). Null with a message when the file cannot be
// opened, or with `invalid` (its %1 the path) when it holds no valid object
// or more bytes than the object.
template <class T>
T *vellReadStreamFile(const QString &path, const QString &invalid)
{
    if (!vellInputExists(path))
        return nullptr;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return nullptr;
    }
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_4_8);
    T *object = nullptr;
    in >> &object;
    // Bytes left over mean the stream was something else that happened to
    // read as an object.
    if (!object || in.status() != QDataStream::Ok || !in.atEnd()) {
        delete object;
        vellError(invalid.arg(path));
        return nullptr;
    }
    return object;
}

// Writes `object` with its stream operator into `file`, which open()
// has created. False, with the file marked failed, when the stream reports a
// failure; a failed write shows in file->finish() either way.
template <class T>
bool vellWriteStream(VellAtomicFile *file, T *object)
{
    QDataStream out(file->device());
    out.setVersion(QDataStream::Qt_4_8);
    out << object;
    return out.status() == QDataStream::Ok || file->fail(QStringLiteral("the stream could not be written"));
}

// Writes `object` with its stream operator to the file at `path`, replacing
// it only when every byte was written (see VellAtomicFile). False, with
// "cannot write PATH: reason" printed, otherwise; the file is then as it was.
template <class T>
bool vellWriteStreamFile(const QString &path, T *object)
{
    VellAtomicFile file(path);
    if (file.open() && vellWriteStream(&file, object) && file.commit())
        return true;
    file.reportError();
    return false;
}

// The image format that the suffix of `path` names, lower case, when an
// image writer supports it; empty otherwise. Needs the Qt application.
QByteArray vellImageFormat(const QString &path);
// Whether `path` names an image format (vellImageFormat); prints "cannot
// tell an image format from PATH" when it does not. Commands check this
// before any work: an unknown suffix is a usage error.
bool vellCheckImageSuffix(const QString &path);

// What a user may ask of an output image.
struct VellOutputOptions
{
    int quality = -1;        // --quality N, 0 to 100 (JPEG, WebP); -1: the writer's default
    bool lossless = false;   // --lossless (WebP)
    int depth = 0;           // --depth 8|16 (16: PNG and TIFF); 0: the picture's own
};

// The options several commands share, each taken only by the commands that
// list its kind.
struct VellSharedOptions
{
    VellOutputOptions output;
    QSize maxSize;           // --max-size WxH; invalid: what the run's path can hold
    bool noColour = false;   // --no-colour
    bool shrink = false;     // --shrink
};
enum VellOptionKind {
    QualityOptions = 1,   // --quality, --lossless
    DepthOption = 2,      // --depth
    MaxSizeOption = 4,
    NoColourOption = 8,
    ShrinkOption = 16,
};
// Takes the shared option at args[*i] when its kind is among `kinds`,
// moving *i past its value. 1: taken; 0: not a shared option of these kinds;
// -1: a bad or repeated value (the usage error printed).
int vellTakeOption(const QStringList &args, int *i, int kinds, VellSharedOptions *options);
// "WxH" with both sides above 0.
bool vellParseSize(const QString &text, QSize *size);

// Whether `options` fit `format` (--quality: JPEG and WebP; --lossless:
// WebP; --depth 16: PNG and TIFF); prints the usage error when not. Commands
// check this with the suffix, before any work.
bool vellCheckOutputOptions(const VellOutputOptions &options, const QByteArray &format);
// `image` as it will be written in `format`: 16 bits per channel when the
// format holds them and --depth 16 asks for them or the picture has them
// (and --depth 8 does not ask for less), else 8.
QImage vellOutputImage(const QImage &image, const QByteArray &format, const VellOutputOptions &options);
// The bits per channel a file of `format` gets from `image` (after
// vellOutputImage): 16 or 8.
int vellWrittenDepth(const QImage &image, const QByteArray &format);

// Writes `image` in `format` into `file`, which open() has created, with the
// quality `options` ask for (the depth is vellOutputImage's business). False,
// with the file marked failed, when the writer reports a failure; a write
// the writer let pass (libtiff's handler ignores the failure of its last
// flush) shows in file->finish().
bool vellWriteImage(VellAtomicFile *file, const QImage &image, const QByteArray &format,
                    const VellOutputOptions &options = VellOutputOptions());
// Writes `image` to the file at `path` in the format its suffix names,
// replacing it only when all was written. False, with "cannot write PATH:
// reason" printed, otherwise.
bool vellWriteImageFile(const QString &path, const QImage &image,
                        const VellOutputOptions &options = VellOutputOptions());

// The usage error of a command whose output names one of its inputs: checked
// before any work, since writing would destroy the input. Prints the error
// and returns true when `output` is one of `inputs`.
bool vellOutputIsInput(const QString &output, const QStringList &inputs);

// Each command takes the host and its own arguments (the command word
// removed) and returns an exit code. It runs in phases: parse the arguments
// (no Qt application exists yet), host.setUp() with what it needs, build its
// inputs, do its work, write its outputs, report.
int vellInfoCommand(VellHost &host, const QStringList &args);
int vellCipherCommand(VellHost &host, const QStringList &args);
int vellPackCommand(VellHost &host, const QStringList &args);
int vellUnpackCommand(VellHost &host, const QStringList &args);
int vellIccCommand(VellHost &host, const QStringList &args);
int vellComposeCommand(VellHost &host, const QStringList &args);

// The folders that may hold vell's data/ folder, in the order they are
// searched: the working folder (so a user can put files of their own first),
// the folder of the vell binary (the build tree) and the installed data
// folder. Needs the Qt application.
QStringList vellDataRoots();

// Image -> new picture host, caller owns it; null for a null image and when
// the memory budget (or the format conversion) finds no memory. With
// keepDepth, 16-bit images become 8-byte hosts; everything else becomes a
// 4-byte host.
VellPictureHost *vellImageToHost(const QImage &image, bool keepDepth);
// The image file at `path` (vellReadImage) as a new picture host (see
// vellImageToHost; the caller owns it). Null, with a message, when the file
// holds no readable image or the memory budget refuses. `hasAlpha`, when
// given, says whether the image had an alpha channel; `iccProfile` receives
// the ICC profile the file embeds (empty for none).
VellPictureHost *vellReadImageHost(const QString &path, bool keepDepth, bool *hasAlpha = nullptr,
                                   QByteArray *iccProfile = nullptr);
// Picture host -> image: ARGB32 for 4-byte hosts, RGBA64 for 8-byte ones.
// A null image for a null or empty host, or when the image cannot be
// allocated.
QImage vellHostToImage(const VellPictureHost *host);

// The colour step of every command that opens an image. The first of these
// decides the colour space of *host: `from` (a user's --from), the ICC
// profile the file embeds (`embedded`, empty for none), the name of a colour
// space in imagePath's metadata text, else sRGB. *host is converted to sRGB
// (replacing it) and one line says which source decided: "colour space:
// embedded profile 'Adobe RGB (1998)' (converted to sRGB)", "colour space:
// named in metadata: ProPhoto (converted to sRGB)", "colour space: sRGB".
// An embedded profile that describes sRGB leaves the pixels as they are; one
// that is not an RGB profile is ignored with a warning. False, with a message
// and *host unchanged, when a named space's profile is missing or the
// conversion fails.
bool vellColourStep(VellPictureHost **host, const QString &imagePath, const QByteArray &embedded,
                    const QString &from);

#endif // VELLCOMMANDLINE_H
