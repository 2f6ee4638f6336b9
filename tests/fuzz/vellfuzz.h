#ifndef VELLFUZZ_H
#define VELLFUZZ_H

// What every fuzz harness shares: the process set-up (an offscreen
// application, test-mode data folders, the settings), a message-box presenter
// that fails the run on a box no reader is allowed to show, and the oracles
// checked after every input.
//
// A harness defines LLVMFuzzerTestOneInput. Built with libFuzzer it is driven
// by the fuzzer; built with vellfuzzreplay.cpp it is fed every file of the
// folders named on its command line, which is how the test suite replays the
// corpora and the regression inputs. Neither makes a GL context.

#include <QByteArray>
#include <QDataStream>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace VellFuzz {

// Once per process, before the first input; later calls do nothing.
void setUp();

// Whether the reader under test may show a message box for an input. Boxes
// that are not allowed abort the run, naming the box.
enum class Boxes { Forbidden, Allowed };

// Checks one input: constructed before the reader runs, it notes the memory
// budget's booked bytes and records, the documents registered with the
// context manager and the boxes shown so far; destroyed after the reader's
// objects are gone, it aborts, naming the rule, when any of them changed
// (boxes only when they were forbidden).
class Oracle
{
public:
    explicit Oracle(Boxes boxes = Boxes::Forbidden);
    ~Oracle();
    Oracle(const Oracle &) = delete;
    Oracle &operator=(const Oracle &) = delete;

private:
    qint64 used = 0;
    int records = 0;
    int documents = 0;
    Boxes previousBoxes;
};

inline QByteArray bytesOf(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), int(size));
}

// One object read from `bytes` with its stream operator (the Qt 4.8
// encoding every library stream uses); null when the reader refused it. A
// reader that hands out an object for a stream it did not read cleanly fails
// the run.
template <class T>
std::unique_ptr<T> readStreamed(const QByteArray &bytes)
{
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_4_8);
    T *object = nullptr;
    in >> &object;
    std::unique_ptr<T> owned(object);
    if (owned && in.status() != QDataStream::Ok)
        std::abort();
    return owned;
}

// Writes bytes to a file in a private temporary folder, for readers that take
// a path, and returns its path; each call overwrites the harness's one file
// of that suffix. Empty when it cannot be written.
QString writeFile(const QByteArray &bytes, const QString &suffix);

// The layer stream's version as the harness's inputs choose it: the first
// byte's low bit picks version 1 or 2 (the host's setting); the rest is the
// stream. Sets the settings' streamReadVersion and returns the stream bytes.
QByteArray takeStreamVersion(const uint8_t *data, size_t size);

} // namespace VellFuzz

#endif // VELLFUZZ_H
