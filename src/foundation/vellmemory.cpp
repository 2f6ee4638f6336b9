#include "foundation/vellmemory.h"

#include "foundation/vellconfig.h"
#include "foundation/velllog.h"
#include "foundation/vellmessagebox.h"
#include "foundation/vellrecovery.h"

#include <QCoreApplication>
#include <QFile>

#include <sys/statfs.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

const quint64 kLowThreshold = 314572800;   // 300 MiB of free memory or disk
const int kWaitTries = 10;
const useconds_t kWaitMicroseconds = 10000;

VellMemory::Probe &probeHook()
{
    static VellMemory::Probe probe;
    return probe;
}

// MemAvailable counts reclaimable cache too, which is what "free" means to an
// allocation; older kernels lack it and fall back to sysinfo().
bool readMemAvailable(quint64 *bytes)
{
    QFile meminfo(QStringLiteral("/proc/meminfo"));
    if (!meminfo.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    while (!meminfo.atEnd()) {
        const QByteArray line = meminfo.readLine();
        if (!line.startsWith("MemAvailable:"))
            continue;
        const QList<QByteArray> parts = line.simplified().split(' ');
        bool ok = false;
        const quint64 kib = parts.size() >= 2 ? parts.at(1).toULongLong(&ok) : 0;
        if (!ok)
            return false;
        *bytes = kib * 1024;
        return true;
    }
    return false;
}

// The signal carries an int: an excess of 2^31 bytes or more is reported as
// INT_MAX, which still means "far over".
int excessOf(qint64 usedAfter, int limit)
{
    return usedAfter > limit ? int(qMin<qint64>(usedAfter - limit, INT_MAX)) : 0;
}

} // namespace

VellMemory *VellMemory::getInstance()
{
    static VellMemory *instance = new VellMemory(VellConfig::getInstance()->memoryBudget);
    return instance;
}

VellMemory::VellMemory(int limit, QObject *parent)
    : QObject(parent), limit(limit)
{
}

VellMemory::~VellMemory() = default;

qint64 VellMemory::getUsed() const
{
    QMutexLocker lock(&mutex);
    return used;
}

int VellMemory::getRecordCount() const
{
    QMutexLocker lock(&mutex);
    return records.size();
}

void VellMemory::setProbe(Probe probe)
{
    probeHook() = std::move(probe);
}

void VellMemory::setAllocator(Allocator alloc)
{
    QMutexLocker lock(&mutex);
    allocator = std::move(alloc);
}

void *VellMemory::systemAlloc(size_t size)
{
    Allocator alloc;
    {
        QMutexLocker lock(&mutex);
        alloc = allocator;
    }
    return alloc ? alloc(size) : std::malloc(size);
}

unsigned char *VellMemory::alloc(int size)
{
    if (size < 0)
        return nullptr;

    int excess = 0;
    {
        QMutexLocker lock(&mutex);
        excess = excessOf(used + size, limit);
    }
    if (excess > 0)
        emit memoryNotEnough(excess);   // the history may free memos before we go on

    clearMemory();

    // malloc(0) may legally return null; ask for one byte so a zero-sized
    // picture still gets a distinct, releasable pointer.
    const size_t request = size > 0 ? size_t(size) : 1;
    void *p = systemAlloc(request);
    for (int attempt = 0; !p && attempt < kWaitTries; ++attempt) {
        VellLog::Instance()->Log(
            "Sleep to wait for memory release from other threads, require memory size:%d\n", size);
        usleep(kWaitMicroseconds);
        p = systemAlloc(request);
    }
    if (!p) {
        VellRecovery::clearHistory();
        p = systemAlloc(request);
    }
    if (!p) {
        VellRecovery::dropInactiveTextures();
        p = systemAlloc(request);
    }
    if (!p) {
        VellMessageBox::information(tr("Error"), tr("Out of Memory!"));
        QCoreApplication::exit(0);
        return nullptr;
    }

    qint64 usedAfter = 0;
    {
        QMutexLocker lock(&mutex);
        records.append({static_cast<unsigned char *>(p), size});
        used += size;
        usedAfter = used;
    }
    // The log's formatter has no 64-bit conversion: the total and what
    // remains of the budget go to it as text, here and below.
    VellLog::Instance()->Log("Memory Allocation: Size(%d), Used(%s), Remain(%s)\n", size,
                             QByteArray::number(usedAfter).constData(),
                             QByteArray::number(limit - usedAfter).constData());
    return static_cast<unsigned char *>(p);
}

bool VellMemory::release(unsigned char *pointer)
{
    if (!pointer)
        return false;
    int size = 0;
    qint64 usedAfter = 0;
    {
        QMutexLocker lock(&mutex);
        for (int i = 0; i < records.size(); ++i) {
            if (records.at(i).pointer == pointer) {
                size = records.at(i).size;
                used -= size;
                records.remove(i);
                break;
            }
        }
        usedAfter = used;
    }
    VellLog::Instance()->Log("Memory Release: Size(%d), Used(%s), Remain(%s)\n", size,
                             QByteArray::number(usedAfter).constData(),
                             QByteArray::number(limit - usedAfter).constData());
    std::free(pointer);
    return true;
}

void VellMemory::takeAway(int size)
{
    if (size > limit / 2)
        return;
    int excess = 0;
    qint64 usedAfter = 0;
    {
        QMutexLocker lock(&mutex);
        excess = excessOf(used + size, limit);
        used += size;
        usedAfter = used;
    }
    // The booking is made before the signal so a history that trims itself in
    // response sees the new total.
    if (excess > 0)
        emit memoryNotEnough(excess);
    VellLog::Instance()->Log("Memory taken away: Size(%d), Used(%s), Remain(%s)\n", size,
                             QByteArray::number(usedAfter).constData(),
                             QByteArray::number(limit - usedAfter).constData());
}

void VellMemory::returnBack(int size)
{
    qint64 usedAfter = 0;
    {
        QMutexLocker lock(&mutex);
        used -= size;
        usedAfter = used;
    }
    VellLog::Instance()->Log("Memory returned back: Size(%d), Used(%s), Remain(%s)\n", size,
                             QByteArray::number(usedAfter).constData(),
                             QByteArray::number(limit - usedAfter).constData());
}

VellSystemResources VellMemory::probeSystem()
{
    VellSystemResources resources;
    struct statfs fs;
    if (statfs("/", &fs) == 0) {
        resources.diskKnown = true;
        resources.freeDisk = quint64(fs.f_bsize) * quint64(fs.f_bavail);
    }
    quint64 available = 0;
    if (readMemAvailable(&available)) {
        resources.memoryKnown = true;
        resources.freeMemory = available;
    } else {
        struct sysinfo info;
        if (sysinfo(&info) == 0) {
            resources.memoryKnown = true;
            resources.freeMemory = quint64(info.freeram) * info.mem_unit;
        }
    }
    return resources;
}

bool VellMemory::isSystemLow(const VellSystemResources &r)
{
    return !(r.diskKnown && r.memoryKnown && r.freeDisk >= kLowThreshold
             && r.freeMemory >= kLowThreshold);
}

void VellMemory::clearMemory()
{
    const Probe &probe = probeHook();
    const VellSystemResources resources = probe ? probe() : probeSystem();
    if (isSystemLow(resources))
        VellRecovery::clearHistory();
}

void *VellMemory::vellMemset(void *pointer, int value, unsigned long count)
{
    return std::memset(pointer, value & 0xFF, count);
}
