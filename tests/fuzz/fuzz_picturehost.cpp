// A picture host's stream form: three sizes, then raw pixels.

#include "vellfuzz.h"

#include "picture/vellpicturehost.h"

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellPictureHost> host =
        VellFuzz::readStreamed<VellPictureHost>(VellFuzz::bytesOf(data, size));
    if (host) {
        if ((host->getWidth() == 0) != (host->getHeight() == 0))
            std::abort();   // rows of nothing, or columns of nothing: not a picture
        // What a caller does next: walk every row of the picture.
        const size_t row = size_t(host->getWidth()) * host->getPixelWidth();
        unsigned sum = 0;
        for (unsigned y = 0; y < host->getHeight(); ++y)
            sum += host->getData()[size_t(y) * row + (row ? row - 1 : 0)];
        (void)sum;
    }
    return 0;
}
