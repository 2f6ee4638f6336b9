#ifndef VELLLAYERMASKINVERTMEMO_H
#define VELLLAYERMASKINVERTMEMO_H

#include "history/vellhistorymemo.h"

// An inversion of a layer's mask, or of the selection while it is edited.
// Inverting again undoes it, so the memo stores nothing.
//
// GUI thread.
class VellLayerMaskInvertMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    VellLayerMaskInvertMemo(VellContext *context, int layerIndex, QObject *parent = nullptr);

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }
};

#endif // VELLLAYERMASKINVERTMEMO_H
