#include "tools/velltoolgaussianblurbased.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmessagebox.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgpumanager.h"
#include "gpu/vellrenderpass.h"
#include "gpu/vellshaderbuilder.h"
#include "selection/vellselection.h"
#include "tools/velltoolutil.h"

#include <QGLShaderProgram>
#include <QVector4D>

#include <algorithm>
#include <cmath>

namespace {

// The largest radius, in working pixels, the five levels serve: 3^5 - 1.
constexpr float kLargestRadius = 242.0f;
constexpr int kPreviewLimit = 2048;

QVector4D channelMask(int editingChannel)
{
    return QVector4D(editingChannel & VellChannelBits::Red ? 1.0f : 0.0f,
                     editingChannel & VellChannelBits::Green ? 1.0f : 0.0f,
                     editingChannel & VellChannelBits::Blue ? 1.0f : 0.0f, 1.0f);
}

// Linear filtering on the texture for one blur pass, its own filters put back
// afterwards: the passes sample between texels on purpose.
class LinearSampling
{
public:
    explicit LinearSampling(GLuint texture) : texture(texture)
    {
        glBindTexture(GL_TEXTURE_2D, texture);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &magFilter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    ~LinearSampling()
    {
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter);
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    Q_DISABLE_COPY(LinearSampling)

private:
    GLuint texture;
    GLint minFilter = GL_LINEAR, magFilter = GL_LINEAR;
};

} // namespace

VellToolGaussianBlurBased::VellToolGaussianBlurBased(QObject *parent)
    : VellToolBase(parent), blurShaderPath(QStringLiteral(":/Resources/gaussianBlur.glsl_"))
{
    cropPresetThumbs = true;
}

// Every texture and the blur program are names of the canvas's context.
VellToolGaussianBlurBased::~VellToolGaussianBlurBased()
{
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    previewImages.clear();
    for (auto &level : levels)
        level.reset();
    workA.reset();
    workB.reset();
    thumbCopy.reset();
    blurProgram.reset();
}

// ---- Pure rules ----

VellToolGaussianBlurBased::LevelChoice VellToolGaussianBlurBased::chooseLevels(float radius)
{
    LevelChoice choice;
    if (!(radius > 0.0f) || !std::isfinite(radius)) {
        choice.distance = -1.0f;   // all the way to the unblurred picture
        return choice;
    }
    const double x = std::min(double(kLargestRadius), double(radius));
    const double l = std::log(x) / std::log(double(kStepFactor));
    if (l > 1.0) {
        const int k = std::min(kLevels - 1, int(std::floor(l)));
        choice.level0 = k - 1;
        choice.level1 = k;
        choice.distance = float(l - std::trunc(l));
    } else {
        choice.distance = float(x / kStepFactor - 1.0);
    }
    return choice;
}

QVector<float> VellToolGaussianBlurBased::blurSteps(float radius)
{
    QVector<float> steps;
    if (!(radius > 0.0f) || !std::isfinite(radius))
        return steps;
    float step = 1.0f;
    if (radius > kStepFactor) {
        for (;;) {
            steps.append(step);
            const float next = step * kStepFactor;
            if (!(radius > kStepFactor * next))
                break;
            step = next;
        }
    }
    if (steps.isEmpty() || step * kStepFactor != radius)
        steps.append(radius / kStepFactor);
    return steps;
}

bool VellToolGaussianBlurBased::isFullSpeedVendor(const QString &vendor)
{
    const QString lower = vendor.toLower();
    return lower.contains(QLatin1String("nvidia")) || lower.contains(QLatin1String("amd"))
           || lower.contains(QLatin1String("ati"));
}

int VellToolGaussianBlurBased::workingLimit(const QString &vendor)
{
    return isFullSpeedVendor(vendor) ? 2048 : 1024;
}

float VellToolGaussianBlurBased::workingScale(const QSize &layer, int limit)
{
    const int side = std::max(layer.width(), layer.height());
    return side > 0 ? std::min(1.0f, float(limit) / float(side)) : 1.0f;
}

// In whole numbers, so that the longer side comes out at the limit exactly
// (a float scale times the side can land a hair above it).
QSize VellToolGaussianBlurBased::workingSize(const QSize &layer, int limit)
{
    const qint64 side = std::max(layer.width(), layer.height());
    if (side <= limit || limit <= 0)
        return layer;
    const auto scaled = [&](qint64 length) { return int((length * limit + side - 1) / side); };
    return QSize(scaled(layer.width()), scaled(layer.height()));
}

QVector<QRectF> VellToolGaussianBlurBased::levelTiles(const QSizeF &size, bool singleDraw)
{
    if (singleDraw)
        return {QRectF(QPointF(0, 0), size)};
    QVector<QRectF> tiles;
    const double w = size.width() / 4, h = size.height() / 4;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            tiles.append(QRectF(c * w, r * h, w, h));
    return tiles;
}

// ---- Activation ----

void VellToolGaussianBlurBased::active(VellContext *document)
{
    VellToolBase::active(document);
    if (!activeFlag || !layer)
        return;
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    initThumbTexture();
    initGaussianTextures();
    thumbRegion = layer->getThumbRegion();
    VellSelection *selection = context->getSelection();
    selectionCoords = selection ? selection->getTexCoord(thumbRegion.translated(layer->getPosition()))
                                : QRectF(0, 0, 1, 1);
    thumbCoords = layer->getThumbTexCoord();
}

void VellToolGaussianBlurBased::disActive()
{
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    bluredImage = nullptr;
    workA.reset();
    workB.reset();
    thumbCopy.reset();
    clearGaussianTextures();
    deleteBluredImagesForPreview();
    VellToolBase::disActive();
}

void VellToolGaussianBlurBased::initShader()
{
    VellToolBase::initShader();
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!blurProgram && canvas) {
        canvas->makeCurrent();
        blurProgram = VellShaderBuilder::build(blurShaderPath, name + QStringLiteral("_gaussian"));
    }
}

