// A layer stack's stream form, in both layer versions (the first byte picks
// one): the next permanent index, the entries, each tagged.

#include "vellfuzz.h"

#include "document/velllayermanager.h"

#include <QDataStream>

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    QDataStream in(VellFuzz::takeStreamVersion(data, size));
    in.setVersion(QDataStream::Qt_4_8);
    VellLayerManager *manager = nullptr;
    in >> &manager;
    std::unique_ptr<VellLayerManager> owned(manager);
    if (manager) {
        if (in.status() != QDataStream::Ok)
            std::abort();
        // Every layer kept its index or was given one below the next.
        for (VellLayerBase *layer : manager->getLayers())
            if (layer->getPermanentIndex() < 0)
                std::abort();
    }
    return 0;
}
