#include "history/vellswapfinisheevent.h"

VellSwapFinisheEvent::VellSwapFinisheEvent() : QEvent(eventType())
{
}

QEvent::Type VellSwapFinisheEvent::eventType()
{
    static const QEvent::Type type = QEvent::Type(QEvent::registerEventType(1010));
    return type;
}