void VellToolGaussianBlurBased::dropPrograms()
{
    VellToolBase::dropPrograms();   // leaves their canvas's context current
    blurProgram.reset();
}

QString VellToolGaussianBlurBased::applyTextLayerMessage() const
{
    return tr("This tool does not support text layer!");
}

// ---- The cascade ----

void VellToolGaussianBlurBased::clearGaussianTextures()
{
    for (auto &level : levels)
        level.reset();
}

void VellToolGaussianBlurBased::initGaussianTextures()
{
    clearGaussianTextures();
    VellLayer *image = currentImageLayer(false);
    VellGLTexture2D *entire = image ? image->getEntireTexture() : nullptr;
    if (!entire)
        return;
    const int limit = workingLimit(VellGpuManager::getInstance()->vendor);
    const QSize layerSize(entire->getWidth(), entire->getHeight());
    scale = workingScale(layerSize, limit);
    const QSize size = workingSize(layerSize, limit);
    workingWidth = size.width();
    workingHeight = size.height();
}

void VellToolGaussianBlurBased::blurPass(VellGLTexture2D *target, VellGLTexture2D *source, float step,
                                         bool singleDraw)
{
    if (!blurProgram || !blurProgram->isLinked() || !target || !source || target->failed()
        || source->failed())
        return;
    const LinearSampling sampling(source->getId());
    blurProgram->bind();
    blurProgram->setUniformValue("image", 0);
    blurProgram->setUniformValue("stepX", step / float(target->getWidth()));
    blurProgram->setUniformValue("stepY", step / float(target->getHeight()));
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    const QSizeF sourceSize(source->getWidthF(), source->getHeightF());
    const QSizeF targetSize(target->getWidthF(), target->getHeightF());
    const QVector<QRectF> from = levelTiles(sourceSize, singleDraw);
    const QVector<QRectF> to = levelTiles(targetSize, singleDraw);
    for (int i = 0; i < to.size(); ++i)
        VellToolUtil::copyTextureToTexture(target, source, to[i], from[i]);
    glFlush();
    blurProgram->release();
}

