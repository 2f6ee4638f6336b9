// vell transform: one geometric operation of the library's raster layers
// (quarter turns, mirrors, resizing, cropping, free rotation, projective
// warps) applied to an image on the GPU, or the whole-document form of the
// first five applied to a layered document.
#include "vellcommandline.h"
#include "velldocumentsession.h"
#include "vellhost.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "interchange/vellorawriter.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"
#include "tools/velltoolutil.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QPolygonF>

#include <cmath>
#include <memory>

int vellTransformCommand(VellHost &host, const QStringList &args);

namespace {

const char *const kTransformUsage =
    "Usage: vell transform IN OUT OPERATION [OPTION ...]\n"
    "Applies one geometric operation to image IN on the GPU and writes the\n"
    "result to OUT (format from OUT's suffix). Coordinates are IN's pixels,\n"
    "(0, 0) at its top-left corner. IN may also be a layered document (below).\n"
    "\n"
    "Operations (exactly one):\n"
    "  --rotate 90|-90|180  a quarter or half turn; 90 turns counter-clockwise,\n"
    "                       -90 clockwise\n"
    "  --flip h|v           mirror left-right (h) or top-bottom (v)\n"
    "  --resize SX SY       scale by the factors SX and SY (each side truncated),\n"
    "                       shrinking in halving steps\n"
    "  --size W H           scale to exactly W x H pixels\n"
    "  --filter N           the filter of --resize and --size: 0 nearest,\n"
    "                       1 bilinear, 2 bicubic (default), 3 Lanczos-3\n"
    "  --crop X Y W H       keep the rectangle of W x H pixels at X, Y (cut to\n"
    "                       the image)\n"
    "  --rotate-free DEG    turn by DEG degrees (clockwise) about the centre,\n"
    "                       bicubic; the result grows to hold the turned image,\n"
    "                       with transparent corners\n"
    "  --quad X0 Y0 X1 Y1 X2 Y2 X3 Y3\n"
    "                       map the image's top-left, top-right, bottom-right and\n"
    "                       bottom-left corners projectively onto these four\n"
    "                       points (a convex quadrilateral), bicubic; the result\n"
    "                       is the quadrilateral's bounding box\n"
    "\n"
    "Options:\n"
    "  --no-colour        leave IN's colours as they are (by default IN is\n"
    "                     converted to sRGB like every image vell opens)\n"
    "  --max-size WxH     the largest picture of this run, IN and OUT (see\n"
    "                     vell --help)\n"
    "  --depth 8|16       bits per channel of OUT (16: PNG and TIFF)\n"
    "  --quality N        the quality of a JPEG or WebP OUT, 0 to 100\n"
    "  --lossless         a lossless WebP OUT\n"
    "\n"
    "A layered document as IN (an OpenRaster file, or a document written by\n"
    "vell compose --save) is transformed whole by --rotate, --flip, --resize,\n"
    "--size or --crop: every layer with it, masks and text included (text\n"
    "stays text), the document's size following; --resize and --size then\n"
    "scale the document, each layer by the same factors with its own filter\n"
    "unless --filter names one, and --crop keeps that part of the document.\n"
    "OUT is then an OpenRaster file (OUT.ora, the layers and their composite),\n"
    "a document (OUT.vdoc, as compose --save writes) or an image of the\n"
    "composite.\n"
    "\n"
    "An operation the image cannot take (an angle other than 90, -90 and 180,\n"
    "a factor that leaves no pixel, a result beyond the size limit, a crop\n"
    "outside the image, a quadrilateral that is not convex) is refused with\n"
    "its reason and exit status 1; OUT is then not written.";

// What OUT is, by its suffix.
enum Output { ImageOut, OraOut, DocumentOut };

Output outputKind(const QString &path)
{
    if (path.endsWith(QLatin1String(".ora"), Qt::CaseInsensitive))
        return OraOut;
    if (path.endsWith(QLatin1String(".vdoc"), Qt::CaseInsensitive))
        return DocumentOut;
    return ImageOut;
}

enum Operation { None, Rotate, Flip, Resize, Size, Crop, RotateFree, Quad };

struct TransformJob
{
    QString inputPath, outputPath;
    Operation operation = None;
    QString operationName;
    QVector<double> numbers;   // the operation's values
    bool leftRight = true;     // --flip
    int filter = -1;           // --filter; -1: the layer's default
    VellSharedOptions options;
};

// How many numbers each operation takes.
int countFor(Operation operation)
{
    switch (operation) {
    case Rotate: return 1;
    case Resize: case Size: return 2;
    case Crop: return 4;
    case RotateFree: return 1;
    case Quad: return 8;
    default: return 0;
    }
}

int parse(const QStringList &args, TransformJob *job)
{
    static const QVector<QPair<const char *, Operation>> kOperations = {
        {"--rotate", Rotate}, {"--flip", Flip}, {"--resize", Resize}, {"--size", Size},
        {"--crop", Crop}, {"--rotate-free", RotateFree}, {"--quad", Quad}};
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const int taken = vellTakeOption(args, &i, NoColourOption | MaxSizeOption | QualityOptions | DepthOption,
                                         &job->options);
        if (taken < 0)
            return ExitUsage;
        if (taken > 0)
            continue;
        const QString &arg = args.at(i);
        Operation operation = None;
        for (const auto &known : kOperations)
            if (arg == QLatin1String(known.first))
                operation = known.second;
        if (operation != None) {
            if (job->operation != None)
                return vellUsageError(QStringLiteral("%1 and %2: transform takes one operation").arg(job->operationName, arg));
            job->operation = operation;
            job->operationName = arg;
            if (operation == Flip) {
                const QString side = i + 1 < args.size() ? args.at(++i) : QString();
                if (side != QLatin1String("h") && side != QLatin1String("v"))
                    return vellUsageError(QStringLiteral("--flip needs h or v"));
                job->leftRight = side == QLatin1String("h");
                continue;
            }
            const int count = countFor(operation);
            for (int k = 0; k < count; ++k) {
                bool ok = false;
                const double value = i + 1 < args.size() ? args.at(i + 1).toDouble(&ok) : 0.0;
                if (!ok || !std::isfinite(value))
                    return vellUsageError(QStringLiteral("%1 needs %2").arg(arg, vellCount(count, "number")));
                job->numbers.append(value);
                ++i;
            }
            const bool whole = operation == Rotate || operation == Size || operation == Crop;
            for (double value : qAsConst(job->numbers))
                if (whole && (value != std::floor(value) || std::fabs(value) > 1e9))
                    return vellUsageError(QStringLiteral("%1 takes whole numbers").arg(arg));
        } else if (arg == QLatin1String("--filter")) {
            bool ok = false;
            const int filter = i + 1 < args.size() ? args.at(++i).toInt(&ok) : -1;
            if (!ok || filter < VellToolUtil::Nearest || filter > VellToolUtil::Lanczos3)
                return vellUsageError(QStringLiteral("bad --filter (0 nearest, 1 bilinear, 2 bicubic, 3 Lanczos-3)"));
            if (job->filter >= 0)
                return vellUsageError(QStringLiteral("--filter given twice"));
            job->filter = filter;
        } else if (arg.startsWith(QLatin1String("--"))) {
            return vellUsageError(QStringLiteral("unknown option '%1' (try 'vell transform --help')").arg(arg));
        } else {
            positional << arg;
        }
    }
    if (positional.size() != 2)
        return vellUsageError(QStringLiteral("transform needs IN and OUT (got %1)").arg(vellCount(positional.size(), "argument")));
    if (job->operation == None)
        return vellUsageError(QStringLiteral("transform needs an operation (try 'vell transform --help')"));
    if (job->filter >= 0 && job->operation != Resize && job->operation != Size)
        return vellUsageError(QStringLiteral("--filter goes with --resize or --size"));
    if (job->operation == Size && (job->numbers[0] < 1 || job->numbers[1] < 1))
        return vellUsageError(QStringLiteral("--size needs a width and a height of 1 or more"));
    job->inputPath = positional.at(0);
    job->outputPath = positional.at(1);
    return kProceed;
}

