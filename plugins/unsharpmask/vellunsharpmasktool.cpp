#include "vellunsharpmasktool.h"

#include <QDataStream>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGLShaderProgram>
#include <QSignalBlocker>

namespace {

// amount (%), radius (pixels), threshold (levels): minimum, maximum, default.
constexpr double kRanges[3][3] = {{0.0, 500.0, 100.0}, {0.1, 250.0, 2.0}, {0.0, 255.0, 0.0}};
const char *const kNames[3] = {"amount", "radius", "threshold"};

bool inRange(int i, double v)
{
    return v >= kRanges[i][0] && v <= kRanges[i][1];
}

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
    QVector<VellToolParameter> list;
    for (int i = 0; i < 3; ++i)
        list.append({QLatin1String(kNames[i]), texts[i], kRanges[i][0], kRanges[i][1], kRanges[i][2], false});
    return list;
}

double VellUnsharpMaskTool::parameterValue(const QString &parameter) const
{
    if (parameter == QLatin1String(kNames[0]))
        return amount;
    if (parameter == QLatin1String(kNames[1]))
        return double(getBlurRadius());
    if (parameter == QLatin1String(kNames[2]))
        return threshold;
    return 0.0;
}

bool VellUnsharpMaskTool::setParameterValue(const QString &parameter, double value)
{
    double values[3] = {amount, double(getBlurRadius()), threshold};
    for (int i = 0; i < 3; ++i) {
        if (parameter != QLatin1String(kNames[i]))
            continue;
        if (!inRange(i, value))
            return false;
        values[i] = value;
        set(values[0], values[1], values[2]);
        return true;
    }
    return false;
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
    amount = kRanges[0][2];
    threshold = kRanges[2][2];
    setBlurRadius(float(kRanges[1][2]));
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
        boxes[i]->setRange(kRanges[i][0], kRanges[i][1]);
        boxes[i]->setDecimals(i == 1 ? 1 : 0);
        form->addRow(labels[i], boxes[i]);
        connect(boxes[i], QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this, i](double value) {
            setParameterValue(QLatin1String(kNames[i]), value);
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
    if (in.status() != QDataStream::Ok || !inRange(0, values[0]) || !inRange(1, values[1])
        || !inRange(2, values[2]))
        return;
    set(values[0], values[1], values[2]);
}

VELL_PLUGIN_TOOL(VellUnsharpMaskTool, "Unsharp Mask")
