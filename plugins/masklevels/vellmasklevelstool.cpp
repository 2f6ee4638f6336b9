#include "vellmasklevelstool.h"

#include <QDataStream>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGLShaderProgram>
#include <QSignalBlocker>

namespace {

// black and white in levels of 255, gamma.
constexpr VellPluginParameter kParameters[3] = {
    {"black", 0.0, 255.0, 0.0}, {"white", 0.0, 255.0, 255.0}, {"gamma", 0.1, 10.0, 1.0}};

} // namespace

VellMaskLevelsTool::VellMaskLevelsTool(QObject *parent) : VellPluginTool(parent)
{
    name = QStringLiteral("Mask Levels");
    toolId = QStringLiteral("mask-levels");
    version = QStringLiteral("1.0");
    info = tr("Sets the black point, white point and gamma of the layer's mask.");
    shaderPath = QStringLiteral(":/masklevels/maskLevels.glsl_");
}

VellMaskLevelsTool::~VellMaskLevelsTool() = default;

QVector<VellToolParameter> VellMaskLevelsTool::parameterList() const
{
    const QString texts[3] = {tr("mask level that becomes fully hidden (0 to 255)"),
                              tr("mask level that becomes fully shown (0 to 255)"),
                              tr("gamma of the levels between (above 1 shows more)")};
    return vellParameterList(kParameters, texts);
}

double VellMaskLevelsTool::parameterValue(const QString &parameter) const
{
    const int i = vellParameterIndex(kParameters, parameter);
    return i < 0 ? 0.0 : values[i];
}

bool VellMaskLevelsTool::setParameterValue(const QString &parameter, double value)
{
    const int i = vellParameterIndex(kParameters, parameter);
    if (i < 0 || !kParameters[i].contains(value))
        return false;
    values[i] = value;
    syncWidget();
    return true;
}

void VellMaskLevelsTool::syncWidget()
{
    for (int i = 0; i < 3; ++i)
        if (boxes[i]) {
            const QSignalBlocker quiet(boxes[i]);
            boxes[i]->setValue(values[i]);
        }
}

void VellMaskLevelsTool::initParams()
{
    for (int i = 0; i < 3; ++i)
        values[i] = kParameters[i].defaultValue;
    syncWidget();
}

void VellMaskLevelsTool::initParamWidget()
{
    QFormLayout *form = makeWidget(tr("Mask Levels"));
    if (!form)
        return;
    const QString labels[3] = {tr("Black"), tr("White"), tr("Gamma")};
    for (int i = 0; i < 3; ++i) {
        boxes[i] = new QDoubleSpinBox;
        boxes[i]->setRange(kParameters[i].minimum, kParameters[i].maximum);
        boxes[i]->setDecimals(i == 2 ? 2 : 0);
        boxes[i]->setSingleStep(i == 2 ? 0.1 : 1.0);
        form->addRow(labels[i], boxes[i]);
        connect(boxes[i], QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this, i](double value) {
            values[i] = value;
            apply();
        });
    }
    syncWidget();
}

void VellMaskLevelsTool::forgetControls()
{
    for (QDoubleSpinBox *&box : boxes)
        box = nullptr;
}

void VellMaskLevelsTool::passParamsToShader()
{
    getProgram()->setUniformValue("black", float(values[0] / 255.0));
    getProgram()->setUniformValue("white", float(values[1] / 255.0));
    getProgram()->setUniformValue("gamma", float(values[2]));
}

void VellMaskLevelsTool::serializeParams(QDataStream &out)
{
    out << values[0] << values[1] << values[2];
}

void VellMaskLevelsTool::deserializeParams(QDataStream &in)
{
    double read[3] = {};
    in >> read[0] >> read[1] >> read[2];
    // A short or corrupt record changes nothing.
    if (in.status() != QDataStream::Ok || !kParameters[0].contains(read[0]) || !kParameters[1].contains(read[1])
        || !kParameters[2].contains(read[2]))
        return;
    for (int i = 0; i < 3; ++i)
        values[i] = read[i];
    syncWidget();
}

VELL_PLUGIN_TOOL(VellMaskLevelsTool, "Mask Levels")
