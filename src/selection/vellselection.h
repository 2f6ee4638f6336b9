#ifndef VELLSELECTION_H
#define VELLSELECTION_H

#include "foundation/vellcodes.h"
#include "picture/vellchannel.h"

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QPair>
#include <QVector>
#include <QVectorIterator>

#include <memory>
#include <vector>

class QDataStream;
class QGLShaderProgram;
class VellCanvas;
class VellCompressedSelection;
class VellSelectionPath;

// The selection of one document: one coverage byte per pixel (0 not
// selected, 255 fully selected, values between partly selected), kept in the
// channel's padded rows and mirrored in its luminance texture, which filter
// shaders sample to confine their effect. Beside the bytes it keeps the kind
// of selection, the box of the selected area with two pixel counts, and a
// history of every state it went through (compressed), which undo steps
// through with decompress().
//
// Kinds (VellSelectionKind) and who sets them: the constructor, clear() and
// deselect() leave Whole with displayFull false (no selection; the bytes are
// all 255 so that tools that sample the mask change everything); selectAll()
// gives Whole with displayFull true; addMask(), copyMask(), applyTranslation()
// and the inversion of a shape give Mask; inverse() switches Whole and Empty;
// decompress() restores a recorded kind; setType() sets anything. Every
// reader asks hasSelection() before treating the bytes as a selection.
//
// Region arguments (calcBoundBox, medianFilter) are QRects whose x
// coordinates are row indices and whose y coordinates are column indices:
// the whole image is QRect(QPoint(0, 0), QPoint(height - 1, width - 1)).
// Boxes (getBoundBox and friends) are the other way round, x the column.
//
// Every operation that changes the selection records the new state at the
// end of the history; nothing prunes it but initMasks() and destruction.
// Operations that change the state also switch the Edit and SelectionEdit
// command groups through the action manager, when the host has created one.
//
// Owns its bytes, texture and history. GUI thread; the texture is made and
// uploaded only while a GL context is current (see VellChannel). The pixel
// loops split rows over OpenMP threads, each writing its own rows.
class VellSelection : public VellChannel
{
    Q_OBJECT

public:
    // All 255, kind Whole, no selection, one history entry.
    VellSelection(QObject *parent, int width, int height);
    ~VellSelection() override;

    // Drops the history; a selection of non-zero size then clears itself,
    // which records a fresh first entry.
    void initMasks();
    void freeResource();   // drops the history
    // The channel's resize (every byte 255, a new texture), and the box
    // becomes the whole image. Kind and history are kept.
    void resize(int width, int height, bool flag) override;
    using VellChannel::resize;
    // r in image pixels -> texture coordinates: (x / W, y / H, (x + w) / W -
    // x / W, (y + h) / H - y / H). Null for an empty selection.
    QRectF getTexCoord(const QRectF &rect) const override;
    void hostToTexture() { update(); }

    bool hasSelection() const;
    int getType() const { return kind; }
    void setType(int type) { kind = type; }
    unsigned char *getMask() const { return getData(); }   // owned here
    // The mask texture's GL name, 0 while there is no texture.
    unsigned int getTextureHandle() const;

    // The box shown to the user: (ceil(x), ceil(y), width + 1, height + 1) of
    // the recorded box, clipped to the image; empty when nothing is selected
    // in it (a box of no width or height).
    QRectF getBoundBox() const;
    // The recorded box as it is: columns x, rows y; (W, H, -W, -H) after a
    // scan that found nothing.
    QRectF getRawBoundBox() const { return boundBox; }
    int getVisibleCount() const { return visibleCount; }     // coverage >= 128
    int getPositiveCount() const { return positiveCount; }   // coverage > 0
    bool displayFull() const { return full; }
    void setDisplayFull(bool on) { full = on; }
    bool getDisplayMask() const { return displayMask; }
    void setDisplayMask(bool on) { displayMask = on; }
    bool getDisplayMarchingAnts() const { return displayMarchingAnts; }
    void setDisplayMarchingAnts(bool on) { displayMarchingAnts = on; }
    // Pending move, in image pixels, applied by applyTranslation().
    void setTranslation(const QPointF &offset) { translation = offset; }
    QPointF getTranslation() const { return translation; }

    int getHistoryCount() const { return int(history.size()); }
    int getHistoryIndex() const { return historyIndex; }   // the state now in the buffer
    // Not owned by the caller; null when i is out of range.
    VellCompressedSelection *getCompressedSelection(int i) const;

