// Moves a 6000 x 4000 8-bit picture through the memory budget, the host's
// region copies and its stream form, next to a plain memcpy of the same bytes.
#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"
#include "vellbenchtimer.h"

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

    const double memcpyMs = vellBestMs(runs, [&] { std::memcpy(target.data(), source.data(), bytes); });
    std::printf("6000 x 4000 x 4 bytes = %.1f MB, best of %d runs\n", bytes / 1e6, runs);
    vellReport("memcpy", memcpyMs, memcpyMs, bytes);

    VellPictureHost host(w, h, 4);
    vellReport("host read (whole buffer in)", vellBestMs(runs, [&] { host.read(source.data()); }), memcpyMs,
               bytes);
    vellReport("host write (whole buffer out)", vellBestMs(runs, [&] { host.write(target.data()); }), memcpyMs,
               bytes);

    const QRect all(0, 0, int(w), int(h));
    vellReport("host region write, 2 bands", vellBestMs(runs, [&] { host.write(target.data(), all); }), memcpyMs,
               bytes);

    const QRect middle(1000, 1000, 4000, 2000);   // straddles the band boundary at row 2048
    const double middleBytes = 4000.0 * 2000 * 4;
    vellReport("host region write 4000x2000", vellBestMs(runs, [&] { host.write(target.data(), middle); }),
               memcpyMs * middleBytes / bytes, middleBytes);

    QByteArray stream;
    stream.reserve(int(bytes + 64));
    vellReport("stream out (QDataStream)", vellBestMs(runs, [&] {
               stream.resize(0);
               QBuffer buffer(&stream);
               buffer.open(QIODevice::WriteOnly);
               QDataStream out(&buffer);
               out.setVersion(QDataStream::Qt_4_8);
               out << &host;
           }), memcpyMs, bytes);
    vellReport("stream in (QDataStream + budget)", vellBestMs(runs, [&] {
               QBuffer buffer(&stream);
               buffer.open(QIODevice::ReadOnly);
               QDataStream in(&buffer);
               in.setVersion(QDataStream::Qt_4_8);
               VellPictureHost *back = nullptr;
               in >> &back;
               delete back;
           }), memcpyMs, bytes);
    vellReport("host deep copy (budget + memcpy)", vellBestMs(runs, [&] { delete new VellPictureHost(&host); }),
               memcpyMs, bytes);
    return 0;
}