void VellToolGaussianBlurBased::prepareGaussianTexture(int level)
{
    initShader();
    if (level < 0 || level >= kLevels || levels[size_t(level)])
        return;
    VellLayer *image = currentImageLayer(false);
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!image || !image->getEntireTexture() || !canvas)
        return;
    if (workingWidth < 0)
        initGaussianTextures();
    VellGLTexture2D *source = image->getEntireTexture();
    if (level > 0) {
        prepareGaussianTexture(level - 1);
        source = levels[size_t(level - 1)].get();
        if (!source)
            return;
    }
    canvas->makeCurrent();
    auto texture = std::make_unique<VellGLTexture2D>(int(std::ceil(workingWidth)),
                                                     int(std::ceil(workingHeight)), GL_RGBA8, true);
    if (texture->failed())
        return;
    texture->setValidSize(workingWidth, workingHeight);
    const bool singleDraw = isFullSpeedVendor(VellGpuManager::getInstance()->vendor);
    blurPass(texture.get(), source, float(std::pow(double(kStepFactor), level)), singleDraw);
    levels[size_t(level)] = std::move(texture);
}

VellGLTexture2D *VellToolGaussianBlurBased::getGaussianTexture(int level)
{
    if (level < -1 || level >= kLevels)
        return nullptr;
    VellLayer *image = currentImageLayer(false);
    if (!image)
        return nullptr;
    if (level == -1)
        return image->getEntireTexture();
    prepareGaussianTexture(level);
    return levels[size_t(level)].get();
}

VellToolGaussianBlurBased::Bindings VellToolGaussianBlurBased::cascadeBindings()
{
    const LevelChoice choice = chooseLevels(blurRadius * scale);
    Bindings units;
    VellGLTexture2D *first = getGaussianTexture(choice.level0);
    VellGLTexture2D *second = getGaussianTexture(choice.level1);
    units.unit2 = first ? first->getId() : 0;
    units.unit3 = second ? second->getId() : 0;
    units.distance = choice.distance;
    return units;
}

// ---- The single blurred image ----

void VellToolGaussianBlurBased::initGaussianBluredTexture(bool force)
{
    VellLayer *image = currentImageLayer(false);
    VellGLTexture2D *entire = image ? image->getEntireTexture() : nullptr;
    if (!entire)
        return;
    const QSize layerSize(entire->getWidth(), entire->getHeight());
    blurScale = workingScale(layerSize, kPreviewLimit);
    const QSize size = workingSize(layerSize, kPreviewLimit);
    if (!force && workA && workB && workA->getWidth() == size.width()
        && workA->getHeight() == size.height())
        return;
    bluredImage = nullptr;
    workA = std::make_unique<VellGLTexture2D>(size.width(), size.height(), GL_RGBA8, true);
    workB = std::make_unique<VellGLTexture2D>(size.width(), size.height(), GL_RGBA8, true);
}

VellGLTexture2D *VellToolGaussianBlurBased::runBlur(VellGLTexture2D *source, VellGLTexture2D *a,
                                                    VellGLTexture2D *b, float radius)
{
    const QVector<float> steps = blurSteps(radius);
    VellGLTexture2D *from = source;
    VellGLTexture2D *to = nullptr;
    for (int i = 0; i < steps.size(); ++i) {
        to = i % 2 == 0 ? a : b;
        blurPass(to, from, steps[i], true);
        from = to;
    }
    return to;
}

// The preview radius is counted in pixels of the work textures, which are
// at most 2048 a side: the cascade's working scale (1024 on most drivers)
// would blur a layer of more than 1024 pixels too little.
void VellToolGaussianBlurBased::gaussianBlur()
{
    VellCanvas *canvas = VellCanvas::getInstance();
    VellLayer *image = currentImageLayer(false);
    if (!canvas || !image || !image->getEntireTexture())
        return;
    canvas->makeCurrent();
    initShader();
    initGaussianBluredTexture(false);
    if (!workA || !workB || workA->failed() || workB->failed())
        return;
    VellGLTexture2D *entire = image->getEntireTexture();
    bluredImage = runBlur(entire, workA.get(), workB.get(), blurRadius * blurScale);
    if (!bluredImage) {   // no blur: the picture as it is
        VellToolUtil::copyTextureToTexture(workA.get(), entire,
                                           QRectF(0, 0, workA->getWidth(), workA->getHeight()),
                                           QRectF(0, 0, entire->getWidthF(), entire->getHeightF()));
        bluredImage = workA.get();
    }
}

