#ifndef VELLSELECTIONMEMO_H
#define VELLSELECTIONMEMO_H

#include "history/vellhistorymemo.h"

// A change of the document's selection, as the index of a state in the
// selection's own compressed history. undo() brings that state back and keeps
// the one it replaced, so the next undo() brings that back again.
//
// Holds no data of its own. GUI thread.
class VellSelectionMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    VellSelectionMemo(VellContext *context, int selectionIndex, QObject *parent = nullptr);

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

    int getSelectionIndex() const { return selectionIndex; }

private:
    int selectionIndex = -1;
};

#endif // VELLSELECTIONMEMO_H
