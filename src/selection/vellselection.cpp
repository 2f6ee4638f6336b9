#include "selection/vellselection.h"

#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgltextureluminance.h"
#include "picture/vellreadbudgetbytes.h"
#include "presets/vellactionmanager.h"
#include "selection/vellcompressedselection.h"

#include <QDataStream>
#include <QGLShaderProgram>
#include <QOpenGLContext>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>

namespace {

// Below this many rows a loop is too short to pay for waking the thread team.
const int kParallelRows = 64;
// The largest median neighbourhood: (2 radius + 1)^2 bytes gathered per pixel.
const qint64 kMaxNeighbourhood = qint64(1) << 24;

// Sets every byte of `rows` rows of `stride` bytes to `value`.
void fillRows(unsigned char *bits, int rows, size_t stride, int value)
{
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int y = 0; y < rows; ++y)
        std::memset(bits + size_t(y) * stride, value, stride);
}

// Rows and columns of a region in the row/column convention, clipped to a
// width x height image. False when nothing is left. A QRect whose corners are
// the wrong way round is empty here, not normalised as QRect's own
// intersection would have it.
struct Span
{
    int firstRow = 0, lastRow = -1, firstColumn = 0, lastColumn = -1;
    int rows() const { return lastRow - firstRow + 1; }
    int columns() const { return lastColumn - firstColumn + 1; }
};

bool clipRegion(const QRect &region, int width, int height, Span *span)
{
    if (region.left() > region.right() || region.top() > region.bottom())
        return false;
    span->firstRow = std::max(region.left(), 0);
    span->lastRow = std::min(region.right(), height - 1);
    span->firstColumn = std::max(region.top(), 0);
    span->lastColumn = std::min(region.bottom(), width - 1);
    return span->firstRow <= span->lastRow && span->firstColumn <= span->lastColumn;
}

// What calcBoundBox learns of one row.
struct RowScan
{
    int first = -1;     // first non-zero column; -1 for a row of zeros
    int last = -1;      // last non-zero column
    int positive = 0;   // bytes above 0
    int visible = 0;    // bytes of 128 or more
};

} // namespace

VellSelection::VellSelection(QObject *parent, int width, int height)
    : VellChannel(width, height, parent)
{
    boundBox = QRectF(0, 0, getWidth(), getHeight());
    initMasks();
}

VellSelection::VellSelection(int width, int height, unsigned char *data, VellChannel::Adopt adopt)
    : VellChannel(width, height, data, adopt)
{
    boundBox = QRectF(0, 0, getWidth(), getHeight());
    initMasks();   // the kind is Whole, so clear() leaves the adopted bytes alone
}

VellSelection::~VellSelection()
{
    freeResource();
}

void VellSelection::freeResource()
{
    // Last first, the order in which later entries may refer to earlier ones.
    while (!history.empty())
        history.pop_back();
    historyIndex = -1;
}

void VellSelection::initMasks()
{
    freeResource();
    if (getWidth() != 0 && getHeight() != 0)
        clear();
}

void VellSelection::resize(int width, int height, bool flag)
{
    VellChannel::resize(width, height, flag);
    boundBox = QRectF(0, 0, getWidth(), getHeight());
}

QRectF VellSelection::getTexCoord(const QRectF &rect) const
{
    const double w = getWidth(), h = getHeight();
    if (w <= 0 || h <= 0)
        return QRectF();
    const double left = rect.x() / w, top = rect.y() / h;
    return QRectF(left, top, (rect.x() + rect.width()) / w - left, (rect.y() + rect.height()) / h - top);
}

bool VellSelection::hasSelection() const
{
    switch (kind) {
    case VellSelectionKind::Whole:
        return full;
    case VellSelectionKind::Empty:
        return false;
    default:
        return true;
    }
}

unsigned int VellSelection::getTextureHandle() const
{
    const VellGLTextureLuminance *texture = getEntireTexture();
    return texture ? texture->getId() : 0;
}

QRectF VellSelection::getBoundBox() const
{
    if (!(boundBox.width() > 0) || !(boundBox.height() > 0))
        return QRectF();   // nothing selected; QRectF would normalise a negative box
    const QRectF shown(std::ceil(boundBox.x()), std::ceil(boundBox.y()), boundBox.width() + 1,
                       boundBox.height() + 1);
    return shown.intersected(QRectF(0, 0, getWidth(), getHeight()));
}

