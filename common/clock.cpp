#include "clock.h"

#include "virtualclock.h"

using namespace std::chrono;

namespace {

int claims = 0;

} // namespace

nanoseconds now()
{
    if (const VirtualClock* clock = VirtualClock::installed())
        return clock->time();
    return realTime();
}

nanoseconds realTime()
{
    static const auto begin = steady_clock::now();
    return steady_clock::now() - begin;
}

QDateTime dateOf(nanoseconds time)
{
    return QDateTime::currentDateTimeUtc().addMSecs(-round<milliseconds>(now() - time).count());
}

QString stamp(nanoseconds time)
{
    return QString("(%1)").arg(duration<double>(time).count(), 0, 'f', 6);
}

void TimeClaim::set(bool claimed)
{
    if (claimed == m_claimed)
        return;
    if (VirtualClock* clock = VirtualClock::installed())
        clock->catchUp(); // up to now time passed, or stood, as it was claimed before
    claims += claimed ? 1 : -1;
    m_claimed = claimed;
}

bool TimeClaim::any()
{
    return claims > 0;
}
