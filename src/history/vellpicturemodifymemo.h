#ifndef VELLPICTUREMODIFYMEMO_H
#define VELLPICTUREMODIFYMEMO_H

#include "history/vellhistorymemo.h"

class VellPictureHost;

// A full picture of one layer: the snapshot the history restores when it
// steps to this memo, and the base filter replays start from. undo() gives
// the layer a copy and keeps the snapshot. The picture can be swapped to disk
// (its buffer then returns to the memory budget; reading it back books a new
// one).
//
// Owns its picture host (null while on disk). GUI thread, apart from the
// loader's transfers.
class VellPictureModifyMemo : public VellHistoryMemo
{
    Q_OBJECT

public:
    // A deep copy of `host`, or `host` itself (then owned here) with `adopt`.
    VellPictureModifyMemo(VellContext *context, VellPictureHost *host, int layerIndex, bool adopt,
                          QObject *parent = nullptr);
    ~VellPictureModifyMemo() override;

    bool undo() override;
    qint64 memoryTaken() const override;   // width x height x pixel width
    bool swapToDisk() override;
    bool swapFromDisk() override;
    bool hasFullLayer(int index) const override { return index == layerIndex; }

    // Null while the picture is on disk or moving.
    const VellPictureHost *getPictureHost() const { return transferRunning ? nullptr : host; }
    int getWidth() const { return width; }
    int getHeight() const { return height; }
    int getPixelWidth() const { return pixelWidth; }

protected:
    void finishTransfer(bool load, bool ok) override;

private:
    VellPictureHost *host = nullptr;   // owned
    int width = 0, height = 0, pixelWidth = 0;
};

#endif // VELLPICTUREMODIFYMEMO_H