    // Every pixel selected.
    void selectAll();
    // No selection: kind Whole, displayFull false, bytes all 255.
    void clear();
    // clear(), and the selection commands go off.
    void deselect();
    // Whole <-> Empty; a shape or mask has every byte (padding included)
    // turned to 255 - b and becomes a Mask.
    void inverse();
    // Combines a tightly packed maskWidth x maskHeight mask, its top-left
    // pixel on column x, row y, with the coverage by combineMode, over the
    // part of the image the mask covers (VellCombineMode; Replace, and Add on
    // a Whole selection, first clear the whole buffer, so nothing outside the
    // mask stays selected). Then the box is measured and the box's pixels are
    // smoothed by a 3 x 3 median (a lone pixel or a one-pixel corner goes).
    // False, with nothing changed, for a null mask, a side of 0 or less, or a
    // selection without bytes; a mask wholly outside the image is fine and
    // changes nothing but what Replace clears.
    bool addMask(const unsigned char *mask, int maskWidth, int maskHeight, int x, int y);
    // Takes paddedWidth x height bytes in the buffer's own layout; kind Mask.
    // The box is not measured again. False for null data.
    bool copyMask(const unsigned char *data);
    // Moves the coverage by the translation (truncated to whole pixels); what
    // leaves the image is lost and what enters is 0. The translation is reset.
    void applyTranslation();
    // Records the current state at the end of the history.
    void compress();
    // Brings back the state recorded at index; nothing when index is out of
    // range, is the current state or holds no entry.
    void decompress(int index);
    // Measures the box and both counts over region (rows x, columns y; see
    // above), clipped to the image.
    void calcBoundBox(const QRect &region);
    // Every pixel of region takes the median of its (2 radius + 1)^2
    // neighbourhood, indices clamped to the image, all read from the bytes as
    // they were before. Nothing for radius < 1 or a neighbourhood of more than
    // 2^24 pixels.
    void medianFilter(int radius, const QRect &region);

    // Feathering (vellselectionfeather.cpp): a Gaussian blur of the coverage
    // of radius r (sigma r / 3, 2 ceil(r - 0.5) + 1 taps), restricted to
    // where coverage can change. Results are clamped to 0 .. 255 and
    // truncated; samples outside the image take the nearest edge pixel.
    // A radius of 0 or less, or above kMaximumFeatherRadius, changes nothing.
    static constexpr float kMaximumFeatherRadius = 4096.0f;
    // The whole selection, over its box grown by the half-width; then the
    // state is recorded and uploaded. Nothing for kinds Whole and Empty.
    void feather(float radius);
    // Around a path just drawn, by its type: only the band along a
    // rectangle's edge (the radius limited to half the rectangle's shorter
    // side less one), the box of an ellipse or polygon grown by the
    // half-width. Nothing for too few points or radius 0. Not recorded.
    void feather(VellSelectionPath *path, float radius);
    void featherRectangle(VellSelectionPath *path, float radius);
    void featherEllipse(VellSelectionPath *path, float radius);
    void featherPolygon(VellSelectionPath *path, float radius);
    // The separable blur of the ring `outer` minus `inner` (regions, see
    // above; an empty inner leaves all of outer): a horizontal stage over
    // outer grown by the half-width less inner shrunk by it, then a vertical
    // stage over outer less inner. Rows split over OpenMP threads.
    void feather2way(const QRect &inner, const QRect &outer, float radius);
    // Large radii approximated by passes of a small 2-D kernel whose taps are
    // spread apart (featherRepeatPasses), over the ring outer minus inner
    // (inner non-empty, inside outer). Single-threaded; not recorded.
    void featherRepeatMethod(const QRect &inner, const QRect &outer, float radius);
    // The passes for radius R as (step, radius): (1, 3.5), (3, 3.5),
    // (10, 3.5) ... while R exceeds 3.5, 12.25, 42.875 ..., then the last
    // pass (step reach / 3.5, radius R / (reach / 3.5)); (1, R) alone for
    // R <= 3.5.
    static QVector<QPair<int, float>> featherRepeatPasses(float radius);
    // One pixel's blurred byte with an n-tap kernel (n x n row-major for
    // 2D) whose samples are `step` pixels apart, centred on (col, row); 0
    // when n < 1.
    uchar gaussianConv2D(int col, int row, const float *kernel, int n, int step) const;
    uchar gaussianConvHorizontal1D(int col, int row, const float *kernel, int n, int step) const;
    uchar gaussianConvVertical1D(int col, int row, const float *kernel, int n, int step) const;

