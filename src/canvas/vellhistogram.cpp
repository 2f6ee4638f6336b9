#include "canvas/vellhistogram.h"

#include <QtGlobal>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

namespace {

constexpr int kBins = 256;
constexpr int kHistograms = 5;
constexpr int kAllBins = kBins * kHistograms;
enum { Gray = 0, Red = 1, Green = 2, Blue = 3, Luminosity = 4 };

// The first bin whose running total, as a fraction of `total`, exceeds
// `fraction`; 255 when none does (also for an empty histogram).
int clipBins(const int *bins, int total, float fraction)
{
    if (total <= 0)
        return kBins - 1;
    qint64 sum = 0;
    for (int i = 0; i < kBins; ++i) {
        sum += bins[i];
        if (double(sum) / double(total) > double(fraction))
            return i;
    }
    return kBins - 1;
}

} // namespace

VellHistogram::VellHistogram() : bins(new int[kAllBins]())
{
}

VellHistogram::~VellHistogram()
{
    delete[] bins;
}

void VellHistogram::clear()
{
    std::memset(bins, 0, sizeof(int) * kAllBins);
    maxValue = 0;
    std::fill(std::begin(channelMax), std::end(channelMax), 0);
    countedPixels = 0;
    ar = 0.0;
    ab = 0.0;
}

// Counts into the bins already there, so several images can be added up;
// clear() starts afresh. The luminosity bin is the integer part of
// (299 R + 587 G + 114 B) / 1000, worked out in integers: in floating point a
// grey of 128 can come out as 127.99999 and land one bin low.
//
// The colour-cast estimate takes the pixels whose luminance exceeds the sum of
// their chroma magnitudes by more than phi (near-grey ones), averages their
// Y, Cb and Cr, and solves for the gains on red (Ar) and blue (Ab) that turn
// that average grey. A neutral picture gives gains of about 1. Gains that
// cannot be solved for (no near-grey pixel, a singular system) are 0.
void VellHistogram::updateData(const Pixel8bit *pixels, int width, int height)
{
    if (!pixels || width <= 0 || height <= 0 || qint64(width) * height > INT_MAX) {
        ar = 0.0;
        ab = 0.0;
        countedPixels = 0;
        countMaxValue();
        return;
    }

    int *const all = bins;   // a reduction needs a plain variable, not a member
    const double threshold = phi;
    double sumCr = 0.0, sumCb = 0.0, sumY = 0.0;
    qint64 grey = 0;
    // Each thread counts into its own zeroed copy of the bins; OpenMP adds
    // the copies into `all` after the loop, so the loop itself takes no lock.
#pragma omp parallel for schedule(static) reduction(+ : all[:kAllBins], sumCr, sumCb, sumY, grey)
    for (int y = 0; y < height; ++y) {
        const Pixel8bit *px = pixels + size_t(y) * size_t(width);
        for (int x = 0; x < width; ++x, ++px) {
            const int r = px->r, g = px->g, b = px->b;
            ++all[Red * kBins + r];
            ++all[Green * kBins + g];
            ++all[Blue * kBins + b];
            ++all[Gray * kBins + (b + g + r) / 3];
            ++all[Luminosity * kBins + (299 * r + 587 * g + 114 * b) / 1000];

            const double lum = 0.299 * r + 0.587 * g + 0.114 * b;
            const double cb = -0.1687 * r - 0.3313 * g + 0.5 * b;
            const double cr = 0.5 * r - 0.4187 * g - 0.0813 * b;
            if (lum - std::fabs(cb) - std::fabs(cr) > threshold) {
                sumCr += cr;
                sumCb += cb;
                sumY += lum;
                ++grey;
            }
        }
    }

    ar = 0.0;
    ab = 0.0;
    if (grey > 0) {
        const double cr = sumCr / double(grey);
        const double cb = sumCb / double(grey);
        const double lum = sumY / double(grey);
        const double p = 0.701 * cr + 0.5 * lum;
        const double q = 0.866 * cb + 0.5 * lum;
        const double u = -0.0813 * lum - 0.1441 * cb;
        const double v = -0.1687 * lum - 0.2365 * cr;
        const double xx = -0.299 * cr + 0.4187 * lum - 0.1441 * cb;
        const double z = 0.3313 * lum - 0.114 * cb - 0.2366 * cr;
        const double abDenominator = q * p - v * u;
        const double arDenominator = v * u - q * p;
        if (abDenominator != 0.0 && arDenominator != 0.0) {
            const double newAb = (p * z - v * xx) / abDenominator;
            const double newAr = (z * u - xx * q) / arDenominator;
            if (std::isfinite(newAb) && std::isfinite(newAr)) {
                ab = newAb;
                ar = newAr;
            }
        }
    }
    countedPixels = width * height;
    countMaxValue();
}

// The drawing scale is the tallest red, green or blue bin while that bin holds
// no more than 1/256 of the pixels. A taller spike would squash every other
// bin into the baseline, so then the scale is taken from the first n
// luminosity bins (n being how many luminosity bins are non-empty): the value
// below which the tallest 2.5 % of them lie, at least the tallest one. Where
// those bins are all empty (a picture whose luminosity sits high, such as a
// flat grey) that would be 0, which no drawing can divide by, and the tallest
// colour bin is kept.
void VellHistogram::countMaxValue()
{
    for (int h = 0; h < kHistograms; ++h)
        channelMax[h] = *std::max_element(bins + h * kBins, bins + (h + 1) * kBins);
    const int m = std::max({channelMax[Red], channelMax[Green], channelMax[Blue]});
    if (countedPixels / 256 >= m) {
        maxValue = m;
        return;
    }
    const int *lum = bins + Luminosity * kBins;
    const int n = int(std::count_if(lum, lum + kBins, [](int v) { return v > 0; }));
    if (n == 0) {
        maxValue = m;
        return;
    }
    std::vector<int> copied(lum, lum + n);
    const int k = std::max(1, int(n * 0.025));
    std::nth_element(copied.begin(), copied.begin() + (k - 1), copied.end(), std::greater<int>());
    maxValue = copied[size_t(k - 1)] > 0 ? copied[size_t(k - 1)] : m;
}

int VellHistogram::clipGray(float fraction) const
{
    return clipBins(bins + Gray * kBins, countedPixels, fraction);
}

int VellHistogram::clipRed(float fraction) const
{
    return clipBins(bins + Red * kBins, countedPixels, fraction);
}

int VellHistogram::clipGreen(float fraction) const
{
    return clipBins(bins + Green * kBins, countedPixels, fraction);
}

int VellHistogram::clipBlue(float fraction) const
{
    return clipBins(bins + Blue * kBins, countedPixels, fraction);
}
