#ifndef VELLORAREADER_H
#define VELLORAREADER_H

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>
#include <QStringList>

#include <memory>

class VellContext;
class VellZipArchive;
struct VellOraNode;

// Reads OpenRaster files, ours and other programs', leniently: what the
// document model cannot hold is approximated and each such step adds a line
// to warnings(); what cannot be read safely is refused, with errorString()
// naming the file and the reason.
//
// open() reads the container and stack.xml only; readDocument() then decodes
// the layers. Refused: bytes that are not a zip archive or are truncated;
// encrypted entries or compression methods other than stored and deflated;
// no stack.xml, or one stating more than 16 MiB; a mimetype entry with text
// other than "image/openraster" (one that is missing, not first or
// compressed only warns); a DOCTYPE; stacks nested deeper than 32; more than
// 4096 layers or 4096 stacks; an image or layer PNG whose size is not
// positive or passes the settings' image limits (read from the PNG header
// before decoding), PNG entries stating together more than 4 GiB or half the
// free memory, or layers that together would not fit in free memory.
//
// Approximations: stacks with isolation="auto" are inlined (their opacity
// multiplied into their layers, hidden passed down); other stacks, and a
// layer under a Porter-Duff operator, are flattened on the CPU into one
// layer; filters, text elements and sources that are not PNG are skipped; a
// composite-op we have no mode for reads as Normal; 16-bit PNGs become 8-byte
// layers and embedded colour profiles are ignored; a layer without a source
// is empty; a NaN opacity reads as 1; offsets that are not whole are rounded
// as layers round positions. Our own attributes (vell:mode, masks as
// masked-layer stacks or baked with vell:unmasked-src and vell:mask-src,
// text layers' records as vell:text-src) are read back exactly; a text
// record that is missing, over 16 MiB or does not read cleanly leaves the
// layer's PNG in its place, with a warning.
//
// Layers join the document as the document stream reader adds them: no
// current document is needed, nothing is recorded for undo, and the
// document is not registered with the context manager. GUI thread.
class VellOraReader
{
public:
    static constexpr int kMaxNesting = 32;
    static constexpr int kMaxLayers = 4096;
    static constexpr int kMaxStacks = 4096;
    static constexpr qint64 kMaxStackXmlBytes = qint64(16) << 20;

    VellOraReader();
    ~VellOraReader();
    Q_DISABLE_COPY(VellOraReader)

    bool openFile(const QString &path);
    // `name` stands for the file in messages.
    bool openData(const QByteArray &bytes, const QString &name);

    // The document (the caller owns it; latest place 0 on every layer), or
    // null with errorString() set. Layers read are activated, which makes
    // textures when a GL context is current.
    VellContext *readDocument();
    // The stored composite and thumbnail as ARGB32; null when absent or
    // unreadable (a warning says why).
    QImage mergedImage();
    QImage thumbnail();

    QSize imageSize() const { return size; }
    QStringList warnings() const { return warningList; }
    QString errorString() const { return error; }

    // Whether the bytes start as an OpenRaster file does: a zip whose first
    // entry is "mimetype", stored, holding "image/openraster". Needs the
    // first 54 bytes.
    static bool canRead(const QByteArray &head);
    static bool canReadFile(const QString &path);

private:
    bool open();
    bool refuse(const QString &reason);
    void warn(const QString &text);
    QImage readImageEntry(const QString &entry);

    QString fileName;
    std::unique_ptr<VellZipArchive> zip;
    std::unique_ptr<VellOraNode> root;   // the image's stack, as parsed
    QSize size;
    QStringList warningList;
    QString error;
};

#endif // VELLORAREADER_H
