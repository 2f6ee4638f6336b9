// Which layers each composite draws, in which order, with which program and
// mode. No GL: display textures are stood in for by texture objects made
// without a context (they exist, which is all the walk asks).
#include "canvas/velllayerwalk.h"

#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "gpu/vellgltexture2d.h"
#include "picture/vellpicturehost.h"

#include <QtTest>

#include <memory>

namespace {

// One layer of a test stack. Flags: "hidden", "excluded", "nohost" (a raster
// layer without pixels), "nothumb" (no display texture), "mask", "text".
struct LayerPlan
{
    int mode = VellBlend::Normal;
    QStringList flags;
};

VellGLTexture2D *standInTexture()
{
    static VellGLTexture2D texture(1, 1, GL_BGRA, false);   // no context: no name, but present
    return &texture;
}

// A layer of kind Base whose display texture is the stand-in, or none.
template <typename Base>
class StandInLayer : public Base
{
public:
    StandInLayer(const QString &name, bool thumb) : Base(name), thumb(thumb) {}
    VellGLTexture2D *getThumbTexture() const override { return thumb ? standInTexture() : nullptr; }

private:
    const bool thumb;
};

VellLayerBase *makeLayer(const LayerPlan &plan)
{
    const bool thumb = !plan.flags.contains(QStringLiteral("nothumb"));
    VellLayerBase *layer = nullptr;
    if (plan.flags.contains(QStringLiteral("text"))) {
        layer = new StandInLayer<VellLayerBase>(QStringLiteral("text"), thumb);
        layer->setType(VellLayerType::Text);
    } else {
        auto *raster = new StandInLayer<VellLayer>(QStringLiteral("raster"), thumb);
        if (!plan.flags.contains(QStringLiteral("nohost")))
            raster->setVellPictureHost(new VellPictureHost(4, 3, 4));
        if (plan.flags.contains(QStringLiteral("mask")))
            raster->createLayerMask();
        layer = raster;
    }
    layer->setBlendMode(plan.mode);
    layer->visible = !plan.flags.contains(QStringLiteral("hidden"));
    layer->excluded = plan.flags.contains(QStringLiteral("excluded"));
    return layer;
}

// "index:mode:program" for each drawn layer, e.g. "1:30:blend".
QString describe(const QVector<VellDrawnLayer> &drawn)
{
    QStringList parts;
    for (const VellDrawnLayer &d : drawn)
        parts << QStringLiteral("%1:%2:%3")
                     .arg(d.index)
                     .arg(d.mode)
                     .arg(d.program == VellDrawnLayer::Blending ? "blend" : "over");
    return parts.join(QLatin1Char(' '));
}

} // namespace

Q_DECLARE_METATYPE(QVector<LayerPlan>)

class TestVellLayerWalk : public QObject
{
    Q_OBJECT
    std::unique_ptr<VellContext> document;

private slots:
    void init()
    {
        document = std::make_unique<VellContext>();
        document->batchFlag = document->quietFlag = true;
        VellContextManager *manager = VellContextManager::getInstance();
        manager->addContext(document.get());
        manager->setCurrentContext(manager->indexOfContext(document.get()));
    }

    void cleanup() { document.reset(); }

