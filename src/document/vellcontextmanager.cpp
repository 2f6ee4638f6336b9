#include "document/vellcontextmanager.h"

#include "document/vellcontext.h"
#include "document/velllayermanager.h"
#include "foundation/vellrecovery.h"
#include "history/vellhistory.h"
#include "history/vellmemolayerlistchange.h"
#include "picture/vellpicturereader.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

VellContextManager *VellContextManager::getInstance()
{
    static VellContextManager *instance = nullptr;
    if (!instance) {
        instance = new VellContextManager;
        // After the pointer is set: a hook asking for the instance must find this one.
        instance->installProbes();
    }
    return instance;
}

VellContextManager::VellContextManager() : QObject(nullptr)
{
}

void VellContextManager::installProbes()
{
    // Each hook asks for the document current at the time of the call, not at
    // installation.
    VellLayerBase::setStackIndexProbe([this](const VellLayerBase *layer) -> std::optional<int> {
        if (!current)
            return std::nullopt;
        return current->getLayerManager()->getLayerIndex(const_cast<VellLayerBase *>(layer));
    });
    VellLayerManager::setDocumentProbe([this]() -> std::optional<VellLayerManager::Document> {
        if (!current)
            return std::nullopt;
        VellLayerManager::Document document;
        document.quiet = current->quietFlag;
        document.flushPendingMemo = [this] {
            if (!current || !current->getLastMemo())
                return;
            VellHistoryMemo *pending = current->getLastMemo();
            current->setLastMemo(nullptr);
            current->getHistory()->pushNewMemo(pending);
        };
        document.pushListChangeMemo = [this](VellLayerManager *manager) {
            if (current)
                current->getHistory()->pushNewMemo(new VellMemoLayerListChange(current, manager));
        };
        return document;
    });
    VellPictureReader::setDocumentProbe([this]() -> std::optional<VellPictureReader::Document> {
        if (!current)
            return std::nullopt;
        VellPictureReader::Document document;
        document.batch = current->batchFlag;
        document.quiet = current->quietFlag;
        return document;
    });
    // A swap thread that allocates may run short too: memos are deleted in
    // the GUI thread only, so its request waits for the event loop there.
    VellRecovery::setClearHistory([this] {
        if (QThread::currentThread() != thread()) {
            QMetaObject::invokeMethod(this, [this] { clearCurrentHistory(); }, Qt::QueuedConnection);
            return;
        }
        clearCurrentHistory();
    });
    VellRecovery::setDropInactiveTextures([this] {
        // Textures live with the GUI thread's context, like memos.
        if (QThread::currentThread() != thread()) {
            QMetaObject::invokeMethod(this, [this] { dropInactiveTextures(); }, Qt::QueuedConnection);
            return;
        }
        dropInactiveTextures();
    });
}

void VellContextManager::clearCurrentHistory()
{
    if (current)
        current->getHistory()->clearHistory();
}

void VellContextManager::dropInactiveTextures()
{
    if (current)
        current->getLayerManager()->deleteFullTextureInDisactiveLayers();
}

void VellContextManager::addContext(VellContext *context)
{
    contexts.append(context);
}

void VellContextManager::removeContext(VellContext *context)
{
    const int index = contexts.indexOf(context);
    if (index < 0)
        return;
    contexts.remove(index);
    if (current == context)
        current = nullptr;
}

int VellContextManager::indexOfContext(VellContext *context) const
{
    return contexts.indexOf(context);
}

void VellContextManager::setCurrentContext(int index)
{
    if (index < 0 || index >= contexts.size() || !contexts[index])
        return;
    current = contexts[index];
    emit contextChanged();
}
