#include "composetext.h"

#include "document/vellcontext.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"

#include <QFont>
#include <QGuiApplication>
#include <QRegularExpression>

#include <memory>

namespace {

// "X,Y" with integers, either may be negative.
bool parsePoint(const QString &value, QPoint *point)
{
    static const QRegularExpression pattern(QStringLiteral("^(-?\\d{1,9}),(-?\\d{1,9})$"));
    const QRegularExpressionMatch match = pattern.match(value);
    if (!match.hasMatch())
        return false;
    *point = QPoint(match.captured(1).toInt(), match.captured(2).toInt());
    return true;
}

// "FAMILY,PT": the family may hold commas; the size is after the last one.
bool parseFont(const QString &value, VellComposeText *text)
{
    const int comma = value.lastIndexOf(',');
    if (comma <= 0 || value.left(comma).trimmed().isEmpty())
        return false;
    bool ok = false;
    const double points = value.mid(comma + 1).toDouble(&ok);
    if (!ok || !(points > 0.0 && points <= 1000.0))
        return false;
    text->family = value.left(comma).trimmed();
    text->pointSize = points;
    return true;
}

bool parseColour(const QString &value, QColor *colour)
{
    static const QRegularExpression pattern(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
    if (!pattern.match(value).hasMatch())
        return false;
    *colour = QColor(value);
    return true;
}

} // namespace

QString vellTakeComposeTexts(QStringList &arguments, QVector<VellComposeText> *texts)
{
    QStringList rest;
    QVector<VellComposeText> taken;
    QVector<bool> anchored;
    for (int i = 0; i < arguments.size(); ++i) {
        const QString &arg = arguments.at(i);
        const bool textOption = arg == QLatin1String("--at") || arg == QLatin1String("--font")
                                || arg == QLatin1String("--color")
                                || arg == QLatin1String("--direction");
        // Text options before the first --text are not ours.
        if (arg != QLatin1String("--text") && !(textOption && !taken.isEmpty())) {
            rest << arg;
            continue;
        }
        if (i + 1 >= arguments.size())
            return QStringLiteral("%1 needs a value").arg(arg);
        const QString value = arguments.at(++i);
        if (arg == QLatin1String("--text")) {
            if (value.isEmpty())
                return QStringLiteral("--text needs a non-empty STRING");
            VellComposeText text;
            text.text = value;
            taken.append(text);
            anchored.append(false);
            continue;
        }
        VellComposeText &text = taken.last();   // the options follow their --text
        if (arg == QLatin1String("--at")) {
            if (!parsePoint(value, &text.at))
                return QStringLiteral("--at wants X,Y in whole pixels, not \"%1\"").arg(value);
            anchored.last() = true;
        } else if (arg == QLatin1String("--font")) {
            if (!parseFont(value, &text))
                return QStringLiteral("--font wants FAMILY,PT with 0 < PT <= 1000, not \"%1\"").arg(value);
        } else if (arg == QLatin1String("--color")) {
            if (!parseColour(value, &text.color))
                return QStringLiteral("--color wants #RRGGBB, not \"%1\"").arg(value);
        } else {
            bool ok = false;
            text.direction = value.toInt(&ok);
            if (!ok)
                return QStringLiteral("--direction wants whole degrees, not \"%1\"").arg(value);
        }
    }
    for (int i = 0; i < taken.size(); ++i)
        if (!anchored.at(i))
            return QStringLiteral("--text \"%1\" needs --at X,Y").arg(taken.at(i).text);
    arguments = rest;
    *texts = taken;
    return QString();
}

VellTextLayer *vellMakeComposeTextLayer(const VellComposeText &text)
{
    auto *layer = new VellTextLayer(text.text);
    QFont font(text.family);
    font.setPointSizeF(text.pointSize);
    layer->setFont(font);
    layer->setColor(text.color);
    layer->setDirection(text.direction);
    layer->setText(text.text);
    layer->setPosition(text.at);
    return layer;
}

bool vellAddComposeTexts(VellContext *document, const QVector<VellComposeText> &texts,
                         QString *error)
{
    if (!texts.isEmpty() && !qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        if (error)
            *error = QStringLiteral("--text needs fonts, which need a GUI application");
        return false;
    }
    for (const VellComposeText &text : texts) {
        std::unique_ptr<VellTextLayer> layer(vellMakeComposeTextLayer(text));
        if (layer->getDocumentRect().isEmpty()) {
            if (error)
                *error = QStringLiteral("--text \"%1\" renders nothing").arg(text.text);
            return false;
        }
        VellLayerManager *manager = document->getLayerManager();
        if (manager->getLayerCount() > 0)
            manager->setActiveLayer(unsigned(manager->getLayerCount() - 1));   // added on top
        manager->addLayer(layer.get(), false);
        if (manager->getLayerIndex(layer.get()) < 0) {   // no current document
            if (error)
                *error = QStringLiteral("no document to add --text \"%1\" to").arg(text.text);
            return false;
        }
        layer.release();   // the layer manager's now
    }
    return true;
}
