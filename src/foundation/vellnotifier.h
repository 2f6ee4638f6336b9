#ifndef VELLNOTIFIER_H
#define VELLNOTIFIER_H

#include <QObject>

class VellTimerThread;

// A steady tick for the host: while running, notice() is emitted on the
// notifier's own (GUI) thread every 50 ms, fed by a timer thread that only
// posts events. Nothing in the library listens to it; hosts use it for
// periodic work such as a progress animation.
//
// Owns its timer thread; end() and the destructor stop the thread and wait
// for it, so no tick reaches a deleted notifier. Lives on the GUI thread.
class VellNotifier : public QObject
{
    Q_OBJECT

public:
    explicit VellNotifier(QObject *parent = nullptr);
    ~VellNotifier() override;

    // Stored only: start() always ticks every 50 ms.
    void setInterval(int milliseconds) { interval = milliseconds; }
    int getInterval() const { return interval; }
    // Starts ticking; nothing when already running.
    void start();
    // Stops ticking; nothing when stopped.
    void end();
    bool isRunning() const { return timerThread != nullptr; }

    bool event(QEvent *event) override;

signals:
    void notice();

private:
    int interval = 0;
    VellTimerThread *timerThread = nullptr;   // owned (also a QObject child); null while stopped
};

#endif // VELLNOTIFIER_H
