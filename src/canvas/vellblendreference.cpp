#include "canvas/vellblendreference.h"

#include "canvas/velllayerwalk.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "picture/vellchannel.h"
#include "picture/vellpicturehost.h"

#include <QOpenGLContext>

#include <algorithm>
#include <cmath>

// The blend term B(Cb, Cs) of each mode, per channel with a = Cb (backdrop)
// and b = Cs (layer), all in 0..1. The sixteen common modes:
//   Normal       b
//   Darken       min(a, b)             Lighten      max(a, b)
//   Multiply     a b                   Screen       a + b - a b
//   Color Dodge  a == 0: 0; else b == 1: 1; else min(1, a / (1 - b))
//   Color Burn   a == 1: 1; else b == 0: 0; else 1 - min(1, (1 - a) / b)
//   Hard Light   b <= 0.5: Multiply(a, 2b); else Screen(a, 2b - 1)
//   Overlay      HardLight with the roles swapped: HardLight(b, a)
//   Soft Light   b <= 0.5: a - (1 - 2b) a (1 - a); else a + (2b - 1)(D(a) - a)
//                with D(a) = ((16a - 12) a + 4) a for a <= 0.25, else sqrt(a)
//   Difference   |a - b|               Exclusion    a + b - 2 a b
// and the non-separable four on whole colours, with Lum(C) = 0.3 R + 0.59 G
// + 0.11 B, Sat(C) = max - min, SetSat(C, s) (maximum to s, minimum to 0,
// middle scaled between; all 0 for grey), SetLum(C, l) = ClipColor(C + l -
// Lum(C)) and ClipColor pulling channels below 0 or above 1 towards Lum(C):
//   Hue          SetLum(SetSat(Cs, Sat(Cb)), Lum(Cb))
//   Saturation   SetLum(SetSat(Cb, Sat(Cs)), Lum(Cb))
//   Color        SetLum(Cs, Lum(Cb))
//   Luminosity   SetLum(Cb, Lum(Cs))
// The other nine:
//   Dissolve      Normal, with the layer's alpha made all or nothing per
//                 pixel (below)
//   Linear Burn   max(0, a + b - 1)
//   Darker Color  the whole colour of whichever of Cs, Cb has the lower Lum;
//                 a tie keeps the backdrop
//   Lighter Color the same with the higher Lum; a tie keeps the backdrop
//   Linear Dodge  min(1, a + b)
//   Vivid Light   b <= 0.5: ColorBurn(a, 2b); else ColorDodge(a, 2b - 1)
//   Linear Light  clamp(a + 2b - 1, 0, 1)
//   Pin Light     b <= 0.5: min(a, 2b); else max(a, 2b - 1)
//   Hard Mix      1 when the 8-bit levels of a and b sum to 255 or more,
//                 else 0
// Unknown codes blend as Normal.
//
// Dissolve: with the layer's effective alpha as' rounded to its 8-bit level
// q, the layer shows fully (as' = 1, then Normal) where q / 255 exceeds the
// pixel's threshold (n + 0.5) / 4096, and not at all (as' = 0) elsewhere.
// n is a permutation of 0..4095 over the 64 x 64 tile that the document
// pixel (x mod 64, y mod 64) falls in: four Feistel rounds on the two 6-bit
// halves, L, R <- R, (L + F(R)) mod 64 with F(r) = ((k1 r^2 + k2 r + k3)
// mod 251) mod 64. Each round is invertible whatever F is, so every
// threshold occurs once per tile and any 64 x 64 area shows exactly
// round(4096 q / 255) of its pixels; the prime modulus scatters them. All
// intermediates stay below 2^24, so the shader, which has only float
// arithmetic, computes the same n exactly.
//
// The shader and this file must decide every edge alike although the GPU
// rounds differently: each comparison that selects a formula is made on 8-bit
// levels or at half a level from the grid of inputs (k / 255), never on a
// float that may land on either side. Hence Hard Mix compares levels, Darker
// and Lighter Color compare 30 R + 59 G + 11 B of the levels (Lum x 25500,
// exact in float), Color Dodge and Burn test "== 0" and "== 1" as within half
// a level, and Dissolve compares 2 q 4096 with (2 n + 1) 255, both whole
// numbers below 2^24. Everything else is continuous, so the two agree to a
// rounding of the stored 8-bit result.

