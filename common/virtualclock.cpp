#include "virtualclock.h"

#include "clock.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <cmath>
#include <poll.h>

using namespace std::chrono;

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

// Of two timers.
constexpr auto isEarlier = [](const auto& a, const auto& b) { return a.due < b.due; };

bool contains(const std::vector<QSocketNotifier*>& notifiers, const QSocketNotifier* notifier)
{
    return std::find(notifiers.begin(), notifiers.end(), notifier) != notifiers.end();
}

} // namespace

VirtualClock& VirtualClock::instance()
{
    return *static_cast<VirtualClock*>(QAbstractEventDispatcher::instance());
}

VirtualClock* VirtualClock::installed()
{
    return dynamic_cast<VirtualClock*>(QAbstractEventDispatcher::instance());
}

void VirtualClock::advance(qint64 ms)
{
    const nanoseconds until = m_now + milliseconds(ms);
    do
        QCoreApplication::sendPostedEvents();
    while (serveSockets(0ns) || fireNext(until));
    m_now = std::max(m_now, until); // what was done on the way may have let more time pass
}

void VirtualClock::passClaims(nanoseconds most)
{
    const nanoseconds until = m_now + most;
    do
        QCoreApplication::sendPostedEvents();
    while (TimeClaim::any() && fireNext(until));
}

void VirtualClock::setPace(double pace)
{
    m_pace = pace;
    m_target = m_now;
    m_real = steady_clock::now();
}

void VirtualClock::catchUp()
{
    if (m_pace == 0)
        return;
    const auto real = steady_clock::now();
    if (passes())
        m_target += nanoseconds(std::llround(static_cast<double>((real - m_real).count()) * m_pace));
    m_real = real;
}

bool VirtualClock::passes() const
{
    return m_standing == NeverStands || TimeClaim::any();
}

// How far time may go now in an event loop.
nanoseconds VirtualClock::reach(bool waits) const
{
    if (m_pace > 0)
        return m_target;
    return waits && passes() ? nanoseconds::max() : m_now;
}

// How long the next timer is off in real time; negative where none will come.
nanoseconds VirtualClock::waitingTime() const
{
    const auto next = std::min_element(m_timers.begin(), m_timers.end(), isEarlier);
    if (m_pace == 0 || !passes() || next == m_timers.end())
        return -1ns;
    return nanoseconds(std::llround(static_cast<double>((next->due - m_target).count()) / m_pace));
}

bool VirtualClock::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    m_interrupted = false;
    QCoreApplication::sendPostedEvents();
    catchUp();
    if (serveSockets(0ns))
        return true;
    const bool waits = flags & QEventLoop::WaitForMoreEvents && !m_interrupted;
    if (fireNext(reach(waits)))
        return true;
    if (m_pace > 0)
        m_now = std::max(m_now, m_target);
    return waits && serveSockets(waitingTime());
}

// Waits for @p timeout, or without end where that is negative. What is told may unregister others, which are
// then no longer told.
bool VirtualClock::serveSockets(nanoseconds timeout)
{
    if (m_notifiers.empty() && timeout.count() < 0)
        qFatal("an event loop waits, and no timer will ever wake it");
    if (m_notifiers.empty() && timeout.count() == 0)
        return false;
    const std::vector<QSocketNotifier*> notifiers = m_notifiers;
    std::vector<pollfd> files;
    files.reserve(notifiers.size());
    for (const QSocketNotifier* notifier : notifiers)
        files.push_back({static_cast<int>(notifier->socket()), eventsOf(*notifier), 0});
    const timespec limit{static_cast<time_t>(timeout / 1s), static_cast<long>((timeout % 1s).count())};
    if (ppoll(files.data(), files.size(), timeout.count() < 0 ? nullptr : &limit, nullptr) <= 0)
        return false;
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].revents == 0 || !contains(m_notifiers, notifiers[i]))
            continue;
        QEvent event(QEvent::SockAct);
        QCoreApplication::sendEvent(notifiers[i], &event);
    }
    return true;
}

bool VirtualClock::fireNext(nanoseconds until)
{
    const auto next = std::min_element(m_timers.begin(), m_timers.end(), isEarlier);
    if (next == m_timers.end() || next->due > until)
        return false;
    m_now = std::max(m_now, next->due);
    next->due = m_now + milliseconds(next->info.interval);
    QTimerEvent event(next->info.timerId);
    QCoreApplication::sendEvent(next->object, &event);
    return true;
}

void VirtualClock::registerTimer(int id, int interval, Qt::TimerType type, QObject* object)
{
    m_timers.push_back({TimerInfo(id, interval, type), object, m_now + milliseconds(interval)});
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
            return static_cast<int>(std::max(ceil<milliseconds>(timer.due - m_now), 0ms).count());
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
