// vell compose: builds a document from image files (or reads a saved one),
// composites it at full resolution and writes the result as an image.
#include "composetext.h"
#include "vellcommandline.h"
#include "velldocumentsession.h"
#include "vellhost.h"

#include "canvas/vellblendfast.h"
#include "canvas/vellblendreference.h"
#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgpumanager.h"
#include "interchange/vellorareader.h"
#include "interchange/vellorawriter.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"
#include "picture/vellpngreader.h"
#include "picture/vellpngwriter.h"
#include "selection/vellselection.h"

#include <QColorSpace>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include <unistd.h>

namespace {

const char kUsageLine[] =
    "Usage: vell compose -o OUT.png [--format FMT] [--size WxH] [--save DOC] [--cpu|--gpu] [OPTION ...] LAYER [LAYER ...] [--text STRING --at X,Y ...]";

const char kHelp[] =
    "Composites layers into one image, bottom LAYER first.\n"
    "\n"
    "Each LAYER is an image file followed by the options for it:\n"
    "  --mode NAME        blend mode (default Normal), e.g. multiply, color-dodge,\n"
    "                     \"Soft Light\"; case, blanks, '-' and '_' do not matter\n"
    "  --opacity F        0 to 1 (default 1)\n"
    "  --offset X,Y       top-left corner in document pixels, may be negative\n"
    "  --mask MASK        grey image of the layer's size; white shows the layer\n"
    "  --hidden           keep the layer in the document but do not draw it\n"
    "The bottom layer is always drawn in Normal mode.\n"
    "\n"
    "Text, drawn over the layers in the order given, each --text with its options:\n"
    "  --text STRING      the text; a newline in STRING starts a new line\n"
    "  --at X,Y           where the top-left corner of the unturned text goes\n"
    "  --font FAMILY,PT   font and size in points (default DejaVu Sans,24)\n"
    "  --color #RRGGBB    colour (default #000000)\n"
    "  --direction DEG    turned by DEG degrees, clockwise, about X,Y\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT   the result, with alpha where the format has it; the\n"
    "                     format follows OUT's suffix (png, jpg, bmp, ...);\n"
    "                     - writes it to standard output; OUT.ora writes an\n"
    "                     OpenRaster file: the layers with the composite\n"
    "  --format FMT       the result's format whatever OUT's suffix (PNG for -)\n"
    "  --quality N        JPEG and WebP quality, 0 to 100 (100 on WebP is lossless)\n"
    "  --lossless         lossless WebP\n"
    "  --compression N    PNG deflate level, 0 (stored, fastest) to 9 (smallest);\n"
    "                     default 6, what most programs write\n"
    "  --depth 8|16       bits per channel of a PNG or TIFF result; the compositor\n"
    "                     works at 8, and says so when --depth 16 or 16-bit\n"
    "                     layers ask for more\n"
    "  --size WxH         document size (default: the bottom layer's size)\n"
    "  --save DOC         also write the document itself to DOC\n"
    "  --ora-masks HOW    masks in OUT.ora: stack (default; other programs that\n"
    "                     know dst-in show them) or baked into the pixels\n"
    "  --cpu              composite on the CPU\n"
    "  --gpu              composite on the GPU, or fail when no GL context can be\n"
    "                     made (default: the GPU when its GL renderer is a hardware\n"
    "                     one, the CPU on a software rasteriser or without a\n"
    "                     display; one line says which and why)\n"
    "  --max-size WxH     the largest layer or document of this run (default: what\n"
    "                     the path holds: the GPU's largest texture or 65535 a\n"
    "                     side, and the memory budget's worth of pixels)\n"
    "  --shrink           shrink the whole composition by one factor, every layer,\n"
    "                     offset and mask with it, to fit --max-size or else the\n"
    "                     image size limit of the settings (vell info)\n"
    "  --no-colour        leave the images' colours as they are\n"
    "\n"
    "A sole LAYER that no image reader recognises is read as a document written\n"
    "by --save, and a sole OpenRaster file (.ora, found by content) as the\n"
    "document it holds; either takes no options: its layers keep their modes, opacities,\n"
    "offsets, masks and visibility. Images are converted to sRGB like every image\n"
    "vell opens (see vell --help). Each layer is announced as it is read when\n"
    "standard error is a terminal or with --progress.\n"
    "\n"
    "Exit status: 0 on success, 1 on failure, 2 on a usage error.";

struct LayerInput
{
    QString path;
    int mode = VellBlend::Normal;
    float opacity = 1.0f;
    QPoint offset;
    QString mask;
    bool hidden = false;
    QStringList options;   // the layer options given, in order
};

struct ComposeArguments
{
    QString output;
    QSize size;            // invalid: the bottom layer's
    QString save;
    QByteArray format;     // --format, lower case; else from the output's suffix
    bool cpu = false;
    bool gpu = false;
    VellSharedOptions options;   // output, --max-size, --shrink, --no-colour
    QVector<LayerInput> layers;
    QVector<VellComposeText> texts;   // --text, drawn over the layers
    bool isDocument = false;   // the sole LAYER is a saved document (checkInputs)
    bool isOra = false;        // ... an OpenRaster file
    QString oraMasks;          // --ora-masks: "stack" or "baked"
    int compression = -1;      // --compression 0-9 (PNG); -1: the writer's default
};

int usageError(const QString &message)
{
    vellError(message);
    vellNote(QString::fromLatin1(kUsageLine));
    return ExitUsage;
}

QString modeNames()
{
    QStringList names;
    for (const QString &name : VellLayerBase::getBlendModeList())
        names << name.toLower().replace(QLatin1Char(' '), QLatin1Char('-'));
    return names.join(QStringLiteral(", "));
}

bool parseOffset(const QString &text, QPoint *offset)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 2)
        return false;
    bool okX = false, okY = false;
    const int x = parts.at(0).trimmed().toInt(&okX);
    const int y = parts.at(1).trimmed().toInt(&okY);
    if (!okX || !okY)
        return false;
    *offset = QPoint(x, y);
    return true;
}

