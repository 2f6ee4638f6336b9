#ifndef VELLTOOLGAUSSIANBLURBASED_H
#define VELLTOOLGAUSSIANBLURBASED_H

#include "tools/velltoolbase.h"

#include <QSize>
#include <QVector>

#include <array>
#include <memory>
#include <vector>

class QGLShaderProgram;
class VellGLTexture2D;

// The base of filters whose program mixes the layer with blurred copies of
// it (Gaussian blur, unsharp mask). It offers the tool's program two kinds
// of blur:
//  - the cascade: five levels at a working resolution of at most 1024
//    pixels a side (2048 on NVIDIA, AMD and ATI drivers), level k blurred
//    with sigma 3^k working pixels (a radius of 3^(k+1)), each made from the
//    one before with the blur program at step 3^k. Any radius is served by
//    two neighbouring levels and a weight: uniforms "blurImage0" (unit 2),
//    "blurImage1" (unit 3) and "distToBlurImage0"; the program mixes from
//    blurImage0 towards blurImage1 by the weight, and for a negative weight
//    (radii below 3) from blurImage0 towards the unblurred picture by its
//    magnitude.
//  - a single blurred image ("bluredImage", unit 2), made by gaussianBlur()
//    in passes of growing step on copies of at most 2048 pixels a side; the
//    preview and the whole-layer apply see the same texture.
// With cascadePreview set the preview uses the cascade too; otherwise it
// uses the single image, and the whole-layer apply binds the single image to
// unit 2 in place of blurImage0.
//
// Blurred textures cover the whole layer and are addressed with the same
// normalised coordinates as the layer's entire texture (unit 0).
//
// Owns its blur program, the level textures, the two work textures, the
// thumb copy and the preset-preview cache; all are GL names of the canvas's
// context, made and deleted with it current. GUI thread.
class VellToolGaussianBlurBased : public VellToolBase
{
    Q_OBJECT

public:
    static constexpr int kLevels = 5;
    static constexpr int kStepFactor = 3;

    explicit VellToolGaussianBlurBased(QObject *parent = nullptr);
    ~VellToolGaussianBlurBased() override;

    // ---- Pure rules ----
    // Two neighbouring levels and the weight from level0 towards level1 for
    // a radius in working pixels; radii above 242 count as 242, radii below 3
    // give a negative weight (towards the unblurred picture), 0 or less and
    // non-finite radii give -1 (the unblurred picture).
    struct LevelChoice {
        int level0 = 0;
        int level1 = 1;
        float distance = 0.0f;
    };
    static LevelChoice chooseLevels(float workingRadius);
    // The steps of the single-image blur for a radius in pixels of the
    // textures being blurred: 1, 3, 9, ... while the radius exceeds three
    // times the next step, then radius / 3 unless the last step already hit
    // it exactly. Empty for a radius <= 0 or not finite.
    static QVector<float> blurSteps(float radius);
    // The largest side of the cascade on a driver of `vendor`.
    static int workingLimit(const QString &vendor);
    // Scale (at most 1) and size of the cascade for a layer.
    static float workingScale(const QSize &layer, int limit);
    static QSize workingSize(const QSize &layer, int limit);
    // The rectangles in which a level is drawn: one covering everything on
    // NVIDIA, AMD and ATI drivers, else a 4 x 4 grid, row by row.
    static QVector<QRectF> levelTiles(const QSizeF &size, bool singleDraw);
    // Whether the driver's vendor text names NVIDIA, AMD or ATI.
    static bool isFullSpeedVendor(const QString &vendor);

    // ---- The tool ----
    void active(VellContext *context) override;
    void disActive() override;
    void initShader() override;
    void dropPrograms() override;
    void passTextures() override;          // the single blurred image on unit 2
    void passParamsToShader() override;    // "bluredImage" = 2 outside cascade preview
    void preApply() override {}
    void actuallyApply() override;
    void preApplyEntire() override;
    void applyEntire(bool silent) override;
    void postApplyEntire() override;
    QString applyTextLayerMessage() const override;   // this family's shorter text
    void updatePresetThumbs(VellLayer *layer) override;
    // Renders with the single blurred image of `source` at the preset radius
    // (from the cache) on units 2 and 3, so previews of presets with equal
    // radii share one blur.
    QImage getPresetPreview(VellLayer *layer, VellGLTexture2D *source) override;

