// vell filter and vell tools: the filter plug-ins, listed and applied to an
// image through the library's tool framework on the GPU.
#include "vellcommandline.h"
#include "vellhost.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velllayermask.h"
#include "foundation/vellcodes.h"
#include "foundation/velllog.h"
#include "picture/vellpicturehost.h"
#include "presets/vellbatchactionrecord.h"
#include "selection/vellselection.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolsinglechannelfilter.h"
#include "tools/velltoolmanager.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

int vellFilterCommand(VellHost &host, const QStringList &args);
int vellToolsCommand(VellHost &host, const QStringList &args);

// How vellFilterPicture runs a filter: the channels it may write, a grey
// mask file of the picture's size confining it (empty: everywhere), the
// batch record the document hands the step to (null: none), and what sets
// the tool's parameters once it is active (false stops the run; it prints
// its own message).
struct VellFilterSetup
{
    int channels = VellChannelBits::All;
    QString maskPath;
    VellBatchActionRecord *record = nullptr;
    std::function<bool(VellToolBase *tool)> setParameters;
};
// Runs `tool` over the whole of `picture` on the GPU, in a one-layer
// document of the picture's size made current for the run (batch and
// quiet: no dialogs, no undo records), and returns the filtered picture.
// Null, with the message printed, when it cannot; `name` names the picture
// in messages. Shared with vell batch, so a step replayed there gives the
// bytes vell filter gives.
std::unique_ptr<VellPictureHost> vellFilterPicture(VellCanvas *canvas, VellToolBase *tool,
                                                   std::unique_ptr<VellPictureHost> picture,
                                                   const VellFilterSetup &setup, const QString &name);
// The filter plug-ins of the first tools folder that exists; the folders
// looked at go into *looked.
void vellLoadTools(QStringList *looked);
// batchcommand.cpp: a batch-action file read whole into `record`, else false
// with the message printed; `record` written to `file` (see vellWriteStream).
bool vellLoadBatchFile(VellBatchActionRecord *record, const QString &path);
bool vellWriteBatchFile(VellAtomicFile *file, VellBatchActionRecord *record);

namespace {

const char *const kFilterUsage =
    "Usage: vell filter IN OUT --tool ID [--param NAME=VALUE ...] [--preset FILE]\n"
    "                   [--select MASK] [--channels r,g,b] [OPTION ...]\n"
    "       vell filter IN OUT --tool ID --mask FILE [--param NAME=VALUE ...]\n"
    "                   [--preset FILE] [OPTION ...]\n"
    "Applies the filter plug-in ID (see vell tools) to the whole of image IN on\n"
    "the GPU and writes the result to OUT (format from OUT's suffix). A mask\n"
    "filter (Mask Levels) works on a layer mask instead: FILE, a grey image of\n"
    "IN's size (a colour one counts as its luminance), becomes the mask of IN's\n"
    "layer, and OUT receives the filtered mask as an 8-bit grey image.\n"
    "\n"
    "  --tool ID          the filter to apply\n"
    "  --param NAME=VALUE sets one of the filter's parameters (vell tools lists\n"
    "                     them with their ranges); may be repeated\n"
    "  --preset FILE      reads the filter's parameters from a preset file first\n"
    "                     (--param values then override them)\n"
    "  --select MASK      confines the filter to a grey image of IN's size: white\n"
    "                     is filtered, black kept, greys blended (vell select\n"
    "                     writes such masks)\n"
    "  --channels LIST    the colour channels the filter may change, a comma list\n"
    "                     of r, g and b (default all three)\n"
    "  --mask FILE        the layer mask a mask filter works on (required by mask\n"
    "                     filters, refused by the others)\n"
    "  --record FILE.vba  also appends the step (the filter and its parameters)\n"
    "                     to the batch-action file FILE.vba, made when missing,\n"
    "                     for vell batch run to replay (see vell batch --help)\n"
    "\n"
    "Options:\n"
    "  --no-colour        leave IN's colours as they are (by default IN is\n"
    "                     converted to sRGB like every image vell opens)\n"
    "  --max-size WxH     the largest picture of this run (see vell --help)\n"
    "  --quality N        the quality of a JPEG or WebP OUT, 0 to 100\n"
    "  --lossless         a lossless WebP OUT\n"
    "\n"
    "Filters are plug-ins (\".mt\" files), each in a folder of its own inside a\n"
    "tools folder: $VELL_TOOLS_PATH when set, else tools/ beside the vell\n"
    "binary, else the installed one.";

const char *const kToolsUsage =
    "Usage: vell tools\n"
    "Lists the filter plug-ins vell finds, with their ids, names, versions and\n"
    "parameters (name, range, default). The tools folder is $VELL_TOOLS_PATH\n"
    "when set, else tools/ beside the vell binary, else the installed one.";

// Where the plug-ins are looked for, in order; the first that exists is used.
QStringList toolsFolders()
{
    QStringList folders;
    const QString variable = qEnvironmentVariable("VELL_TOOLS_PATH");
    if (!variable.isEmpty())
        return {variable};
    folders << QCoreApplication::applicationDirPath() + QStringLiteral("/tools")
            << QStringLiteral(VELL_TOOLS_DIR);
    return folders;
}

QtMessageHandler previousHandler = nullptr;

// The tool manager names every folder and plug-in it looks at on the debug
// output: that belongs in the library's log (shown with --verbose), not
// among vell's messages.
void debugToLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtDebugMsg)
        VellLog::Instance()->Log("%s\n", qPrintable(message));
    else if (previousHandler)
        previousHandler(type, context, message);
}

} // namespace

