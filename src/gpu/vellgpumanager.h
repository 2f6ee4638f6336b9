#ifndef VELLGPUMANAGER_H
#define VELLGPUMANAGER_H

#include <QObject>
#include <QString>

#include <functional>

// What the graphics driver reports (vendor, renderer, versions, largest
// texture) and how much video memory is free. Other code reads the public
// fields directly, e.g. to work around a vendor's behaviour, and picks sizes
// by the memory figure.
//
// A singleton built on first use and never destroyed. Creating it installs
// its memory query as the global settings' GPU memory figure, so settings
// defaults follow the driver. GUI thread only; queries need a current GL
// context.
class VellGpuManager : public QObject
{
    Q_OBJECT

public:
    // The memory figure when the driver offers none: -1 as a signed figure.
    // Callers compare figures unsigned, so "unknown" reads as plenty.
    static constexpr unsigned int kUnknownMemory = 0xFFFFFFFFu;

    // Creates the manager on first call. If no GL context could be found or
    // made then, a later call made with a context current queries again.
    static VellGpuManager *getInstance();

    // Reads the driver's strings and limits into the fields. Uses the current
    // context; when none is current, makes a temporary one if the application
    // can (a QGuiApplication with GL support) and deletes it afterwards.
    // Without any context the fields keep their initial values.
    void init();

    // Free video memory in kilobytes (NVX on NVIDIA, ATI on AMD/ATI), or
    // kUnknownMemory when the vendor offers no query or no context is
    // current.
    unsigned int getAvailableMemory() const;
    // Total video memory in kilobytes on NVIDIA, kUnknownMemory otherwise.
    unsigned int getTotalMemory() const;

    // The number of a GL or GLSL version text: the part before the first
    // blank, cut at its last "." when it has two or more ("2.1.2" -> 2.1);
    // 0 when that is not a number.
    static float parseVersion(const QString &text);
    // A renderer text up to, not including, its first "/".
    static QString cutRenderer(const QString &text);

    // Test seam: a figure that getAvailableMemory() returns instead of asking
    // the driver. An empty function restores the driver's figure. Returns the
    // previous one.
    using MemoryFigure = std::function<unsigned int()>;
    static MemoryFigure setAvailableMemoryOverride(MemoryFigure figure);

    bool isInitialized() const { return initialized; }   // init() found a context

    QString vendor;                 // GL_VENDOR as reported
    QString version;                // GL_VERSION, lower-cased
    float versionNumber = 0.0f;
    QString glslVersion;            // GL_SHADING_LANGUAGE_VERSION, lower-cased
    float glslVersionNumber = 0.0f;
    QString renderer;               // GL_RENDERER before its first "/"
    qint32 maxTextureWidth = -1;    // GL_MAX_TEXTURE_SIZE; -1 until queried
    qint32 maxTextureHeight = -1;

private:
    VellGpuManager();
    Q_DISABLE_COPY(VellGpuManager)

    void readDriver();

    bool initialized = false;
    static VellGpuManager *instance;
};

#endif // VELLGPUMANAGER_H