VellCompressedSelection *VellSelection::getCompressedSelection(int i) const
{
    if (i < 0 || i >= getHistoryCount())
        return nullptr;
    return history[size_t(i)].get();
}

QRect VellSelection::wholeRegion() const
{
    return QRect(QPoint(0, 0), QPoint(getHeight() - 1, getWidth() - 1));
}

void VellSelection::enableGroup(int group, bool on)
{
    // Creating the manager from here would load an empty command file and
    // show error boxes; a host that registered no commands has none to switch.
    if (VellActionManager::hasInstance())
        VellActionManager::getInstance(QString())->setEnabled(group, on);
}

void VellSelection::enableGroups(bool selectionEdit, bool edit)
{
    enableGroup(VellActionGroup::SelectionEdit, selectionEdit);
    enableGroup(VellActionGroup::Edit, edit);
}

void VellSelection::compress()
{
    auto entry = std::make_unique<VellCompressedSelection>();
    entry->setType(kind);
    if (kind == VellSelectionKind::Mask)
        entry->setCompressedMask(VellCompressedSelection::encodeRuns(getData(), getByteCount()));
    entry->setBoundBox(boundBox);
    history.push_back(std::move(entry));
}

void VellSelection::record()
{
    compress();
    historyIndex = getHistoryCount() - 1;
}

void VellSelection::decompress(int index)
{
    if (index < 0 || index >= getHistoryCount() || index == historyIndex)
        return;
    const VellCompressedSelection *entry = history[size_t(index)].get();
    if (!entry)
        return;
    unsigned char *bits = getData();
    if (entry->getType() == VellSelectionKind::Whole) {
        if (bits)
            fillRows(bits, getHeight(), size_t(getPaddedWidth()), 255);
        enableGroup(VellActionGroup::SelectionEdit, false);
    } else if (entry->getType() == VellSelectionKind::Mask) {
        const QByteArray *runs = entry->getCompressedMask();
        if (bits && runs && !VellCompressedSelection::decodeRuns(*runs, bits, getByteCount()))
            VellLog::Instance()->Log("VellSelection: history entry %d does not fit the mask\n", index);
        enableGroup(VellActionGroup::SelectionEdit, true);
    }
    boundBox = entry->getBoundBox();
    historyIndex = index;
    kind = entry->getType();
    update();
}

void VellSelection::selectAll()
{
    if (kind != VellSelectionKind::Whole && kind != VellSelectionKind::Empty && getData())
        fillRows(getData(), getHeight(), size_t(getPaddedWidth()), 255);
    kind = VellSelectionKind::Whole;
    full = true;
    boundBox = QRectF(0, 0, getWidth(), getHeight());
    record();
    update();
    enableGroups(true, true);
}

void VellSelection::clear()
{
    paths.clear();   // not owned
    if (kind != VellSelectionKind::Whole && getData()) {
        fillRows(getData(), getHeight(), size_t(getPaddedWidth()), 255);
        update();
    }
    boundBox = QRectF(0, 0, getWidth(), getHeight());
    kind = VellSelectionKind::Whole;
    full = false;
    record();
}

void VellSelection::deselect()
{
    clear();
    enableGroups(false, false);
}

void VellSelection::inverse()
{
    if (kind == VellSelectionKind::Empty) {
        boundBox = QRectF(0, 0, getWidth(), getHeight());
        kind = VellSelectionKind::Whole;
    } else if (kind == VellSelectionKind::Whole) {
        full = !full;
        boundBox = QRectF(0, 0, 0, 0);
        kind = VellSelectionKind::Empty;
    } else {
        if (unsigned char *bits = getData()) {
            const size_t stride = size_t(getPaddedWidth());
            const int rows = getHeight();
            // The padding too: the bytes stay one buffer that compresses and
            // streams as a whole.
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
            for (int y = 0; y < rows; ++y) {
                unsigned char *px = bits + size_t(y) * stride;
                for (size_t x = 0; x < stride; ++x)
                    px[x] = static_cast<unsigned char>(255 - px[x]);
            }
        }
        calcBoundBox(wholeRegion());
        kind = VellSelectionKind::Mask;
    }
    record();
    update();
}

