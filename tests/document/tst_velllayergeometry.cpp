#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellglobalsettings.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgpumanager.h"
#include "history/vellhistory.h"
#include "history/vellpicturemodifymemo.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"
#include "support/vellgltestcontext.h"
#include "tools/velltoolutil.h"

#include <QPainterPath>
#include <QTransform>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>

namespace {

const QSize kDocument(1000, 800);
const QRect kCrop(2, 1, 4, 3);

QByteArray bytesOf(const VellPictureHost *h)
{
    return QByteArray(reinterpret_cast<const char *>(h->getData()), int(h->getByteCount()));
}

// A mask's bytes without the row padding (empty for none).
QByteArray maskBytes(const VellChannel *mask)
{
    QByteArray tight;
    for (int y = 0; mask && y < mask->getHeight(); ++y)
        tight.append(reinterpret_cast<const char *>(mask->getData()) + y * mask->getPaddedWidth(), mask->getWidth());
    return tight;
}

// A layer of `size` at `at` from raw pixels and, when given, raw mask bytes.
VellLayer *makeLayer(const QByteArray &pixels, QSize size, int pixelWidth, const QByteArray &mask, QPointF at)
{
    auto *host = new VellPictureHost(size.width(), size.height(), pixelWidth);
    host->read(reinterpret_cast<const uchar *>(pixels.constData()));
    auto *layer = new VellLayer(QStringLiteral("L"));
    layer->setVellPictureHost(host);
    layer->setPosition(at);
    if (!mask.isEmpty()) {
        layer->createLayerMask();
        VellLayerMask *m = layer->getLayerMask();
        for (int y = 0; y < size.height(); ++y)
            memcpy(m->getData() + y * m->getPaddedWidth(), mask.constData() + y * size.width(), size.width());
        m->update();
    }
    return layer;
}

// Smooth colour at a uniform alpha (bicubic stays close to the reference, a squared alpha shows at
// once), or with `grey` an opaque grey level as a mask's bytes read back.
QImage waveImage(QSize size, int alpha, bool grey = false)
{
    auto wave = [](double t) { return int(127.5 + 110 * t); };
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            const int g = wave(std::sin(x * 0.5 + y * 0.3));
            image.setPixel(x, y, grey ? qRgb(g, g, g) : qRgba(wave(std::sin(x * 1.1)), wave(std::cos(y * 0.9)),
                                                             wave(std::sin((x + y) * 0.7)), alpha));
        }
    return image;
}

QByteArray rawOf(const QImage &image, bool grey)
{
    if (!grey)
        return QByteArray(reinterpret_cast<const char *>(image.constBits()), int(image.sizeInBytes()));
    QByteArray tight;
    for (int i = 0; i < image.width() * image.height(); ++i)
        tight.append(char(qRed(image.pixel(i % image.width(), i / image.width()))));
    return tight;
}

QImage imageOf(const VellLayer &layer, bool mask)
{
    if (!mask)
        return QImage(layer.getPictureHost()->getData(), layer.getWidth(), layer.getHeight(), QImage::Format_ARGB32).copy();
    QImage image(layer.getLayerMask()->getWidth(), layer.getLayerMask()->getHeight(), QImage::Format_ARGB32);
    const QByteArray tight = maskBytes(layer.getLayerMask());
    for (int i = 0; i < tight.size(); ++i)
        image.setPixel(i % image.width(), i / image.width(), qRgb(uchar(tight[i]), uchar(tight[i]), uchar(tight[i])));
    return image;
}

// The filters written out plainly: tent, Catmull-Rom, Lanczos-3, each widened by its axis's
// reduction; colour weighted by alpha, alpha filtered or nearest.
double kernel(int filter, double x)
{
    x = std::fabs(x);
    if (filter == VellToolUtil::Bilinear)
        return qMax(0.0, 1.0 - x);
    if (filter == VellToolUtil::Bicubic)
        return x < 1 ? (1.5 * x - 2.5) * x * x + 1 : x < 2 ? ((-0.5 * x + 2.5) * x - 4) * x + 2 : 0.0;
    const double p = M_PI * x;
    return x < 1e-4 ? 1.0 : x < 3 ? 3 * std::sin(p) * std::sin(p / 3) / (p * p) : 0.0;
}