// Fills *parsed from the arguments alone (no Qt application exists yet);
// kProceed when they are sound, else the exit code (help printed, usage
// errors reported).
int parseArguments(const QStringList &allArgs, ComposeArguments *parsed)
{
    if (allArgs.contains(QStringLiteral("--help")) || allArgs.contains(QStringLiteral("-h"))) {
        vellPrint(QString::fromLatin1(kUsageLine) + QLatin1Char('\n') + QString::fromLatin1(kHelp));
        return ExitOk;
    }
    QStringList args = allArgs;   // less the text options
    const QString textProblem = vellTakeComposeTexts(args, &parsed->texts);
    if (!textProblem.isEmpty())
        return usageError(textProblem);
    const QStringList withValue = {QStringLiteral("-o"), QStringLiteral("--output"), QStringLiteral("--format"),
                                   QStringLiteral("--size"), QStringLiteral("--save"),
                                   QStringLiteral("--mode"), QStringLiteral("--opacity"),
                                   QStringLiteral("--offset"), QStringLiteral("--mask"),
                                   QStringLiteral("--ora-masks"), QStringLiteral("--compression")};
    const QStringList layerOptions = {QStringLiteral("--mode"), QStringLiteral("--opacity"),
                                      QStringLiteral("--offset"), QStringLiteral("--mask"),
                                      QStringLiteral("--hidden")};
    bool sizeGiven = false;
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        const int taken = vellTakeOption(args, &i, QualityOptions | DepthOption | MaxSizeOption
                                             | NoColourOption | ShrinkOption, &parsed->options);
        if (taken < 0) {
            vellNote(QString::fromLatin1(kUsageLine));
            return ExitUsage;
        }
        if (taken > 0)
            continue;
        if (!arg.startsWith(QLatin1Char('-')) || arg == QLatin1String("-")) {
            LayerInput layer;
            layer.path = arg;
            parsed->layers.append(layer);
            continue;
        }
        QString value;
        if (withValue.contains(arg)) {
            if (i + 1 >= args.size())
                return usageError(QStringLiteral("%1 needs a value").arg(arg));
            value = args.at(++i);   // taken as it is: "-5,3" is an offset, not an option
        }
        if (layerOptions.contains(arg)) {
            if (parsed->layers.isEmpty())
                return usageError(QStringLiteral("%1 must follow the LAYER it applies to").arg(arg));
            LayerInput &layer = parsed->layers.last();
            if (layer.options.contains(arg))
                return usageError(QStringLiteral("%1 given twice for '%2'").arg(arg, layer.path));
            layer.options << arg;
            if (arg == QLatin1String("--mode")) {
                layer.mode = VellLayerBase::blendModeFromUserName(value);
                if (layer.mode < 0)
                    return usageError(QStringLiteral("unknown blend mode '%1'; the modes are %2")
                                          .arg(value, modeNames()));
            } else if (arg == QLatin1String("--opacity")) {
                bool ok = false;
                const double opacity = value.toDouble(&ok);
                if (!ok || !std::isfinite(opacity) || opacity < 0.0 || opacity > 1.0)
                    return usageError(QStringLiteral("bad opacity '%1' (a number from 0 to 1)").arg(value));
                layer.opacity = float(opacity);
            } else if (arg == QLatin1String("--offset")) {
                if (!parseOffset(value, &layer.offset))
                    return usageError(QStringLiteral("bad offset '%1' (whole pixels X,Y, e.g. 10,-4)").arg(value));
            } else if (arg == QLatin1String("--mask")) {
                layer.mask = value;
            } else {
                layer.hidden = true;
            }
            continue;
        }
        if (arg == QLatin1String("-o") || arg == QLatin1String("--output")) {
            if (!parsed->output.isEmpty())
                return usageError(QStringLiteral("more than one output"));
            parsed->output = value;
        } else if (arg == QLatin1String("--size")) {
            if (sizeGiven)
                return usageError(QStringLiteral("--size given twice"));
            sizeGiven = true;
            if (!vellParseSize(value, &parsed->size))
                return usageError(QStringLiteral("bad size '%1' (WxH, e.g. 640x480)").arg(value));
        } else if (arg == QLatin1String("--format")) {
            if (!parsed->format.isEmpty())
                return usageError(QStringLiteral("--format given twice"));
            parsed->format = value.toLower().toLatin1();
        } else if (arg == QLatin1String("--save")) {
            if (!parsed->save.isEmpty())
                return usageError(QStringLiteral("--save given twice"));
            parsed->save = value;
        } else if (arg == QLatin1String("--ora-masks")) {
            if (value != QLatin1String("stack") && value != QLatin1String("baked"))
                return usageError(QStringLiteral("bad --ora-masks '%1' (stack or baked)").arg(value));
            parsed->oraMasks = value;
        } else if (arg == QLatin1String("--compression")) {
            if (parsed->compression >= 0)
                return usageError(QStringLiteral("--compression given twice"));
            bool ok = false;
            parsed->compression = value.toInt(&ok);
            if (!ok || parsed->compression < 0 || parsed->compression > 9)
                return usageError(QStringLiteral("bad --compression '%1' (a whole number from 0 to 9)").arg(value));
        } else if (arg == QLatin1String("--cpu")) {
            parsed->cpu = true;
        } else if (arg == QLatin1String("--gpu")) {
            parsed->gpu = true;
        } else {
            return usageError(QStringLiteral("unknown option '%1'").arg(arg));
        }
    }
    if (parsed->cpu && parsed->gpu)
        return usageError(QStringLiteral("--cpu and --gpu exclude each other"));
    if (parsed->output.isEmpty())
        return usageError(QStringLiteral("no output given (-o OUT.png)"));
    if (parsed->layers.isEmpty())
        return usageError(QStringLiteral("no LAYER given"));
    return kProceed;
}

