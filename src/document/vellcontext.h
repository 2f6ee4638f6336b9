#ifndef VELLCONTEXT_H
#define VELLCONTEXT_H

#include "foundation/vellcodes.h"

#include <QImage>
#include <QObject>
#include <QRect>
#include <QSize>
#include <QString>

#include <functional>

class QDataStream;
class VellChannel;
class VellHistory;
class VellHistoryMemo;
class IVellTool;
class VellLayerBase;
class VellLayerManager;
class VellSelection;
class VellSelectionEditHistory;

// One open document: its layer stack, its file name and whether it has
// changes worth saving, plus the flags through which the host tells the rest
// of the library how to behave (batchFlag: no modal dialogs or progress
// widgets; quietFlag: no layer-list signals, no resize-on-open dialog). It is
// also the signal hub the host listens to for the window title, the status-bar
// texts and the news that a file was saved.
//
// The context does not register itself with VellContextManager: the host
// adds it and makes it current. Destroying it takes it off the manager's list
// first (the current document then becomes null if it was this one).
//
// The host gives the document its selection (setSelection), sized to the
// document; the selection's size is the document's size, which the stream
// keeps.
//
// Undo: the document owns its history and, while its selection is edited as
// a grey-level image, the channel painted on and that edit's own history.
// The undoing flag is set, with the memo being replayed, for as long as a
// memo changes the document; the history refuses to step meanwhile. The
// pending last memo is one a tool keeps back before pushing it; the document
// owns it until it is pushed.
//
// Owns its layer manager, selection and history; the tag and the host's batch-action record are not
// owned. Deleting a document whose layers hold textures needs the canvas's GL
// context current. GUI thread only.
class VellContext : public QObject
{
    Q_OBJECT

public:
    // Starts with an empty layer manager, file name tr("Untitled Document")
    // (announced through fileNameChange), nothing to save, both channel masks 7.
    explicit VellContext(QObject *parent = nullptr);
    ~VellContext() override;
    Q_DISABLE_COPY(VellContext)

    VellLayerManager *getLayerManager() const { return layerManager; }   // owned by the context

    VellSelection *getSelection() const { return selection; }   // owned by the context; may be null
    // Takes ownership; a previous selection is deleted.
    void setSelection(VellSelection *newSelection);
    // False without a selection object, else the selection's own answer.
    bool hasSelection() const;

    QString getFileName() const { return fileName; }
    void setFileName(const QString &name);   // emits fileNameChange(name)

    bool isSaveAble() const { return saveAble; }
    // Also enables or disables the host's "Save" command, when the host has
    // registered its commands with the action manager.
    void setSaveAble(bool enabled);

    VellHistory *getHistory() const { return history; }   // owned by the context
    VellHistoryMemo *getCurrentMemo() const { return currentMemo; }   // not owned
    bool isUndoing() const { return undoing; }
    // Sets the undoing flag and the memo being replayed together.
    void setUndoing(bool on, VellHistoryMemo *memo) { undoing = on; currentMemo = memo; }
    VellHistoryMemo *getLastMemo() const { return lastMemo; }
    // Takes ownership of a memo not yet in the history (null clears it, and
    // the caller then owns what was there).
    void setLastMemo(VellHistoryMemo *memo) { lastMemo = memo; }

    // Selection editing: while on, tools paint the grey-level copy of the
    // selection and undo goes through the selection-edit history. Entering
    // (only with a selection and not already editing) copies the mask into
    // the channel, clears the visible selection and sets the canvas's
    // colours to black on white; leaving writes the channel back. Both emit
    // selectionEditModeChanged and refresh the Undo and Redo commands.
    bool isEditingSelection() const { return editingSelection; }
    VellChannel *getChannelSelectionForEditing() const { return selectionChannel; }   // owned here
    VellSelectionEditHistory *getSelectionEditHistory() const { return selectionEditHistory; }
    void enterSelectionEditingMode();
    void exitSelectionEditingMode();

    // The tool working on this document (not owned). Setting it announces
    // the tool's description as the tool tip, an empty one for none.
    IVellTool *getCurrentTool() const { return currentTool; }
    void setCurrentTool(IVellTool *tool);

    void *getTag() const { return tag; }    // opaque to the library, not owned
    void setTag(void *hostTag) { tag = hostTag; }

    void setToolTimeInfo(const QString &timeInfo) { emit toolTimeInfoChange(timeInfo); }
    // Called by the host once it has written the file.
    void emitFileSaved(const QString &savedName, const QImage &thumb) { emit fileSaved(savedName, thumb); }
    // Called by tools once a filter covers the whole layer.
    void emitFilterAppliedEntire() { emit filterAppliedEntire(); }

