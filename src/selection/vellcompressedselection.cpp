#include "selection/vellcompressedselection.h"

#include <QtEndian>

#include <climits>
#include <cstring>

namespace {

const int kRunBytes = 5;   // the value, then a 32-bit length

} // namespace

QByteArray *VellCompressedSelection::encodeRuns(const unsigned char *buffer, qint64 bytes)
{
    if (!buffer || bytes < 0)
        return nullptr;
    // Two passes: count the runs first so the array is sized once; a noisy
    // mask has a run per byte and growing the array step by step would copy
    // it over and over.
    qint64 runs = 0;
    for (qint64 i = 0; i < bytes;) {
        qint64 end = i + 1;
        while (end < bytes && buffer[end] == buffer[i])
            ++end;
        ++runs;
        i = end;
    }
    auto *out = new QByteArray;
    if (runs > qint64(INT_MAX) / kRunBytes) {
        delete out;   // a byte array cannot hold that many runs
        return nullptr;
    }
    out->resize(int(runs * kRunBytes));
    char *at = out->data();
    for (qint64 i = 0; i < bytes;) {
        qint64 end = i + 1;
        while (end < bytes && buffer[end] == buffer[i])
            ++end;
        // A buffer is below 2^31 bytes, so every length fits in 32 bits.
        at[0] = char(buffer[i]);
        qToBigEndian<qint32>(qint32(end - i), at + 1);
        at += kRunBytes;
        i = end;
    }
    return out;
}

bool VellCompressedSelection::decodeRuns(const QByteArray &runs, unsigned char *buffer, qint64 bytes)
{
    if (!buffer || bytes < 0)
        return false;
    const char *at = runs.constData();
    const qint64 size = runs.size();
    qint64 filled = 0;
    for (qint64 offset = 0; offset < size; offset += kRunBytes) {
        if (size - offset < kRunBytes)
            return false;   // a run cut short
        const qint32 length = qFromBigEndian<qint32>(at + offset + 1);
        if (length < 1)
            return false;
        const qint64 take = qMin<qint64>(length, bytes - filled);
        std::memset(buffer + filled, static_cast<unsigned char>(at[offset]), size_t(take));
        filled += take;
        if (take < length)
            return false;   // more runs than the buffer holds
    }
    return filled == bytes;
}
