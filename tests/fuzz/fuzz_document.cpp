// A whole document's stream form, in both layer versions (the first byte
// picks one): the layer stack, the selection and the channel masks. Reading
// must not register the document with the context manager.

#include "vellfuzz.h"

#include "document/vellcontext.h"

#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    VellFuzz::readStreamed<VellContext>(VellFuzz::takeStreamVersion(data, size));
    return 0;
}
