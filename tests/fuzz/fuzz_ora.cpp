// An OpenRaster file in memory: the container, stack.xml and the PNGs it
// names, through VellOraReader (document, merged image, thumbnail). The image
// limits are lowered so that a file declaring large pictures is refused or
// decoded quickly; the layer stream is read in version 2, as hosts do.

#include "vellfuzz.h"

#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellglobalsettings.h"
#include "interchange/vellorareader.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr int kSide = 512;

[[noreturn]] void fail(const char *rule)
{
    std::fprintf(stderr, "vellfuzz: %s\n", rule);
    std::fflush(stderr);
    std::abort();
}

bool withinLimits(const QImage &image)
{
    return image.isNull() || (image.width() <= kSide && image.height() <= kSide);
}

// What the reader promises of a document it returns.
void checkDocument(const VellContext &document, const QSize &size)
{
    const VellSelection *selection = document.getSelection();
    if (!selection || QSize(selection->getWidth(), selection->getHeight()) != size)
        fail("the document's size is not the image's");
    const VellLayerManager *stack = document.getLayerManager();
    if (stack->getLayerCount() < 1 || stack->getLayerCount() > VellOraReader::kMaxLayers)
        fail("a document without layers, or with more than the cap");
    if (stack->getSelectedLayers().size() != 1 || !stack->currentActiveLayer())
        fail("not exactly one active, selected layer");
    for (VellLayerBase *base : stack->getLayers()) {
        const auto *layer = qobject_cast<const VellLayer *>(base);
        const VellPictureHost *host = layer ? layer->getPictureHost() : nullptr;
        if (!host || host->isNull() || host->getWidth() == 0 || host->getHeight() == 0
            || host->getWidth() > unsigned(kSide) || host->getHeight() > unsigned(kSide))
            fail("a layer without pixels, or larger than the limits");
        if (layer->getLatestPlace() != VellLayer::HostOnly)
            fail("a layer read claims a GPU copy");
        if (!(layer->getAlpha() >= 0.0f && layer->getAlpha() <= 1.0f))
            fail("an opacity outside 0 .. 1");
        if (!VellLayerBase::isBlendModeCode(layer->getBlendMode()))
            fail("a blend mode outside the table");
        const VellLayerMask *mask = layer->getLayerMask();
        if (mask && (mask->getWidth() != layer->getWidth() || mask->getHeight() != layer->getHeight()))
            fail("a mask not of its layer's size");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    settings->imageLimitX = settings->imageLimitY = kSide;
    settings->imageLimitPixel = 1;   // 2^20 pixels: never reached at these sides
    settings->streamReadVersion = 2;
    VellFuzz::Oracle oracle;
    VellOraReader reader;
    if (!reader.openData(VellFuzz::bytesOf(data, size), QStringLiteral("input.ora"))) {
        if (reader.errorString().isEmpty())
            fail("a refusal without a reason");
        return 0;
    }
    std::unique_ptr<VellContext> document(reader.readDocument());
    if (document)
        checkDocument(*document, reader.imageSize());
    else if (reader.errorString().isEmpty())
        fail("a refusal without a reason");
    if (!withinLimits(reader.mergedImage()) || !withinLimits(reader.thumbnail()))
        fail("a stored image larger than the limits");
    return 0;
}
