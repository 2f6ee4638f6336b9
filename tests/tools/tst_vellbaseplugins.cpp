// The plug-ins built on the blur-based, block-divided and single-channel
// tool bases (Gaussian Blur, Unsharp Mask, Median, Mask Levels), loaded the
// way a host loads them and checked against plain CPU computations: a
// separable Gaussian with clamped edges, the unsharp formula over the
// blurred texture the tool used, a sorted-window median, and the levels
// formula on the mask.
#include "document/velllayermask.h"
#include "foundation/vellcodes.h"
#include "foundation/vellmessagebox.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellgltextureluminance.h"
#include "gpu/vellgpumanager.h"
#include "gpu/vellrenderpass.h"
#include "history/vellhistory.h"
#include "tools/velltoolblockdivided.h"
#include "tools/velltoolgaussianblurbased.h"
#include "tools/velltoolmanager.h"
#include "tools/velltoolsinglechannelfilter.h"
#include "tools/velltooltestdoc.h"

#include <QGLShaderProgram>
#include <QProgressBar>
#include <QRandomGenerator>
#include <QVector2D>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

namespace {

// BGRA bytes, rows packed, as the picture host holds them.
using Pixels = std::vector<unsigned char>;

// Random 8 x 8 blocks of colour with a little noise: hard edges at every
// block, so ghosting or a wrong sigma shows as error.
Pixels blockPicture(int width, int height, quint32 seed)
{
    QRandomGenerator random(seed);
    std::vector<unsigned char> levels(size_t((width / 8 + 1) * (height / 8 + 1) * 3));
    for (unsigned char &level : levels)
        level = uchar(random.bounded(256));
    Pixels pixels(size_t(width) * height * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            unsigned char *p = &pixels[(size_t(y) * width + x) * 4];
            const size_t block = size_t((y / 8) * (width / 8 + 1) + x / 8) * 3;
            for (int c = 0; c < 3; ++c)
                p[c] = uchar(qBound(0, levels[block + c] + int(random.bounded(9)) - 4, 255));
            p[3] = 255;
        }
    return pixels;
}

// Each colour channel blurred by a sampled Gaussian of sigma = radius / 3,
// out to four sigmas, edges repeated.
std::vector<double> cpuGaussian(const Pixels &pixels, int width, int height, double radius)
{
    const double sigma = radius / 3.0;
    const int reach = int(std::ceil(4 * sigma));
    std::vector<double> kernel(size_t(2 * reach + 1));
    double sum = 0;
    for (int i = -reach; i <= reach; ++i)
        sum += kernel[size_t(i + reach)] = std::exp(-i * i / (2 * sigma * sigma));
    for (double &k : kernel)
        k /= sum;
    // One pass along x (dx 1) or y (dx 0); `at` reads the pass's input.
    std::vector<double> rows(size_t(width) * height * 3), out(rows.size());
    const auto pass = [&](std::vector<double> &to, int dx, const std::function<double(int, int, int)> &at) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 3; ++c) {
                    double v = 0;
                    for (int i = -reach; i <= reach; ++i)
                        v += kernel[size_t(i + reach)]
                             * at(qBound(0, x + i * dx, width - 1), qBound(0, y + i * (1 - dx), height - 1), c);
                    to[(size_t(y) * width + x) * 3 + c] = v;
                }
    };
    pass(rows, 1, [&](int x, int y, int c) { return double(pixels[(size_t(y) * width + x) * 4 + c]); });
    pass(out, 0, [&](int x, int y, int c) { return rows[(size_t(y) * width + x) * 3 + c]; });
    return out;
}

struct Error {
    double mean = 0, max = 0;
};

Error compare(const Pixels &gpu, const std::vector<double> &cpu)
{
    Error e;
    const size_t n = cpu.size() / 3;
    for (size_t i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) {
            const double d = std::fabs(gpu[i * 4 + size_t(c)] - cpu[i * 3 + size_t(c)]);
            e.mean += d;
            e.max = std::max(e.max, d);
        }
    e.mean /= double(n * 3);
    return e;
}

