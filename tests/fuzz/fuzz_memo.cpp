// The history's byte readers: the first byte picks one, the rest is its
// input.
//   0: a canvas memo's bytes, recorded at 4 x 3, loaded into a two-layer
//      document (4 x 3 and 2 x 2 pixels); an accepted load leaves every
//      layer a whole picture;
//   1: a picture memo's swap file;
//   2: a canvas memo's swap file; an accepted one writes back the same bytes.

#include "vellfuzz.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "history/vellmemocanvasandlayerschange.h"
#include "history/vellmemoloaderthread.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include <QBuffer>

#include <cstdlib>
#include <memory>

namespace {

VellLayer *layer(unsigned width, unsigned height, int permanentIndex)
{
    auto *l = new VellLayer(QStringLiteral("fuzz"));
    auto *host = new VellPictureHost(width, height, 4);
    host->initHostData(Qt::white);
    l->setVellPictureHost(host);
    l->setPermanentIndex(permanentIndex);
    return l;
}

// The document's stream form, written from its parts: reading it is the one
// way to build a document with layers without making it current.
QByteArray documentBytes()
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    const std::unique_ptr<VellLayer> a(layer(4, 3, 0)), b(layer(2, 2, 1));
    out << qint32(2) << qint32(2) << QStringLiteral("VellLayer") << a.get()
        << QStringLiteral("VellLayer") << b.get();
    const VellSelection selection(nullptr, 4, 3);
    out << &selection << qint32(7) << qint32(7) << false;
    return bytes;
}

void loadCanvas(const QByteArray &bytes)
{
    static const QByteArray document = documentBytes();
    const std::unique_ptr<VellContext> context = VellFuzz::readStreamed<VellContext>(document);
    if (!context)
        std::abort();
    if (!VellMemoCanvasAndLayersChange::load(context.get(), &bytes, QSize(4, 3)))
        return;
    for (VellLayerBase *l : context->getLayerManager()->getLayers()) {
        const VellPictureHost *host = l->getPictureHost();
        if (!host || (host->getWidth() == 0) != (host->getHeight() == 0))
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    if (size < 1)
        return 0;
    QByteArray bytes = VellFuzz::bytesOf(data + 1, size - 1);
    switch (data[0] % 3) {
    case 0:
        loadCanvas(bytes);
        break;
    case 1: {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        const std::unique_ptr<VellPictureHost> host(VellMemoLoaderThread::readPicture(&buffer));
        if (host && (host->getWidth() == 0) != (host->getHeight() == 0))
            std::abort();
        break;
    }
    default: {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        QByteArray read("unchanged");
        if (!VellMemoLoaderThread::readByteArray(&buffer, &read)) {
            if (read != "unchanged")
                std::abort();   // a refusal leaves the array alone
            break;
        }
        QBuffer again;
        again.open(QIODevice::WriteOnly);
        VellMemoLoaderThread::writeByteArray(&again, read);
        if (again.data() != bytes)
            std::abort();
        break;
    }
    }
    return 0;
}
