#include "vellatomicfile.h"

#include "vellcommandline.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The test hook: the bytes all files of the run may take (-1: no limit),
// and whether running out of them is an interrupt (":INT") rather than a
// full disk. Read once, so a command cannot change it half-way.
struct WriteBudget
{
    qint64 bytes = -1;
    bool interrupt = false;
};

const WriteBudget &writeBudget()
{
    static const WriteBudget budget = [] {
        WriteBudget b;
        QString text = qEnvironmentVariable("VELL_TEST_FAIL_WRITE_AFTER");
        if (text.endsWith(QLatin1String(":INT"))) {
            b.interrupt = true;
            text.chop(4);
        }
        bool ok = false;
        const qint64 n = text.toLongLong(&ok);
        b.bytes = ok && n >= 0 ? n : qint64(-1);
        return b;
    }();
    return budget;
}

// The temporary files that exist now, so that an interrupt (Ctrl-C, kill)
// removes them too. A signal handler may only call async-signal-safe
// functions, so the names sit in fixed buffers (a command writes one or two
// files), each used only while its flag is set: the flag is cleared before a
// buffer is written, so the handler never reads one half-written.
constexpr int kLiveSlots = 8;
char g_liveNames[kLiveSlots][PATH_MAX];
volatile sig_atomic_t g_liveUsed[kLiveSlots] = {};

void removeLiveFiles(int signal)
{
    for (int i = 0; i < kLiveSlots; ++i)
        if (g_liveUsed[i])
            ::unlink(g_liveNames[i]);
    ::raise(signal);   // the handler was reset on entry: this ends the process as the signal would have
}

// Handles the signals that end a process by default, once, leaving any the
// caller ignores or handles (nohup, a debugger) as they are.
void handleInterrupts()
{
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        struct sigaction previous;
        if (::sigaction(signal, nullptr, &previous) != 0 || previous.sa_handler != SIG_DFL)
            continue;
        struct sigaction action = {};
        action.sa_handler = removeLiveFiles;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESETHAND;
        ::sigaction(signal, &action, nullptr);
    }
}

// Adds `name` to the table; the slot, or -1 when the table is full or the
// name too long (an interrupt then leaves that file behind).
int addLive(const QString &name)
{
    handleInterrupts();
    const QByteArray bytes = QFile::encodeName(name);
    if (bytes.size() >= PATH_MAX)
        return -1;
    for (int i = 0; i < kLiveSlots; ++i) {
        if (!g_liveUsed[i]) {
            std::memcpy(g_liveNames[i], bytes.constData(), size_t(bytes.size()) + 1);
            g_liveUsed[i] = 1;
            return i;
        }
    }
    return -1;
}

void removeLive(int slot)
{
    if (slot >= 0)
        g_liveUsed[slot] = 0;
}

qint64 g_bytesWritten = 0;   // by every file of the run, for the test hook

