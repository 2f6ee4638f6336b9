#ifndef VELLGAUSSIANBLURTOOL_H
#define VELLGAUSSIANBLURTOOL_H

#include "tools/velltoolgaussianblurbased.h"
#include "tools/vellplugintool.h"

class QDoubleSpinBox;

// Gaussian Blur: one parameter, the radius in layer pixels (0.1 to 250;
// sigma is a third of it), previewed from the blur cascade like the apply.
// Its record is the radius as a 64-bit float.
class VellGaussianBlurTool : public VellPluginTool<VellToolGaussianBlurBased>
{
    Q_OBJECT

public:
    explicit VellGaussianBlurTool(QObject *parent = nullptr);
    ~VellGaussianBlurTool() override;

    void initParamWidget() override;
    VELL_TOOL_PARAMETER_HOOKS

private:
    void forgetControls() override;
    void setRadius(double radius);

    QDoubleSpinBox *radiusBox = nullptr;       // child of the widget
};

#endif // VELLGAUSSIANBLURTOOL_H
