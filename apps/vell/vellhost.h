#ifndef VELLHOST_H
#define VELLHOST_H

#include <QSize>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <memory>

class QCoreApplication;
class VellCanvas;

// The library's start-up for one run of vell, done the same way for every
// command and in the order the library needs: the Qt application, the global
// settings, the config (data folders), the action manager with the command
// XML, then either the canvas (the GL path) or nothing (the CPU path), then
// the GPU manager, which asks the driver through the canvas's context. The
// command XML is compiled into vell, so the command registry is the same
// wherever vell runs.
//
// A command parses its own arguments first and then calls setUp() once with
// what it needs; documents and everything else it builds are its own and
// must be gone before the host is. Owns the application, the canvas and the
// action manager and takes them down in reverse order. GUI thread only.
//
// vell changes no setting that outlives the run, so it never calls
// VellGlobalSettings::save(): that would write the user's INI files on
// every run.
//
// Standard output is for what the user asked for (a report, image data),
// but the library's log writes its lines there. So the host moves the
// process's standard output aside when it is made: vellPrint() and image
// data go to a duplicate of it, and descriptor 1, where the log's lines go,
// is pointed at standard error with --verbose, else at /dev/null. The log's
// file goes to vell's folder in the user's cache (logFile()), never to the
// working folder. The library's own behaviour is untouched: only where its
// output lands changes.
class VellHost
{
public:
    enum Graphics {
        Headless,   // never opens the window system
        Gl,         // a GL canvas when a display is reachable and the driver gives a context
        GlHardware  // as Gl, but only when the driver's renderer is not a software rasteriser
    };

    // program: argv[0]. vell's arguments are its own; the Qt application
    // sees none of them. verbose: the library's log lines go to standard
    // error.
    VellHost(const char *program, bool verbose);
    ~VellHost();
    Q_DISABLE_COPY(VellHost)

    // Starts the library; call once, before the command touches any image or
    // library object. Says nothing about GL: a command that asked for Gl
    // finds out from canvas() and noGlReason() and says what it makes of it.
    // `fonts`: the command lays text out, which needs a GUI application.
    // Where the run has no window system (Headless, or no display reachable)
    // that application runs on Qt's "offscreen" platform, which finds fonts
    // through fontconfig and never connects to a display.
    void setUp(Graphics graphics, bool fonts = false);

    // The image-size limit of this run, written into the global settings
    // (never saved) so that the library's readers hold to it as well:
    // `maxSize` (--max-size) when it is valid, else what the run's path can
    // hold: the memory budget's worth of 4-byte pixels, with sides up to the
    // GPU's largest texture on the GL path and up to 65535 on the CPU path.
    // Call after setUp(). False, with the usage error printed, when maxSize
    // is beyond what the path can hold at all (the GPU's largest texture, or
    // pictures of 2^31 bytes and more).
    bool setImageLimit(const QSize &maxSize);
    // The limit of the settings as they were before the first setImageLimit().
    const QSize &savedLimitSize() const { return m_savedLimitSize; }
    int savedLimitPixel() const { return m_savedLimitPixel; }

    VellCanvas *canvas() const { return m_canvas; }   // owned; null on the CPU path
    // Why canvas() is null after asking for Gl or GlHardware; empty otherwise.
    const QString &noGlReason() const { return m_noGlReason; }
    // The driver's GL_RENDERER text ("llvmpipe (LLVM 15.0.6, 256 bits)")
    // once a context was made; empty otherwise.
    const QString &glRenderer() const { return m_glRenderer; }
    // Whether `renderer` names one of Mesa's software rasterisers
    // (llvmpipe, softpipe, swrast), on which the CPU compositor is faster.
    static bool isSoftwareRenderer(const QString &renderer);
    // The library log's file, set by setUp(); empty when the cache folder
    // could not be made (the log then keeps no file).
    static QString logFile();

private:
    // Whether an X server answers at $DISPLAY (its local socket, or TCP port
    // 6000 + N of the named host).
    static bool displayReachable();
    static bool canConnect(int family, const struct sockaddr *address, unsigned int length);
    static void divertStandardOutput(bool verbose);
    static void placeLogFile();
    void openCanvas(Graphics graphics);

    int m_argc = 1;
    // argv[0], and "-platform offscreen" for a GUI application without the
    // window system; Qt keeps a reference to both.
    char *m_argv[4] = {nullptr, nullptr, nullptr, nullptr};
    std::unique_ptr<QCoreApplication> m_application;
    VellCanvas *m_canvas = nullptr;         // owned
    QString m_noGlReason;
    QString m_glRenderer;
    QSize m_savedLimitSize;
    int m_savedLimitPixel = 0;
    bool m_limitSaved = false;
};

#endif // VELLHOST_H
