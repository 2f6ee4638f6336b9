// vell select: a selection built from shapes and masks through the library's
// own combine operations, written as a grey coverage image.
#include "vellcommandline.h"
#include "vellhost.h"

#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "picture/vellpicturehost.h"
#include "selection/vellalgorithmgrow.h"
#include "selection/vellselection.h"
#include "selection/vellselectionpath.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QVector>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace {

const char *const kSelectUsage =
    "Usage: vell select IN OUT.png STEP [STEP ...] [--feather R] [--invert] [OPTION ...]\n"
    "Builds a selection on a one-layer document of image IN and writes its coverage\n"
    "to OUT as an 8-bit grey image of IN's size (format from OUT's suffix): white\n"
    "is selected, black is not, greys are partly selected. Standard error reports\n"
    "the selection's box and how many pixels it selects.\n"
    "\n"
    "Steps, run in order (X, Y, W, H in pixels of IN; W and H above 0):\n"
    "  --rect X,Y,W,H     a rectangle, its top-left pixel at column X, row Y\n"
    "  --ellipse X,Y,W,H  the ellipse inside that rectangle (pixels whose centres\n"
    "                     lie inside it)\n"
    "  --mask FILE        a grey image of IN's size: its grey level is the coverage\n"
    "  --grow X,Y[,T]     the region 4-connected to pixel X,Y whose colours lie\n"
    "                     within T (default 32; root-mean-square per channel in\n"
    "                     8-bit levels, colours premultiplied by alpha) of its colour\n"
    "  --polygon X0,Y0,X1,Y1,X2,Y2[,...]\n"
    "                     the closed outline through those points (pixel edges;\n"
    "                     overlapping parts alternate, even-odd); at least 3 points\n"
    "Each step may be preceded by one of\n"
    "  --add, --subtract, --intersect\n"
    "which says how it meets the selection so far; without one the first step\n"
    "replaces and later steps add. A selection starts with every pixel covered, so\n"
    "a first step that subtracts or intersects acts on the whole image.\n"
    "Every --rect, --ellipse, --grow and --mask step is smoothed by the selection's 3 x 3\n"
    "median, which drops single pixels and the corner pixels of a rectangle.\n"
    "\n"
    "  --feather R        softens the edge of the selection after the last step\n"
    "                     with a Gaussian blur of radius R pixels (R above 0)\n"
    "  --invert           inverts the selection after the last step (and after\n"
    "                     feathering)\n"
    "\n"
    "Options:\n"
    "  --no-colour        leave IN's colours as they are (--grow compares them;\n"
    "                     by default IN is converted to sRGB like every image vell\n"
    "                     opens)\n"
    "  --max-size WxH     the largest picture of this run (see vell --help)\n"
    "  --quality N        the quality of a JPEG or WebP OUT, 0 to 100\n"
    "  --lossless         a lossless WebP OUT\n";

struct Step
{
    enum Shape { Rect, Ellipse, Mask, Polygon, Grow };
    Shape shape = Rect;
    int mode = VellCombineMode::Replace;
    QRect rect;         // Rect and Ellipse: column x, row y, size
    QString path;       // Mask
    QVector<QPointF> points;   // Polygon; Grow: the seed
    float tolerance = 32.0f;   // Grow
    QString argument;   // as given, for messages
};

struct SelectJob
{
    QString inputPath, outputPath;
    QVector<Step> steps;
    float feather = 0.0f;
    bool invert = false;
    VellSharedOptions options;   // --no-colour, --max-size, --quality, --lossless
    // The outlines the selection lists (it never deletes them); declared
    // before the document, so they outlive it.
    std::vector<std::unique_ptr<VellSelectionPath>> paths;
    std::unique_ptr<VellContext> document;
    VellSelection *selection = nullptr;   // the document's
    int width = 0, height = 0;
    QVector<QImage> masks;                // per step: the grey mask of a Mask step
    QImage result;
};

// "X,Y,W,H" with W and H above 0.
bool parseRect(const QString &text, QRect *rect)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return false;
    int v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = parts.at(i).trimmed().toInt(&ok);
        if (!ok)
            return false;
    }
    if (v[2] <= 0 || v[3] <= 0)
        return false;
    *rect = QRect(v[0], v[1], v[2], v[3]);
    return true;
}

// "X0,Y0,X1,Y1,X2,Y2[,...]": at least 3 points, finite numbers.
bool parsePoints(const QString &text, QVector<QPointF> *points)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() < 6 || parts.size() % 2 != 0)
        return false;
    QVector<QPointF> parsed;
    for (int i = 0; i < parts.size(); i += 2) {
        bool okX = false, okY = false;
        const double x = parts.at(i).trimmed().toDouble(&okX);
        const double y = parts.at(i + 1).trimmed().toDouble(&okY);
        if (!okX || !okY || !std::isfinite(x) || !std::isfinite(y))
            return false;
        parsed.append(QPointF(x, y));
    }
    *points = parsed;
    return true;
}

