#ifndef VELLMEMOLAYERLISTCHANGE_H
#define VELLMEMOLAYERLISTCHANGE_H

#include "history/vellhistorymemo.h"

#include <QVector>

class VellLayerBase;

// The layer stack as it was before a change (a layer added, deleted or
// moved), with the active layer. undo() exchanges it with the manager's
// present stack; layers that leave the stack drop their textures but stay
// owned by the manager, which keeps every layer an undo may bring back.
//
// Holds pointers only (the layer manager owns the layers). GUI thread.
class VellMemoLayerListChange : public VellHistoryMemo
{
    Q_OBJECT

public:
    VellMemoLayerListChange(VellContext *context, VellLayerManager *manager,
                            QObject *parent = nullptr);

    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

    const QVector<VellLayerBase *> &getLayerList() const { return layers; }
    int getActiveIndex() const { return activeIndex; }

private:
    QVector<VellLayerBase *> layers;   // not owned
    int activeIndex = -1;              // permanent index, -1 for none
};

#endif // VELLMEMOLAYERLISTCHANGE_H
