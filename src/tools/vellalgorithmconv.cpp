#include "tools/vellalgorithmconv.h"

#include <cmath>

namespace {

const double kSqrtTwoPi = 2.5066282532517663;
const int kIntegralSteps = 20;

// 2 ceil(r - 0.5) + 1: one tap for r <= 0.5. Radii that are not finite or
// would overflow give one tap, so a caller never allocates what a bad radius
// claims.
int tapsFor(float radius)
{
    const double half = std::ceil(double(radius) - 0.5);
    if (!(half > 0.0) || half > 1.0e6)
        return 1;
    return 2 * int(half) + 1;
}

} // namespace

float gaussianIntergral(double a, double b, double sigma)
{
    const double width = (b - a) / kIntegralSteps;
    double sum = 0.0;
    for (int i = 0; i < kIntegralSteps; ++i) {
        const double x = a + (i + 0.5) * width;
        sum += std::exp(-x * x / (2.0 * sigma * sigma));
    }
    return float(sum * width / (sigma * kSqrtTwoPi));
}

void calcGaussianKernel(float *kernel, int size, float radius)
{
    if (!kernel || size <= 0)
        return;
    const double sigma = radius / 3.0;
    float total = 0.0f;
    for (int j = 0; j < size; ++j) {
        const int t = j - size / 2;
        kernel[j] = gaussianIntergral(t - 0.5, t + 0.5, sigma);
        total += kernel[j];
    }
    if (!(total > 0.0f)) {   // a radius of 0 or less: no spread, the centre tap alone
        for (int j = 0; j < size; ++j)
            kernel[j] = j == size / 2 ? 1.0f : 0.0f;
        return;
    }
    for (int j = 0; j < size; ++j)
        kernel[j] /= total;
}

float *VellAlgorithmConv::getGaussian1D(float radius, int &size)
{
    size = tapsFor(radius);
    float *kernel = new float[size];
    calcGaussianKernel(kernel, size, radius);
    return kernel;
}

float *VellAlgorithmConv::getGaussian2D(float radius, int &size)
{
    float *line = getGaussian1D(radius, size);
    float *square = new float[size_t(size) * size_t(size)];
    for (int r = 0; r < size; ++r)
        for (int c = 0; c < size; ++c)
            square[size_t(r) * size_t(size) + size_t(c)] = line[c] * line[r];
    delete[] line;
    return square;
}
