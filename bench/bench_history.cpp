// The history's swapping on a one-layer 6000 x 4000 document.
//
//   bench_history swap
//     One full-picture memo (96 MB) swapped out and back, next to a plain
//     QFile write and read of the same bytes in the same run (best of 3).
//   bench_history session BUDGET_MIB [EDITS]
//     EDITS (default 20) full-picture edits, each recorded by a memo as a
//     filter would, under a memory budget of BUDGET_MIB; prints the peak
//     resident size and how many memos ended on disk. The budget is read
//     once per process, so bench/bench_history.sh runs one process per
//     budget.

#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellconfig.h"
#include "foundation/vellmemory.h"
#include "history/vellhistory.h"
#include "history/vellpicturemodifymemo.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"
#include "vellbenchtimer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryFile>

#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

const int kWidth = 6000, kHeight = 4000;

VellContext *oneLayerDocument()
{
    auto *document = new VellContext;
    document->setSelection(new VellSelection(nullptr, kWidth, kHeight));
    VellContextManager *manager = VellContextManager::getInstance();
    manager->addContext(document);
    manager->setCurrentContext(manager->indexOfContext(document));
    auto *host = new VellPictureHost(kWidth, kHeight, 4);
    std::memset(host->getData(), 0x5A, size_t(host->getByteCount()));
    auto *layer = new VellLayer(QStringLiteral("picture"));
    layer->setVellPictureHost(host);
    document->getLayerManager()->addLayer(layer, false);
    return document;
}

// What a filter does to every byte, so that each edit costs a full pass.
void filter(VellPictureHost *host, int value)
{
    uchar *data = host->getData();
    const qint64 n = host->getByteCount();
#pragma omp parallel for schedule(static)
    for (qint64 i = 0; i < n; ++i)
        data[i] = uchar(data[i] + value);
}

void settleTransfers(VellHistory *history)
{
    for (int i = 0; i < history->getMemoCount(); ++i)
        while (history->getMemo(i)->isTransferRunning())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

long peakRssMiB()
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;   // KiB on Linux
}

int swapBench()
{
    std::unique_ptr<VellContext> document(oneLayerDocument());
    VellLayer *layer = qobject_cast<VellLayer *>(document->getLayerManager()->getLayer(0));
    VellPictureModifyMemo memo(document.get(), layer->getPictureHost(), layer->getPermanentIndex(),
                               false);
    const double bytes = double(memo.memoryTaken());

    // Each run starts with the picture in memory.
    const double outMs = vellBestMs(3, [&] {
        memo.swapToDisk();
        while (memo.isTransferRunning())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }, nullptr, [&] { memo.ensureInMemory(); });
    double inMs = 1e300;
    for (int i = 0; i < 3; ++i) {
        memo.ensureInMemory();
        memo.swapToDisk();
        while (memo.isTransferRunning())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        QElapsedTimer t;
        t.start();
        memo.ensureInMemory();
        inMs = qMin(inMs, t.nsecsElapsed() / 1e6);
    }
    const VellPictureHost *host = memo.getPictureHost();
    const bool same = host && std::memcmp(host->getData(), layer->getPictureHost()->getData(),
                                          size_t(host->getByteCount())) == 0;

    QTemporaryFile file;
    file.open();
    const QByteArray plain(reinterpret_cast<const char *>(layer->getPictureHost()->getData()),
                           int(layer->getPictureHost()->getByteCount()));
    const double writeMs = vellBestMs(3, [&] {
        QFile f(file.fileName());
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(plain);
        f.close();
    });
    QByteArray back;
    const double readMs = vellBestMs(3, [&] {
        QFile f(file.fileName());
        f.open(QIODevice::ReadOnly);
        back = f.readAll();
    });

    std::printf("picture %d x %d, %.0f MB\n", kWidth, kHeight, bytes / 1e6);
    std::printf("%-40s %9.1f ms %7.0f MB/s\n", "memo swap out (thread, to completion)", outMs, bytes / outMs / 1e3);
    std::printf("%-40s %9.1f ms %7.0f MB/s\n", "memo swap in (thread, waited)", inMs, bytes / inMs / 1e3);
    std::printf("%-40s %9.1f ms %7.0f MB/s\n", "plain QFile write", writeMs, bytes / writeMs / 1e3);
    std::printf("%-40s %9.1f ms %7.0f MB/s\n", "plain QFile read", readMs, bytes / readMs / 1e3);
    std::printf("round trip identical: %s\n", same && back == plain ? "yes" : "NO");
    return same ? 0 : 1;
}

int sessionBench(int budgetMiB, int edits)
{
    std::unique_ptr<VellContext> document(oneLayerDocument());
    VellHistory *history = document->getHistory();
    VellLayer *layer = qobject_cast<VellLayer *>(document->getLayerManager()->getLayer(0));
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < edits; ++i) {
        history->pushNewMemo(new VellPictureModifyMemo(document.get(), layer->getPictureHost(),
                                                       layer->getPermanentIndex(), false));
        filter(layer->getPictureHost(), i + 1);
        QCoreApplication::processEvents();
    }
    settleTransfers(history);
    int onDisk = 0;
    for (int i = 0; i < history->getMemoCount(); ++i)
        onDisk += history->getMemo(i)->isInDisk();
    std::printf("budget %4d MiB, %d edits: peak RSS %5ld MiB, booked at the end %5lld MiB, "
                "%d memos kept, %d on disk, %.1f s\n",
                budgetMiB, edits, peakRssMiB(),
                VellMemory::getInstance()->getUsed() / (1024 * 1024), history->getMemoCount(),
                onDisk, t.elapsed() / 1e3);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc >= 2 && std::strcmp(argv[1], "swap") == 0)
        return swapBench();
    if (argc >= 3 && std::strcmp(argv[1], "session") == 0) {
        const int budget = std::atoi(argv[2]);
        const int edits = argc >= 4 ? std::atoi(argv[3]) : 20;
        if (budget <= 0 || budget > 2047 || edits <= 0)
            return 2;
        // Before anything asks for the budget: it is read once.
        VellConfig::getInstance()->memoryBudget = budget * 1024 * 1024;
        return sessionBench(budget, edits);
    }
    std::fprintf(stderr, "usage: bench_history swap | session BUDGET_MIB [EDITS]\n");
    return 2;
}