QRgb sample(const QImage &src, QPointF p, double kx, double ky, int filter, bool filterAlpha)
{
    auto texel = [&](int x, int y) { return src.pixel(qBound(0, x, src.width() - 1), qBound(0, y, src.height() - 1)); };
    const QRgb nearest = texel(int(std::floor(p.x())), int(std::floor(p.y())));
    if (filter < VellToolUtil::Bilinear || filter > VellToolUtil::Lanczos3)
        return nearest;
    const double sx = qMax(1.0, kx), sy = qMax(1.0, ky);
    double c[3] = {}, a = 0, weights = 0;
    for (int y = int(p.y() - 3 * sy) - 2; y <= int(p.y() + 3 * sy) + 2; ++y)
        for (int x = int(p.x() - 3 * sx) - 2; x <= int(p.x() + 3 * sx) + 2; ++x) {
            const double w = kernel(filter, (x + 0.5 - p.x()) / sx) * kernel(filter, (y + 0.5 - p.y()) / sy);
            const QRgb t = texel(x, y);
            const double wa = w * qAlpha(t) / 255.0;
            c[0] += wa * qRed(t), c[1] += wa * qGreen(t), c[2] += wa * qBlue(t), a += wa, weights += w;
        }
    auto channel = [](double v) { return qBound(0, int(std::lround(v)), 255); };
    const int alpha = filterAlpha ? channel(255 * a / weights) : qAlpha(nearest);
    return qRgba(channel(c[0] / a), channel(c[1] / a), channel(c[2] / a), alpha);
}

// Empty when every channel is within `tolerance` wherever want() answers; else the first miss.
using Expect = std::function<bool(int x, int y, QRgb *want)>;
QString mismatch(const QImage &got, const Expect &want, int tolerance)
{
    for (int y = 0; y < got.height(); ++y)
        for (int x = 0; x < got.width(); ++x) {
            QRgb w = 0;
            const QRgb g = got.pixel(x, y);
            if (want(x, y, &w))
                for (int shift = 0; shift < 32; shift += 8)
                    if (qAbs(int(g >> shift & 255) - int(w >> shift & 255)) > tolerance)
                        return QString::asprintf("%d,%d: got %08x want %08x", x, y, g, w);
        }
    return QString();
}

// Empty when every pixel of `before` (`from` pixels of `unit` bytes) that `map` sends into
// `after` (`to` pixels) arrived there unchanged; else the first that did not.
QString movedExactly(const QByteArray &before, QSize from, const QByteArray &after, QSize to, int unit,
                     const QTransform &map)
{
    for (int y = 0; y < from.height(); ++y)
        for (int x = 0; x < from.width(); ++x) {
            const QPointF p = map.map(QPointF(x + 0.5, y + 0.5));
            const int tx = int(std::floor(p.x())), ty = int(std::floor(p.y()));
            if (tx >= 0 && ty >= 0 && tx < to.width() && ty < to.height()
                && after.mid((ty * to.width() + tx) * unit, unit) != before.mid((y * from.width() + x) * unit, unit))
                return QString::asprintf("%d,%d", x, y);
        }
    return QString();
}

// The exact moves as maps of points: the document turned or mirrored (W x H before), or a crop.
enum Move { Minus90, Plus90, Half, MirrorLeftRight, MirrorTopBottom, Crop };
QTransform moveMap(int move, double W, double H)
{
    switch (move) {
    case Minus90: return QTransform(0, 1, -1, 0, H, 0);    // clockwise: (x, y) -> (H - y, x)
    case Plus90: return QTransform(0, -1, 1, 0, 0, W);     // counter-clockwise: (x, y) -> (y, W - x)
    case Half: return QTransform(-1, 0, 0, -1, W, H);
    case MirrorLeftRight: return QTransform(-1, 0, 0, 1, W, 0);
    case MirrorTopBottom: return QTransform(1, 0, 0, -1, 0, H);
    default: return QTransform::fromTranslate(-kCrop.x(), -kCrop.y());
    }
}

using Step = std::function<void(VellLayer &)>;
using DocumentStep = std::function<bool(VellContext &)>;

// A fresh document of `size` made current; the caller owns it.
VellContext *currentDocument(QSize size)
{
    auto *document = new VellContext;
    document->setSelection(new VellSelection(nullptr, size.width(), size.height()));
    VellContextManager *manager = VellContextManager::getInstance();
    manager->addContext(document);
    manager->setCurrentContext(manager->indexOfContext(document));
    return document;
}

