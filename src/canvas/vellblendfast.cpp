#include "canvas/vellblendfast.h"

#include "canvas/vellblendreference.h"
#include "foundation/vellcodes.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

// Units: channel levels a (backdrop) and b (layer) are 0..255; the blend
// term T is B(a / 255, b / 255) x 65025, exact for every mode here since each
// is a polynomial of degree at most 2 in the levels, with its branches
// chosen on the levels as the reference chooses them (b <= 0.5 is b <= 127).
// The layer's effective alpha A is as' x 65535, from its alpha byte, the
// opacity rounded to 1 / 65535 and the mask byte, rounded once per factor.
//
// Over an opaque backdrop (ab = 1) the reference's formulas reduce to
//   Co = Cb + (T / 65025 - Cb) x as',   ao = 1
// and over an empty one (ab = 0) to Co = Cs, ao = as'. Other backdrops take
// the reference's formulas in float with T in place of its blend term.

namespace {

constexpr int kFull = 65535;        // A of a fully shown layer
constexpr float kTermScale = 1.0f / 65025.0f;

// `yes` where `condition`, else `no`, without a branch, so that the loops
// over a row stay vector loops.
inline int select(bool condition, int yes, int no)
{
    const int all = -int(condition);
    return (yes & all) | (no & ~all);
}

template <int Mode>
inline int term(int a, int b)
{
    switch (Mode) {
    case VellBlend::Multiply:
        return a * b;
    case VellBlend::Screen:
        return 255 * (a + b) - a * b;
    case VellBlend::Overlay: {
        const int y = 2 * a - 255;
        return select(a <= 127, 2 * a * b, 255 * (b + y) - b * y);
    }
    case VellBlend::HardLight: {
        const int y = 2 * b - 255;
        return select(b <= 127, 2 * a * b, 255 * (a + y) - a * y);
    }
    case VellBlend::Darken:
        return 255 * std::min(a, b);
    case VellBlend::Lighten:
        return 255 * std::max(a, b);
    case VellBlend::Difference:
        return 255 * std::abs(a - b);
    case VellBlend::Exclusion:
        return 255 * (a + b) - 2 * a * b;
    case VellBlend::LinearBurn:
        return 255 * std::max(0, a + b - 255);
    case VellBlend::LinearDodge:
        return 255 * std::min(255, a + b);
    default:   // Normal
        return 255 * b;
    }
}

inline uchar roundLevel(float v)
{
    // v is within 0..255 up to float error; the clamp guards the ends.
    const float r = v + 0.5f;
    return uchar(r <= 0.0f ? 0 : r >= 255.0f ? 255 : int(r));
}

// One pixel over a backdrop that is not all opaque: `alpha` is A; `shows`:
// the layer's alpha is above 0 however little (the reference then gives the
// layer's colour over an empty backdrop even where A rounds to 0).
template <int Mode>
inline void blendPixel(const uchar *s, uchar *d, uint32_t alpha, bool shows)
{
    const int db = d[3];
    if (alpha == 0) {
        // The backdrop as it was; an empty one takes the layer's colour or 0.
        if (db == 0) {
            d[0] = shows ? s[0] : 0;
            d[1] = shows ? s[1] : 0;
            d[2] = shows ? s[2] : 0;
        }
        return;
    }
    if (db == 0) {
        d[0] = s[0];
        d[1] = s[1];
        d[2] = s[2];
        d[3] = uchar((alpha * 255u + 32767u) / 65535u);
        return;
    }
    // The reference's general formulas (an opaque backdrop among others
    // included).
    const float as = float(alpha) / float(kFull);
    const float ab = float(db) / 255.0f;
    const float ao = as + ab * (1.0f - as);
    const float wb = ab * (1.0f - as);
    const float inv = 255.0f / ao;
    for (int c = 0; c < 3; ++c) {
        const float cs = float(s[c]) / 255.0f;
        const float cb = float(d[c]) / 255.0f;
        const float t = float(term<Mode>(d[c], s[c])) * kTermScale;
        const float sp = (1.0f - ab) * cs + ab * t;
        d[c] = roundLevel((as * sp + wb * cb) * inv);
    }
    d[3] = roundLevel(ao * 255.0f);
}

// One channel over an opaque backdrop: level a plus (T - 255 a) x weight,
// rounded; weight is as' / 255.
template <int Mode>
inline uchar overOpaque(int a, int b, float weight)
{
    const int v = int(float(a) + float(term<Mode>(a, b) - 255 * a) * weight + 0.5f);
    return uchar(v < 0 ? 0 : v > 255 ? 255 : v);
}

// Pixels of a row taken at a time: their alphas fit on the stack, and a run
// over an opaque backdrop, the common case, takes the vector loop.
constexpr int kChunk = 64;

// One row: `count` pixels of s over d (B, G, R, A bytes), mask bytes m or
// none, the opacity as a 1 / 65535 fraction; `anyOpacity`: the opacity is
// above 0, however little.
template <int Mode>
void blendRow(const uchar *s, uchar *d, const uchar *m, int count, uint32_t opacity, bool anyOpacity)
{
    uint32_t alphas[kChunk];
    float weights[4 * kChunk];
    for (int start = 0; start < count; start += kChunk, s += 4 * kChunk, d += 4 * kChunk) {
        const int n = std::min(kChunk, count - start);
        const uchar *mask = m ? m + start : nullptr;
        uint32_t opaque = 255;   // the backdrop alphas ANDed
        uint32_t empty = 0;      // ... and ORed
        if (mask) {
#pragma omp simd reduction(& : opaque) reduction(| : empty)
            for (int i = 0; i < n; ++i) {
                alphas[i] = ((uint32_t(s[4 * i + 3]) * opacity + 127u) / 255u * mask[i] + 127u) / 255u;
                opaque &= d[4 * i + 3];
                empty |= d[4 * i + 3];
            }
        } else {
#pragma omp simd reduction(& : opaque) reduction(| : empty)
            for (int i = 0; i < n; ++i) {
                alphas[i] = (uint32_t(s[4 * i + 3]) * opacity + 127u) / 255u;
                opaque &= d[4 * i + 3];
                empty |= d[4 * i + 3];
            }
        }
        if (empty == 0) {
            // Over nothing: the layer's colour wherever its alpha is above
            // 0 however little (else 0), with alpha as' rounded.
            const quint32 *from = reinterpret_cast<const quint32 *>(s);
            quint32 *to = reinterpret_cast<quint32 *>(d);
            const quint32 shown = anyOpacity ? 0xffffffu : 0u;
            if (mask) {
#pragma omp simd
                for (int i = 0; i < n; ++i) {
                    const quint32 keep = shown & -quint32((from[i] >> 24) != 0) & -quint32(mask[i] != 0);
                    to[i] = (from[i] & keep) | ((alphas[i] * 255u + 32767u) / 65535u) << 24;
                }
            } else {
#pragma omp simd
                for (int i = 0; i < n; ++i) {
                    const quint32 keep = shown & -quint32((from[i] >> 24) != 0);
                    to[i] = (from[i] & keep) | ((alphas[i] * 255u + 32767u) / 65535u) << 24;
                }
            }
            continue;
        }
        if (opaque == 255) {
            // (T - 255 a) / 255 levels times as', byte by byte so that the
            // loop reads and writes whole vectors; alpha bytes get weight 0
            // and so stay 255.
            const float k = 1.0f / (255.0f * float(kFull));
            for (int i = 0; i < n; ++i) {
                const float weight = float(alphas[i]) * k;
                weights[4 * i] = weights[4 * i + 1] = weights[4 * i + 2] = weight;
                weights[4 * i + 3] = 0.0f;
            }
#pragma omp simd
            for (int j = 0; j < 4 * n; ++j)
                d[j] = overOpaque<Mode>(d[j], s[j], weights[j]);
            continue;
        }
        for (int i = 0; i < n; ++i)
            blendPixel<Mode>(s + 4 * i, d + 4 * i, alphas[i], anyOpacity && s[4 * i + 3] != 0 && (!mask || mask[i] != 0));
    }
}

using RowFunction = void (*)(const uchar *, uchar *, const uchar *, int, uint32_t, bool);

RowFunction rowFunction(int mode)
{
    switch (mode) {
    case VellBlend::Normal: return blendRow<VellBlend::Normal>;
    case VellBlend::Multiply: return blendRow<VellBlend::Multiply>;
    case VellBlend::Screen: return blendRow<VellBlend::Screen>;
    case VellBlend::Overlay: return blendRow<VellBlend::Overlay>;
    case VellBlend::HardLight: return blendRow<VellBlend::HardLight>;
    case VellBlend::Darken: return blendRow<VellBlend::Darken>;
    case VellBlend::Lighten: return blendRow<VellBlend::Lighten>;
    case VellBlend::Difference: return blendRow<VellBlend::Difference>;
    case VellBlend::Exclusion: return blendRow<VellBlend::Exclusion>;
    case VellBlend::LinearBurn: return blendRow<VellBlend::LinearBurn>;
    case VellBlend::LinearDodge: return blendRow<VellBlend::LinearDodge>;
    default: return nullptr;
    }
}

// Mask bytes of a one-byte-per-pixel image; anything else is converted, as
// the reference does.
QImage maskBytes(const QImage *mask)
{
    if (!mask || mask->isNull())
        return QImage();
    const QImage::Format f = mask->format();
    if (f == QImage::Format_Grayscale8 || f == QImage::Format_Alpha8 || f == QImage::Format_Indexed8)
        return *mask;
    return mask->convertToFormat(QImage::Format_Grayscale8);
}

} // namespace

