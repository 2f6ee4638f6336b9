#ifndef VELLTOOLBASE_H
#define VELLTOOLBASE_H

#include "history/ivellreplaytool.h"
#include "tools/ivelltool.h"

#include <QByteArray>
#include <QCursor>
#include <QMutex>
#include <QPointer>
#include <QRectF>
#include <QStack>
#include <QStringList>
#include <QVector>
#include <QElapsedTimer>

#include <ctime>
#include <functional>
#include <memory>

class QDataStream;
class QGLShaderProgram;
class QImage;
class QTimer;
class VellCanvas;
class VellGLTexture2D;
class VellGLTextureLuminance;
class VellLayer;

// One parameter of a filter as hosts show and set it: a number between
// minimum and maximum (whole numbers only when integral).
struct VellToolParameter
{
    QString name;          // what a host names it by ("brightness")
    QString description;   // one line for listings
    double minimum = 0.0;
    double maximum = 0.0;
    double defaultValue = 0.0;
    bool integral = false;
};

// The framework of every GPU filter. A plug-in derives from it, names its
// fragment shader (shaderPath), builds its parameter widget and writes and
// reads its parameters; the base does the rest:
//  - activation on the document's active image layer (refused, with a
//    message, on text layers and while a mask or the selection is edited);
//  - a live preview into the layer's display texture, at most one every
//    3 ms: a request while busy is remembered and served on the next tick of
//    the canvas timer;
//  - the whole-layer apply, tile by tile into the layer's framebuffer tiles,
//    with a timing report, after recording the undo step (a replayable
//    parameter memo continuing a chain, else a full picture of the layer),
//    or, in batch mode, handing the step to the batch recorder;
//  - a parameter stack, and presets on disk in the data location's
//    "presets/filters/<tool name>/" with their display names beside them.
//
// Shader contract: unit 0 the source picture ("image"), unit 1 the
// selection's coverage ("selection", 1.0 selected), "channelMask" a vec4
// with 1.0 for each channel the document lets tools write (alpha 1.0);
// passParamsToShader() adds the tool's own uniforms. Every vertex carries
// unit 0 and unit 1 coordinates.
//
// Owns its shader program, busy timer, parameter stack and presets view.
// GUI thread, with the canvas's GL context current.
class VellToolBase : public IVellTool, public IVellReplayTool
{
    Q_OBJECT

public:
    explicit VellToolBase(QObject *parent = nullptr);
    ~VellToolBase() override;

    // ---- IVellTool ----
    void active(VellContext *context) override;
    void disActive() override;
    void init() override {}
    void release() override {}
    QWidget *getWidget() override { return nullptr; }
    // Apply-thread answers (acquired or not) request a preview; every event
    // counts as handled.
    bool event(QEvent *event) override;

    // ---- Hooks and steps a plug-in may override ----
    // Builds the program unless it was built on the present canvas: a
    // program is a name of its canvas's context, so an activation on another
    // canvas (one re-made, say) builds it again, dropping the old ones first
    // through dropPrograms().
    virtual void initShader();
    virtual void initParamWidget() {}
    virtual void initParams() {}
    virtual void showWidget() {}
    virtual void hideWidget() {}
    virtual void deleteWidget() {}
    virtual void setToolInfo() {}
    virtual void passTextures() {}          // extra units, before the program is bound
    virtual void passParamsToShader() {}    // the tool's own uniforms (program bound)
    virtual void preApply() {}
    // Asks for a preview: runs it now unless one ran in the last 3 ms, else
    // remembers the request for the next canvas tick.
    virtual void apply();
    virtual void actuallyApply();           // renders the preview now
    virtual void postApply() {}
    virtual void preApplyEntire() {}
    // Filters the whole active layer. Silent: no timing report, no signal,
    // no canvas render (the history replays this way).
    virtual void applyEntire(bool silent);
    virtual void postApplyEntire() {}
    virtual void restoreData();             // the unfiltered display texture back
    virtual void ok();
    virtual void reset();
    virtual void resetDefault();
    virtual void cancel();
    virtual void serializeParams(QDataStream &out) { Q_UNUSED(out) }
    // The parameter record serializeParams() writes, as the bytes presets,
    // batch steps and undo keep.
    QByteArray parameterBytes();
    virtual void deserializeParams(QDataStream &in) { Q_UNUSED(in) }
    virtual bool isSupportWheel() { return supportsWheel; }
    virtual bool isChannelSupported() { return channelSupported; }
    virtual void setChannelSupported(bool supported) { channelSupported = supported; }
    virtual bool getPreview(QImage *image) { Q_UNUSED(image) return false; }
    // The parameters a host may set by name, in the tool's order; none by
    // default. setParameterValue takes a value within the parameter's range
    // (false for an unknown name or a value outside it, nothing changed).
    virtual QVector<VellToolParameter> parameterList() const { return {}; }
    virtual double parameterValue(const QString &parameter) const { Q_UNUSED(parameter) return 0.0; }
    virtual bool setParameterValue(const QString &parameter, double value)
    {
        Q_UNUSED(parameter) Q_UNUSED(value) return false;
    }
    virtual void initBusyTimer();
    // Records the apply about to happen (see the class comment).
    virtual void processUndo(bool silent);

