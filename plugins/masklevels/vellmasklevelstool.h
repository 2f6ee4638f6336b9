#ifndef VELLMASKLEVELSTOOL_H
#define VELLMASKLEVELSTOOL_H

#include "tools/velltoolsinglechannelfilter.h"
#include "tools/vellplugintool.h"

class QDoubleSpinBox;

// Mask Levels: black point and white point (0 to 255) and gamma (0.1 to
// 10) on the active layer's mask, while the layer edits its mask. Its
// record is the three values as 64-bit floats, black, white, gamma.
class VellMaskLevelsTool : public VellPluginTool<VellToolSingleChannelFilter>
{
    Q_OBJECT

public:
    explicit VellMaskLevelsTool(QObject *parent = nullptr);
    ~VellMaskLevelsTool() override;

    void initParamWidget() override;
    VELL_TOOL_PARAMETER_HOOKS
    void passParamsToShader() override;

private:
    void forgetControls() override;
    void syncWidget();

    double values[3] = {0.0, 255.0, 1.0};   // black, white, gamma
    QDoubleSpinBox *boxes[3] = {};           // children of the widget
};

#endif // VELLMASKLEVELSTOOL_H
