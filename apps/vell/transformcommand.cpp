// vell transform: one geometric operation of the library's raster layers
// (quarter turns, mirrors, resizing, cropping, free rotation, projective
// warps) applied to an image on the GPU.
#include "vellcommandline.h"
#include "vellhost.h"

#include "canvas/vellcanvas.h"
#include "document/velllayer.h"
#include "picture/vellpicturehost.h"
#include "tools/velltoolutil.h"

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
    "(0, 0) at its top-left corner.\n"
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
    "An operation the image cannot take (an angle other than 90, -90 and 180,\n"
    "a factor that leaves no pixel, a result beyond the size limit, a crop\n"
    "outside the image, a quadrilateral that is not convex) is refused with\n"
    "its reason and exit status 1; OUT is then not written.";

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
    if (!vellCheckImageSuffix(job.outputPath)
        || !vellCheckOutputOptions(job.options.output, vellImageFormat(job.outputPath)))
        return ExitUsage;
    if (vellOutputIsInput(job.outputPath, {job.inputPath}))
        return ExitUsage;
    if (!vellInputExists(job.inputPath))
        return ExitFailure;

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
