#ifndef VELLCOMMANDLINE_H
#define VELLCOMMANDLINE_H

#include <QDataStream>
#include <QFile>
#include <QStringList>

class QImage;
class VellPictureHost;

// Exit codes shared by every command of the host.
enum VellExitCode { ExitOk = 0, ExitFailure = 1, ExitUsage = 2 };

// Messages for people: errors and progress go to standard error, results to
// standard output.
void vellError(const QString &message);
void vellNote(const QString &message);
void vellPrint(const QString &line);

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

// Each command takes its own arguments (the command word removed) and returns
// an exit code.
int vellInfoCommand(const QStringList &args);
int vellCipherCommand(const QStringList &args);
int vellPackCommand(const QStringList &args);
int vellUnpackCommand(const QStringList &args);
int vellIccCommand(const QStringList &args);
int vellComposeCommand(const QStringList &args);

// Image -> new picture host, caller owns it; null when the memory budget
// refuses. With keepDepth, 16-bit images become 8-byte hosts; everything else
// becomes a 4-byte host.
VellPictureHost *vellImageToHost(const QImage &image, bool keepDepth);
// Picture host -> image: ARGB32 for 4-byte hosts, RGBA64 for 8-byte ones.
QImage vellHostToImage(const VellPictureHost *host);

// The colour step of every command that opens an image: takes the colour
// space `from`, or when it is empty the one that imagePath's metadata names,
// converts *host to sRGB (replacing it) and prints "colour space: ...". False,
// with a message and *host unchanged, when the space's profile is missing or
// the conversion fails.
bool vellColourStep(VellPictureHost **host, const QString &imagePath, const QString &from);

#endif // VELLCOMMANDLINE_H