// What the arguments say that only the image plug-ins can judge, so after the
// host's set-up: the output's format, and whether a sole LAYER is a document
// written by --save (one that no image reader takes). Documents stand alone:
// their layers keep the settings they were saved with, so they take no
// options. kProceed, or the exit code with the problem reported.
int checkInputs(ComposeArguments *parsed)
{
    const bool toResults = parsed->output == QLatin1String("-");
    if (!parsed->format.isEmpty()) {
        if (!QImageWriter::supportedImageFormats().contains(parsed->format))
            return usageError(QStringLiteral("unknown image format '%1' (one of %2)")
                                  .arg(QString::fromLatin1(parsed->format),
                                       QString::fromLatin1(QImageWriter::supportedImageFormats().join(", "))));
    } else if (toResults) {
        parsed->format = "png";
    } else if (parsed->output.endsWith(QLatin1String(".ora"), Qt::CaseInsensitive)) {
        parsed->format = "ora";   // written by the library, not by an image plug-in
    } else if (!vellCheckImageSuffix(parsed->output)) {
        vellNote(QString::fromLatin1(kUsageLine));
        return ExitUsage;
    } else {
        parsed->format = vellImageFormat(parsed->output);
    }
    if (parsed->compression >= 0 && parsed->format != "png")
        return usageError(QStringLiteral("--compression applies to PNG, not to %1")
                              .arg(QString::fromLatin1(parsed->format.toUpper())));
    if (!parsed->oraMasks.isEmpty() && parsed->format != "ora")
        return usageError(QStringLiteral("--ora-masks applies to an OpenRaster output (-o OUT.ora)"));
    if (!vellCheckOutputOptions(parsed->options.output, parsed->format)) {
        vellNote(QString::fromLatin1(kUsageLine));
        return ExitUsage;
    }
    if (toResults && ::isatty(fileno(vellResultStream())))
        return usageError(QStringLiteral("-o - would write image data to the terminal: redirect it "
                                         "or pipe it into a program"));
    if (parsed->save == QLatin1String("-"))
        return usageError(QStringLiteral("--save needs a file: only the image can go to standard output"));
    QStringList inputs;
    for (const LayerInput &input : parsed->layers) {
        inputs << input.path;
        if (!input.mask.isEmpty())
            inputs << input.mask;
    }
    for (const QString &input : inputs)
        if (!vellInputExists(input))
            return ExitFailure;
    if ((!toResults && vellOutputIsInput(parsed->output, inputs))
        || (!parsed->save.isEmpty() && vellOutputIsInput(parsed->save, inputs)))
        return ExitUsage;
    if (!parsed->save.isEmpty()
        && (parsed->save == parsed->output || vellSameFile(parsed->save, parsed->output)))
        return usageError(QStringLiteral("-o and --save name the same file %1").arg(parsed->save));
    const LayerInput &bottom = parsed->layers.first();
    parsed->isOra = parsed->layers.size() == 1 && vellIsOraFile(bottom.path);
    parsed->isDocument = parsed->layers.size() == 1 && vellIsDocumentFile(bottom.path);
    if (parsed->isDocument && !bottom.options.isEmpty())
        return usageError(QStringLiteral("%1 cannot follow '%2': it is not an image, so it is read "
                                         "as a document, whose layers keep their own settings")
                              .arg(bottom.options.first(), bottom.path));
    if (parsed->isDocument && parsed->options.shrink)
        return usageError(QStringLiteral("--shrink scales image layers, not the document '%1'").arg(bottom.path));
    return kProceed;
}

using ComposeSession = VellDocumentSession;

QString describe(const VellLayerBase *layer)
{
    const auto *raster = qobject_cast<const VellLayer *>(layer);
    const auto *textLayer = qobject_cast<const VellTextLayer *>(layer);
    const QSize size = textLayer ? textLayer->getDocumentRect().size()
                                 : QSize(layer->getWidth(), layer->getHeight());
    QString text = (textLayer ? QStringLiteral("text \"%1\", %2x%3") : QStringLiteral("%1, %2x%3"))
                       .arg(layer->getLayerName()).arg(size.width()).arg(size.height());
    const QPointF at = layer->getPosition();
    if (!at.isNull())
        text += QStringLiteral(" at %1,%2").arg(at.x()).arg(at.y());
    text += QStringLiteral(", %1").arg(VellLayerBase::getBlendModeName(layer->getBlendMode()));
    if (layer->getAlpha() != 1.0f)
        text += QStringLiteral(", opacity %1").arg(double(layer->getAlpha()));
    if (raster && raster->hasLayerMask())
        text += QStringLiteral(", masked");
    if (!layer->visible)
        text += QStringLiteral(", hidden");
    return text;
}

