#include "presets/vellbatchactionfilter.h"

#include <QDataStream>

QDataStream &operator<<(QDataStream &out, const VellBatchActionFilter &action)
{
    action.writeHead(out);
    out << action.getToolId() << *action.getParams();
    return out;
}

QDataStream &operator>>(QDataStream &in, VellBatchActionFilter **action)
{
    *action = nullptr;
    QString name, toolId;
    QByteArray params;   // QDataStream grows it as bytes arrive, not by the length read
    if (!VellBatchAction::readHead(in, VellBatchAction::Filter, &name))
        return in;
    in >> toolId >> params;
    if (in.status() != QDataStream::Ok)
        return in;
    auto *read = new VellBatchActionFilter;
    read->name = name;
    read->toolId = toolId;
    *read->params = params;
    *action = read;
    return in;
}