bool VellSelection::addMask(const unsigned char *mask, int maskWidth, int maskHeight, int x, int y)
{
    unsigned char *bits = getData();
    const int mode = combineMode;
    if (!mask || maskWidth <= 0 || maskHeight <= 0 || !bits || mode < VellCombineMode::Replace
        || mode > VellCombineMode::Intersect) {
        VellLog::Instance()->Log("VellSelection: refused a %d x %d mask in mode %d\n", maskWidth,
                                 maskHeight, mode);
        return false;
    }
    const int width = getWidth(), height = getHeight();
    const size_t stride = size_t(getPaddedWidth());
    // The part of the image under the mask; in 64 bits, as x + maskWidth may
    // overflow an int. Empty when the mask lies wholly outside.
    const qint64 firstColumn = std::max<qint64>(x, 0);
    const qint64 lastColumn = std::min<qint64>(qint64(x) + maskWidth - 1, width - 1);
    const qint64 firstRow = std::max<qint64>(y, 0);
    const qint64 lastRow = std::min<qint64>(qint64(y) + maskHeight - 1, height - 1);

    // On a Whole selection (all 255, whether or not shown as selected) adding
    // a shape means starting from it, as replacing does.
    const bool replace = mode == VellCombineMode::Replace
        || (mode == VellCombineMode::Add && kind == VellSelectionKind::Whole);
    if (replace)
        fillRows(bits, height, stride, 0);
    if (firstColumn <= lastColumn && firstRow <= lastRow) {
        const int rowCount = int(lastRow - firstRow + 1);
        const size_t span = size_t(lastColumn - firstColumn + 1);
        const size_t maskStride = size_t(maskWidth);
#pragma omp parallel for schedule(static) if (rowCount >= kParallelRows)
        for (int i = 0; i < rowCount; ++i) {
            const qint64 row = firstRow + i;
            unsigned char *dst = bits + size_t(row) * stride + size_t(firstColumn);
            const unsigned char *src = mask + size_t(row - y) * maskStride + size_t(firstColumn - x);
            if (replace) {
                std::memcpy(dst, src, span);
            } else if (mode == VellCombineMode::Add) {
                for (size_t c = 0; c < span; ++c)
                    dst[c] = static_cast<unsigned char>(std::min(255, dst[c] + src[c]));
            } else if (mode == VellCombineMode::Subtract) {
                for (size_t c = 0; c < span; ++c)
                    dst[c] = static_cast<unsigned char>(std::max(0, dst[c] - src[c]));
            } else {
                for (size_t c = 0; c < span; ++c)
                    dst[c] = std::min(dst[c], src[c]);
            }
        }
    }
    kind = VellSelectionKind::Mask;
    calcBoundBox(wholeRegion());
    // Smooth the box's pixels: a shape from a wand or a painted mask loses its
    // stray single pixels. Rows y .. y + height - 1, columns x .. x + width - 1.
    const int boxColumn = qRound(boundBox.x()), boxRow = qRound(boundBox.y());
    medianFilter(1, QRect(QPoint(boxRow, boxColumn),
                          QPoint(boxRow + qRound(boundBox.height()) - 1,
                                 boxColumn + qRound(boundBox.width()) - 1)));
    record();
    update();
    enableGroups(true, true);
    return true;
}

bool VellSelection::copyMask(const unsigned char *source)
{
    unsigned char *bits = getData();
    if (!source || !bits)
        return false;
    std::memcpy(bits, source, size_t(getByteCount()));
    kind = VellSelectionKind::Mask;
    record();
    update();
    enableGroups(true, true);
    return true;
}

