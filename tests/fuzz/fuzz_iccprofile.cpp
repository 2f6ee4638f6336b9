// The ICC profile a picture file embeds, on arbitrary bytes: what Little
// CMS makes of it, and a conversion of a small picture with it. A refused
// profile leaves the picture as it was; an accepted one gives a picture of
// the same size and depth.

#include "vellfuzz.h"

#include "color/vellcolorprofileconverter.h"
#include "picture/vellpicturehost.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const QByteArray profile = VellFuzz::bytesOf(data, size);
    const VellColorProfileConverter::EmbeddedProfile seen = VellColorProfileConverter::inspectProfile(profile);
    if ((seen.rgb || seen.srgb) && !seen.readable)
        std::abort();

    for (unsigned pixelWidth : {4u, 8u}) {
        auto *host = new VellPictureHost(5, 3, pixelWidth);
        if (!host->getData())
            std::abort();
        for (unsigned i = 0; i < 5 * 3 * pixelWidth; ++i)
            host->getData()[i] = static_cast<unsigned char>(i * 37);
        VellPictureHost *before = host;
        const bool converted = VellColorProfileConverter::convertProfileToSRGB(&host, profile);
        if (!converted && host != before)
            std::abort();
        if (converted && (!seen.rgb || !host || host->getWidth() != 5 || host->getHeight() != 3
                          || host->getPixelWidth() != pixelWidth))
            std::abort();
        delete host;
    }
    return 0;
}
