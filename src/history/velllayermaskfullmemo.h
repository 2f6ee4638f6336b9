#ifndef VELLLAYERMASKFULLMEMO_H
#define VELLLAYERMASKFULLMEMO_H

#include "history/vellhistorymemo.h"

#include <QByteArray>

// The whole of a layer's mask before an edit that changed all of it. undo()
// exchanges the copy with the mask's bytes (its own inverse). A layer that
// had no mask gives a memo that does nothing.
//
// Owns its copy. GUI thread.
class VellLayerMaskFullMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    VellLayerMaskFullMemo(VellContext *context, int layerIndex, QObject *parent = nullptr);

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

private:
    QByteArray bytes;   // the mask's padded rows; empty without a mask
};

#endif // VELLLAYERMASKFULLMEMO_H
