#ifndef VELLTOOLBLOCKDIVIDED_H
#define VELLTOOLBLOCKDIVIDED_H

#include "tools/velltoolbase.h"

#include <QRect>
#include <QVector>

// The base of filters whose program is too heavy to run over a whole
// framebuffer tile in one draw (a median, a large kernel). The whole-layer
// apply cuts every tile into blocks (512 x 512 unless the plug-in sets
// another size), draws them row by row, left to right, and waits for the
// GPU after each (glFinish), so no single draw runs long enough to stall the
// display or trip a driver's watchdog. A progress window without parent,
// titled "Applying:" and the tool's name, follows the blocks unless the
// apply is silent or the document is in batch mode; it goes when the apply
// returns. The preview is the base's.
//
// GUI thread, with the canvas's context current.
class VellToolBlockDivided : public VellToolBase
{
    Q_OBJECT

public:
    explicit VellToolBlockDivided(QObject *parent = nullptr);

    void applyEntire(bool silent) override;

    // Sizes below 1 are taken as 1.
    void setBlockSizeX(int width) { blockWidth = qMax(1, width); }
    void setBlockSizeY(int height) { blockHeight = qMax(1, height); }
    int getBlockSizeX() const { return blockWidth; }
    int getBlockSizeY() const { return blockHeight; }

    // The blocks of `tile` (layer pixels) in drawing order: rows from the
    // top, columns from the left; the last column and row take what is left.
    static QVector<QRect> blockRects(const QRect &tile, int blockWidth, int blockHeight);
    // The block count the progress percentages are reckoned against; it may
    // exceed the real count, so the bar can jump to 100 at the end.
    static int estimatedBlockCount(int layerWidth, int layerHeight, int blockWidth, int blockHeight);

protected:
    QString applyTextLayerMessage() const override;   // this family's shorter text

    void *reservedBlockPointer = nullptr;   // for plug-ins

    int blockWidth = 512;
    int blockHeight = 512;
};

#endif // VELLTOOLBLOCKDIVIDED_H
