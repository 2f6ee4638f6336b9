// vell batch: batch-action files (vba) built step by step, listed, and
// replayed over a folder of images, in several processes at once and in
// slices for schedulers that fan a folder out over machines.
#include "vellcommandline.h"
#include "vellhost.h"

#include "canvas/vellcanvas.h"
#include "document/velllayer.h"
#include "document/velltextlayer.h"
#include "foundation/vellcodes.h"
#include "foundation/vellmessagebox.h"
#include "picture/vellpicturehost.h"
#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionlogo.h"
#include "presets/vellbatchactionrecord.h"
#include "presets/vellbatchactionresize.h"
#include "presets/vellbatchactionrotation.h"
#include "presets/vellbatchactiontext.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

int vellBatchCommand(VellHost &host, const QStringList &args);
bool vellLoadBatchFile(VellBatchActionRecord *record, const QString &path);
bool vellWriteBatchFile(VellAtomicFile *file, VellBatchActionRecord *record);

// filtercommand.cpp
struct VellFilterSetup
{
    int channels = VellChannelBits::All;
    QString maskPath;
    VellBatchActionRecord *record = nullptr;
    std::function<bool(VellToolBase *tool)> setParameters;
};
std::unique_ptr<VellPictureHost> vellFilterPicture(VellCanvas *canvas, VellToolBase *tool,
                                                   std::unique_ptr<VellPictureHost> picture,
                                                   const VellFilterSetup &setup, const QString &name);
void vellLoadTools(QStringList *looked);

