#ifndef VELLBATCHACTIONLOGO_H
#define VELLBATCHACTIONLOGO_H

#include "presets/vellbatchactionlogobase.h"

#include <QImage>

class QDataStream;

// A logo step: an image stamped at the base's place, scaled by its factor.
class VellBatchActionLogo : public VellBatchActionLogoBase
{
public:
    VellBatchActionLogo() : VellBatchActionLogoBase(Logo) {}

    QImage getImage() const { return image; }
    void setImage(const QImage &logo) { image = logo; }

private:
    QImage image;

    friend QDataStream &operator>>(QDataStream &in, VellBatchActionLogo **action);
};

// The body: name, type, the base's fields, the image, the alignments.
QDataStream &operator<<(QDataStream &out, const VellBatchActionLogo &action);
// The image is decoded only when the size its header declares is within the
// picture reader's decode ceiling.
QDataStream &operator>>(QDataStream &in, VellBatchActionLogo **action);

#endif // VELLBATCHACTIONLOGO_H
