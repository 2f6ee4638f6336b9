#ifndef VELLTIMERTHREAD_H
#define VELLTIMERTHREAD_H

#include "foundation/vellcodes.h"

#include <QEvent>
#include <QThread>

#include <atomic>

class QTimer;

// The tick a VellTimerThread posts to its parent; no data.
class VellTimerThreadEvent : public QEvent
{
public:
    VellTimerThreadEvent() : QEvent(QEvent::Type(VellEventType::TimerTick)) {}
};

// A thread that posts a VellTimerThreadEvent to its parent every interval
// milliseconds (50 by default) until stop() is called, so that the parent
// gets a steady tick on its own (GUI) thread whatever that thread is busy
// with. It touches nothing but the event queue.
//
// The parent must live on another thread than this one and outlive the
// thread: its owner calls stop() and wait() (or deletes it, which does both)
// before the parent goes. A thread without a parent posts nothing.
class VellTimerThread : public QThread
{
    Q_OBJECT

public:
    explicit VellTimerThread(QObject *parent = nullptr);
    // Stops the loop and waits for it.
    ~VellTimerThread() override;

    QTimer *getTimer() const { return timer; }   // never made here
    int getInterval() const { return interval.load(); }
    // Takes effect after the sleep under way; values below 1 become 1.
    void setInterval(int milliseconds);
    // Asks the loop to end after its current sleep; safe from any thread.
    void stop() { stopping.store(true); }

public slots:
    // Posts one tick, for owners that drive the thread from a QTimer.
    void onTimeout();

protected:
    void run() override;

private:
    void postTick();

    QTimer *timer = nullptr;            // not owned; the class makes none
    std::atomic<int> interval{50};
    std::atomic<bool> stopping{false};
};

#endif // VELLTIMERTHREAD_H
