// A small host of the installed library: builds a two-layer document the way
// a host does (a registered, current document; layers added through its
// layer manager), composites it on the CPU and checks two pixels against the
// compositing worked out here. Needs no GL context and no display.
// Exit status 0 when both pixels match, 1 otherwise.
//
// host --tools DIR: loads the filter plug-ins below DIR instead and lists
// them; exit status 0 when the template plug-in "invert" is among them.

#include "canvas/vellblendreference.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "picture/vellpicturehost.h"
#include "tools/ivelltool.h"
#include "tools/velltoolmanager.h"

#include <QCoreApplication>
#include <QImage>

#include <cmath>
#include <cstdio>
#include <memory>

namespace {

// A raster layer of one opaque colour; the host takes the ARGB32 rows as they
// lie in memory (B, G, R, A).
VellLayer *solidLayer(const char *name, int width, int height, QRgb colour)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(colour);
    auto *host = new VellPictureHost(width, height, 4);
    host->read(image.constBits());
    auto *layer = new VellLayer(QString::fromLatin1(name));
    layer->setVellPictureHost(host);   // the layer owns it
    return layer;
}

// Multiply of opaque Cs over opaque Cb at `opacity`: the blend term is
// Cs Cb, mixed with the backdrop by the opacity, in channel levels k / 255.
int multiplied(int cs, int cb, double opacity)
{
    const double s = cs / 255.0, b = cb / 255.0;
    return int(std::lround((opacity * s * b + (1.0 - opacity) * b) * 255.0));
}

bool check(const QImage &image, int x, int y, QRgb want)
{
    const QRgb got = image.pixel(x, y);
    std::printf("pixel %d,%d: %08x, expected %08x\n", x, y, unsigned(got), unsigned(want));
    return got == want;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--tools") {
        VellToolManager *tools = VellToolManager::getInstance();
        tools->setToolsPath(QString::fromLocal8Bit(argv[2]));
        tools->loadTools();
        bool found = false;
        for (IVellTool *tool : tools->getTools(QStringLiteral("Filter"))) {
            std::printf("tool %s: %s\n", qPrintable(tool->getToolId()), qPrintable(tool->getName()));
            found = found || tool->getToolId() == QLatin1String("invert");
        }
        return found ? 0 : 1;
    }

    const int width = 8, height = 6;
    const QRgb backdrop = qRgb(200, 120, 40), source = qRgb(100, 250, 180);
    const float opacity = 0.5f;
    const int multiply = VellLayerBase::blendModeFromUserName(QStringLiteral("multiply"));
    if (multiply < 0) {
        std::fprintf(stderr, "the library does not know Multiply\n");
        return 1;
    }

    VellContextManager *documents = VellContextManager::getInstance();
    auto document = std::make_unique<VellContext>();
    documents->addContext(document.get());
    documents->setCurrentContext(documents->indexOfContext(document.get()));

    VellLayerManager *stack = document->getLayerManager();
    stack->addLayer(solidLayer("backdrop", width, height, backdrop), false);
    // The right half only: the left half keeps the backdrop.
    VellLayer *top = solidLayer("multiplied", width / 2, height, source);
    top->setPosition(QPointF(width / 2, 0));
    top->setBlendMode(multiply);
    top->setAlpha(opacity);
    stack->addLayer(top, false);
    if (stack->getLayerCount() != 2) {
        std::fprintf(stderr, "the document has %d layers, expected 2\n", stack->getLayerCount());
        return 1;
    }

    std::unique_ptr<QImage> image(VellBlendReference::renderToImage(document.get(), width, height));
    if (!image || image->size() != QSize(width, height)) {
        std::fprintf(stderr, "renderToImage gave no %dx%d image\n", width, height);
        return 1;
    }
    const QRgb want = qRgb(multiplied(qRed(source), qRed(backdrop), opacity),
                           multiplied(qGreen(source), qGreen(backdrop), opacity),
                           multiplied(qBlue(source), qBlue(backdrop), opacity));
    const bool plain = check(*image, 1, 2, backdrop);
    const bool blended = check(*image, width - 1, 2, want);

    documents->removeContext(document.get());
    return plain && blended ? 0 : 1;
}
