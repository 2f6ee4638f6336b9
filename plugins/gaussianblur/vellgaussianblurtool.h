#ifndef VELLGAUSSIANBLURTOOL_H
#define VELLGAUSSIANBLURTOOL_H

#include "tools/velltoolgaussianblurbased.h"

#include <memory>

class QDoubleSpinBox;
class QWidget;

// Gaussian Blur: one parameter, the radius in layer pixels (0.1 to 250;
// sigma is a third of it), previewed from the blur cascade like the apply.
// Its record is the radius as a 64-bit float.
class VellGaussianBlurTool : public VellToolGaussianBlurBased
{
    Q_OBJECT

public:
    explicit VellGaussianBlurTool(QObject *parent = nullptr);
    ~VellGaussianBlurTool() override;

    QWidget *getWidget() override { return widget.get(); }
    void initParamWidget() override;
    void initParams() override;
    void showWidget() override;
    void hideWidget() override;
    void deleteWidget() override;
    void serializeParams(QDataStream &out) override;
    void deserializeParams(QDataStream &in) override;

    QVector<VellToolParameter> parameterList() const override;
    double parameterValue(const QString &parameter) const override;
    bool setParameterValue(const QString &parameter, double value) override;

private:
    void setRadius(double radius);

    std::unique_ptr<QWidget> widget;           // made on first activation
    QDoubleSpinBox *radiusBox = nullptr;       // child of the widget
};

#endif // VELLGAUSSIANBLURTOOL_H
