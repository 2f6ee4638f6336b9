#include "document/velllayermask.h"

#include <QDataStream>

VellLayerMask::VellLayerMask(int width, int height, QObject *parent)
    : VellChannel(width, height, parent)
{
}

VellLayerMask::VellLayerMask(int width, int height, unsigned char *data, Adopt)
    : VellChannel(width, height, data, Adopt())
{
}

QDataStream &operator<<(QDataStream &out, VellLayerMask *mask)
{
    return out << static_cast<const VellChannel *>(mask);
}

QDataStream &operator>>(QDataStream &in, VellLayerMask **mask)
{
    if (!mask)
        return in;
    *mask = nullptr;
    int width = 0, height = 0;
    if (unsigned char *data = VellLayerMask::readStreamForm(in, &width, &height, "VellLayerMask"))
        *mask = new VellLayerMask(width, height, data, VellLayerMask::Adopt());
    return in;
}
