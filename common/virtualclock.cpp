#include "virtualclock.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <limits>
#include <poll.h>

namespace {

short eventsOf(const QSocketNotifier& notifier)
{
    switch (notifier.type()) {
    case QSocketNotifier::Read:
        return POLLIN;
    case QSocketNotifier::Write:
        return POLLOUT;
    default:
        return POLLPRI;
    }
}

bool contains(const std::vector<QSocketNotifier*>& notifiers, const QSocketNotifier* notifier)
{
    return std::find(notifiers.begin(), notifiers.end(), notifier) != notifiers.end();
}

} // namespace

VirtualClock& VirtualClock::instance()
{
    return *static_cast<VirtualClock*>(QAbstractEventDispatcher::instance());
}

void VirtualClock::advance(qint64 ms)
{
    const qint64 until = m_now + ms;
    do
        QCoreApplication::sendPostedEvents();
    while (serveSockets(false) || fireNext(until));
    m_now = std::max(m_now, until); // what was done on the way may have let more time pass
}

// A loop that waits jumps to the next timer; only where there is none, it really waits, for a socket.
bool VirtualClock::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    m_interrupted = false;
    QCoreApplication::sendPostedEvents();
    if (serveSockets(false))
        return true;
    const bool wait = flags & QEventLoop::WaitForMoreEvents && !m_interrupted;
    if (wait && m_timers.empty() && m_notifiers.empty())
        qFatal("an event loop waits, and no timer will ever wake it");
    if (wait && m_timers.empty())
        return serveSockets(true);
    return fireNext(wait ? std::numeric_limits<qint64>::max() : m_now);
}

// What is told may unregister others, which are then no longer told.
bool VirtualClock::serveSockets(bool wait)
{
    if (m_notifiers.empty())
        return false;
    const std::vector<QSocketNotifier*> notifiers = m_notifiers;
    std::vector<pollfd> files;
    files.reserve(notifiers.size());
    for (const QSocketNotifier* notifier : notifiers)
        files.push_back({static_cast<int>(notifier->socket()), eventsOf(*notifier), 0});
    if (poll(files.data(), files.size(), wait ? -1 : 0) <= 0)
        return false;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].revents == 0 || !contains(m_notifiers, notifiers[i]))
            continue;
        QEvent event(QEvent::SockAct);
        QCoreApplication::sendEvent(notifiers[i], &event);
    }
    return true;
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

void VirtualClock::registerSocketNotifier(QSocketNotifier* notifier)
{
    m_notifiers.push_back(notifier);
}

void VirtualClock::unregisterSocketNotifier(QSocketNotifier* notifier)
{
    m_notifiers.erase(std::remove(m_notifiers.begin(), m_notifiers.end(), notifier), m_notifiers.end());
}
