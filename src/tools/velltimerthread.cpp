#include "tools/velltimerthread.h"

#include <QCoreApplication>

#include <algorithm>

VellTimerThread::VellTimerThread(QObject *parent) : QThread(parent)
{
}

VellTimerThread::~VellTimerThread()
{
    stop();
    wait();
}

void VellTimerThread::setInterval(int milliseconds)
{
    interval.store(std::max(1, milliseconds));
}

void VellTimerThread::onTimeout()
{
    postTick();
}

void VellTimerThread::postTick()
{
    if (QObject *receiver = parent())
        QCoreApplication::postEvent(receiver, new VellTimerThreadEvent);
}

void VellTimerThread::run()
{
    stopping.store(false);
    QEvent::registerEventType(VellEventType::TimerTick);
    while (!stopping.load()) {
        postTick();
        QThread::usleep(static_cast<unsigned long>(interval.load()) * 1000UL);
    }
}
