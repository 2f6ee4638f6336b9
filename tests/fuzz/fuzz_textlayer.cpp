// A text layer's stream form, in both versions (the first byte picks one):
// its attributes, the document as HTML and its plain text, and from version
// 2 on direction, orientation and text scale.

#include "vellfuzz.h"

#include "document/velltextlayer.h"

#include <QTextDocument>

#include <cmath>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle;
    const std::unique_ptr<VellTextLayer> layer =
        VellFuzz::readStreamed<VellTextLayer>(VellFuzz::takeStreamVersion(data, size));
    if (layer) {
        // What the reader promises of a layer it hands out.
        const QSizeF scale = layer->getTextScale();
        if (layer->getType() != 1 || layer->getDirection() < 0 || layer->getDirection() >= 360
            || !(scale.width() > 0.0) || !(scale.height() > 0.0) || !std::isfinite(scale.width())
            || !std::isfinite(scale.height()) || layer->getAlpha() < 0.0f || layer->getAlpha() > 1.0f
            || layer->getPermanentIndex() < -1)
            std::abort();
        // Its layout and the CPU rendering stay within their limits.
        const VellTextLayer::Layout placed = layer->layout(1.0f);
        if (placed.imageSize.width() > 16384 || placed.imageSize.height() > 16384)
            std::abort();
        layer->getBoundingRect(placed.contentSize, layer->getDirection(), scale);
    }
    return 0;
}