namespace {

const char *const kBatchUsage =
    "Usage: vell batch add FILE.vba STEP [PLACEMENT ...]\n"
    "       vell batch list FILE.vba\n"
    "       vell batch run FILE.vba INDIR OUTDIR [--overwrite] [--jobs N] [--shard K/N]\n"
    "\n"
    "A batch-action file (vba) holds steps that vell batch run replays, in order,\n"
    "on every image of a folder. Filter steps are recorded with\n"
    "'vell filter IN OUT --tool ID ... --record FILE.vba'; the other steps are\n"
    "added with vell batch add, which makes FILE.vba when it is missing.\n"
    "\n"
    "Steps of vell batch add (one per call):\n"
    "  --resize MODE A B  resize; MODE 0: to exactly A x B pixels; MODE 1: to\n"
    "                     A % of the width and B % of the height (each side\n"
    "                     truncated); MODE 2: to fit inside A x B pixels, keeping\n"
    "                     the aspect ratio (each side rounded, at least 1)\n"
    "  --rotate DEGREES   a quarter or half turn: 90 (counter-clockwise), -90\n"
    "                     (clockwise) or 180\n"
    "  --logo IMAGE       stamps IMAGE (stored in the file) over the picture\n"
    "  --text STRING      stamps STRING as a text layer draws it; --font\n"
    "                     FAMILY,PT (default 10 pt of the system's font) and\n"
    "                     --color #RRGGBB (default black)\n"
    "Placement of --logo and --text:\n"
    "  --at X,Y           the stamp's corner X pixels from the left edge and Y\n"
    "                     from the top edge (default 0,0)\n"
    "  --from-right       X counts from the right edge to the stamp's right side\n"
    "  --from-bottom      Y counts from the bottom edge to the stamp's bottom\n"
    "  --factor F         scales the logo or the text by F (default 1; above 0)\n"
    "\n"
    "vell batch list prints the steps, one a line.\n"
    "\n"
    "vell batch run writes each image of INDIR (its files that Qt reads, sorted\n"
    "by name) to OUTDIR under the same base name and format (PNG where Qt\n"
    "writes no such format), and prints one line per image: \"NAME: ok (N ms)\"\n"
    "or \"NAME: failed: REASON\". Images are opened as by vell filter (converted\n"
    "to sRGB); a step that cannot be replayed (an unknown filter, a logo that\n"
    "cannot be read, an empty text) is reported before any image.\n"
    "  --overwrite        replace files that exist in OUTDIR (default: such an\n"
    "                     image fails and its file is left as it is)\n"
    "  --jobs N           process N images at once, each in a vell process of\n"
    "                     its own (default: the number of cores)\n"
    "  --shard K/N        process only slice K (1 to N) of N: the images whose\n"
    "                     place in the sorted list, counted from 0, leaves K - 1\n"
    "                     when divided by N. N runs with K = 1 .. N together\n"
    "                     process every image once, e.g. one per machine.\n"
    "OUTDIR is made when missing and must differ from INDIR; inputs are never\n"
    "written. Exit status 1 when any image failed.";

// --- files ---

// Box messages of the library (a newer file's version) go to standard error.
class MessagesToStandardError
{
public:
    MessagesToStandardError()
        : previous(VellMessageBox::setPresenter([](const VellMessageBox::Message &m) {
              vellError(QStringLiteral("%1: %2").arg(m.title, m.text));
              return m.defaultButton != QMessageBox::NoButton ? m.defaultButton : QMessageBox::Ok;
          }))
    {
    }
    ~MessagesToStandardError() { VellMessageBox::setPresenter(previous); }

private:
    VellMessageBox::Presenter previous;
};

QString stepText(const VellBatchAction *action)
{
    switch (action->getType()) {
    case VellBatchAction::Filter: {
        auto *filter = static_cast<const VellBatchActionFilter *>(action);
        return QStringLiteral("filter %1%2 (%3)")
            .arg(filter->getToolId(), filter->getName().isEmpty() ? QString() : QStringLiteral(" \"%1\"").arg(filter->getName()),
                 vellCount(filter->getParams()->size(), "parameter byte"));
    }
    case VellBatchAction::Resize: {
        auto *resize = static_cast<const VellBatchActionResize *>(action);
        int a = 0, b = 0;
        resize->getParam(a, b);
        switch (resize->getResizeMode()) {
        case 0: return QStringLiteral("resize to %1 x %2 pixels").arg(a).arg(b);
        case 1: return QStringLiteral("resize to %1 % x %2 %").arg(a).arg(b);
        case 2: return QStringLiteral("resize to fit inside %1 x %2 pixels").arg(a).arg(b);
        default: return QStringLiteral("resize of unknown mode %1 (%2, %3)").arg(resize->getResizeMode()).arg(a).arg(b);
        }
    }
    case VellBatchAction::Rotation: {
        const int degrees = static_cast<const VellBatchActionRotation *>(action)->getRotation();
        return QStringLiteral("rotate %1%2").arg(degrees).arg(
            degrees == 90 ? QStringLiteral(" (counter-clockwise)") : degrees == -90 ? QStringLiteral(" (clockwise)") : QString());
    }
    default:
        break;
    }
    auto *stamp = static_cast<const VellBatchActionLogoBase *>(action);
    const QString place = QStringLiteral("at %1,%2 from the %3 and %4, factor %5")
                              .arg(stamp->getPosition().x())
                              .arg(stamp->getPosition().y())
                              .arg(stamp->getHorizontalAlignment() & Qt::AlignRight ? QStringLiteral("right")
                                   : stamp->getHorizontalAlignment() & Qt::AlignHCenter ? QStringLiteral("centre")
                                                                                        : QStringLiteral("left"))
                              .arg(stamp->getVerticalAlignment() & Qt::AlignBottom ? QStringLiteral("bottom")
                                   : stamp->getVerticalAlignment() & Qt::AlignVCenter ? QStringLiteral("centre")
                                                                                      : QStringLiteral("top"))
                              .arg(double(stamp->getFactor()));
    if (action->getType() == VellBatchAction::Logo) {
        const QImage logo = static_cast<const VellBatchActionLogo *>(action)->getImage();
        return QStringLiteral("logo %1 x %2 %3").arg(logo.width()).arg(logo.height()).arg(place);
    }
    auto *text = static_cast<const VellBatchActionText *>(action);
    return QStringLiteral("text \"%1\" in %2 %3 pt, %4, %5")
        .arg(text->getText(), text->getFont().family())
        .arg(text->getFont().pointSizeF())
        .arg(text->getColor().isValid() ? text->getColor().name() : QStringLiteral("black"), place);
}

// --- add ---

struct AddJob
{
    QString path;
    std::unique_ptr<VellBatchAction, void (*)(VellBatchAction *)> step{nullptr, VellBatchAction::destroy};
    QString logoPath;
    QString font;   // FAMILY,PT; applied once the application exists
    QPoint at;
    bool fromRight = false, fromBottom = false;
    double factor = 1.0;
    bool placed = false;   // a placement option was given
};

bool parseInt(const QString &text, int *value)
{
    bool ok = false;
    *value = text.toInt(&ok);
    return ok;
}

bool parsePoint(const QString &text, QPoint *point)
{
    const QStringList parts = text.split(QLatin1Char(','));
    int x = 0, y = 0;
    if (parts.size() != 2 || !parseInt(parts.at(0).trimmed(), &x) || !parseInt(parts.at(1).trimmed(), &y))
        return false;
    *point = QPoint(x, y);
    return true;
}

int parseAdd(const QStringList &args, AddJob *job)
{
    auto setStep = [job](VellBatchAction *step) {
        if (job->step) {
            VellBatchAction::destroy(step);
            return false;
        }
        job->step.reset(step);
        return true;
    };
    QString colour;
    QString &font = job->font;
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        auto need = [&](int count) {
            if (i + count < args.size())
                return true;
            vellUsageError(QStringLiteral("%1 needs %2").arg(arg, vellCount(count, "value")));
            return false;
        };
        if (arg == QLatin1String("--resize")) {
            if (!need(3))
                return ExitUsage;
            int mode = 0, a = 0, b = 0;
            if (!parseInt(args.at(i + 1), &mode) || mode < 0 || mode > 2 || !parseInt(args.at(i + 2), &a)
                || !parseInt(args.at(i + 3), &b) || a <= 0 || b <= 0)
                return vellUsageError(QStringLiteral("bad --resize %1 %2 %3 (MODE 0, 1 or 2, then two whole numbers above 0)")
                                      .arg(args.at(i + 1), args.at(i + 2), args.at(i + 3)));
            auto *resize = new VellBatchActionResize;
            resize->setName(QStringLiteral("Resize"));
            resize->setResizeMode(mode);
            resize->setParam(a, b);
            if (!setStep(resize))
                return vellUsageError(QStringLiteral("one step per vell batch add"));
            i += 3;
        } else if (arg == QLatin1String("--rotate")) {
            if (!need(1))
                return ExitUsage;
            int degrees = 0;
            if (!parseInt(args.at(i + 1), &degrees) || (degrees != 90 && degrees != -90 && degrees != 180))
                return vellUsageError(QStringLiteral("bad --rotate %1 (90, -90 or 180)").arg(args.at(i + 1)));
            auto *rotation = new VellBatchActionRotation;
            rotation->setName(QStringLiteral("Rotate"));
            rotation->setRotation(degrees);
            if (!setStep(rotation))
                return vellUsageError(QStringLiteral("one step per vell batch add"));
            ++i;
        } else if (arg == QLatin1String("--logo") || arg == QLatin1String("--text")) {
            if (!need(1))
                return ExitUsage;
            VellBatchActionLogoBase *stamp = nullptr;
            if (arg == QLatin1String("--logo")) {
                job->logoPath = args.at(i + 1);
                stamp = new VellBatchActionLogo;
                stamp->setName(QStringLiteral("Logo"));
            } else {
                auto *text = new VellBatchActionText;
                text->setName(QStringLiteral("Text"));
                text->setText(args.at(i + 1));
                stamp = text;
            }
            if (!setStep(stamp))
                return vellUsageError(QStringLiteral("one step per vell batch add"));
            ++i;
        } else if (arg == QLatin1String("--font") || arg == QLatin1String("--color") || arg == QLatin1String("--at")
                   || arg == QLatin1String("--factor")) {
            if (!need(1))
                return ExitUsage;
            const QString value = args.at(++i);
            job->placed = true;
            if (arg == QLatin1String("--font")) {
                font = value;
            } else if (arg == QLatin1String("--color")) {
                colour = value;
            } else if (arg == QLatin1String("--at")) {
                if (!parsePoint(value, &job->at))
                    return vellUsageError(QStringLiteral("bad --at '%1' (X,Y in whole pixels)").arg(value));
            } else {
                bool ok = false;
                job->factor = value.toDouble(&ok);
                if (!ok || !std::isfinite(job->factor) || job->factor <= 0 || job->factor > 1000)
                    return vellUsageError(QStringLiteral("bad --factor '%1' (a number above 0, at most 1000)").arg(value));
            }
        } else if (arg == QLatin1String("--from-right")) {
            job->fromRight = job->placed = true;
        } else if (arg == QLatin1String("--from-bottom")) {
            job->fromBottom = job->placed = true;
        } else if (arg.startsWith(QLatin1String("--"))) {
            return vellUsageError(QStringLiteral("unknown option '%1' (try 'vell batch --help')").arg(arg));
        } else if (job->path.isEmpty()) {
            job->path = arg;
        } else {
            return vellUsageError(QStringLiteral("batch add takes one FILE.vba (got '%1' too)").arg(arg));
        }
    }
    if (job->path.isEmpty())
        return vellUsageError(QStringLiteral("batch add needs FILE.vba"));
    if (!job->step)
        return vellUsageError(QStringLiteral("batch add needs a step: --resize, --rotate, --logo or --text"));
    const int type = job->step->getType();
    const bool stamp = type == VellBatchAction::Logo || type == VellBatchAction::Text;
    if (job->placed && !stamp)
        return vellUsageError(QStringLiteral("--at, --from-right, --from-bottom, --factor, --font and --color "
                                             "place --logo and --text steps only"));
    if ((!font.isEmpty() || !colour.isEmpty()) && type != VellBatchAction::Text)
        return vellUsageError(QStringLiteral("--font and --color belong to --text"));
    if (stamp) {
        auto *base = static_cast<VellBatchActionLogoBase *>(job->step.get());
        base->setPosition(job->at);
        base->setAccordingToLeft(!job->fromRight);
        base->setAccordingToTop(!job->fromBottom);
        base->setFactor(float(job->factor));
    }
    if (type == VellBatchAction::Text) {
        auto *text = static_cast<VellBatchActionText *>(job->step.get());
        if (!colour.isEmpty()) {
            const QColor parsed(colour);
            if (!colour.startsWith(QLatin1Char('#')) || colour.size() != 7 || !parsed.isValid())
                return vellUsageError(QStringLiteral("bad --color '%1' (#RRGGBB)").arg(colour));
            text->setColor(parsed);
        }
    }
    return kProceed;
}