void vellLoadTools(QStringList *looked)
{
    previousHandler = qInstallMessageHandler(debugToLog);
    struct Restore
    {
        ~Restore() { qInstallMessageHandler(previousHandler); }
    } restore;
    VellToolManager *manager = VellToolManager::getInstance();
    for (const QString &folder : toolsFolders()) {
        looked->append(folder);
        if (QFileInfo(folder).isDir()) {
            manager->setToolsPath(folder);
            manager->loadTools();
            return;
        }
    }
}

namespace {

QString number(double value)
{
    return QString::number(value, 'g', 10);
}

struct FilterJob
{
    QString inputPath, outputPath, toolId, presetPath, maskPath, recordPath;
    QString layerMaskPath;                     // --mask: the layer mask of a mask filter
    QVector<QPair<QString, QString>> params;   // as given
    int channels = VellChannelBits::All;
    VellSharedOptions options;
};

bool parseChannels(const QString &text, int *channels)
{
    int bits = 0;
    for (const QString &part : text.split(QLatin1Char(','))) {
        const QString name = part.trimmed().toLower();
        int bit = 0;
        if (name == QLatin1String("r") || name == QLatin1String("red"))
            bit = VellChannelBits::Red;
        else if (name == QLatin1String("g") || name == QLatin1String("green"))
            bit = VellChannelBits::Green;
        else if (name == QLatin1String("b") || name == QLatin1String("blue"))
            bit = VellChannelBits::Blue;
        if (!bit || (bits & bit))
            return false;
        bits |= bit;
    }
    *channels = bits;
    return bits != 0;
}

int parse(const QStringList &args, FilterJob *job)
{
    QStringList positional;
    auto value = [&](int *i, QString *into) {
        if (*i + 1 >= args.size()) {
            vellError(QStringLiteral("%1 needs a value").arg(args.at(*i)));
            return false;
        }
        if (!into->isEmpty()) {
            vellError(QStringLiteral("%1 given twice").arg(args.at(*i)));
            return false;
        }
        *into = args.at(++*i);
        return true;
    };
    for (int i = 0; i < args.size(); ++i) {
        const int taken = vellTakeOption(args, &i, NoColourOption | MaxSizeOption | QualityOptions, &job->options);
        if (taken < 0)
            return ExitUsage;
        if (taken > 0)
            continue;
        const QString &arg = args.at(i);
        if (arg == QLatin1String("--tool")) {
            if (!value(&i, &job->toolId))
                return ExitUsage;
        } else if (arg == QLatin1String("--preset")) {
            if (!value(&i, &job->presetPath))
                return ExitUsage;
        } else if (arg == QLatin1String("--select")) {
            if (!value(&i, &job->maskPath))
                return ExitUsage;
        } else if (arg == QLatin1String("--mask")) {
            if (!value(&i, &job->layerMaskPath))
                return ExitUsage;
        } else if (arg == QLatin1String("--record")) {
            if (!value(&i, &job->recordPath))
                return ExitUsage;
        } else if (arg == QLatin1String("--channels")) {
            QString list;
            if (!value(&i, &list))
                return ExitUsage;
            if (!parseChannels(list, &job->channels))
                return vellUsageError(QStringLiteral("bad --channels '%1' (a comma list of r, g and b)").arg(list));
        } else if (arg == QLatin1String("--param")) {
            if (i + 1 >= args.size())
                return vellUsageError(QStringLiteral("--param needs NAME=VALUE"));
            const QString setting = args.at(++i);
            const int equals = setting.indexOf(QLatin1Char('='));
            if (equals <= 0 || equals == setting.size() - 1)
                return vellUsageError(QStringLiteral("bad --param '%1' (NAME=VALUE)").arg(setting));
            job->params.append({setting.left(equals).trimmed(), setting.mid(equals + 1).trimmed()});
        } else if (arg.startsWith(QLatin1String("--"))) {
            return vellUsageError(QStringLiteral("unknown option '%1' (try 'vell filter --help')").arg(arg));
        } else {
            positional << arg;
        }
    }
    if (positional.size() != 2)
        return vellUsageError(QStringLiteral("filter needs IN and OUT (got %1)").arg(vellCount(positional.size(), "argument")));
    if (job->toolId.isEmpty())
        return vellUsageError(QStringLiteral("filter needs --tool ID (vell tools lists them)"));
    job->inputPath = positional.at(0);
    job->outputPath = positional.at(1);
    return kProceed;
}

// The filter's parameters as the user set them: each name known to the
// tool and each value a number within its range, else a usage error. Only
// checked without `set` (before any work), set with it (once the tool is
// active, since activation starts from the defaults).
int setParameters(VellToolBase *tool, const FilterJob &job, bool set)
{
    const QVector<VellToolParameter> known = tool->parameterList();
    for (const auto &setting : job.params) {
        const VellToolParameter *parameter = nullptr;
        for (const VellToolParameter &p : known)
            if (p.name.compare(setting.first, Qt::CaseInsensitive) == 0)
                parameter = &p;
        if (!parameter) {
            QStringList names;
            for (const VellToolParameter &p : known)
                names << p.name;
            return vellUsageError(QStringLiteral("%1 has no parameter '%2' (%3)")
                                  .arg(job.toolId, setting.first,
                                       names.isEmpty() ? QStringLiteral("it takes none")
                                                       : QStringLiteral("it takes ") + names.join(QStringLiteral(", "))));
        }
        bool ok = false;
        const double value = setting.second.toDouble(&ok);
        if (!ok || !std::isfinite(value) || value < parameter->minimum || value > parameter->maximum
            || (parameter->integral && value != std::floor(value)))
            return vellUsageError(QStringLiteral("bad --param %1=%2 (%3 from %4 to %5)")
                                  .arg(parameter->name, setting.second,
                                       parameter->integral ? QStringLiteral("a whole number") : QStringLiteral("a number"),
                                       number(parameter->minimum), number(parameter->maximum)));
        if (set && !tool->setParameterValue(parameter->name, value))
            return vellUsageError(QStringLiteral("%1 refused --param %2=%3").arg(job.toolId, parameter->name, setting.second));
    }
    return kProceed;
}

// Feeds a preset file to the tool's parameter reader. Presets are small; a
// file that is not, or cannot be read, is refused.
bool readPreset(VellToolBase *tool, const QString &path)
{
    constexpr qint64 kMaximumPreset = 1 << 20;
    if (!vellInputExists(path))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return false;
    }
    if (file.size() > kMaximumPreset) {
        vellError(QStringLiteral("cannot read %1: a preset of %2 bytes is too large").arg(path).arg(file.size()));
        return false;
    }
    const QByteArray bytes = file.read(kMaximumPreset);
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_4_8);
    tool->deserializeParams(in);
    return true;
}