void VellSelection::applyTranslation()
{
    unsigned char *bits = getData();
    if (!bits)
        return;
    const int width = getWidth(), height = getHeight();
    const double tx = std::trunc(translation.x()), ty = std::trunc(translation.y());
    // A box of no size stays as it is: QRectF would normalise it into a real
    // rectangle before intersecting.
    if (boundBox.width() > 0 && boundBox.height() > 0)
        boundBox = QRectF(boundBox.x() + tx, boundBox.y() + ty, boundBox.width(), boundBox.height())
                       .intersected(QRectF(0, 0, width, height));
    // Offsets beyond the image leave nothing; bounding them keeps the int
    // conversion defined for any double.
    const int dx = int(qBound(-double(width), tx, double(width)));
    const int dy = int(qBound(-double(height), ty, double(height)));
    const qint64 bytes = getByteCount();
    VellMemory *memory = VellMemory::getInstance();
    unsigned char *source = memory->alloc(int(bytes));
    if (!source && bytes > 0) {
        VellLog::Instance()->Log("VellSelection: no memory to move the selection\n");
        return;
    }
    if (bytes > 0)
        std::memcpy(source, bits, size_t(bytes));
    const size_t stride = size_t(getPaddedWidth());
    const int firstColumn = std::max(0, dx), endColumn = std::min(width, width + dx);
#pragma omp parallel for schedule(static) if (height >= kParallelRows)
    for (int row = 0; row < height; ++row) {
        unsigned char *dst = bits + size_t(row) * stride;
        std::memset(dst, 0, stride);
        const int from = row - dy;
        if (from >= 0 && from < height && firstColumn < endColumn)
            std::memcpy(dst + firstColumn, source + size_t(from) * stride + size_t(firstColumn - dx),
                        size_t(endColumn - firstColumn));
    }
    if (source)
        memory->release(source);
    kind = VellSelectionKind::Mask;
    record();
    update();
    if (QOpenGLContext::currentContext())
        glFinish();   // the moved mask is on the GPU before anyone samples it
    renderOnCanvas();
    translation = QPointF(0, 0);
}

void VellSelection::calcBoundBox(const QRect &region)
{
    const int width = getWidth(), height = getHeight();
    const unsigned char *bits = getData();
    Span span;
    positiveCount = 0;
    visibleCount = 0;
    boundBox = QRectF(width, height, -width, -height);   // what a scan that finds nothing gives
    if (!bits || !clipRegion(region, width, height, &span))
        return;
    const int rows = span.rows();
    std::vector<RowScan> scans(static_cast<size_t>(rows));
    RowScan *scan = scans.data();
    const size_t stride = size_t(getPaddedWidth());
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int i = 0; i < rows; ++i) {
        const unsigned char *px = bits + size_t(span.firstRow + i) * stride;
        RowScan result;
        for (int c = span.firstColumn; c <= span.lastColumn; ++c) {
            if (px[c] == 0)
                continue;
            if (result.first < 0)
                result.first = c;
            result.last = c;
            ++result.positive;
            if (px[c] >= 128)
                ++result.visible;
        }
        scan[i] = result;
    }
    int firstRow = -1, lastRow = -1, firstColumn = INT_MAX, lastColumn = -1;
    for (int i = 0; i < rows; ++i) {
        positiveCount += scan[i].positive;
        visibleCount += scan[i].visible;
        if (scan[i].first < 0)
            continue;
        if (firstRow < 0)
            firstRow = span.firstRow + i;
        lastRow = span.firstRow + i;
        firstColumn = std::min(firstColumn, scan[i].first);
        lastColumn = std::max(lastColumn, scan[i].last);
    }
    if (firstRow >= 0)
        boundBox = QRectF(firstColumn, firstRow, lastColumn - firstColumn + 1, lastRow - firstRow + 1);
}

void VellSelection::medianFilter(int radius, const QRect &region)
{
    if (radius < 1)
        return;
    const qint64 side = 2 * qint64(radius) + 1;
    if (side * side > kMaxNeighbourhood) {
        VellLog::Instance()->Log("VellSelection: median radius %d is too large\n", radius);
        return;
    }
    const int width = getWidth(), height = getHeight();
    unsigned char *bits = getData();
    Span span;
    if (!bits || !clipRegion(region, width, height, &span))
        return;
    // The results wait in a buffer of the region's size, so every pixel reads
    // the bytes as they were before the filter.
    const size_t columns = size_t(span.columns());
    const qint64 resultBytes = qint64(span.rows()) * qint64(columns);   // below the buffer's size
    VellMemory *memory = VellMemory::getInstance();
    unsigned char *result = memory->alloc(int(resultBytes));
    if (!result) {
        VellLog::Instance()->Log("VellSelection: no memory for the median filter\n");
        return;
    }
    const size_t stride = size_t(getPaddedWidth());
    const int rows = span.rows();
    const int count = int(side * side);
#pragma omp parallel if (rows >= kParallelRows)
    {
        std::vector<unsigned char> window(static_cast<size_t>(count));   // one per thread, made before its rows
#pragma omp for schedule(static)
        for (int i = 0; i < rows; ++i) {
            const int row = span.firstRow + i;
            unsigned char *out = result + size_t(i) * columns;
            for (int c = span.firstColumn; c <= span.lastColumn; ++c) {
                int n = 0;
                unsigned char low = 255, high = 0;
                for (int dr = -radius; dr <= radius; ++dr) {
                    const int r = std::clamp(row + dr, 0, height - 1);
                    const unsigned char *px = bits + size_t(r) * stride;
                    for (int dc = -radius; dc <= radius; ++dc) {
                        const unsigned char v = px[std::clamp(c + dc, 0, width - 1)];
                        window[size_t(n++)] = v;
                        low = std::min(low, v);
                        high = std::max(high, v);
                    }
                }
                if (low == high) {   // flat neighbourhood, the common case
                    out[c - span.firstColumn] = low;
                    continue;
                }
                // The element at count / 2 in descending order.
                std::nth_element(window.begin(), window.begin() + count / 2, window.end(),
                                 std::greater<unsigned char>());
                out[c - span.firstColumn] = window[size_t(count / 2)];
            }
        }
    }
    for (int i = 0; i < rows; ++i)
        std::memcpy(bits + size_t(span.firstRow + i) * stride + size_t(span.firstColumn),
                    result + size_t(i) * columns, columns);
    memory->release(result);
}

