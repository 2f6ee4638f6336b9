#ifndef VELLBATCHACTIONROTATION_H
#define VELLBATCHACTIONROTATION_H

#include "presets/vellbatchaction.h"

class QDataStream;

// A rotation step; the unit of the angle is the replaying host's (vell:
// degrees, counter-clockwise).
class VellBatchActionRotation : public VellBatchAction
{
public:
    VellBatchActionRotation() : VellBatchAction(Rotation) {}

    int getRotation() const { return rotation; }
    void setRotation(int angle) { rotation = angle; }

private:
    int rotation = 0;

    friend QDataStream &operator>>(QDataStream &in, VellBatchActionRotation **action);
};

// The body: name, type, rotation.
QDataStream &operator<<(QDataStream &out, const VellBatchActionRotation &action);
QDataStream &operator>>(QDataStream &in, VellBatchActionRotation **action);

#endif // VELLBATCHACTIONROTATION_H