void apply(VellLayer *layer, const TransformJob &job)
{
    const QVector<double> &n = job.numbers;
    switch (job.operation) {
    case Rotate:
        layer->rotate(int(n[0]));
        break;
    case Flip:
        layer->flip(job.leftRight);
        break;
    case Resize:
        layer->resize(n[0], n[1]);
        break;
    case Size:
        // resize() truncates, so half a pixel more lands on the size asked for.
        layer->resize((n[0] + 0.5) / layer->getWidth(), (n[1] + 0.5) / layer->getHeight());
        break;
    case Crop:
        layer->clip(QRect(int(n[0]), int(n[1]), int(n[2]), int(n[3])));
        break;
    case RotateFree:
        layer->setRotationAngle(float(n[0]));
        layer->applyRotation();
        break;
    case Quad:
        layer->applyAffine(QPolygonF({QPointF(n[0], n[1]), QPointF(n[2], n[3]), QPointF(n[4], n[5]),
                                      QPointF(n[6], n[7])}));
        break;
    case None:
        break;
    }
}

// The whole-document form of the operation; false with the document's reason.
bool applyToDocument(VellContext *document, const TransformJob &job)
{
    const QVector<double> &n = job.numbers;
    const QSize size = document->getDocumentSize();
    // Bounded before the conversion to int; the document refuses sizes beyond its limit.
    const auto side = [](double v) { return int(qBound(0.0, std::trunc(v), 1e9)); };
    switch (job.operation) {
    case Rotate: return document->rotateDocument(int(n[0]));
    case Flip: return document->flipDocument(job.leftRight);
    case Resize: return document->resizeDocument(QSize(side(size.width() * n[0]), side(size.height() * n[1])));
    case Size: return document->resizeDocument(QSize(int(n[0]), int(n[1])));
    case Crop: return document->clipDocument(QRect(int(n[0]), int(n[1]), int(n[2]), int(n[3])));
    default: return false;
    }
}

