// Feathering: the selection's coverage blurred with a Gaussian, on the CPU,
// only where it can change. Regions are QRects in the selection's region
// convention: x (left .. right, inclusive) are rows, y (top .. bottom) are
// columns.
#include "selection/vellselection.h"

#include "selection/vellselectionpath.h"
#include "tools/vellalgorithmconv.h"

#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace {

// An inclusive span of rows or columns; empty when first > last.
struct Span
{
    int first = 0;
    int last = -1;
    bool isEmpty() const { return first > last; }
    int size() const { return isEmpty() ? 0 : last - first + 1; }
};

// The half-width of the kernel for radius r: ceil(r - 0.5), taken through
// the tap count as a double, so 0 for r <= 0.5.
int halfWidth(float r)
{
    return int(std::trunc((2.0 * std::ceil(double(r) - 0.5) + 1.0) * 0.5));
}

// A coordinate as a whole pixel index, truncated, kept far from int's range
// so that sums of indices cannot overflow.
int whole(double v)
{
    const double limit = 1 << 30;
    return int(std::trunc(std::clamp(std::isnan(v) ? 0.0 : v, -limit, limit)));
}

int wholeUp(double v)
{
    return whole(std::ceil(std::clamp(std::isnan(v) ? 0.0 : v, -double(1 << 30), double(1 << 30))));
}

bool usableRadius(float r)
{
    return r > 0.0f && r <= VellSelection::kMaximumFeatherRadius;
}

// One rectangle of pixels: rows and columns.
struct Block
{
    Span rows, cols;
    bool isEmpty() const { return rows.isEmpty() || cols.isEmpty(); }
};

Block blockOf(const QRect &region)
{
    return {{region.left(), region.right()}, {region.top(), region.bottom()}};
}

Span intersect(Span a, Span b)
{
    return {std::max(a.first, b.first), std::min(a.last, b.last)};
}

// The ring `outer` minus `inner` as at most four blocks: the rows above and
// below inner over all of outer's columns, and on inner's rows the left band
// (outer's first column .. inner's first, inclusive) and the right band
// (inner's last .. outer's last). An empty inner leaves outer whole.
std::vector<Block> ringBlocks(const Block &outer, const Block &inner)
{
    if (inner.isEmpty())
        return {outer};
    std::vector<Block> blocks = {
        {intersect(outer.rows, {outer.rows.first, inner.rows.first - 1}), outer.cols},
        {intersect(outer.rows, {inner.rows.last + 1, outer.rows.last}), outer.cols},
        {intersect(outer.rows, inner.rows), intersect(outer.cols, {outer.cols.first, inner.cols.first})},
        {intersect(outer.rows, inner.rows), intersect(outer.cols, {inner.cols.last, outer.cols.last})},
    };
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                                [](const Block &b) { return b.isEmpty(); }),
                 blocks.end());
    return blocks;
}

inline uchar toByte(float sum)
{
    return uchar(std::clamp(sum, 0.0f, 255.0f));   // truncated toward zero
}

} // namespace

uchar VellSelection::gaussianConv2D(int col, int row, const float *kernel, int n, int step) const
{
    if (n < 1 || !kernel || !getData())
        return 0;
    const uchar *bytes = getData();
    const int w = getWidth(), h = getHeight(), stride = getPaddedWidth();
    float sum = 0.0f;
    for (int i = 0; i < n; ++i) {
        const int y = std::clamp(row - (n / 2) * step + i * step, 0, h - 1);
        const uchar *line = bytes + size_t(y) * size_t(stride);
        for (int j = 0; j < n; ++j)
            sum += kernel[i * n + j] * line[std::clamp(col - (n / 2) * step + j * step, 0, w - 1)];
    }
    return toByte(sum);
}

uchar VellSelection::gaussianConvHorizontal1D(int col, int row, const float *kernel, int n,
                                              int step) const
{
    if (n < 1 || !kernel || !getData())
        return 0;
    const int w = getWidth();
    const uchar *line = getData() + size_t(std::clamp(row, 0, getHeight() - 1)) * size_t(getPaddedWidth());
    float sum = 0.0f;
    for (int i = 0; i < n; ++i)
        sum += kernel[i] * line[std::clamp(col - (n / 2) * step + i * step, 0, w - 1)];
    return toByte(sum);
}