namespace {

const float kHalfLevel = 0.5f / 255.0f;
const int kNoiseSize = 64;                          // the noise tile's side
const int kNoiseCount = kNoiseSize * kNoiseSize;   // thresholds per tile

struct Rgb
{
    float r, g, b;
};

inline Rgb operator+(Rgb c, float d) { return { c.r + d, c.g + d, c.b + d }; }

inline float level(float v) { return std::floor(v * 255.0f + 0.5f); }

inline float screen(float a, float b) { return a + b - a * b; }

inline float colorDodge(float a, float b)
{
    if (a < kHalfLevel)
        return 0.0f;
    if (b > 1.0f - kHalfLevel)
        return 1.0f;
    return std::min(1.0f, a / (1.0f - b));
}

inline float colorBurn(float a, float b)
{
    if (a > 1.0f - kHalfLevel)
        return 1.0f;
    if (b < kHalfLevel)
        return 0.0f;
    return 1.0f - std::min(1.0f, (1.0f - a) / b);
}

inline float hardLight(float a, float b)
{
    return b <= 0.5f ? a * (2.0f * b) : screen(a, 2.0f * b - 1.0f);
}

inline float softLight(float a, float b)
{
    if (b <= 0.5f)
        return a - (1.0f - 2.0f * b) * a * (1.0f - a);
    const float d = a <= 0.25f ? ((16.0f * a - 12.0f) * a + 4.0f) * a : std::sqrt(a);
    return a + (2.0f * b - 1.0f) * (d - a);
}

inline float vividLight(float a, float b)
{
    return b <= 0.5f ? colorBurn(a, 2.0f * b) : colorDodge(a, 2.0f * b - 1.0f);
}

inline float pinLight(float a, float b)
{
    return b <= 0.5f ? std::min(a, 2.0f * b) : std::max(a, 2.0f * b - 1.0f);
}

inline float hardMix(float a, float b) { return level(a) + level(b) >= 255.0f ? 1.0f : 0.0f; }

inline float lum(Rgb c) { return 0.3f * c.r + 0.59f * c.g + 0.11f * c.b; }

inline float lumLevels(Rgb c) { return 30.0f * level(c.r) + 59.0f * level(c.g) + 11.0f * level(c.b); }

inline float minOf(Rgb c) { return std::min(std::min(c.r, c.g), c.b); }
inline float maxOf(Rgb c) { return std::max(std::max(c.r, c.g), c.b); }

// A grey colour pushed out of range has no spread to scale, hence the
// guards; the final clamp takes care of it.
Rgb clipColor(Rgb c)
{
    const float l = lum(c);
    const float n = minOf(c);
    const float x = maxOf(c);
    if (n < 0.0f && l - n > 1.0e-6f) {
        const float k = l - n;
        c = { l + (c.r - l) * l / k, l + (c.g - l) * l / k, l + (c.b - l) * l / k };
    }
    if (x > 1.0f && x - l > 1.0e-6f) {
        const float k = x - l;
        const float s = 1.0f - l;
        c = { l + (c.r - l) * s / k, l + (c.g - l) * s / k, l + (c.b - l) * s / k };
    }
    return c;
}

inline Rgb setLum(Rgb c, float l) { return clipColor(c + (l - lum(c))); }

inline float sat(Rgb c) { return maxOf(c) - minOf(c); }

// Maximum to s, minimum to 0, the middle channel scaled between: the same
// for every channel without sorting them, which is how the shader does it.
Rgb setSat(Rgb c, float s)
{
    const float mn = minOf(c);
    const float mx = maxOf(c);
    if (!(mx > mn))
        return { 0.0f, 0.0f, 0.0f };
    const float k = mx - mn;
    return { (c.r - mn) * s / k, (c.g - mn) * s / k, (c.b - mn) * s / k };
}

template <typename F>
inline Rgb perChannel(Rgb a, Rgb b, F f)
{
    return { f(a.r, b.r), f(a.g, b.g), f(a.b, b.b) };
}

Rgb blendTerm(int mode, Rgb cb, Rgb cs)
{
    switch (mode) {
    case VellBlend::Darken:
        return perChannel(cb, cs, [](float a, float b) { return std::min(a, b); });
    case VellBlend::Multiply:
        return perChannel(cb, cs, [](float a, float b) { return a * b; });
    case VellBlend::ColorBurn:
        return perChannel(cb, cs, colorBurn);
    case VellBlend::LinearBurn:
        return perChannel(cb, cs, [](float a, float b) { return std::max(0.0f, a + b - 1.0f); });
    case VellBlend::DarkerColor:
        return lumLevels(cs) < lumLevels(cb) ? cs : cb;
    case VellBlend::Lighten:
        return perChannel(cb, cs, [](float a, float b) { return std::max(a, b); });
    case VellBlend::Screen:
        return perChannel(cb, cs, screen);
    case VellBlend::ColorDodge:
        return perChannel(cb, cs, colorDodge);
    case VellBlend::LinearDodge:
        return perChannel(cb, cs, [](float a, float b) { return std::min(1.0f, a + b); });
    case VellBlend::LighterColor:
        return lumLevels(cs) > lumLevels(cb) ? cs : cb;
    case VellBlend::Overlay:
        return perChannel(cb, cs, [](float a, float b) { return hardLight(b, a); });
    case VellBlend::SoftLight:
        return perChannel(cb, cs, softLight);
    case VellBlend::HardLight:
        return perChannel(cb, cs, hardLight);
    case VellBlend::VividLight:
        return perChannel(cb, cs, vividLight);
    case VellBlend::LinearLight:
        return perChannel(cb, cs, [](float a, float b) {
            return std::min(1.0f, std::max(0.0f, a + 2.0f * b - 1.0f));
        });
    case VellBlend::PinLight:
        return perChannel(cb, cs, pinLight);
    case VellBlend::HardMix:
        return perChannel(cb, cs, hardMix);
    case VellBlend::Difference:
        return perChannel(cb, cs, [](float a, float b) { return std::fabs(a - b); });
    case VellBlend::Exclusion:
        return perChannel(cb, cs, [](float a, float b) { return a + b - 2.0f * a * b; });
    case VellBlend::Hue:
        return setLum(setSat(cs, sat(cb)), lum(cb));
    case VellBlend::Saturation:
        return setLum(setSat(cb, sat(cs)), lum(cb));
    case VellBlend::Color:
        return setLum(cs, lum(cb));
    case VellBlend::Luminosity:
        return setLum(cb, lum(cs));
    default:   // Normal, Dissolve and unknown codes
        return cs;
    }
}

inline int positiveMod(int v, int m)
{
    const int r = v % m;
    return r < 0 ? r + m : r;
}

inline int feistelF(int r, int k1, int k2, int k3)
{
    return (r * r * k1 + r * k2 + k3) % 251 % kNoiseSize;
}

int dissolveNoise(int docX, int docY)
{
    static const int keys[4][3] = { { 37, 11, 5 }, { 53, 29, 17 }, { 19, 43, 31 }, { 47, 7, 23 } };
    int l = positiveMod(docX, kNoiseSize);
    int r = positiveMod(docY, kNoiseSize);
    for (const int *k : keys) {
        const int next = (l + feistelF(r, k[0], k[1], k[2])) % kNoiseSize;
        l = r;
        r = next;
    }
    return l * kNoiseSize + r;
}

inline float clamp01(float v)
{
    return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;   // NaN gives 0
}

inline uchar toByte(float v) { return uchar(level(clamp01(v))); }

// `opacity` and `mask` are already clamped to 0..1.
void blend(const uchar *src, const uchar *dst, uchar *out, int mode, float opacity, float mask,
           int docX, int docY)
{
    const Rgb cs = { src[2] / 255.0f, src[1] / 255.0f, src[0] / 255.0f };
    const Rgb cb = { dst[2] / 255.0f, dst[1] / 255.0f, dst[0] / 255.0f };
    const float ab = dst[3] / 255.0f;
    float as = src[3] / 255.0f * opacity * mask;
    if (mode == VellBlend::Dissolve) {
        const float q = level(as);
        const float n = float(dissolveNoise(docX, docY));
        as = 2.0f * q * float(kNoiseCount) > (2.0f * n + 1.0f) * 255.0f ? 1.0f : 0.0f;
    }
    const Rgb bt = blendTerm(mode, cb, cs);
    const float ao = as + ab * (1.0f - as);
    if (!(ao > 0.0f)) {
        out[0] = out[1] = out[2] = out[3] = 0;
        return;
    }
    const float wb = ab * (1.0f - as);
    auto channel = [&](float s, float b, float t) {
        const float sp = (1.0f - ab) * s + ab * clamp01(t);
        return toByte((as * sp + wb * b) / ao);
    };
    // Everything is read: `out` may alias `dst`.
    out[0] = channel(cs.b, cb.b, bt.b);
    out[1] = channel(cs.g, cb.g, bt.g);
    out[2] = channel(cs.r, cb.r, bt.r);
    out[3] = toByte(ao);
}

// Mask bytes of a one-byte-per-pixel image; anything else is converted.
QImage maskBytes(const QImage *mask)
{
    if (!mask || mask->isNull())
        return QImage();
    const QImage::Format f = mask->format();
    if (f == QImage::Format_Grayscale8 || f == QImage::Format_Alpha8 || f == QImage::Format_Indexed8)
        return *mask;
    return mask->convertToFormat(QImage::Format_Grayscale8);
}

// The host's pixels as ARGB32: 8-bit hosts are shared (read-only), 16-bit
// ones narrowed with rounding, as the driver does for 16-bit textures.
QImage hostImage(const VellPictureHost *host)
{
    const int w = int(host->getWidth());
    const int h = int(host->getHeight());
    if (host->getPixelWidth() == 4)
        return QImage(host->getData(), w, h, w * 4, QImage::Format_ARGB32);
    QImage image(w, h, QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    const quint16 *words = reinterpret_cast<const quint16 *>(host->getData());
    uchar *bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < h; ++y) {
        const quint16 *in = words + size_t(y) * size_t(w) * 4;
        uchar *px = bits + size_t(y) * size_t(stride);
        for (int i = 0; i < w * 4; ++i)
            px[i] = uchar((uint(in[i]) * 255u + 32767u) / 65535u);
    }
    return image;
}

} // namespace

