// Moves a 6000 x 4000 8-bit picture through the memory budget, the host's
// region copies and its stream form, next to a plain memcpy of the same bytes.
#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

double bestMs(int runs, const std::function<void()> &work)
{
    double best = 1e300;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        best = qMin(best, timer.nsecsElapsed() / 1e6);
    }
    return best;
}

void report(const char *what, double ms, double bytes, double memcpyMs)
{
    std::printf("%-34s %9.2f ms %9.0f MB/s   %5.2fx memcpy time\n", what, ms, bytes / ms / 1e3,
                ms / memcpyMs);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;   // the budget logs every allocation into the current folder
    QDir::setCurrent(dir.path());

    const unsigned w = 6000, h = 4000;
    const size_t bytes = size_t(w) * h * 4;
    const int runs = 5;

    std::vector<unsigned char> source(bytes), target(bytes);
    for (size_t i = 0; i < bytes; ++i)
        source[i] = static_cast<unsigned char>(i * 2654435761u >> 24);

    const double memcpyMs = bestMs(runs, [&] { std::memcpy(target.data(), source.data(), bytes); });
    std::printf("6000 x 4000 x 4 bytes = %.1f MB, best of %d runs\n", bytes / 1e6, runs);
    report("memcpy", memcpyMs, bytes, memcpyMs);

    VellPictureHost host(w, h, 4);
    report("host read (whole buffer in)", bestMs(runs, [&] { host.read(source.data()); }), bytes, memcpyMs);
    report("host write (whole buffer out)", bestMs(runs, [&] { host.write(target.data()); }), bytes, memcpyMs);

    const QRect all(0, 0, int(w), int(h));
    report("host region write, 2 bands", bestMs(runs, [&] { host.write(target.data(), all); }), bytes, memcpyMs);

    const QRect middle(1000, 1000, 4000, 2000);   // straddles the band boundary at row 2048
    const double middleBytes = 4000.0 * 2000 * 4;
    report("host region write 4000x2000", bestMs(runs, [&] { host.write(target.data(), middle); }), middleBytes,
           memcpyMs * middleBytes / bytes);

    QByteArray stream;
    stream.reserve(int(bytes + 64));
    report("stream out (QDataStream)", bestMs(runs, [&] {
               stream.resize(0);
               QBuffer buffer(&stream);
               buffer.open(QIODevice::WriteOnly);
               QDataStream out(&buffer);
               out.setVersion(QDataStream::Qt_4_8);
               out << &host;
           }), bytes, memcpyMs);
    report("stream in (QDataStream + budget)", bestMs(runs, [&] {
               QBuffer buffer(&stream);
               buffer.open(QIODevice::ReadOnly);
               QDataStream in(&buffer);
               in.setVersion(QDataStream::Qt_4_8);
               VellPictureHost *back = nullptr;
               in >> &back;
               delete back;
           }), bytes, memcpyMs);
    report("host deep copy (budget + memcpy)", bestMs(runs, [&] { delete new VellPictureHost(&host); }), bytes,
           memcpyMs);
    return 0;
}
