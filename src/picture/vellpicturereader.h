#ifndef VELLPICTUREREADER_H
#define VELLPICTUREREADER_H

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QImage;
class VellPicture;
class VellPictureHost;

// Turns an image file or a QImage into a picture host of 4-byte B, G, R, A
// pixels, enforcing the image-size limits of the global settings: an image
// over them is offered for shrinking in the resize-on-open dialog first.
// The host application calls it when it opens files.
//
// Holds no state. Hosts it returns are owned by the caller. GUI thread only
// (the dialog is modal).
class VellPictureReader : public QObject
{
    Q_OBJECT

public:
    // What the reader needs from the current document. The document model
    // sits above the pictures, so its list of documents installs the probe
    // when it comes into being; no probe, or no value, means there is no
    // current document and nothing is read. Tests install their own.
    struct Document
    {
        bool batch = false;   // no modal dialogs
        bool quiet = false;   // nor the resize-on-open dialog
    };
    using DocumentProbe = std::function<std::optional<Document>()>;
    // Set once at start-up on the GUI thread.
    static void setDocumentProbe(DocumentProbe probe);

    explicit VellPictureReader(QObject *parent = nullptr);

    // Null without a current document, when the user cancels the dialog, or
    // when the host cannot be allocated. An image over the limits is scaled
    // (ignoring its aspect ratio, smoothly) to the size the dialog returns;
    // in batch or quiet mode the dialog is not shown and its proposal is used.
    // `image` is scaled and converted to ARGB32 in place.
    VellPictureHost *ReadImageToHost(QImage &image);
    // Null for an empty path or a file readImageFile refuses; otherwise
    // ReadImageToHost of the loaded image.
    VellPictureHost *ReadPictureToHost(const QString &path);
    // A whole picture (depth 4, B, G, R, A) of the file's size, owned by the
    // caller, with its texture when a GL context is current. Null without a
    // current document, for a file readImageFile refuses or when memory runs
    // out. The size limits do not apply (the caller chose this picture), the
    // decode ceiling does.
    VellPicture *ReadPicture(const QString &path);

    // Reads an image file (its first frame) for the two readers above, and
    // for hosts that decode images themselves. The size the file declares is
    // checked before anything is decoded: a file that declares none, or one
    // whose 4-byte pixels would pass decodeCeiling(), is refused, so a few
    // bytes claiming gigabytes of pixels cost nothing. Null on failure, with
    // the reason in *error (may be null).
    static QImage readImageFile(const QString &path, QString *error = nullptr);
    // The most bytes (of 4-byte pixels) a decode may take: the larger of the
    // memory budget and the largest picture the image size limits let
    // through, and below 2^31. Pictures over the limits but within this are
    // still decoded whole and then shrunk; larger ones are refused.
    static qint64 decodeCeiling();
};

#endif // VELLPICTUREREADER_H
