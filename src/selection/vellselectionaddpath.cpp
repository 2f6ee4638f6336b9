// Selection paths turned into coverage.
#include "selection/vellselection.h"

#include "selection/vellselectionpath.h"

#include <QImage>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>

namespace {

// A coordinate as a whole pixel index, kept far from int's range.
int whole(double v)
{
    const double limit = 1 << 30;
    return int(std::trunc(std::clamp(std::isnan(v) ? 0.0 : v, -limit, limit)));
}

// The path's shape as a w x h mask, 255 inside: the odd-even fill with its
// aliased one-pixel outline, as a selection tool draws it.
QImage shapeOf(const VellSelectionPath *path, int w, int h)
{
    QImage shape(w, h, QImage::Format_Grayscale8);
    if (shape.isNull())
        return shape;
    shape.fill(0);
    QPainter painter(&shape);
    painter.setBrush(QColor(255, 255, 255));
    painter.setPen(QPen(QColor(255, 255, 255), 0));   // cosmetic: one pixel whatever the transform
    const QVector<QPointF> &points = *const_cast<VellSelectionPath *>(path)->getData();
    if (path->getType() == VellPathType::Ellipse) {
        if (points.size() >= 2) {
            const QPointF p0 = points.at(0), p1 = points.at(1);
            const double a = std::fabs(std::trunc(p0.x() - p1.x())) * 0.5;
            const double b = std::fabs(std::trunc(p0.y() - p1.y())) * 0.5;
            const QPointF c = (p0 + p1) * 0.5;
            painter.drawEllipse(QRectF(c.x() - a, c.y() - b, 2 * a, 2 * b));
        }
    } else {
        painter.drawPolygon(QPolygonF(points), Qt::OddEvenFill);
    }
    return shape;
}

// The path's own box: from the corners for a rectangle, else over all
// points (floor of x, ceiling of y, as the outline is drawn).
QRectF pathBox(const VellSelectionPath *path)
{
    const QVector<QPointF> &points = *const_cast<VellSelectionPath *>(path)->getData();
    if (points.isEmpty())
        return QRectF();
    if (path->getType() == VellPathType::Rectangle) {
        const QPointF a = points.value(0), b = points.value(2);
        const int x1 = whole(a.x()), x2 = whole(b.x()), y1 = whole(a.y()), y2 = whole(b.y());
        return QRectF(std::min(x1, x2), std::min(y1, y2), std::abs(x2 - x1), std::abs(y2 - y1));
    }
    int left = whole(std::floor(points.first().x())), right = left;
    int top = whole(std::ceil(points.first().y())), bottom = top;
    for (const QPointF &p : points) {
        left = std::min(left, whole(std::floor(p.x())));
        right = std::max(right, whole(std::floor(p.x())));
        top = std::min(top, whole(std::ceil(p.y())));
        bottom = std::max(bottom, whole(std::ceil(p.y())));
    }
    return QRectF(left, top, right - left, bottom - top);
}

} // namespace

void VellSelection::pathToSelection(VellSelectionPath *path, float radius)
{
    uchar *bytes = getData();
    const int w = getWidth(), h = getHeight();
    if (!path || !bytes || w <= 0 || h <= 0)
        return;
    const QImage shape = shapeOf(path, w, h);
    if (shape.isNull())
        return;
    const int mode = combineMode;
    const bool replace = mode == VellCombineMode::Replace
                         || (mode == VellCombineMode::Add && kind == VellSelectionKind::Whole);
    const size_t stride = size_t(getPaddedWidth());
    const uchar *shapeBits = shape.constBits();
    const size_t shapeStride = size_t(shape.bytesPerLine());
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        uchar *out = bytes + size_t(y) * stride;
        const uchar *in = shapeBits + size_t(y) * shapeStride;
        for (int x = 0; x < w; ++x) {
            const int s = in[x], old = out[x];
            if (replace)
                out[x] = uchar(s);
            else if (mode == VellCombineMode::Add)
                out[x] = uchar(std::min(255, old + s));
            else if (mode == VellCombineMode::Subtract)
                out[x] = uchar(std::max(0, old - s));
            else if (mode == VellCombineMode::Intersect)
                out[x] = uchar(std::min(old, s));
        }
    }
    feather(path, radius);
    update();

    const QRectF box = pathBox(path);
    if (replace)
        boundBox = box;
    else if (mode == VellCombineMode::Add)
        boundBox = boundBox.united(box);
    else if (mode == VellCombineMode::Intersect)
        boundBox = boundBox.intersected(box);
    if (radius > 0.0f || mode == VellCombineMode::Subtract) {
        const int half = std::max(0, whole(std::ceil(double(radius) - 0.5)));
        const int top = whole(boundBox.y() - half), left = whole(boundBox.x() - half);
        const QRect region(QPoint(top, left),
                           QPoint(top + whole(boundBox.height() + 2.0 * half) - 1,
                                  left + whole(boundBox.width() + 2.0 * half) - 1));
        calcBoundBox(region & wholeRegion());
    }
    kind = VellSelectionKind::Mask;
}

void VellSelection::addPath(VellSelectionPath *path, float radius)
{
    if (!path)
        return;
    if (!path->isClosed())
        path->setClosed(true);
    paths.append(path);
    pathToSelection(path, radius);
    kind = VellSelectionKind::Mask;
    record();
    enableGroups(true, true);
}

void VellSelection::drawPaths()
{
    for (VellSelectionPath *path : qAsConst(paths))
        path->draw(false);
}
