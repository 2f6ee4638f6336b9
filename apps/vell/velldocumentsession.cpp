#include "velldocumentsession.h"

#include "vellcommandline.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "interchange/vellorareader.h"

#include <QImageReader>

VellDocumentSession::~VellDocumentSession()
{
    if (canvas)
        canvas->makeCurrent();
    delete document;   // takes itself off the context manager's list
}

void VellDocumentSession::adopt(VellContext *doc)
{
    delete document;
    document = doc;
    document->batchFlag = true;
    document->quietFlag = true;
    VellContextManager *contexts = VellContextManager::getInstance();
    contexts->addContext(document);
    contexts->setCurrentContext(contexts->indexOfContext(document));
}

bool vellIsOraFile(const QString &path)
{
    // Image plug-ins read an OpenRaster file's composite: ours reads its layers.
    return VellOraReader::canReadFile(path);
}

bool vellIsDocumentFile(const QString &path)
{
    return vellIsOraFile(path) || !QImageReader(path).canRead();
}

VellContext *vellReadDocumentFile(const QString &path)
{
    return vellReadStreamFile<VellContext>(
        path, QStringLiteral("cannot read %1: neither an image nor a vell document"));
}

VellContext *vellReadOraFile(const QString &path)
{
    VellOraReader reader;
    VellContext *document = reader.openFile(path) ? reader.readDocument() : nullptr;
    for (const QString &warning : reader.warnings())
        vellNote(QStringLiteral("warning: %1: %2").arg(path, warning));
    if (!document)
        vellError(QStringLiteral("cannot read %1").arg(reader.errorString()));
    return document;
}
