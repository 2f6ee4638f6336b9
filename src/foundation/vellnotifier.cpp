#include "foundation/vellnotifier.h"

#include "foundation/vellcodes.h"
#include "tools/velltimerthread.h"

#include <QCoreApplication>
#include <QEvent>

namespace {
constexpr int kTickMilliseconds = 50;
}

VellNotifier::VellNotifier(QObject *parent) : QObject(parent)
{
}

VellNotifier::~VellNotifier()
{
    end();
}

void VellNotifier::start()
{
    if (timerThread)
        return;
    interval = kTickMilliseconds;
    timerThread = new VellTimerThread(this);
    timerThread->setInterval(interval);
    timerThread->start(QThread::InheritPriority);
}

void VellNotifier::end()
{
    if (!timerThread)
        return;
    timerThread->stop();
    timerThread->wait();
    delete timerThread;
    timerThread = nullptr;
    // Ticks posted before the thread ended must not arrive as if running.
    QCoreApplication::removePostedEvents(this, VellEventType::TimerTick);
}

bool VellNotifier::event(QEvent *event)
{
    if (event->type() == QEvent::Type(VellEventType::TimerTick)) {
        if (timerThread)
            emit notice();
        return true;
    }
    QObject::event(event);
    return true;
}
