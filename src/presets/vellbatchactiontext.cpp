#include "presets/vellbatchactiontext.h"

#include <QDataStream>

#include <memory>

QDataStream &operator<<(QDataStream &out, const VellBatchActionText &action)
{
    action.writeHead(out);
    action.writeCommon(out);
    out << action.getFont() << action.getText() << action.getColor();
    action.writeAlignment(out);
    return out;
}

QDataStream &operator>>(QDataStream &in, VellBatchActionText **action)
{
    *action = nullptr;
    QString name;
    if (!VellBatchAction::readHead(in, VellBatchAction::Text, &name))
        return in;
    auto read = std::make_unique<VellBatchActionText>();
    read->name = name;
    read->readCommon(in);
    in >> read->font >> read->text >> read->color;
    read->readAlignment(in);
    if (in.status() != QDataStream::Ok)
        return in;
    *action = read.release();
    return in;
}