// The grey image at `path`, of the document's size, into the selection.
bool selectMask(VellSelection *selection, const QString &path)
{
    const QImage mask = vellReadImage(path);
    if (mask.isNull())
        return false;
    if (mask.width() != selection->getWidth() || mask.height() != selection->getHeight()) {
        vellError(QStringLiteral("--select %1 is %2x%3, the image %4x%5: the mask must be of the image's size")
                      .arg(path).arg(mask.width()).arg(mask.height()).arg(selection->getWidth()).arg(selection->getHeight()));
        return false;
    }
    const QImage grey = mask.convertToFormat(QImage::Format_Grayscale8);
    QByteArray coverage(qsizetype(selection->getPaddedWidth()) * selection->getHeight(), char(0));
    for (int y = 0; y < grey.height(); ++y)
        std::memcpy(coverage.data() + qsizetype(y) * selection->getPaddedWidth(), grey.constScanLine(y),
                    size_t(grey.width()));
    return selection->copyMask(reinterpret_cast<const unsigned char *>(coverage.constData()));
}

// A mask filter works on the layer mask that --mask gives, and on nothing
// else: a selection or channels do not apply to it, and a recorded step
// would be replayed by vell batch on images that have no mask. Other
// filters take no --mask. A usage error when the options do not fit.
int checkMaskOptions(VellToolBase *tool, const FilterJob &job)
{
    if (!qobject_cast<VellToolSingleChannelFilter *>(tool))
        return job.layerMaskPath.isEmpty()
                   ? kProceed
                   : vellUsageError(QStringLiteral("--mask is for mask filters; %1 filters colours "
                                                   "(--select confines it)").arg(job.toolId));
    if (job.layerMaskPath.isEmpty())
        return vellUsageError(QStringLiteral("%1 filters a layer mask: pass the mask as --mask FILE").arg(job.toolId));
    if (!job.maskPath.isEmpty() || job.channels != VellChannelBits::All || !job.recordPath.isEmpty())
        return vellUsageError(QStringLiteral("%1 filters a layer mask: --select, --channels and --record do not "
                                             "apply to it").arg(job.toolId));
    return kProceed;
}

