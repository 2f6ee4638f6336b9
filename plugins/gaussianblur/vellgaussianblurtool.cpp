#include "vellgaussianblurtool.h"

#include <QDataStream>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QSignalBlocker>

namespace {

constexpr double kMinimum = 0.1, kMaximum = 250.0, kDefault = 5.0;

} // namespace

VellGaussianBlurTool::VellGaussianBlurTool(QObject *parent) : VellPluginTool(parent)
{
    name = QStringLiteral("Gaussian Blur");
    toolId = QStringLiteral("gaussian-blur");
    version = QStringLiteral("1.0");
    info = tr("Softens the picture with a Gaussian kernel of the given radius.");
    shaderPath = QStringLiteral(":/gaussianblur/gaussianBlurTool.glsl_");
    cascadePreview = true;
    setBlurRadius(float(kDefault));
}

VellGaussianBlurTool::~VellGaussianBlurTool() = default;

QVector<VellToolParameter> VellGaussianBlurTool::parameterList() const
{
    return {{QStringLiteral("radius"), tr("blur radius in pixels (sigma is a third of it)"), kMinimum, kMaximum,
             kDefault, false}};
}

double VellGaussianBlurTool::parameterValue(const QString &parameter) const
{
    return parameter == QLatin1String("radius") ? double(getBlurRadius()) : 0.0;
}

bool VellGaussianBlurTool::setParameterValue(const QString &parameter, double value)
{
    if (parameter != QLatin1String("radius") || !(value >= kMinimum && value <= kMaximum))
        return false;
    setRadius(value);
    return true;
}

void VellGaussianBlurTool::setRadius(double radius)
{
    setBlurRadius(float(radius));
    if (radiusBox) {
        const QSignalBlocker quiet(radiusBox);
        radiusBox->setValue(radius);
    }
}

void VellGaussianBlurTool::initParams()
{
    setRadius(kDefault);
}

void VellGaussianBlurTool::initParamWidget()
{
    QFormLayout *form = makeWidget(tr("Gaussian Blur"));
    if (!form)
        return;
    radiusBox = new QDoubleSpinBox;
    radiusBox->setRange(kMinimum, kMaximum);
    radiusBox->setDecimals(1);
    radiusBox->setSuffix(tr(" px"));
    radiusBox->setValue(double(getBlurRadius()));
    form->addRow(tr("Radius"), radiusBox);
    connect(radiusBox, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this](double value) {
        setBlurRadius(float(value));
        apply();
    });
}

void VellGaussianBlurTool::forgetControls()
{
    radiusBox = nullptr;
}

void VellGaussianBlurTool::serializeParams(QDataStream &out)
{
    out << double(getBlurRadius());
}

void VellGaussianBlurTool::deserializeParams(QDataStream &in)
{
    double radius = 0.0;
    in >> radius;
    // A short or corrupt record changes nothing.
    if (in.status() != QDataStream::Ok || !(radius >= kMinimum && radius <= kMaximum))
        return;
    setRadius(radius);
}

VELL_PLUGIN_TOOL(VellGaussianBlurTool, "Gaussian Blur")
