#include "document/velllayerbase.h"

#include <QCoreApplication>

#include <GL/gl.h>

#include <cmath>

namespace {

// Index i holds the mode whose code is i * VellBlend::Step. The English names
// are also the source texts of the translations (context "VellLayerBase").
const char *const kBlendModeNames[VellBlend::Count] = {
    QT_TRANSLATE_NOOP("VellLayerBase", "Normal"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Dissolve"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Darken"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Multiply"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Color Burn"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Linear Burn"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Darker Color"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Lighten"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Screen"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Color Dodge"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Linear Dodge"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Lighter Color"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Overlay"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Soft Light"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Hard Light"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Vivid Light"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Linear Light"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Pin Light"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Hard Mix"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Difference"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Exclusion"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Hue"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Saturation"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Color"),
    QT_TRANSLATE_NOOP("VellLayerBase", "Luminosity"),
};

QString translatedName(int index)
{
    return QCoreApplication::translate("VellLayerBase", kBlendModeNames[index]);
}

// Nearest whole number, halves towards positive infinity. floor(v + 0.5) would
// be wrong where v + 0.5 is not representable (0.49999999999999994 gives 1);
// v - floor(v) is exact, so compare that instead.
double roundHalfUp(double v)
{
    const double down = std::floor(v);
    return v - down >= 0.5 ? down + 1.0 : down;
}

// Lower case, separators made single spaces, ends trimmed.
QString userKey(const QString &name)
{
    QString key = name.toCaseFolded();
    key.replace(QLatin1Char('-'), QLatin1Char(' '));
    key.replace(QLatin1Char('_'), QLatin1Char(' '));
    return key.simplified();
}

VellLayerBase::StackIndexProbe &stackIndexProbe()
{
    static VellLayerBase::StackIndexProbe probe;
    return probe;
}

} // namespace

VellLayerBase::VellLayerBase(const QString &name, QObject *parent)
    : QObject(parent), layerName(name)
{
}

VellLayerBase::~VellLayerBase() = default;

void VellLayerBase::setLayerName(const QString &name)
{
    layerName = name;
    emit layerChanged();
}

void VellLayerBase::setPosition(const QPointF &position)
{
    if (!std::isfinite(position.x()) || !std::isfinite(position.y()))
        return;
    posX = roundHalfUp(position.x());
    posY = roundHalfUp(position.y());
}

void VellLayerBase::setBlendMode(int code)
{
    blendMode = isBlendModeCode(code) ? code : VellBlend::Normal;
}

void VellLayerBase::setAlpha(float opacity)
{
    if (std::isnan(opacity))
        return;
    alpha = qBound(0.0f, opacity, 1.0f);
}

void VellLayerBase::setType(int layerType)
{
    type = layerType == VellLayerType::Text ? VellLayerType::Text : VellLayerType::Raster;
}

void VellLayerBase::getGLBlendMode(unsigned int &src, unsigned int &dst) const
{
    src = GL_SRC_ALPHA;
    dst = GL_ONE_MINUS_SRC_ALPHA;
}

void VellLayerBase::active()
{
}

void VellLayerBase::disactive(bool)
{
}

VellPictureHost *VellLayerBase::getPictureHost() const
{
    return nullptr;
}

int VellLayerBase::getWidth() const
{
    return 0;
}

int VellLayerBase::getHeight() const
{
    return 0;
}

void VellLayerBase::renderToImage(QImage *, VellContext *)
{
}

VellGLTexture2D *VellLayerBase::getThumbTexture() const
{
    return nullptr;
}

QPolygonF VellLayerBase::getThumbQuadOnFbo(const QPointF &, float) const
{
    return QPolygonF();
}

void VellLayerBase::resize(double, double)
{
}

void VellLayerBase::rotate(int)
{
}

void VellLayerBase::flip(bool)
{
}

bool VellLayerBase::needShaderBlending() const
{
    return shaderBlendingRule(blendMode, false, getIndexInCurrentDocument());
}

std::optional<int> VellLayerBase::getIndexInCurrentDocument() const
{
    const StackIndexProbe &probe = stackIndexProbe();
    return probe ? probe(this) : std::nullopt;
}

void VellLayerBase::setStackIndexProbe(StackIndexProbe probe)
{
    stackIndexProbe() = std::move(probe);
}

bool VellLayerBase::shaderBlendingRule(int blendMode, bool hasLayerMask,
                                       std::optional<int> stackIndex)
{
    if (hasLayerMask)
        return true;
    if (!stackIndex)
        return false;
    return blendMode != VellBlend::Normal && *stackIndex != 0;
}

QMap<int, QString> VellLayerBase::getBlendModeList()
{
    QMap<int, QString> list;
    for (int i = 0; i < VellBlend::Count; ++i)
        list.insert(i * VellBlend::Step, translatedName(i));
    return list;
}

bool VellLayerBase::isBlendModeCode(int code)
{
    return code >= 0 && code % VellBlend::Step == 0 && code / VellBlend::Step < VellBlend::Count;
}

QString VellLayerBase::getBlendModeName(int code)
{
    return isBlendModeCode(code) ? translatedName(code / VellBlend::Step) : QString();
}

int VellLayerBase::getBlendModeCode(const QString &name)
{
    for (int i = 0; i < VellBlend::Count; ++i)
        if (translatedName(i) == name)
            return i * VellBlend::Step;
    return -1;
}

int VellLayerBase::blendModeFromUserName(const QString &name)
{
    const QString key = userKey(name);
    if (key.isEmpty())
        return -1;
    for (int i = 0; i < VellBlend::Count; ++i)
        if (userKey(QLatin1String(kBlendModeNames[i])) == key)
            return i * VellBlend::Step;
    return -1;
}
