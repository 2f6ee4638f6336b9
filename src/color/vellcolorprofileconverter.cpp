#include "color/vellcolorprofileconverter.h"

#include "foundation/velllog.h"
#include "picture/vellpicturehost.h"

#include <QFile>

#include <lcms2.h>

namespace {

struct SearchRow
{
    const char *text;
    const char *name;
};

// Searched in this order, so ProPhoto wins over anything else a file names.
const SearchRow kSearchTable[] = {
    {"ProPhoto", "ProPhoto"},
    {"Adobe Standard", "Adobe RGB"},
    {"Adobe RGB", "Adobe RGB"},
    {"ARGB", "Adobe RGB"},
    {"Apple RGB", "Apple RGB"},
    {"Apple Standard", "Apple RGB"},
    {"AppleRGB", "Apple RGB"},
    {"WideGamut", "WideGamut"},
    {"Wide Gamut", "WideGamut"},
    {"CIE RGB", "CIERGB"},
    {"CIERGB", "CIERGB"},
    {"Melissa RGB", "MelissaRGB"},
    {"MelissaRGB", "MelissaRGB"},
};

const SearchRow kProfileFiles[] = {
    {"ProPhoto", "./data/iccprofiles/ProPhoto.icc"},
    {"Adobe RGB", "./data/iccprofiles/Adobe98.icc"},
    {"Apple RGB", "./data/iccprofiles/AppleRGB.icc"},
    {"WideGamut", "./data/iccprofiles/WideGamut.icc"},
    {"CIERGB", "./data/iccprofiles/CIERGB.icc"},
    {"MelissaRGB", "./data/iccprofiles/MelissaRGB.icc"},
};

const char kSRGB[] = "SRGB";
constexpr int kProfileWindow = 40;        // characters before a name searched for "profile"
constexpr qint64 kHeadBytes = 51200;      // camera metadata blocks sit near the start...
constexpr qint64 kTailBytes = 20480;      // ...or near the end of the file

// Little CMS calls this from whichever thread hit the error.
void logLcmsError(cmsContext, cmsUInt32Number code, const char *text)
{
    VellLog::Instance()->Log("Little CMS error %u: %s\n", unsigned(code), text ? text : "");
}

// Until this runs, Little CMS drops its errors.
void installErrorHandler()
{
    static const bool installed = (cmsSetLogErrorHandler(logLcmsError), true);
    Q_UNUSED(installed)
}

QString searchBytes(QByteArray bytes)
{
    bytes.replace('\0', ' ');
    return VellColorProfileConverter::parseProfile(QString::fromLatin1(bytes));
}

// Converts *host from `input` (an RGB profile; the caller closes it) to
// sRGB, perceptual intent, into a new host that replaces *host. False, with
// *host untouched, when no transform can be made or memory runs out.
bool transformToSRGB(VellPictureHost **host, cmsHPROFILE input)
{
    // An 8-byte pixel is four 16-bit words; read as 8-bit it would convert
    // the low and high bytes of each word as separate channels.
    const bool deep = (*host)->getPixelWidth() == 8;
    const cmsUInt32Number format = deep ? TYPE_BGRA_16 : TYPE_BGRA_8;

    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    if (!srgb)
        return false;
    cmsHTRANSFORM transform = cmsCreateTransform(input, format, srgb, format, INTENT_PERCEPTUAL, 0);
    cmsCloseProfile(srgb);
    if (!transform)
        return false;

    VellPictureHost *old = *host;
    VellPictureHost *converted = new VellPictureHost(old);   // alpha comes from here
    if (converted->isNull()) {   // the memory budget refused the copy
        delete converted;
        cmsDeleteTransform(transform);
        return false;
    }
    // Without cmsFLAGS_COPY_ALPHA the transform never writes the alpha
    // channel. One transform may run on several threads at once: each call
    // keeps its own copy of the transform's cache.
    const unsigned char *src = old->getData();
    unsigned char *dst = converted->getData();
    const int height = int(old->getHeight());
    const size_t stride = size_t(old->getWidth()) * old->getPixelWidth();
    const cmsUInt32Number width = old->getWidth();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y)
        cmsDoTransform(transform, src + size_t(y) * stride, dst + size_t(y) * stride, width);
    cmsDeleteTransform(transform);

    delete old;
    *host = converted;
    return true;
}

} // namespace

