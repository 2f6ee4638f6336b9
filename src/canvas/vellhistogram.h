#ifndef VELLHISTOGRAM_H
#define VELLHISTOGRAM_H

// One pixel of four bytes in memory order blue, green, red, alpha.
struct Pixel8bit
{
    unsigned char b, g, r, a;
};

// Five 256-bin histograms of a small composite of the document (grey, red,
// green, blue, luminosity) and an estimate of the colour cast of its
// near-grey pixels.
class VellHistogram
{
public:
    VellHistogram();
    ~VellHistogram();
    VellHistogram(const VellHistogram &) = delete;
    VellHistogram &operator=(const VellHistogram &) = delete;

    int *getGrayHistogram() { return bins; }
    int *getRedHistogram() { return bins + 256; }
    int *getGreenHistogram() { return bins + 512; }
    int *getBlueHistogram() { return bins + 768; }
    int *getLuminosityHistogram() { return bins + 1024; }

    // The one maximum used to scale the drawn histograms.
    int getGrayMaxValue() const { return maxValue; }
    int getRedMaxValue() const { return maxValue; }
    int getGreenMaxValue() const { return maxValue; }
    int getBlueMaxValue() const { return maxValue; }
    int getLuminosityMaxValue() const { return maxValue; }
    int getMaxValue() const { return maxValue; }

    // Every bin, the maxima, the counted pixels, Ar and Ab to 0 (phi stays).
    void clear();
    // Adds width x height pixels (rows tightly packed) to the bins and
    // replaces the colour-cast estimate, the counted pixels and the maxima.
    // Null pixels or an empty size count nothing.
    void updateData(const Pixel8bit *pixels, int width, int height);
    void countMaxValue();

    // The first bin at which the running count exceeds `fraction` of the
    // counted pixels; 255 when none does.
    int clipGray(float fraction) const;
    int clipRed(float fraction) const;
    int clipGreen(float fraction) const;
    int clipBlue(float fraction) const;

    void setCountedPixels(int count) { countedPixels = count; }
    int getCountedPixels() const { return countedPixels; }
    // Grey threshold of the colour-cast estimate, in 8-bit levels: a pixel
    // counts as near-grey when Y - |Cb| - |Cr| exceeds it. 0 by default (any
    // pixel whose luminance outweighs its chroma); the tools that read Ar and
    // Ab set their own before counting.
    void setPhi(double value) { phi = value; }
    double getPhi() const { return phi; }
    void setAr(double value) { ar = value; }
    double getAr() const { return ar; }
    void setAb(double value) { ab = value; }
    double getAb() const { return ab; }

private:
    int *bins;                  // 1280, owned
    int maxValue = 0;
    int channelMax[5] = {};
    int countedPixels = 0;
    double phi = 0.0;
    double ar = 0.0, ab = 0.0;
};

#endif // VELLHISTOGRAM_H
