#ifndef VELLSPARSEMODIFYMEMO_H
#define VELLSPARSEMODIFYMEMO_H

#include "history/vellhistorymemo.h"

class VellSparsePicture;

// The previous values of the pixels a painting stroke changed. Exchanging
// them with the live pixels undoes the stroke, and doing it again redoes it.
// A colour record (4 or 8 bytes a pixel) exchanges with the layer's picture;
// a one-channel record with the selection being edited, or else the layer's
// mask.
//
// Owns the sparse picture. GUI thread.
class VellSparseModifyMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    // Takes ownership of `pixels` (null: a memo that changes nothing).
    VellSparseModifyMemo(VellContext *context, VellSparsePicture *pixels, int layerIndex,
                         QObject *parent = nullptr);
    ~VellSparseModifyMemo() override;

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

private:
    VellSparsePicture *pixels = nullptr;   // owned
};

#endif // VELLSPARSEMODIFYMEMO_H
