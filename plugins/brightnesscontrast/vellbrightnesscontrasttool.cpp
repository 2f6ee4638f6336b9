#include "vellbrightnesscontrasttool.h"

#include "tools/vellinternational.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFormLayout>
#include <QGLShaderProgram>
#include <QSlider>
#include <QTranslator>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

constexpr int kLimit = 100;

} // namespace

VellBrightnessContrastTool::VellBrightnessContrastTool(QObject *parent) : VellPluginTool(parent)
{
    name = QStringLiteral("Brightness/Contrast");
    toolId = QStringLiteral("brightness-contrast");
    version = QStringLiteral("1.0");
    info = tr("Makes the picture lighter or darker and its tones closer together or further apart.");
    shaderPath = QStringLiteral(":/brightnesscontrast/brightnessContrast.glsl_");
}

VellBrightnessContrastTool::~VellBrightnessContrastTool() = default;

QVector<VellToolParameter> VellBrightnessContrastTool::parameterList() const
{
    return {{QStringLiteral("brightness"), tr("lighter (up to 100) or darker (down to -100)"), -kLimit, kLimit, 0, true},
            {QStringLiteral("contrast"), tr("tones further apart (up to 100) or closer (down to -100)"), -kLimit,
             kLimit, 0, true}};
}

double VellBrightnessContrastTool::parameterValue(const QString &parameter) const
{
    if (parameter == QLatin1String("brightness"))
        return brightness;
    if (parameter == QLatin1String("contrast"))
        return contrast;
    return 0.0;
}

bool VellBrightnessContrastTool::setParameterValue(const QString &parameter, double value)
{
    if (!(value >= -kLimit && value <= kLimit) || value != int(value))
        return false;
    if (parameter == QLatin1String("brightness"))
        brightness = int(value);
    else if (parameter == QLatin1String("contrast"))
        contrast = int(value);
    else
        return false;
    syncSliders();
    return true;
}

void VellBrightnessContrastTool::initParams()
{
    brightness = 0;
    contrast = 0;
    syncSliders();
}

void VellBrightnessContrastTool::initParamWidget()
{
    QFormLayout *form = makeWidget(tr("Brightness/Contrast"));
    if (!form)
        return;
    auto slider = [this, form](const QString &label, int *value) {
        auto *s = new QSlider(Qt::Horizontal);
        s->setRange(-kLimit, kLimit);
        s->setValue(*value);
        form->addRow(label, s);
        connect(s, &QSlider::valueChanged, this, [this, value](int v) {
            if (*value == v)
                return;
            *value = v;
            apply();
        });
        return s;
    };
    brightnessSlider = slider(tr("Brightness"), &brightness);
    contrastSlider = slider(tr("Contrast"), &contrast);
}

void VellBrightnessContrastTool::syncSliders()
{
    if (brightnessSlider)
        brightnessSlider->setValue(brightness);
    if (contrastSlider)
        contrastSlider->setValue(contrast);
}

void VellBrightnessContrastTool::forgetControls()
{
    brightnessSlider = contrastSlider = nullptr;
}

void VellBrightnessContrastTool::passParamsToShader()
{
    getProgram()->setUniformValue("brightness", float(brightness) / kLimit);
    // The contrast as the slope of the tone line around middle grey; 100 is
    // held just short of a vertical line.
    const double k = std::min(contrast / double(kLimit), 0.99);
    getProgram()->setUniformValue("slant", float(std::tan((k + 1.0) * M_PI / 4.0)));
}

void VellBrightnessContrastTool::serializeParams(QDataStream &out)
{
    out << qint32(brightness) << qint32(contrast);
}

void VellBrightnessContrastTool::deserializeParams(QDataStream &in)
{
    qint32 b = 0, c = 0;
    in >> b >> c;
    // A short or corrupt record changes nothing. Compared both ways rather
    // than through qAbs, which overflows on INT_MIN.
    if (in.status() != QDataStream::Ok || b < -kLimit || b > kLimit || c < -kLimit || c > kLimit)
        return;
    brightness = b;
    contrast = c;
    syncSliders();
}

// Called by the host before getInstance, with the language of its settings.
// The translation stays installed while the plug-in is loaded; a language
// without a file (English among them) takes it away again.
VELL_PLUGIN_EXPORT void setInternational(QString language)
{
    static std::unique_ptr<QTranslator> installed;
    installed.reset(getTranslater(QStringLiteral(":/brightnesscontrast/brightnesscontrast_") + language
                                  + QStringLiteral(".qm")));
    if (installed)
        QCoreApplication::installTranslator(installed.get());
}

VELL_PLUGIN_TOOL(VellBrightnessContrastTool, "Brightness/Contrast")
