#include "presets/vellbatchaction.h"

#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionlogo.h"
#include "presets/vellbatchactionresize.h"
#include "presets/vellbatchactionrotation.h"
#include "presets/vellbatchactiontext.h"

#include <QDataStream>

void VellBatchAction::destroy(VellBatchAction *action)
{
    if (!action)
        return;
    // No virtual destructor: delete through the class the type names, so the
    // members of the derived class go too.
    switch (action->getType()) {
    case Filter: delete static_cast<VellBatchActionFilter *>(action); break;
    case Resize: delete static_cast<VellBatchActionResize *>(action); break;
    case Rotation: delete static_cast<VellBatchActionRotation *>(action); break;
    case Logo: delete static_cast<VellBatchActionLogo *>(action); break;
    case Text: delete static_cast<VellBatchActionText *>(action); break;
    default: delete action; break;
    }
}

void VellBatchAction::writeHead(QDataStream &out) const
{
    out << name << qint32(type);
}

bool VellBatchAction::readHead(QDataStream &in, int expected, QString *text)
{
    qint32 repeated = -1;
    in >> *text >> repeated;
    if (in.status() != QDataStream::Ok)
        return false;
    if (repeated != expected) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    return true;
}