    // Outlines (vellselectionaddpath.cpp). addPath closes the path, keeps
    // it in the path list (not owned: the creator deletes it, after clear()
    // has emptied the list), rasterises it with pathToSelection, and records
    // the state; the selection commands go on.
    void addPath(VellSelectionPath *path, float radius);
    // The path's shape (odd-even fill, its one-pixel outline included)
    // combined with the coverage by combineMode over the whole image, then
    // feathered around the shape and uploaded; the box follows the combine
    // mode and is measured again when feathered or subtracted. Kind Mask.
    void pathToSelection(VellSelectionPath *path, float radius);
    // Each path's plain outline, in the current GL colour (context current).
    void drawPaths();
    int getPathCount() const { return paths.size(); }
    VellSelectionPath *getPath(int i) const { return i >= 0 && i < paths.size() ? paths.at(i) : nullptr; }
    QVectorIterator<VellSelectionPath *> getIterator() const
    {
        return QVectorIterator<VellSelectionPath *>(paths);
    }

    // Marching ants (vellselectionrender.cpp). Draws the outline of the
    // coverage, and its tint while displayMask is set, over the part of the
    // image the canvas shows, into the canvas's selection framebuffer
    // (cleared to transparent first) at the canvas's framebuffer scale; each
    // call advances the dash phase that every selection shares. Nothing
    // without a canvas, its selection framebuffer, a texture or a program.
    // Makes the canvas's context current; leaves the GL state and the
    // window's binding as it found them.
    void render(VellCanvas *canvas);
    // Builds the outline program on first use (a compile log is shown in a
    // message box titled "selection"); needs a current context.
    void initShader();
    QGLShaderProgram *getProgram() const { return program.get(); }
    // The dash phase of the last render, 0 .. 7.
    static int antPhase() { return phase; }
    // Fills the canvas's selection hooks that are still empty: the outline
    // of the current document's selection on the canvas timer, and the
    // selection following the document's size. The canvas installs them
    // when it is made; tests replace them.
    static void installCanvasHooks();

    // How addMask (and later shapes) combine: a VellCombineMode, set by the
    // selection tools before each shape.
    int combineMode = VellCombineMode::Replace;

private:
    // For the stream reader: takes data (paddedWidth x height bytes from the
    // memory budget) and records a first Whole entry without touching it.
    VellSelection(int width, int height, unsigned char *data, VellChannel::Adopt);
    // The image as a region in the row/column convention.
    QRect wholeRegion() const;
    // Records, and makes the recorded state the current one.
    void record();
    // Redraws the outline at once when this is the current document's
    // selection and the canvas exists, so a move shows without waiting for
    // the canvas timer.
    void renderOnCanvas();
    // Switches the two command groups when the host has an action manager.
    static void enableGroups(bool selectionEdit, bool edit);
    static void enableGroup(int group, bool on);

    static int phase;   // dash phase shared by every selection; GUI thread

    QRectF boundBox;
    QVector<VellSelectionPath *> paths;   // not owned
    // The outline program; made with the canvas's context current and, like
    // every GL name of the canvas's context, deleted by Qt in that context's
    // group when this selection goes.
    std::unique_ptr<QGLShaderProgram> program;
    std::vector<std::unique_ptr<VellCompressedSelection>> history;
    int kind = VellSelectionKind::Whole;
    int historyIndex = 0;
    bool displayMask = false;
    bool displayMarchingAnts = true;
    QPointF translation;
    int positiveCount = 0;
    int visibleCount = 0;
    bool full = false;

    friend QDataStream &operator>>(QDataStream &in, VellSelection **selection);
};

// Stream form, inside the document's: width, height and kind as qint32, the
// recorded box (a QRectF: four doubles), the visible and positive counts as
// qint32, displayMask and displayMarchingAnts as bools, then paddedWidth x
// height raw coverage bytes with no length prefix. The history, translation,
// displayFull and combineMode are not part of it. Writing a null selection,
// or one without bytes, writes nothing and sets WriteFailed.
QDataStream &operator<<(QDataStream &out, const VellSelection *selection);
// Allocates *selection (no parent; the caller owns it) with one history entry
// and uploads its texture when a context is current. A truncated or corrupt
// record leaves *selection null with the status set, having allocated
// nothing the stream could not supply.
QDataStream &operator>>(QDataStream &in, VellSelection **selection);

#endif // VELLSELECTION_H