// A block-divided tool that looks for a visible progress window while its
// blocks render, through the median's shader (loaded with its plug-in).
class ProgressProbe : public VellToolBlockDivided
{
public:
    ProgressProbe()
    {
        name = QStringLiteral("Probe");
        toolId = QStringLiteral("probe");
        shaderPath = QStringLiteral(":/median/median.glsl_");
    }
    void passParamsToShader() override
    {
        getProgram()->setUniformValue("radius", 1.0f);
        getProgram()->setUniformValue("texel", QVector2D(0.01f, 0.01f));
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *bar = qobject_cast<QProgressBar *>(widget); bar && bar->isVisible())
                visibleTitle = bar->windowTitle();
    }
    QString visibleTitle;
};

} // namespace

class TestVellBasePlugins : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    std::unique_ptr<VellContext> document;
    VellLayer *layer = nullptr;
    QStringList messages;

    void makeDocument(const Pixels &pixels, int width, int height)
    {
        document = VellToolTest::makeDocument(canvas, pixels.data(), width, height, &layer);
    }
    Pixels pixels()
    {
        const QByteArray bytes = VellToolTest::layerBytes(canvas, layer);
        return Pixels(bytes.begin(), bytes.end());
    }
    template<typename T> T *tool(const char *id)
    {
        return qobject_cast<T *>(VellToolManager::getInstance()->getTool(QLatin1String(id)));
    }
    // The valid part of the layer's display texture.
    QImage thumb()
    {
        canvas->makeCurrent();
        const QSizeF valid = layer->getThumbValidSize();
        return layer->getThumbTexture()->toQImage().copy(0, 0, int(valid.width()), int(valid.height()));
    }
    // The Gaussian Blur plug-in applied to the current layer at `radius`.
    Pixels gaussianBlur(double radius)
    {
        auto *blur = tool<VellToolGaussianBlurBased>("gaussian-blur");
        blur->active(document.get());
        blur->setParameterValue(QStringLiteral("radius"), radius);
        blur->ok();
        return pixels();
    }

