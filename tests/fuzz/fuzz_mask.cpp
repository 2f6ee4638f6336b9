// A layer mask's stream form (the channel's, read as a mask).

#include "vellfuzz.h"

#include "document/velllayermask.h"

#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellLayerMask> mask =
        VellFuzz::readStreamed<VellLayerMask>(VellFuzz::bytesOf(data, size));
    if (mask)
        mask->invert();
    return 0;
}
