#include "vellmediantool.h"

#include "document/velllayer.h"
#include "gpu/vellgltexture2d.h"

#include <QDataStream>
#include <QFormLayout>
#include <QGLShaderProgram>
#include <QVector2D>
#include <QSignalBlocker>
#include <QSpinBox>

namespace {

constexpr int kMinimum = 1, kMaximum = 3, kDefault = 1;
constexpr int kBlockSide = 256;

} // namespace

VellMedianTool::VellMedianTool(QObject *parent) : VellPluginTool(parent)
{
    name = QStringLiteral("Median");
    toolId = QStringLiteral("median");
    version = QStringLiteral("1.0");
    info = tr("Replaces each channel by the median of its neighbourhood, removing specks and keeping edges.");
    shaderPath = QStringLiteral(":/median/median.glsl_");
    setBlockSizeX(kBlockSide);
    setBlockSizeY(kBlockSide);
}

VellMedianTool::~VellMedianTool() = default;

QVector<VellToolParameter> VellMedianTool::parameterList() const
{
    return {{QStringLiteral("radius"), tr("neighbourhood radius k: a (2k + 1) x (2k + 1) window"), kMinimum,
             kMaximum, kDefault, true}};
}

double VellMedianTool::parameterValue(const QString &parameter) const
{
    return parameter == QLatin1String("radius") ? radius : 0.0;
}

bool VellMedianTool::setParameterValue(const QString &parameter, double value)
{
    if (parameter != QLatin1String("radius") || !(value >= kMinimum && value <= kMaximum) || value != int(value))
        return false;
    setRadius(int(value));
    return true;
}

void VellMedianTool::setRadius(int k)
{
    radius = k;
    if (radiusBox) {
        const QSignalBlocker quiet(radiusBox);
        radiusBox->setValue(k);
    }
}

void VellMedianTool::initParams()
{
    setRadius(kDefault);
}

void VellMedianTool::initParamWidget()
{
    QFormLayout *form = makeWidget(tr("Median"));
    if (!form)
        return;
    radiusBox = new QSpinBox;
    radiusBox->setRange(kMinimum, kMaximum);
    radiusBox->setValue(radius);
    form->addRow(tr("Radius"), radiusBox);
    connect(radiusBox, QOverload<int>::of(&QSpinBox::valueChanged), this, [this](int value) {
        radius = value;
        apply();
    });
}

void VellMedianTool::forgetControls()
{
    radiusBox = nullptr;
}

void VellMedianTool::passParamsToShader()
{
    VellGLTexture2D *entire = layer ? layer->getEntireTexture() : nullptr;
    const QSizeF size = entire ? QSizeF(entire->getWidth(), entire->getHeight()) : QSizeF(1, 1);
    getProgram()->setUniformValue("radius", float(radius));
    getProgram()->setUniformValue("texel", QVector2D(float(1.0 / size.width()), float(1.0 / size.height())));
}

void VellMedianTool::serializeParams(QDataStream &out)
{
    out << qint32(radius);
}

void VellMedianTool::deserializeParams(QDataStream &in)
{
    qint32 k = 0;
    in >> k;
    // A short or corrupt record changes nothing.
    if (in.status() != QDataStream::Ok || k < kMinimum || k > kMaximum)
        return;
    setRadius(k);
}

VELL_PLUGIN_TOOL(VellMedianTool, "Median")