// "X,Y[,T]": a whole-pixel seed and a tolerance of 0 or more.
bool parseGrow(const QString &text, Step *step)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 2 && parts.size() != 3)
        return false;
    bool okX = false, okY = false, okT = true;
    const int x = parts.at(0).trimmed().toInt(&okX), y = parts.at(1).trimmed().toInt(&okY);
    const float t = parts.size() == 3 ? parts.at(2).trimmed().toFloat(&okT) : step->tolerance;
    if (!okX || !okY || !okT || !(t >= 0.0f) || !std::isfinite(t))
        return false;
    step->points = {QPointF(x, y)};
    step->tolerance = t;
    return true;
}

int parse(const QStringList &args, SelectJob *job)
{
    if (vellWantsHelp(args)) {
        vellPrint(QString::fromLatin1(kSelectUsage).trimmed());
        return ExitOk;
    }
    QStringList positional;
    int pendingMode = -1;   // -1: the default for the next step
    QString pendingName;
    for (int i = 0; i < args.size(); ++i) {
        const int taken = vellTakeOption(args, &i, NoColourOption | MaxSizeOption | QualityOptions, &job->options);
        if (taken < 0)
            return ExitUsage;
        if (taken > 0)
            continue;
        const QString &arg = args.at(i);
        if (arg == QLatin1String("--add") || arg == QLatin1String("--subtract")
            || arg == QLatin1String("--intersect")) {
            if (pendingMode >= 0)
                return vellUsageError(QStringLiteral("%1 follows %2: one mode per step").arg(arg, pendingName));
            pendingMode = arg == QLatin1String("--add") ? VellCombineMode::Add
                : arg == QLatin1String("--subtract")    ? VellCombineMode::Subtract
                                                        : VellCombineMode::Intersect;
            pendingName = arg;
        } else if (arg == QLatin1String("--rect") || arg == QLatin1String("--ellipse")
                   || arg == QLatin1String("--mask") || arg == QLatin1String("--polygon")
                   || arg == QLatin1String("--grow")) {
            if (i + 1 >= args.size())
                return vellUsageError(QStringLiteral("%1 needs a value").arg(arg));
            Step step;
            step.argument = arg + QLatin1Char(' ') + args.at(++i);
            if (arg == QLatin1String("--mask")) {
                step.shape = Step::Mask;
                step.path = args.at(i);
            } else if (arg == QLatin1String("--grow")) {
                step.shape = Step::Grow;
                if (!parseGrow(args.at(i), &step))
                    return vellUsageError(QStringLiteral("bad --grow '%1' (X,Y or X,Y,T with T 0 or more)").arg(args.at(i)));
            } else if (arg == QLatin1String("--polygon")) {
                step.shape = Step::Polygon;
                if (!parsePoints(args.at(i), &step.points))
                    return vellUsageError(QStringLiteral("bad --polygon '%1' (X0,Y0,X1,Y1,X2,Y2 and more "
                                                     "pairs: at least 3 points)").arg(args.at(i)));
            } else {
                step.shape = arg == QLatin1String("--rect") ? Step::Rect : Step::Ellipse;
                if (!parseRect(args.at(i), &step.rect))
                    return vellUsageError(QStringLiteral("bad %1 '%2' (X,Y,W,H with W and H above 0)")
                                          .arg(arg, args.at(i)));
            }
            step.mode = pendingMode >= 0 ? pendingMode
                : job->steps.isEmpty()   ? int(VellCombineMode::Replace)
                                         : int(VellCombineMode::Add);
            pendingMode = -1;
            job->steps.append(step);
        } else if (arg == QLatin1String("--feather")) {
            if (i + 1 >= args.size())
                return vellUsageError(QStringLiteral("--feather needs a value"));
            bool ok = false;
            const float radius = args.at(++i).toFloat(&ok);
            if (!ok || !(radius > 0.0f) || radius > VellSelection::kMaximumFeatherRadius)
                return vellUsageError(QStringLiteral("bad --feather '%1' (a radius above 0, at most %2)")
                                      .arg(args.at(i)).arg(double(VellSelection::kMaximumFeatherRadius)));
            if (job->feather > 0.0f)
                return vellUsageError(QStringLiteral("--feather given twice"));
            job->feather = radius;
        } else if (arg == QLatin1String("--invert")) {
            if (job->invert)
                return vellUsageError(QStringLiteral("--invert given twice"));
            job->invert = true;
        } else if (arg.startsWith(QLatin1String("--"))) {
            return vellUsageError(QStringLiteral("unknown option '%1' (try 'vell select --help')").arg(arg));
        } else {
            positional << arg;
        }
    }
    if (pendingMode >= 0)
        return vellUsageError(QStringLiteral("%1 needs a step after it (--rect, --ellipse, --mask, --polygon or --grow)").arg(pendingName));
    if (positional.size() != 2)
        return vellUsageError(QStringLiteral("select needs IN and OUT (got %1)").arg(vellCount(positional.size(), "argument")));
    if (job->steps.isEmpty())
        return vellUsageError(QStringLiteral("select needs at least one step (--rect, --ellipse, --mask, --polygon or --grow)"));
    job->inputPath = positional.at(0);
    job->outputPath = positional.at(1);
    return kProceed;
}

