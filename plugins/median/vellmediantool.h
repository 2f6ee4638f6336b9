#ifndef VELLMEDIANTOOL_H
#define VELLMEDIANTOOL_H

#include "tools/velltoolblockdivided.h"

#include <memory>

class QSpinBox;
class QWidget;

// Median: each channel becomes the median of its (2k + 1)^2 neighbourhood,
// k from 1 to 3, edges repeated; applied in blocks of 256 x 256 pixels. Its
// record is k as a 32-bit integer.
class VellMedianTool : public VellToolBlockDivided
{
    Q_OBJECT

public:
    explicit VellMedianTool(QObject *parent = nullptr);
    ~VellMedianTool() override;

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
    void setRadius(int k);

    int radius = 1;
    std::unique_ptr<QWidget> widget;   // made on first activation
    QSpinBox *radiusBox = nullptr;     // child of the widget
};

#endif // VELLMEDIANTOOL_H