// --- run ---

// What a run does with each step, worked out once before any image.
struct Step
{
    const VellBatchAction *action = nullptr;   // owned by the record
    VellToolBase *tool = nullptr;              // a filter step's tool
};

struct RunJob
{
    QString path, inputFolder, outputFolder;
    bool overwrite = false;
    int jobs = 0;                 // 0: the number of cores
    int shard = 1, shards = 1;    // --shard K/N
    int slice = 1, slices = 1;    // the share of one of the processes --jobs starts
};

bool parseFraction(const QString &text, int *k, int *n)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    return parts.size() == 2 && parseInt(parts.at(0), k) && parseInt(parts.at(1), n) && *n >= 1 && *k >= 1 && *k <= *n;
}

int parseRun(const QStringList &args, RunJob *job)
{
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        if (arg == QLatin1String("--overwrite")) {
            job->overwrite = true;
        } else if (arg == QLatin1String("--jobs") || arg == QLatin1String("--shard") || arg == QLatin1String("--slice")) {
            if (i + 1 >= args.size())
                return vellUsageError(QStringLiteral("%1 needs a value").arg(arg));
            const QString value = args.at(++i);
            if (arg == QLatin1String("--jobs")) {
                if (!parseInt(value, &job->jobs) || job->jobs < 1 || job->jobs > 256)
                    return vellUsageError(QStringLiteral("bad --jobs '%1' (1 to 256)").arg(value));
            } else if (!parseFraction(value, arg == QLatin1String("--shard") ? &job->shard : &job->slice,
                                      arg == QLatin1String("--shard") ? &job->shards : &job->slices)) {
                return vellUsageError(QStringLiteral("bad %1 '%2' (K/N with 1 <= K <= N)").arg(arg, value));
            }
        } else if (arg.startsWith(QLatin1String("--"))) {
            return vellUsageError(QStringLiteral("unknown option '%1' (try 'vell batch --help')").arg(arg));
        } else {
            positional << arg;
        }
    }
    if (positional.size() != 3)
        return vellUsageError(QStringLiteral("batch run needs FILE.vba INDIR OUTDIR (got %1)")
                              .arg(vellCount(positional.size(), "argument")));
    job->path = positional.at(0);
    job->inputFolder = positional.at(1);
    job->outputFolder = positional.at(2);
    return kProceed;
}

