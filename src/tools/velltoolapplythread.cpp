#include "tools/velltoolapplythread.h"

#include <QCoreApplication>

QMutex VellToolApplyThread::applyLock;

VellToolApplyThread::VellToolApplyThread(QObject *parent) : QThread(parent)
{
}

VellToolApplyThread::~VellToolApplyThread()
{
    wait();
}

void VellToolApplyThread::run()
{
    QObject *receiver = parent();
    if (applyLock.tryLock()) {
        QEvent::registerEventType(VellEventType::ApplyAcquired);
        if (receiver)
            QCoreApplication::postEvent(receiver, new VellApplyAcquiredEvent);
        applyLock.unlock();
    } else {
        QEvent::registerEventType(VellEventType::ApplyNotAcquired);
        if (receiver)
            QCoreApplication::postEvent(receiver, new VellApplyNotAcquiredEvent);
    }
}
