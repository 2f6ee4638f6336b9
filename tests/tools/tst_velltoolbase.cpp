// The filter framework with a tool made here: a partial invert whose shader
// honours the selection and the channels tools may write. Its results are
// compared with the same formula computed on the CPU from the layer's
// pixels; undo and redo go through the document's history.
#include "foundation/vellcodes.h"
#include "foundation/velldatalocation.h"
#include "foundation/vellendecodetool.h"
#include "foundation/vellmessagebox.h"
#include "gpu/vellgltexture2d.h"
#include "history/vellhistory.h"
#include "history/vellhistorymemo.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"
#include "tools/velltoolrecord.h"
#include "tools/velltooltestdoc.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QGLShaderProgram>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {

constexpr int kWidth = 40, kHeight = 30;

const char *const kShader = R"(#version 110
uniform sampler2D image;
uniform sampler2D selection;
uniform vec4 channelMask;
uniform float amount;
void main()
{
    vec4 c = texture2D(image, gl_TexCoord[0].st);
    float s = texture2D(selection, gl_TexCoord[1].st).r;
    vec3 inverted = mix(c.rgb, vec3(1.0) - c.rgb, amount);
    gl_FragColor = vec4(mix(c.rgb, inverted, channelMask.rgb * s), c.a);
}
)";

// The filter on the CPU: channel value v of a pixel with coverage s.
int expectedChannel(int v, double amount, double s, bool writable)
{
    if (!writable)
        return v;
    const double c = v / 255.0;
    const double inverted = c + (1.0 - 2.0 * c) * amount;
    return int(std::lround((c + (inverted - c) * s) * 255.0));
}

class PartialInvert : public VellToolBase
{
public:
    explicit PartialInvert(const QString &shaderFile)
    {
        name = QStringLiteral("Partial Invert");
        toolId = QStringLiteral("test.partialInvert");
        shaderPath = shaderFile;
        refreshPresetsOnActivation = false;
    }
    void initParams() override { amount = 1.0f; }
    void passParamsToShader() override { getProgram()->setUniformValue("amount", amount); }
    void serializeParams(QDataStream &out) override { out << amount; }
    void deserializeParams(QDataStream &in) override
    {
        float value = 0.0f;
        in >> value;
        if (in.status() == QDataStream::Ok)
            amount = value;
    }
    void actuallyApply() override
    {
        ++previews;
        VellToolBase::actuallyApply();
    }
    QString askPresetName(const QString &proposal) override
    {
        proposals << proposal;
        return answers.isEmpty() ? QString() : answers.takeFirst();
    }
    bool confirmOverwrite(const QString &) override { return overwrite; }

    float amount = 1.0f;
    int previews = 0;
    QStringList proposals, answers;
    bool overwrite = false;
};

// `source` enciphered into `path`, as the build does with the plug-ins' shaders.
bool writeShader(const QString &path, const char *source)
{
    QString key, cipher;
    if (!VellEnDecodeTool::VellGetMM(key))
        return false;
    VellEnDecodeTool::DES_Encrypt(QByteArray(source), key, cipher);
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(cipher.toLatin1()) > 0;
}

QByteArray pattern()
{
    QByteArray bytes(kWidth * kHeight * 4, 0);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        bytes[4 * i] = char((i * 37) & 255);
        bytes[4 * i + 1] = char((i * 11 + 60) & 255);
        bytes[4 * i + 2] = char((i * 5 + 130) & 255);
        bytes[4 * i + 3] = char(255);
    }
    return bytes;
}

} // namespace