void VellToolGaussianBlurBased::setBlurRadius(float radius)
{
    blurRadius = radius;
    // An inactive tool blurs when it applies (preApplyEntire).
    if (!cascadePreview && activeFlag)
        gaussianBlur();
}

void VellToolGaussianBlurBased::initThumbTexture()
{
    thumbCopy.reset();
    VellLayer *image = layer ? layer : currentImageLayer(false);
    VellGLTexture2D *thumb = image ? image->getThumbTexture() : nullptr;
    if (!thumb)
        return;
    thumbCopy = std::make_unique<VellGLTexture2D>(thumb->getWidth(), thumb->getHeight(), GL_RGBA8, true);
    VellToolUtil::copyTextureToTexture(thumbCopy.get(), thumb,
                                       QRectF(0, 0, thumb->getWidth(), thumb->getHeight()),
                                       QRectF(0, 0, thumb->getWidth(), thumb->getHeight()));
}

std::unique_ptr<VellGLTexture2D> VellToolGaussianBlurBased::calcBluredImageForPreview(VellGLTexture2D *source,
                                                                                     float radius)
{
    if (!source || source->failed())
        return nullptr;
    initShader();
    auto a = std::make_unique<VellGLTexture2D>(source->getWidth(), source->getHeight(), GL_RGBA8, true);
    auto b = std::make_unique<VellGLTexture2D>(source->getWidth(), source->getHeight(), GL_RGBA8, true);
    VellGLTexture2D *result = runBlur(source, a.get(), b.get(), radius);
    if (result == b.get())
        return b;
    if (!result)
        VellToolUtil::copyTextureToTexture(a.get(), source, QRectF(0, 0, a->getWidth(), a->getHeight()),
                                           QRectF(0, 0, source->getWidth(), source->getHeight()));
    return a;
}

VellGLTexture2D *VellToolGaussianBlurBased::getBluredImageForPreview(VellGLTexture2D *source, float radius)
{
    const int cached = previewRadii.indexOf(radius);
    if (cached >= 0)
        return previewImages[size_t(cached)].get();
    std::unique_ptr<VellGLTexture2D> image = calcBluredImageForPreview(source, radius);
    if (!image)
        return nullptr;
    previewImages.push_back(std::move(image));
    previewRadii.append(radius);
    return previewImages.back().get();
}

void VellToolGaussianBlurBased::deleteBluredImagesForPreview()
{
    previewImages.clear();
    previewRadii.clear();
}

// ---- Drawing ----

void VellToolGaussianBlurBased::passTextures()
{
    if (cascadePreview || noBluredImage || !currentUnits.unit2)
        return;
    GLExtensionFunctions &gl = getGLExtensionFunctions();
    gl.glActiveTexture(GL_TEXTURE2);
    glBindTexture(GL_TEXTURE_2D, currentUnits.unit2);
    gl.glActiveTexture(GL_TEXTURE0);
}

void VellToolGaussianBlurBased::passParamsToShader()
{
    if (!cascadePreview && getProgram())
        getProgram()->setUniformValue("bluredImage", 2);
}