private slots:
    void initTestCase()
    {
        canvas = VellToolTest::shownCanvas(64, 64, QSize(100, 80));
        QVERIFY(canvas);
        canvas->makeCurrent();
        // Mask filters render into the mask's LUMINANCE8 texture.
        VellGLTextureLuminance luminance(8, 8, false);
        VellGLFramebufferObject framebuffer(8, 8);
        {
            VellRenderPass pass(&framebuffer, luminance.getId());
            QVERIFY(pass.isOpen());
            QVERIFY(framebuffer.isComplete());
        }
        VellToolManager *manager = VellToolManager::getInstance();
        manager->setToolsPath(QStringLiteral(VELL_PLUGIN_TOOLS_DIR));
        manager->loadTools();
        for (const char *id : {"gaussian-blur", "unsharp-mask", "median", "mask-levels", "brightness-contrast"})
            QVERIFY2(manager->getTool(QLatin1String(id)), id);
        VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
            messages.append(m.title + QLatin1Char(':') + m.text);
            return QMessageBox::Ok;
        });
    }
    void cleanup()
    {
        document.reset();
        messages.clear();
    }
    void cleanupTestCase()
    {
        VellMessageBox::setPresenter({});
        delete canvas;
    }

    // Radii 3, 9 and 27 use one cascade level each; between levels two are
    // mixed, which is no Gaussian, so those rows get a looser bound. Measured
    // on llvmpipe (mean, max in levels of 255): 3: 0.48, 3; 9: 0.95, 4;
    // 27: 0.83, 3 (the same with the single-draw path); 5: 3.6, 20;
    // 15: 4.9, 30; 2: 1.4, 12. A layer wider than the working limit is
    // blurred at half size: 20 layer pixels, 10.24 working ones, between
    // levels 1 and 2 (measured 2.1, 11); its preview (from the levels) shows
    // what the apply then puts in the display texture (measured 1 apart).
    void gaussianAgainstCpu_data()
    {
        QTest::addColumn<double>("radius");
        QTest::addColumn<QString>("vendor");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("meanBound");
        QTest::addColumn<double>("maxBound");
        const QString mesa = QStringLiteral("Mesa/X.org"), nvidia = QStringLiteral("NVIDIA Corporation");
        const QSize small(160, 120);
        QTest::newRow("3, level 0") << 3.0 << mesa << small << 1.2 << 5.0;
        QTest::newRow("9, level 1") << 9.0 << mesa << small << 1.2 << 5.0;
        QTest::newRow("27, level 2") << 27.0 << mesa << small << 1.2 << 5.0;
        QTest::newRow("27, single draw") << 27.0 << nvidia << small << 1.2 << 5.0;
        QTest::newRow("5, between 0 and 1") << 5.0 << mesa << small << 6.0 << 40.0;
        QTest::newRow("15, between 1 and 2") << 15.0 << mesa << small << 6.0 << 40.0;
        QTest::newRow("2, towards the picture") << 2.0 << mesa << small << 6.0 << 40.0;
        QTest::newRow("20, layer of 2000 px, previewed") << 20.0 << mesa << QSize(2000, 24) << 3.0 << 16.0;
    }
    void gaussianAgainstCpu()
    {
        QFETCH(double, radius);
        QFETCH(QString, vendor);
        QFETCH(QSize, size);
        QFETCH(double, meanBound);
        QFETCH(double, maxBound);
        const int width = size.width(), height = size.height();
        const Pixels before = blockPicture(width, height, width > 1024 ? 5 : 11);
        makeDocument(before, width, height);
        VellGpuManager *gpu = VellGpuManager::getInstance();
        const QString driver = gpu->vendor;
        gpu->vendor = vendor;
        auto *blur = tool<VellToolGaussianBlurBased>("gaussian-blur");
        blur->active(document.get());
        QCOMPARE(blur->getWorkingSize(), width > 1024 ? QSizeF(1024, 13) : QSizeF(size));
        QVERIFY(blur->setParameterValue(QStringLiteral("radius"), radius));
        blur->apply();
        const QImage preview = thumb();
        blur->ok();
        gpu->vendor = driver;
        const Pixels after = pixels();
        if (width > 1024) {
            const QImage applied = thumb();
            QCOMPARE(preview.size(), applied.size());
            int worst = 0;
            for (int y = 0; y < preview.height(); ++y)
                for (int x = 0; x < preview.width(); ++x) {
                    const QRgb p = preview.pixel(x, y), a = applied.pixel(x, y);
                    worst = std::max({worst, qAbs(qRed(p) - qRed(a)), qAbs(qGreen(p) - qGreen(a)),
                                      qAbs(qBlue(p) - qBlue(a))});
                }
            QVERIFY2(worst <= 3, qPrintable(QString::number(worst)));
        }
        const Error e = compare(after, cpuGaussian(before, width, height, radius));
        QVERIFY2(e.mean <= meanBound, qPrintable(QString::number(e.mean)));
        QVERIFY2(e.max <= maxBound, qPrintable(QString::number(e.max)));
        for (size_t i = 3; i < after.size(); i += 4)
            QCOMPARE(int(after[i]), 255);
        // Undo puts the picture back.
        document->getHistory()->stepBackward();
        QVERIFY(pixels() == before);
    }

    // A dark-to-light edge blurred stays between its two levels and never
    // falls back along a row.
    void stepEdgeDoesNotOvershoot_data()
    {
        QTest::addColumn<double>("radius");
        QTest::newRow("2") << 2.0;
        QTest::newRow("9") << 9.0;
        QTest::newRow("40") << 40.0;
    }
    void stepEdgeDoesNotOvershoot()
    {
        QFETCH(double, radius);
        constexpr int width = 120, height = 6;
        Pixels edge(size_t(width) * height * 4);
        for (int i = 0; i < width * height; ++i)
            for (int c = 0; c < 4; ++c)
                edge[size_t(i) * 4 + c] = c == 3 ? 255 : (i % width < width / 2 ? 40 : 220);
        makeDocument(edge, width, height);
        const Pixels after = gaussianBlur(radius);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 3; ++c) {
                    const int v = after[(size_t(y) * width + x) * 4 + c];
                    const int left = x ? after[(size_t(y) * width + x - 1) * 4 + c] : 40;
                    QVERIFY2(v >= 40 && v <= 220 && v >= left,
                             qPrintable(QStringLiteral("%1,%2: %3 after %4").arg(x).arg(y).arg(v).arg(left)));
                }
    }

    // Unsharp Mask against the formula over the blurred texture it used.
    void unsharpMask_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<bool>("leftHalf");
        QTest::addColumn<double>("threshold");
        QTest::newRow("all channels") << int(VellChannelBits::All) << false << 0.0;
        QTest::newRow("left half selected, threshold 6") << int(VellChannelBits::All) << true << 6.0;
        QTest::newRow("red only") << int(VellChannelBits::Red) << false << 2.0;
    }
    void unsharpMask()
    {
        QFETCH(int, channels);
        QFETCH(bool, leftHalf);
        QFETCH(double, threshold);
        constexpr int width = 64, height = 48;
        constexpr double amount = 150;
        const Pixels before = blockPicture(width, height, 3);
        makeDocument(before, width, height);
        if (leftHalf) {
            const QByteArray half(width / 2 * height, char(255));
            document->getSelection()->addMask(reinterpret_cast<const uchar *>(half.constData()), width / 2, height,
                                              0, 0);
        }
        document->editingChannel = channels;
        auto *sharpen = tool<VellToolGaussianBlurBased>("unsharp-mask");
        sharpen->active(document.get());
        QVERIFY(sharpen->setParameterValue(QStringLiteral("amount"), amount));
        QVERIFY(sharpen->setParameterValue(QStringLiteral("radius"), 3));
        QVERIFY(sharpen->setParameterValue(QStringLiteral("threshold"), threshold));
        QVERIFY(!sharpen->setParameterValue(QStringLiteral("amount"), 501));
        sharpen->applyEntire(false);
        QVERIFY(sharpen->getBluredImage());
        const QImage blurred = sharpen->getBluredImage()->toQImage();
        sharpen->disActive();
        QCOMPARE(blurred.size(), QSize(width, height));
        const Pixels after = pixels();
        const int bits[3] = {VellChannelBits::Blue, VellChannelBits::Green, VellChannelBits::Red};
        int changed = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const QRgb b = blurred.pixel(x, y);
                const int blurLevels[3] = {qBlue(b), qGreen(b), qRed(b)};
                for (int c = 0; c < 4; ++c) {
                    const size_t at = (size_t(y) * width + x) * 4 + size_t(c);
                    int expected = before[at];
                    const int d = c < 3 ? before[at] - blurLevels[c] : 0;
                    if (c < 3 && (channels & bits[c]) && (!leftHalf || x < width / 2) && qAbs(d) >= threshold)
                        expected = qBound(0, int(std::lround(before[at] + amount / 100 * d)), 255);
                    changed += expected != before[at];
                    QVERIFY2(qAbs(after[at] - expected) <= 1,
                             qPrintable(QStringLiteral("%1,%2 byte %3: %4, expected %5")
                                            .arg(x).arg(y).arg(c).arg(after[at]).arg(expected)));
                }
            }
        QVERIFY(changed > width * height / 4);   // the formula did something
    }

    // Byte-exact against a CPU median; block sizes must leave no seams.
    void median_data()
    {
        QTest::addColumn<int>("k");
        QTest::addColumn<int>("block");
        QTest::newRow("k 1, blocks of 256") << 1 << 256;
        QTest::newRow("k 2, blocks of 64") << 2 << 64;
        QTest::newRow("k 2, one block larger than the layer") << 2 << 100000;
        QTest::newRow("k 3, blocks of 37") << 3 << 37;
    }
    void median()
    {
        QFETCH(int, k);
        QFETCH(int, block);
        constexpr int width = 300, height = 70;
        QRandomGenerator random(quint32(k * 1000 + block));
        Pixels before(size_t(width) * height * 4);
        for (unsigned char &v : before)
            v = uchar(random.bounded(256));
        makeDocument(before, width, height);
        auto *median = tool<VellToolBlockDivided>("median");
        median->active(document.get());
        QVERIFY(median->setParameterValue(QStringLiteral("radius"), k));
        median->setBlockSizeX(block);
        median->setBlockSizeY(block);
        median->ok();
        median->setBlockSizeX(256);
        median->setBlockSizeY(256);
        const Pixels after = pixels();
        std::vector<int> window;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 4; ++c) {
                    window.clear();
                    for (int j = -k; j <= k; ++j)
                        for (int i = -k; i <= k; ++i)
                            window.push_back(before[(size_t(qBound(0, y + j, height - 1)) * width
                                                     + size_t(qBound(0, x + i, width - 1))) * 4 + size_t(c)]);
                    std::nth_element(window.begin(), window.begin() + long(window.size() / 2), window.end());
                    const int expected = window[window.size() / 2];
                    const int got = after[(size_t(y) * width + x) * 4 + size_t(c)];
                    QVERIFY2(got == expected, qPrintable(QStringLiteral("%1,%2 byte %3: %4, expected %5")
                                                             .arg(x).arg(y).arg(c).arg(got).arg(expected)));
                }
    }

    // No progress window shows in batch mode or for a silent apply; it goes
    // when the apply returns.
    void progressWindow_data()
    {
        QTest::addColumn<bool>("silent");
        QTest::addColumn<bool>("batch");
        QTest::addColumn<QString>("shown");
        QTest::newRow("interactive") << false << false << "Applying:Probe";
        QTest::newRow("silent") << true << false << "";
        QTest::newRow("batch") << false << true << "";
    }
    void progressWindow()
    {
        QFETCH(bool, silent);
        QFETCH(bool, batch);
        QFETCH(QString, shown);
        makeDocument(blockPicture(40, 30, 1), 40, 30);
        document->batchFlag = batch;
        ProgressProbe probe;
        probe.setBlockSizeX(16);
        probe.setBlockSizeY(16);
        probe.active(document.get());
        probe.applyEntire(silent);
        probe.disActive();
        QCOMPARE(probe.visibleTitle, shown);
        for (QWidget *widget : QApplication::topLevelWidgets())
            QVERIFY(!qobject_cast<QProgressBar *>(widget));
    }

    // Mask Levels on a mask of odd width (rows padded to 4 bytes): previews
    // leave the mask's bytes alone, OK writes the formula, Undo and Cancel
    // bring back the original byte for byte. A layer without a mask is
    // refused, in a message box, or in batch mode (no modal dialogs: vell
    // filter would hang) only in the log.
    void maskLevels_data()
    {
        QTest::addColumn<bool>("hasMask");
        QTest::addColumn<bool>("editingMask");
        QTest::addColumn<bool>("batch");
        QTest::addColumn<bool>("keep");
        QTest::newRow("ok, then undo") << true << true << false << true;
        QTest::newRow("cancel after previews") << true << true << false << false;
        QTest::newRow("not editing the mask: nothing") << true << false << false << true;
        QTest::newRow("no mask: refused") << false << false << false << true;
        QTest::newRow("no mask, batch: refused in the log") << false << false << true << true;
    }
    void maskLevels()
    {
        QFETCH(bool, hasMask);
        QFETCH(bool, editingMask);
        QFETCH(bool, batch);
        QFETCH(bool, keep);
        constexpr int width = 51, height = 20;
        constexpr double black = 30, white = 200, gamma = 1.8;
        makeDocument(blockPicture(width, height, 9), width, height);
        document->batchFlag = batch;
        auto *levels = tool<VellToolSingleChannelFilter>("mask-levels");
        if (!hasMask) {
            levels->active(document.get());
            QVERIFY(!levels->isActive());
            QVERIFY(!document->getCurrentTool());
            QCOMPARE(messages, batch ? QStringList() : QStringList{"Error:Current layer doesn't have a mask!"});
            return;
        }
        layer->createLayerMask();
        VellLayerMask *mask = layer->getLayerMask();
        QVERIFY(mask && mask->getData());
        const int padded = mask->getPaddedWidth();
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < padded; ++x)
                mask->getData()[y * padded + x] = uchar((x * 5 + y * 3) % 256);
        mask->update();
        const QByteArray before(reinterpret_cast<const char *>(mask->getData()), int(mask->getByteCount()));
        const auto maskBytes = [&] { return QByteArray(reinterpret_cast<const char *>(mask->getData()), before.size()); };
        layer->setEdittingMask(editingMask);

        levels->active(document.get());
        QVERIFY(levels->isActive());
        for (double g : {0.5, 3.0, gamma}) {   // several previews
            QVERIFY(levels->setParameterValue(QStringLiteral("gamma"), g));
            QVERIFY(levels->setParameterValue(QStringLiteral("black"), black));
            QVERIFY(levels->setParameterValue(QStringLiteral("white"), white));
            levels->actuallyApply();
        }
        QCOMPARE(maskBytes(), before);
        if (!keep) {
            levels->cancel();
            QCOMPARE(maskBytes(), before);
            canvas->makeCurrent();
            const QImage texture = mask->getEntireTexture()->toQImage();
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    QCOMPARE(int(texture.constScanLine(y)[x]), int(uchar(before[y * padded + x])));
            return;
        }
        levels->ok();
        QVERIFY(!levels->isActive());
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const int v = uchar(before[y * padded + x]);
                int expected = v;
                if (editingMask) {
                    const double t = std::clamp((v - black) / (white - black), 0.0, 1.0);
                    expected = int(std::lround(std::pow(t, 1 / gamma) * 255));
                }
                const int got = mask->getData()[y * padded + x];
                QVERIFY2(qAbs(got - expected) <= 1,
                         qPrintable(QStringLiteral("%1,%2: %3, expected %4").arg(x).arg(y).arg(got).arg(expected)));
            }
        if (editingMask) {
            document->getHistory()->stepBackward();
            QCOMPARE(maskBytes(), before);
        }
    }

    // A record cut anywhere leaves the parameters as they were; the whole
    // record brings its value back.
    void truncatedRecords_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("parameter");
        QTest::addColumn<double>("recorded");
        QTest::addColumn<double>("current");
        QTest::newRow("gaussian blur") << "gaussian-blur" << "radius" << 42.5 << 7.0;
        QTest::newRow("unsharp mask") << "unsharp-mask" << "threshold" << 12.0 << 3.0;
        QTest::newRow("median") << "median" << "radius" << 3.0 << 2.0;
        QTest::newRow("mask levels") << "mask-levels" << "gamma" << 2.5 << 0.4;
        QTest::newRow("brightness/contrast") << "brightness-contrast" << "contrast" << 66.0 << -7.0;
    }
    void truncatedRecords()
    {
        QFETCH(QString, id);
        QFETCH(QString, parameter);
        QFETCH(double, recorded);
        QFETCH(double, current);
        auto *filter = qobject_cast<VellToolBase *>(VellToolManager::getInstance()->getTool(id));
        QVERIFY(filter->setParameterValue(parameter, recorded));
        const QByteArray record = filter->parameterBytes();
        QVERIFY(filter->setParameterValue(parameter, current));
        for (int cut = 0; cut < record.size(); ++cut) {
            QDataStream in(record.left(cut));
            in.setVersion(QDataStream::Qt_4_8);
            filter->deserializeParams(in);
            QCOMPARE(filter->parameterValue(parameter), current);
        }
        QDataStream in(record);
        in.setVersion(QDataStream::Qt_4_8);
        filter->deserializeParams(in);
        QCOMPARE(filter->parameterValue(parameter), recorded);
        filter->initParams();
    }

    // A tool's programs are names of the canvas's context: another
    // activation on the same canvas keeps them, and one on a canvas made anew
    // builds them again, so the filter still works there: the mask family's
    // program, and a colour tool's with the Gaussian base's blur program.
    void programsFollowTheCanvas()
    {
        auto *levels = tool<VellToolSingleChannelFilter>("mask-levels");
        // Mask 100 with black 50 and white 150 becomes half way, 127.5.
        const auto filteredMask = [&] {
            makeDocument(blockPicture(9, 5, 4), 9, 5);
            layer->createLayerMask();
            VellLayerMask *mask = layer->getLayerMask();
            std::fill(mask->getData(), mask->getData() + mask->getByteCount(), uchar(100));
            mask->update();
            layer->setEdittingMask(true);
            levels->active(document.get());
            levels->setParameterValue(QStringLiteral("black"), 50);
            levels->setParameterValue(QStringLiteral("white"), 150);
            levels->ok();
            return int(mask->getData()[0]);
        };
        const auto blurred = [&] {
            makeDocument(blockPicture(9, 5, 4), 9, 5);
            return gaussianBlur(2.0);
        };
        QVERIFY(qAbs(filteredMask() * 2 - 255) <= 2);
        QGLShaderProgram *first = levels->getProgram();
        QVERIFY(qAbs(filteredMask() * 2 - 255) <= 2);
        QCOMPARE(levels->getProgram(), first);
        const Pixels blur = blurred();
        QVERIFY(blur != blockPicture(9, 5, 4));

        document.reset();
        delete canvas;
        canvas = VellToolTest::shownCanvas(64, 64, QSize(100, 80));
        QVERIFY(canvas);
        const int again = filteredMask();
        QVERIFY2(qAbs(again * 2 - 255) <= 2, qPrintable(QString::number(again)));
        QVERIFY(blurred() == blur);
    }
};

QTEST_MAIN(TestVellBasePlugins)
#include "tst_vellbaseplugins.moc"