// The images of the folder this process handles: every file Qt can read by
// its suffix, sorted by name, then this shard's and this slice's share.
QStringList inputImages(const RunJob &job)
{
    QStringList formats;
    for (const QByteArray &format : QImageReader::supportedImageFormats())
        formats << QString::fromLatin1(format).toLower();
    const QStringList files = QDir(job.inputFolder).entryList(QDir::Files, QDir::Name);
    QStringList images;
    for (const QString &file : files)
        if (formats.contains(QFileInfo(file).suffix().toLower()))
            images << file;
    QStringList mine;
    for (int i = 0, kept = 0; i < images.size(); ++i) {
        if (i % job.shards != job.shard - 1)
            continue;
        if (kept++ % job.slices == job.slice - 1)
            mine << images.at(i);
    }
    return mine;
}

// Steps that cannot be replayed are reported (all of them) before any image.
bool planSteps(const RunJob &job, VellBatchActionRecord *record, QVector<Step> *steps, bool needTools)
{
    QStringList looked;
    bool toolsLoaded = false, ok = true;
    const QList<VellBatchAction *> &actions = *record->getActionList();
    for (int i = 0; i < actions.size(); ++i) {
        Step step;
        step.action = actions.at(i);
        const QString where = QStringLiteral("%1: step %2 (%3)").arg(job.path).arg(i + 1).arg(stepText(step.action));
        switch (step.action->getType()) {
        case VellBatchAction::Filter: {
            if (!toolsLoaded) {
                vellLoadTools(&looked);
                toolsLoaded = true;
            }
            const QString id = static_cast<const VellBatchActionFilter *>(step.action)->getToolId();
            step.tool = qobject_cast<VellToolBase *>(VellToolManager::getInstance()->getTool(QStringLiteral("Filter"), id));
            if (!step.tool && needTools) {
                vellError(QStringLiteral("%1: no filter '%2' (vell tools lists those in %3)")
                              .arg(where, id, looked.join(QStringLiteral(", "))));
                ok = false;
            }
            break;
        }
        case VellBatchAction::Resize: {
            auto *resize = static_cast<const VellBatchActionResize *>(step.action);
            int a = 0, b = 0;
            resize->getParam(a, b);
            if (resize->getResizeMode() < 0 || resize->getResizeMode() > 2 || a <= 0 || b <= 0) {
                vellError(QStringLiteral("%1: vell replays resize modes 0, 1 and 2 with sizes above 0").arg(where));
                ok = false;
            }
            break;
        }
        case VellBatchAction::Rotation: {
            const int degrees = static_cast<const VellBatchActionRotation *>(step.action)->getRotation();
            if (degrees != 90 && degrees != -90 && degrees != 180) {
                vellError(QStringLiteral("%1: vell replays turns of 90, -90 and 180 degrees").arg(where));
                ok = false;
            }
            break;
        }
        case VellBatchAction::Logo: {
            auto *logo = static_cast<const VellBatchActionLogo *>(step.action);
            if (logo->getImage().isNull() || !std::isfinite(logo->getFactor()) || logo->getFactor() <= 0) {
                vellError(QStringLiteral("%1: the logo image cannot be read").arg(where));
                ok = false;
            }
            break;
        }
        default: {
            auto *text = static_cast<const VellBatchActionText *>(step.action);
            if (text->getText().trimmed().isEmpty() || !std::isfinite(text->getFactor()) || text->getFactor() <= 0) {
                vellError(QStringLiteral("%1: a text step needs some text and a factor above 0").arg(where));
                ok = false;
            }
            break;
        }
        }
        steps->append(step);
    }
    return ok;
}

