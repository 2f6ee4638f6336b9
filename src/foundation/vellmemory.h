#ifndef VELLMEMORY_H
#define VELLMEMORY_H

#include <QMutex>
#include <QObject>
#include <QVector>

#include <functional>

// One live allocation made through VellMemory::alloc.
struct VellMemoryBlock
{
    unsigned char *pointer = nullptr;
    int size = 0;
};

// What the operating system reports about free resources.
struct VellSystemResources
{
    bool diskKnown = false;
    quint64 freeDisk = 0;     // bytes free on the root file system
    bool memoryKnown = false;
    quint64 freeMemory = 0;   // bytes of physical memory available
};

// Process-wide accountant for large pixel buffers. Every picture buffer is
// allocated and freed here and memos book what they hold elsewhere, so the
// budget (400 MiB by default) can tell the history when to trim itself.
// Exceeding the budget only emits memoryNotEnough(); a failing system
// allocation waits for other threads, clears the history, drops inactive
// textures and, as a last resort, shows "Out of Memory!" and leaves the event
// loop.
//
// Thread-safe: alloc and release are called from the GUI thread and from swap
// threads. The lock guards `used` and `records` only; it is never held while
// sleeping, emitting, logging, freeing or running recovery.
class VellMemory : public QObject
{
    Q_OBJECT

public:
    static VellMemory *getInstance();

    // A budget of its own, for tests and tools; the singleton reads the
    // configuration's memoryBudget.
    explicit VellMemory(int limit, QObject *parent = nullptr);
    ~VellMemory() override;

    // Never null for a caller that goes on running: on final failure the
    // application is told to exit and null is returned. size must be >= 0.
    unsigned char *alloc(int size);
    // False only for null; unknown pointers are freed and logged with size 0.
    bool release(unsigned char *pointer);
    // Books bytes held elsewhere; requests over half the budget are ignored.
    void takeAway(int size);
    void returnBack(int size);

    // Clears the current document's history when free memory or free disk
    // space on "/" is below 300 MiB or cannot be read.
    static void clearMemory();

    void *vellMemset(void *pointer, int value, unsigned long count);

    // The booked total is 64-bit: several bookings below 2^31 bytes each can
    // together pass it. A single booking (alloc, takeAway) stays below 2^31.
    qint64 getUsed() const;
    int getLimit() const { return limit; }
    int getRecordCount() const;

    // Free memory (MemAvailable of /proc/meminfo, else sysinfo) and free
    // space of "/" as the operating system reports them now.
    static VellSystemResources probeSystem();
    static bool isSystemLow(const VellSystemResources &resources);

    // Test seams. The probe replaces probeSystem() in clearMemory(); the
    // allocator replaces malloc (results are still freed with free()).
    using Probe = std::function<VellSystemResources()>;
    using Allocator = std::function<void *(size_t)>;
    static void setProbe(Probe probe);
    void setAllocator(Allocator allocator);

signals:
    // The bytes by which a booking passes the budget, clamped to INT_MAX.
    void memoryNotEnough(int excess);

private:
    void *systemAlloc(size_t size);
    mutable QMutex mutex;
    qint64 used = 0;
    int limit = 0;
    QVector<VellMemoryBlock> records;
    Allocator allocator;
};

#endif // VELLMEMORY_H
