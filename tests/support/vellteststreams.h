#ifndef VELLTESTSTREAMS_H
#define VELLTESTSTREAMS_H

// Helpers for tests of stream readers: a device that cannot say how much is
// still to come, and a counter of what reaches the system allocator behind the
// memory budget.

#include "foundation/vellmemory.h"

#include <QByteArray>
#include <QIODevice>

#include <cstdlib>
#include <cstring>

// Like a socket or a pipe: sequential, so bytesAvailable() says nothing about
// what is still to come.
class SequentialBuffer : public QIODevice
{
public:
    explicit SequentialBuffer(const QByteArray &bytes) : bytes(bytes) { open(ReadOnly); }
    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *dest, qint64 max) override
    {
        const qint64 n = qMin(max, qint64(bytes.size()) - at);
        std::memcpy(dest, bytes.constData() + at, size_t(n));
        at += n;
        return n;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray bytes;
    qint64 at = 0;
};

// Counts the budget's system allocations while it lives, so a test can tell
// that a refusal came before any allocation.
class AllocationCounter
{
public:
    AllocationCounter()
    {
        VellMemory::getInstance()->setAllocator([this](size_t size) {
            ++count;
            return std::malloc(size);
        });
    }
    ~AllocationCounter() { VellMemory::getInstance()->setAllocator(nullptr); }
    Q_DISABLE_COPY(AllocationCounter)

    int count = 0;
};

// v as four big-endian bytes, the byte order of a default QDataStream.
inline QByteArray bigEndian32(quint32 v)
{
    QByteArray bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.append(char((v >> shift) & 0xFF));
    return bytes;
}

#endif // VELLTESTSTREAMS_H
