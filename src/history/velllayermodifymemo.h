#ifndef VELLLAYERMODIFYMEMO_H
#define VELLLAYERMODIFYMEMO_H

#include "history/vellhistorymemo.h"

#include <QPointF>
#include <QString>
#include <QVector>

// The properties of one layer as a layer-change memo keeps them.
struct VellLayerParam
{
    int permanentIndex = -1;
    QString name;
    QPointF position;
    int blendMode = 0;
    bool visible = true;
    float opacity = 1.0f;
    int direction = 0;   // text layers only: the text's direction in degrees
};

// A change of layer properties (name, position, blend mode, visibility,
// opacity, and a text layer's direction) of one or several layers. undo() exchanges the recorded values
// with each layer's present ones, so it is its own inverse. Layers that have
// left the stack are passed over.
//
// GUI thread.
class VellLayerModifyMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    VellLayerModifyMemo(VellContext *context, VellLayerBase *layer, QObject *parent = nullptr);
    VellLayerModifyMemo(VellContext *context, const QVector<VellLayerBase *> &layers,
                        QObject *parent = nullptr);

    // The layer of the one record; -1 for several or none.
    int getLayerIndex() const override;
    bool undo() override;
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int) const override { return false; }

    const QVector<VellLayerParam> &getRecords() const { return records; }

private:
    void record(const VellLayerBase *layer);

    QVector<VellLayerParam> records;
};

#endif // VELLLAYERMODIFYMEMO_H
