#include "vellcommandline.h"
#include "vellhost.h"

#include "foundation/vellconfig.h"
#include "foundation/velldatalocation.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/vellmemory.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellgpumanager.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"
#include "interchange/vellorareader.h"
#include "picture/vellpicturehost.h"

#include <QTextCursor>
#include <QTextDocument>

#include <memory>

namespace {

QString yesNo(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString kilobytes(unsigned int figure)
{
    return figure == VellGpuManager::kUnknownMemory ? QStringLiteral("unknown (-1)")
                                                    : QStringLiteral("%1 KiB").arg(figure);
}

void printFolders()
{
    const VellConfig *config = VellConfig::getInstance();
    vellPrint(QStringLiteral("Data folders"));
    vellPrint(QStringLiteral("  data location:      %1").arg(VellDataLocation::path()));
    vellPrint(QStringLiteral("  application data:   %1").arg(config->appDataPath));
    vellPrint(QStringLiteral("  settings:           %1").arg(config->settingsPath));
    vellPrint(QStringLiteral("  thumbnails:         %1").arg(config->thumbnailPath));
    vellPrint(QStringLiteral("  batch actions:      %1").arg(config->batchActionPath));
    vellPrint(QStringLiteral("  curves presets:     %1").arg(config->curvesPresetPath));
    vellPrint(QStringLiteral("  levels presets:     %1").arg(config->levelsPresetPath));
    vellPrint(QStringLiteral("  colour filters:     %1").arg(config->colorFilterPresetPath));
    vellPrint(QStringLiteral("  raw:                %1").arg(config->rawPath));
    vellPrint(QStringLiteral("  temporary files:    %1").arg(config->tempPath));
    const QString log = VellHost::logFile();
    vellPrint(QStringLiteral("  library log:        %1").arg(log.isEmpty() ? QStringLiteral("(none)") : log));
    vellPrint(QStringLiteral("  brushes, cursors:   %1, %2").arg(config->brushPath, config->cursorPath));
}

void printSettings(VellHost &host)
{
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    const VellConfig *config = VellConfig::getInstance();
    const VellMemory *memory = VellMemory::getInstance();
    vellPrint(QStringLiteral("Settings (%1)").arg(VellGlobalSettings::configFileName()));
    vellPrint(QStringLiteral("  style:              %1").arg(config->style));
    vellPrint(QStringLiteral("  image size limit:   %1 x %2 pixels, %3 Mpixels")
                  .arg(settings->imageLimitX).arg(settings->imageLimitY).arg(settings->imageLimitPixel));
    // What vell's own runs take instead (see VellHost::setImageLimit); after
    // the settings' line, since this replaces their limit for the run.
    if (host.setImageLimit(QSize()))
        vellPrint(QStringLiteral("  vell's runs take:   %1 on this path (--max-size WxH sets it)").arg(vellLimitText()));
    vellPrint(QStringLiteral("  histogram:          %1 samples, realtime %2")
                  .arg(settings->histogramSampleCount).arg(yesNo(settings->histogramRealtimeUpdate)));
    vellPrint(QStringLiteral("  animation:          move %1, zoom %2, damping %3")
                  .arg(yesNo(settings->moveAnimation), yesNo(settings->zoomAnimation))
                  .arg(settings->damping));
    vellPrint(QStringLiteral("  start:              tips %1, picture wall %2")
                  .arg(yesNo(settings->showTipsWhenStart), yesNo(settings->showPictureWallWhenStart)));
    vellPrint(QStringLiteral("  raw direct open:    %1, JPEG size estimate %2")
                  .arg(yesNo(settings->rawDirectlyOpen), yesNo(settings->jpgEstimateSize)));
    vellPrint(QStringLiteral("  colours:            foreground %1, background %2")
                  .arg(settings->foreground.name(), settings->background.name()));
    vellPrint(QStringLiteral("  recent files:       %1")
                  .arg(settings->recentFiles.isEmpty() ? QStringLiteral("(none)")
                                                       : settings->recentFiles.join(QStringLiteral(", "))));
    vellPrint(QStringLiteral("  memory budget:      %1 MiB (%2 bytes booked)")
                  .arg(memory->getLimit() / (1024 * 1024)).arg(memory->getUsed()));
    vellPrint(QStringLiteral("  history limits:     %1 full memos, chains of %2")
                  .arg(config->fullMemoLimit).arg(config->chainLimit));
}

// What the GPU manager learnt from the driver through the host's canvas;
// without a canvas there was nothing to ask.
void printGpu(const VellHost &host)
{
    vellPrint(QStringLiteral("GPU"));
    if (!host.canvas()) {
        vellPrint(QStringLiteral("  no GL context"));
        return;
    }
    const GLExtensionFunctions &gl = getGLExtensionFunctions();   // resolved for the canvas
    const VellGpuManager *gpu = VellGpuManager::getInstance();
    vellPrint(QStringLiteral("  vendor:             %1").arg(gpu->vendor));
    vellPrint(QStringLiteral("  renderer:           %1").arg(gpu->renderer));
    vellPrint(QStringLiteral("  GL version:         %1 (%2)").arg(gpu->version).arg(gpu->versionNumber));
    vellPrint(QStringLiteral("  GLSL version:       %1 (%2)")
                  .arg(gpu->glslVersion).arg(gpu->glslVersionNumber));
    vellPrint(QStringLiteral("  max texture size:   %1 x %2")
                  .arg(gpu->maxTextureWidth).arg(gpu->maxTextureHeight));
    vellPrint(QStringLiteral("  video memory:       free %1, total %2")
                  .arg(kilobytes(gpu->getAvailableMemory()), kilobytes(gpu->getTotalMemory())));
    vellPrint(QStringLiteral("  extension groups:   shader objects %1, framebuffer objects %2, OpenGL 1.5 %3")
                  .arg(yesNo(gl.glslSupported()), yesNo(gl.fboSupported()),
                       yesNo(gl.openGL15Supported())));
}

// A text layer's text on one line: line breaks shown as "\n", cut after
// 40 characters.
QString textExcerpt(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1String("\\n")).replace(QChar::ParagraphSeparator, QLatin1String("\\n"));
    return text.size() > 40 ? text.left(40) + QStringLiteral("...") : text;
}

// The font of a text layer's first character (the layer's own font is only
// the one for new text).
QFont firstFont(const VellTextLayer *text)
{
    QTextCursor cursor(text->getDocument());
    cursor.movePosition(QTextCursor::NextCharacter);
    return cursor.charFormat().font();
}

// An OpenRaster file: its size, its layers top first as our document holds
// them, and what reading it approximated. ExitFailure when it is refused.
int printOra(const QString &path)
{
    VellOraReader reader;
    std::unique_ptr<VellContext> document(reader.openFile(path) ? reader.readDocument() : nullptr);
    if (!document) {
        vellError(QStringLiteral("cannot read %1").arg(reader.errorString()));
        return ExitFailure;
    }
    const VellLayerManager *stack = document->getLayerManager();
    // Every value in one arg() call: a name holding "%1" stays as it is.
    const auto number = [](double value) { return QString::number(value, 'g', 6); };
    vellPrint(QStringLiteral("%1: OpenRaster, %2 x %3, %4 (top first)")
                  .arg(path, number(reader.imageSize().width()), number(reader.imageSize().height()),
                       vellCount(stack->getLayerCount(), "layer")));
    for (int i = stack->getLayerCount() - 1; i >= 0; --i) {
        const VellLayerBase *base = stack->getLayer(i);
        const QString look = QStringLiteral("%1, opacity %2")
                                 .arg(VellLayerBase::getBlendModeName(base->getBlendMode()), number(base->getAlpha()));
        const QString state = QStringLiteral("%1%2").arg(
            base->visible ? QString() : QStringLiteral(", hidden"),
            stack->currentActiveLayer() == base ? QStringLiteral(", active") : QString());
        const QString name = base->getLayerName();
        const QString x = number(base->getPosition().x()), y = number(base->getPosition().y());
        if (const auto *text = qobject_cast<const VellTextLayer *>(base)) {
            const QString turned = text->getDirection()
                ? QStringLiteral(", turned %1 degrees").arg(text->getDirection()) : QString();
            vellPrint(QStringLiteral("  \"%1\": text \"%2\", %3 %4 pt, at %5,%6%7, %8%9")
                          .arg(textExcerpt(name), textExcerpt(text->getText()), firstFont(text).family(),
                               number(firstFont(text).pointSizeF()), x, y, turned, look, state));
        } else if (const auto *layer = qobject_cast<const VellLayer *>(base)) {
            vellPrint(QStringLiteral("  \"%1\": %2 x %3 at %4,%5, %6%7%8%9")
                          .arg(name, number(layer->getWidth()), number(layer->getHeight()), x, y, look,
                               layer->getPictureHost()->getPixelWidth() == 8 ? QStringLiteral(", 16 bits") : QString(),
                               layer->hasLayerMask() ? QStringLiteral(", masked") : QString(), state));
        }
    }
    const QStringList warnings = reader.warnings();
    vellPrint(warnings.isEmpty() ? QStringLiteral("  read exactly") : QStringLiteral("  approximated:"));
    for (const QString &warning : warnings)
        vellPrint(QStringLiteral("    %1").arg(warning));
    return ExitOk;
}

} // namespace

// info has no inputs or outputs of its own: it reports what the set-up found.
int vellInfoCommand(VellHost &host, const QStringList &args)
{
    if (vellWantsHelp(args)) {
        vellPrint(QStringLiteral("Usage: vell info [FILE.ora]\nPrints the data folders, the settings in force and the GPU;\n"
                                 "with an OpenRaster file, its layers and what reading it approximated."));
        return ExitOk;
    }
    if (args.size() == 1 && VellOraReader::canReadFile(args.first())) {
        host.setUp(VellHost::Headless, true);   // text layers hold fonts
        return printOra(args.first());
    }
    if (!args.isEmpty()) {
        vellError(QStringLiteral("info takes no arguments (got '%1')").arg(args.first()));
        return ExitUsage;
    }
    host.setUp(VellHost::Gl);   // the driver is only reachable through a GL context

    printFolders();
    printSettings(host);
    printGpu(host);
    return ExitOk;
}
