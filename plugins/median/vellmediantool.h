#ifndef VELLMEDIANTOOL_H
#define VELLMEDIANTOOL_H

#include "tools/velltoolblockdivided.h"
#include "tools/vellplugintool.h"

class QSpinBox;

// Median: each channel becomes the median of its (2k + 1)^2 neighbourhood,
// k from 1 to 3, edges repeated; applied in blocks of 256 x 256 pixels. Its
// record is k as a 32-bit integer.
class VellMedianTool : public VellPluginTool<VellToolBlockDivided>
{
    Q_OBJECT

public:
    explicit VellMedianTool(QObject *parent = nullptr);
    ~VellMedianTool() override;

    void initParamWidget() override;
    VELL_TOOL_PARAMETER_HOOKS
    void passParamsToShader() override;

private:
    void forgetControls() override;
    void setRadius(int k);

    int radius = 1;
    QSpinBox *radiusBox = nullptr;     // child of the widget
};

#endif // VELLMEDIANTOOL_H
