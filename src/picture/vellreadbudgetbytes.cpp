#include "picture/vellreadbudgetbytes.h"

#include "foundation/velllog.h"
#include "foundation/vellmemory.h"

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>

#include <climits>
#include <cstring>
#include <vector>

namespace {

// Step of a sequential read: large enough to keep the number of chunks small,
// small enough that a lying header costs at most this much before we notice.
const int kSequentialStep = 1024 * 1024;

} // namespace

unsigned char *vellReadBudgetBytes(QDataStream &in, qint64 bytes, const char *owner)
{
    QIODevice *device = in.device();
    if (!device || bytes < 0 || bytes > qint64(INT_MAX)) {
        in.setStatus(QDataStream::ReadCorruptData);
        return nullptr;
    }
    VellMemory *memory = VellMemory::getInstance();
    if (!device->isSequential()) {
        if (device->bytesAvailable() < bytes) {
            VellLog::Instance()->Log("%s: stream holds fewer than %d pixel bytes\n", owner,
                                     int(bytes));
            in.setStatus(QDataStream::ReadPastEnd);
            return nullptr;
        }
        unsigned char *data = memory->alloc(int(bytes));
        if (!data) {
            in.setStatus(QDataStream::ReadCorruptData);
            return nullptr;
        }
        if (in.readRawData(reinterpret_cast<char *>(data), int(bytes)) != bytes) {
            memory->release(data);
            in.setStatus(QDataStream::ReadPastEnd);
            return nullptr;
        }
        return data;
    }

    std::vector<QByteArray> chunks;
    for (qint64 got = 0; got < bytes;) {
        const int step = int(qMin<qint64>(kSequentialStep, bytes - got));
        QByteArray chunk(step, Qt::Uninitialized);
        if (in.readRawData(chunk.data(), step) != step) {
            VellLog::Instance()->Log("%s: stream ended inside %d pixel bytes\n", owner, int(bytes));
            in.setStatus(QDataStream::ReadPastEnd);
            return nullptr;
        }
        got += step;
        chunks.push_back(std::move(chunk));
    }
    unsigned char *data = memory->alloc(int(bytes));
    if (!data) {
        in.setStatus(QDataStream::ReadCorruptData);
        return nullptr;
    }
    size_t at = 0;
    for (const QByteArray &chunk : chunks) {
        std::memcpy(data + at, chunk.constData(), size_t(chunk.size()));
        at += size_t(chunk.size());
    }
    return data;
}