// A bound on pictures: their sides and their pixel count.
struct SizeLimit
{
    QSize sides;
    qint64 pixels = 0;
};

// The largest factor, at most 1, that brings `size` within `limit`.
double fitFactor(const QSize &size, const SizeLimit &limit)
{
    double factor = 1.0;
    if (size.width() > limit.sides.width())
        factor = qMin(factor, double(limit.sides.width()) / size.width());
    if (size.height() > limit.sides.height())
        factor = qMin(factor, double(limit.sides.height()) / size.height());
    const double pixels = double(size.width()) * size.height();
    if (pixels > double(limit.pixels))
        factor = qMin(factor, std::sqrt(double(limit.pixels) / pixels));
    return factor;
}

// `size` times `factor`, rounded down (so it stays within the limit the
// factor was made for) and at least 1 a side.
QSize scaledSize(const QSize &size, double factor)
{
    if (factor >= 1.0)
        return size;
    return QSize(qMax(1, int(std::floor(size.width() * factor))), qMax(1, int(std::floor(size.height() * factor))));
}

QString limitText(const SizeLimit &limit)
{
    return QStringLiteral("%1 x %2 pixels, %3 pixels in all").arg(limit.sides.width()).arg(limit.sides.height())
        .arg(limit.pixels);
}

// A LAYER's pixels decoded before the document is built: straight into its
// picture host where the decoder makes the host's own layout (8-bit RGB or
// RGBA within the limits, not shrunk), else as an image for addImageLayer.
// Its mask's picture, when it has one. Each is null where the file is left
// for addImageLayer to read.
struct DecodedLayer
{
    std::unique_ptr<VellPictureHost> host;
    QByteArray iccProfile;   // with host: the profile the file embeds
    QImage image;
    QImage mask;
};

// Decodes `path` into `host` (allocated to the size its header declares):
// the decoder writes the host's rows itself when the image it is handed is
// of the size and format it makes, so no copy is made. False, with the
// reason said, when the file cannot be decoded.
bool decodeIntoHost(const QString &path, QImage::Format format, VellPictureHost *host, QByteArray *iccProfile)
{
    const int w = int(host->getWidth());
    const int h = int(host->getHeight());
    QImage target(host->getData(), w, h, qsizetype(w) * 4, format);
    QImageReader reader(path);
    if (!reader.read(&target)) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, reader.errorString()));
        return false;
    }
    if (target.size() != QSize(w, h) || (target.format() != QImage::Format_ARGB32 && target.format() != QImage::Format_RGB32)) {
        vellError(QStringLiteral("cannot read %1: its picture is not the %2 x %3 its header declares")
                      .arg(path).arg(w).arg(h));
        return false;
    }
    // A decoder that made an image of its own: its rows are copied.
    if (target.constBits() != host->getData())
        for (int y = 0; y < h; ++y)
            std::memcpy(host->getData() + size_t(y) * size_t(w) * 4, target.constScanLine(y), size_t(w) * 4);
    *iccProfile = target.colorSpace().iccProfile();
    return true;
}

// A PNG that the library's reader decodes straight into the memory of its
// picture host: the buffer (from the memory budget) is a little larger than
// the host's pixels where the rows are inflated in place.
struct PngLayer
{
    explicit PngLayer(const QString &path) : file(path), reader(&file) {}
    ~PngLayer()
    {
        if (buffer)
            VellMemory::getInstance()->release(buffer);
    }
    Q_DISABLE_COPY(PngLayer)

    QFile file;
    VellPngReader reader;
    unsigned char *buffer = nullptr;   // owned, from VellMemory, until a host takes it
    bool decoded = false;
};