QString systemReason(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

// The temporary file, remembering its first failure. QFileDevice clears its
// error state when it closes, and a writer may go on after a failed write,
// so the failure is kept here until finish() reports it.
class VellAtomicFile::Device : public QFile
{
public:
    explicit Device(const QString &name) : QFile(name) {}

    bool failed() const { return !m_reason.isEmpty(); }
    const QString &reason() const { return m_reason; }
    void setFailed(const QString &reason)
    {
        if (!failed())
            m_reason = reason;
    }

protected:
    qint64 writeData(const char *data, qint64 len) override
    {
        if (failed())
            return -1;
        const qint64 budget = writeBudget().bytes;
        const bool full = budget >= 0 && g_bytesWritten + len > budget;
        const qint64 accepted = full ? budget - g_bytesWritten : len;
        const qint64 n = accepted > 0 ? QFile::writeData(data, accepted) : 0;
        if (n != accepted || error() != QFileDevice::NoError) {
            setFailed(errorString());
            return -1;
        }
        g_bytesWritten += n;
        if (full) {
            flush();   // the bytes that fitted reach the file, as on a full disk
            if (writeBudget().interrupt)
                ::raise(SIGINT);
            setFailed(systemReason(ENOSPC));
            return -1;
        }
        return n;
    }

private:
    QString m_reason;
};

VellAtomicFile::VellAtomicFile(const QString &destination) : m_destination(destination)
{
    const QFileInfo info(destination);
    m_target = info.isSymLink() && info.exists() ? info.canonicalFilePath() : info.absoluteFilePath();
}

VellAtomicFile::~VellAtomicFile()
{
    delete m_device;   // closes the file
    if (!m_committed && !m_temporary.isEmpty())
        QFile::remove(m_temporary);
    removeLive(m_liveSlot);
}

bool VellAtomicFile::fail(const QString &reason)
{
    if (m_error.isEmpty())
        m_error = m_device && m_device->failed() ? m_device->reason() : reason;
    return false;
}

bool VellAtomicFile::open()
{
    Q_ASSERT(!m_device);
    if (m_destination == QLatin1String("-")) {
        FILE *results = vellResultStream();
        std::fflush(results);   // what vell printed there comes first
        m_device = new Device(QString());
        return m_device->open(fileno(results), QIODevice::WriteOnly, QFileDevice::DontCloseHandle)
            || fail(m_device->errorString());
    }
    struct stat existing;
    const QByteArray target = QFile::encodeName(m_target);
    const bool exists = ::stat(target.constData(), &existing) == 0;
    if (exists && !S_ISREG(existing.st_mode)) {
        m_device = new Device(m_target);   // a device or a pipe: written in place
        return m_device->open(QIODevice::WriteOnly) || fail(m_device->errorString());
    }
    const QFileInfo info(m_target);
    const QDir folder = info.absoluteDir();
    // A clash with a name another run picked is the only reason to try again.
    for (int attempt = 0; attempt < 16; ++attempt) {
        const QString name = QStringLiteral(".%1.vell-%2")
                                 .arg(info.fileName())
                                 .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
        auto *device = new Device(folder.filePath(name));
        // NewOnly: O_EXCL, with the permissions a new file gets (0666 less
        // the umask).
        if (device->open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            m_device = device;
            m_temporary = device->fileName();
            m_liveSlot = addLive(m_temporary);
            // A replaced file keeps its permissions.
            if (exists && ::fchmod(device->handle(), existing.st_mode & 07777) != 0)
                return fail(systemReason(errno));
            return true;
        }
        const QString reason = device->errorString();
        delete device;
        if (!QFileInfo::exists(folder.filePath(name)))
            return fail(reason);
    }
    return fail(QStringLiteral("no unused temporary file name in %1").arg(folder.path()));
}

QIODevice *VellAtomicFile::device()
{
    return m_device;
}

bool VellAtomicFile::finish()
{
    if (!m_device)
        return fail(QStringLiteral("not opened"));
    if (!m_error.isEmpty())
        return false;
    if (!m_device->isOpen())
        return true;   // finished before
    if (!m_device->failed() && !m_device->flush())
        m_device->setFailed(m_device->errorString());
    // fsync before the rename, so a crash cannot leave the new name on a
    // file whose bytes never reached the disk. A pipe or a terminal cannot
    // be synced: EINVAL says so and is no failure.
    if (!m_device->failed() && ::fsync(m_device->handle()) != 0 && errno != EINVAL)
        m_device->setFailed(systemReason(errno));
    m_device->close();
    if (!m_device->failed() && m_device->error() != QFileDevice::NoError)
        m_device->setFailed(m_device->errorString());
    return !m_device->failed() || fail(m_device->reason());
}

bool VellAtomicFile::commit()
{
    if (!finish())
        return false;
    if (m_temporary.isEmpty())
        return true;   // written in place
    if (std::rename(QFile::encodeName(m_temporary).constData(), QFile::encodeName(m_target).constData()) != 0)
        return fail(systemReason(errno));
    m_committed = true;
    removeLive(m_liveSlot);
    m_liveSlot = -1;
    return true;
}

QString VellAtomicFile::displayName(const QString &destination)
{
    return destination == QLatin1String("-") ? QStringLiteral("standard output") : destination;
}

QString VellAtomicFile::writtenPath() const
{
    return m_temporary.isEmpty() ? m_target : m_temporary;
}

void VellAtomicFile::reportError() const
{
    vellError(QStringLiteral("cannot write %1: %2").arg(displayName(m_destination), m_error));
}

bool vellCommitAll(std::initializer_list<VellAtomicFile *> files)
{
    for (VellAtomicFile *file : files) {
        if (!file->finish()) {
            file->reportError();
            return false;
        }
    }
    for (VellAtomicFile *file : files) {
        if (!file->commit()) {
            file->reportError();
            return false;
        }
    }
    return true;
}

bool vellSameFile(const QString &a, const QString &b)
{
    struct stat sa, sb;
    return ::stat(QFile::encodeName(a).constData(), &sa) == 0 && ::stat(QFile::encodeName(b).constData(), &sb) == 0
        && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}
