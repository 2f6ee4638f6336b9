#ifndef VELLUNSHARPMASKTOOL_H
#define VELLUNSHARPMASKTOOL_H

#include "tools/velltoolgaussianblurbased.h"

#include <memory>

class QDoubleSpinBox;
class QWidget;

// Unsharp Mask: amount (0 to 500 %), radius of the blurred copy (0.1 to 250
// layer pixels) and threshold (0 to 255 levels); the preview and the apply
// read the same single blurred image. Its record is the three values as
// 64-bit floats, amount, radius, threshold.
class VellUnsharpMaskTool : public VellToolGaussianBlurBased
{
    Q_OBJECT

public:
    explicit VellUnsharpMaskTool(QObject *parent = nullptr);
    ~VellUnsharpMaskTool() override;

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
    void set(double newAmount, double radius, double newThreshold);
    void syncWidget();

    double amount = 100.0;
    double threshold = 0.0;
    std::unique_ptr<QWidget> widget;             // made on first activation
    QDoubleSpinBox *boxes[3] = {};               // amount, radius, threshold; children of the widget
};

#endif // VELLUNSHARPMASKTOOL_H
