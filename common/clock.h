#pragma once

#include <QDateTime>
#include <QString>

#include <chrono>

/// The time that has passed on the one clock of this process: the VirtualClock's where that is the event
/// dispatcher, else the time since this was first asked. It never goes back.
std::chrono::nanoseconds now();

/// The time since this was first asked, for what is shown to people while they wait and for nothing else.
std::chrono::nanoseconds realTime();

/// The date, by the machine's clock, of what was @p time by now().
QDateTime dateOf(std::chrono::nanoseconds time);

/// @p time in the form (seconds.micros) of logs and captures.
QString stamp(std::chrono::nanoseconds time);

/// A claim that time has to pass, held by what takes time: a script that waits, bytes on their way, a capture
/// that is played. On a clock that stands otherwise time passes while there is any.
class TimeClaim
{
public:
    TimeClaim() = default;
    ~TimeClaim() { set(false); }
    Q_DISABLE_COPY(TimeClaim)

    void set(bool claimed);
    bool isSet() const { return m_claimed; }

    /// Whether anybody in this process claims time.
    static bool any();

private:
    bool m_claimed = false;
};
