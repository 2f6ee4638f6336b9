#include "tools/ivelltool.h"

#include <QEvent>

IVellTool::IVellTool(QObject *parent) : QObject(parent), parentObject(parent)
{
}

IVellTool::~IVellTool() = default;

void IVellTool::registerEvent(QString event)
{
    registeredEvents.append(event.toUpper());
}

bool IVellTool::eventRegistered(QString event)
{
    return registeredEvents.contains(event.toUpper());
}

bool IVellTool::event(QEvent *event)
{
    // Qt's own machinery (queued calls, deferred deletion, timers) still runs;
    // whatever it makes of the event, the tool reports it handled.
    QObject::event(event);
    return true;
}