// The grey levels (a colour image's luminance) of the image at `path`,
// which must be of `size`; null, with the message printed and the exit
// status in *code, when it is not.
QImage readLayerMask(const QString &path, const QSize &size, int *code)
{
    *code = ExitFailure;
    QImage image = vellReadImage(path);
    if (image.isNull())
        return QImage();
    if (image.size() != size) {
        *code = vellUsageError(QStringLiteral("--mask %1 is %2x%3, the image %4x%5: the mask must be of the "
                                              "image's size").arg(path).arg(image.width()).arg(image.height())
                               .arg(size.width()).arg(size.height()));
        return QImage();
    }
    image = image.convertToFormat(QImage::Format_Grayscale8);
    if (image.isNull())
        vellError(QStringLiteral("no memory for the mask %1").arg(path));
    return image;
}

// `grey` (of the layer's size) as the layer's mask, which the layer then
// edits, as a user does before filtering a mask. The canvas's context is
// current, so the mask gets its texture.
bool giveLayerMask(VellLayer *layer, const QImage &grey, const QString &name)
{
    layer->createLayerMask();
    VellLayerMask *mask = layer->getLayerMask();
    if (!mask || mask->isNull() || !mask->getEntireTexture()) {
        vellError(QStringLiteral("cannot filter %1: no memory for its mask").arg(name));
        return false;
    }
    const size_t stride = size_t(mask->getPaddedWidth());
    for (int y = 0; y < grey.height(); ++y)
        std::memcpy(mask->getData() + size_t(y) * stride, grey.constScanLine(y), size_t(grey.width()));
    mask->update();
    layer->setEdittingMask(true);
    return true;
}

// The mask's bytes as a grey image; null when there is no memory for it.
QImage maskImage(const VellLayerMask *mask)
{
    QImage image(mask->getWidth(), mask->getHeight(), QImage::Format_Grayscale8);
    if (image.isNull())
        return image;
    const size_t stride = size_t(mask->getPaddedWidth());
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(image.scanLine(y), mask->getData() + size_t(y) * stride, size_t(image.width()));
    return image;
}