QDataStream &operator<<(QDataStream &out, const VellSelection *selection)
{
    const qint64 bytes = selection ? selection->getByteCount() : 0;
    if (!selection || (bytes > 0 && !selection->getData())) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    out << qint32(selection->getWidth()) << qint32(selection->getHeight())
        << qint32(selection->getType()) << selection->getRawBoundBox()
        << qint32(selection->getVisibleCount()) << qint32(selection->getPositiveCount())
        << selection->getDisplayMask() << selection->getDisplayMarchingAnts();
    const char *raw = reinterpret_cast<const char *>(selection->getData());
    if (bytes > 0 && out.writeRawData(raw, int(bytes)) != bytes)   // below 2^31 for every channel
        out.setStatus(QDataStream::WriteFailed);
    return out;
}

QDataStream &operator>>(QDataStream &in, VellSelection **selection)
{
    if (!selection)
        return in;
    *selection = nullptr;
    if (!in.device()) {
        in.setStatus(QDataStream::ReadPastEnd);
        return in;
    }
    qint32 width = 0, height = 0, kind = 0, visible = 0, positive = 0;
    QRectF box;
    bool displayMask = false, displayMarchingAnts = false;
    in >> width >> height >> kind >> box >> visible >> positive >> displayMask >> displayMarchingAnts;
    if (in.status() != QDataStream::Ok) {
        VellLog::Instance()->Log("VellSelection: stream ended inside the header\n");
        return in;
    }
    // A writer only produces what a selection can hold: sizes a channel
    // accepts, a finite box, counts of pixels of the image (the visible ones
    // among the positive ones).
    const int padded = VellChannel::paddedWidthFor(width);
    const qint64 pixels = qint64(width) * height;   // both int: fits in 64 bits
    // One empty side is no picture: its rows or columns would still be walked.
    const bool sizeOk = width >= 0 && height >= 0 && padded >= 0 && (width == 0) == (height == 0)
        && qint64(padded) * height <= qint64(INT_MAX);
    const bool boxOk = std::isfinite(box.x()) && std::isfinite(box.y()) && std::isfinite(box.width())
        && std::isfinite(box.height());
    const bool countsOk = visible >= 0 && visible <= positive && positive <= pixels;
    if (!sizeOk || !boxOk || !countsOk) {
        VellLog::Instance()->Log("VellSelection: corrupt record header %d x %d\n", width, height);
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    }
    const qint64 bytes = qint64(padded) * height;
    VellSelection *result = nullptr;
    if (bytes == 0) {
        result = new VellSelection(nullptr, width, height);
    } else {
        unsigned char *data = vellReadBudgetBytes(in, bytes, "VellSelection");
        if (!data)
            return in;   // status set and logged there
        result = new VellSelection(width, height, data, VellSelection::Adopt());
    }
    result->kind = kind;
    result->boundBox = box;
    result->visibleCount = visible;
    result->positiveCount = positive;
    result->displayMask = displayMask;
    result->displayMarchingAnts = displayMarchingAnts;
    *selection = result;
    return in;
}
