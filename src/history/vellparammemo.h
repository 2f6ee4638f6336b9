#ifndef VELLPARAMMEMO_H
#define VELLPARAMMEMO_H

#include "history/vellhistorymemo.h"

#include <QByteArray>

class IVellReplayTool;

// One application of a filter: the tool, its saved parameters, the layer,
// the selection in force and the document's editing channels at the time.
// undo() replays it: the selection and channels are put back as they were,
// the parameters restored into the tool and the tool applied to the whole
// layer. The history replays these from the full picture below them; this
// memo never swaps and holds nothing worth swapping (memoryTaken() is 0).
//
// Owns its bytes; the tool is not owned and must outlive the memo.
class VellParamMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    // `parameters` is copied (null reads as no parameters).
    VellParamMemo(VellContext *context, const QByteArray *parameters, IVellReplayTool *tool,
                  int layerIndex, int selectionIndex, QObject *parent = nullptr);

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

    IVellReplayTool *getTool() const { return tool; }
    QByteArray getParameters() const { return parameters; }
    int getSelectionIndex() const { return selectionIndex; }
    int getEditingChannel() const { return editingChannel; }

private:
    QByteArray parameters;
    IVellReplayTool *tool = nullptr;   // not owned
    int selectionIndex = -1;
    int editingChannel = 0;
};

#endif // VELLPARAMMEMO_H