// `stamp` over `image` at the step's place: X from the left or right edge
// (or from the centre), Y from the top or bottom edge (or the centre), the
// stamp scaled by `factor` (smoothly).
void stampImage(QImage *image, const QImage &stamp, const VellBatchActionLogoBase *place, double factor)
{
    const QSize size(std::max(1, int(std::lround(stamp.width() * factor))),
                     std::max(1, int(std::lround(stamp.height() * factor))));
    const QPoint at = place->getPosition();
    const int h = place->getHorizontalAlignment(), v = place->getVerticalAlignment();
    const int x = h & Qt::AlignRight     ? image->width() - at.x() - size.width()
                  : h & Qt::AlignHCenter ? (image->width() - size.width()) / 2 + at.x()
                                         : at.x();
    const int y = v & Qt::AlignBottom    ? image->height() - at.y() - size.height()
                  : v & Qt::AlignVCenter ? (image->height() - size.height()) / 2 + at.y()
                                         : at.y();
    QPainter painter(image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRect(QPoint(x, y), size), stamp);
}

// A text step's text as a text layer renders it (in the step's font and
// colour, black when it has none, stretched by its factor).
QImage renderStampText(const VellBatchActionText *step)
{
    VellTextLayer text(QStringLiteral("stamp"));
    text.setFont(step->getFont());
    text.setColor(step->getColor().isValid() ? step->getColor() : QColor(Qt::black));
    text.setTextScale(QSizeF(double(step->getFactor()), double(step->getFactor())));
    text.setText(step->getText());
    return text.renderText(false, 1.0f);
}

// One geometry step on a lone layer, as vell transform runs it.
std::unique_ptr<VellPictureHost> transformPicture(VellCanvas *canvas, std::unique_ptr<VellPictureHost> picture,
                                                  const VellBatchAction *action, const QString &name, QString *reason)
{
    canvas->makeCurrent();
    VellLayer layer(name);
    const double width = picture->getWidth(), height = picture->getHeight();
    layer.setVellPictureHost(picture.release());
    if (action->getType() == VellBatchAction::Rotation) {
        layer.rotate(static_cast<const VellBatchActionRotation *>(action)->getRotation());
    } else {
        auto *resize = static_cast<const VellBatchActionResize *>(action);
        int a = 0, b = 0;
        resize->getParam(a, b);
        switch (resize->getResizeMode()) {
        case 1:
            layer.resize(a / 100.0, b / 100.0);
            break;
        case 2: {
            const double scale = std::min(a / width, b / height);
            const double w = std::max(1.0, std::round(width * scale)), h = std::max(1.0, std::round(height * scale));
            // resize() truncates, so half a pixel more lands on the size.
            layer.resize((w + 0.5) / width, (h + 0.5) / height);
            break;
        }
        default:
            layer.resize((a + 0.5) / width, (b + 0.5) / height);
            break;
        }
    }
    if (!layer.getGeometryError().isEmpty()) {
        *reason = layer.getGeometryError();
        return nullptr;
    }
    return layer.takePictureHost();
}

