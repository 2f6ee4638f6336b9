// A whole document's stream form, in both layer versions (the first byte
// picks one): the layer stack, the selection and the channel masks. Reading
// must not register the document with the context manager.

#include "vellfuzz.h"

#include "document/vellcontext.h"

#include <QDataStream>

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    QDataStream in(VellFuzz::takeStreamVersion(data, size));
    in.setVersion(QDataStream::Qt_4_8);
    VellContext *context = nullptr;
    in >> &context;
    std::unique_ptr<VellContext> owned(context);
    if (context && in.status() != QDataStream::Ok)
        std::abort();
    return 0;
}