bool VellToolGaussianBlurBased::render(unsigned int target, int width, int height, unsigned int source,
                                       const QRectF &sourceCoords, const QRectF &selectionRegion,
                                       const Bindings &units)
{
    QGLShaderProgram *program = getProgram();
    if (!program || !program->isLinked() || !target || !source || width <= 0 || height <= 0)
        return false;
    const unsigned int coverage = selectionTexture();
    VellGLFramebufferObject framebuffer(width, height);
    VellRenderPass pass(&framebuffer, target);
    if (!pass.isOpen())
        return false;
    glDisable(GL_BLEND);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

    GLExtensionFunctions &gl = getGLExtensionFunctions();
    const GLuint bound[4] = {source, coverage, units.unit2, units.unit3};
    for (int unit = 3; unit >= 0; --unit) {
        gl.glActiveTexture(GLenum(GL_TEXTURE0 + unit));
        glBindTexture(GL_TEXTURE_2D, bound[unit]);
    }
    currentUnits = units;
    passTextures();   // outside cascade preview: the single blurred image on unit 2
    program->bind();
    program->setUniformValue("image", 0);
    program->setUniformValue("selection", 1);
    program->setUniformValue("blurImage0", 2);
    program->setUniformValue("blurImage1", 3);
    program->setUniformValue("distToBlurImage0", units.distance);
    program->setUniformValue("channelMask",
                             channelMask(context ? context->editingChannel : int(VellChannelBits::All)));
    passParamsToShader();

    const QPointF vertices[4] = {{0.0, 0.0}, {double(width), 0.0}, {double(width), double(height)},
                                 {0.0, double(height)}};
    const QPointF unit0[4] = {sourceCoords.topLeft(), sourceCoords.topRight(), sourceCoords.bottomRight(),
                              sourceCoords.bottomLeft()};
    const QPointF unit1[4] = {selectionRegion.topLeft(), selectionRegion.topRight(),
                              selectionRegion.bottomRight(), selectionRegion.bottomLeft()};
    glBegin(GL_QUADS);
    for (int i = 0; i < 4; ++i) {
        gl.glMultiTexCoord2fARB(GL_TEXTURE0, GLfloat(unit0[i].x()), GLfloat(unit0[i].y()));
        gl.glMultiTexCoord2fARB(GL_TEXTURE1, GLfloat(unit1[i].x()), GLfloat(unit1[i].y()));
        glVertex2d(vertices[i].x(), vertices[i].y());
    }
    glEnd();

    for (int unit = 3; unit >= 0; --unit) {
        gl.glActiveTexture(GLenum(GL_TEXTURE0 + unit));
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    glFlush();
    program->release();
    currentUnits = Bindings();
    return true;
}

void VellToolGaussianBlurBased::previewInto(VellLayer *image, const Bindings &units)
{
    VellCanvas *canvas = VellCanvas::getInstance();
    VellGLTexture2D *thumb = image->getThumbTexture();
    VellGLTexture2D *entire = image->getEntireTexture();
    if (!canvas || !thumb || !entire)
        return;
    thumbWidth = float(thumb->getWidth());
    thumbHeight = float(thumb->getHeight());
    thumbRegion = image->getThumbRegion();
    VellSelection *selection = context->getSelection();
    selectionCoords = selection ? selection->getTexCoord(thumbRegion.translated(image->getPosition()))
                                : QRectF(0, 0, 1, 1);
    thumbCoords = image->getThumbTexCoord();
    preApply();
    render(thumb->getId(), thumb->getWidth(), thumb->getHeight(), entire->getId(), thumbCoords,
           selectionCoords, units);

    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    VellGLTexture2D *histogramThumb = image->getHistogramThumb();
    if (settings->isHistogramVisible() && settings->isHistogramRealtimeUpdate() && histogramThumb
        && canvas->getCanvasWidth() > 0 && canvas->getCanvasHeight() > 0) {
        const double cw = canvas->getCanvasWidth(), ch = canvas->getCanvasHeight();
        const QRectF layerOnCanvas(image->getPosition().x() / cw, image->getPosition().y() / ch,
                                   image->getWidth() / cw, image->getHeight() / ch);
        render(histogramThumb->getId(), histogramThumb->getWidth(), histogramThumb->getHeight(),
               entire->getId(), QRectF(0, 0, 1, 1), layerOnCanvas, units);
        canvas->updateHistogram();
    }
    glGetError();
    postApply();
    canvas->Render(context);
    canvas->update();
}

void VellToolGaussianBlurBased::oldActuallyApply()
{
    if (!activeFlag)
        return;
    VellLayer *image = currentImageLayer(true);
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!image || !canvas)
        return;
    layer = image;
    canvas->makeCurrent();
    if (!bluredImage)
        gaussianBlur();
    Bindings units;
    units.unit2 = bluredImage ? bluredImage->getId() : 0;
    units.unit3 = units.unit2;
    previewInto(image, units);
}

void VellToolGaussianBlurBased::actuallyApply()
{
    if (!cascadePreview) {
        oldActuallyApply();
        return;
    }
    if (!activeFlag)
        return;
    VellLayer *image = currentImageLayer(true);
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!image || !canvas)
        return;
    layer = image;
    canvas->makeCurrent();
    previewInto(image, cascadeBindings());
}

