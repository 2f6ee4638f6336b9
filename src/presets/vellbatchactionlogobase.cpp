#include "presets/vellbatchactionlogobase.h"

#include "foundation/vellglobalsettings.h"

#include <QDataStream>

void VellBatchActionLogoBase::setAccordingToLeft(bool left)
{
    accordingToLeft = left;
    horizontalAlignment = left ? Qt::AlignLeft : Qt::AlignRight;
}

void VellBatchActionLogoBase::setAccordingToTop(bool top)
{
    accordingToTop = top;
    verticalAlignment = top ? Qt::AlignTop : Qt::AlignBottom;
}

void VellBatchActionLogoBase::writeCommon(QDataStream &out) const
{
    // A float goes out as QDataStream writes one: on the library's Qt 4.8
    // streams that is an 8-byte double.
    out << position << accordingToLeft << accordingToTop << factor;
}

void VellBatchActionLogoBase::readCommon(QDataStream &in)
{
    in >> position >> accordingToLeft >> accordingToTop >> factor;
}

void VellBatchActionLogoBase::writeAlignment(QDataStream &out) const
{
    if (VellGlobalSettings::getInstance()->currentVersion >= kAlignmentVersion)
        out << qint32(horizontalAlignment) << qint32(verticalAlignment);
}

void VellBatchActionLogoBase::readAlignment(QDataStream &in)
{
    if (VellGlobalSettings::getInstance()->loadingVersion >= kAlignmentVersion) {
        qint32 horizontal = 0, vertical = 0;
        in >> horizontal >> vertical;
        horizontalAlignment = horizontal;
        verticalAlignment = vertical;
        return;
    }
    // Older files kept only the two flags; the alignments follow from them
    // as the setters derive them.
    setAccordingToLeft(accordingToLeft);
    setAccordingToTop(accordingToTop);
}