    // ---- Presets (velltoolbasepresets.cpp) ----
    virtual void updatePresetThumbs(VellLayer *layer);
    // The tool's program over `source` (the preset preview region of the
    // layer), as an image; null image without a program.
    virtual QImage getPresetPreview(VellLayer *layer, VellGLTexture2D *source);
    virtual int getPresetCount() { return presetNames.size(); }
    virtual QStringList getPresetNames() { return presetNames; }
    virtual void loadPreset(int index);
    virtual void loadPreset(const QString &name);   // a file of the tool's preset folder
    virtual void saveCurrentPreset();
    virtual void initAllPresets();
    virtual QString getPresetsPath();               // made when missing
    virtual void pushParam();
    virtual void popParam();
    virtual void clearParamBuffers() { paramStack.clear(); }

    static QString presetPath();   // the data location's "/presets/filters/"
    IVellPresetsView *getPresetsWidget() const { return presetsView.get(); }

    // ---- IVellReplayTool (the history's parameter memos) ----
    QString getName() const override { return IVellTool::getName(); }
    void restoreParameters(QDataStream &in) override { deserializeParams(in); }
    void applyToEntireLayer() override { applyEntire(true); }

    // Seams the presets and batch floor fills: the maker of a tool's presets
    // browser (none: presets work without thumbnails), and the recorder of a
    // batch step (tool id, the host action's text, the parameters).
    using PresetsViewMaker = std::function<IVellPresetsView *(VellToolBase *tool)>;
    using BatchRecorder = std::function<void(VellContext *document, const QString &toolId,
                                             const QString &actionText, const QByteArray &parameters)>;
    static void setPresetsViewMaker(PresetsViewMaker maker);
    static void setBatchRecorder(BatchRecorder recorder);

    QGLShaderProgram *getProgram() const { return program.get(); }
    bool isBusy() const { return busy; }
    bool isPreviewUpToDate() const { return previewUpToDate; }
    bool isApplying() const { return applying; }
    QString getShaderPath() const { return shaderPath; }

public slots:
    void onTimeout();                  // the canvas's tick: serves a remembered request
    void onApplyAcquired(bool acquired);
    void onBusyTimeout();

protected:
    // Drops the programs built on the canvas they were built on, with its
    // context current while it exists (a program whose context is gone lost
    // its name with it). A base with programs of its own drops them too and
    // calls this one.
    virtual void dropPrograms();

    // The name a new preset is saved under: asks the user (a modal dialog);
    // an empty or null answer cancels. Tests answer for the user.
    virtual QString askPresetName(const QString &proposal);
    // Whether an existing preset may be overwritten (a modal question).
    virtual bool confirmOverwrite(const QString &name);
    // The text of the host action named after the tool, or empty.
    QString actionText() const;
    // The coverage texture of the document's selection, or an all-selected
    // one when the document has none. Needs the canvas's context current.
    unsigned int selectionTexture();
    // The layer the tool works on now, when it is an image layer; shows
    // applyTextLayerMessage() for a text layer.
    VellLayer *currentImageLayer(bool reportText);
    // What a preview or an apply says when the active layer is a text layer.
    virtual QString applyTextLayerMessage() const;

    // What every whole-layer apply does around drawing its tiles. begin marks
    // the tool busy, records the undo step (or the batch step) and returns
    // the layer to draw into, its tiles made and preApplyEntire() done, or
    // null with the busy state undone. finish copies the tiles back, calls
    // postApplyEntire(), reports the time and refreshes the view.
    struct ApplyRun
    {
        std::clock_t started = 0;
        QCursor cursor;
    };
    VellLayer *beginApplyEntire(bool silent, ApplyRun &run);
    void finishApplyEntire(VellLayer *image, const ApplyRun &run, bool silent);

    VellContext *context = nullptr;       // not owned
    VellLayer *layer = nullptr;           // not owned
    QRectF thumbRegion;                   // layer pixels the display texture covers
    QRectF selectionCoords;               // that region in the selection texture
    QRectF thumbCoords;                   // that region in the entire texture
    QElapsedTimer clock;                  // started at construction, for plug-ins
    int reservedInt = 50;
    float thumbWidth = 0.0f, thumbHeight = 0.0f;
    bool previewUpToDate = true;
    bool reservedFlag = false;
    bool applying = false;
    bool supportsWheel = true;
    bool channelSupported = true;
    bool widgetBuilt = false;
    QString shaderPath;                   // the plug-in's enciphered shader resource
    float reservedFloat = 1.0f;
    QMutex mutex;                         // for plug-ins; the base never locks it
    QStack<QByteArray> paramStack;
    QStringList presetNames;
    bool cropPresetThumbs = false;
    bool refreshPresetsOnActivation = true;
    QRectF presetPreviewRegion;
    QTimer *busyTimer = nullptr;          // child of the tool
    bool busy = false;
    void *reservedPointer = nullptr;

private:
    // One pass of the program into `target` (width x height texels): unit 0
    // `source` at sourceCoords, unit 1 the selection at selectionCoords,
    // cleared to opaque black first. False when nothing could be drawn.
    bool renderProgram(unsigned int target, int width, int height, unsigned int source,
                       const QRectF &sourceCoords, const QRectF &selectionRegion);
    void requestPreview();
    void refreshHistogramAfterRestore();

    std::unique_ptr<QGLShaderProgram> program;
    QPointer<VellCanvas> programCanvas;   // whose context holds the programs; null once it is gone
    std::unique_ptr<VellGLTextureLuminance> allSelected;   // 1 x 1, made on demand
    std::unique_ptr<IVellPresetsView> presetsView;

    static PresetsViewMaker presetsViewMaker;
    static BatchRecorder batchRecorder;
};

#endif // VELLTOOLBASE_H
