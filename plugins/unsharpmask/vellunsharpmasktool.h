#ifndef VELLUNSHARPMASKTOOL_H
#define VELLUNSHARPMASKTOOL_H

#include "tools/velltoolgaussianblurbased.h"
#include "tools/vellplugintool.h"

class QDoubleSpinBox;

// Unsharp Mask: amount (0 to 500 %), radius of the blurred copy (0.1 to 250
// layer pixels) and threshold (0 to 255 levels); the preview and the apply
// read the same single blurred image. Its record is the three values as
// 64-bit floats, amount, radius, threshold.
class VellUnsharpMaskTool : public VellPluginTool<VellToolGaussianBlurBased>
{
    Q_OBJECT

public:
    explicit VellUnsharpMaskTool(QObject *parent = nullptr);
    ~VellUnsharpMaskTool() override;

    void initParamWidget() override;
    VELL_TOOL_PARAMETER_HOOKS
    void passParamsToShader() override;

private:
    void forgetControls() override;
    void set(double newAmount, double radius, double newThreshold);
    void syncWidget();

    double amount = 100.0;
    double threshold = 0.0;
    QDoubleSpinBox *boxes[3] = {};               // amount, radius, threshold; children of the widget
};

#endif // VELLUNSHARPMASKTOOL_H
