#include "history/vellparammemo.h"

#include "document/vellcontext.h"
#include "foundation/vellcodes.h"
#include "history/ivellreplaytool.h"
#include "selection/vellcompressedselection.h"
#include "selection/vellselection.h"

#include <QDataStream>

VellParamMemo::VellParamMemo(VellContext *context, const QByteArray *bytes,
                             IVellReplayTool *tool, int layer, int selection, QObject *parent)
    : VellHistoryMemo(context, tr("Apply Filter:") + (tool ? tool->getName() : QString()), parent),
      tool(tool), selectionIndex(selection)
{
    type = VellMemoType::Param;
    layerIndex = layer;
    if (bytes)
        parameters = *bytes;
    if (context)
        editingChannel = context->editingChannel;
}

bool VellParamMemo::undo()
{
    UndoMark mark(this);
    if (!mark.ok() || !tool)
        return false;
    VellSelection *selection = context->getSelection();
    if (!selection)
        return false;
    const VellCompressedSelection *stored = selection->getCompressedSelection(selectionIndex);
    const VellCompressedSelection *present =
        selection->getCompressedSelection(selection->getHistoryIndex());
    if (!stored || !present)
        return false;
    // Whole and Empty carry no bytes: two of the same kind are the same
    // selection, wherever they stand in the history.
    const bool sameKindWithoutBytes =
        stored->getType() == present->getType()
        && (stored->getType() == VellSelectionKind::Whole
            || stored->getType() == VellSelectionKind::Empty);
    if (!sameKindWithoutBytes && stored != present)
        selection->decompress(selectionIndex);
    context->editingChannel = editingChannel;

    QDataStream in(parameters);
    in.setVersion(QDataStream::Qt_4_8);
    tool->restoreParameters(in);
    tool->applyToEntireLayer();
    return true;
}
