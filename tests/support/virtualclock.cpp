#include "virtualclock.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>

VirtualClock& VirtualClock::instance()
{
    return *static_cast<VirtualClock*>(QAbstractEventDispatcher::instance());
}

void VirtualClock::advance(qint64 ms)
{
    const qint64 until = m_now + ms;
    do
        QCoreApplication::sendPostedEvents();
    while (fireNext(until));
    m_now = until;
}

// A loop that waits with nothing else to do jumps to the next timer.
bool VirtualClock::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    m_interrupted = false;
    QCoreApplication::sendPostedEvents();
    const bool wait = flags & QEventLoop::WaitForMoreEvents && !m_interrupted;
    if (wait && m_timers.empty())
        qFatal("an event loop waits, and no timer will ever wake it");
    return fireNext(wait ? std::numeric_limits<qint64>::max() : m_now);
}

bool VirtualClock::fireNext(qint64 until)
{
    const auto next = std::min_element(m_timers.begin(), m_timers.end(),
                                       [](const Timer& a, const Timer& b) { return a.due < b.due; });
    if (next == m_timers.end() || next->due > until)
        return false;
    m_now = std::max(m_now, next->due);
    next->due = m_now + next->info.interval;
    QTimerEvent event(next->info.timerId);
    QCoreApplication::sendEvent(next->object, &event);
    return true;
}

void VirtualClock::registerTimer(int id, int interval, Qt::TimerType type, QObject* object)
{
    m_timers.push_back({TimerInfo(id, interval, type), object, m_now + interval});
}

bool VirtualClock::unregisterTimer(int id)
{
    const auto timer =
        std::find_if(m_timers.begin(), m_timers.end(), [id](const Timer& t) { return t.info.timerId == id; });
    if (timer == m_timers.end())
        return false;
    m_timers.erase(timer);
    return true;
}

bool VirtualClock::unregisterTimers(QObject* object)
{
    const auto kept = std::remove_if(m_timers.begin(), m_timers.end(),
                                     [object](const Timer& t) { return t.object == object; });
    const bool any = kept != m_timers.end();
    m_timers.erase(kept, m_timers.end());
    return any;
}

QList<QAbstractEventDispatcher::TimerInfo> VirtualClock::registeredTimers(QObject* object) const
{
    QList<TimerInfo> timers;
    for (const Timer& timer : m_timers) {
        if (timer.object == object)
            timers.append(timer.info);
    }
    return timers;
}

int VirtualClock::remainingTime(int id)
{
    for (const Timer& timer : m_timers) {
        if (timer.info.timerId == id)
            return static_cast<int>(std::max<qint64>(0, timer.due - m_now));
    }
    return -1;
}
