#ifndef VELLBENCHGL_H
#define VELLBENCHGL_H

// The GL set-up shared by the GPU benchmarks: a context of a bare widget, or
// the canvas with the plug-ins and a document of one layer for the filter
// benchmarks.

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "gpu/glextensionfunctions.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"
#include "tools/velltoolmanager.h"

#include <QGLWidget>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

// Makes the widget's context current, resolves the extension table and
// prints the driver. False (with a message) when no context can be made.
inline bool vellBenchMakeCurrent(QGLWidget &widget)
{
    if (!widget.isValid()) {
        std::fprintf(stderr, "no GL context (run under xvfb-run -a)\n");
        return false;
    }
    widget.makeCurrent();
    getGLExtensionFunctions().resolve(widget.context());
    std::printf("GL: %s / %s\n", reinterpret_cast<const char *>(glGetString(GL_VENDOR)),
                reinterpret_cast<const char *>(glGetString(GL_RENDERER)));
    return true;
}

// The canvas for `width` x `height` pictures in a window of `window`, its
// context current, with the plug-ins of `toolsFolder` loaded. Null, with a
// message naming `bench`, when no context can be made.
inline VellCanvas *vellBenchCanvas(const char *bench, int width, int height, const QSize &window,
                                   const char *toolsFolder)
{
    VellCanvas *canvas = VellCanvas::getInstance(width, height);
    if (!canvas->isValid()) {
        std::fprintf(stderr, "%s: no GL context (run under xvfb-run -a)\n", bench);
        return nullptr;
    }
    canvas->resize(window);
    canvas->makeCurrent();
    VellToolManager *tools = VellToolManager::getInstance();
    tools->setToolsPath(QString::fromLocal8Bit(toolsFolder));
    tools->loadTools();
    return canvas;
}

// A new current document with a selection and one opaque layer of `width` x
// `height` (*layer, owned by the document), whose BGR bytes `pixel(x, y, p)`
// writes, on threads over rows; the canvas shows it at a quarter of its size
// in the window of `window`.
template<typename Pixel>
std::unique_ptr<VellContext> vellBenchDocument(VellCanvas *canvas, int width, int height, const QSize &window,
                                               Pixel pixel, VellLayer **layer)
{
    auto document = std::make_unique<VellContext>();
    VellContextManager *manager = VellContextManager::getInstance();
    manager->addContext(document.get());
    manager->setCurrentContext(manager->indexOfContext(document.get()));
    document->setSelection(new VellSelection(nullptr, width, height));
    auto *host = new VellPictureHost(width, height, 4);
    unsigned char *base = host->getData();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            unsigned char *p = base + (size_t(y) * size_t(width) + size_t(x)) * 4;
            pixel(x, y, p);
            p[3] = 255;
        }
    *layer = new VellLayer(QStringLiteral("bench"));
    (*layer)->setVellPictureHost(host);
    document->getLayerManager()->addLayer(*layer, false);
    canvas->reSizeCanvas(width, height, false);
    canvas->setWindowSize(QRect(QPoint(0, 0), window));
    canvas->setScale(4.0f, false);
    canvas->setOrigin(QPointF(0, 0), true);
    return document;
}

// A smooth picture for vellBenchDocument: blue rises from 0 to 250 across
// the width, green down the height, red along the diagonal.
inline auto vellBenchGradient(int width, int height)
{
    return [width, height](int x, int y, unsigned char *p) {
        p[0] = (unsigned char)(x * 250 / width);
        p[1] = (unsigned char)(y * 250 / height);
        p[2] = (unsigned char)((x + y) * 250 / (width + height));
    };
}

// Puts `original` back into the layer, host and textures, so that each timed
// apply starts from the unfiltered picture as a user's would.
inline void vellBenchRestore(VellLayer *layer, const std::vector<unsigned char> &original)
{
    std::memcpy(layer->getPictureHost()->getData(), original.data(), original.size());
    layer->setVellPictureHost(layer->takePictureHost().release());
    layer->refresh();
    layer->setLatestPlace(VellLayer::BothAgree);
    glFinish();
}

#endif // VELLBENCHGL_H
