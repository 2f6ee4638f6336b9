#ifndef VELLTEXTLAYER_H
#define VELLTEXTLAYER_H

#include "document/velllayerbase.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QRect>
#include <QSizeF>
#include <QTransform>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

class QDataStream;
class QEvent;
class QPainter;
class QTextCharFormat;
class QTextDocument;
class QUrl;
class VellTextControl;

// An editable text layer: a rich-text document edited in place on the
// canvas, rendered into a texture at the canvas's framebuffer scale for
// compositing and rendered again whenever the zoom changes, so the text stays
// sharp. While the text tool edits it the canvas skips the texture and the
// layer draws itself, with cursor and selection, through editRender().
//
// Layout. One function (layout()) places the text, and rendering, the
// canvas's quad, the bounding rectangle, the edit overlay, hit testing and
// mapToNoScaleNoRotation all read it, so they cannot disagree:
//   - The document is laid out with design metrics and no margin. Horizontal
//     text keeps the document's own layout. Vertical text is laid out one
//     character a line, and each paragraph becomes a column of upright
//     characters read top to bottom, the first column on the right and the
//     next ones to its left, all as wide as the widest character.
//   - That content box (its top-left at (0, 0)) is stretched by the text
//     scale, then turned by the direction, in degrees clockwise on screen
//     (y runs down), about the layer's position: the position is the anchor,
//     the top-left corner of unturned text.
//   - The turned box, rounded outwards to whole document pixels, is the
//     layer's bounding rectangle. Its corner need not be the position: text
//     turned by 180 degrees lies above and left of its anchor.
//   - At framebuffer scale f (document pixels per texel) the rendering is
//     ceil(width / f) x ceil(height / f) texels and covers the bounding
//     rectangle from its corner, so the canvas's quad is the rendering's size
//     at the corner, and at f = 1 it is the bounding rectangle itself.
// The rendered images are straight (not premultiplied) ARGB32, like every
// texture the canvas composites.
//
// The integer kept with the font is the paragraph alignment (Qt::Alignment)
// for new paragraphs; 1 is Qt::AlignLeft.
//
// Text needs fonts, which need a QGuiApplication: under a plain
// QCoreApplication a text layer keeps and streams its text but lays out and
// renders nothing.
//
// Owns its textures, its document (a QObject child) and its controller.
// GUI thread only; rendering into a texture needs the canvas's GL context
// current (the canvas seam makes it current).
class VellTextLayer : public VellLayerBase
{
    Q_OBJECT

public:
    // What the layer reads from and asks of the canvas showing the current
    // document. The canvas sits above the layers and installs the seam when
    // it comes into being; a probe without a value (or none installed) means
    // no current document or no canvas: rendering then leaves no texture, and
    // the operations that touch the canvas do nothing more.
    struct Canvas
    {
        float fboScale = 1.0f;       // document pixels per framebuffer texel
        QSize documentSize;          // W x H in document pixels
        QTransform documentToWindow; // document pixels to window pixels
        std::function<void()> makeCurrent;             // the canvas's GL context
        std::function<VellTextLayer *()> editingLayer; // the canvas's editing text layer
        std::function<void()> forgetEditingLayer;
        std::function<void()> renderDocument;          // composite the current document
        std::function<void()> repaint;                 // schedule a repaint of the window
    };
    using CanvasProbe = std::function<std::optional<Canvas>()>;
    // Set once at start-up on the GUI thread; tests install their own.
    static void setCanvasProbe(CanvasProbe probe);
    static std::optional<Canvas> currentCanvas();

    // Type Text; 10 pt default font, opaque black, direction 0, not vertical,
    // text scale 1 x 1, name following the text.
    explicit VellTextLayer(const QString &name);
    ~VellTextLayer() override;
    Q_DISABLE_COPY(VellTextLayer)

    QTextDocument *getDocument() const { return document; }   // owned (QObject child)
    VellTextControl *getTextControl() const { return control.get(); }

    // The plain text as last stored by onTextChanged().
    QString getText() const { return text; }
    // Replaces the document's contents by plain text in the present font
    // and colour.
    void setText(const QString &plain);
    void setHtml(const QString &html);
    QString toHtml() const;

    QFont getFont() const { return font; }
    // The font for new text: the document's default and the cursor's format.
    void setFont(const QFont &newFont);
    QColor getColor() const { return color; }
    void setColor(const QColor &newColor);
    int getFontFormat() const { return fontFormat; }
    void setFontFormat(int alignment) { fontFormat = alignment; }

    bool isKeepName() const { return keepName; }
    void setKeepName(bool keep) { keepName = keep; }

    // Degrees, stored as 0 .. 359 (any integer is brought into that range).
    int getDirection() const { return direction; }
    void setDirection(int degrees);
    bool isVertical() const { return vertical; }
    void setVertical(bool on);
    QSizeF getTextScale() const { return textScale; }
    // Both factors finite and above 0, else ignored.
    void setTextScale(const QSizeF &scale);

