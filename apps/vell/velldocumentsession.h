#ifndef VELLDOCUMENTSESSION_H
#define VELLDOCUMENTSESSION_H

#include <QString>
#include <QtGlobal>

class VellCanvas;
class VellContext;

// The document a command works on, made the current one, and taken down
// while the canvas's context is current, since its layers delete their
// textures then. GUI thread; must go before the host that owns the canvas.
class VellDocumentSession
{
public:
    VellDocumentSession() = default;
    ~VellDocumentSession();
    Q_DISABLE_COPY(VellDocumentSession)

    // Makes `doc` (owned from now on) the current document, quiet and in
    // batch mode so that no dialog or progress widget appears.
    void adopt(VellContext *doc);

    VellCanvas *canvas = nullptr;      // the host's; null on the CPU path
    VellContext *document = nullptr;   // owned
};

// Documents on disk. A document file is an OpenRaster file (found by
// content) or one that no image reader takes, read as the library's stream
// form (what compose --save writes).
bool vellIsOraFile(const QString &path);
bool vellIsDocumentFile(const QString &path);
// The stream form's document in the file at `path` (the caller owns it);
// null with "cannot read PATH: neither an image nor a vell document".
VellContext *vellReadDocumentFile(const QString &path);
// An OpenRaster file's document (the caller owns it), the reader's warnings
// said as notes; null with the reader's reason said.
VellContext *vellReadOraFile(const QString &path);

#endif // VELLDOCUMENTSESSION_H
