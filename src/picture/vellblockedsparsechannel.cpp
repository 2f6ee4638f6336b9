#include "picture/vellblockedsparsechannel.h"

#include "foundation/vellmemory.h"
#include "picture/vellchannel.h"
#include "picture/vellrectrows.h"

VellBlockedSparseChannel::VellBlockedSparseChannel(const QRect &area, const VellChannel *channel,
                                                   QObject *parent)
    : QObject(parent)
{
    if (!channel)
        return;
    width = channel->getWidth();
    height = channel->getHeight();
    // An inverted rectangle counts as empty rather than being normalised.
    if (area.isEmpty())
        return;
    region = area.intersected(QRect(0, 0, width, height));
    getData(channel);
}

VellBlockedSparseChannel::~VellBlockedSparseChannel()
{
    if (blockData)
        VellMemory::getInstance()->release(blockData);
}

bool VellBlockedSparseChannel::matches(const VellChannel *channel) const
{
    return channel && channel->getData() && channel->getWidth() == width
        && channel->getHeight() == height;
}

bool VellBlockedSparseChannel::getData(const VellChannel *channel)
{
    if (region.isEmpty() || !matches(channel))
        return false;
    // The region lies inside a channel, whose data is below 2^31 bytes.
    if (!blockData)
        blockData = VellMemory::getInstance()->alloc(region.width() * region.height());
    if (!blockData)
        return false;
    const size_t stride = size_t(channel->getPaddedWidth());
    vellCopyRectToBlock(blockData, channel->getData(), stride, region, 1);
    return true;
}

bool VellBlockedSparseChannel::swapToMask(VellChannel *channel)
{
    if (!blockData || !matches(channel))
        return false;
    const size_t stride = size_t(channel->getPaddedWidth());
    vellSwapRectWithBlock(blockData, channel->getData(), stride, region, 1);
    return true;
}
