#include "clock.h"

#include "virtualclock.h"

using namespace std::chrono;

nanoseconds now()
{
    if (const auto* clock = dynamic_cast<VirtualClock*>(QAbstractEventDispatcher::instance()))
        return milliseconds(clock->now());
    static const auto begin = steady_clock::now();
    return steady_clock::now() - begin;
}

QString stamp(nanoseconds time)
{
    return QString("(%1)").arg(duration<double>(time).count(), 0, 'f', 6);
}
