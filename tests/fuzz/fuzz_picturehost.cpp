// A picture host's stream form: three sizes, then raw pixels.

#include "vellfuzz.h"

#include "picture/vellpicturehost.h"

#include <QDataStream>

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    QDataStream in(VellFuzz::bytesOf(data, size));
    in.setVersion(QDataStream::Qt_4_8);
    VellPictureHost *host = nullptr;
    in >> &host;
    std::unique_ptr<VellPictureHost> owned(host);
    if (host) {
        if (in.status() != QDataStream::Ok)
            std::abort();   // a host is only handed out for a good stream
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