// The composite of the document at full resolution; null without memory.
QImage composite(VellCanvas *canvas, VellContext *document)
{
    canvas->makeCurrent();
    const std::unique_ptr<QImage> image(canvas->renderToImage(document));
    return image ? image->convertToFormat(QImage::Format_ARGB32).copy() : QImage();
}

int transformDocument(VellHost &host, const TransformJob &job, Output output)
{
    if (job.operation == RotateFree || job.operation == Quad)
        return vellUsageError(QStringLiteral("%1 turns single images, not the document '%2'")
                                  .arg(job.operationName, job.inputPath));
    if (job.options.noColour)
        return vellUsageError(QStringLiteral("--no-colour applies to images: the document '%1' keeps its colours")
                                  .arg(job.inputPath));
    host.setUp(VellHost::Gl);
    VellDocumentSession session;
    session.canvas = host.canvas();
    if (!session.canvas) {
        vellError(QStringLiteral("transform needs a GL context: %1").arg(host.noGlReason()));
        return ExitFailure;
    }
    if (!host.setImageLimit(job.options.maxSize))
        return ExitUsage;
    session.canvas->makeCurrent();
    VellContext *read = vellIsOraFile(job.inputPath) ? vellReadOraFile(job.inputPath)
                                                      : vellReadDocumentFile(job.inputPath);
    if (!read)
        return ExitFailure;
    session.adopt(read);
    VellContext *document = session.document;
    VellLayerManager *stack = document->getLayerManager();
    if (stack->getLayerCount() == 0) {
        vellError(QStringLiteral("cannot read %1: neither an image nor a vell document").arg(job.inputPath));
        return ExitFailure;
    }
    // The document's size is its selection's; a document without one takes
    // its bottom layer's.
    const VellSelection *selection = document->getSelection();
    QSize size = selection ? QSize(selection->getWidth(), selection->getHeight()) : QSize();
    if (size.isEmpty()) {
        size = QSize(stack->getLayer(0)->getWidth(), stack->getLayer(0)->getHeight());
        document->setSelection(new VellSelection(nullptr, size.width(), size.height()));
    }
    if (size.isEmpty() || !vellWithinLimit(size)) {
        vellError(QStringLiteral("a document of %1x%2 is over the image size limit of this run (%3; %4)")
                      .arg(size.width()).arg(size.height()).arg(vellLimitText(), vellLimitHint()));
        return ExitFailure;
    }
    session.canvas->reSizeCanvas(size.width(), size.height(), false);
    session.canvas->makeCurrent();
    if (job.filter >= 0)
        for (VellLayerBase *layer : stack->getLayers())
            if (auto *raster = qobject_cast<VellLayer *>(layer))
                raster->setInterpolation(job.filter);

    vellProgress(QStringLiteral("transforming the document %1 (%2)").arg(job.inputPath, job.operationName));
    QElapsedTimer timer;
    timer.start();
    if (!applyToDocument(document, job)) {
        vellError(QStringLiteral("cannot transform %1: %2").arg(job.inputPath, document->getGeometryError()));
        return ExitFailure;
    }
    const qint64 elapsed = timer.elapsed();
    const QSize result = document->getDocumentSize();
    session.canvas->makeCurrent();   // layers read newer GPU pixels back to be written
    if (output == DocumentOut) {
        if (!vellWriteStreamFile(job.outputPath, document))
            return ExitFailure;
    } else {
        const QImage image = composite(session.canvas, document);
        if (image.isNull()) {
            vellError(QStringLiteral("compositing %1x%2 failed (out of memory?)").arg(result.width()).arg(result.height()));
            return ExitFailure;
        }
        if (output == OraOut) {
            VellOraWriter writer;
            writer.setMergedImage(image);
            if (!writer.write(document, job.outputPath)) {
                vellError(QStringLiteral("cannot write %1").arg(writer.errorString()));
                return ExitFailure;
            }
        } else if (!vellWriteImageFile(job.outputPath,
                                       vellOutputImage(image, vellImageFormat(job.outputPath), job.options.output),
                                       job.options.output)) {
            return ExitFailure;
        }
    }
    vellNote(QStringLiteral("wrote %1 (%2, %3x%4, %5; transformed on the GPU in %6 ms)")
                 .arg(job.outputPath, job.operationName)
                 .arg(result.width())
                 .arg(result.height())
                 .arg(vellCount(stack->getLayerCount(), "layer"))
                 .arg(elapsed));
    return ExitOk;
}

} // namespace