uchar VellSelection::gaussianConvVertical1D(int col, int row, const float *kernel, int n,
                                            int step) const
{
    if (n < 1 || !kernel || !getData())
        return 0;
    const int h = getHeight(), stride = getPaddedWidth();
    const uchar *column = getData() + std::clamp(col, 0, getWidth() - 1);
    float sum = 0.0f;
    for (int i = 0; i < n; ++i)
        sum += kernel[i] * column[size_t(std::clamp(row - (n / 2) * step + i * step, 0, h - 1)) * size_t(stride)];
    return toByte(sum);
}

void VellSelection::feather2way(const QRect &innerRegion, const QRect &outerRegion, float radius)
{
    uchar *bytes = getData();
    const int w = getWidth(), h = getHeight();
    if (!usableRadius(radius) || !bytes || w <= 0 || h <= 0)
        return;
    int n = 0;
    const std::unique_ptr<float[]> kernel(VellAlgorithmConv::getGaussian1D(radius, n));
    const int half = n / 2;
    const size_t stride = size_t(getPaddedWidth());
    const Block image{{0, h - 1}, {0, w - 1}};
    const Block outer{intersect(blockOf(outerRegion).rows, image.rows),
                      intersect(blockOf(outerRegion).cols, image.cols)};
    if (outer.isEmpty())
        return;
    const Block inner = blockOf(innerRegion);

    // One stage: every ring pixel of `region` minus `hole` becomes conv(col,
    // row) into a copy of `region`, which is then copied back. Each stage
    // reads only the coverage and writes only its copy, so rows are
    // independent.
    auto stage = [&](const Block &region, const Block &hole, auto conv) {
        const int rw = region.cols.size();
        std::vector<uchar> work(size_t(region.rows.size()) * size_t(rw));
        for (int y = region.rows.first; y <= region.rows.last; ++y)
            std::copy_n(bytes + size_t(y) * stride + size_t(region.cols.first), rw,
                        work.begin() + ptrdiff_t(y - region.rows.first) * rw);
        for (const Block &band : ringBlocks(region, hole)) {
#pragma omp parallel for schedule(static)
            for (int y = band.rows.first; y <= band.rows.last; ++y) {
                uchar *out = work.data() + size_t(y - region.rows.first) * size_t(rw);
                for (int x = band.cols.first; x <= band.cols.last; ++x)
                    out[x - region.cols.first] = conv(x, y);
            }
        }
        for (int y = region.rows.first; y <= region.rows.last; ++y)
            std::copy_n(work.begin() + ptrdiff_t(y - region.rows.first) * rw, rw,
                        bytes + size_t(y) * stride + size_t(region.cols.first));
    };

    // Horizontal: outer grown by the half-width (so the vertical taps read
    // finished values), less inner shrunk by it.
    const Block grown{intersect({outer.rows.first - half, outer.rows.last + half}, image.rows),
                      intersect({outer.cols.first - half, outer.cols.last + half}, image.cols)};
    const Block shrunk{{inner.rows.first + half, inner.rows.last - half},
                       {inner.cols.first + half, inner.cols.last - half}};
    stage(grown, shrunk, [&](int x, int y) {
        return gaussianConvHorizontal1D(x, y, kernel.get(), n, 1);
    });
    stage(outer, inner, [&](int x, int y) {
        return gaussianConvVertical1D(x, y, kernel.get(), n, 1);
    });
}

QVector<QPair<int, float>> VellSelection::featherRepeatPasses(float radius)
{
    QVector<QPair<int, float>> passes;
    if (!(radius > 0.0f))
        return passes;
    double reach = 3.5;
    int step = 1;
    while (radius > reach && step < (1 << 24)) {
        passes.append(qMakePair(step, 3.5f));
        step = int(std::trunc(step * 3.5));
        reach *= 3.5;
    }
    if (radius <= 3.5f)
        passes.append(qMakePair(1, radius));
    else
        passes.append(qMakePair(int(std::trunc(reach / 3.5)), float(radius / (reach / 3.5))));
    return passes;
}

void VellSelection::featherRepeatMethod(const QRect &innerRegion, const QRect &outerRegion,
                                        float radius)
{
    uchar *bytes = getData();
    const int w = getWidth(), h = getHeight();
    if (!usableRadius(radius) || !bytes || w <= 0 || h <= 0)
        return;
    const Block image{{0, h - 1}, {0, w - 1}};
    const Block outer{intersect(blockOf(outerRegion).rows, image.rows),
                      intersect(blockOf(outerRegion).cols, image.cols)};
    const size_t stride = size_t(getPaddedWidth());
    for (const QPair<int, float> &pass : featherRepeatPasses(radius)) {
        int n = 0;
        const std::unique_ptr<float[]> kernel(VellAlgorithmConv::getGaussian2D(pass.second, n));
        // Every result first, from the buffer as it was; then written.
        std::vector<std::pair<size_t, uchar>> results;
        for (const Block &band : ringBlocks(outer, blockOf(innerRegion)))
            for (int y = band.rows.first; y <= band.rows.last; ++y)
                for (int x = band.cols.first; x <= band.cols.last; ++x)
                    results.emplace_back(size_t(y) * stride + size_t(x),
                                         gaussianConv2D(x, y, kernel.get(), n, pass.first));
        for (const auto &result : results)
            bytes[result.first] = result.second;
    }
}