// Where an input's result goes: its base name, its format when Qt writes
// it, else PNG.
QString outputPath(const RunJob &job, const QString &file)
{
    const QFileInfo info(file);
    const QByteArray suffix = info.suffix().toLower().toLatin1();
    const QString kept = QImageWriter::supportedImageFormats().contains(suffix) ? info.suffix() : QStringLiteral("png");
    return QDir(job.outputFolder).filePath(info.completeBaseName() + QLatin1Char('.') + kept);
}

// Replays every step on one image and writes the result. False with the
// reason for the image's line (the details printed before it).
bool processImage(VellCanvas *canvas, const RunJob &job, const QVector<Step> &steps, VellBatchActionRecord *replaying,
                  const QString &file, QString *reason)
{
    const QString in = QDir(job.inputFolder).filePath(file), out = outputPath(job, file);
    if (!job.overwrite && QFileInfo::exists(out)) {
        *reason = QStringLiteral("%1 exists (--overwrite replaces it)").arg(out);
        return false;
    }
    QByteArray iccProfile;
    VellPictureHost *read = vellReadImageHost(in, false, nullptr, &iccProfile);
    if (read && !vellColourStep(&read, in, iccProfile, QString())) {
        delete read;
        read = nullptr;
    }
    std::unique_ptr<VellPictureHost> picture(read);
    if (!picture) {
        *reason = QStringLiteral("cannot read the image");
        return false;
    }
    for (int i = 0; i < steps.size(); ++i) {
        const VellBatchAction *action = steps.at(i).action;
        switch (action->getType()) {
        case VellBatchAction::Filter: {
            const QByteArray params = *static_cast<const VellBatchActionFilter *>(action)->getParams();
            VellFilterSetup setup;
            setup.record = replaying;
            setup.setParameters = [&params](VellToolBase *tool) {
                QDataStream stream(params);
                stream.setVersion(QDataStream::Qt_4_8);
                tool->deserializeParams(stream);
                return true;
            };
            picture = vellFilterPicture(canvas, steps.at(i).tool, std::move(picture), setup, file);
            break;
        }
        case VellBatchAction::Resize:
        case VellBatchAction::Rotation:
            picture = transformPicture(canvas, std::move(picture), action, file, reason);
            break;
        default: {
            QImage image = vellHostToImage(picture.get());
            auto *place = static_cast<const VellBatchActionLogoBase *>(action);
            const QImage stamp = action->getType() == VellBatchAction::Logo
                                     ? static_cast<const VellBatchActionLogo *>(action)->getImage()
                                     : renderStampText(static_cast<const VellBatchActionText *>(action));
            if (!image.isNull() && !stamp.isNull()) {
                // A text layer's rendering already holds the factor.
                stampImage(&image, stamp, place,
                           action->getType() == VellBatchAction::Logo ? double(place->getFactor()) : 1.0);
                picture.reset(vellImageToHost(image, false));
            } else {
                picture.reset();
            }
            break;
        }
        }
        if (!picture) {
            if (reason->isEmpty())
                *reason = QStringLiteral("step %1 (%2) failed").arg(i + 1).arg(stepText(action));
            else
                *reason = QStringLiteral("step %1: %2").arg(i + 1).arg(*reason);
            return false;
        }
    }
    const QImage result = vellHostToImage(picture.get());
    if (result.isNull()) {
        *reason = QStringLiteral("no memory for the result");
        return false;
    }
    if (!vellWriteImageFile(out, vellOutputImage(result, vellImageFormat(out), VellOutputOptions()))) {
        *reason = QStringLiteral("cannot write %1").arg(out);
        return false;
    }
    return true;
}