int vellTransformCommand(VellHost &host, const QStringList &args)
{
    if (vellWantsHelp(args)) {
        vellPrint(QString::fromLatin1(kTransformUsage));
        return ExitOk;
    }
    TransformJob job;
    if (const int parsed = parse(args, &job); parsed != kProceed)
        return parsed;
    const Output output = outputKind(job.outputPath);
    if (output == ImageOut
        && (!vellCheckImageSuffix(job.outputPath)
            || !vellCheckOutputOptions(job.options.output, vellImageFormat(job.outputPath))))
        return ExitUsage;
    if (vellOutputIsInput(job.outputPath, {job.inputPath}))
        return ExitUsage;
    if (!vellInputExists(job.inputPath))
        return ExitFailure;
    if (vellIsDocumentFile(job.inputPath)) {
        if (output != ImageOut && (job.options.output.depth || job.options.output.quality >= 0 || job.options.output.lossless))
            return vellUsageError(QStringLiteral("--depth, --quality and --lossless apply to an image OUT"));
        return transformDocument(host, job, output);
    }
    if (output != ImageOut)
        return vellUsageError(QStringLiteral("%1 is a document: IN must be one too (an OpenRaster file or a saved "
                                             "vell document)").arg(job.outputPath));

    host.setUp(VellHost::Gl);
    VellCanvas *canvas = host.canvas();
    if (!canvas) {
        vellError(QStringLiteral("transform needs a GL context: %1").arg(host.noGlReason()));
        return ExitFailure;
    }
    if (!host.setImageLimit(job.options.maxSize))
        return ExitUsage;

    QByteArray iccProfile;
    VellPictureHost *read = vellReadImageHost(job.inputPath, true, nullptr, &iccProfile);
    if (read && !job.options.noColour && !vellColourStep(&read, job.inputPath, iccProfile, QString())) {
        delete read;
        return ExitFailure;
    }
    if (!read)
        return ExitFailure;
    // A lone layer, outside any document: the operations need only the GL
    // context, and the layer's textures go before the canvas that owns it.
    canvas->makeCurrent();
    auto layer = std::make_unique<VellLayer>(QFileInfo(job.inputPath).fileName());
    layer->setVellPictureHost(read);
    if (job.filter >= 0)
        layer->setInterpolation(job.filter);
    vellProgress(QStringLiteral("transforming %1 (%2)").arg(job.inputPath, job.operationName));
    apply(layer.get(), job);
    if (!layer->getGeometryError().isEmpty()) {
        vellError(QStringLiteral("cannot transform %1: %2").arg(job.inputPath, layer->getGeometryError()));
        return ExitFailure;
    }
    const QImage result = vellHostToImage(layer->getPictureHost());
    if (result.isNull()) {
        vellError(QStringLiteral("cannot transform %1: no memory for the result").arg(job.inputPath));
        return ExitFailure;
    }
    if (!vellWriteImageFile(job.outputPath, vellOutputImage(result, vellImageFormat(job.outputPath), job.options.output),
                            job.options.output))
        return ExitFailure;
    vellNote(QStringLiteral("wrote %1 (%2, %3x%4)")
                 .arg(job.outputPath, job.operationName)
                 .arg(result.width())
                 .arg(result.height()));
    return ExitOk;
}
