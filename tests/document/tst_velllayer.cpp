#include "document/velllayer.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgpumanager.h"
#include "picture/vellchannel.h"
#include "picture/vellpicturehost.h"
#include "support/vellgltestcontext.h"
#include "support/vellteststreams.h"
#include "tools/velltoolutil.h"

#include <QtTest>

#include <cmath>
#include <functional>
#include <memory>

namespace {

VellPictureHost *patternHost(int w, int h, unsigned pixelWidth = 4, int seed = 1)
{
    auto *host = new VellPictureHost(w, h, pixelWidth);
    host->read(reinterpret_cast<const uchar *>(
        VellGLTestContext::patternBytes(int(host->getByteCount()), seed).constData()));
    return host;
}

QByteArray bytes(const VellPictureHost *h) { return QByteArray(reinterpret_cast<const char *>(h->getData()), int(h->getByteCount())); }

int channel(QRgb p, int c) { return (p >> (8 * c)) & 0xFF; }   // 0 B .. 3 A

int hostChannel(const VellPictureHost *host, int x, int y, int c)   // clamped to the edge
{
    return channel(host->getPixel8bit(qBound(0, x, int(host->getWidth()) - 1),
                                      qBound(0, y, int(host->getHeight()) - 1)), c);
}

QByteArray streamed(VellLayer *layer, int version)
{
    VellGlobalSettings::getInstance()->streamWriteVersion = version;
    QByteArray out;
    QDataStream stream(&out, QIODevice::WriteOnly);
    stream << layer;
    return out;
}

VellLayer *readLayer(const QByteArray &in, int version, QDataStream::Status *status = nullptr)
{
    VellGlobalSettings::getInstance()->streamReadVersion = version;
    QDataStream stream(in);
    VellLayer *layer = nullptr;
    stream >> &layer;
    if (status)
        *status = stream.status();
    return layer;
}

using Step = std::function<void(VellLayer &)>;

} // namespace

Q_DECLARE_METATYPE(Step)