    // The layout at framebuffer scale `fboScale`, see the class comment.
    struct Layout
    {
        QTransform contentToLayer;   // content box to document pixels, anchor at (0, 0)
        QRect bounds;                // bounding rectangle, anchor at (0, 0)
        QSize imageSize;             // texels of the rendering at this scale
        QSizeF contentSize;          // the unturned, unstretched content box
    };
    Layout layout(float fboScale) const;

    // Drops the texture; with a canvas and a current document renders at the
    // canvas's framebuffer scale and makes the result the texture.
    void renderText();
    // The text rendered at `fboScale`, with (`withEditing`) the selection
    // and the cursor as editRender draws them; null when empty, too large,
    // or for a scale that is not finite and above 0.
    QImage renderText(bool withEditing, float fboScale) const;
    // The bounding rectangle (anchor at (0, 0)) that text of `contentSize`
    // occupies when stretched by `scale` and turned by `degrees`.
    static QRect getBoundingRect(const QSizeF &contentSize, int degrees, const QSizeF &scale);
    // The bounding rectangle in document pixels.
    QRect getDocumentRect() const;

    // The texture's size; without one, the size the layout gives a rendering
    // at the canvas's framebuffer scale (nothing is rendered). 0 without a
    // canvas or text.
    int getWidth() const override;
    int getHeight() const override;
    VellGLTexture2D *getThumbTexture() const override { return texture.get(); }
    // The rendering at scale 1.0 (made when missing); owned by the layer.
    VellGLTexture2D *getEntireTexture();
    QPolygonF getThumbQuadOnFbo(const QPointF &fboCorner, float fboScale) const override;

    // Draws the text with selection and cursor through `painter`, which
    // paints the canvas window.
    void editRender(QPainter *painter);
    // The document position under window point (x, y); -1 without a canvas.
    int hitTest(int x, int y) const;
    // A document point (pixels) into the content box: anchor, direction and
    // text scale undone.
    QPointF mapToNoScaleNoRotation(const QPointF &point) const;
    // Mouse and key events in window coordinates, as the text tool forwards
    // them: keys to the controller, mouse positions through hitTest().
    bool handleEvent(QEvent *event);

    // Selects the word under the cursor when nothing is selected, then merges
    // `format` into the selection and the cursor's format.
    void mergeFormatOnWordOrSelection(QTextCharFormat &format);
    // The plain text and the rendering at scale 1.0 onto the clipboard.
    void copyToClipboard();

    // At scale 1.0 with the layer's opacity, "over" the 32-bit image's pixels.
    void renderToImage(QImage *image, VellContext *documentContext) override;
    // No geometric effect on text.
    void resize(double scaleX, double scaleY) override;
    // Whole-document turns (-90, 90, 180): the anchor turns with the
    // document and the direction with it. Other angles do nothing.
    void rotate(int degrees) override;
    // The anchor is mirrored and the text turned by 180 degrees, since text
    // is never drawn mirrored.
    void flip(bool leftRight) override;
    // The canvas's editing text layer renders again and is forgotten; the
    // canvas then composites and repaints.
    void disactive(bool dropFullTexture) override;

    // What the document asks its parent (this layer) for each image, style
    // sheet or page its HTML names: an empty one, a 1 x 1 transparent
    // image for an image. Text layers hold nothing outside themselves, and
    // so neither a stream nor pasted HTML makes them read a file or decode a
    // picture (QTextDocument would otherwise load relative names from disk
    // and decode data: URLs).
    Q_INVOKABLE QVariant loadResource(int type, const QUrl &name);

signals:
    void textChanged();

public slots:
    void onTextChanged();
    void updataCanvers();   // repaints the canvas showing the current document

private:
    struct Blocks;            // the placed paragraphs of one layout
    Blocks placeBlocks() const;
    void drawContent(QPainter *painter, bool withEditing) const;
    void dropTextures();
    void applyVerticalLayout();

    QFont font;
    QString text;
    int fontFormat = Qt::AlignLeft;
    QColor color = QColor(0, 0, 0, 255);
    std::unique_ptr<VellGLTexture2D> texture;         // at the framebuffer scale
    std::unique_ptr<VellGLTexture2D> entireTexture;   // at scale 1.0
    QTextDocument *document = nullptr;                // QObject child
    std::unique_ptr<VellTextControl> control;
    bool keepName = false;
    int direction = 0;
    bool vertical = false;
    QSizeF textScale = QSizeF(1.0, 1.0);
};

// Stream form: opacity (float), name, position (QPointF), the document as
// HTML, the plain text, permanent index (qint32), keep name, blend-mode code
// (qint32), visible, and from VellGlobalSettings' streamWriteVersion 2 on:
// direction (qint32), vertical, text scale (QSizeF). A null layer writes
// nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, VellTextLayer *layer);
// Allocates *layer (the caller owns it); the version-2 fields are read when
// streamReadVersion is 2 or more. A truncated or corrupt record leaves
// *layer null with the status set; HTML holding tables or frames (which a
// text layer never writes) counts as corrupt.
QDataStream &operator>>(QDataStream &in, VellTextLayer **layer);

#endif // VELLTEXTLAYER_H
