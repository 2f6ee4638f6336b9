#include "presets/vellbatchactionrotation.h"

#include <QDataStream>

QDataStream &operator<<(QDataStream &out, const VellBatchActionRotation &action)
{
    action.writeHead(out);
    out << qint32(action.getRotation());
    return out;
}

QDataStream &operator>>(QDataStream &in, VellBatchActionRotation **action)
{
    *action = nullptr;
    QString name;
    qint32 rotation = 0;
    if (!VellBatchAction::readHead(in, VellBatchAction::Rotation, &name))
        return in;
    in >> rotation;
    if (in.status() != QDataStream::Ok)
        return in;
    auto *read = new VellBatchActionRotation;
    read->name = name;
    read->rotation = rotation;
    *action = read;
    return in;
}
