#include "vellatomicfile.h"

#include "vellcommandline.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// The test hook's budget: bytes all files of the run may take, -1 for no
// limit. Read once, so a command cannot change it half-way.
qint64 writeBudget()
{
    static const qint64 budget = [] {
        bool ok = false;
        const qint64 n = qEnvironmentVariable("VELL_TEST_FAIL_WRITE_AFTER").toLongLong(&ok);
        return ok && n >= 0 ? n : qint64(-1);
    }();
    return budget;
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
        const qint64 budget = writeBudget();
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