class TestVellToolBase : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    std::unique_ptr<VellContext> document;
    VellLayer *layer = nullptr;
    QTemporaryDir dir;
    QString shaderFile;
    QStringList messages, titles;

    void newDocument()
    {
        document.reset();
        const QByteArray bytes = pattern();
        document = VellToolTest::makeDocument(canvas, reinterpret_cast<const uchar *>(bytes.constData()), kWidth,
                                              kHeight, &layer);
        canvas->setScale(1.0f, false);
        canvas->moveToCenter(false);
        canvas->calcVisibleRect();
        canvas->Render(nullptr);
    }

    QByteArray layerPixels() { return VellToolTest::layerBytes(canvas, layer); }

    // Every channel of every pixel against the CPU formula; the selection's
    // coverage (1 without one) and the writable channels as given.
    void compareWithFormula(const QByteArray &before, double amount, int channels)
    {
        const QByteArray after = layerPixels();
        VellSelection *selection = document->getSelection();
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const double s = selection->getMask()[y * selection->getPaddedWidth() + x] / 255.0;
                for (int k = 0; k < 4; ++k) {
                    const int i = 4 * (y * kWidth + x) + k;
                    // Bytes are blue, green, red, alpha.
                    const int bit = k == 0 ? VellChannelBits::Blue : k == 1 ? VellChannelBits::Green : VellChannelBits::Red;
                    const int expected = k == 3 ? uchar(before[i])
                                                : expectedChannel(uchar(before[i]), amount, s, channels & bit);
                    const int actual = uchar(after[i]);
                    QVERIFY2(qAbs(actual - expected) <= 1,
                             qPrintable(QStringLiteral("pixel %1,%2 byte %3: %4, expected %5").arg(x).arg(y).arg(k).arg(actual).arg(expected)));
                }
            }
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        shaderFile = dir.filePath(QStringLiteral("partialInvert.glsl_"));
        QVERIFY(writeShader(shaderFile, kShader));
        VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
            messages << m.text;
            titles << m.title;
            return QMessageBox::Ok;
        });
        canvas = VellToolTest::shownCanvas(kWidth, kHeight, QSize(120, 90));
        QVERIFY(canvas);
        VellToolManager::getInstance();   // installs the canvas's tool hooks
    }
    void init()
    {
        messages.clear();
        titles.clear();
    }
    void cleanup() { document.reset(); }
    void cleanupTestCase() { delete canvas; }

    // The whole-layer apply equals the formula on the CPU, inside a partial
    // selection only, and on the writable channels only. OK reports the
    // apply and records it; a silent apply of an inactive tool (as the
    // history replays) does neither.
    void applyEntireMatchesFormula_data()
    {
        QTest::addColumn<double>("amount");
        QTest::addColumn<bool>("partialSelection");
        QTest::addColumn<int>("channels");
        QTest::addColumn<bool>("silent");
        const int all = VellChannelBits::All;
        QTest::newRow("whole layer") << 1.0 << false << all << false;
        QTest::newRow("half strength") << 0.5 << false << all << false;
        QTest::newRow("feathered ellipse") << 1.0 << true << all << false;
        QTest::newRow("red only") << 0.75 << false << int(VellChannelBits::Red) << false;
        QTest::newRow("green and blue in a selection")
            << 1.0 << true << int(VellChannelBits::Green | VellChannelBits::Blue) << false;
        QTest::newRow("silent, in a selection") << 1.0 << true << all << true;
    }
    void applyEntireMatchesFormula()
    {
        QFETCH(double, amount);
        QFETCH(bool, partialSelection);
        QFETCH(int, channels);
        QFETCH(bool, silent);
        newDocument();
        if (partialSelection) {
            QByteArray mask(kWidth * kHeight, 0);
            for (int y = 0; y < kHeight; ++y)
                for (int x = 0; x < kWidth; ++x)
                    if ((x - 20) * (x - 20) / 144.0 + (y - 15) * (y - 15) / 64.0 <= 1.0)
                        mask[y * kWidth + x] = char(255);
            document->getSelection()->addMask(reinterpret_cast<const uchar *>(mask.constData()), kWidth, kHeight, 0, 0);
            document->getSelection()->feather(3.0f);
        }
        document->editingChannel = channels;
        const QByteArray before = layerPixels();
        PartialInvert tool(shaderFile);
        QSignalSpy applied(document.get(), &VellContext::filterAppliedEntire);
        QSignalSpy report(document.get(), &VellContext::toolTimeInfoChange);
        if (silent) {
            tool.applyEntire(true);
        } else {
            tool.active(document.get());
            QCOMPARE(document->getCurrentTool(), &tool);
            tool.amount = float(amount);
            tool.ok();
            QVERIFY(!tool.isActive());
            QVERIFY(!document->getCurrentTool());
            QVERIFY(report.value(0).value(0).toString().startsWith(QStringLiteral("Apply: Partial Invert, used ")));
        }
        QCOMPARE(applied.size(), silent ? 0 : 1);
        QCOMPARE(report.size(), silent ? 0 : 1);
        QCOMPARE(document->getHistory()->getMemoCount(), silent ? 0 : 1);
        QVERIFY(document->isSaveAble());
        compareWithFormula(before, amount, channels);
    }

    // Undo brings the picture back from the full memo the first apply
    // recorded; redo replays the filter from its parameters; a second apply
    // on the chain is undone and redone the same way.
    void undoAndRedo()
    {
        newDocument();
        const QByteArray original = layerPixels();
        PartialInvert tool(shaderFile);
        tool.active(document.get());
        tool.amount = 0.25f;
        tool.applyEntire(false);
        const QByteArray once = layerPixels();
        tool.amount = 1.0f;
        tool.applyEntire(false);
        const QByteArray twice = layerPixels();
        tool.disActive();
        QVERIFY(once != original);
        QVERIFY(twice != once);
        VellHistory *history = document->getHistory();
        QVERIFY(history->isUndoAble());

        history->stepBackward();
        QCOMPARE(layerPixels(), once);
        history->stepBackward();
        QCOMPARE(layerPixels(), original);
        history->stepForward();
        QCOMPARE(layerPixels(), once);
        history->stepForward();
        QCOMPARE(layerPixels(), twice);
    }

    // Two requests inside 3 ms run one preview and remember the second,
    // which the next canvas tick serves once the busy window is over.
    void previewsCoalesce()
    {
        newDocument();
        PartialInvert tool(shaderFile);
        tool.active(document.get());
        tool.apply();
        tool.apply();
        QCOMPARE(tool.previews, 1);
        QVERIFY(!tool.isPreviewUpToDate());
        // The canvas sees the filter working on its document.
        const VellCanvas::ViewHooks hooks = VellCanvas::viewHooks();
        QVERIFY(hooks.hasCurrentTool() && hooks.currentToolIsToolBase());
        QTRY_VERIFY_WITH_TIMEOUT(!tool.isBusy(), 500);
        emit canvas->timeOut();
        QCOMPARE(tool.previews, 2);
        QVERIFY(tool.isPreviewUpToDate());
        emit canvas->timeOut();   // nothing pending
        QCOMPARE(tool.previews, 2);
        QVERIFY(hooks.reapplyTool());   // a zoom re-runs the preview
        QCOMPARE(tool.previews, 3);
        // The preview reached the display texture: it no longer shows the layer.
        const QImage shown = layer->getThumbTexture()->toQImage();
        tool.cancel();
        QVERIFY(shown != layer->getThumbTexture()->toQImage());
        emit canvas->timeOut();
        QCOMPARE(tool.previews, 3);
        QVERIFY(!hooks.hasCurrentTool() && !hooks.reapplyTool());
        // Leaving the tool inside a preview's window closes the window, so
        // the next activation previews at once.
        tool.active(document.get());
        tool.apply();
        QVERIFY(tool.isBusy());
        tool.disActive();
        QVERIFY(!tool.isBusy());
    }

    // A shader that does not compile: its log is shown under the tool's
    // name, and applying changes nothing rather than copying stale tiles.
    void brokenShader()
    {
        newDocument();
        const QString broken = dir.filePath(QStringLiteral("broken.glsl_"));
        QVERIFY(writeShader(broken, "#version 110\nvoid main() { gl_FragColor = undefinedThing; }\n"));
        PartialInvert tool(broken);
        const QByteArray before = layerPixels();
        tool.active(document.get());
        QVERIFY(tool.isActive());
        QVERIFY(titles.contains(QStringLiteral("Partial Invert")));
        tool.applyEntire(false);
        QCOMPARE(layerPixels(), before);
        QCOMPARE(document->getHistory()->getMemoCount(), 0);
        tool.disActive();
    }

    // A record holds each applied tool's id and parameters; playing it back
    // names the first tool, and nothing is recorded while recording is off.
    void toolRecord()
    {
        PartialInvert tool(shaderFile);
        VellToolManager::getInstance()->regist(&tool);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadWrite);
        QDataStream stream(&buffer);
        VellToolRecord record;
        record.stream = &stream;
        QStringList recoded, played;   // the signals pass names by reference
        connect(&record, &VellToolRecord::RecodeChange, this, [&](QString &name) { recoded << name; });
        connect(&record, &VellToolRecord::PlayChange, this, [&](QString &name) { played << name; });
        record.Play(VellToolManager::getInstance(), nullptr);   // empty: nothing
        QCOMPARE(played.size(), 0);
        record.Recode(&tool);
        QVERIFY(bytes.isEmpty());
        record.recording = true;
        tool.amount = 0.4f;
        record.Recode(&tool);
        QCOMPARE(recoded, QStringList{QStringLiteral("Partial Invert")});
        QDataStream in(bytes);
        QString id;
        float amount = 0.0f;
        in >> id >> amount;
        QCOMPARE(id, QStringLiteral("test.partialInvert"));
        QCOMPARE(amount, 0.4f);
        record.Play(VellToolManager::getInstance(), nullptr);
        QCOMPARE(played, QStringList{QStringLiteral("Partial Invert")});
        // Off the registry again before the tool goes out of scope.
        VellToolManager::getInstance()->regist(new PartialInvert(shaderFile));
    }

    // The tool does not work on a layer's mask (refused with a message), and
    // stops when the selection's editing mode ends.
    void staysInactive()
    {
        newDocument();
        PartialInvert tool(shaderFile);
        tool.active(document.get());
        QVERIFY(tool.isActive());
        document->enterSelectionEditingMode();
        document->exitSelectionEditingMode();
        QVERIFY(!tool.isActive());
        QVERIFY(!document->getCurrentTool());
        layer->createLayerMask();
        layer->setEdittingMask(true);
        tool.active(document.get());
        QVERIFY(!tool.isActive());
        QCOMPARE(messages, QStringList{QStringLiteral("This tool doesn't support layer mask.")});
    }

    // Presets: the first free "Default Name" is proposed, an existing name
    // is overwritten only when confirmed, the display names go beside the
    // file, and loading one brings its parameters back.
    void presets()
    {
        QDir(VellToolBase::presetPath()).removeRecursively();
        PartialInvert tool(shaderFile);
        const QDir folder(tool.getPresetsPath());
        for (const QString &taken : {QStringLiteral("Default Name"), QStringLiteral("Default Name 1")}) {
            QFile f(folder.filePath(taken));
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        tool.amount = 0.3f;
        tool.answers = QStringList{QStringLiteral("Soft")};
        tool.saveCurrentPreset();
        QCOMPARE(tool.proposals, QStringList{QStringLiteral("Default Name 2")});
        QFile names(folder.filePath(QStringLiteral("Soft.name")));
        QVERIFY(names.open(QIODevice::ReadOnly));
        QCOMPARE(names.readAll(), QByteArray("en:Soft\r\nzh_CN:Soft\r\nzh_TW:Soft\r\nde_DE:Soft\r\n"
                                             "es_ES:Soft\r\nfr_FR:Soft\r\nja_JP:Soft\r\nko_KR:Soft"));
        tool.initAllPresets();
        QStringList listed = tool.getPresetNames();
        listed.sort();
        QCOMPARE(listed, QStringList({"Default Name", "Default Name 1", "Soft"}));

        // Saving over "Soft": refused, asked again, then cancelled.
        tool.amount = 0.9f;
        tool.proposals.clear();
        tool.answers = QStringList{QStringLiteral("Soft"), QString()};
        tool.saveCurrentPreset();
        QCOMPARE(tool.proposals.size(), 2);
        tool.loadPreset(QStringLiteral("Soft"));
        QCOMPARE(tool.amount, 0.3f);

        // The parameter stack.
        tool.pushParam();
        tool.amount = 0.7f;
        tool.popParam();
        QCOMPARE(tool.amount, 0.3f);
        tool.popParam();   // empty: nothing
        QCOMPARE(tool.amount, 0.3f);
    }
};

QTEST_MAIN(TestVellToolBase)
#include "tst_velltoolbase.moc"
