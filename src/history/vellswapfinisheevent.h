#ifndef VELLSWAPFINISHEEVENT_H
#define VELLSWAPFINISHEEVENT_H

#include <QEvent>

// Posted by a memo's loader thread to the memo when one transfer between
// memory and the swap file has ended; the memo completes the transfer in its
// own (GUI) thread. Carries nothing: the memo asks its loader how it went.
class VellSwapFinisheEvent : public QEvent
{
public:
    VellSwapFinisheEvent();

    // 1010 when that number was free to register, else the one Qt gave.
    static QEvent::Type eventType();
};

#endif // VELLSWAPFINISHEEVENT_H
