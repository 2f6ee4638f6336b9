#ifndef VELLBATCHACTIONFILTER_H
#define VELLBATCHACTIONFILTER_H

#include "presets/vellbatchaction.h"

#include <QByteArray>

class QDataStream;

// A filter step: the tool's identifier and its parameters as the tool's
// serializeParams wrote them. Owns the parameter bytes.
class VellBatchActionFilter : public VellBatchAction
{
public:
    VellBatchActionFilter() : VellBatchAction(Filter), params(new QByteArray) {}
    ~VellBatchActionFilter() { delete params; }
    Q_DISABLE_COPY(VellBatchActionFilter)

    QByteArray *getParams() const { return params; }   // owned by the action
    void setParams(const QByteArray &bytes) { *params = bytes; }
    QString getToolId() const { return toolId; }
    void setToolId(const QString &id) { toolId = id; }

private:
    QByteArray *params;   // owned, never null
    QString toolId;

    friend QDataStream &operator>>(QDataStream &in, VellBatchActionFilter **action);
};

// The body: name, type, toolId, params.
QDataStream &operator<<(QDataStream &out, const VellBatchActionFilter &action);
// A new action (caller owns it) into *action; null, with the stream's status
// set, when the body is cut short or is not a filter's.
QDataStream &operator>>(QDataStream &in, VellBatchActionFilter **action);

#endif // VELLBATCHACTIONFILTER_H
