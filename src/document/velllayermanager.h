#ifndef VELLLAYERMANAGER_H
#define VELLLAYERMANAGER_H

#include "document/velllayerbase.h"

#include <QVector>
#include <QVectorIterator>

#include <functional>
#include <optional>

class QDataStream;
class VellTextLayer;

// A document's layer stack: the layers from bottom (index 0) to top, the
// active layer that tools edit, the selected layers, and every layer object
// the document still needs for undo. Announces each change to the host's
// layers panel and the canvas through signals. It is itself a layer (a stack
// can be handled as one layer) but overrides none of the layer operations.
//
// Also decides, when the active layer changes, whether the layer that was
// active may keep its full-resolution texture (VellLayer::shouldDropFullTexture).
//
// Owns every layer in getAllLayers(), also those taken off the stack and kept
// for undo, and deletes them when destroyed; layers have no QObject parent.
// GUI thread only; deleting a raster layer or changing the active one touches
// textures, so the canvas's GL context must be current then.
class VellLayerManager : public VellLayerBase
{
    Q_OBJECT

public:
    // What the manager needs from the current document. The document model is
    // built on the manager, so it installs the probe when its list of
    // documents comes into being; no probe, or one that returns no value,
    // means there is no current document, and then every change of the stack
    // does nothing. Tests install their own.
    struct Document
    {
        bool quiet = false;   // no layerActive, layerChange or layerListChanged
        // Undo recording: pushes the document's pending memo to its history;
        // then pushes a memo capturing `manager`'s stack as it is before the
        // change. Either may be empty: nothing of that is recorded.
        std::function<void()> flushPendingMemo;
        std::function<void(VellLayerManager *manager)> pushListChangeMemo;
    };
    using DocumentProbe = std::function<std::optional<Document>()>;
    // Set once at start-up on the GUI thread.
    static void setDocumentProbe(DocumentProbe probe);
    static std::optional<Document> currentDocument();

    VellLayerManager();
    // Tells the active layer disactive(false), deletes every owned layer.
    ~VellLayerManager() override;
    Q_DISABLE_COPY(VellLayerManager)

    const QVector<VellLayerBase *> &getLayers() const { return layers; }
    const QVector<VellLayerBase *> &getAllLayers() const { return allLayers; }
    const QVector<VellLayerBase *> &getSelectedLayers() const { return selectedLayers; }
    int getLayerCount() const { return layers.size(); }
    VellLayerBase *getLayer(int index) const { return layers[index]; }   // 0 .. count - 1
    int getLayerIndex(VellLayerBase *layer) const;   // -1 when absent or null
    VellLayerBase *getLayerByPermanentIndex(int permanentIndex) const;   // null when absent
    // True for a layer the manager does not own yet.
    bool isNewLayer(VellLayerBase *layer) const { return !allLayers.contains(layer); }
    QVectorIterator<VellLayerBase *> getIterator() const { return QVectorIterator<VellLayerBase *>(layers); }
    // With no active layer but a non-empty stack, the bottom layer is made
    // active first.
    VellLayerBase *getActiveLayer();
    // The active layer as it stands, without activating one.
    VellLayerBase *currentActiveLayer() const { return activeLayer; }
    // The next permanent index to give out; the stream form keeps it.
    int getNextPermanentIndex() const { return nextPermanentIndex; }

    // Changes of the stack. `record` asks for an undo memo. Without a current
    // document each does nothing; a layer that is not in the stack, or an
    // index or offset outside it, does nothing.
    //
    // addLayer: takes ownership; puts the layer directly above the active one
    // (the bottom one becomes active when none is), or alone into an empty
    // stack; gives it a permanent index when it has none; makes it the active
    // and only selected layer. Quiet mode keeps its signals back except the
    // layerListChanged() that unselectDisactiveLayers() always emits.
    void addLayer(VellLayerBase *layer, bool record);
    // Takes ownership and puts the layer at `index` (0 .. count), giving it a
    // permanent index when it has none. A layer without one is refused (as by
    // addLayer) once the next index has reached INT_MAX. No memo, signal or activation: the
    // caller does those.
    void insertLayer(VellLayerBase *layer, int index, bool record);
    // Takes the layer off the stack; the one below it (the one above for the
    // bottom layer) becomes active first. A raster layer's newer GPU pixels
    // are read back and its textures dropped. The layer is kept for undo,
    // except in quiet mode, where it is deleted at once (no memo either).
    void deleteLayer(VellLayerBase *layer, bool record);
    // Moves the layer by `offset` places (positive is up). The active layer
    // stays. Records even in quiet mode.
    void moveLayer(VellLayerBase *layer, int offset, bool record);

