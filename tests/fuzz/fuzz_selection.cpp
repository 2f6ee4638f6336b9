// A selection record's stream form: sizes, kind, box, counts and display
// flags, then the padded coverage rows.

#include "vellfuzz.h"

#include "picture/vellchannel.h"
#include "selection/vellselection.h"

#include <QRect>
#include <QRectF>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

[[noreturn]] void fail(const char *rule)
{
    std::fprintf(stderr, "vellfuzz: %s\n", rule);
    std::fflush(stderr);
    std::abort();
}

bool sameBox(const QRectF &a, const QRectF &b)
{
    // Exact: QRectF's own == is fuzzy, and a record's doubles travel unchanged.
    return a.x() == b.x() && a.y() == b.y() && a.width() == b.width() && a.height() == b.height();
}

// What the reader promises of a record it accepted, and that the writer puts
// it back into a stream the reader takes again unchanged.
void checkRecord(const VellSelection &selection)
{
    const int width = selection.getWidth(), height = selection.getHeight();
    if ((width == 0) != (height == 0))
        fail("a selection with one empty side");
    if (selection.getByteCount() != qint64(VellChannel::paddedWidthFor(width)) * height
        || (selection.getByteCount() > 0 && !selection.getData()))
        fail("the coverage bytes do not match the size");
    // As a new selection: one entry, the current state, unless there are no
    // pixels to record.
    const int entries = width > 0 ? 1 : 0;
    if (selection.getHistoryCount() != entries || selection.getHistoryIndex() != entries - 1)
        fail("a selection read does not start with the history of a new one");
    const qint64 pixels = qint64(width) * height;
    if (selection.getVisibleCount() < 0 || selection.getVisibleCount() > selection.getPositiveCount()
        || selection.getPositiveCount() > pixels)
        fail("the pixel counts are not counts of the image");

    QByteArray written;
    {
        QDataStream out(&written, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_4_8);
        out << &selection;
        if (out.status() != QDataStream::Ok)
            fail("the writer refused a selection the reader accepted");
    }
    const std::unique_ptr<VellSelection> again = VellFuzz::readStreamed<VellSelection>(written);
    if (!again)
        fail("the reader refused what the writer wrote");
    if (again->getWidth() != width || again->getHeight() != height
        || again->getType() != selection.getType()
        || !sameBox(again->getRawBoundBox(), selection.getRawBoundBox())
        || again->getVisibleCount() != selection.getVisibleCount()
        || again->getPositiveCount() != selection.getPositiveCount()
        || again->getDisplayMask() != selection.getDisplayMask()
        || again->getDisplayMarchingAnts() != selection.getDisplayMarchingAnts())
        fail("a written and read selection differs from the one read first");
    if (selection.getByteCount() > 0
        && std::memcmp(again->getData(), selection.getData(), size_t(selection.getByteCount())) != 0)
        fail("a written and read selection has other coverage bytes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellSelection> selection =
        VellFuzz::readStreamed<VellSelection>(VellFuzz::bytesOf(data, size));
    if (!selection)
        return 0;
    checkRecord(*selection);

    // What an editor does next: invert (every byte of a mask), measure the
    // box over the whole image (rows x, columns y), and undo back to the
    // first entry.
    const int width = selection->getWidth(), height = selection->getHeight();
    selection->inverse();
    selection->calcBoundBox(QRect(QPoint(0, 0), QPoint(height - 1, width - 1)));
    if (selection->getVisibleCount() > selection->getPositiveCount()
        || selection->getPositiveCount() > qint64(width) * height)
        fail("the measured counts are not counts of the image");
    const QRectF box = selection->getRawBoundBox();
    if (selection->getPositiveCount() > 0
        && (box.x() < 0 || box.y() < 0 || box.x() + box.width() > width
            || box.y() + box.height() > height))
        fail("the measured box leaves the image");
    selection->decompress(0);
    return 0;
}