bool VellBlendFast::covers(int mode)
{
    return rowFunction(mode) != nullptr;
}

void VellBlendFast::compositeLayer(QImage *backdrop, const QImage &source, const QPoint &offset, int mode,
                                   float opacity, const QImage *mask)
{
    const RowFunction row = rowFunction(mode);
    if (!row || source.format() != QImage::Format_ARGB32) {
        VellBlendReference::compositeLayer(backdrop, source, offset, mode, opacity, mask);
        return;
    }
    if (!backdrop || backdrop->isNull() || source.isNull() || backdrop->format() != QImage::Format_ARGB32)
        return;
    const QImage maskImage = maskBytes(mask);
    // 64-bit, so offsets near the int range cannot overflow the clip.
    const qint64 left = std::max<qint64>(0, offset.x());
    const qint64 top = std::max<qint64>(0, offset.y());
    const qint64 right = std::min<qint64>(backdrop->width(), qint64(offset.x()) + source.width());
    const qint64 bottom = std::min<qint64>(backdrop->height(), qint64(offset.y()) + source.height());
    if (left >= right || top >= bottom)
        return;
    // NaN gives 0, as in the reference.
    const float o = opacity > 0.0f ? (opacity < 1.0f ? opacity : 1.0f) : 0.0f;
    const uint32_t opacity16 = uint32_t(o * float(kFull) + 0.5f);

    uchar *dstBits = backdrop->bits();   // before the loop: bits() may detach
    const qsizetype dstStride = backdrop->bytesPerLine();
    const uchar *srcBits = source.constBits();
    const qsizetype srcStride = source.bytesPerLine();
    const uchar *maskBits = maskImage.isNull() ? nullptr : maskImage.constBits();
    const qsizetype maskStride = maskImage.bytesPerLine();
    const int maskW = maskImage.width();
    const int maskH = maskImage.height();
    const int ox = offset.x();
    const int oy = offset.y();
    const int x0 = int(left), x1 = int(right), y0 = int(top), y1 = int(bottom);

#pragma omp parallel for schedule(static)
    for (int y = y0; y < y1; ++y) {
        const int sy = y - oy;
        uchar *d = dstBits + size_t(y) * size_t(dstStride) + size_t(x0) * 4;
        const uchar *s = srcBits + size_t(sy) * size_t(srcStride) + size_t(x0 - ox) * 4;
        const uchar *m = maskBits && sy < maskH ? maskBits + size_t(sy) * size_t(maskStride) : nullptr;
        const int sx0 = x0 - ox;
        // Masked pixels first, then any past a narrower mask unmasked.
        const int maskedEnd = m ? std::clamp(maskW - sx0, 0, x1 - x0) : 0;
        if (maskedEnd > 0)
            row(s, d, m + sx0, maskedEnd, opacity16, o > 0.0f);
        row(s + size_t(maskedEnd) * 4, d + size_t(maskedEnd) * 4, nullptr, x1 - x0 - maskedEnd, opacity16,
            o > 0.0f);
    }
}

QImage *VellBlendFast::renderToImage(VellContext *document, int width, int height)
{
    return VellBlendReference::renderToImage(document, width, height, &VellBlendFast::compositeLayer);
}