QString VellColorProfileConverter::parseProfile(const QString &text)
{
    for (const SearchRow &row : kSearchTable) {
        const int at = text.indexOf(QLatin1String(row.text), 0, Qt::CaseInsensitive);
        if (at < 1)
            continue;   // absent, or at the very start with nothing before it
        const int from = qMax(0, at - kProfileWindow);
        if (text.midRef(from, at - from).contains(QLatin1String("profile"), Qt::CaseInsensitive))
            return QString::fromLatin1(row.name);
    }
    return QString();
}

QString VellColorProfileConverter::extractCameraProfile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QString name = searchBytes(file.read(kHeadBytes));
    if (name.isEmpty() && file.seek(qMax<qint64>(0, file.size() - kTailBytes)))
        name = searchBytes(file.read(kTailBytes));
    return name.isEmpty() ? QString::fromLatin1(kSRGB) : name;
}

QString VellColorProfileConverter::profileFile(const QString &name)
{
    for (const SearchRow &row : kProfileFiles)
        if (name == QLatin1String(row.text))
            return QString::fromLatin1(row.name);
    return QString();
}

bool VellColorProfileConverter::convertToSRGB(VellPictureHost **host, const QString &name)
{
    if (name.isEmpty() || name == QLatin1String(kSRGB))
        return true;
    if (!host || !*host || (*host)->isNull())
        return false;
    const QString file = profileFile(name);
    if (file.isEmpty()) {
        VellLog::Instance()->Log("Colour profile: no profile for '%s'\n", qPrintable(name));
        return false;
    }
    installErrorHandler();
    cmsHPROFILE input = cmsOpenProfileFromFile(QFile::encodeName(file).constData(), "r");
    if (!input)   // Little CMS has logged why
        return false;
    transformToSRGB(host, input);
    cmsCloseProfile(input);
    return false;   // a conversion is seen in the changed pointer
}

VellColorProfileConverter::EmbeddedProfile VellColorProfileConverter::inspectProfile(const QByteArray &iccProfile)
{
    EmbeddedProfile result;
    if (iccProfile.isEmpty())
        return result;
    installErrorHandler();
    cmsHPROFILE profile = cmsOpenProfileFromMem(iccProfile.constData(), cmsUInt32Number(iccProfile.size()));
    if (!profile)
        return result;
    result.readable = true;
    result.rgb = cmsGetColorSpace(profile) == cmsSigRgbData;
    // Little CMS writes at most the buffer's size, terminator included.
    char text[256] = {};
    if (cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", text, sizeof text) > 0)
        result.description = QString::fromLatin1(text).trimmed();
    if (result.rgb) {
        cmsHPROFILE srgb = cmsCreate_sRGBProfile();
        cmsHTRANSFORM transform = srgb ? cmsCreateTransform(profile, TYPE_RGB_8, srgb, TYPE_RGB_8, INTENT_PERCEPTUAL, 0)
                                       : nullptr;
        if (srgb)
            cmsCloseProfile(srgb);
        if (transform) {
            // A grid of 9 levels per channel (0, 32, ..., 224, 255) through
            // the transform: a profile that moves none of them by more than
            // rounding is sRGB in all but name.
            constexpr int kLevels = 9;
            unsigned char in[kLevels * kLevels * kLevels * 3];
            unsigned char out[sizeof in];
            int n = 0;
            for (int r = 0; r < kLevels; ++r)
                for (int g = 0; g < kLevels; ++g)
                    for (int b = 0; b < kLevels; ++b) {
                        for (int level : {r, g, b})
                            in[n++] = (unsigned char)(qMin(255, level * 32));
                    }
            cmsDoTransform(transform, in, out, cmsUInt32Number(kLevels * kLevels * kLevels));
            cmsDeleteTransform(transform);
            result.srgb = true;
            for (size_t i = 0; i < sizeof in && result.srgb; ++i)
                result.srgb = qAbs(int(in[i]) - int(out[i])) <= 1;
        }
    }
    cmsCloseProfile(profile);
    return result;
}

bool VellColorProfileConverter::convertProfileToSRGB(VellPictureHost **host, const QByteArray &iccProfile)
{
    if (!host || !*host || (*host)->isNull() || iccProfile.isEmpty())
        return false;
    installErrorHandler();
    cmsHPROFILE input = cmsOpenProfileFromMem(iccProfile.constData(), cmsUInt32Number(iccProfile.size()));
    if (!input)
        return false;
    const bool converted = cmsGetColorSpace(input) == cmsSigRgbData && transformToSRGB(host, input);
    cmsCloseProfile(input);
    return converted;
}