// vellFilterPicture's work. With a `layerMask` (grey, of the picture's
// size) the layer gets it as its mask and edits it, and *filteredMask
// receives the mask as the tool left it (null when there is no memory).
std::unique_ptr<VellPictureHost> filterLayer(VellCanvas *canvas, VellToolBase *tool,
                                             std::unique_ptr<VellPictureHost> picture, const VellFilterSetup &setup,
                                             const QString &name, const QImage &layerMask, QImage *filteredMask)
{
    const int width = int(picture->getWidth()), height = int(picture->getHeight());
    canvas->makeCurrent();
    auto document = std::make_unique<VellContext>();
    // No dialogs, and no undo records: nothing here is ever undone.
    document->batchFlag = true;
    document->quietFlag = true;
    document->editingChannel = setup.channels;
    VellBatchActionRecord::setDocumentRecord(document.get(), setup.record);
    VellContextManager *contexts = VellContextManager::getInstance();
    contexts->addContext(document.get());
    contexts->setCurrentContext(contexts->indexOfContext(document.get()));
    auto *selection = new VellSelection(nullptr, width, height);
    document->setSelection(selection);
    auto *layer = new VellLayer(name);
    layer->setVellPictureHost(picture.release());
    document->getLayerManager()->addLayer(layer, false);
    if (document->getLayerManager()->getLayerCount() != 1) {
        delete layer;
        vellError(QStringLiteral("cannot filter %1: the document refused its layer").arg(name));
        return nullptr;
    }
    canvas->reSizeCanvas(width, height, true);
    if (!setup.maskPath.isEmpty() && !selectMask(selection, setup.maskPath))
        return nullptr;
    canvas->makeCurrent();
    if (!layerMask.isNull() && !giveLayerMask(layer, layerMask, name))
        return nullptr;

    tool->active(document.get());
    if (!tool->isActive()) {
        vellError(QStringLiteral("%1 cannot work on %2").arg(tool->getToolId(), name));
        return nullptr;
    }
    if (setup.setParameters && !setup.setParameters(tool)) {
        tool->disActive();
        return nullptr;
    }
    vellProgress(QStringLiteral("filtering %1 with %2").arg(name, tool->getName()));
    tool->applyEntire(true);
    tool->disActive();
    canvas->makeCurrent();
    if (!layerMask.isNull())
        *filteredMask = maskImage(layer->getLayerMask());
    layer->fboTextureToHost(true);
    return layer->takePictureHost();
}

} // namespace

int vellToolsCommand(VellHost &host, const QStringList &args)
{
    if (vellWantsHelp(args)) {
        vellPrint(QString::fromLatin1(kToolsUsage));
        return ExitOk;
    }
    if (!args.isEmpty())
        return vellUsageError(QStringLiteral("tools takes no arguments (got '%1')").arg(args.first()));
    host.setUp(VellHost::Headless);
    QStringList looked;
    vellLoadTools(&looked);
    const QList<IVellTool *> tools = VellToolManager::getInstance()->getTools(QStringLiteral("Filter"));
    if (tools.isEmpty()) {
        vellNote(QStringLiteral("no filter plug-ins found (looked in %1)").arg(looked.join(QStringLiteral(", "))));
        return ExitOk;
    }
    QList<IVellTool *> sorted = tools;
    std::sort(sorted.begin(), sorted.end(),
              [](IVellTool *a, IVellTool *b) { return a->getToolId() < b->getToolId(); });
    for (IVellTool *tool : qAsConst(sorted)) {
        vellPrint(QStringLiteral("%1\t%2\t%3").arg(tool->getToolId(), tool->getName(), tool->getVersion()));
        if (auto *filter = qobject_cast<VellToolBase *>(tool))
            for (const VellToolParameter &p : filter->parameterList())
                vellPrint(QStringLiteral("  %1=%2..%3 (default %4)%5")
                              .arg(p.name, number(p.minimum), number(p.maximum), number(p.defaultValue),
                                   p.description.isEmpty() ? QString() : QStringLiteral(": ") + p.description));
    }
    return ExitOk;
}

std::unique_ptr<VellPictureHost> vellFilterPicture(VellCanvas *canvas, VellToolBase *tool,
                                                   std::unique_ptr<VellPictureHost> picture,
                                                   const VellFilterSetup &setup, const QString &name)
{
    return filterLayer(canvas, tool, std::move(picture), setup, name, QImage(), nullptr);
}

