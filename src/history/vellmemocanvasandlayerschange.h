#ifndef VELLMEMOCANVASANDLAYERSCHANGE_H
#define VELLMEMOCANVASANDLAYERSCHANGE_H

#include "history/vellhistorymemo.h"

#include <QByteArray>
#include <QSize>

// The document's size and the state of every layer (position, opacity,
// pixels) before a change of the whole canvas, serialised into one byte
// array. undo() serialises the present state, loads the stored one and keeps
// the new bytes: its own inverse. It assumes the layer list has kept its
// length and order. The bytes can be swapped to disk; while in memory their
// size is booked with the memory budget (takeAway / returnBack), and the
// booking moves with them.
//
// Byte format (QDataStream, Qt 4.8 encoding, so a float is 8 bytes): the
// document's width and height (qint32), then per layer bottom first its
// position (QPointF) and opacity (float); for a raster layer its picture
// host in the host's stream form, then whether it has a mask (bool) and, if
// so, the mask in its stream form and the mask position (QPointF); for a
// text layer its plain text, font, direction (qint32), vertical flag and text
// scale (QSizeF). Last the selection: qint8 0 (nothing selected), 1
// (everything) or 2 followed by its coverage in the channel's stream form.
// The active layer is kept in the memo, not in the bytes.
//
// Owns its bytes. GUI thread, apart from the loader's transfers.
class VellMemoCanvasAndLayersChange : public VellHistoryMemo
{
    Q_OBJECT

public:
    explicit VellMemoCanvasAndLayersChange(VellContext *context, QObject *parent = nullptr);
    ~VellMemoCanvasAndLayersChange() override;

    bool undo() override;
    qint64 memoryTaken() const override { return byteCount; }
    bool swapToDisk() override;
    bool swapFromDisk() override;
    bool hasFullLayer(int) const override { return false; }

    // The document's state into `bytes` (replacing what was there); false
    // when a layer could not be written. Raster layers whose newest pixels
    // are on the GPU are read back first.
    static bool save(VellContext *context, QByteArray *bytes);
    // Brings the document to the state in `bytes`, which save() wrote when
    // the document was `savedSize` (kept in memory, so a damaged swap file
    // cannot make the document any size). Everything is read and checked
    // before the document changes: bytes that are cut, corrupt or written
    // for another size or layer list change nothing and return false.
    static bool load(VellContext *context, const QByteArray *bytes, const QSize &savedSize);

    // The document's size as the memo records it: the canvas's when there
    // is one, else the selection's.
    static QSize documentSize(VellContext *context);

    const QByteArray &getBytes() const { return bytes; }   // empty while on disk
    int getActiveIndex() const { return activeIndex; }

protected:
    void finishTransfer(bool load, bool ok) override;

private:
    void book();
    void unbook();

    QByteArray bytes;
    qint64 byteCount = 0;
    int activeIndex = -1;   // permanent index, -1 for none
    QSize savedSize;        // the document's size in the bytes
    int booked = 0;         // what the memory budget holds for the bytes
};

#endif // VELLMEMOCANVASANDLAYERSCHANGE_H
