#ifndef VELLBRIGHTNESSCONTRASTTOOL_H
#define VELLBRIGHTNESSCONTRASTTOOL_H

#include "tools/velltoolbase.h"
#include "tools/vellplugintool.h"

class QSlider;

// Brightness/Contrast: two parameters from -100 to 100 (0 leaves the
// picture as it is), two sliders that preview as they move, and the
// parameters as two 32-bit integers in the tool's records and presets.
class VellBrightnessContrastTool : public VellPluginTool<VellToolBase>
{
    Q_OBJECT

public:
    explicit VellBrightnessContrastTool(QObject *parent = nullptr);
    ~VellBrightnessContrastTool() override;

    void initParamWidget() override;
    VELL_TOOL_PARAMETER_HOOKS
    void passParamsToShader() override;

private:
    void forgetControls() override;
    void syncSliders();

    int brightness = 0;
    int contrast = 0;
    QSlider *brightnessSlider = nullptr;   // children of the widget
    QSlider *contrastSlider = nullptr;
};

#endif // VELLBRIGHTNESSCONTRASTTOOL_H
