#include "vellhost.h"

#include "vellcommandline.h"

#include "canvas/vellcanvas.h"
#include "foundation/vellconfig.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "gpu/vellgpumanager.h"
#include "presets/vellactionmanager.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QGLWidget>
#include <QStandardPaths>

#include <cerrno>
#include <climits>
#include <cstdio>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

QString g_logFile;   // see VellHost::logFile()

} // namespace

VellHost::VellHost(const char *program, bool verbose)
{
    m_argv[0] = const_cast<char *>(program);
    divertStandardOutput(verbose);
}

QString VellHost::logFile()
{
    return g_logFile;
}

// Before anything is written to standard output: the C stream's buffer is
// still empty, so nothing written before the switch can land after it.
void VellHost::divertStandardOutput(bool verbose)
{
    const int results = ::dup(STDOUT_FILENO);
    FILE *stream = results >= 0 ? ::fdopen(results, "w") : nullptr;
    if (!stream) {
        if (results >= 0)
            ::close(results);
        return;   // standard output is closed: there is nothing to keep apart
    }
    const int sink = verbose ? ::dup(STDERR_FILENO) : ::open("/dev/null", O_WRONLY);
    if (sink < 0 || ::dup2(sink, STDOUT_FILENO) < 0) {
        std::fclose(stream);   // keep writing results to descriptor 1 as before
        if (sink >= 0)
            ::close(sink);
        return;
    }
    ::close(sink);
    vellSetResultStream(stream);
}

// The log opens its file by name on its first line, so the name is set
// before any part of the library can log.
void VellHost::placeLogFile()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    g_logFile.clear();
    if (!folder.isEmpty() && QDir().mkpath(folder))
        g_logFile = folder + QStringLiteral("/ConsoleLog.txt");
    // Without a file the log would print nothing at all: it gives up on a
    // line whose file it cannot open.
    VellLog::Instance()->SetLogFileName(
        g_logFile.isEmpty() ? "/dev/null" : QFile::encodeName(g_logFile).constData());
}

VellHost::~VellHost()
{
    delete m_canvas;   // makes its context current to delete its GL names
    if (VellActionManager::hasInstance())
        delete VellActionManager::getInstance(QString());
    m_application.reset();
}

void VellHost::setUp(Graphics graphics, bool fonts)
{
    Q_ASSERT(!m_application);
    // Only a GL canvas needs the window system, and Qt aborts when it cannot
    // reach one: everything else runs without a display. The platform named
    // on the command line wins over QT_QPA_PLATFORM.
    if (graphics != Headless && displayReachable()) {
        m_application.reset(new QApplication(m_argc, m_argv));
    } else if (fonts) {
        static char platformOption[] = "-platform";
        static char offscreen[] = "offscreen";
        m_argv[m_argc++] = platformOption;
        m_argv[m_argc++] = offscreen;
        m_application.reset(new QGuiApplication(m_argc, m_argv));
    } else {
        m_application.reset(new QCoreApplication(m_argc, m_argv));
    }
    // The data folders are named after the application.
    QCoreApplication::setApplicationName(QStringLiteral("vell"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELL_VERSION));
    placeLogFile();

    // Loads config.ini and lastrun.ini. vell reads and writes documents with
    // every field of the present records (masks' lock and position, text
    // direction, vertical layout and scale): the versions are the host's.
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    settings->streamReadVersion = 2;
    settings->streamWriteVersion = 2;
    VellConfig::getInstance();           // creates the data folders

    // The command XML compiled into vell (data/commands.xml of the sources).
    VellActionManager::getInstance(QStringLiteral(":/vell/commands.xml"));

    if (graphics != Headless)
        openCanvas(graphics);
    // Without a canvas this is the CPU path: there is no context for the GPU
    // manager to ask, so it is not created.
    if (m_canvas)
        VellGpuManager::getInstance();
}

