#ifndef VELLORAWRITER_H
#define VELLORAWRITER_H

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>

class VellContext;

// Writes a document as an OpenRaster file: a zip holding `mimetype` (first,
// stored, no extra field), `stack.xml` (deflated), one PNG per layer and mask
// under data/ (stored: PNG is compressed already), `Thumbnails/thumbnail.png`
// and `mergedimage.png`.
//
// stack.xml lists the top layer first. Each layer carries the OpenRaster
// attributes other programs read (name, whole-pixel x and y, opacity,
// visibility, composite-op, selected on the active layer) and ours under the
// `vell` prefix, which our reader prefers: vell:mode is the exact blend-mode
// code, since several of our modes have no OpenRaster name.
//
// The format has no layer masks. A masked layer is written, by the mask
// policy, either as an isolated stack (vell:kind="masked-layer") holding the
// mask as a white layer whose alpha is the mask, composited "dst-in" over the
// layer's pixels, so programs that know dst-in show it masked; or baked: the
// layer's pixels times the mask, with the unmasked pixels and the mask kept
// as vell:unmasked-src and vell:mask-src for our reader.
//
// A text layer is its rendering at scale 1, placed at its document
// rectangle, for other programs, plus its stream record (the bytes a saved
// document holds for it, deflated) as vell:text-src, with the stream version
// it was written at as vell:text-version, from which our reader gets the
// editable layer back.
//
// 8-byte layers become 16-bit PNGs, the rest 8-bit. The merged image is the
// visible layers through the CPU compositor (the host's exclusion of layers
// is a viewing state and is ignored), unless the caller hands its own
// composite (the canvas's renderToImage). Layers whose GPU copy is newer are
// read back first, which needs the canvas's context current.
//
// Writing either replaces the file whole or leaves it as it was. GUI thread
// (it reads the document); the PNGs are encoded on OpenMP threads.
class VellOraWriter
{
public:
    enum MaskPolicy { MasksAsStacks, MasksBaked };

    VellOraWriter() = default;

    void setMaskPolicy(MaskPolicy policy) { maskPolicy = policy; }
    MaskPolicy getMaskPolicy() const { return maskPolicy; }
    // An ARGB32 composite of the document's size to store as the merged
    // image and thumbnail; a null image (the default) asks for the CPU
    // compositor's.
    void setMergedImage(const QImage &image) { merged = image; }

    // False, with errorString() naming the file and the reason, when the file
    // could not be written; the file is then unchanged.
    bool write(VellContext *document, const QString &path);
    QString errorString() const { return error; }

    // The document's size: its selection's, else its bottom layer's.
    static QSize documentSize(const VellContext *document);
    // The thumbnail's size for an image: at most 256 on each side, the aspect
    // kept (sides rounded, at least 1), never larger than the image.
    static QSize thumbnailSize(const QSize &imageSize);
    // The composite-op written for a blend-mode code (svg: names where the
    // W3C compositing names match, Krita's otherwise); Normal's for an
    // unknown code.
    static QString compositeOp(int mode);
    // The PNG bytes of an image as the writer stores them (VellPngWriter,
    // fast deflate on the calling thread); empty when it cannot be encoded.
    // Thread-safe.
    static QByteArray encodePng(const QImage &image);
    // XML 1.0 cannot carry some characters (most controls, lone surrogates,
    // U+FFFE and U+FFFF): each becomes U+FFFD.
    static QString xmlSafe(const QString &text);

    static const char kMimeType[];        // "image/openraster"
    static const char kVellNamespace[];   // the URI behind the vell prefix

private:
    MaskPolicy maskPolicy = MasksAsStacks;
    QImage merged;
    QString error;
};

#endif // VELLORAWRITER_H
