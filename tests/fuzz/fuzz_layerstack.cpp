// A layer stack's stream form, in both layer versions (the first byte picks
// one): the next permanent index, the entries, each tagged.

#include "vellfuzz.h"

#include "document/velllayermanager.h"

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellLayerManager> manager =
        VellFuzz::readStreamed<VellLayerManager>(VellFuzz::takeStreamVersion(data, size));
    if (manager) {
        // Every layer kept its index or was given one below the next.
        for (VellLayerBase *layer : manager->getLayers())
            if (layer->getPermanentIndex() < 0)
                std::abort();
    }
    return 0;
}
