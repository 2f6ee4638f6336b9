#include "foundation/vellglobalsettings.h"

#include "foundation/velldatalocation.h"

#include <QFile>
#include <QSettings>

namespace {

const int kMaxRecentFiles = 10;
const char *const kDefaultForeground = "#FF6600";
const char *const kDefaultBackground = "#55FFFF";

VellGlobalSettings::GpuMemoryFigure &gpuFigureHook()
{
    static VellGlobalSettings::GpuMemoryFigure figure;
    return figure;
}

// Only the exact string "true" counts; anything else, missing included, is false.
bool readBool(const QSettings &settings, const QString &key)
{
    return settings.value(key).toString() == QLatin1String("true");
}

// A missing or unparsable value gives the fallback; a number is clamped.
int readInt(const QSettings &settings, const QString &key, int fallback, int low, int high)
{
    bool ok = false;
    const int value = settings.value(key).toString().trimmed().toInt(&ok);
    if (!ok)
        return fallback;
    return qBound(low, value, high);
}

QString boolText(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QColor colourOr(const QVariant &value, const char *fallback)
{
    QColor colour;
    colour.setNamedColor(value.toString());
    return colour.isValid() ? colour : QColor(QLatin1String(fallback));
}

} // namespace

VellGlobalSettings *VellGlobalSettings::instance = nullptr;

VellGlobalSettings *VellGlobalSettings::getInstance(QObject *parent)
{
    if (!instance)
        instance = new VellGlobalSettings(parent);
    return instance;
}

VellGlobalSettings::VellGlobalSettings(QObject *parent)
    : QObject(parent)
{
    foreground = QColor();
    background = QColor();
    loadingVersion = 20111231;
    currentVersion = 20111231;
    load();
}

void VellGlobalSettings::setGpuMemoryFigure(GpuMemoryFigure figure)
{
    gpuFigureHook() = std::move(figure);
}

int VellGlobalSettings::gpuMemoryFigure()
{
    const GpuMemoryFigure &figure = gpuFigureHook();
    return figure ? figure() : -1;
}

QString VellGlobalSettings::configFileName()
{
    return VellDataLocation::configFile();
}

QString VellGlobalSettings::lastRunFileName()
{
    return VellDataLocation::path() + QStringLiteral("/lastrun.ini");
}

bool VellGlobalSettings::load()
{
    QSettings config(configFileName(), QSettings::IniFormat);

    config.beginGroup(QStringLiteral("UI"));
    showTipsWhenStart = readBool(config, QStringLiteral("Show_Tips_When_Start"));
    showPictureWallWhenStart = readBool(config, QStringLiteral("Show_PictureWall_When_Start"));
    config.endGroup();

    config.beginGroup(QStringLiteral("Histogram"));
    histogramSampleCount = readInt(config, QStringLiteral("Sample_Count"), 50000, 50000, 1000000);
    histogramRealtimeUpdate = readBool(config, QStringLiteral("Realtime_update"));
    config.endGroup();

    config.beginGroup(QStringLiteral("IO"));
    jpgEstimateSize = readBool(config, QStringLiteral("JPG_Estimate_Size"));
    config.endGroup();

    config.beginGroup(QStringLiteral("Raw"));
    rawDirectlyOpen = readBool(config, QStringLiteral("Directly_Open"));
    config.endGroup();

    config.beginGroup(QStringLiteral("Interaction"));
    moveAnimation = readBool(config, QStringLiteral("Move_Animation"));
    zoomAnimation = readBool(config, QStringLiteral("Zoom_Animation"));
    damping = readInt(config, QStringLiteral("Damping"), 0, 0, 100);
    config.endGroup();

    config.beginGroup(QStringLiteral("Performance"));
    imageLimitX = readInt(config, QStringLiteral("Image_Size_Limit_X"), 7200, 4096, 20000);
    imageLimitY = readInt(config, QStringLiteral("Image_Size_Limit_Y"), 7200, 4096, 20000);
    imageLimitPixel = readInt(config, QStringLiteral("Image_Size_Limit_Pixel"), 40, 20, 400);
    config.endGroup();

    // The last-run state is read from where save() writes it, so recent files
    // and colours survive a restart.
    const QString lastRun = lastRunFileName();
    if (!QFile::exists(lastRun)) {
        recentFiles.clear();
        foreground = QColor(QLatin1String(kDefaultForeground));
        background = QColor(QLatin1String(kDefaultBackground));
    } else {
        QSettings state(lastRun, QSettings::IniFormat);
        recentFiles = state.value(QStringLiteral("Recent_Files")).toString()
                          .split(QLatin1Char(';'), Qt::SkipEmptyParts);
        while (recentFiles.size() > kMaxRecentFiles)
            recentFiles.removeLast();
        foreground = colourOr(state.value(QStringLiteral("Foreground")), kDefaultForeground);
        background = colourOr(state.value(QStringLiteral("Background")), kDefaultBackground);
    }

    ui = nullptr;
    return true;
}

bool VellGlobalSettings::save()
{
    {
        QSettings config(configFileName(), QSettings::IniFormat);
        config.beginGroup(QStringLiteral("IO"));
        config.setValue(QStringLiteral("JPG_Estimate_Size"), boolText(jpgEstimateSize));
        config.endGroup();
        config.beginGroup(QStringLiteral("UI"));
        config.setValue(QStringLiteral("Show_Tips_When_Start"), boolText(showTipsWhenStart));
        config.setValue(QStringLiteral("Show_PictureWall_When_Start"), boolText(showPictureWallWhenStart));
        config.endGroup();
        config.beginGroup(QStringLiteral("Raw"));
        config.setValue(QStringLiteral("Directly_Open"), boolText(rawDirectlyOpen));
        config.endGroup();
        config.beginGroup(QStringLiteral("Histogram"));
        config.setValue(QStringLiteral("Realtime_update"), boolText(histogramRealtimeUpdate));
        config.setValue(QStringLiteral("Sample_Count"), QString::number(histogramSampleCount));
        config.endGroup();
        config.beginGroup(QStringLiteral("Interaction"));
        config.setValue(QStringLiteral("Move_Animation"), boolText(moveAnimation));
        config.setValue(QStringLiteral("Zoom_Animation"), boolText(zoomAnimation));
        config.setValue(QStringLiteral("Damping"), QString::number(damping));
        config.endGroup();
        config.beginGroup(QStringLiteral("Performance"));
        config.setValue(QStringLiteral("Image_Size_Limit_X"), QString::number(imageLimitX));
        config.setValue(QStringLiteral("Image_Size_Limit_Y"), QString::number(imageLimitY));
        config.setValue(QStringLiteral("Image_Size_Limit_Pixel"), QString::number(imageLimitPixel));
        config.endGroup();
    }
    QSettings state(lastRunFileName(), QSettings::IniFormat);
    state.setValue(QStringLiteral("Recent_Files"), recentFiles.join(QLatin1Char(';')));
    state.setValue(QStringLiteral("Foreground"), foreground.name());
    state.setValue(QStringLiteral("Background"), background.name());
    return true;
}

void VellGlobalSettings::setDefault()
{
    canvas = nullptr;
    ui = nullptr;
    imageLimitX = imageLimitY = imageLimitPixel = 0;
    histogramRealtimeUpdate = histogramVisible = false;
    histogramSampleCount = 0;
    showTipsWhenStart = showPictureWallWhenStart = rawDirectlyOpen = jpgEstimateSize = false;
    recentFiles.clear();
    moveAnimation = zoomAnimation = false;
    damping = 0;
    foreground = QColor();
    background = QColor();
    streamReadVersion = streamWriteVersion = 0;
    loadingVersion = currentVersion = 0;

    histogramSampleCount = 10240;
    histogramRealtimeUpdate = true;

    // The driver's figure is compared unsigned: an unknown figure (-1) reads
    // as the largest unsigned value, i.e. plenty of memory.
    const unsigned int freeKb = static_cast<unsigned int>(gpuMemoryFigure());
    if (freeKb > 2097152u) {
        imageLimitX = imageLimitY = 20000;
        imageLimitPixel = 256;
    } else if (freeKb > 1572864u) {
        imageLimitX = imageLimitY = 15000;
        imageLimitPixel = 128;
    } else if (freeKb > 1048576u) {
        imageLimitX = imageLimitY = 10000;
        imageLimitPixel = 80;
    } else {
        imageLimitX = imageLimitY = 7200;
        imageLimitPixel = 40;
    }
    currentVersion = 20111231;
}

void VellGlobalSettings::pushNewFileName(QString name)
{
    recentFiles.removeOne(name);
    recentFiles.prepend(name);
    while (recentFiles.size() > kMaxRecentFiles)
        recentFiles.removeLast();
}
