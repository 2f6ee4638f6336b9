#ifndef VELLBRIGHTNESSCONTRASTTOOL_H
#define VELLBRIGHTNESSCONTRASTTOOL_H

#include "tools/velltoolbase.h"

#include <memory>

class QSlider;
class QWidget;

// Brightness/Contrast: two parameters from -100 to 100 (0 leaves the
// picture as it is), two sliders that preview as they move, and the
// parameters as two 32-bit integers in the tool's records and presets.
class VellBrightnessContrastTool : public VellToolBase
{
    Q_OBJECT

public:
    explicit VellBrightnessContrastTool(QObject *parent = nullptr);
    ~VellBrightnessContrastTool() override;

    QWidget *getWidget() override { return widget.get(); }
    void initParamWidget() override;
    void initParams() override;
    void showWidget() override;
    void hideWidget() override;
    void deleteWidget() override;
    void passParamsToShader() override;
    void serializeParams(QDataStream &out) override;
    void deserializeParams(QDataStream &in) override;

    QVector<VellToolParameter> parameterList() const override;
    double parameterValue(const QString &parameter) const override;
    bool setParameterValue(const QString &parameter, double value) override;

private:
    void syncSliders();

    int brightness = 0;
    int contrast = 0;
    std::unique_ptr<QWidget> widget;   // the parameter widget, made on first activation
    QSlider *brightnessSlider = nullptr;   // children of the widget
    QSlider *contrastSlider = nullptr;
};

#endif // VELLBRIGHTNESSCONTRASTTOOL_H
