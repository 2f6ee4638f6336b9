#ifndef VELLTOOLTESTDOC_H
#define VELLTOOLTESTDOC_H

// What the filter tests share: the canvas shown on the virtual display, and a
// document of one image layer made current on it, whose bytes they read back
// after a filter.

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include <QtTest>

#include <cstring>
#include <memory>

namespace VellToolTest {

// The canvas, shown in a window of `window` and exposed (paintGL runs only
// then); null when it has no valid context.
inline VellCanvas *shownCanvas(int width, int height, const QSize &window)
{
    VellCanvas *canvas = VellCanvas::getInstance(width, height);
    canvas->resize(window);
    canvas->show();
    return QTest::qWaitForWindowExposed(canvas) && canvas->isValid() ? canvas : nullptr;
}

// A new current document with a selection of its size and one layer
// (*layer, owned by the document) of `width` x `height` BGRA bytes, shown on
// the canvas.
inline std::unique_ptr<VellContext> makeDocument(VellCanvas *canvas, const unsigned char *bgra, int width, int height,
                                                 VellLayer **layer)
{
    canvas->makeCurrent();
    auto document = std::make_unique<VellContext>();
    document->setSelection(new VellSelection(nullptr, width, height));
    VellContextManager *manager = VellContextManager::getInstance();
    manager->addContext(document.get());
    manager->setCurrentContext(manager->indexOfContext(document.get()));
    auto *host = new VellPictureHost(width, height, 4);
    std::memcpy(host->getData(), bgra, size_t(width) * size_t(height) * 4);
    *layer = new VellLayer(QStringLiteral("picture"));
    (*layer)->setVellPictureHost(host);
    document->getLayerManager()->addLayer(*layer, false);
    canvas->reSizeCanvas(width, height, false);
    canvas->calcVisibleRect();
    return document;
}

// The layer's bytes, once a newer picture on the GPU is copied back.
inline QByteArray layerBytes(VellCanvas *canvas, VellLayer *layer)
{
    canvas->makeCurrent();
    if (layer->getLatestPlace() == VellLayer::GpuNewer)
        layer->fboTextureToHost(true);
    return QByteArray(reinterpret_cast<const char *>(layer->getPictureHost()->getData()),
                      layer->getWidth() * layer->getHeight() * 4);
}

} // namespace VellToolTest

#endif // VELLTOOLTESTDOC_H