    void drawnLayers_data()
    {
        using namespace VellBlend;
        QTest::addColumn<QVector<LayerPlan>>("stack");
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("displayPart");
        QTest::addColumn<QString>("exported");
        QTest::addColumn<QString>("histogram");

        QTest::newRow("bottom first, the bottom as Normal")
            << QVector<LayerPlan>{{Screen, {}}, {Multiply, {}}, {Normal, {}}}
            << "0:0:over 1:30:blend 2:0:over" << "0:0:over 1:30:over 2:0:over"
            << "0:0:blend 1:30:blend 2:0:blend" << "0:0:over 1:30:over 2:0:over";
        QTest::newRow("hidden and excluded layers skipped")
            << QVector<LayerPlan>{{Normal, {}}, {Multiply, {"hidden"}}, {Screen, {"excluded"}}, {Overlay, {}}}
            << "0:0:over 3:120:blend" << "0:0:over 3:120:over" << "0:0:blend 3:120:blend"
            << "0:0:over 3:120:over";
        QTest::newRow("a hidden bottom leaves the next layer its mode")
            << QVector<LayerPlan>{{Normal, {"hidden"}}, {Multiply, {}}}
            << "1:30:blend" << "1:30:over" << "1:30:blend" << "1:30:over";
        QTest::newRow("a mask needs the shader even in Normal")
            << QVector<LayerPlan>{{Normal, {}}, {Normal, {"mask"}}}
            << "0:0:over 1:0:blend" << "0:0:over 1:0:over" << "0:0:blend 1:0:blend"
            << "0:0:over 1:0:over";
        QTest::newRow("a raster layer without pixels is neither shown nor exported")
            << QVector<LayerPlan>{{Normal, {}}, {Darken, {"nohost"}}}
            << "0:0:over" << "0:0:over 1:20:over" << "0:0:blend" << "0:0:over 1:20:over";
        QTest::newRow("no display texture: only the full-resolution composites")
            << QVector<LayerPlan>{{Normal, {}}, {Multiply, {"nothumb"}}}
            << "0:0:over" << "0:0:over" << "0:0:blend 1:30:blend" << "0:0:over 1:30:over";
        QTest::newRow("text layers are only shown")
            << QVector<LayerPlan>{{Normal, {}}, {Multiply, {"text"}}, {Screen, {"text", "nothumb"}}}
            << "0:0:over 1:30:blend" << "0:0:over" << "0:0:blend" << "0:0:over";
    }
    void drawnLayers()
    {
        QFETCH(QVector<LayerPlan>, stack);
        VellLayerManager *manager = document->getLayerManager();
        for (const LayerPlan &plan : stack)
            manager->insertLayer(makeLayer(plan), manager->getLayers().size(), false);
        QCOMPARE(manager->getLayerCount(), stack.size());

        const QPair<VellLayerWalk::Composite, const char *> composites[] = {
            {VellLayerWalk::Display, "display"}, {VellLayerWalk::DisplayPart, "displayPart"},
            {VellLayerWalk::Export, "exported"}, {VellLayerWalk::Histogram, "histogram"}};
        for (const auto &composite : composites)
            QTEST(describe(VellLayerWalk::drawnLayers(document.get(), composite.first)), composite.second);

        // Opacity and the mask flag travel with each entry.
        for (const VellDrawnLayer &drawn :
             VellLayerWalk::drawnLayers(document.get(), VellLayerWalk::Export)) {
            QCOMPARE(drawn.layer, manager->getLayer(drawn.index));
            QCOMPARE(drawn.opacity, drawn.layer->getAlpha());
            QCOMPARE(drawn.masked, stack[drawn.index].flags.contains(QStringLiteral("mask")));
        }
    }

    // Without an entire texture the active layer shows its display texture
    // whatever the preview switch says; the export always reads full resolution.
    void activeLayerSource()
    {
        VellLayerManager *manager = document->getLayerManager();
        manager->insertLayer(makeLayer({VellBlend::Normal, {}}), 0, false);
        manager->setActiveLayer(0);
        for (bool preview : {true, false}) {
            const QVector<VellDrawnLayer> shown =
                VellLayerWalk::drawnLayers(document.get(), VellLayerWalk::Display, preview);
            QCOMPARE(shown.size(), 1);
            QCOMPARE(shown.first().source, VellDrawnLayer::Thumb);
        }
        const QVector<VellDrawnLayer> exported =
            VellLayerWalk::drawnLayers(document.get(), VellLayerWalk::Export);
        QCOMPARE(exported.size(), 1);
        QCOMPARE(exported.first().source, VellDrawnLayer::FullResolution);
    }

    void noDocument()
    {
        QVERIFY(VellLayerWalk::drawnLayers(nullptr, VellLayerWalk::Display).isEmpty());
        QVERIFY(VellLayerWalk::maskOverlays(nullptr).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestVellLayerWalk)
#include "tst_velllayerwalk.moc"