// The one-layer document of IN with its selection, and the masks of the
// --mask steps, each checked to be of IN's size.
bool build(SelectJob *job)
{
    QByteArray iccProfile;
    VellPictureHost *read = vellReadImageHost(job->inputPath, false, nullptr, &iccProfile);
    if (read && !job->options.noColour && !vellColourStep(&read, job->inputPath, iccProfile, QString())) {
        delete read;
        return false;
    }
    std::unique_ptr<VellPictureHost> picture(read);
    if (!picture)
        return false;
    job->width = int(picture->getWidth());
    job->height = int(picture->getHeight());
    job->document = std::make_unique<VellContext>();
    job->document->batchFlag = true;
    job->document->quietFlag = true;
    // Layers are added to the current document; the document takes itself
    // off the manager's list when it goes.
    VellContextManager *contexts = VellContextManager::getInstance();
    contexts->addContext(job->document.get());
    contexts->setCurrentContext(contexts->indexOfContext(job->document.get()));
    auto layer = std::make_unique<VellLayer>(QFileInfo(job->inputPath).fileName());
    layer->setVellPictureHost(picture.release());
    VellLayerManager *manager = job->document->getLayerManager();
    manager->addLayer(layer.get(), false);
    if (manager->getLayerCount() != 1) {
        vellError(QStringLiteral("cannot add %1 to the document").arg(job->inputPath));
        return false;
    }
    layer.release();   // the manager owns it now
    job->selection = new VellSelection(nullptr, job->width, job->height);
    job->document->setSelection(job->selection);
    if (job->selection->isNull()) {
        vellError(QStringLiteral("no memory for a %1 x %2 selection").arg(job->width).arg(job->height));
        return false;
    }

    for (const Step &step : job->steps) {
        QImage grey;
        if (step.shape == Step::Mask) {
            const QImage image = vellReadImage(step.path);
            if (image.isNull())
                return false;
            if (image.size() != QSize(job->width, job->height)) {
                vellError(QStringLiteral("%1: the mask is %2x%3, the image %4x%5")
                              .arg(step.argument).arg(image.width()).arg(image.height())
                              .arg(job->width).arg(job->height));
                return false;
            }
            grey = image.convertToFormat(QImage::Format_Grayscale8);
        }
        job->masks.append(grey);
    }
    return true;
}

// A step as a tightly packed mask of the whole image, so that every combine
// mode acts on the whole selection (outside the shape the mask is 0).
std::vector<unsigned char> stepMask(const SelectJob &job, int index)
{
    const Step &step = job.steps.at(index);
    const int width = job.width, height = job.height;
    std::vector<unsigned char> mask(size_t(width) * size_t(height), 0);
    if (step.shape == Step::Mask) {
        const QImage &grey = job.masks.at(index);
        for (int y = 0; y < height; ++y)
            std::memcpy(mask.data() + size_t(y) * size_t(width), grey.constScanLine(y), size_t(width));
        return mask;
    }
    const QRect &r = step.rect;
    // Only the rows and columns of the image that the rectangle can reach; in
    // 64 bits, as X + W may overflow an int.
    const qint64 top = qMax<qint64>(r.y(), 0), bottom = qMin<qint64>(qint64(r.y()) + r.height(), height);
    const qint64 left = qMax<qint64>(r.x(), 0), right = qMin<qint64>(qint64(r.x()) + r.width(), width);
    const double cx = r.x() + r.width() / 2.0, cy = r.y() + r.height() / 2.0;
    const double a = r.width() / 2.0, b = r.height() / 2.0;
    for (qint64 y = top; y < bottom; ++y) {
        unsigned char *row = mask.data() + size_t(y) * size_t(width);
        for (qint64 x = left; x < right; ++x) {
            if (step.shape == Step::Ellipse) {
                const double u = (x + 0.5 - cx) / a, v = (y + 0.5 - cy) / b;
                if (u * u + v * v > 1.0)
                    continue;
            }
            row[x] = 255;
        }
    }
    return mask;
}

