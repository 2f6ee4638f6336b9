#ifndef VELLBATCHACTIONTEXT_H
#define VELLBATCHACTIONTEXT_H

#include "presets/vellbatchactionlogobase.h"

#include <QColor>
#include <QFont>
#include <QString>

class QDataStream;

// A text step: a string in a font and colour, stamped at the base's place.
class VellBatchActionText : public VellBatchActionLogoBase
{
public:
    VellBatchActionText() : VellBatchActionLogoBase(Text) {}

    QFont getFont() const { return font; }
    void setFont(const QFont &value) { font = value; }
    QString getText() const { return text; }
    void setText(const QString &value) { text = value; }
    QColor getColor() const { return color; }   // invalid until set
    void setColor(const QColor &value) { color = value; }

private:
    QFont font;
    QString text;
    QColor color;

    friend QDataStream &operator>>(QDataStream &in, VellBatchActionText **action);
};

// The body: name, type, the base's fields, font, text, colour, alignments.
QDataStream &operator<<(QDataStream &out, const VellBatchActionText &action);
QDataStream &operator>>(QDataStream &in, VellBatchActionText **action);

#endif // VELLBATCHACTIONTEXT_H
