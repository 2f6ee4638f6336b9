// The canvas's histogram: a small composite of the document, the histogram
// thumb, from which VellHistogram counts.
#include "canvas/vellcanvas.h"

#include "canvas/vellhistogram.h"
#include "canvas/velllayerwalk.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellglobalsettings.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellrenderpass.h"

#include <cmath>

// The thumb's area is about the settings' sample count, so counting stays
// cheap however large the document; a document smaller than that is taken
// whole (the scale never exceeds 1). Raster layers size their own histogram
// thumbs by the same scale, which they read through the view probe.
void VellCanvas::calcHistogramThumbScale()
{
    const double area = double(canvasWidth) * double(canvasHeight);
    const double samples = qMax(0, VellGlobalSettings::getInstance()->histogramSampleCount);
    histogramThumbScale = area > 0.0 ? float(qMin(1.0, std::sqrt(samples / area))) : 1.0f;
    histogramThumbWidth = canvasWidth * histogramThumbScale;
    histogramThumbHeight = canvasHeight * histogramThumbScale;

    const int w = int(std::floor(histogramThumbWidth));
    const int h = int(std::floor(histogramThumbHeight));
    if (!isValid())
        return;   // no context: no names were made, none can be
    makeCurrent();
    if (histogramTexture && histogramTexture->getWidth() == w && histogramTexture->getHeight() == h
        && histogramFbo && histogramFbo->getWidth() == w && histogramFbo->getHeight() == h)
        return;
    histogramFbo.reset();
    histogramTexture.reset();
    if (w > 0 && h > 0) {
        histogramTexture = std::make_unique<VellGLTexture2D>(w, h, GL_RGBA8, false);
        histogramFbo = std::make_unique<VellGLFramebufferObject>(w, h);
    }

    if (VellContext *document = VellContextManager::getInstance()->getCurrentContext()) {
        for (VellLayerBase *base : document->getLayerManager()->getLayers())
            if (VellLayer *layer = qobject_cast<VellLayer *>(base))
                layer->calcHistogramSize();
    }
}

// Draws the visible raster layers' histogram thumbs, bottom to top, over
// transparent black with plain "over" blending and each layer's opacity.
// Blend modes and masks are left out: the histogram wants the colours present,
// not an exact composite. What no layer covers counts as black.
void VellCanvas::RenderHistogramThumb(VellContext *document)
{
    if (!document)
        document = VellContextManager::getInstance()->getCurrentContext();
    if (!document || !histogramFbo || !histogramTexture || histogramTexture->failed()
        || !isValid())
        return;
    makeCurrent();

    // Thumbs that are missing or sized for another scale are made before the
    // pass: filling one runs a pass of its own.
    QVector<VellLayer *> layers;
    for (const VellDrawnLayer &drawn :
         VellLayerWalk::drawnLayers(document, VellLayerWalk::Histogram)) {
        VellLayer *layer = drawn.raster;
        const QSize size = layer->getHistogramSize();
        const VellGLTexture2D *thumb = layer->getHistogramThumb();
        if (!thumb || thumb->getWidth() != size.width() || thumb->getHeight() != size.height())
            layer->updateFullThumb();
        if (layer->getHistogramThumb() && !layer->getHistogramThumb()->failed())
            layers.append(layer);
    }

    VellRenderPass pass(histogramFbo.get(), histogramTexture->getId());
    if (!pass.isOpen())
        return;
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_SCISSOR_TEST);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    if (getGLExtensionFunctions().glActiveTexture)   // a pass before may have left another unit
        getGLExtensionFunctions().glActiveTexture(GL_TEXTURE0);
    glEnable(GL_TEXTURE_2D);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);

    const float t = histogramThumbScale;
    for (VellLayer *layer : layers) {
        VellGLTexture2D *thumb = layer->getHistogramThumb();
        const QPointF at = layer->getPosition() * t;
        glBindTexture(GL_TEXTURE_2D, thumb->getId());
        glColor4f(1.0f, 1.0f, 1.0f, layer->getAlpha());
        drawQuad(QRectF(at, QSizeF(layer->getWidth() * t, layer->getHeight() * t)),
                 QRectF(0.0, 0.0, 1.0, 1.0), nullptr, nullptr);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
}

QImage VellCanvas::getHistogramThumbImage()
{
    if (!histogramTexture || !isValid())
        return QImage();
    makeCurrent();
    return histogramTexture->toQImage();
}

void VellCanvas::updateHistogram()
{
    RenderHistogramThumb(nullptr);
    histogram->clear();
    const QImage image = getHistogramThumbImage().convertToFormat(QImage::Format_ARGB32);
    // ARGB32 rows are whole 32-bit pixels with no padding: the pixels are
    // tightly packed B, G, R, A bytes, as the histogram reads them.
    if (!image.isNull())
        histogram->updateData(reinterpret_cast<const Pixel8bit *>(image.constBits()),
                              image.width(), image.height());
    emit histogramUpdated();
}