    // ---- Whole-document geometry ----
    // The document's size: the canvas's while this is the current document
    // and a canvas shows it, else the selection's; invalid without either.
    QSize getDocumentSize() const;
    // Each operation turns, mirrors, scales or crops the whole document:
    // every layer of the stack, raster and text, then the document's size
    // (the canvas's, which resizes the selection, or the selection's
    // without a canvas). One canvas-and-layers memo, pushed after the
    // pending last memo, makes it one undo step that restores every layer's
    // pixels, mask, position, the size and the selection; redo repeats it.
    // The selection goes with the document (turned, mirrored, scaled with
    // smoothing, or cropped), and the canvas, if any, renders the document
    // again.
    //
    // Raster layers go through their own geometry (their masks with them)
    // and land where the document's map puts their rectangle; text layers
    // keep their text editable: turned and mirrored by their own operations
    // with the anchor placed by the document's map, scaled through the size
    // of their type (see resizeDocument).
    //
    // Refused, changing nothing, with the reason in getGeometryError() and
    // one log line: an angle other than -90, 90 and 180; a result that is
    // empty or beyond the settings' image limits; a crop that misses the
    // document; a document with no size, one whose selection is being
    // edited as an image, one the history is replaying, or one that is not
    // the canvas's current document; a layer that refuses its part (its
    // reason), after which the layers done so far are put back. Raster
    // layers need a GL context: the canvas's is made current, else the
    // caller's must be.
    //
    // rotateDocument(90) turns counter-clockwise, -90 clockwise, as layers do.
    bool rotateDocument(int degrees);
    bool flipDocument(bool leftRight);
    // Scales to exactly `size`: each raster layer to its size times
    // size / getDocumentSize() rounded (at least a pixel) with its own
    // interpolation, its position scaled and rounded; each text layer's
    // anchor scaled, and the point and pixel sizes of its text and font by
    // the geometric mean of the two factors, its text scale taking what is
    // left of unequal factors along the text's own axes (dropped for text
    // turned by other than a multiple of 90 degrees).
    bool resizeDocument(const QSize &size);
    // Keeps `rect` (document pixels) cut to the document: every layer moves
    // by minus its corner, and raster layers are cropped to it (those wholly
    // outside it only move).
    bool clipDocument(const QRect &rect);
    QString getGeometryError() const { return geometryError; }

    // Set by the host.
    bool batchFlag = false;
    bool quietFlag = false;
    // VellChannelBits masks. editingChannel: the channels tools may write;
    // displayingChannel: the channels the canvas shows (anything but All
    // makes it run its channel-display pass).
    int editingChannel = VellChannelBits::All;
    int displayingChannel = VellChannelBits::All;

signals:
    void canvasChange();
    void toolTimeInfoChange(QString timeInfo);
    void filterAppliedEntire();
    void toolTipInfoChange(QString tipInfo);
    void fileNameChange(QString fileName);
    void fileSaved(QString fileName, QImage thumb);
    void selectionEditModeChanged(bool);

private:
    bool refuseGeometry(const QString &reason);
    // The common frame of the whole-document operations: checks, the memo,
    // `step` on every layer of the stack (false: refused; the layers are put
    // back), then the new size, the selection (its coverage as a grey image
    // of the old size through `mapSelection`, which gives one of the new
    // size) and the canvas.
    bool transformDocument(const QSize &newSize, const std::function<bool(VellLayerBase *)> &step,
                           const std::function<QImage(const QImage &)> &mapSelection);

    QString fileName;
    QString geometryError;
    VellLayerManager *layerManager = nullptr;   // owned
    VellSelection *selection = nullptr;         // owned
    VellHistory *history = nullptr;             // owned
    VellHistoryMemo *currentMemo = nullptr;     // not owned
    VellHistoryMemo *lastMemo = nullptr;        // owned until pushed
    bool undoing = false;
    bool editingSelection = false;
    VellChannel *selectionChannel = nullptr;                   // owned, while editing
    VellSelectionEditHistory *selectionEditHistory = nullptr;  // QObject child, while editing
    bool saveAble = false;
    void *tag = nullptr;                        // not owned
    IVellTool *currentTool = nullptr;           // not owned

    friend QDataStream &operator>>(QDataStream &in, VellContext **context);
};

// Stream form of a whole document state: the layer stack (the layer
// manager's stream form), the selection (its stream form, which carries the
// document's size), editingChannel and displayingChannel as qint32, then the
// editing-selection flag as a bool, always false here since the selection is
// not yet edited as a channel. A document without a selection object is
// written with an unselected selection of its bottom layer's size (0 x 0
// without layers). The file name is not part of it. Writing a null document
// sets WriteFailed.
QDataStream &operator<<(QDataStream &out, VellContext *context);
// Allocates *context (the caller owns it): a parentless document named
// "Untitled Document" holding what the stream held. Reading needs no current
// document and leaves the context manager alone: the new document is neither
// registered nor made current, and records no memo. The selection read is
// the document's and gives its size. A truncated or corrupt
// stream (a set editing-selection flag included) leaves *context null with
// the stream's status set, having freed what it read. Layers read are
// activated, which makes textures: the canvas's GL context must be current.
QDataStream &operator>>(QDataStream &in, VellContext **context);

#endif // VELLCONTEXT_H
