#include "picture/vellblockedsparsepicture.h"

#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"
#include "picture/vellrectrows.h"

VellBlockedSparsePicture::VellBlockedSparsePicture(const QRect &area, const VellPictureHost *host,
                                                   QObject *parent)
    : VellSparsePicture(host ? int(host->getWidth()) : 0, host ? int(host->getHeight()) : 0,
                        host ? int(host->getPixelWidth()) : 4, parent)
{
    // An inverted rectangle counts as empty rather than being normalised.
    if (!host || area.isEmpty())
        return;
    region = area.intersected(QRect(0, 0, getWidth(), getHeight()));
    getData(host);
}

VellBlockedSparsePicture::~VellBlockedSparsePicture()
{
    if (blockData)
        VellMemory::getInstance()->release(blockData);
}

qint64 VellBlockedSparsePicture::getBlockByteCount() const
{
    return qint64(region.width()) * region.height() * getPixelWidth();
}

bool VellBlockedSparsePicture::matches(const VellPictureHost *host) const
{
    return host && host->getData() && host->getWidth() == unsigned(getWidth())
        && host->getHeight() == unsigned(getHeight())
        && host->getPixelWidth() == unsigned(getPixelWidth());
}

bool VellBlockedSparsePicture::getData(const VellPictureHost *host)
{
    if (region.isEmpty() || !matches(host))
        return false;
    // The region lies inside a host, whose buffer is below 2^31 bytes.
    if (!blockData)
        blockData = VellMemory::getInstance()->alloc(int(getBlockByteCount()));
    if (!blockData)
        return false;
    const size_t stride = size_t(host->getWidth()) * host->getPixelWidth();
    vellCopyRectToBlock(blockData, host->getData(), stride, region, host->getPixelWidth());
    return true;
}

bool VellBlockedSparsePicture::swapToPicture(VellPictureHost *host)
{
    if (!blockData || !matches(host))
        return false;
    const size_t stride = size_t(host->getWidth()) * host->getPixelWidth();
    vellSwapRectWithBlock(blockData, host->getData(), stride, region, host->getPixelWidth());
    return true;
}
