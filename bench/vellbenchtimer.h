#ifndef VELLBENCHTIMER_H
#define VELLBENCHTIMER_H

// Timing helpers shared by the benchmarks.

#include <QElapsedTimer>
#include <QtGlobal>

#include <cstdio>
#include <functional>

// The best of `runs` timings of `work`, in milliseconds. `prepare` runs
// untimed before each run; `settle` runs before the clock starts and again
// inside the timed span after the work (glFinish, so queued GPU work counts).
inline double vellBestMs(int runs, const std::function<void()> &work,
                         const std::function<void()> &settle = nullptr,
                         const std::function<void()> &prepare = nullptr)
{
    double best = 1e300;
    for (int i = 0; i < runs; ++i) {
        if (prepare)
            prepare();
        if (settle)
            settle();
        QElapsedTimer timer;
        timer.start();
        work();
        if (settle)
            settle();
        best = qMin(best, timer.nsecsElapsed() / 1e6);
    }
    return best;
}

// One line: the time, the throughput when `bytes` is given, and the time as a
// multiple of a plain memcpy of the same picture.
inline void vellReport(const char *what, double ms, double memcpyMs, double bytes = 0.0)
{
    if (bytes > 0.0)
        std::printf("%-46s %9.2f ms %9.0f MB/s %7.2fx memcpy\n", what, ms, bytes / ms / 1e3,
                    ms / memcpyMs);
    else
        std::printf("%-46s %9.2f ms %19s %7.2fx memcpy\n", what, ms, "", ms / memcpyMs);
}

#endif // VELLBENCHTIMER_H
