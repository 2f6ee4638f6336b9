#ifndef VELLMASKLEVELSTOOL_H
#define VELLMASKLEVELSTOOL_H

#include "tools/velltoolsinglechannelfilter.h"

#include <memory>

class QDoubleSpinBox;
class QWidget;

// Mask Levels: black point and white point (0 to 255) and gamma (0.1 to
// 10) on the active layer's mask, while the layer edits its mask. Its
// record is the three values as 64-bit floats, black, white, gamma.
class VellMaskLevelsTool : public VellToolSingleChannelFilter
{
    Q_OBJECT

public:
    explicit VellMaskLevelsTool(QObject *parent = nullptr);
    ~VellMaskLevelsTool() override;

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
    void syncWidget();

    double values[3] = {0.0, 255.0, 1.0};   // black, white, gamma
    std::unique_ptr<QWidget> widget;         // made on first activation
    QDoubleSpinBox *boxes[3] = {};           // children of the widget
};

#endif // VELLMASKLEVELSTOOL_H
