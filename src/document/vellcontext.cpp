#include "document/vellcontext.h"

#include "document/vellcontextmanager.h"
#include "document/velllayermanager.h"
#include "foundation/velllog.h"
#include "presets/vellactionmanager.h"

#include <QDataStream>

#include <memory>

VellContext::VellContext(QObject *parent)
    : QObject(parent), layerManager(new VellLayerManager)
{
    setFileName(tr("Untitled Document"));
}

VellContext::~VellContext()
{
    // Off the list first, so nothing reaches this document through the manager
    // while its parts are being deleted.
    VellContextManager::getInstance()->removeContext(this);
    delete layerManager;
}

void VellContext::setFileName(const QString &name)
{
    fileName = name;
    emit fileNameChange(name);
}

void VellContext::setSaveAble(bool enabled)
{
    saveAble = enabled;
    // getInstance("") would create the manager and load an empty command file,
    // which shows two error boxes; a host without commands has no Save to switch.
    if (VellActionManager::hasInstance())
        VellActionManager::getInstance(QString())->setEnabled(QStringLiteral("Save"), enabled);
}

QDataStream &operator<<(QDataStream &out, VellContext *context)
{
    if (!context) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    out << context->getLayerManager();
    out << qint32(context->editingChannel) << qint32(context->displayingChannel);
    out << false;   // editing the selection: documents have no selection yet
    return out;
}

QDataStream &operator>>(QDataStream &in, VellContext **context)
{
    if (!context)
        return in;
    *context = nullptr;
    std::unique_ptr<VellContext> result(new VellContext);
    VellLayerManager *manager = nullptr;
    in >> &manager;
    if (!manager)
        return in;   // the manager's reader has set the status
    delete result->layerManager;
    result->layerManager = manager;

    qint32 editing = 0, displaying = 0;
    bool editingSelection = false;
    in >> editing >> displaying >> editingSelection;
    if (in.status() != QDataStream::Ok)
        return in;
    if (editingSelection) {
        // Its channel would follow, but there is no selection to edit it into.
        VellLog::Instance()->Log("VellContext: cannot read a document editing its selection\n");
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    result->editingChannel = editing;
    result->displayingChannel = displaying;
    *context = result.release();
    return in;
}