void VellBlendReference::blendPixel(const uchar *src, const uchar *dst, uchar *out, int mode,
                                    float opacity, float mask, int docX, int docY)
{
    if (!src || !dst || !out)
        return;
    blend(src, dst, out, mode, clamp01(opacity), clamp01(mask), docX, docY);
}

float VellBlendReference::dissolveThreshold(int docX, int docY)
{
    return (float(dissolveNoise(docX, docY)) + 0.5f) / float(kNoiseCount);
}

void VellBlendReference::compositeLayer(QImage *backdrop, const QImage &source,
                                        const QPoint &offset, int mode, float opacity,
                                        const QImage *mask)
{
    if (!backdrop || backdrop->isNull() || source.isNull()
        || backdrop->format() != QImage::Format_ARGB32)
        return;
    const QImage src = source.format() == QImage::Format_ARGB32
                           ? source
                           : source.convertToFormat(QImage::Format_ARGB32);
    const QImage maskImage = maskBytes(mask);
    // 64-bit, so offsets near the int range cannot overflow the clip.
    const qint64 left = std::max<qint64>(0, offset.x());
    const qint64 top = std::max<qint64>(0, offset.y());
    const qint64 right = std::min<qint64>(backdrop->width(), qint64(offset.x()) + src.width());
    const qint64 bottom = std::min<qint64>(backdrop->height(), qint64(offset.y()) + src.height());
    if (left >= right || top >= bottom || src.isNull())
        return;

    const float o = clamp01(opacity);
    uchar *dstBits = backdrop->bits();   // before the loop: bits() may detach
    const qsizetype dstStride = backdrop->bytesPerLine();
    const uchar *srcBits = src.constBits();
    const qsizetype srcStride = src.bytesPerLine();
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
        const uchar *m = maskBits && sy < maskH ? maskBits + size_t(sy) * size_t(maskStride)
                                                : nullptr;
        for (int x = x0; x < x1; ++x, d += 4, s += 4) {
            const int sx = x - ox;
            const float mv = m && sx < maskW ? m[sx] / 255.0f : 1.0f;
            blend(s, d, d, mode, o, mv, x, y);
        }
    }
}

