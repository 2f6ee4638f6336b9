// vell-iccprofiles OUTDIR
//
// Writes the ICC profiles of the wide-gamut RGB colour spaces that the colour
// profile converter brings into sRGB: ProPhoto.icc, Adobe98.icc,
// AppleRGB.icc, WideGamut.icc, CIERGB.icc and MelissaRGB.icc. Each is a
// matrix/shaper profile built by Little CMS from the colour space's published
// white point, primaries (CIE 1931 xy) and tone curve, so the project ships
// profiles of its own instead of downloading anyone's.
//
// Exit status: 0 on success, 1 when a profile cannot be made or written, 2 on
// a usage error.

#include <lcms2.h>

#include <cstdio>
#include <string>

namespace {

struct Chromaticity
{
    double x, y;
};

// A tone curve is a pure power law, or the sRGB curve (a linear toe, then a
// 2.4 power on an offset) when gamma is 0.
struct ColourSpace
{
    const char *file;
    const char *description;
    Chromaticity white, red, green, blue;
    double gamma;
};

// D50 as the ICC connection space defines it (X 0.9642, Y 1, Z 0.8249), which
// rounds to the published 0.3457, 0.3585; being exact spares the D50 spaces a
// near-identity chromatic adaptation.
constexpr Chromaticity kD50 = {0.9642 / 2.7891, 1.0 / 2.7891};
constexpr Chromaticity kD65 = {0.3127, 0.3290};
constexpr Chromaticity kIlluminantE = {1.0 / 3.0, 1.0 / 3.0};

// ROMM RGB primaries, shared by ProPhoto and Melissa RGB.
constexpr Chromaticity kRommRed = {0.7347, 0.2653};
constexpr Chromaticity kRommGreen = {0.1596, 0.8404};
constexpr Chromaticity kRommBlue = {0.0366, 0.0001};

// Adobe RGB's gamma is written 2 51/256 in its encoding document.
constexpr double kGamma563 = 563.0 / 256.0;

const ColourSpace kSpaces[] = {
    {"ProPhoto.icc", "ProPhoto RGB (ROMM RGB primaries, D50, gamma 1.8)",
     kD50, kRommRed, kRommGreen, kRommBlue, 1.8},
    {"Adobe98.icc", "Adobe RGB (1998) compatible (D65, gamma 563/256)",
     kD65, {0.6400, 0.3300}, {0.2100, 0.7100}, {0.1500, 0.0600}, kGamma563},
    {"AppleRGB.icc", "Apple RGB (D65, gamma 1.8)",
     kD65, {0.6250, 0.3400}, {0.2800, 0.5950}, {0.1550, 0.0700}, 1.8},
    {"WideGamut.icc", "Wide Gamut RGB (D50, gamma 563/256)",
     kD50, {0.7347, 0.2653}, {0.1152, 0.8264}, {0.1566, 0.0177}, kGamma563},
    {"CIERGB.icc", "CIE RGB (illuminant E, gamma 2.2)",
     kIlluminantE, {0.7350, 0.2650}, {0.2740, 0.7170}, {0.1670, 0.0090}, 2.2},
    {"MelissaRGB.icc", "Melissa RGB (ROMM RGB primaries, D50, sRGB tone curve)",
     kD50, kRommRed, kRommGreen, kRommBlue, 0.0},
};

cmsToneCurve *makeCurve(double gamma)
{
    if (gamma > 0.0)
        return cmsBuildGamma(nullptr, gamma);
    // Y = ((X + 0.055) / 1.055)^2.4 above 0.04045, X / 12.92 below.
    const cmsFloat64Number srgb[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
    return cmsBuildParametricToneCurve(nullptr, 4, srgb);
}

bool setText(cmsHPROFILE profile, cmsTagSignature tag, const char *text)
{
    cmsMLU *mlu = cmsMLUalloc(nullptr, 1);
    const bool ok = mlu && cmsMLUsetASCII(mlu, "en", "US", text) && cmsWriteTag(profile, tag, mlu);
    cmsMLUfree(mlu);
    return ok;
}

bool writeProfile(const ColourSpace &space, const std::string &path)
{
    const cmsCIExyY white = {space.white.x, space.white.y, 1.0};
    const cmsCIExyYTRIPLE primaries = {{space.red.x, space.red.y, 1.0},
                                       {space.green.x, space.green.y, 1.0},
                                       {space.blue.x, space.blue.y, 1.0}};
    cmsToneCurve *curve = makeCurve(space.gamma);
    if (!curve)
        return false;
    cmsToneCurve *curves[3] = {curve, curve, curve};
    // Adapts the primaries to the D50 connection space (Bradford) and keeps
    // the adaptation in the profile's chromatic adaptation tag.
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    if (!profile)
        return false;
    const bool ok = setText(profile, cmsSigProfileDescriptionTag, space.description)
        && setText(profile, cmsSigCopyrightTag, "No copyright, use freely")
        && cmsSaveProfileToFile(profile, path.c_str());
    cmsCloseProfile(profile);
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: vell-iccprofiles OUTDIR\n");
        return 2;
    }
    for (const ColourSpace &space : kSpaces) {
        const std::string path = std::string(argv[1]) + "/" + space.file;
        if (!writeProfile(space, path)) {
            std::fprintf(stderr, "vell-iccprofiles: cannot write '%s'\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
