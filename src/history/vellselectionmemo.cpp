#include "history/vellselectionmemo.h"

#include "document/vellcontext.h"
#include "foundation/vellcodes.h"
#include "selection/vellselection.h"

VellSelectionMemo::VellSelectionMemo(VellContext *context, int index, QObject *parent)
    : VellHistoryMemo(context, tr("Selection Operation"), parent), selectionIndex(index)
{
    type = VellMemoType::Selection;
}

bool VellSelectionMemo::undo()
{
    UndoMark mark(this);
    VellSelection *selection = context ? context->getSelection() : nullptr;
    if (!mark.ok() || !selection || !selection->getCompressedSelection(selectionIndex))
        return false;
    const int present = selection->getHistoryIndex();
    selection->decompress(selectionIndex);
    selectionIndex = present;
    return true;
}
