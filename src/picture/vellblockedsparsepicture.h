#ifndef VELLBLOCKEDSPARSEPICTURE_H
#define VELLBLOCKEDSPARSEPICTURE_H

#include "picture/vellsparsepicture.h"

#include <QRect>

// The previous pixels of one rectangle of a picture host, for an undo record
// that exchanges them with the live picture. The pixel lists of the base stay
// empty; the rectangle is held as packed rows of region.width pixels in one
// buffer from the memory budget, which keeps its identity for the object's
// whole life (an exchange changes only its contents).
//
// Owns the block (given back to VellMemory). No lock: one thread at a time.
class VellBlockedSparsePicture : public VellSparsePicture
{
    Q_OBJECT

public:
    // A sparse picture of the host's size and pixel width holding a copy of
    // the host's pixels inside region. The region is clipped to the picture;
    // when nothing of it is left (or the host is null) the object holds no
    // block and its exchanges do nothing.
    VellBlockedSparsePicture(const QRect &region, const VellPictureHost *host,
                             QObject *parent = nullptr);
    ~VellBlockedSparsePicture() override;

    // Copies the host's pixels inside the region into the block, allocating
    // it on first use. False for a host of another size or pixel width.
    bool getData(const VellPictureHost *host);

    QRect getRegion() const { return region; }
    unsigned char *getBlockData() const { return blockData; }   // owned here
    qint64 getBlockByteCount() const;

    // Exchanges the block with the host's rectangle row by row, so doing it
    // twice restores both. False, touching nothing, for a host of another
    // size or pixel width or when there is no block.
    bool swapToPicture(VellPictureHost *host) override;

private:
    bool matches(const VellPictureHost *host) const;

    QRect region;
    unsigned char *blockData = nullptr;   // owned, from VellMemory::alloc
};

#endif // VELLBLOCKEDSPARSEPICTURE_H
