#include "selection/vellalgorithmgrow.h"

#include "picture/vellpicturehost.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

const int kAlphaLimit = 128;        // channel units, both depths
const qint64 kFarApart = 65536;

template <typename Channel>
qint64 distance(const Channel *pixels, int a, int b, double maximum)
{
    const Channel *p = pixels + size_t(a) * 4;
    const Channel *q = pixels + size_t(b) * 4;
    if (std::abs(int(p[3]) - int(q[3])) > kAlphaLimit)
        return kFarApart;
    const float fa = float(p[3] / maximum);
    const float fb = float(q[3] / maximum);
    qint64 sum = 0;
    for (int c = 0; c < 3; ++c) {
        const qint64 d = qint64(std::trunc(float(p[c]) * fa - float(q[c]) * fb));
        sum += d * d;
    }
    return sum;
}

// The constraint, when there is one: pixel (x, y) of the image maps to
// (x + dx, y + dy) of a mask whose rows are padded to 4 bytes.
struct Constraint
{
    const uchar *bytes = nullptr;
    int width = 0, height = 0, dx = 0, dy = 0;
    size_t stride = 0;

    bool allows(qint64 cx, qint64 cy) const
    {
        return bytes[size_t(cy) * stride + size_t(cx)] != 0;
    }
};

QRect growFrom(const VellPictureHost *host, uchar *mask, float tolerance, int seedX, int seedY,
               const Constraint *constraint)
{
    if (!host || !mask || host->isNull())
        return QRect();
    const qint64 w = host->getWidth(), h = host->getHeight();
    if (seedX < 0 || seedY < 0 || seedX >= w || seedY >= h)
        return QRect();
    int firstCol = seedX, lastCol = seedX, firstRow = seedY, lastRow = seedY;
    auto box = [&] { return QRect(QPoint(firstRow, firstCol), QPoint(lastRow, lastCol)); };
    const int pixelWidth = int(host->getPixelWidth());
    if (pixelWidth != 4 && pixelWidth != 8)
        return box();
    if (constraint) {
        const qint64 cx = qint64(seedX) + constraint->dx, cy = qint64(seedY) + constraint->dy;
        if (cx < 0 || cy < 0 || cx >= constraint->width || cy >= constraint->height
            || !constraint->allows(cx, cy))
            return box();
    }

    double threshold = double(tolerance) * double(tolerance);
    if (pixelWidth == 8)
        threshold *= 256.0 * 256.0;
    threshold *= 3.0;
    const uchar *bytes = host->getData();
    const qint64 seed = qint64(seedY) * w + seedX;
    auto passes = [&](qint64 index) {
        const qint64 d = pixelWidth == 4
            ? qint64(VellAlgorithmGrow::getDistance8bit(bytes, int(index), int(seed)))
            : VellAlgorithmGrow::getDistance16bit(reinterpret_cast<const quint16 *>(bytes),
                                                  int(index), int(seed));
        return float(d) <= threshold;
    };

    std::vector<std::int64_t> pending;   // pixel indices, each marked when pushed
    pending.push_back(seed);
    mask[seed] = 255;
    auto consider = [&](qint64 x, qint64 y, bool constraintOk) {
        const qint64 index = y * w + x;
        if (mask[index] != 0 || !constraintOk || !passes(index))
            return;
        if (constraint && !constraint->allows(x + constraint->dx, y + constraint->dy))
            return;
        mask[index] = 255;
        pending.push_back(index);
        firstCol = std::min<int>(firstCol, int(x));
        lastCol = std::max<int>(lastCol, int(x));
        firstRow = std::min<int>(firstRow, int(y));
        lastRow = std::max<int>(lastRow, int(y));
    };
    while (!pending.empty()) {
        const qint64 index = pending.back();
        pending.pop_back();
        const qint64 x = index % w, y = index / w;
        // The constraint keeps off its outermost rows and columns.
        const qint64 cx = constraint ? x + constraint->dx : 0, cy = constraint ? y + constraint->dy : 0;
        if (x > 0)
            consider(x - 1, y, !constraint || cx > 0);
        if (x + 1 < w)
            consider(x + 1, y, !constraint || cx < constraint->width - 1);
        if (y > 0)
            consider(x, y - 1, !constraint || cy > 0);
        if (y + 1 < h)
            consider(x, y + 1, !constraint || cy < constraint->height - 1);
    }
    return box();
}

} // namespace

int VellAlgorithmGrow::getDistance8bit(const uchar *pixels, int a, int b)
{
    return pixels ? int(distance(pixels, a, b, 255.0)) : int(kFarApart);
}

qint64 VellAlgorithmGrow::getDistance16bit(const quint16 *pixels, int a, int b)
{
    return pixels ? distance(pixels, a, b, 65535.0) : kFarApart;
}

QRect VellAlgorithmGrow::grow(const VellPictureHost *host, uchar *mask, float tolerance,
                              int seedX, int seedY)
{
    return growFrom(host, mask, tolerance, seedX, seedY, nullptr);
}

QRect VellAlgorithmGrow::grow(const VellPictureHost *host, uchar *mask, float tolerance,
                              int seedX, int seedY, const uchar *constraint, int constraintWidth,
                              int constraintHeight, int dx, int dy)
{
    if (!constraint || constraintWidth <= 0 || constraintHeight <= 0) {
        // A constraint with no bytes is zero everywhere: nothing grows.
        if (!host || host->isNull() || seedX < 0 || seedY < 0 || qint64(seedX) >= host->getWidth()
            || qint64(seedY) >= host->getHeight())
            return QRect();
        return QRect(QPoint(seedY, seedX), QPoint(seedY, seedX));
    }
    Constraint limits;
    limits.bytes = constraint;
    limits.width = constraintWidth;
    limits.height = constraintHeight;
    limits.dx = dx;
    limits.dy = dy;
    limits.stride = (size_t(constraintWidth) + 3) & ~size_t(3);
    return growFrom(host, mask, tolerance, seedX, seedY, &limits);
}
