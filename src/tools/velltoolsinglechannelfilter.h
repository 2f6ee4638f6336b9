#ifndef VELLTOOLSINGLECHANNELFILTER_H
#define VELLTOOLSINGLECHANNELFILTER_H

#include "tools/velltoolbase.h"


#include <memory>

class QGLShaderProgram;
class VellChannel;
class VellLayerMask;

// The base of filters that work on the grey-level mask of the active layer
// instead of its colours. Activation keeps a copy of the mask (the backup);
// every preview renders the tool's program from the backup into the mask's
// own texture, so the canvas shows the result live and previews never
// compound; ok() reads the texture back into the mask's bytes, after
// recording the mask as it was ("Mask Change") so that Undo brings it back;
// cancel() and reset() copy the backup over the mask.
//
// The program gets only "image" (unit 0, the backup) and what passTextures()
// and passParamsToShader() add; its output's grey (red) value becomes the
// mask. There is no selection and no channel mask for this family. Previews
// run only while the layer edits its mask. Unlike the base, activation does
// not lock the host's UI.
//
// Owns the backup; the mask belongs to its layer. GUI thread, with the
// canvas's context current.
class VellToolSingleChannelFilter : public VellToolBase
{
    Q_OBJECT

public:
    explicit VellToolSingleChannelFilter(QObject *parent = nullptr);
    ~VellToolSingleChannelFilter() override;

    void active(VellContext *context) override;
    void disActive() override;
    void ok() override;
    void restoreData() override;
    void actuallyApply() override;
    // The mask version; the colour apply of the base never runs for a mask
    // filter, so the history's and hosts' silent applies land here too.
    void applyEntire(bool silent) override;

    VellLayerMask *getMask() const { return mask; }
    VellChannel *getBackup() const { return backup.get(); }

public slots:
    virtual void applyEntire();

private:
    // The image layer of the stored document when it edits its mask.
    VellLayer *maskEditingLayer() const;
    bool renderPreview(VellLayer *image);

    VellLayerMask *mask = nullptr;          // not owned (the layer's)
    std::unique_ptr<VellChannel> backup;    // the mask as it was at activation
};

#endif // VELLTOOLSINGLECHANNELFILTER_H