QImage *VellBlendReference::renderToImage(VellContext *document, int width, int height,
                                          Compositor compositor)
{
    if (!compositor || !document || !document->getLayerManager() || width <= 0 || height <= 0)
        return nullptr;
    auto *image = new QImage(width, height, QImage::Format_ARGB32);
    if (image->isNull()) {
        delete image;
        return nullptr;
    }
    image->fill(0u);

    for (const VellDrawnLayer &drawn : VellLayerWalk::drawnLayers(document, VellLayerWalk::Export)) {
        if (drawn.text) {
            // The rendering at scale 1 is the document rectangle's size.
            const QImage rendered = drawn.text->renderText(false, 1.0f);
            if (!rendered.isNull())
                compositor(image, rendered, drawn.text->getDocumentRect().topLeft(), drawn.mode,
                           drawn.opacity, nullptr);
            continue;
        }
        VellLayer *layer = drawn.raster;
        // Reading back needs the context that holds the texture.
        if (layer->getLatestPlace() == VellLayer::GpuNewer && QOpenGLContext::currentContext())
            layer->fboTextureToHost(true);
        const QPointF position = layer->getPosition();
        const double limit = 1 << 30;   // far outside any image, and safe to round to int
        if (!(std::fabs(position.x()) < limit && std::fabs(position.y()) < limit))
            continue;
        const QImage pixels = hostImage(layer->getPictureHost());
        if (pixels.isNull())
            continue;
        QImage mask;
        const VellChannel *channel = drawn.masked ? layer->getLayerMask() : nullptr;
        if (channel && channel->getData())
            mask = QImage(channel->getData(), channel->getWidth(), channel->getHeight(),
                          channel->getPaddedWidth(), QImage::Format_Grayscale8);
        compositor(image, pixels, QPoint(qRound(position.x()), qRound(position.y())),
                   drawn.mode, drawn.opacity, mask.isNull() ? nullptr : &mask);
    }
    return image;
}
