#ifndef VELLBATCHACTIONRESIZE_H
#define VELLBATCHACTIONRESIZE_H

#include "presets/vellbatchaction.h"

class QDataStream;

// A resize step: a mode and two numbers whose meaning the replaying host
// decides (vell: mode 0 pixels, 1 percent, 2 fit inside).
class VellBatchActionResize : public VellBatchAction
{
public:
    VellBatchActionResize() : VellBatchAction(Resize) {}

    int getResizeMode() const { return resizeMode; }
    void setResizeMode(int mode) { resizeMode = mode; }
    void setParam(int first, int second) { param1 = first; param2 = second; }
    void getParam(int &first, int &second) const { first = param1; second = param2; }

private:
    int resizeMode = 0;
    int param1 = 0;
    int param2 = 0;

    friend QDataStream &operator>>(QDataStream &in, VellBatchActionResize **action);
};

// The body: name, type, resizeMode, the two parameters.
QDataStream &operator<<(QDataStream &out, const VellBatchActionResize &action);
QDataStream &operator>>(QDataStream &in, VellBatchActionResize **action);

#endif // VELLBATCHACTIONRESIZE_H
