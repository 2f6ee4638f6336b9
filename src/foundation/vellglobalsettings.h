#ifndef VELLGLOBALSETTINGS_H
#define VELLGLOBALSETTINGS_H

#include <QColor>
#include <QObject>
#include <QSize>
#include <QStringList>

#include <functional>

class QWidget;
class VellCanvas;

// User preferences ("config.ini") and the state that survives between runs
// ("lastrun.ini": recent files and colours), both in the per-user data
// location. Loaded on construction, written only when the host calls save().
// Out-of-range numbers are clamped and unreadable ones take their defaults.
// GUI thread only.
class VellGlobalSettings : public QObject
{
    Q_OBJECT

public:
    static VellGlobalSettings *getInstance(QObject *parent = nullptr);

    // Loads both files. Public so tests and tools can build their own.
    explicit VellGlobalSettings(QObject *parent = nullptr);

    bool load();   // always true
    bool save();   // always true; write failures are not reported
    // Resets the preferences; the image limits follow the free video memory.
    void setDefault();
    // Most recent first, no duplicates, at most 10 entries.
    void pushNewFileName(QString name);

    // The free video memory in kilobytes, as the GPU manager reports it (-1
    // when the driver does not say). The GPU manager installs its query when it
    // starts; until then the figure reads -1. Tests install fixed figures.
    using GpuMemoryFigure = std::function<int()>;
    static void setGpuMemoryFigure(GpuMemoryFigure figure);
    static int gpuMemoryFigure();

    void setCanvas(VellCanvas *c) { canvas = c; }
    VellCanvas *getCanvas() const { return canvas; }
    void setUI(QWidget *w) { ui = w; }
    QWidget *getUI() const { return ui; }
    bool isHistogramVisible() const { return histogramVisible; }
    void setHistogramVisible(bool visible) { histogramVisible = visible; }
    bool isHistogramRealtimeUpdate() const { return histogramRealtimeUpdate; }
    void setHistogramRealtimeUpdate(bool update) { histogramRealtimeUpdate = update; }
    int getHistogramSampleCount() const { return histogramSampleCount; }
    void setHistogramSampleCount(int count) { histogramSampleCount = count; }
    QSize getImageLimitSize() const { return QSize(imageLimitX, imageLimitY); }
    void setImageLimitSize(QSize size) { imageLimitX = size.width(); imageLimitY = size.height(); }
    int getImageLimitPixel() const { return imageLimitPixel; }
    void setImageLimitPixel(int pixel) { imageLimitPixel = pixel; }

    VellCanvas *canvas = nullptr;   // not owned
    QWidget *ui = nullptr;          // not owned
    int imageLimitX = 7200;         // largest accepted width in pixels
    int imageLimitY = 7200;         // largest accepted height in pixels
    int imageLimitPixel = 40;       // largest pixel count, in units of 2^20
    bool histogramRealtimeUpdate = false;
    bool histogramVisible = false;  // not stored
    int histogramSampleCount = 50000;
    bool showTipsWhenStart = false;
    bool showPictureWallWhenStart = false;
    bool rawDirectlyOpen = false;
    bool jpgEstimateSize = false;
    QStringList recentFiles;
    bool moveAnimation = false;
    bool zoomAnimation = false;
    int damping = 0;                // 0 ... 100
    QColor foreground;
    QColor background;
    int streamReadVersion = 0;      // set by the host; 2 or more reads layer version-2 fields
    int streamWriteVersion = 0;     // set by the host; 2 or more writes them
    int loadingVersion = 20111231;  // of the batch-action file being read
    int currentVersion = 20111231;  // written into batch-action files

    static QString configFileName();    // the data location's "config.ini"
    static QString lastRunFileName();   // the data location's "lastrun.ini"

private:
    static VellGlobalSettings *instance;
};

#endif // VELLGLOBALSETTINGS_H