// The pictures of the image LAYERs and of their masks, decoded on several
// threads at once: the decoders are independent, and each file is still
// read once. Headers are read first, on this thread, to size the hosts
// within the run's limit; anything else goes through vellReadImage, which
// checks its header the same way. Common PNGs go through the library's
// reader (see PngLayer); a PNG it turns down goes the way of other files.
// Files no image reader recognises are left for addImageLayer, which says
// what they are. False when a picture could not be read, with the reason
// said.
bool decodeLayers(const ComposeArguments &args, double scale, std::vector<DecodedLayer> *decoded)
{
    const int count = args.layers.size();
    decoded->resize(size_t(count));
    struct Job
    {
        QString path;
        QImage *image;             // vellReadImage's picture goes here, or
        VellPictureHost *host;     // the file is decoded into this host, or
        PngLayer *png;             // ... by the library's PNG reader
        QImage::Format format;     // ... in this layout
        QByteArray *iccProfile;
    };
    QVector<Job> jobs;
    std::vector<std::unique_ptr<PngLayer>> pngs;
    pngs.resize(size_t(count));
    const qint64 ceiling = VellPictureReader::decodeCeiling();
    for (int i = 0; i < count; ++i) {
        const LayerInput &input = args.layers.at(i);
        DecodedLayer &layer = (*decoded)[size_t(i)];
        if (!input.mask.isEmpty() && !QImageReader::imageFormat(input.mask).isEmpty())
            jobs.append({input.mask, &layer.mask, nullptr, nullptr, QImage::Format_Invalid, nullptr});
        const QByteArray imageFormat = QImageReader::imageFormat(input.path);
        if (imageFormat.isEmpty())
            continue;
        if (imageFormat == "png" && scale >= 1.0) {
            auto png = std::make_unique<PngLayer>(input.path);
            VellPngReader &reader = png->reader;
            reader.setMaxPixels(ceiling / 4);
            if (png->file.open(QIODevice::ReadOnly) && reader.readHeader() && vellWithinLimit(reader.size())) {
                const qint64 bytes = reader.bufferBytes(VellPngReader::Bgra32, qint64(reader.size().width()) * 4);
                if (bytes > 0 && bytes <= INT_MAX) {
                    png->buffer = VellMemory::getInstance()->alloc(int(bytes));
                    if (!png->buffer) {
                        vellError(QStringLiteral("no memory for '%1' (%2x%3)").arg(input.path)
                                      .arg(reader.size().width()).arg(reader.size().height()));
                        return false;
                    }
                    jobs.append({input.path, &layer.image, nullptr, png.get(), QImage::Format_Invalid,
                                 &layer.iccProfile});
                    pngs[size_t(i)] = std::move(png);
                    continue;
                }
            }
        }
        QImageReader header(input.path);
        const QSize size = header.size();
        const QImage::Format format = header.imageFormat();
        const bool direct = scale >= 1.0 && size.isValid() && !size.isEmpty() && vellWithinLimit(size)
            && qint64(size.width()) * size.height() <= ceiling / 4
            && (format == QImage::Format_ARGB32 || format == QImage::Format_RGB32);
        if (direct) {
            layer.host.reset(new VellPictureHost(unsigned(size.width()), unsigned(size.height()), 4));
            if (layer.host->isNull()) {
                vellError(QStringLiteral("no memory for '%1' (%2x%3)").arg(input.path).arg(size.width())
                              .arg(size.height()));
                return false;
            }
        }
        jobs.append({input.path, &layer.image, layer.host.get(), nullptr, format, &layer.iccProfile});
    }
    int failed = 0;
#pragma omp parallel for schedule(dynamic, 1) reduction(+ : failed)
    for (int i = 0; i < jobs.size(); ++i) {
        const Job &job = jobs[i];
        if (job.png) {
            const qint64 width = job.png->reader.size().width();
            const qint64 bytes = job.png->reader.bufferBytes(VellPngReader::Bgra32, width * 4);
            job.png->decoded = job.png->reader.decode(job.png->buffer, bytes, VellPngReader::Bgra32, width * 4);
            if (job.png->decoded)
                continue;
        }
        if (job.host) {
            failed += decodeIntoHost(job.path, job.format, job.host, job.iccProfile) ? 0 : 1;
        } else {
            // A PNG the library's reader found damaged reads as it always did.
            *job.image = vellReadImage(job.path);
            failed += job.image->isNull() ? 1 : 0;
        }
    }
    for (int i = 0; i < count; ++i) {
        PngLayer *png = pngs[size_t(i)].get();
        if (!png || !png->decoded)
            continue;
        DecodedLayer &layer = (*decoded)[size_t(i)];
        const QSize size = png->reader.size();
        layer.host.reset(new VellPictureHost(unsigned(size.width()), unsigned(size.height()), png->buffer, 4));
        png->buffer = nullptr;   // the host's now
        layer.iccProfile = png->reader.colorSpace().iccProfile();
    }
    return failed == 0;
}