const char *modeName(int mode)
{
    switch (mode) {
    case VellCombineMode::Add: return "add";
    case VellCombineMode::Subtract: return "subtract";
    case VellCombineMode::Intersect: return "intersect";
    default: return "replace";
    }
}

// Runs the steps through addMask, inverts when asked, measures the result.
bool work(SelectJob *job)
{
    VellSelection *selection = job->selection;
    for (int i = 0; i < job->steps.size(); ++i) {
        const Step &step = job->steps.at(i);
        selection->combineMode = step.mode;
        if (step.shape == Step::Polygon) {
            auto path = std::make_unique<VellSelectionPath>();
            for (const QPointF &point : step.points)
                path->addPoint(point);
            selection->addPath(path.get(), 0.0f);
            job->paths.push_back(std::move(path));
            vellProgress(QStringLiteral("step %1/%2: %3 %4").arg(i + 1).arg(job->steps.size())
                             .arg(QLatin1String(modeName(step.mode)), step.argument));
            continue;
        }
        std::vector<unsigned char> mask;
        if (step.shape == Step::Grow) {
            // From the colour of IN at the seed, over IN's own pixels.
            mask.assign(size_t(job->width) * size_t(job->height), 0);
            const VellLayerBase *layer = job->document->getLayerManager()->getLayer(0);
            const QPoint seed = step.points.first().toPoint();
            if (VellAlgorithmGrow::grow(layer->getPictureHost(), mask.data(), step.tolerance,
                                        seed.x(), seed.y()).isNull()) {
                vellError(QStringLiteral("%1: the seed is outside the %2x%3 image")
                              .arg(step.argument).arg(job->width).arg(job->height));
                return false;
            }
        } else {
            mask = stepMask(*job, i);
        }
        if (!selection->addMask(mask.data(), job->width, job->height, 0, 0)) {
            vellError(QStringLiteral("%1: the selection refused the mask").arg(step.argument));
            return false;
        }
        vellProgress(QStringLiteral("step %1/%2: %3 %4").arg(i + 1).arg(job->steps.size())
                         .arg(QLatin1String(modeName(step.mode)), step.argument));
    }
    if (job->feather > 0.0f)
        selection->feather(job->feather);
    if (job->invert)
        selection->inverse();
    // The box and counts of the final coverage (addMask measures before its
    // median smoothing).
    selection->calcBoundBox(QRect(QPoint(0, 0), QPoint(job->height - 1, job->width - 1)));

    QImage image(job->width, job->height, QImage::Format_Grayscale8);
    if (image.isNull()) {
        vellError(QStringLiteral("no memory for a %1 x %2 image").arg(job->width).arg(job->height));
        return false;
    }
    const unsigned char *bits = selection->getMask();
    const size_t stride = size_t(selection->getPaddedWidth());
    for (int y = 0; y < job->height; ++y)
        std::memcpy(image.scanLine(y), bits + size_t(y) * stride, size_t(job->width));
    job->result = image;
    return true;
}

void report(const SelectJob &job)
{
    const VellSelection *selection = job.selection;
    const QRectF box = selection->getRawBoundBox();
    if (selection->getPositiveCount() == 0) {
        vellNote(QStringLiteral("nothing selected"));
    } else {
        vellNote(QStringLiteral("box: %1,%2 %3x%4").arg(box.x()).arg(box.y()).arg(box.width()).arg(box.height()));
        vellNote(QStringLiteral("selected: %1 (%2 at least half)")
                     .arg(vellCount(selection->getPositiveCount(), "pixel"))
                     .arg(selection->getVisibleCount()));
    }
    vellNote(QStringLiteral("wrote %1 (%2 x %3)").arg(job.outputPath).arg(job.width).arg(job.height));
}

} // namespace

int vellSelectCommand(VellHost &host, const QStringList &args)
{
    SelectJob job;   // the document goes before the host
    const int parsed = parse(args, &job);
    if (parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);   // the selection works on the CPU
    QStringList inputs{job.inputPath};
    for (const Step &step : job.steps)
        if (step.shape == Step::Mask)
            inputs << step.path;
    if (!vellCheckImageSuffix(job.outputPath)
        || !vellCheckOutputOptions(job.options.output, vellImageFormat(job.outputPath))
        || !host.setImageLimit(job.options.maxSize) || vellOutputIsInput(job.outputPath, inputs))
        return ExitUsage;

    QElapsedTimer timer;
    timer.start();
    if (!build(&job) || !work(&job) || !vellWriteImageFile(job.outputPath, job.result, job.options.output))
        return ExitFailure;
    report(job);
    vellNote(QStringLiteral("%1 ms").arg(timer.elapsed()));
    return ExitOk;
}