    // An index not below the count (-1 included) leaves no active layer and
    // changes nothing else. Otherwise the layer that was active is deactivated
    // (dropping its full-resolution texture when the new one needs the room),
    // the new one is activated and selected.
    void setActiveLayer(unsigned int index);
    void activeLayerByPermanentIndex(unsigned int permanentIndex);
    // Rebuilds the selected list from the layers' selected flags, bottom first.
    void updateSelectedLayers();
    // Only the active layer stays selected; always emits layerListChanged().
    void unselectDisactiveLayers();
    void updateLayerList();
    // Replaces the whole stack by `stack`, as an undo of a list change does:
    // every layer must already be owned (false, changing nothing, otherwise
    // or for a layer named twice). A layer that was active and is not in the
    // new stack stops being active (keeping no full-resolution texture) and
    // none is then active. No memo and no signal: the caller activates and
    // announces.
    bool setLayerList(const QVector<VellLayerBase *> &stack);
    // Every raster layer in the stack but the active one drops its
    // full-resolution texture: what the recovery from exhausted memory asks for.
    void deleteFullTextureInDisactiveLayers();

    // Turns a text layer of the stack into a raster layer in its place, after
    // the text-pixelation dialog has asked how far to grow it: the rendering
    // at scale 1.0 with the margins (clipped to the document), or the whole
    // document, in pixels taken from the memory budget; the raster layer gets
    // the text layer's name, opacity and visibility and becomes active. The
    // margins count from the rendering's corner (the text's bounding
    // rectangle, which is the position for unturned text). Nothing happens
    // without a current document and canvas, for empty text, when the dialog
    // is cancelled or the grown rectangle misses the document. Records a
    // list-change memo unless quiet. The dialog is modal: GUI thread, and
    // the canvas's GL context becomes current.
    void pixelateTextLayer(VellTextLayer *textLayer);
    // The same for the layer at `index` when it is a text layer.
    void pixelateTextLayer(int index);

signals:
    // Declared for the host; no operation here emits the first two.
    void layerAdd(int index, VellLayerBase *layer);
    void layerDelete(int index);
    void layerActive(int index);
    void layerChange(int index);
    void layerListChanged();

public slots:
    void onLayerChanged();   // a stacked layer's layerChanged()

private:
    // The stack operations behind the public ones, for callers that have
    // already settled the document question (the stream reader has none).
    void addToStack(VellLayerBase *layer, bool quiet);
    void activate(int index, bool quiet);
    // Whether the layer can be owned: it has a permanent index, or one is
    // left to give it (indices stop at INT_MAX rather than wrapping).
    bool canOwn(const VellLayerBase *layer) const;
    void own(VellLayerBase *layer);

    QVector<VellLayerBase *> layers;           // the stack, bottom first; not a separate ownership
    QVector<VellLayerBase *> selectedLayers;   // those with the selected flag, in stack order
    QVector<VellLayerBase *> allLayers;        // owned, each once
    VellLayerBase *activeLayer = nullptr;      // one of layers, or null
    int nextPermanentIndex = 0;

    friend QDataStream &operator>>(QDataStream &in, VellLayerManager **manager);
};

// Stream form: the next permanent index (qint32), the number of entries
// (qint32), then per layer, bottom first, a QString tag ("VellLayer" or
// "VellTextLayer") and the layer's own record. Layers of other kinds are not
// written; the count is that of the entries written. Writing a null manager
// sets WriteFailed.
QDataStream &operator<<(QDataStream &out, VellLayerManager *manager);
// Allocates *manager (the caller owns it) and adds each layer read as
// addLayer does, but without a memo, without signals and without needing a
// current document; each raster layer's latest place is then 0 (host only).
// A text layer's record that does not read cleanly ends the stack like any
// other.
// An entry with an unknown tag is skipped (it has no record). A truncated or
// corrupt stream leaves *manager null with the status set, having freed what
// it read, and never allocates more than the stream can supply. Activating
// the layers read makes textures: the canvas's context must be current.
QDataStream &operator>>(QDataStream &in, VellLayerManager **manager);

#endif // VELLLAYERMANAGER_H
