#ifndef VELLTOOLAPPLYTHREAD_H
#define VELLTOOLAPPLYTHREAD_H

#include "foundation/vellcodes.h"

#include <QEvent>
#include <QMutex>
#include <QThread>

// Posted by a VellToolApplyThread that got the apply lock; no data.
class VellApplyAcquiredEvent : public QEvent
{
public:
    VellApplyAcquiredEvent() : QEvent(QEvent::Type(VellEventType::ApplyAcquired)) {}
};

// Posted by a VellToolApplyThread that found the apply lock taken; no data.
class VellApplyNotAcquiredEvent : public QEvent
{
public:
    VellApplyNotAcquiredEvent() : QEvent(QEvent::Type(VellEventType::ApplyNotAcquired)) {}
};

// Lets a plug-in's worker ask for a preview on the GUI thread: each start()
// posts one event to the thread's parent (a tool living on the GUI thread)
// and ends. The event says whether the class-wide apply lock was free at that
// moment; the tool treats both answers alike, so the lock only tells whether
// two requests overlapped. The thread never blocks and touches nothing but
// the event queue.
class VellToolApplyThread : public QThread
{
    Q_OBJECT

public:
    explicit VellToolApplyThread(QObject *parent = nullptr);
    ~VellToolApplyThread() override;   // waits for a started run to end

signals:
    // For plug-ins that want a signal; the library never emits it.
    void acquired(bool);

protected:
    void run() override;

private:
    static QMutex applyLock;   // one for every apply thread
};

#endif // VELLTOOLAPPLYTHREAD_H
