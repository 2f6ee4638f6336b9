#ifndef VELLREADBUDGETBYTES_H
#define VELLREADBUDGETBYTES_H

#include <QtGlobal>

class QDataStream;

// Reads `bytes` raw bytes (0 <= bytes < 2^31, checked by the caller) from the
// stream into a buffer from the memory budget, which the caller then owns and
// gives back with VellMemory::release.
//
// Never books more than the stream can supply: a random-access device is asked
// how much it still holds before anything is allocated; a sequential one (a
// pipe, a socket) is read in 1 MiB steps and the buffer is booked only once all
// bytes have arrived. So a corrupt size in a header cannot make us allocate
// what it claims.
//
// Returns null, logs once under `owner` (a class name) and sets the stream's
// status (ReadPastEnd or ReadCorruptData) when the bytes cannot be read.
unsigned char *vellReadBudgetBytes(QDataStream &in, qint64 bytes, const char *owner);

#endif // VELLREADBUDGETBYTES_H