// --jobs N: N vell processes, each with its own GL context, each given one
// slice of this process's images; their lines are passed on as they come.
int runProcesses(const RunJob &job, int processes, int total)
{
    std::vector<std::unique_ptr<QProcess>> children;
    int done = 0, failed = 0;
    for (int i = 1; i <= processes; ++i) {
        QStringList arguments{QStringLiteral("batch"), QStringLiteral("run"), job.path, job.inputFolder,
                              job.outputFolder, QStringLiteral("--jobs"), QStringLiteral("1"),
                              QStringLiteral("--shard"), QStringLiteral("%1/%2").arg(job.shard).arg(job.shards),
                              QStringLiteral("--slice"), QStringLiteral("%1/%2").arg(i).arg(processes)};
        if (job.overwrite)
            arguments << QStringLiteral("--overwrite");
        auto child = std::make_unique<QProcess>();
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QProcess *raw = child.get();
        QObject::connect(raw, &QProcess::readyReadStandardOutput, [raw, &done, &failed, total] {
            while (raw->canReadLine()) {
                const QString line = QString::fromUtf8(raw->readLine()).trimmed();
                vellPrint(line);
                ++done;
                if (line.contains(QLatin1String(": failed: ")))
                    ++failed;
                vellProgress(QStringLiteral("[%1/%2] %3").arg(done).arg(total).arg(line));
            }
        });
        child->start(QCoreApplication::applicationFilePath(), arguments);
        children.push_back(std::move(child));
    }
    bool allOk = true;
    for (auto &child : children) {
        // waitForFinished() is false for a process that has already ended.
        if (child->state() != QProcess::NotRunning)
            child->waitForFinished(-1);
        if (child->error() == QProcess::FailedToStart || child->exitStatus() != QProcess::NormalExit
            || child->exitCode() != 0)
            allOk = false;
        // Lines still buffered when the process ended.
        QCoreApplication::processEvents();
    }
    if (done < total)
        vellError(QStringLiteral("%1 of %2 images were not processed (a vell process ended early)").arg(total - done).arg(total));
    return allOk && failed == 0 && done == total ? ExitOk : ExitFailure;
}

int runCommand(VellHost &host, const QStringList &args)
{
    RunJob job;
    if (const int parsed = parseRun(args, &job); parsed != kProceed)
        return parsed;
    if (!vellInputExists(job.path))
        return ExitFailure;
    const QFileInfo inputInfo(job.inputFolder);
    if (!inputInfo.isDir()) {
        vellError(QStringLiteral("no such folder: %1").arg(job.inputFolder));
        return ExitFailure;
    }
    const QFileInfo outputInfo(job.outputFolder);
    const QString inputCanonical = inputInfo.canonicalFilePath();
    if ((outputInfo.exists() && outputInfo.canonicalFilePath() == inputCanonical)
        || QDir::cleanPath(outputInfo.absoluteFilePath()) == QDir::cleanPath(inputInfo.absoluteFilePath()))
        return vellUsageError(QStringLiteral("output folder must differ from the input folder"));
    if (outputInfo.exists() && !outputInfo.isDir()) {
        vellError(QStringLiteral("%1 is not a folder").arg(job.outputFolder));
        return ExitFailure;
    }

    // With --jobs above 1 this process only checks and starts the others,
    // so it needs no GL context.
    const int asked = job.jobs > 0 ? job.jobs : std::max(1, QThread::idealThreadCount());
    host.setUp(asked > 1 ? VellHost::Headless : VellHost::Gl);
    const QStringList images = inputImages(job);
    MessagesToStandardError messages;
    VellBatchActionRecord record;
    if (!vellLoadBatchFile(&record, job.path))
        return ExitFailure;
    QVector<Step> steps;
    if (!planSteps(job, &record, &steps, true))
        return ExitFailure;
    if (!QDir().mkpath(job.outputFolder)) {
        vellError(QStringLiteral("cannot make the folder %1").arg(job.outputFolder));
        return ExitFailure;
    }
    if (images.isEmpty()) {
        vellNote(QStringLiteral("no images to process in %1").arg(job.inputFolder));
        return ExitOk;
    }
    const int processes = std::min(asked, int(images.size()));
    if (asked > 1)
        return runProcesses(job, processes, images.size());

    VellCanvas *canvas = host.canvas();
    if (!canvas) {
        vellError(QStringLiteral("batch run needs a GL context: %1").arg(host.noGlReason()));
        return ExitFailure;
    }
    if (!host.setImageLimit(QSize()))
        return ExitUsage;
    // Replayed filters must not record themselves again.
    VellBatchActionRecord replaying;
    replaying.setMode(1);
    int failed = 0;
    for (int i = 0; i < images.size(); ++i) {
        QElapsedTimer clock;
        clock.start();
        QString reason;
        const bool ok = processImage(canvas, job, steps, &replaying, images.at(i), &reason);
        const QString line = ok ? QStringLiteral("%1: ok (%2 ms)").arg(images.at(i)).arg(clock.elapsed())
                                : QStringLiteral("%1: failed: %2").arg(images.at(i), reason);
        vellPrint(line);
        if (!ok)
            ++failed;
        vellProgress(QStringLiteral("[%1/%2] %3").arg(i + 1).arg(images.size()).arg(line));
    }
    return failed ? ExitFailure : ExitOk;
}

