#ifndef VELLCOMMANDLINE_H
#define VELLCOMMANDLINE_H

#include <QDataStream>
#include <QFile>
#include <QStringList>

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

// Every stream file vell reads or writes (picture hosts, documents) has the
// byte format of Qt 4.8's QDataStream, which the library's stream operators
// are written for.

// Reads one object written by its stream operator from the file at `path`
// (new object, caller owns it). Null with a message when the file cannot be
// opened, or with `invalid` (its %1 the path) when it holds no valid object.
template <class T>
T *vellReadStreamFile(const QString &path, const QString &invalid)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read '%1': %2").arg(path, file.errorString()));
        return nullptr;
    }
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_4_8);
    T *object = nullptr;
    in >> &object;
    if (!object || in.status() != QDataStream::Ok) {
        delete object;
        vellError(invalid.arg(path));
        return nullptr;
    }
    return object;
}

// Writes `object` with its stream operator to the file at `path`, replacing
// it. False with a message when the file cannot be opened, or with `failed`
// (its %1 the path, %2 the reason) when writing fails; the file may then be
// partly written.
template <class T>
bool vellWriteStreamFile(const QString &path, T *object, const QString &failed)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        vellError(QStringLiteral("cannot write '%1': %2").arg(path, file.errorString()));
        return false;
    }
    QDataStream out(&file);
    out.setVersion(QDataStream::Qt_4_8);
    out << object;
    file.close();   // flushes, so a full disk shows in file.error()
    if (out.status() != QDataStream::Ok || file.error() != QFileDevice::NoError) {
        vellError(failed.arg(path, file.errorString()));
        return false;
    }
    return true;
}

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
// The image file at `path` as a new picture host (see vellImageToHost; the
// caller owns it). Null, with a message, when the file holds no readable
// image or the memory budget refuses. `hasAlpha`, when given, says whether
// the image had an alpha channel.
VellPictureHost *vellReadImageHost(const QString &path, bool keepDepth, bool *hasAlpha = nullptr);
// Picture host -> image: ARGB32 for 4-byte hosts, RGBA64 for 8-byte ones.
// A null image for a null or empty host, or when the image cannot be
// allocated.
QImage vellHostToImage(const VellPictureHost *host);

// The colour step of every command that opens an image: takes the colour
// space `from`, or when it is empty the one that imagePath's metadata names,
// converts *host to sRGB (replacing it) and prints "colour space: ...". False,
// with a message and *host unchanged, when the space's profile is missing or
// the conversion fails.
bool vellColourStep(VellPictureHost **host, const QString &imagePath, const QString &from);

#endif // VELLCOMMANDLINE_H
