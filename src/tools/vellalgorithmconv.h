#ifndef VELLALGORITHMCONV_H
#define VELLALGORITHMCONV_H

#include <QObject>

// Discrete Gaussian kernels for CPU code: the selection's feathering and the
// blur-based tools. A leaf service like the texture utilities: it depends on
// nothing of the library, so any floor may use it.
//
// A kernel of radius r has 2 ceil(r - 0.5) + 1 taps and sigma r / 3 (so the
// kernel spans three sigmas each side); each tap is the Gaussian's integral
// over its one-pixel interval, and the taps are normalised to sum 1.

// The integral of the normal density with mean 0 and standard deviation
// `sigma` over [a, b], by the midpoint rule with 20 equal steps.
float gaussianIntergral(double a, double b, double sigma);

// Fills `kernel` (`size` floats) with the taps for `radius`: tap j covers
// offset j - size / 2 (integer division), i.e. [t - 0.5, t + 0.5]. Does
// nothing for a size of 0 or less.
void calcGaussianKernel(float *kernel, int size, float radius);

// Has no state; a QObject only so scripts and tools can hold one.
class VellAlgorithmConv : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // A new array of `size` taps (set here) for `radius`; the caller owns
    // it and frees it with delete[].
    static float *getGaussian1D(float radius, int &size);
    // A new size x size array, row-major, element (r, c) = kernel[c] x
    // kernel[r] of the 1-D kernel for `radius`; the caller frees it with
    // delete[].
    static float *getGaussian2D(float radius, int &size);
};

#endif // VELLALGORITHMCONV_H
