#ifndef VELLLAYERBASE_H
#define VELLLAYERBASE_H

#include "foundation/vellcodes.h"

#include <QMap>
#include <QObject>
#include <QPointF>
#include <QPolygonF>
#include <QString>

#include <functional>
#include <optional>

class QImage;
class VellContext;
class VellGLTexture2D;
class VellPictureHost;

// The common base of everything that can stand in a document's layer list:
// raster layers, text layers and the layer manager itself (so a list of layers
// can be treated as one layer). Holds what the canvas needs to composite a
// layer (name, position, blend mode, opacity, visibility) and declares the
// operations through which canvas, history and tools reach a layer's pixels
// without knowing its kind; the base versions do nothing and own nothing.
//
// Also owns the table of blend modes' names. Their codes (VellBlend, in
// foundation/vellcodes.h) are stored in layers, streamed in documents and
// handed unchanged to the blending shader as its `mode` uniform, so they
// never change.
//
// GUI thread only, like the documents that hold layers.
class VellLayerBase : public QObject
{
    Q_OBJECT

public:
    // Where a layer stands in the current document: no value when there is no
    // current document, otherwise the layer's index in that document's layer
    // list (0 is the bottom, -1 means not in the list). The document model sits
    // beside the layers and is built on them, so it installs the probe when its
    // list of documents comes into being; until then there is no current
    // document. Tests install their own stack.
    using StackIndexProbe = std::function<std::optional<int>(const VellLayerBase *layer)>;

    explicit VellLayerBase(const QString &name, QObject *parent = nullptr);
    ~VellLayerBase() override;

    QString getLayerName() const { return layerName; }
    void setLayerName(const QString &name);   // emits layerChanged()

    QPointF getPosition() const { return QPointF(posX, posY); }
    // Each coordinate is rounded to a whole pixel, halves towards positive
    // infinity (0.5 gives 1, -0.5 gives 0). A non-finite coordinate leaves the
    // position unchanged.
    void setPosition(const QPointF &position);

    int getBlendMode() const { return blendMode; }
    // A code that is not in the table is stored as Normal, so the shader only
    // ever sees modes it implements.
    void setBlendMode(int code);

    float getAlpha() const { return alpha; }
    // Clamped to 0.0 .. 1.0; NaN leaves the opacity unchanged. No signal.
    void setAlpha(float opacity);

    bool isSelected() const { return selected; }
    void setSelected(bool isSelected) { selected = isSelected; }

    // A VellLayerType code; anything else is stored as Raster.
    int getType() const { return type; }
    void setType(int layerType);

    int getPermanentIndex() const { return permanentIndex; }
    void setPermanentIndex(int index) { permanentIndex = index; }

    // Pivot of free rotation in layer pixels; subclasses keep it at their
    // size * 0.5.
    QPointF getCenter() const { return QPointF(centerX, centerY); }
    void setCenter(const QPointF &center) { centerX = center.x(); centerY = center.y(); }
    // Degrees of free rotation pending for the layer.
    float getRotationAngle() const { return rotationAngle; }
    void setRotationAngle(float degrees) { rotationAngle = degrees; }

    // Fixed-function compositing, used when needShaderBlending() is false.
    bool needGLBlending() const { return false; }
    // GL_SRC_ALPHA and GL_ONE_MINUS_SRC_ALPHA: plain "over" with the layer's
    // opacity in the vertex colour.
    void getGLBlendMode(unsigned int &src, unsigned int &dst) const;

    // Operations a concrete layer implements; the base versions are what a
    // layer without pixels (the layer manager) answers.
    virtual void active();                        // became the active layer
    virtual void disactive(bool dropFullTexture); // no longer the active layer
    virtual VellPictureHost *getPictureHost() const;   // not owned by the caller
    virtual int getWidth() const;
    virtual int getHeight() const;
    virtual void renderToImage(QImage *image, VellContext *document);
    virtual VellGLTexture2D *getThumbTexture() const;   // not owned by the caller
    // The layer's rectangle on the canvas framebuffer (top-left, top-right,
    // bottom-right, bottom-left, top-left, as QPolygonF(QRectF) builds it), given
    // the framebuffer's corner and scale; empty in the base.
    virtual QPolygonF getThumbQuadOnFbo(const QPointF &fboCorner, float fboScale) const;
    virtual void resize(double scaleX, double scaleY);
    virtual void rotate(int degrees);
    virtual void flip(bool leftRight);
    // Whether the canvas must composite this layer with the blending shader
    // rather than fixed-function blending: shaderBlendingRule() for this
    // layer's mode and place in the current document, without a mask.
    virtual bool needShaderBlending() const;

    // This layer's place in the current document, through the installed probe.
    std::optional<int> getIndexInCurrentDocument() const;

    // Installs the probe (an empty one means "no current document"). Set once
    // at start-up on the GUI thread.
    static void setStackIndexProbe(StackIndexProbe probe);

    // The shader is needed for any layer with a mask (the mask is applied
    // there). Otherwise it is needed only inside a current document, for a mode
    // other than Normal, and not for the bottom layer (index 0), which has
    // nothing to blend with and is always composited as Normal.
    static bool shaderBlendingRule(int blendMode, bool hasLayerMask,
                                   std::optional<int> stackIndex);

    // Code to translated name for all modes, in code order; built on each call
    // so it follows the installed translation.
    static QMap<int, QString> getBlendModeList();
    static bool isBlendModeCode(int code);
    // The translated name; empty for an unknown code.
    static QString getBlendModeName(int code);
    // The inverse of getBlendModeName: the code whose translated name is
    // exactly `name`, or -1.
    static int getBlendModeCode(const QString &name);
    // For names typed on a command line or in a script: the English name,
    // whatever the installed translation, matched case-insensitively with
    // spaces, hyphens and underscores interchangeable and runs of them
    // counting as one ("color-burn" and "COLOR_BURN" are "Color Burn").
    // -1 for anything else.
    static int blendModeFromUserName(const QString &name);

    // Written directly by the history, the stream readers and the
    // text-pixelation step. The canvas skips a hidden layer, and one the host
    // has excluded.
    bool visible = true;
    bool excluded = false;

signals:
    void layerChanged();

private:
    QString layerName;
    double posX = 0.0, posY = 0.0;   // whole pixels, see setPosition
    int blendMode = VellBlend::Normal;
    float alpha = 1.0f;
    bool selected = false;           // set on the active layer by the layer manager
    int type = VellLayerType::Raster;
    int permanentIndex = -1;         // given by the layer manager when the layer is added
    double centerX = 0.0, centerY = 0.0;
    float rotationAngle = 0.0f;
};

#endif // VELLLAYERBASE_H