class TestVellLayer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(gl.isValid()); }
    void init()
    {
        view = VellLayer::View();
        VellLayer::setViewProbe([this] { return std::optional<VellLayer::View>(view); });
    }
    void cleanup()
    {
        VellLayer::setViewProbe(nullptr);
        VellLayerBase::setStackIndexProbe(nullptr);
        VellGpuManager::setAvailableMemoryOverride(nullptr);
        QCOMPARE(VellGLTestContext::takeErrors(), QVector<GLenum>());
    }
    void cleanupTestCase() { VellToolUtil dropProgram; Q_UNUSED(dropProgram); }

    void fboTiles()
    {
        for (const QSize s : { QSize(4000, 4000), QSize(4097, 4098), QSize(5999, 10) })
            QCOMPARE(VellLayer::fboTileRects(s.width(), s.height()), QVector<QRect>{ QRect(QPoint(), s) });
        for (const QSize s : { QSize(4098, 4098), QSize(4099, 4099), QSize(6000, 10) })
            QCOMPARE(VellLayer::fboTileRects(s.width(), s.height()), VellLayer::quadrantRects(s.width(), s.height()));
        QCOMPARE(VellLayer::quadrantRects(5, 3),
                 (QVector<QRect>{ QRect(0, 0, 2, 1), QRect(2, 0, 3, 1), QRect(2, 1, 3, 2), QRect(0, 1, 2, 2) }));
    }

    void latestPlace_data()
    {
        QTest::addColumn<bool>("inactive");   // deactivated (keeping the texture) before the edit
        QTest::addColumn<Step>("step");
        QTest::addColumn<int>("place");       // 2: the entire texture is kept; 0: it is gone
        QTest::newRow("deactivate, keep texture") << false << Step([](VellLayer &l) { l.disactive(false); }) << int(VellLayer::BothAgree);
        QTest::newRow("deactivate, drop texture") << false << Step([](VellLayer &l) { l.disactive(true); }) << int(VellLayer::HostOnly);
        QTest::newRow("drop while inactive") << true << Step([](VellLayer &l) { l.deleteFullTexture(); }) << int(VellLayer::HostOnly);
        QTest::newRow("delete textures") << false << Step([](VellLayer &l) { l.deleteTextures(); }) << int(VellLayer::HostOnly);
        QTest::newRow("stream out") << false << Step([](VellLayer &l) { streamed(&l, 1); }) << int(VellLayer::BothAgree);
        QTest::newRow("refresh") << false << Step([](VellLayer &l) { l.refresh(); }) << int(VellLayer::BothAgree);
        QTest::newRow("render on the CPU") << false << Step([](VellLayer &l) {
            QImage target(8, 6, QImage::Format_ARGB32);
            l.renderToImage(&target, nullptr);
        }) << int(VellLayer::BothAgree);
    }

    // A GPU edit (latest place 1) reaches the host before anything reads the
    // host or drops the texture.
    void latestPlace()
    {
        QFETCH(bool, inactive);
        QFETCH(Step, step);
        QFETCH(int, place);
        VellLayer layer("L");
        layer.setVellPictureHost(patternHost(8, 6));
        layer.active();
        QCOMPARE(layer.getLatestPlace(), int(VellLayer::BothAgree));
        QCOMPARE(layer.getFboTextureList().size(), 1);
        if (inactive)
            layer.disactive(false);
        const QByteArray edited = VellGLTestContext::patternBytes(8 * 6 * 4, 9);
        layer.getEntireTexture()->load(8, 6, reinterpret_cast<const unsigned *>(edited.constData()), true);
        layer.setLatestPlace(VellLayer::GpuNewer);
        step(layer);
        QCOMPARE(bytes(layer.getPictureHost()), edited);
        QCOMPARE(layer.getLatestPlace(), place);
        QCOMPARE(layer.getEntireTexture() != nullptr, place == 2);
        if (!layer.isActive()) {
            QVERIFY(layer.getFboTextureList().isEmpty());
            layer.active();   // a kept texture is taken as it is, not uploaded again
            QCOMPARE(layer.getLatestPlace(), int(VellLayer::BothAgree));
            QCOMPARE(layer.getEntireTexture()->toQImage().constBits()[5], uchar(edited[5]));
        }
    }

    // Whether activating a layer makes the previous one drop its entire texture.
    // The layer owns one host at a time: a taken host is the caller's, a
    // host left in place when another is set goes back to the budget.
    void hostHandOver()
    {
        VellMemory *budget = VellMemory::getInstance();
        const qint64 before = budget->getUsed();
        {
            VellLayer layer("L");
            VellPictureHost *first = patternHost(8, 6);
            layer.setVellPictureHost(first);
            const qint64 withOne = budget->getUsed();
            QVERIFY(withOne > before);

            std::unique_ptr<VellPictureHost> taken = layer.takePictureHost();
            QCOMPARE(taken.get(), first);
            QCOMPARE(layer.getPictureHost(), static_cast<VellPictureHost *>(nullptr));
            QCOMPARE(layer.getWidth(), 0);
            QCOMPARE(budget->getUsed(), withOne);   // still alive, now the caller's

            layer.setVellPictureHost(patternHost(4, 2));
            QCOMPARE(layer.getWidth(), 4);
            taken.reset();
            const qint64 withSecond = budget->getUsed();
            layer.setVellPictureHost(layer.getPictureHost());   // the same host: kept
            QCOMPARE(budget->getUsed(), withSecond);
            QCOMPARE(layer.getWidth(), 4);
            layer.setVellPictureHost(patternHost(2, 2));   // the 4 x 2 host was not taken
            QVERIFY(budget->getUsed() < withSecond);
            QCOMPARE(layer.getWidth(), 2);
        }
        QCOMPARE(budget->getUsed(), before);
    }

    void dropDecision()
    {
        const auto drops = [](int w, int h, unsigned freeKiB, int type = VellLayerType::Raster) {
            VellGpuManager::setAvailableMemoryOverride([freeKiB] { return freeKiB; });
            VellLayer layer("incoming");
            layer.setVellPictureHost(new VellPictureHost(w, h, 4));   // never touched
            layer.setType(type);
            return VellLayer::shouldDropFullTexture(&layer);
        };
        // 130 MiB free: the 128 MiB reserve leaves exactly 1024 x 512 x 4 bytes.
        QVERIFY(!drops(1023, 512, 133120));
        QVERIFY(drops(1024, 512, 133120));
        // 200 MiB free: a third is 69,905,066 bytes, less than the reserve leaves.
        QVERIFY(!drops(4096, 4266, 204800));
        QVERIFY(drops(4096, 4268, 204800));
        QVERIFY(!drops(64, 64, VellGpuManager::kUnknownMemory));   // the driver does not say
        QVERIFY(!drops(1, 1, 0, VellLayerType::Text));   // a text layer never makes it drop
        VellLayerBase manager("VellManager");   // a layer without pixels always does
        QVERIFY(VellLayer::shouldDropFullTexture(&manager));
    }

    void thumbSource_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<bool>("eighthOn");
        QTest::addColumn<bool>("dropped");
        QTest::addColumn<QRgb>("colour");
        const QRgb entire = 0xFF102030, half = 0xFF405060, quarter = 0xFF708090, eighth = 0xFFA0B0C0;
        QTest::newRow("1: entire") << 1.0 << true << false << entire;
        QTest::newRow("2: half") << 2.0 << true << false << half;
        QTest::newRow("3: half") << 3.0 << true << false << half;
        QTest::newRow("4: quarter") << 4.0 << true << false << quarter;
        QTest::newRow("7.5: quarter") << 7.5 << true << false << quarter;
        QTest::newRow("8: eighth") << 8.0 << true << false << eighth;
        QTest::newRow("8, eighth switched off: quarter") << 8.0 << false << false << quarter;
        QTest::newRow("1, entire dropped: host") << 1.0 << true << true << QRgb(0xFFD0E0F0);
        QTest::newRow("2, entire dropped: half kept") << 2.0 << true << true << half;
    }

    // Each level holds its own colour, so the thumb tells which one it came from.
    void thumbSource()
    {
        QFETCH(double, scale);
        QFETCH(bool, eighthOn);
        QFETCH(bool, dropped);
        VellLayer layer("L");
        auto *host = new VellPictureHost(64, 64, 4);
        std::fill_n(reinterpret_cast<QRgb *>(host->getData()), 64 * 64, 0xFFD0E0F0);
        layer.setVellPictureHost(host);
        layer.setMipmapSwitches(true, true, eighthOn);
        layer.active();
        QCOMPARE(layer.getOcativeTexture() != nullptr, eighthOn);
        const QVector<QPair<VellGLTexture2D *, QRgb>> levels = {
            { layer.getEntireTexture(), 0xFF102030 }, { layer.getHalfTexture(), 0xFF405060 },
            { layer.getQuarterTexture(), 0xFF708090 }, { layer.getOcativeTexture(), 0xFFA0B0C0 } };
        for (const auto &[t, colour] : levels)
            if (t)
                t->load(t->getWidth(), t->getHeight(), QVector<QRgb>(t->getWidth() * t->getHeight(), colour).constData(), true);
        if (dropped)
            layer.disactive(true);
        view.fboScale = scale;
        layer.updateVisibleRect(QRectF(0, 0, 64, 64));
        layer.updateThumb();   // also when the scale stayed
        QCOMPARE(layer.getThumbValidSize(), QSizeF(64 / scale, 64 / scale));
        QTEST(layer.getThumbTexture()->toQImage().pixel(0, 0), "colour");
    }

    void thumbPixels_data()
    {
        QTest::addColumn<bool>("active");
        QTest::addColumn<QRectF>("before");
        QTest::addColumn<double>("beforeScale");
        QTest::addColumn<QRectF>("after");
        QTest::addColumn<double>("afterScale");
        const QRectF all(0, 0, 24, 16);
        QTest::newRow("pyramid at 4: box 2:1 twice") << true << all << 1.0 << all << 4.0;
        QTest::newRow("host at 2.5") << false << QRectF() << 1.0 << all << 2.5;
        QTest::newRow("pan right and down") << false << QRectF(0, 0, 12, 8) << 1.0 << QRectF(5, 3, 12, 8) << 1.0;
        QTest::newRow("jump away") << false << QRectF(0, 0, 8, 8) << 1.0 << QRectF(14, 6, 8, 8) << 1.0;
        QTest::newRow("zoom out 1 to 2") << false << QRectF(4, 4, 8, 8) << 1.0 << all << 2.0;
        QTest::newRow("zoom in 3 to 1.5") << false << all << 3.0 << QRectF(3, 3, 12, 9) << 1.5;
    }

    // Through the pyramid a thumb at scale 4 is the host box-reduced 2:1 twice
    // (rounded at each step). From the host alone (strips after a pan or a
    // zoom-out, everything after zooming in) each pixel is a bilinear sample at
    // its centre. Only fully covered thumb pixels are compared.
    void thumbPixels()
    {
        QFETCH(bool, active);
        QFETCH(QRectF, before);
        QFETCH(QRectF, after);
        QFETCH(double, afterScale);
        VellLayer layer("L");
        VellPictureHost *host = patternHost(24, 16, 4, 3);
        layer.setVellPictureHost(host);
        if (active)
            layer.active();
        if (!before.isNull()) {
            QFETCH(double, beforeScale);
            view.fboScale = beforeScale;
            layer.updateVisibleRect(before);
        }
        view.fboScale = afterScale;
        layer.updateVisibleRect(after);
        QCOMPARE(layer.getThumbRegion(), after);
        const auto box = [host](int x, int y, int c) {
            return std::lround((hostChannel(host, 2 * x, 2 * y, c) + hostChannel(host, 2 * x + 1, 2 * y, c)
                                + hostChannel(host, 2 * x, 2 * y + 1, c) + hostChannel(host, 2 * x + 1, 2 * y + 1, c)) / 4.0);
        };
        const auto want = [&](int i, int j, int c) {
            if (active)
                return (box(2 * i, 2 * j, c) + box(2 * i + 1, 2 * j, c) + box(2 * i, 2 * j + 1, c) + box(2 * i + 1, 2 * j + 1, c)) / 4.0;
            const double u = after.x() + (i + 0.5) * afterScale - 0.5, v = after.y() + (j + 0.5) * afterScale - 0.5;
            const int x = int(std::floor(u)), y = int(std::floor(v));
            const double fx = u - x, fy = v - y;
            return (1 - fy) * ((1 - fx) * hostChannel(host, x, y, c) + fx * hostChannel(host, x + 1, y, c))
                + fy * ((1 - fx) * hostChannel(host, x, y + 1, c) + fx * hostChannel(host, x + 1, y + 1, c));
        };
        const QImage thumb = layer.getThumbTexture()->toQImage();
        const QSizeF valid = layer.getThumbValidSize();
        for (int j = 0; j < int(valid.height()); ++j)
            for (int i = 0; i < int(valid.width()); ++i)
                for (int c = 0; c < 4; ++c)
                    QVERIFY2(qAbs(channel(thumb.pixel(i, j), c) - std::lround(want(i, j, c))) <= 1,
                             qPrintable(QString("%1,%2 channel %3").arg(i).arg(j).arg(c)));
        layer.setPosition(QPointF(10, 20));   // made at the framebuffer scale: region / scale
        QCOMPARE(layer.getThumbQuadOnFbo(QPointF(2, 4), float(afterScale)).boundingRect(),
                 QRectF((after.topLeft() + QPointF(8, 16)) / afterScale, after.size() / afterScale));
    }

    void renderToImage_data()
    {
        QTest::addColumn<QRgb>("layerPixel");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<QRgb>("imagePixel");
        QTest::addColumn<bool>("bottom");
        QTest::addColumn<unsigned>("pixelWidth");
        QTest::newRow("opaque at 0.5 over opaque") << 0xFFC86432u << 0.5f << 0xFF0A1428u << false << 4u;
        QTest::newRow("16-bit by high bytes") << 0xB0906030u << 0.7f << 0xFF3050A0u << false << 8u;
        QTest::newRow("bottom, opaque layer: copied") << 0x80FF0000u << 1.0f << 0xFF0000FFu << true << 4u;
        QTest::newRow("bottom at 0.5: blended") << 0x80FF0000u << 0.5f << 0xFF0000FFu << true << 4u;
    }

    void renderToImage()
    {
        QFETCH(QRgb, layerPixel);
        QFETCH(float, opacity);
        QFETCH(QRgb, imagePixel);
        QFETCH(bool, bottom);
        QFETCH(unsigned, pixelWidth);
        auto *host = new VellPictureHost(3, 2, pixelWidth);
        for (unsigned b = 0; b < 6 * pixelWidth; ++b)   // 16-bit channels as v * 257
            host->getData()[b] = uchar(layerPixel >> (8 * (b % pixelWidth / (pixelWidth / 4))));
        VellLayer layer("L");
        layer.setVellPictureHost(host);
        layer.setAlpha(opacity);
        layer.setPosition(QPointF(3, 2));   // partly outside the 5 x 4 image
        VellLayerBase::setStackIndexProbe([bottom](const VellLayerBase *) { return std::optional<int>(bottom ? 0 : 1); });
        QImage target(5, 4, QImage::Format_ARGB32);
        target.fill(imagePixel);
        layer.renderToImage(&target, nullptr);
        QCOMPARE(target.pixel(2, 3), imagePixel);
        const double a = qAlpha(layerPixel) * opacity / 255.0;
        for (int c = 0; c < 4; ++c) {
            const int src = channel(layerPixel, c), dst = channel(imagePixel, c);
            const double want = bottom && opacity == 1.0f ? src : (c == 3 ? 255 : src) * a + dst * (1 - a);
            QVERIFY2(qAbs(channel(target.pixel(4, 3), c) - int(want)) <= 1, qPrintable(QString::number(c)));
        }
    }

    // Red at (8, 3) and green at (2, 9) in transparent black: a transparent
    // pixel takes the colour of the first one within the radius (5, or 3 from
    // a million pixels), scanning rows from the top; its alpha stays 0.
    void fixEdge()
    {
        for (const auto &[side, pixelWidth] : { std::pair(16, 4u), std::pair(16, 8u), std::pair(1024, 4u) }) {
            auto *host = new VellPictureHost(side, side, pixelWidth);
            host->initHostData(Qt::transparent);
            for (const auto &[p, colour] : { std::pair(QPoint(8, 3), 0xFFFF0000u), std::pair(QPoint(2, 9), 0xFF00FF00u) })
                for (unsigned b = 0; b < pixelWidth; ++b)
                    host->getData()[(p.y() * side + p.x()) * pixelWidth + b] = uchar(colour >> (8 * (b / (pixelWidth / 4))));
            VellLayer layer("L");
            layer.setVellPictureHost(host);
            layer.fixTransparentBlackEdge();
            const int radius = side == 16 ? 5 : 3;
            QCOMPARE(host->getPixel8bit(8 + radius, 3 + radius), 0x00FF0000u);
            QCOMPARE(host->getPixel8bit(9 + radius, 3), 0u);
            QCOMPARE(host->getPixel8bit(5, 6), 0x00FF0000u);   // both in reach: the upper row wins
            QCOMPARE(host->getPixel8bit(2, 12), 0x0000FF00u);
            QCOMPARE(host->getPixel8bit(8, 3), 0xFFFF0000u);
        }
    }

    void streams_data()
    {
        QTest::addColumn<bool>("withMask");
        QTest::addColumn<int>("version");
        QTest::newRow("no mask, version 1") << false << 1;
        QTest::newRow("mask, version 1") << true << 1;
        QTest::newRow("mask, version 2") << true << 2;
    }

    void streams()
    {
        QFETCH(bool, withMask);
        QFETCH(int, version);
        VellLayer layer("Ebene");
        layer.setVellPictureHost(patternHost(5, 3, 8));
        layer.setAlpha(0.25f);
        layer.setPosition(QPointF(-4, 7));
        layer.setPermanentIndex(3);
        layer.setBlendMode(VellBlend::SoftLight);
        layer.visible = false;
        layer.setLayerMaskVisible(true);   // reads and streams as false without a mask
        QVERIFY(!layer.needShaderBlending());
        if (withMask) {
            layer.createLayerMask();
            layer.createLayerMask();   // only when none exists: the byte below stays
            layer.getLayerMask()->getData()[2] = 17;
            layer.setLayerMaskVisible(true);
            layer.setLayerMaskLocked(true);
            layer.setLayerMaskPosition(QPointF(1.5, -2));
            QVERIFY(layer.needShaderBlending());   // even Normal, outside any document
        }
        const QByteArray out = streamed(&layer, version);
        QByteArray want;   // the format, field by field
        QDataStream w(&want, QIODevice::WriteOnly);
        w << 0.25f << QString("Ebene") << QPointF(-4, 7) << qint32(3) << layer.getPictureHost() << qint32(VellBlend::SoftLight) << false << withMask;
        if (withMask)
            w << layer.getLayerMask();
        w << false << withMask;
        if (version >= 2)
            w << withMask << (withMask ? QPointF(1.5, -2) : QPointF());
        QCOMPARE(out, want);

        QScopedPointer<VellLayer> back(readLayer(out, version));
        QVERIFY(back);
        QCOMPARE(back->getLatestPlace(), int(VellLayer::HostOnly));
        QCOMPARE(back->getLayerName(), QStringLiteral("Ebene"));
        QCOMPARE(streamed(back.data(), version), out);   // every field came back
        for (int n = 0; n < out.size(); ++n)
            QVERIFY2(!readLayer(out.left(n), version), qPrintable(QString("truncated at %1").arg(n)));
        if (version == 1)   // a reader expecting the version-2 fields runs out of bytes
            QVERIFY(!readLayer(out, 2));
        QScopedPointer<VellChannel> mask(back->getLayerMask());
        back->removeLayerMask();   // given up, not deleted: the history keeps it
        QVERIFY(!back->hasLayerMask());
        QVERIFY(!back->isLayerMaskVisible());
        QVERIFY(!mask || !mask->parent());
    }

    // A damaged field gives null, never a big allocation.
    void corruptStreams()
    {
        VellLayer layer("L");
        layer.setVellPictureHost(patternHost(4, 2));
        layer.createLayerMask();
        const QByteArray good = streamed(&layer, 2);
        const int hostAt = 8 + 4 + 2 + 16 + 4;   // opacity, name "L", position, index
        const int blendAt = hostAt + 12 + 4 * 2 * 4;
        const auto patched = [&good](int at, const QByteArray &with) { return QByteArray(good).replace(at, with.size(), with); };
        const QVector<QPair<const char *, QByteArray>> damaged = {
            { "opacity 2", patched(0, QByteArray::fromHex("4000000000000000")) },
            { "permanent index -2", patched(hostAt - 4, bigEndian32(0xFFFFFFFE)) },
            { "width 2^30", patched(hostAt, bigEndian32(1u << 30)) },
            { "pixel width 5", patched(hostAt + 8, bigEndian32(5)) },
            { "blend mode 15", patched(blendAt, bigEndian32(15)) },
            { "mask 2^20 wide", patched(blendAt + 6, bigEndian32(1u << 20)) } };
        size_t largest = 0;
        VellMemory::getInstance()->setAllocator([&largest](size_t size) {
            largest = qMax(largest, size);
            return std::malloc(size);
        });
        for (const auto &[what, stream] : damaged) {
            QDataStream::Status status = QDataStream::Ok;
            QVERIFY2(!readLayer(stream, 2, &status), what);
            QVERIFY2(status != QDataStream::Ok, what);
        }
        VellMemory::getInstance()->setAllocator(nullptr);
        QVERIFY(largest <= size_t(good.size()));
    }

private:
    VellGLTestContext gl;
    VellLayer::View view;
};

QTEST_MAIN(TestVellLayer)
#include "tst_velllayer.moc"
