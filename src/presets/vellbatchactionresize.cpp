#include "presets/vellbatchactionresize.h"

#include <QDataStream>

QDataStream &operator<<(QDataStream &out, const VellBatchActionResize &action)
{
    int first = 0, second = 0;
    action.getParam(first, second);
    action.writeHead(out);
    out << qint32(action.getResizeMode()) << qint32(first) << qint32(second);
    return out;
}

QDataStream &operator>>(QDataStream &in, VellBatchActionResize **action)
{
    *action = nullptr;
    QString name;
    qint32 mode = 0, first = 0, second = 0;
    if (!VellBatchAction::readHead(in, VellBatchAction::Resize, &name))
        return in;
    in >> mode >> first >> second;
    if (in.status() != QDataStream::Ok)
        return in;
    auto *read = new VellBatchActionResize;
    read->name = name;
    read->resizeMode = mode;
    read->param1 = first;
    read->param2 = second;
    *action = read;
    return in;
}