int vellFilterCommand(VellHost &host, const QStringList &args)
{
    if (vellWantsHelp(args)) {
        vellPrint(QString::fromLatin1(kFilterUsage));
        return ExitOk;
    }
    FilterJob job;
    if (const int parsed = parse(args, &job); parsed != kProceed)
        return parsed;
    if (!vellCheckImageSuffix(job.outputPath)
        || !vellCheckOutputOptions(job.options.output, vellImageFormat(job.outputPath)))
        return ExitUsage;
    if (vellOutputIsInput(job.outputPath, {job.inputPath, job.maskPath, job.presetPath, job.recordPath, job.layerMaskPath})
        || (!job.recordPath.isEmpty() && vellOutputIsInput(job.recordPath, {job.inputPath, job.maskPath, job.presetPath})))
        return ExitUsage;
    if (!vellInputExists(job.inputPath) || (!job.maskPath.isEmpty() && !vellInputExists(job.maskPath))
        || (!job.layerMaskPath.isEmpty() && !vellInputExists(job.layerMaskPath)))
        return ExitFailure;

    host.setUp(VellHost::Gl);
    VellCanvas *canvas = host.canvas();
    if (!canvas) {
        vellError(QStringLiteral("filter needs a GL context: %1").arg(host.noGlReason()));
        return ExitFailure;
    }
    if (!host.setImageLimit(job.options.maxSize))
        return ExitUsage;
    QStringList looked;
    vellLoadTools(&looked);
    auto *tool = qobject_cast<VellToolBase *>(
        VellToolManager::getInstance()->getTool(QStringLiteral("Filter"), job.toolId));
    if (!tool)
        return vellUsageError(QStringLiteral("no filter '%1' (vell tools lists those in %2)")
                              .arg(job.toolId, looked.join(QStringLiteral(", "))));
    if (const int checked = checkMaskOptions(tool, job); checked != kProceed)
        return checked;
    if (const int checked = setParameters(tool, job, false); checked != kProceed)
        return checked;
    // The record the step is appended to: the file's steps first, when it
    // exists, so a broken file is refused before any work.
    std::unique_ptr<VellBatchActionRecord> record;
    if (!job.recordPath.isEmpty()) {
        record = std::make_unique<VellBatchActionRecord>();
        if (QFileInfo::exists(job.recordPath) && !vellLoadBatchFile(record.get(), job.recordPath))
            return ExitFailure;
    }

    QByteArray iccProfile;
    VellPictureHost *read = vellReadImageHost(job.inputPath, false, nullptr, &iccProfile);
    if (read && !job.options.noColour && !vellColourStep(&read, job.inputPath, iccProfile, QString())) {
        delete read;
        return ExitFailure;
    }
    std::unique_ptr<VellPictureHost> picture(read);
    if (!picture)
        return ExitFailure;
    const int width = int(picture->getWidth()), height = int(picture->getHeight());
    QImage layerMask;
    if (!job.layerMaskPath.isEmpty()) {
        int code = ExitFailure;
        layerMask = readLayerMask(job.layerMaskPath, QSize(width, height), &code);
        if (layerMask.isNull())
            return code;
    }
    VellFilterSetup setup;
    setup.channels = job.channels;
    setup.maskPath = job.maskPath;
    setup.record = record.get();
    setup.setParameters = [&job](VellToolBase *active) {
        return (job.presetPath.isEmpty() || readPreset(active, job.presetPath))
               && setParameters(active, job, true) == kProceed;
    };
    const int stepsBefore = record ? record->getActionList()->size() : 0;
    QImage filteredMask;
    const std::unique_ptr<VellPictureHost> filtered = filterLayer(
        canvas, tool, std::move(picture), setup, QFileInfo(job.inputPath).fileName(), layerMask, &filteredMask);
    if (!filtered)
        return ExitFailure;
    // A mask filter's result is the mask; the layer's colours are untouched.
    const QImage result = layerMask.isNull() ? vellHostToImage(filtered.get()) : filteredMask;
    if (result.isNull()) {
        vellError(QStringLiteral("cannot filter %1: no memory for the result").arg(job.inputPath));
        return ExitFailure;
    }
    if (record && record->getActionList()->size() != stepsBefore + 1) {
        vellError(QStringLiteral("cannot record the step into %1: %2 recorded nothing").arg(job.recordPath, job.toolId));
        return ExitFailure;
    }
    // Both files or neither: the step is recorded only with its image.
    VellAtomicFile image(job.outputPath);
    if (!image.open()
        || !vellWriteImage(&image, vellOutputImage(result, vellImageFormat(job.outputPath), job.options.output),
                           vellImageFormat(job.outputPath), job.options.output)) {
        image.reportError();
        return ExitFailure;
    }
    if (record) {
        VellAtomicFile steps(job.recordPath);
        if (!steps.open() || !vellWriteBatchFile(&steps, record.get())) {
            steps.reportError();
            return ExitFailure;
        }
        if (!vellCommitAll({&image, &steps}))
            return ExitFailure;
    } else if (!vellCommitAll({&image})) {
        return ExitFailure;
    }
    vellNote(QStringLiteral("wrote %1 (%2, %3x%4)").arg(job.outputPath, tool->getName()).arg(width).arg(height));
    if (record)
        vellNote(QStringLiteral("recorded step %1 into %2").arg(record->getActionList()->size()).arg(job.recordPath));
    return ExitOk;
}
