#pragma once

#include <QAbstractEventDispatcher>

#include <vector>

/// An event dispatcher whose time moves only when it is told to, or when an event loop has nothing else to do
/// than to wait. Installed before the application object, it receives every QTimer of the thread and serves
/// its socket notifiers, which take no time.
class VirtualClock : public QAbstractEventDispatcher
{
public:
    /// The dispatcher that the application runs on.
    static VirtualClock& instance();

    /// Lets @p ms milliseconds pass: fires what falls due on the way, in order, each at its own moment.
    void advance(qint64 ms);
    /// Milliseconds since the start.
    qint64 now() const { return m_now; }

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override { return false; }
    void registerTimer(int id, int interval, Qt::TimerType type, QObject* object) override;
    bool unregisterTimer(int id) override;
    bool unregisterTimers(QObject* object) override;
    QList<TimerInfo> registeredTimers(QObject* object) const override;
    int remainingTime(int id) override;
    void registerSocketNotifier(QSocketNotifier* notifier) override;
    void unregisterSocketNotifier(QSocketNotifier* notifier) override;
    void wakeUp() override {}
    void interrupt() override { m_interrupted = true; }
    void flush() override {}

private:
    struct Timer
    {
        TimerInfo info;
        QObject* object;
        qint64 due;
    };

    bool fireNext(qint64 until);
    bool serveSockets(bool wait);

    std::vector<Timer> m_timers;
    std::vector<QSocketNotifier*> m_notifiers;
    qint64 m_now = 0;
    bool m_interrupted = false;
};
