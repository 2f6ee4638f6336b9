#include "document/vellcontext.h"

#include "document/vellcontextmanager.h"
#include "document/velllayermanager.h"
#include "canvas/vellcanvas.h"
#include "foundation/velllog.h"
#include "history/vellhistory.h"
#include "history/vellhistorymemo.h"
#include "history/vellselectionedithistory.h"
#include "presets/vellactionmanager.h"
#include "selection/vellselection.h"
#include "tools/ivelltool.h"

#include <QDataStream>

#include <memory>

VellContext::VellContext(QObject *parent)
    : QObject(parent), layerManager(new VellLayerManager), history(new VellHistory(this))
{
    setFileName(tr("Untitled Document"));
}

VellContext::~VellContext()
{
    // Off the list first, so nothing reaches this document through the manager
    // while its parts are being deleted.
    VellContextManager::getInstance()->removeContext(this);
    // A tool still working here stops before the layers it works on go.
    if (IVellTool *tool = currentTool) {
        tool->disActive();
        setCurrentTool(nullptr);
    }
    delete selection;
    // Memos refer to layers and masks: they go before the layer manager.
    if (lastMemo && history->indexOfMemo(lastMemo) < 0)
        delete lastMemo;
    lastMemo = nullptr;
    delete history;
    delete layerManager;
    delete selectionChannel;
}

void VellContext::setSelection(VellSelection *newSelection)
{
    if (newSelection == selection)
        return;
    delete selection;
    selection = newSelection;
}

bool VellContext::hasSelection() const
{
    return selection && selection->hasSelection();
}

void VellContext::enterSelectionEditingMode()
{
    if (!selection || editingSelection)
        return;
    selectionChannel = new VellChannel(selection);
    selectionEditHistory = new VellSelectionEditHistory(this, this);
    selection->clear();
    editingSelection = true;
    if (VellCanvas *canvas = VellCanvas::getInstance()) {
        canvas->setFgColor(QColor(QStringLiteral("#000000")));
        canvas->setBgColor(QColor(QStringLiteral("#ffffff")));
    }
    emit selectionEditModeChanged(true);
    history->updateAction();
}

void VellContext::exitSelectionEditingMode()
{
    if (!selection || !selectionChannel || !editingSelection)
        return;
    // A tool that painted the grey-level copy has nothing left to work on.
    if (IVellTool *tool = currentTool) {
        tool->disActive();
        setCurrentTool(nullptr);
    }
    selection->copyMask(selectionChannel->getData());
    delete selectionChannel;
    selectionChannel = nullptr;
    delete selectionEditHistory;
    selectionEditHistory = nullptr;
    editingSelection = false;
    emit selectionEditModeChanged(false);
    history->updateAction();
}

void VellContext::setFileName(const QString &name)
{
    fileName = name;
    emit fileNameChange(name);
}

void VellContext::setCurrentTool(IVellTool *tool)
{
    currentTool = tool;
    emit toolTipInfoChange(tool ? tool->getInfo() : QString());
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
    VellLayerManager *manager = context->getLayerManager();
    out << manager;
    if (const VellSelection *selection = context->getSelection()) {
        out << selection;
    } else {
        // The size a reader took from the bottom layer before documents had
        // selections.
        const VellLayerBase *bottom = manager->getLayerCount() > 0 ? manager->getLayer(0) : nullptr;
        const VellSelection none(nullptr, bottom ? bottom->getWidth() : 0,
                                 bottom ? bottom->getHeight() : 0);
        out << &none;
    }
    out << qint32(context->editingChannel) << qint32(context->displayingChannel);
    out << false;   // editing the selection as a channel: not yet possible
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
    VellSelection *selection = nullptr;
    in >> &selection;   // uploads itself when a context is current
    if (!selection)
        return in;   // the selection's reader has set the status
    result->setSelection(selection);

    qint32 editing = 0, displaying = 0;
    bool editingSelection = false;
    in >> editing >> displaying >> editingSelection;
    if (in.status() != QDataStream::Ok)
        return in;
    if (editingSelection) {
        // Its channel would follow, but a document cannot edit its
        // selection as a channel yet.
        VellLog::Instance()->Log("VellContext: cannot read a document editing its selection\n");
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    result->editingChannel = editing;
    result->displayingChannel = displaying;
    *context = result.release();
    return in;
}
