#ifndef VELLBLOCKEDSPARSECHANNEL_H
#define VELLBLOCKEDSPARSECHANNEL_H

#include <QObject>
#include <QRect>

class VellChannel;

// The previous bytes of one rectangle of a channel (a layer mask), for an
// undo record that exchanges them with the live channel. Held as packed rows
// of region.width bytes in one buffer from the memory budget, which keeps its
// identity for the object's whole life.
//
// Owns the block (given back to VellMemory). Exchanging touches only the
// channel's data; the caller updates its texture. No lock.
class VellBlockedSparseChannel : public QObject
{
    Q_OBJECT

public:
    // A copy of the channel's bytes inside region, clipped to the channel;
    // when nothing is left (or the channel has no data) there is no block and
    // exchanges do nothing. The channel's size is remembered.
    VellBlockedSparseChannel(const QRect &region, const VellChannel *channel,
                             QObject *parent = nullptr);
    ~VellBlockedSparseChannel() override;

    // Copies the channel's bytes inside the region into the block, allocating
    // it on first use. False for a channel of another size or without data.
    bool getData(const VellChannel *channel);
    // Exchanges the block with the channel's rectangle row by row, so doing it
    // twice restores both. False, touching nothing, for a channel of another
    // size or without data, or when there is no block.
    bool swapToMask(VellChannel *channel);

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    QRect getRegion() const { return region; }
    unsigned char *getBlockData() const { return blockData; }   // owned here

private:
    bool matches(const VellChannel *channel) const;

    unsigned char *blockData = nullptr;   // owned, from VellMemory::alloc
    QRect region;
    int width = 0;    // the channel's, at creation
    int height = 0;
};

#endif // VELLBLOCKEDSPARSECHANNEL_H
