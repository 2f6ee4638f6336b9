// A raster layer's stream form, in both versions (the first byte picks one):
// its attributes, its picture host and its mask.

#include "vellfuzz.h"

#include "document/velllayer.h"
#include "document/velllayermask.h"
#include "picture/vellpicturehost.h"

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellLayer> layer =
        VellFuzz::readStreamed<VellLayer>(VellFuzz::takeStreamVersion(data, size));
    if (layer) {
        const VellLayerMask *mask = layer->getLayerMask();
        const VellPictureHost *host = layer->getPictureHost();
        if (!host || (mask && (mask->getWidth() < 0 || mask->getHeight() < 0)))
            std::abort();   // a layer read always has its host
    }
    return 0;
}
