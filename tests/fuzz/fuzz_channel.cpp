// A channel's stream form: two sizes, then padded rows of bytes.

#include "vellfuzz.h"

#include "picture/vellchannel.h"

#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellChannel> channel =
        VellFuzz::readStreamed<VellChannel>(VellFuzz::bytesOf(data, size));
    if (channel)
        channel->invert();   // touches every byte the channel claims
    return 0;
}
