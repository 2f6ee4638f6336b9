#include "vellunsharpmasktool.h"

#include <QDataStream>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGLShaderProgram>
#include <QSignalBlocker>

namespace {

// amount in percent, radius in pixels, threshold in levels of 255.
constexpr VellPluginParameter kParameters[3] = {
    {"amount", 0.0, 500.0, 100.0}, {"radius", 0.1, 250.0, 2.0}, {"threshold", 0.0, 255.0, 0.0}};

} // namespace

VellUnsharpMaskTool::VellUnsharpMaskTool(QObject *parent) : VellPluginTool(parent)
{
    name = QStringLiteral("Unsharp Mask");
    toolId = QStringLiteral("unsharp-mask");
    version = QStringLiteral("1.0");
    info = tr("Sharpens edges by adding back the difference from a blurred copy.");
    shaderPath = QStringLiteral(":/unsharpmask/unsharpMask.glsl_");
}

VellUnsharpMaskTool::~VellUnsharpMaskTool() = default;

QVector<VellToolParameter> VellUnsharpMaskTool::parameterList() const
{
    const QString texts[3] = {tr("strength in percent of the difference added back"),
                              tr("radius of the blurred copy in pixels"),
                              tr("smallest difference, in levels of 255, that is sharpened")};
    return vellParameterList(kParameters, texts);
}

double VellUnsharpMaskTool::parameterValue(const QString &parameter) const
{
    const double values[3] = {amount, double(getBlurRadius()), threshold};
    const int i = vellParameterIndex(kParameters, parameter);
    return i < 0 ? 0.0 : values[i];
}

bool VellUnsharpMaskTool::setParameterValue(const QString &parameter, double value)
{
    double values[3] = {amount, double(getBlurRadius()), threshold};
    const int i = vellParameterIndex(kParameters, parameter);
    if (i < 0 || !kParameters[i].contains(value))
        return false;
    values[i] = value;
    set(values[0], values[1], values[2]);
    return true;
}

void VellUnsharpMaskTool::set(double newAmount, double radius, double newThreshold)
{
    amount = newAmount;
    threshold = newThreshold;
    if (float(radius) != getBlurRadius())
        setBlurRadius(float(radius));   // a new blurred copy
    syncWidget();
}

void VellUnsharpMaskTool::syncWidget()
{
    const double values[3] = {amount, double(getBlurRadius()), threshold};
    for (int i = 0; i < 3; ++i)
        if (boxes[i]) {
            const QSignalBlocker quiet(boxes[i]);
            boxes[i]->setValue(values[i]);
        }
}

void VellUnsharpMaskTool::initParams()
{
    amount = kParameters[0].defaultValue;
    threshold = kParameters[2].defaultValue;
    setBlurRadius(float(kParameters[1].defaultValue));
    syncWidget();
}

void VellUnsharpMaskTool::initParamWidget()
{
    QFormLayout *form = makeWidget(tr("Unsharp Mask"));
    if (!form)
        return;
    const QString labels[3] = {tr("Amount (%)"), tr("Radius (px)"), tr("Threshold")};
    for (int i = 0; i < 3; ++i) {
        boxes[i] = new QDoubleSpinBox;
        boxes[i]->setRange(kParameters[i].minimum, kParameters[i].maximum);
        boxes[i]->setDecimals(i == 1 ? 1 : 0);
        form->addRow(labels[i], boxes[i]);
        connect(boxes[i], QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this, i](double value) {
            setParameterValue(QLatin1String(kParameters[i].name), value);
            apply();
        });
    }
    syncWidget();
}

void VellUnsharpMaskTool::forgetControls()
{
    for (QDoubleSpinBox *&box : boxes)
        box = nullptr;
}

void VellUnsharpMaskTool::passParamsToShader()
{
    VellToolGaussianBlurBased::passParamsToShader();
    getProgram()->setUniformValue("amount", float(amount / 100.0));
    getProgram()->setUniformValue("threshold", float(threshold));
}

void VellUnsharpMaskTool::serializeParams(QDataStream &out)
{
    out << amount << double(getBlurRadius()) << threshold;
}

void VellUnsharpMaskTool::deserializeParams(QDataStream &in)
{
    double values[3] = {};
    in >> values[0] >> values[1] >> values[2];
    // A short or corrupt record changes nothing.
    if (in.status() != QDataStream::Ok || !kParameters[0].contains(values[0]) || !kParameters[1].contains(values[1])
        || !kParameters[2].contains(values[2]))
        return;
    set(values[0], values[1], values[2]);
}

VELL_PLUGIN_TOOL(VellUnsharpMaskTool, "Unsharp Mask")
