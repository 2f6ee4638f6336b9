#ifndef VELLBATCHACTIONLOGOBASE_H
#define VELLBATCHACTIONLOGOBASE_H

#include "presets/vellbatchaction.h"

#include <QPoint>

class QDataStream;

// What a logo and a text step share: where the stamp goes (position from the
// left or right and the top or bottom edge), a scale factor, and the
// alignment flags the edges stand for.
class VellBatchActionLogoBase : public VellBatchAction
{
public:
    QPoint getPosition() const { return position; }
    void setPosition(const QPoint &point) { position = point; }
    bool isAccordingToLeft() const { return accordingToLeft; }
    bool isAccordingToTop() const { return accordingToTop; }
    // Also set the matching alignment: Qt::AlignLeft or Qt::AlignRight,
    // Qt::AlignTop or Qt::AlignBottom.
    void setAccordingToLeft(bool left);
    void setAccordingToTop(bool top);
    float getFactor() const { return factor; }
    void setFactor(float value) { factor = value; }
    int getHorizontalAlignment() const { return horizontalAlignment; }
    int getVerticalAlignment() const { return verticalAlignment; }
    void setHorizontalAlignment(int alignment) { horizontalAlignment = alignment; }
    void setVerticalAlignment(int alignment) { verticalAlignment = alignment; }

    // The part of the body after name and type. Writing, the trailing
    // alignment fields follow the global settings' currentVersion; reading,
    // the loadingVersion of the file being read (older files derive them
    // from the two flags).
    void writeCommon(QDataStream &out) const;
    void readCommon(QDataStream &in);
    void writeAlignment(QDataStream &out) const;
    void readAlignment(QDataStream &in);

    // The first file version that stores the alignment fields.
    static constexpr int kAlignmentVersion = 20101117;

protected:
    explicit VellBatchActionLogoBase(int type) : VellBatchAction(type) {}

    QPoint position;
    bool accordingToLeft = true;
    bool accordingToTop = true;
    float factor = 1.0f;
    int horizontalAlignment = 1;   // Qt::AlignLeft
    int verticalAlignment = 32;    // Qt::AlignTop
};

#endif // VELLBATCHACTIONLOGOBASE_H