// The grey levels of `path` into the layer's mask; false with a message when
// the file cannot be read or is not of the size of the layer's image
// (`imageSize`, before any shrinking; the mask shrinks with its layer).
// `decoded`: the file's picture when it was decoded already, else null.
bool applyMask(VellLayer *layer, const QString &path, const QSize &imageSize, QImage decoded)
{
    QImage image = decoded.isNull() ? vellReadImage(path) : std::move(decoded);
    if (image.isNull())
        return false;
    image = image.convertToFormat(QImage::Format_Grayscale8);
    if (image.isNull()) {
        vellError(QStringLiteral("no memory for the mask '%1'").arg(path));
        return false;
    }
    if (image.size() != imageSize) {
        vellError(QStringLiteral("mask '%1' is %2x%3, but its layer '%4' is %5x%6")
                      .arg(path).arg(image.width()).arg(image.height())
                      .arg(layer->getLayerName()).arg(imageSize.width()).arg(imageSize.height()));
        return false;
    }
    const QSize layerSize(layer->getWidth(), layer->getHeight());
    if (image.size() != layerSize)
        image = image.scaled(layerSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    layer->createLayerMask();
    VellLayerMask *mask = layer->getLayerMask();
    if (!mask || mask->isNull()) {
        vellError(QStringLiteral("no memory for the mask '%1'").arg(path));
        return false;
    }
    const int stride = mask->getPaddedWidth();
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(mask->getData() + size_t(y) * size_t(stride), image.constScanLine(y),
                    size_t(image.width()));
    mask->update();   // the texture, when a context is current
    return true;
}

// One image LAYER into a new layer of the current document, its picture,
// offset and mask scaled by `scale` (--shrink; 1 otherwise). *deep says
// whether the image had 16 bits per channel. `decoded`: what decodeLayers
// made of the files (taken, so that an image is freed as soon as the
// picture host holds its pixels).
bool addImageLayer(VellContext *document, const LayerInput &input, bool soleLayer, double scale, bool colour,
                   bool *deep, DecodedLayer decoded)
{
    // A file no image reader knows may be a document, which stands alone.
    if (!soleLayer && QImageReader::imageFormat(input.path).isEmpty() && vellInputExists(input.path)) {
        vellError(QStringLiteral("cannot read %1: not an image (a document written by --save must be the "
                                 "only LAYER)").arg(input.path));
        return false;
    }
    VellPictureHost *host = decoded.host.release();
    QByteArray iccProfile = decoded.iccProfile;
    QSize imageSize;
    *deep = false;
    if (host) {
        imageSize = QSize(int(host->getWidth()), int(host->getHeight()));
    } else {
        QImage image = decoded.image.isNull() ? vellReadImage(input.path) : std::move(decoded.image);
        if (image.isNull())
            return false;
        iccProfile = image.colorSpace().iccProfile();
        imageSize = image.size();
        *deep = image.depth() == 64 || image.format() == QImage::Format_Grayscale16;
        if (scale < 1.0)
            image = image.scaled(scaledSize(imageSize, scale), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        // Within the limits the picture reader keeps the size; it converts to
        // the library's 4-byte pixels.
        host = image.isNull() ? nullptr : VellPictureReader().ReadImageToHost(image);
        if (!host) {
            vellError(QStringLiteral("no memory for '%1' (%2x%3)").arg(input.path).arg(imageSize.width())
                          .arg(imageSize.height()));
            return false;
        }
    }
    if (colour && !vellColourStep(&host, input.path, iccProfile, QString())) {
        delete host;
        return false;
    }
    std::unique_ptr<VellLayer> layer(new VellLayer(QFileInfo(input.path).fileName()));
    layer->setVellPictureHost(host);
    layer->setBlendMode(input.mode);
    layer->setAlpha(input.opacity);
    const QPointF offset = scale < 1.0 ? QPointF(std::round(input.offset.x() * scale), std::round(input.offset.y() * scale))
                                       : QPointF(input.offset);
    layer->setPosition(offset);
    layer->visible = !input.hidden;
    if (!input.mask.isEmpty() && !applyMask(layer.get(), input.mask, imageSize, std::move(decoded.mask)))
        return false;
    VellLayerManager *manager = document->getLayerManager();
    const int before = manager->getLayerCount();
    manager->addLayer(layer.get(), false);   // on top: each new layer is the active one
    if (manager->getLayerCount() != before + 1) {
        vellError(QStringLiteral("cannot add '%1' to the document").arg(input.path));
        return false;
    }
    layer.release();   // the manager owns it now
    return true;
}

struct ComposeJob
{
    ComposeArguments args;
    ComposeSession session;
    QSize size;            // the document's, once built
    int layerCount = 0;
    QImage result;         // the composite
    qint64 elapsed = 0;    // ms the compositing took
    SizeLimit target;      // with --shrink: what the composition must fit
    double scale = 1.0;    // with --shrink: the factor of every layer, offset and mask
};

// With --shrink, the one factor that brings every layer and the document
// within job->target, from the sizes the files' headers declare (a file
// that declares none is left to its reader's message).
void chooseScale(ComposeJob *job)
{
    const ComposeArguments &args = job->args;
    QSize bottom;
    for (const LayerInput &input : args.layers) {
        const QSize declared = QImageReader(input.path).size();
        if (!declared.isValid())
            continue;
        if (&input == &args.layers.first())
            bottom = declared;
        job->scale = qMin(job->scale, fitFactor(declared, job->target));
    }
    const QSize document = args.size.isValid() ? args.size : bottom;
    if (document.isValid())
        job->scale = qMin(job->scale, fitFactor(document, job->target));
    if (job->scale < 1.0)
        vellNote(QStringLiteral("shrinking the composition by %1 to fit %2")
                     .arg(job->scale, 0, 'g', 4).arg(limitText(job->target)));
}

// The document from the LAYERs (or the saved document), announced layer by
// layer, and the canvas sized to it. kProceed, or the exit code with the
// problem reported.
int build(const VellHost &host, ComposeJob *job)
{
    const ComposeArguments &args = job->args;
    ComposeSession &session = job->session;
    session.canvas = host.canvas();
    // One line says which path and why.
    if (args.cpu) {
        vellNote(QStringLiteral("path: CPU (--cpu)"));
    } else if (session.canvas) {
        const QString why = args.gpu ? QStringLiteral("--gpu; GL renderer '%1'")
                                     : QStringLiteral("the GL renderer '%1' is a hardware one");
        vellNote(QStringLiteral("path: GPU (%1)").arg(why.arg(host.glRenderer())));
    } else if (args.gpu) {
        vellError(QStringLiteral("--gpu: no GL context (%1)").arg(host.noGlReason()));
        return ExitFailure;
    } else if (!host.glRenderer().isEmpty()) {
        // Software rasterisers composite slower than the CPU compositor.
        vellNote(QStringLiteral("path: CPU (%1; --gpu uses it anyway)").arg(host.noGlReason()));
    } else {
        vellNote(QStringLiteral("no GL context (%1): compositing on the CPU").arg(host.noGlReason()));
    }

    if (args.isDocument) {
        const QString &path = args.layers.first().path;
        VellContext *document = args.isOra ? vellReadOraFile(path) : vellReadDocumentFile(path);
        if (!document)
            return ExitFailure;
        session.adopt(document);
    } else {
        session.adopt(new VellContext);
    }
    VellLayerManager *manager = session.document->getLayerManager();
    // Each layer is announced as it is read (a document's all at once).
    const auto announce = [manager](int index, int count) {
        vellProgress(QStringLiteral("layer %1/%2: %3").arg(index + 1).arg(count)
                         .arg(describe(manager->getLayer(index))));
    };
    if (!args.isDocument && args.options.shrink)
        chooseScale(job);
    bool allDeep = !args.isDocument;
    std::vector<DecodedLayer> decoded;
    if (!args.isDocument && !decodeLayers(args, job->scale, &decoded))
        return ExitFailure;
    for (int i = 0; !args.isDocument && i < args.layers.size(); ++i) {
        bool deep = false;
        if (!addImageLayer(session.document, args.layers.at(i), args.layers.size() == 1, job->scale,
                           !args.options.noColour, &deep, std::move(decoded[size_t(i)])))
            return ExitFailure;
        allDeep = allDeep && deep;
        announce(i, args.layers.size());
    }
    QString textProblem;
    if (!vellAddComposeTexts(session.document, args.texts, &textProblem)) {
        vellError(textProblem);
        return ExitFailure;
    }
    for (int i = 0; i < args.texts.size(); ++i)
        vellProgress(QStringLiteral("text %1/%2: %3").arg(i + 1).arg(args.texts.size())
                         .arg(describe(manager->getLayer(manager->getLayerCount() - args.texts.size() + i))));
    // The compositor works at 8 bits per channel: said where 16 were asked
    // for or every layer had them.
    const int depth = args.options.output.depth;
    if (depth == 16 || (allDeep && depth != 8))
        vellNote(QStringLiteral("warning: %1, but the compositor works at 8 bits per channel: the result holds 8")
                     .arg(depth == 16 ? QStringLiteral("--depth 16 asks for 16 bits per channel")
                                      : QStringLiteral("every layer has 16 bits per channel")));
    const int count = manager->getLayerCount();
    if (count == 0) {
        // vell never saves an empty document, and a stream with no layers is
        // what many a stray file reads as.
        vellError(QStringLiteral("cannot read %1: neither an image nor a vell document").arg(args.layers.first().path));
        return ExitFailure;
    }
    for (int i = 0; args.isDocument && i < count; ++i)
        announce(i, count);
    // The compositor draws the bottom layer in Normal mode whatever it says.
    const VellLayerBase *bottom = manager->getLayer(0);
    if (bottom->getBlendMode() != VellBlend::Normal)
        vellNote(QStringLiteral("warning: the bottom layer %1 is drawn in Normal mode, not %2")
                     .arg(bottom->getLayerName(), VellLayerBase::getBlendModeName(bottom->getBlendMode())));

    // The size: --size, else a saved document's own (its selection's), else
    // the bottom layer's.
    QSize size = args.size.isValid() ? scaledSize(args.size, job->scale) : QSize();
    const VellSelection *saved = args.isDocument ? session.document->getSelection() : nullptr;
    if (!size.isValid() && saved && saved->getWidth() > 0 && saved->getHeight() > 0)
        size = QSize(saved->getWidth(), saved->getHeight());
    if (!size.isValid())
        size = QSize(manager->getLayer(0)->getWidth(), manager->getLayer(0)->getHeight());
    if (size.isEmpty() || !vellWithinLimit(size)) {
        vellError(QStringLiteral("a document of %1x%2 is over the image size limit of this run (%3; %4)")
                      .arg(size.width()).arg(size.height()).arg(vellLimitText(), vellLimitHint()));
        return ExitFailure;
    }
    if (session.canvas) {
        const VellGpuManager *gpu = VellGpuManager::getInstance();
        if (gpu->maxTextureWidth > 0
            && (size.width() > gpu->maxTextureWidth || size.height() > gpu->maxTextureHeight)) {
            vellError(QStringLiteral("a document of %1x%2 exceeds the GPU's largest texture (%3x%4)")
                          .arg(size.width()).arg(size.height()).arg(gpu->maxTextureWidth)
                          .arg(gpu->maxTextureHeight));
            return ExitFailure;
        }
        session.canvas->reSizeCanvas(size.width(), size.height(), false);
        session.canvas->makeCurrent();
    }
    // The document's selection is the document's size, so a saved document
    // keeps it. A run that only writes the composite on the CPU saves no
    // document and leaves out the selection's full-size bytes.
    const bool keepsDocument = !args.save.isEmpty() || args.format == "ora" || session.canvas;
    if (keepsDocument && (!saved || saved->getWidth() != size.width() || saved->getHeight() != size.height())) {
        auto selection = std::make_unique<VellSelection>(nullptr, size.width(), size.height());
        if (selection->isNull()) {
            vellError(QStringLiteral("no memory for a %1x%2 selection").arg(size.width()).arg(size.height()));
            return ExitFailure;
        }
        session.document->setSelection(selection.release());
    }
    job->size = size;
    job->layerCount = count;
    return kProceed;
}

// Composites the document at full resolution on the canvas, or on the CPU.
bool work(ComposeJob *job)
{
    const ComposeSession &session = job->session;
    vellProgress(QStringLiteral("compositing %1x%2 on the %3").arg(job->size.width()).arg(job->size.height())
                     .arg(session.canvas ? QStringLiteral("GPU") : QStringLiteral("CPU")));
    QElapsedTimer timer;
    timer.start();
    if (session.canvas) {
        // The canvas may hand back an image that borrows the bottom layer's
        // pixels: copy it while the document is alive.
        std::unique_ptr<QImage> image(session.canvas->renderToImage(session.document));
        if (image)
            job->result = image->convertToFormat(QImage::Format_ARGB32).copy();
    } else {
        std::unique_ptr<QImage> image(
            VellBlendFast::renderToImage(session.document, job->size.width(), job->size.height()));
        if (image)
            job->result = *image;
    }
    job->elapsed = timer.elapsed();
    if (job->result.isNull()) {
        vellError(QStringLiteral("compositing %1x%2 failed (out of memory?)").arg(job->size.width())
                      .arg(job->size.height()));
        return false;
    }
    return true;
}

// The composite into `file`: PNG through the library's writer, which
// deflates on every core; other formats through Qt's image plug-ins.
bool writeImage(VellAtomicFile *file, const ComposeJob &job)
{
    if (job.args.format != "png")
        return vellWriteImage(file, job.result, job.args.format, job.args.options.output);
    VellPngWriter writer;
    if (job.args.compression >= 0)
        writer.setCompression(job.args.compression);
    return writer.write(job.result, file->device()) || file->fail(writer.errorString());
}

// The composite and, when --save asks for it, the document: both are written
// in full before either replaces its destination, so a failure leaves both
// as they were.
bool write(const ComposeJob &job)
{
    vellProgress(QStringLiteral("writing %1").arg(VellAtomicFile::displayName(job.args.output)));
    if (job.args.format == "ora") {
        // The writer replaces the file whole or not at all; the composite
        // made above is its merged image.
        if (job.session.canvas)
            job.session.canvas->makeCurrent();   // layers read newer GPU pixels back to write them
        VellOraWriter writer;
        writer.setMaskPolicy(job.args.oraMasks == QLatin1String("baked") ? VellOraWriter::MasksBaked
                                                                         : VellOraWriter::MasksAsStacks);
        writer.setMergedImage(job.result);
        if (!writer.write(job.session.document, job.args.output)) {
            vellError(QStringLiteral("cannot write %1").arg(writer.errorString()));
            return false;
        }
        if (job.args.save.isEmpty())
            return true;
        VellAtomicFile document(job.args.save);
        if (!document.open() || !vellWriteStream(&document, job.session.document)) {
            document.reportError();
            return false;
        }
        return vellCommitAll({&document});
    }
    VellAtomicFile image(job.args.output);
    if (!image.open() || !writeImage(&image, job)) {
        image.reportError();
        return false;
    }
    if (job.args.save.isEmpty())
        return vellCommitAll({&image});
    if (job.session.canvas)
        job.session.canvas->makeCurrent();   // layers read newer GPU pixels back to write them
    VellAtomicFile document(job.args.save);
    if (!document.open() || !vellWriteStream(&document, job.session.document)) {
        document.reportError();
        return false;
    }
    return vellCommitAll({&image, &document});
}

void report(const ComposeJob &job)
{
    vellNote(QStringLiteral("composed %1, %2x%3, on the %4 in %5 ms")
                 .arg(vellCount(job.layerCount, "layer")).arg(job.size.width()).arg(job.size.height())
                 .arg(job.session.canvas ? QStringLiteral("GPU") : QStringLiteral("CPU")).arg(job.elapsed));
    if (job.args.format == "ora")
        vellNote(QStringLiteral("wrote %1 (OpenRaster, %2, masks %3)")
                     .arg(job.args.output, vellCount(job.layerCount, "layer"),
                          job.args.oraMasks == QLatin1String("baked") ? QStringLiteral("baked")
                                                                      : QStringLiteral("as stacks")));
    else
        vellNote(QStringLiteral("wrote %1 (%2, %3 bits per channel)")
                     .arg(VellAtomicFile::displayName(job.args.output), QString::fromLatin1(job.args.format.toUpper()))
                     .arg(vellWrittenDepth(job.result, job.args.format)));
    if (!job.args.save.isEmpty())
        vellNote(QStringLiteral("saved the document to %1").arg(job.args.save));
}

} // namespace

int vellComposeCommand(VellHost &host, const QStringList &args)
{
    ComposeJob job;   // destroyed before the host, which owns the canvas
    const int parsed = parseArguments(args, &job.args);
    if (parsed != kProceed)
        return parsed;
    QElapsedTimer total;
    total.start();
    // The GPU when its renderer is a hardware one, unless a path is asked
    // for; build() says what came of it.
    // Fonts for --text, and for the text layers a sole LAYER may hold when it
    // is a saved document (found out only once the application exists).
    host.setUp(job.args.cpu ? VellHost::Headless : job.args.gpu ? VellHost::Gl : VellHost::GlHardware,
               !job.args.texts.isEmpty() || job.args.layers.size() == 1);
    // Without --shrink, a picture over the limit is refused; with it, the
    // pictures are read within what the path holds and the composition
    // shrinks to fit --max-size, or else the limit of the settings.
    const VellSharedOptions &options = job.args.options;
    if (!host.setImageLimit(options.maxSize) || (options.shrink && !host.setImageLimit(QSize())))
        return ExitUsage;
    if (options.shrink) {
        job.target.sides = options.maxSize.isValid() ? options.maxSize : host.savedLimitSize();
        job.target.pixels = options.maxSize.isValid() ? qint64(options.maxSize.width()) * options.maxSize.height()
                                                      : qint64(host.savedLimitPixel()) * 1048576;
    }
    vellSetLimitHint(options.shrink ? QStringLiteral("the most this path reads: nothing larger can be read to be shrunk")
                                    : QStringLiteral("--max-size WxH raises it; --shrink shrinks the whole composition to fit"));

    int code = checkInputs(&job.args);
    if (code == kProceed)
        code = build(host, &job);
    if (code != kProceed)
        return code;
    if (!work(&job) || !write(job))
        return ExitFailure;
    report(job);
    vellNote(QStringLiteral("%1 ms in all").arg(total.elapsed()));
    return ExitOk;
}