int addCommand(VellHost &host, const QStringList &args)
{
    AddJob job;
    if (const int parsed = parseAdd(args, &job); parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);
    MessagesToStandardError messages;
    VellBatchActionRecord record;
    if (QFileInfo::exists(job.path) && !vellLoadBatchFile(&record, job.path))
        return ExitFailure;
    if (job.step->getType() == VellBatchAction::Logo) {
        const QImage logo = vellReadImage(job.logoPath);
        if (logo.isNull())
            return ExitFailure;
        static_cast<VellBatchActionLogo *>(job.step.get())->setImage(logo);
    }
    if (job.step->getType() == VellBatchAction::Text && !job.font.isEmpty()) {
        const int comma = job.font.lastIndexOf(QLatin1Char(','));
        bool ok = false;
        const double points = comma > 0 ? job.font.mid(comma + 1).toDouble(&ok) : 0.0;
        if (!ok || !std::isfinite(points) || points <= 0 || points > 1000)
            return vellUsageError(QStringLiteral("bad --font '%1' (FAMILY,PT)").arg(job.font));
        QFont font(job.font.left(comma).trimmed());
        font.setPointSizeF(points);
        static_cast<VellBatchActionText *>(job.step.get())->setFont(font);
    }
    const QString text = stepText(job.step.get());
    record.addAction(job.step.release());
    VellAtomicFile file(job.path);
    if (!file.open() || !vellWriteBatchFile(&file, &record) || !vellCommitAll({&file})) {
        file.reportError();
        return ExitFailure;
    }
    vellNote(QStringLiteral("added step %1 to %2: %3").arg(record.getActionList()->size()).arg(job.path, text));
    return ExitOk;
}

int listCommand(VellHost &host, const QStringList &args)
{
    if (args.size() != 1 || args.first().startsWith(QLatin1String("--")))
        return vellUsageError(QStringLiteral("batch list takes FILE.vba alone"));
    host.setUp(VellHost::Headless);
    MessagesToStandardError messages;
    VellBatchActionRecord record;
    if (!vellLoadBatchFile(&record, args.first()))
        return ExitFailure;
    const QList<VellBatchAction *> &actions = *record.getActionList();
    for (int i = 0; i < actions.size(); ++i)
        vellPrint(QStringLiteral("%1. %2").arg(i + 1).arg(stepText(actions.at(i))));
    if (actions.isEmpty())
        vellNote(QStringLiteral("%1 holds no steps").arg(args.first()));
    return ExitOk;
}

} // namespace

bool vellLoadBatchFile(VellBatchActionRecord *record, const QString &path)
{
    if (!vellInputExists(path))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return false;
    }
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_4_8);
    // A newer file is refused by the library, with its message.
    if (!record->load(in))
        return false;
    int problem = record->loadProblem();
    // Bytes after the last entry: not a file this writer made.
    if (!problem && !in.atEnd())
        problem = record->declaredCount() + 1;
    if (problem) {
        record->clear();
        vellError(QStringLiteral("%1: not a batch-action file or truncated (entry %2 of %3)")
                      .arg(path).arg(problem).arg(record->declaredCount()));
        return false;
    }
    return true;
}

bool vellWriteBatchFile(VellAtomicFile *file, VellBatchActionRecord *record)
{
    QDataStream out(file->device());
    out.setVersion(QDataStream::Qt_4_8);
    record->save(out);
    return out.status() == QDataStream::Ok || file->fail(QStringLiteral("the stream could not be written"));
}

int vellBatchCommand(VellHost &host, const QStringList &args)
{
    if (args.isEmpty() || vellWantsHelp(args)) {
        vellPrint(QString::fromLatin1(kBatchUsage));
        return args.isEmpty() ? ExitUsage : ExitOk;
    }
    const QString sub = args.first();
    const QStringList rest = args.mid(1);
    if (vellWantsHelp(rest)) {
        vellPrint(QString::fromLatin1(kBatchUsage));
        return ExitOk;
    }
    if (sub == QLatin1String("add"))
        return addCommand(host, rest);
    if (sub == QLatin1String("list"))
        return listCommand(host, rest);
    if (sub == QLatin1String("run"))
        return runCommand(host, rest);
    return vellUsageError(QStringLiteral("unknown batch command '%1' (add, list or run)").arg(sub));
}
