#include "presets/vellbatchactiontext.h"

#include <QDataStream>

#include <memory>

namespace {

// QColor's encoding: a spec byte, then alpha and four 16-bit components.
// QDataStream's own reader stores any spec byte into QColor's enum, and one
// out of range is undefined behaviour in everything that copies the colour;
// only the specs that exist are passed on to it.
bool readColor(QDataStream &in, QColor *color)
{
    constexpr int kBytes = 1 + 5 * 2;
    char raw[kBytes];
    if (in.readRawData(raw, kBytes) != kBytes) {
        in.setStatus(QDataStream::ReadPastEnd);
        return false;
    }
    if (raw[0] < QColor::Invalid || raw[0] > QColor::Hsl) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    QDataStream checked(QByteArray(raw, kBytes));
    checked.setVersion(in.version());
    checked >> *color;
    return true;
}

} // namespace

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
    in >> read->font >> read->text;
    if (in.status() != QDataStream::Ok || !readColor(in, &read->color))
        return in;
    read->readAlignment(in);
    if (in.status() != QDataStream::Ok)
        return in;
    *action = read.release();
    return in;
}