void VellSelection::feather(float radius)
{
    if (kind == VellSelectionKind::Whole || kind == VellSelectionKind::Empty
        || !usableRadius(radius))
        return;
    const int half = halfWidth(radius);
    const int top = whole(boundBox.y()), left = whole(boundBox.x());
    const QRect region(QPoint(top - half, left - half),
                       QPoint(top + wholeUp(boundBox.height()) - 1 + half,
                              left + wholeUp(boundBox.width()) - 1 + half));
    feather2way(QRect(0, 0, -1, -1), region, radius);
    record();
    update();
}

void VellSelection::feather(VellSelectionPath *path, float radius)
{
    if (!path)
        return;
    switch (path->getType()) {
    case VellPathType::Rectangle:
        featherRectangle(path, radius);
        break;
    case VellPathType::Ellipse:
        featherEllipse(path, radius);
        break;
    case VellPathType::Polygon:
        featherPolygon(path, radius);
        break;
    default:
        break;
    }
}

void VellSelection::featherRectangle(VellSelectionPath *path, float radius)
{
    if (!path || radius == 0.0f || path->getPointNumber() < 3)
        return;
    const QPointF a = path->getPoint(0), b = path->getPoint(2);
    const int x1 = whole(std::min(a.x(), b.x())), x2 = whole(std::max(a.x(), b.x()));
    const int y1 = whole(std::min(a.y(), b.y())), y2 = whole(std::max(a.y(), b.y()));
    // No wider than half the rectangle: its interior stays fully selected.
    const float limit = float((std::min(qint64(x2) - x1, qint64(y2) - y1) - 1) * 0.5);
    if (!(radius < limit))
        radius = limit;
    if (!usableRadius(radius))
        return;
    const int half = halfWidth(radius);
    const int lastRow = getHeight() - 1, lastCol = getWidth() - 1;
    auto row = [lastRow](int v) { return std::clamp(v, 0, std::max(0, lastRow)); };
    auto col = [lastCol](int v) { return std::clamp(v, 0, std::max(0, lastCol)); };
    const QRect inner(QPoint(row(y1 + half), col(x1 + half)), QPoint(row(y2 - half), col(x2 - half)));
    const QRect outer(QPoint(row(y1 - half), col(x1 - half)), QPoint(row(y2 + half), col(x2 + half)));
    feather2way(inner, outer, radius);
}

void VellSelection::featherEllipse(VellSelectionPath *path, float radius)
{
    if (!path || radius == 0.0f || path->getPointNumber() < 2)
        return;
    const QPointF p0 = path->getPoint(0), p1 = path->getPoint(1);
    const double cx = (p0.x() + p1.x()) * 0.5, cy = (p0.y() + p1.y()) * 0.5;
    const double a = std::fabs(std::trunc(p0.x() - p1.x())) * 0.5;
    const double b = std::fabs(std::trunc(p0.y() - p1.y())) * 0.5;
    if (!usableRadius(radius))
        return;
    const int half = halfWidth(radius);
    const QRect region(QPoint(whole(cy - b) - half, whole(cx - a) - half),
                       QPoint(wholeUp(cy + b) + half - 1, wholeUp(cx + a) + half - 1));
    feather2way(QRect(0, 0, -1, -1), region, radius);
}

void VellSelection::featherPolygon(VellSelectionPath *path, float radius)
{
    if (!path || radius == 0.0f || path->getPointNumber() < 3)
        return;
    if (!usableRadius(radius))
        return;
    const QRectF box = QPolygonF(*path->getData()).boundingRect();
    const int half = halfWidth(radius);
    const int top = whole(box.y()), left = whole(box.x());
    const QRect region(QPoint(top - half, left - half),
                       QPoint(top + wholeUp(box.height()) + half - 1,
                              left + wholeUp(box.width()) + half - 1));
    feather2way(QRect(0, 0, -1, -1), region, radius);
}
