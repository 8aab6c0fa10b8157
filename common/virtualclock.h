#pragma once

#include <QAbstractEventDispatcher>

#include <chrono>
#include <vector>

/// An event dispatcher whose time moves only when it is told to, or when an event loop has nothing else to do
/// than to wait. Installed before the application object, it receives every QTimer of the thread and serves
/// its socket notifiers, which take no time.
///
/// Each timer fires at its own moment by this clock, however late the machine comes to it. So what happens is
/// the same at every pace.
class VirtualClock : public QAbstractEventDispatcher
{
public:
    enum Standing { NeverStands, StandsUnclaimed };

    /// With StandsUnclaimed an event loop that waits lets time pass only while there is a TimeClaim.
    explicit VirtualClock(Standing standing = NeverStands)
        : m_standing(standing)
    {
    }

    /// The dispatcher that the application runs on.
    static VirtualClock& instance();
    /// The same, or nullptr where the application runs on another one.
    static VirtualClock* installed();

    /// Lets @p ms milliseconds pass: fires what falls due on the way, in order, each at its own moment.
    void advance(qint64 ms);
    /// Lets time pass until nobody claims any more, for so long as @p most.
    void passClaims(std::chrono::nanoseconds most);
    /// Milliseconds since the start.
    qint64 now() const { return std::chrono::floor<std::chrono::milliseconds>(m_now).count(); }
    /// The time since the start.
    std::chrono::nanoseconds time() const { return m_now; }

    /// How many seconds pass in a real one while an event loop waits. With 0, the default, waiting takes no
    /// time.
    void setPace(double pace);
    double pace() const { return m_pace; }
    /// Takes note of the real time that has passed.
    void catchUp();

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
    using nanoseconds = std::chrono::nanoseconds;
    struct Timer
    {
        TimerInfo info;
        QObject* object;
        nanoseconds due;
    };

    bool passes() const;
    nanoseconds reach(bool waits) const;
    nanoseconds waitingTime() const;
    bool fireNext(nanoseconds until);
    bool serveSockets(nanoseconds timeout);

    const Standing m_standing;
    std::vector<Timer> m_timers;
    std::vector<QSocketNotifier*> m_notifiers;
    nanoseconds m_now{0};
    bool m_interrupted = false;
    double m_pace = 0;
    nanoseconds m_target{0};                        // at a pace: where time should be
    std::chrono::steady_clock::time_point m_real{}; // when that was worked out
};