    virtual void oldActuallyApply();               // the preview with the single image
    virtual void initGaussianBluredTexture(bool force);
    virtual void gaussianBlur();
    virtual void initThumbTexture();
    // Layer pixels; an active tool outside cascade preview blurs again.
    virtual void setBlurRadius(float radius);

    float getBlurRadius() const { return blurRadius; }
    bool isCascadePreview() const { return cascadePreview; }
    void setCascadePreview(bool on) { cascadePreview = on; }
    float getWorkingScale() const { return scale; }
    QSizeF getWorkingSize() const { return QSizeF(workingWidth, workingHeight); }

    // Level -1 is the layer's entire texture; levels 0 to 4 are made on
    // demand; others are null. Null without a document or image layer.
    VellGLTexture2D *getGaussianTexture(int level);
    // The blurred image of `source` for `radius` (source pixels), from the
    // cache or made and cached. Owned by the tool.
    VellGLTexture2D *getBluredImageForPreview(VellGLTexture2D *source, float radius);
    void deleteBluredImagesForPreview();
    void clearGaussianTextures();
    // The result of the last gaussianBlur() (not owned by the caller), and
    // the scale of the work textures to the layer.
    VellGLTexture2D *getBluredImage() const { return bluredImage; }
    float getBlurScale() const { return blurScale; }

protected:
    // The level textures' size and scale for the active layer; drops the
    // levels. Called on activation and before every whole-layer apply.
    void initGaussianTextures();
    void prepareGaussianTexture(int level);
    // A new texture holding `source` blurred by `radius` of its own pixels
    // (radius <= 0: a plain copy), width x height texels. Null on failure.
    std::unique_ptr<VellGLTexture2D> calcBluredImageForPreview(VellGLTexture2D *source, float radius);

    bool noBluredImage = false;    // passTextures binds nothing
    bool cascadePreview = false;

private:
    struct Bindings {
        unsigned int unit2 = 0, unit3 = 0;
        float distance = 0.0f;
    };
    // The cascade's textures and weight for the current radius; prepares the
    // levels it needs (before any pass opens).
    Bindings cascadeBindings();
    // One pass of the tool's program into `target`, units 0 to 3 bound as
    // the class comment says; false when nothing was drawn.
    bool render(unsigned int target, int width, int height, unsigned int source,
                const QRectF &sourceCoords, const QRectF &selectionRegion, const Bindings &units);
    // Runs the blur schedule from `source` into `a` and `b` (same size),
    // returns the one holding the result, or null when no pass ran.
    VellGLTexture2D *runBlur(VellGLTexture2D *source, VellGLTexture2D *a, VellGLTexture2D *b,
                             float radius);
    void blurPass(VellGLTexture2D *target, VellGLTexture2D *source, float step,
                  bool singleDraw);
    void previewInto(VellLayer *image, const Bindings &units);

    std::unique_ptr<QGLShaderProgram> blurProgram;
    QString blurShaderPath;
    VellGLTexture2D *bluredImage = nullptr;          // a or b, not owned
    std::unique_ptr<VellGLTexture2D> workA, workB;
    std::unique_ptr<VellGLTexture2D> thumbCopy;
    float blurRadius = 2.0f;
    float scale = 1.0f;                               // working / layer
    float blurScale = 1.0f;                           // work textures / layer
    std::array<std::unique_ptr<VellGLTexture2D>, kLevels> levels;
    double workingWidth = -1.0, workingHeight = -1.0;
    std::vector<std::unique_ptr<VellGLTexture2D>> previewImages;
    QList<float> previewRadii;
    Bindings currentUnits;                            // what render() binds for passTextures
};

#endif // VELLTOOLGAUSSIANBLURBASED_H
