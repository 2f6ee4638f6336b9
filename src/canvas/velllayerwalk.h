#ifndef VELLLAYERWALK_H
#define VELLLAYERWALK_H

#include <QVector>

class VellContext;
class VellLayer;
class VellLayerBase;
class VellTextLayer;

// One layer as a composite draws it.
struct VellDrawnLayer
{
    // Fixed-function "over" with the opacity in the vertex colour, or the
    // blending program (mode, opacity and mask in the shader).
    enum Program { PlainOver, Blending };
    // Which of the layer's pixels: its display (thumb) texture, its
    // full-resolution entire texture, its full-resolution pixels wherever
    // they are newest (entire texture or host), or its histogram thumb.
    enum Source { Thumb, EntireTexture, FullResolution, HistogramThumb };

    int index = 0;                    // in the document's layer list
    VellLayerBase *layer = nullptr;   // not owned
    VellLayer *raster = nullptr;      // the same layer when it is a raster layer
    VellTextLayer *text = nullptr;    // the same layer when it is a text layer
    Program program = PlainOver;
    Source source = Thumb;
    int mode = 0;                     // the blend mode to composite with
    float opacity = 1.0f;
    bool masked = false;              // a raster layer with a layer mask
};

// The one answer to "which layers of a document are drawn, in which order,
// with which program": the canvas's display composite (whole and partial),
// its full-resolution export, the CPU compositor and the histogram thumb
// all draw what this walk lists, and the post-render pass overlays the
// masks it lists.
//
// For every composite: layers are drawn bottom (index 0) to top when they
// are visible and the host has not excluded them. The layer at index 0
// composites as Normal whatever its mode, hidden or not: it is the bottom
// of the stack, with nothing under it to blend with.
// What else each composite asks:
//   Display      any kind of layer with a display texture (a raster layer
//                also needs its host; a text layer has none while its text
//                is empty); the blending program when the layer
//                needs the shader (needShaderBlending), else plain "over";
//                the active raster layer shows its entire texture instead
//                of the display texture while tool previews are hidden.
//   DisplayPart  raster layers with a display texture, plain "over": the
//                quick repaint of one rectangle during a stroke.
//   Export       raster layers whose host holds pixels, and text layers
//                whose text lays out to pixels (their rendering at scale 1
//                over their document rectangle), at full resolution, all
//                through the blending program (the GPU export and the CPU
//                compositor, which must agree).
//   Histogram    raster layers, plain "over" of their histogram thumbs: the
//                histogram wants the colours present, not the exact
//                composite.
//
// Reads the document only; GUI thread, like the documents.
class VellLayerWalk
{
public:
    enum Composite { Display, DisplayPart, Export, Histogram };

    // The drawn layers, bottom first. `showToolPreview` is the canvas's
    // "show preview when applying" switch (Display only). `drawnElsewhere`
    // (not owned, may be null) is a layer the display composites leave out
    // because something else draws it: the text layer the text tool edits.
    static QVector<VellDrawnLayer> drawnLayers(const VellContext *document, Composite composite,
                                               bool showToolPreview = true,
                                               const VellLayerBase *drawnElsewhere = nullptr);

    // The raster layers, bottom first, whose mask the post-render pass
    // overlays: a host, a display texture, a mask with its texture and the
    // mask-visible flag, whether or not the layer itself is drawn (a mask
    // being edited shows on a hidden layer too).
    static QVector<VellLayer *> maskOverlays(const VellContext *document);
};

#endif // VELLLAYERWALK_H