// ---- Whole-layer apply ----

void VellToolGaussianBlurBased::preApplyEntire()
{
    if (cascadePreview)
        return;
    initGaussianBluredTexture(false);
    gaussianBlur();
}

void VellToolGaussianBlurBased::postApplyEntire()
{
    VellLayer *image = currentImageLayer(false);
    VellGLTexture2D *thumb = image ? image->getThumbTexture() : nullptr;
    if (!thumb || !image->getEntireTexture())
        return;
    VellToolUtil::copyTextureToTexture(thumb, image->getEntireTexture(),
                                       QRectF(0, 0, thumb->getWidthF(), thumb->getHeightF()),
                                       image->getThumbRegion());
}

void VellToolGaussianBlurBased::applyEntire(bool silent)
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!document || !canvas)
        return;
    context = document;
    canvas->makeCurrent();
    initGaussianTextures();
    initShader();
    if (!currentImageLayer(true))
        return;
    if (!getProgram() || !getProgram()->isLinked()) {
        VellLog::Instance()->Log("VellToolGaussianBlurBased: %s has no working shader program; nothing applied\n",
                                 qPrintable(name));
        return;
    }

    ApplyRun run;
    VellLayer *image = beginApplyEntire(silent, run);
    if (!image)
        return;
    VellGLTexture2D *entire = image->getEntireTexture();
    // Every level the tiles need is made now: no level can be drawn while a
    // tile's pass is open.
    Bindings units = cascadeBindings();
    if (!cascadePreview && !noBluredImage && bluredImage)
        units.unit2 = bluredImage->getId();
    VellSelection *selection = document->getSelection();
    const double entireWidth = entire->getWidth(), entireHeight = entire->getHeight();
    for (const VellLayer::FboTexture &tile : image->getFboTextureList()) {
        const QRect rect = tile.second;
        if (!tile.first || rect.isEmpty())
            continue;
        const QRectF sourceCoords(rect.x() / entireWidth, rect.y() / entireHeight, rect.width() / entireWidth,
                                  rect.height() / entireHeight);
        const QRectF placed = QRectF(rect).translated(image->getPosition());
        render(tile.first->getId(), rect.width(), rect.height(), entire->getId(), sourceCoords,
               selection ? selection->getTexCoord(placed) : QRectF(0, 0, 1, 1), units);
    }
    finishApplyEntire(image, run, silent);
}

// ---- Presets ----

void VellToolGaussianBlurBased::updatePresetThumbs(VellLayer *target)
{
    if (VellCanvas *canvas = VellCanvas::getInstance())
        canvas->makeCurrent();
    deleteBluredImagesForPreview();
    VellToolBase::updatePresetThumbs(target);
}

QImage VellToolGaussianBlurBased::getPresetPreview(VellLayer *target, VellGLTexture2D *source)
{
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!target || !source || source->failed() || !canvas)
        return QImage();
    canvas->makeCurrent();
    preApply();
    // The source is the preset region at thumbnail size: the radius in its
    // pixels.
    const double regionScale =
        presetPreviewRegion.width() > 0 ? source->getWidth() / presetPreviewRegion.width() : 1.0;
    VellGLTexture2D *blurred = getBluredImageForPreview(source, float(blurRadius * regionScale));
    Bindings units;
    units.unit2 = units.unit3 = blurred ? blurred->getId() : 0;
    units.distance = 0.0f;
    VellGLTexture2D preview(source->getWidth(), source->getHeight(), GL_RGBA8, true);
    const QRectF canvasRect(0, 0, canvas->getCanvasWidth(), canvas->getCanvasHeight());
    const QRectF placed = presetPreviewRegion.translated(target->getPosition()).intersected(canvasRect);
    VellSelection *selection = context ? context->getSelection() : nullptr;
    selectionCoords = selection ? selection->getTexCoord(placed) : QRectF(0, 0, 1, 1);
    if (!render(preview.getId(), preview.getWidth(), preview.getHeight(), source->getId(), QRectF(0, 0, 1, 1),
                selectionCoords, units))
        return QImage();
    getGLExtensionFunctions().glActiveTexture(GL_TEXTURE0);
    return preview.toQImage();
}