// Everything a whole-document step changes and its undo must give back.
QByteArray documentState(VellContext &document)
{
    QByteArray state;
    QDataStream out(&state, QIODevice::WriteOnly);
    out << document.getDocumentSize();
    for (VellLayerBase *layer : document.getLayerManager()->getLayers()) {
        out << layer->getPosition();
        if (auto *raster = qobject_cast<VellLayer *>(layer))
            out << bytesOf(raster->getPictureHost()) << maskBytes(raster->getLayerMask());
        if (auto *text = qobject_cast<VellTextLayer *>(layer))
            out << text->toHtml() << text->getFont().pointSizeF() << text->getDirection();
    }
    out << document.getSelection()->hasSelection() << maskBytes(document.getSelection());
    return state;
}

} // namespace

Q_DECLARE_METATYPE(Step)
Q_DECLARE_METATYPE(DocumentStep)

class TestVellLayerGeometry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void init()
    {
        VellLayer::View view;
        view.documentSize = kDocument;
        VellLayer::setViewProbe([view] { return std::optional<VellLayer::View>(view); });
    }
    void cleanup()
    {
        VellLayer::setViewProbe(nullptr);
        VellGpuManager::setAvailableMemoryOverride(nullptr);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
        GLint framebuffer = -1;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &framebuffer);
        QCOMPARE(framebuffer, 0);
    }
    void cleanupTestCase() { VellToolUtil dropProgram; Q_UNUSED(dropProgram); }

    // Pixels and mask bytes move exactly as the map moves pixel centres, 8- and 16-bit, odd sizes, on
    // active layers and on inactive ones without a texture; the position is the layer's rectangle
    // under the document's map (the 300 x 200 rows are the examples of a 1000 x 800 document).
    void exactMoves_data()
    {
        QTest::addColumn<int>("move");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("pixelWidth");
        QTest::addColumn<bool>("active");
        QTest::addColumn<QPointF>("position");   // expected afterwards, when given
        QTest::addColumn<QPoint>("maskAt");      // the mask's offset from the layer
        QTest::newRow("rotate 90, 300 x 200 at 10,20") << int(Plus90) << QSize(300, 200) << 4 << true << QPointF(20, 690) << QPoint();
        QTest::newRow("flip left-right, 300 x 200 at 10,20") << int(MirrorLeftRight) << QSize(300, 200) << 4 << true
                                                             << QPointF(690, 20) << QPoint();
        QTest::newRow("rotate 90, mask offset by 2,-1") << int(Plus90) << QSize(7, 5) << 4 << true << QPointF() << QPoint(2, -1);
        const char *names[] = {"rotate -90", "rotate 90", "rotate 180", "flip left-right", "flip top-bottom", "crop"};
        for (int move = Minus90; move <= Crop; ++move)
            for (int pixelWidth : {4, 8})
                for (bool active : {true, false})
                    QTest::addRow("%s, %d bytes, %s", names[move], pixelWidth, active ? "active" : "inactive")
                        << move << QSize(7, 5) << pixelWidth << active << QPointF() << QPoint();
    }

    void exactMoves()
    {
        QFETCH(int, move);
        QFETCH(QSize, size);
        QFETCH(int, pixelWidth);
        QFETCH(bool, active);
        QFETCH(QPointF, position);
        QFETCH(QPoint, maskAt);
        const int count = size.width() * size.height();
        const QByteArray pixels = VellGLTestContext::patternBytes(count * pixelWidth, move + 3);
        const QByteArray mask = VellGLTestContext::patternBytes(count, move + 11);
        const std::unique_ptr<VellLayer> layer(makeLayer(pixels, size, pixelWidth, mask, QPointF(10, 20)));
        layer->setLayerMaskPosition(maskAt);
        // What the mask shows over each layer pixel: mask pixel (u, v) lies over (u, v) + offset.
        QByteArray maskBefore(count, char(255));
        for (int i = 0; i < count; ++i) {
            const QPoint from = QPoint(i % size.width(), i / size.width()) - maskAt;
            if (QRect(QPoint(), size).contains(from))
                maskBefore[i] = mask[from.y() * size.width() + from.x()];
        }
        layer->active();
        if (!active)
            layer->disactive(true);
        const Step steps[] = {[](VellLayer &l) { l.rotate(-90); }, [](VellLayer &l) { l.rotate(90); },
                              [](VellLayer &l) { l.rotate(180); }, [](VellLayer &l) { l.flip(true); },
                              [](VellLayer &l) { l.flip(false); }, [](VellLayer &l) { l.clip(kCrop); }};
        steps[move](*layer);
        QCOMPARE(layer->getGeometryError(), QString());

        const QTransform local = moveMap(move, size.width(), size.height());
        const QSize moved = move == Crop ? kCrop.size() : local.mapRect(QRect(QPoint(), size)).size();
        const VellPictureHost *host = layer->getPictureHost();
        QCOMPARE(QSize(layer->getWidth(), layer->getHeight()), moved);
        QCOMPARE(QSize(layer->getLayerMask()->getWidth(), layer->getLayerMask()->getHeight()), moved);
        const QRectF onDocument = moveMap(move, kDocument.width(), kDocument.height()).mapRect(QRectF(QPointF(10, 20), size));
        QCOMPARE(layer->getPosition(), move == Crop ? QPointF(10, 20) : onDocument.topLeft());
        if (!position.isNull())
            QCOMPARE(layer->getPosition(), position);
        QCOMPARE(movedExactly(pixels, size, bytesOf(host), moved, pixelWidth, local), QString());
        QCOMPARE(movedExactly(maskBefore, size, maskBytes(layer->getLayerMask()), moved, 1, local), QString());
        QCOMPARE(layer->getLayerMaskPosition(), QPointF());

        QCOMPARE(layer->getLatestPlace(), int(VellLayer::BothAgree));
        QVERIFY(layer->getEntireTexture());
        QCOMPARE(VellGLTestContext::readTexture(layer->getEntireTexture()->getId(), moved.width(), moved.height(), GL_BGRA,
                                                pixelWidth == 8 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_BYTE, pixelWidth),
                 bytesOf(host));
        QCOMPARE(layer->getCenter(), QPointF(moved.width() * 0.5, moved.height() * 0.5));
        QCOMPARE(layer->getFboTextureList().size(), active ? 1 : 0);
    }

    // The size is trunc(side x factor); pixels and mask are the CPU filter run through the same
    // halving steps (whose widths the rows give), within a level of rounding per step. Alpha is
    // uniform (50 % in one row) since shrinking by 2:1 puts pixel centres on texel edges, where the
    // nearest texel's alpha could go either way.
    void resizePixels_data()
    {
        QTest::addColumn<int>("filter");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("factor");
        QTest::addColumn<int>("alpha");
        QTest::addColumn<QList<int>>("widths");   // of the steps, the last the target's
        QTest::newRow("bicubic, 15/11 truncates to 14") << 2 << QSize(11, 11) << 15.0 / 11 << 255 << QList<int>{14};
        QTest::newRow("bicubic, (15 + 0.5)/11 gives 15") << 2 << QSize(11, 11) << 15.5 / 11 << 255 << QList<int>{15};
        QTest::newRow("bilinear, 2.5x in one step") << 1 << QSize(9, 7) << 2.5 << 255 << QList<int>{22};
        QTest::newRow("bicubic, 0.3 in two steps, 50 % alpha") << 2 << QSize(40, 30) << 0.3 << 128 << QList<int>{20, 12};
        QTest::newRow("lanczos3, 0.2 in three steps") << 3 << QSize(50, 45) << 0.2 << 255 << QList<int>{25, 13, 10};
        QTest::newRow("nearest, 0.5; halves round up") << 0 << QSize(13, 9) << 0.5 << 255 << QList<int>{7, 6};
    }

    void resizePixels()
    {
        QFETCH(int, filter);
        QFETCH(QSize, size);
        QFETCH(double, factor);
        QFETCH(int, alpha);
        QFETCH(QList<int>, widths);
        const QSize target(int(size.width() * factor), int(size.height() * factor));
        QList<int> stepWidths;
        for (const QSize &step : VellLayer::resizeSteps(size, target))
            stepWidths << step.width();
        QCOMPARE(stepWidths, widths);
        const QImage source = waveImage(size, alpha), grey = waveImage(size, 255, true);
        const std::unique_ptr<VellLayer> layer(makeLayer(rawOf(source, false), size, 4, rawOf(grey, true), QPointF()));
        layer->setInterpolation(filter);
        layer->active();
        layer->resize(factor, factor);
        QCOMPARE(layer->getGeometryError(), QString());
        QCOMPARE(QSize(layer->getWidth(), layer->getHeight()), target);
        QCOMPARE(layer->getCenter(), QPointF(target.width() * 0.5, target.height() * 0.5));
        for (bool mask : {false, true}) {
            QImage want = mask ? grey : source;
            for (const QSize &step : VellLayer::resizeSteps(size, target)) {
                QImage next(step, QImage::Format_ARGB32);
                const double kx = double(want.width()) / step.width(), ky = double(want.height()) / step.height();
                for (int y = 0; y < step.height(); ++y)
                    for (int x = 0; x < step.width(); ++x)
                        next.setPixel(x, y, sample(want, QPointF((x + 0.5) * kx, (y + 0.5) * ky), kx, ky, filter, false));
                want = next;
            }
            const QImage got = imageOf(*layer, mask);
            QCOMPARE(got.size(), target);
            QCOMPARE(mismatch(got, [&](int x, int y, QRgb *w) { *w = want.pixel(x, y); return true; }, widths.size()), QString());
        }
    }

    // Free rotation, a perspective quadrilateral and a mesh against the CPU map from document pixels
    // back to layer pixels (bicubic, which only enlarges or keeps the scale here), inside the mapped
    // outline, for the pixels and the mask alike; the half-transparent layer keeps its alpha (a
    // squared alpha would be 64). Outside the outline the mask hides nothing, and the edge repair leaves
    // no transparent black beside a visible pixel. With little video memory the extent is cut to the
    // document.
    void warps_data()
    {
        QTest::addColumn<QPolygonF>("quad");        // empty: rotate by `angle`
        QTest::addColumn<double>("angle");          // -1 with a quad: through the mesh
        QTest::addColumn<unsigned>("memoryKiB");    // 0: the driver's own figure
        QTest::addColumn<QRect>("extent");          // in document pixels
        QTransform turn;
        turn.translate(52, 40).rotate(30).translate(-52, -40);
        QTest::newRow("rotate 30") << QPolygonF() << 30.0 << 0u << turn.mapRect(QRectF(40, 30, 24, 20)).toAlignedRect();
        const QPolygonF quad({QPointF(20, 12), QPointF(95, 25), QPointF(80, 70), QPointF(28, 88)});
        QTest::newRow("perspective") << quad << 0.0 << 0u << QRect(20, 12, 75, 76);
        const QPolygonF mirrored({QPointF(95, 25), QPointF(20, 12), QPointF(28, 88), QPointF(80, 70)});
        QTest::newRow("perspective, mirrored order") << mirrored << 0.0 << 0u << QRect(20, 12, 75, 76);
        // 100 MiB free: too little to keep a whole extent.
        const QPolygonF past({QPointF(-30, -20), QPointF(60, -10), QPointF(50, 40), QPointF(-20, 50)});
        QTest::newRow("little memory: cut to the document") << past << 0.0 << 102400u << QRect(0, 0, 60, 50);
        QTest::newRow("unknown memory: whole") << past << 0.0 << 0u << QRect(-30, -20, 90, 70);
        // A strip of two triangles over a parallelogram: affine, so the same map as the quadrilateral's.
        const QPolygonF slanted({QPointF(30, 10), QPointF(90, 20), QPointF(80, 60), QPointF(20, 50)});
        QTest::newRow("mesh") << slanted << -1.0 << 0u << QRect(20, 10, 70, 50);
    }

    void warps()
    {
        QFETCH(QPolygonF, quad);
        QFETCH(double, angle);
        QFETCH(unsigned, memoryKiB);
        QFETCH(QRect, extent);
        if (memoryKiB)
            VellGpuManager::setAvailableMemoryOverride([memoryKiB] { return memoryKiB; });
        const QImage source = waveImage(QSize(24, 20), 128), grey = waveImage(QSize(24, 20), 255, true);
        const std::unique_ptr<VellLayer> layer(makeLayer(rawOf(source, false), source.size(), 4, rawOf(grey, true), QPointF(40, 30)));
        layer->active();
        QTransform toLayer;   // document point -> layer point
        if (quad.isEmpty()) {
            layer->setRotationAngle(float(angle));
            layer->applyRotation();
            QTransform turn;
            turn.translate(52, 40).rotate(angle).translate(-52, -40);
            quad = turn.map(QPolygonF(QRectF(40, 30, 24, 20))).mid(0, 4);
            toLayer = turn.inverted() * QTransform::fromTranslate(-40, -30);
            QCOMPARE(layer->getRotationAngle(), 0.0f);
        } else {
            if (angle < 0)
                layer->tesselateAffine(quad, {QPointF(0, 0), QPointF(0, 1), QPointF(1, 0), QPointF(1, 1)},
                                       {quad[0], quad[3], quad[1], quad[2]});
            else
                layer->applyAffine(quad);
            QVERIFY(QTransform::quadToQuad(quad, QPolygonF(QRectF(0, 0, 24, 20)).mid(0, 4), toLayer));
        }
        QCOMPARE(layer->getGeometryError(), QString());
        QCOMPARE(QRect(layer->getPosition().toPoint(), QSize(layer->getWidth(), layer->getHeight())), extent);
        QCOMPARE(layer->getLatestPlace(), int(VellLayer::BothAgree));
        QCOMPARE(layer->getCenter(), QPointF(extent.width() * 0.5, extent.height() * 0.5));

        const QImage got = imageOf(*layer, false), mask = imageOf(*layer, true);
        QCOMPARE(mask.size(), got.size());
        QPainterPath inside;
        inside.addPolygon(quad.translated(-extent.topLeft()));
        inside.closeSubpath();
        QPainterPathStroker stroker;
        stroker.setWidth(5);   // the slanted edges, and the clamped source edge under the kernel
        const QPainterPath border = stroker.createStroke(inside);
        auto within = [&](bool in, int x, int y) {
            const QPointF centre(x + 0.5, y + 0.5);
            return !border.contains(centre) && inside.contains(centre) == in;
        };
        for (bool isMask : {false, true})
            QCOMPARE(mismatch(isMask ? mask : got, [&](int x, int y, QRgb *want) {
                *want = sample(isMask ? grey : source, toLayer.map(QPointF(x + 0.5, y + 0.5) + extent.topLeft()), 1, 1,
                               VellToolUtil::Bicubic, true);
                return within(true, x, y);
            }, 2), QString());
        QCOMPARE(mismatch(got, [&](int x, int y, QRgb *want) { *want = got.pixel(x, y) & 0xFFFFFF; return within(false, x, y); }, 0),
                 QString());
        QCOMPARE(mismatch(mask, [&](int x, int y, QRgb *want) { *want = 0xFFFFFFFF; return within(false, x, y); }, 0), QString());
        for (int y = 1; y < got.height() - 1; ++y)
            for (int x = 1; x < got.width() - 1; ++x)
                QVERIFY2(got.pixel(x, y) != 0 || !(qAlpha(got.pixel(x - 1, y)) || qAlpha(got.pixel(x + 1, y))
                                                   || qAlpha(got.pixel(x, y - 1)) || qAlpha(got.pixel(x, y + 1))),
                         qPrintable(QString::asprintf("%d,%d", x, y)));
    }

    // A refused operation changes neither pixels, mask, size, position nor textures, and says why; a
    // picture memo recorded before one that worked takes the layer back byte for byte.
    void refusals_data()
    {
        QTest::addColumn<Step>("step");
        QTest::addColumn<bool>("refused");
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const auto refused = [](const char *name, Step step) { QTest::newRow(name) << step << true; };
        const auto quad = [](QPointF b, QPointF c) {
            return Step([=](VellLayer &l) { l.applyAffine(QPolygonF({QPointF(0, 0), b, c, QPointF(0, 20)})); });
        };
        refused("rotate 45", [](VellLayer &l) { l.rotate(45); });
        refused("NaN factor", [nan](VellLayer &l) { l.resize(nan, 1); });
        refused("side below a pixel", [](VellLayer &l) { l.resize(0.05, 1); });
        refused("beyond the largest texture", [](VellLayer &l) { l.resize(1e5, 1); });
        refused("beyond the image limit", [](VellLayer &l) {
            VellGlobalSettings::getInstance()->imageLimitX = 20;
            l.resize(2, 1);
        });
        refused("crop missing the layer", [](VellLayer &l) { l.clip(QRect(12, 0, 4, 4)); });
        refused("bow-tie", quad(QPointF(20, 20), QPointF(20, 0)));
        refused("three collinear corners", quad(QPointF(10, 0), QPointF(20, 0)));
        refused("NaN corner", quad(QPointF(nan, 0), QPointF(20, 20)));
        refused("mesh lists of different lengths", [](VellLayer &l) {
            l.tesselateAffine(QPolygonF(QRectF(0, 0, 10, 10)), {QPointF(0, 0), QPointF(1, 0), QPointF(0, 1)},
                              {QPointF(0, 0), QPointF(10, 0)});
        });
        refused("NaN rotation angle", [nan](VellLayer &l) { l.setRotationAngle(float(nan)); l.applyRotation(); });
        QTest::newRow("undo of rotate 90") << Step([](VellLayer &l) { l.rotate(90); }) << false;
        QTest::newRow("undo of free rotation") << Step([](VellLayer &l) { l.setRotationAngle(20); l.applyRotation(); }) << false;
    }

    void refusals()
    {
        QFETCH(Step, step);
        QFETCH(bool, refused);
        const QSize limit = VellGlobalSettings::getInstance()->getImageLimitSize();
        const std::unique_ptr<VellContext> document(currentDocument(QSize(40, 30)));
        const QByteArray before = VellGLTestContext::patternBytes(11 * 9 * 4, 5), mask = VellGLTestContext::patternBytes(11 * 9, 6);
        VellLayer *layer = makeLayer(before, QSize(11, 9), 4, mask, QPointF());
        document->getLayerManager()->addLayer(layer, false);
        layer->setPosition(QPointF(3, 4));
        const VellPictureHost *host = layer->getPictureHost();
        const VellGLTexture2D *texture = layer->getEntireTexture();
        VellPictureModifyMemo memo(document.get(), layer->getPictureHost(), layer->getPermanentIndex(), false);
        step(*layer);
        VellGlobalSettings::getInstance()->setImageLimitSize(limit);
        QCOMPARE(layer->getGeometryError().isEmpty(), !refused);
        if (refused) {
            QCOMPARE(layer->getPictureHost(), host);
            QCOMPARE(layer->getEntireTexture(), texture);
            QCOMPARE(layer->getLatestPlace(), int(VellLayer::BothAgree));
            QCOMPARE(layer->getPosition(), QPointF(3, 4));
            QCOMPARE(maskBytes(layer->getLayerMask()), mask);
        } else {
            QVERIFY(bytesOf(layer->getPictureHost()) != before);
            QVERIFY(memo.undo());
        }
        QCOMPARE(QSize(layer->getWidth(), layer->getHeight()), QSize(11, 9));
        QCOMPARE(bytesOf(layer->getPictureHost()), before);
    }

    // A 40 x 30 document of an 8-bit layer with a mask, a 16-bit layer wider than the document and a
    // text layer. Each step moves every raster layer's rectangle, pixels and mask with the document's
    // map, text anchors with it (a mirrored text's box mirrored) and the type's size with the scale,
    // sizes the document and its selection, and is one undo step that puts everything back; redo
    // repeats it. A refusal changes and records nothing.
    void documentSteps_data()
    {
        QTest::addColumn<DocumentStep>("step");
        QTest::addColumn<QTransform>("map");   // of document points; identity: refused
        QTest::addColumn<QSize>("size");
        const auto row = [](const char *name, DocumentStep step, QTransform map, QSize size) {
            QTest::newRow(name) << step << map << size;
        };
        row("rotate -90", [](VellContext &d) { return d.rotateDocument(-90); }, moveMap(Minus90, 40, 30), QSize(30, 40));
        row("rotate 90", [](VellContext &d) { return d.rotateDocument(90); }, moveMap(Plus90, 40, 30), QSize(30, 40));
        row("rotate 180", [](VellContext &d) { return d.rotateDocument(180); }, moveMap(Half, 40, 30), QSize(40, 30));
        row("flip left-right", [](VellContext &d) { return d.flipDocument(true); }, moveMap(MirrorLeftRight, 40, 30), QSize(40, 30));
        row("flip top-bottom", [](VellContext &d) { return d.flipDocument(false); }, moveMap(MirrorTopBottom, 40, 30), QSize(40, 30));
        row("resize by 1.5", [](VellContext &d) { return d.resizeDocument(QSize(60, 45)); }, QTransform::fromScale(1.5, 1.5), QSize(60, 45));
        row("crop", [](VellContext &d) { return d.clipDocument(QRect(2, 3, 33, 25)); }, QTransform::fromTranslate(-2, -3), QSize(33, 25));
        row("rotate 45: refused", [](VellContext &d) { return d.rotateDocument(45); }, QTransform(), QSize());
        row("crop outside: refused", [](VellContext &d) { return d.clipDocument(QRect(40, 0, 5, 5)); }, QTransform(), QSize());
        row("resize to nothing: refused", [](VellContext &d) { return d.resizeDocument(QSize(0, 30)); }, QTransform(), QSize());
        row("beyond the image limit: refused", [](VellContext &d) { return d.resizeDocument(QSize(40, 100000)); }, QTransform(),
            QSize());
        // The document fits the limit, the second layer does not: the first is put back.
        row("a layer beyond the limit: refused", [](VellContext &d) {
            const QSize limit = VellGlobalSettings::getInstance()->getImageLimitSize();
            VellGlobalSettings::getInstance()->imageLimitX = 50;
            const bool ok = d.resizeDocument(QSize(48, 36));
            VellGlobalSettings::getInstance()->setImageLimitSize(limit);
            return ok;
        }, QTransform(), QSize());
    }

    void documentSteps()
    {
        QFETCH(DocumentStep, step);
        QFETCH(QTransform, map);
        QFETCH(QSize, size);
        const std::unique_ptr<VellContext> document(currentDocument(QSize(40, 30)));
        VellLayerManager *stack = document->getLayerManager();
        const QRect rects[] = {QRect(4, 6, 10, 8), QRect(-2, 22, 44, 8)};
        QByteArray pixels[2], masks[2];
        for (int i : {0, 1}) {
            pixels[i] = VellGLTestContext::patternBytes(rects[i].width() * rects[i].height() * 4 * (i + 1), i);
            masks[i] = i ? QByteArray() : VellGLTestContext::patternBytes(rects[i].width() * rects[i].height(), 9);
            stack->addLayer(makeLayer(pixels[i], rects[i].size(), 4 * (i + 1), masks[i], rects[i].topLeft()), false);
        }
        auto *text = new VellTextLayer(QStringLiteral("T"));
        text->setText(QStringLiteral("Hi"));
        if (!size.isValid())
            text->setHtml(QStringLiteral("<b>H</b>i"));   // a refusal keeps the formatting (undo keeps the plain text)
        text->setPosition(QPointF(8, 12));
        stack->addLayer(text, false);
        const QRect textRect = text->getDocumentRect();
        VellSelection *selection = document->getSelection();
        const QByteArray coverage = VellGLTestContext::patternBytes(40 * 30, 7);
        QByteArray padded(int(selection->getByteCount()), '\0');
        for (int y = 0; y < 30; ++y)
            std::memcpy(padded.data() + y * selection->getPaddedWidth(), coverage.constData() + y * 40, 40);
        QVERIFY(selection->copyMask(reinterpret_cast<const uchar *>(padded.constData())));
        const QByteArray before = documentState(*document);
        const int memos = document->getHistory()->getMemoCount();

        const bool ok = step(*document);
        QCOMPARE(ok, size.isValid());
        QCOMPARE(document->getGeometryError().isEmpty(), ok);
        QCOMPARE(document->getHistory()->getMemoCount(), memos + int(ok));
        if (!ok) {
            QCOMPARE(documentState(*document), before);
            return;
        }
        QCOMPARE(document->getDocumentSize(), size);
        QCOMPARE(QSize(selection->getWidth(), selection->getHeight()), size);
        const bool exact = std::fabs(map.determinant()) == 1;
        // The selection goes with the document: moved exactly, or scaled.
        QVERIFY(selection->hasSelection());
        if (exact)
            QCOMPARE(movedExactly(coverage, QSize(40, 30), maskBytes(selection), size, 1, map), QString());
        else
            QVERIFY(maskBytes(selection).count('\0') < size.width() * size.height());
        for (int i : {0, 1}) {
            auto *layer = static_cast<VellLayer *>(stack->getLayer(i));
            const QRect got(layer->getPosition().toPoint(), QSize(layer->getWidth(), layer->getHeight()));
            const QRect moved = map.mapRect(QRectF(rects[i])).toRect();
            QCOMPARE(got, map.type() == QTransform::TxTranslate ? moved & QRect(QPoint(), size) : moved);   // a crop cuts
            const QTransform local = QTransform::fromTranslate(rects[i].x(), rects[i].y()) * map
                                     * QTransform::fromTranslate(-got.x(), -got.y());
            if (exact)
                QCOMPARE(movedExactly(pixels[i], rects[i].size(), bytesOf(layer->getPictureHost()), got.size(), 4 * (i + 1), local),
                         QString());
            if (i == 0) {
                QCOMPARE(layer->getLayerMask()->getWidth(), got.width());
                if (exact)
                    QCOMPARE(movedExactly(masks[i], rects[i].size(), maskBytes(layer->getLayerMask()), got.size(), 1, local),
                             QString());
            }
        }
        if (map.determinant() < 0)
            QCOMPARE(text->getDocumentRect(), map.mapRect(QRectF(textRect)).toRect());
        else
            QCOMPARE(text->getPosition(), map.map(QPointF(8, 12)));
        QCOMPARE(text->getFont().pointSizeF(), 10.0 * std::sqrt(std::fabs(map.determinant())));

        const QByteArray after = documentState(*document);
        document->getHistory()->stepBackward();
        QCOMPARE(documentState(*document), before);
        document->getHistory()->stepForward();
        QCOMPARE(documentState(*document), after);
    }

private:
    VellGLTestContext gl;
};

QTEST_MAIN(TestVellLayerGeometry)
#include "tst_velllayergeometry.moc"
