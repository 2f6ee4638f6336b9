// A channel's stream form: two sizes, then padded rows of bytes.

#include "vellfuzz.h"

#include "picture/vellchannel.h"

#include <QDataStream>

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    QDataStream in(VellFuzz::bytesOf(data, size));
    in.setVersion(QDataStream::Qt_4_8);
    VellChannel *channel = nullptr;
    in >> &channel;
    std::unique_ptr<VellChannel> owned(channel);
    if (channel) {
        if (in.status() != QDataStream::Ok)
            std::abort();
        channel->invert();   // touches every byte the channel claims
    }
    return 0;
}
