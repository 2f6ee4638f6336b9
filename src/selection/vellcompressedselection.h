#ifndef VELLCOMPRESSEDSELECTION_H
#define VELLCOMPRESSEDSELECTION_H

#include "foundation/vellcodes.h"

#include <QByteArray>
#include <QPointF>
#include <QRectF>

#include <memory>

// One recorded state of a selection in its history: the kind, the box and,
// for the Mask kind only, the coverage bytes run-length encoded (see
// VellSelection::compress for the encoding). Other kinds need no bytes: their
// coverage follows from the kind.
//
// Owns its compressed bytes and its point list; not copyable. GUI thread.
class VellCompressedSelection
{
public:
    VellCompressedSelection() = default;
    Q_DISABLE_COPY(VellCompressedSelection)

    int getType() const { return kind; }
    void setType(int type) { kind = type; }
    QRectF getBoundBox() const { return boundBox; }
    void setBoundBox(const QRectF &box) { boundBox = box; }
    // An optional outline kept with the state; the selection itself never sets
    // one. Takes ownership of points (allocated with new[]).
    void setPointList(QPointF *points) { pointList.reset(points); }
    QPointF *getPointList() const { return pointList.get(); }   // owned here; may be null
    // Takes ownership; null for every kind but Mask.
    void setCompressedMask(QByteArray *runs) { compressedMask.reset(runs); }
    const QByteArray *getCompressedMask() const { return compressedMask.get(); }   // owned here

    // The run-length form of `bytes` bytes: runs of equal bytes, each written
    // as the byte (signed 8 bits) followed by the run's length (signed 32
    // bits, big-endian, at least 1), in buffer order, with no header and no
    // terminator. So 0, 0, 0, 255, 255 gives 00 00000003 FF 00000002. Null
    // for a null buffer or a negative count.
    static QByteArray *encodeRuns(const unsigned char *buffer, qint64 bytes);
    // Expands runs into buffer from its start, never writing past `bytes`
    // bytes. False when the runs do not cover exactly `bytes` bytes or are
    // malformed (a cut run, a length below 1); what fitted is written anyway.
    static bool decodeRuns(const QByteArray &runs, unsigned char *buffer, qint64 bytes);

private:
    std::unique_ptr<QByteArray> compressedMask;
    std::unique_ptr<QPointF[]> pointList;
    int kind = VellSelectionKind::Mask;
    QRectF boundBox;
};

#endif // VELLCOMPRESSEDSELECTION_H
