#ifndef VELLLAYERMASKMEMO_H
#define VELLLAYERMASKMEMO_H

#include "history/vellhistorymemo.h"

class VellBlockedSparseChannel;

// The previous bytes of the part of a layer's mask that an edit changed.
// undo() exchanges them with the mask's present bytes (its own inverse).
//
// Owns the sparse channel. GUI thread.
class VellLayerMaskMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    // Takes ownership of `part` (null: a memo that changes nothing).
    VellLayerMaskMemo(VellContext *context, VellBlockedSparseChannel *part, int layerIndex,
                      QObject *parent = nullptr);
    ~VellLayerMaskMemo() override;

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

private:
    VellBlockedSparseChannel *part = nullptr;   // owned
};

#endif // VELLLAYERMASKMEMO_H
