// The colour profile converter's guess of a file's colour space from the
// names in its metadata, on arbitrary file bytes.

#include "vellfuzz.h"

#include "color/vellcolorprofileconverter.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const QString path = VellFuzz::writeFile(VellFuzz::bytesOf(data, size), QStringLiteral("bin"));
    if (path.isEmpty())
        std::abort();
    const QString name = VellColorProfileConverter::extractCameraProfile(path);
    // Always a canonical name: SRGB or one with a profile file.
    if (name != QLatin1String("SRGB") && VellColorProfileConverter::profileFile(name).isEmpty())
        std::abort();
    return 0;
}
