// A layer mask's stream form (the channel's, read as a mask).

#include "vellfuzz.h"

#include "document/velllayermask.h"

#include <QDataStream>

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    QDataStream in(VellFuzz::bytesOf(data, size));
    in.setVersion(QDataStream::Qt_4_8);
    VellLayerMask *mask = nullptr;
    in >> &mask;
    std::unique_ptr<VellLayerMask> owned(mask);
    if (mask) {
        if (in.status() != QDataStream::Ok)
            std::abort();
        mask->invert();
    }
    return 0;
}