bool VellHost::setImageLimit(const QSize &maxSize)
{
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    if (!m_limitSaved) {
        m_savedLimitSize = settings->getImageLimitSize();
        m_savedLimitPixel = settings->getImageLimitPixel();
        m_limitSaved = true;
    }
    // What the path can hold: sides a texture takes on the GPU (the CPU
    // compositor's rows are ints, and 65535 is the most most formats
    // declare), and pictures of 4-byte pixels below 2^31 bytes, the most one
    // allocation of the library takes.
    QSize sides(65535, 65535);
    const char *path = "the CPU path";
    if (m_canvas) {
        const VellGpuManager *gpu = VellGpuManager::getInstance();
        if (gpu->maxTextureWidth > 0 && gpu->maxTextureHeight > 0)
            sides = QSize(gpu->maxTextureWidth, gpu->maxTextureHeight).boundedTo(sides);
        path = "the GPU's largest texture";
    }
    constexpr qint64 kMostPixels = INT_MAX / 4;
    QSize limit;
    qint64 pixels = 0;
    if (maxSize.isValid()) {
        pixels = qint64(maxSize.width()) * maxSize.height();
        if (maxSize.width() > sides.width() || maxSize.height() > sides.height() || pixels > kMostPixels) {
            vellError(QStringLiteral("--max-size %1x%2 is beyond what %3 can hold (%4 x %5 pixels, %6)%7")
                          .arg(maxSize.width()).arg(maxSize.height()).arg(QLatin1String(path))
                          .arg(sides.width()).arg(sides.height())
                          .arg(vellCount(kMostPixels >> 20, "Mpixel"))
                          .arg(m_canvas ? QStringLiteral("; --cpu composites larger pictures") : QString()));
            return false;
        }
        limit = maxSize;
    } else {
        // The memory budget's worth of pixels by default: a picture of that
        // many takes the whole budget.
        limit = sides;
        pixels = qMin<qint64>(VellMemory::getInstance()->getLimit() / 4, kMostPixels);
    }
    settings->setImageLimitSize(limit);
    // In units of 2^20 pixels, rounded up: the sides bound the count anyway.
    settings->setImageLimitPixel(int(qMax<qint64>(1, (pixels + 1048575) >> 20)));
    return true;
}

// A hidden canvas when this process has a window system and the driver gives
// a valid GL context, left current with the extension table resolved for it.
// A plain QGLWidget is asked first, so the canvas is never built without a
// context for its programs, and, for GlHardware, never on a software
// rasteriser. Its size is the document's business: 1 x 1 here.
void VellHost::openCanvas(Graphics graphics)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance())) {
        m_noGlReason = QStringLiteral("no display reachable");
        return;
    }
    m_noGlReason = QStringLiteral("the window system gave no valid GL context");
    {
        QGLWidget probe;
        if (!probe.isValid())
            return;
        probe.makeCurrent();
        m_glRenderer = QString::fromLatin1(reinterpret_cast<const char *>(glGetString(GL_RENDERER)));
        probe.doneCurrent();
    }
    if (graphics == GlHardware && isSoftwareRenderer(m_glRenderer)) {
        m_noGlReason = QStringLiteral("the GL renderer '%1' is a software rasteriser").arg(m_glRenderer);
        return;
    }
    VellCanvas *canvas = VellCanvas::getInstance(1, 1);
    if (!canvas->isValid()) {
        delete canvas;
        return;
    }
    canvas->makeCurrent();
    m_canvas = canvas;
    m_noGlReason.clear();
}

bool VellHost::isSoftwareRenderer(const QString &renderer)
{
    for (const char *name : {"llvmpipe", "softpipe", "swrast", "software rasterizer"})
        if (renderer.contains(QLatin1String(name), Qt::CaseInsensitive))
            return true;
    return false;
}

// Whether an X server answers at $DISPLAY. Qt aborts when it cannot connect,
// so a display that is named but not there (a dead socket, a host where
// nothing listens) must not reach it.
bool VellHost::displayReachable()
{
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty())
        return false;
    const int colon = display.lastIndexOf(':');
    if (colon < 0)
        return false;   // not a display name
    QByteArray host = display.left(colon);
    bool okNumber = false;
    const int number = display.mid(colon + 1).split('.').value(0).toInt(&okNumber);
    if (!okNumber || number < 0 || number > 59535)
        return false;
    if (host.startsWith("unix/"))   // "unix/:N" and "unix/host:N" name the local socket
        host.clear();
    if (host.isEmpty() || host == "unix") {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/tmp/.X11-unix/X%d", number);
        return canConnect(AF_UNIX, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    }
    // TCP on port 6000 + N; a host name is looked up, the first address tried.
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const QByteArray port = QByteArray::number(6000 + number);
    if (getaddrinfo(host.constData(), port.constData(), &hints, &found) != 0 || !found)
        return false;
    const bool reached = canConnect(found->ai_family, found->ai_addr, found->ai_addrlen);
    freeaddrinfo(found);
    return reached;
}

// Whether something accepts a connection at `address` within a second: the
// window system answers there. Qt aborts when it cannot reach the display,
// so vell asks first and falls back to the CPU path.
bool VellHost::canConnect(int family, const struct sockaddr *address, unsigned int length)
{
    const int fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return false;
    bool connected = ::connect(fd, address, length) == 0;
    if (!connected && errno == EINPROGRESS) {
        pollfd waiting{fd, POLLOUT, 0};
        int error = 0;
        socklen_t size = sizeof error;
        connected = poll(&waiting, 1, 1000) == 1
            && getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
    }
    ::close(fd);
    return connected;
}
