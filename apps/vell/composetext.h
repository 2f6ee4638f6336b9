#ifndef COMPOSETEXT_H
#define COMPOSETEXT_H

// The text layers of `vell compose`:
//   --text "STRING" --at X,Y [--font FAMILY,PT] [--color #RRGGBB] [--direction DEG]
// Each --text starts a text; the text options after it, up to the next
// --text, belong to it wherever they stand among the other arguments.

#include <QColor>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVector>

class VellContext;
class VellTextLayer;

struct VellComposeText
{
    QString text;
    QPoint at;                 // the anchor: the top-left corner of unturned text
    // --font; a QFont is made only when drawing (parsing runs before the
    // application exists).
    QString family = QStringLiteral("DejaVu Sans");
    double pointSize = 24.0;
    QColor color = Qt::black;
    int direction = 0;         // degrees, clockwise on screen
};

// Takes every text and its options out of `arguments`, leaving the rest in
// order. An empty string with `texts` filled on success; otherwise the
// one-line problem (a missing or malformed value, --at missing, an empty
// STRING), and `arguments` and `texts` unchanged.
QString vellTakeComposeTexts(QStringList &arguments, QVector<VellComposeText> *texts);

// The text as an editable text layer (caller owns) named after the text,
// anchored at the text's --at.
VellTextLayer *vellMakeComposeTextLayer(const VellComposeText &text);

// Adds the texts as text layers, in order, on top of the document's layers,
// so that the export composites them and a saved document keeps them
// editable. The document must be the current one. False (with the problem
// in `error`) when a text renders nothing or there are no fonts (no GUI
// application).
bool vellAddComposeTexts(VellContext *document, const QVector<VellComposeText> &texts,
                         QString *error);

#endif // COMPOSETEXT_H
