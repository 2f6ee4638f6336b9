#ifndef VELLLAYERMASKCREATEORREMOVEMEMO_H
#define VELLLAYERMASKCREATEORREMOVEMEMO_H

#include "history/vellhistorymemo.h"

#include <QPointer>

class VellLayerMask;

// A mask created or removed. Made before the change, it holds the layer's
// mask if it had one. undo() then alternates: holding a mask, it gives it
// back to the layer; holding none, it takes the layer's mask off and keeps
// it.
//
// Owns the mask while holding it and the layer does not (a mask given back
// belongs to the layer again). GUI thread.
class VellLayerMaskCreateOrRemoveMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    VellLayerMaskCreateOrRemoveMemo(VellContext *context, int layerIndex,
                                    QObject *parent = nullptr);
    ~VellLayerMaskCreateOrRemoveMemo() override;

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

    VellLayerMask *getMask() const { return mask; }

private:
    // Guarded: a mask the layer still owns may go with the layer.
    QPointer<VellLayerMask> mask;
};

#endif // VELLLAYERMASKCREATEORREMOVEMEMO_H
