#include "replay.h"

#include "virtualclock.h"

#include <utility>

using namespace std::chrono;

Replay::Replay(CaptureReader& reader)
    : m_reader(reader)
    , m_speed(VirtualClock::installed() ? VirtualClock::installed()->pace() : 1)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Replay::playDue);
}

void Replay::start()
{
    pause();
    m_stoodAt = 0ns;
    readNext();
    resume();
}

void Replay::rush(Time until)
{
    m_rushUntil = until;
    m_isSkipping = false;
    setPace();
    resume();
    m_timer.start(0);
}

void Replay::pause()
{
    m_stoodAt = time();
    m_isPaused = true;
    m_timer.stop();
    m_claim.set(false);
    m_rushUntil.reset();
    setPace();
}

void Replay::resume()
{
    if (!std::exchange(m_isPaused, false))
        return;
    m_begin = now() - m_stoodAt;
    m_claim.set(true);
    m_timer.start(0);
}

void Replay::setSpeed(double speed)
{
    m_speed = speed;
    setPace();
}

void Replay::setPace()
{
    if (VirtualClock* clock = VirtualClock::installed())
        clock->setPace(m_rushUntil ? 0 : m_speed);
}

void Replay::readNext()
{
    m_next = m_reader.next();
    if (m_next && end && m_next->time > *end)
        m_next.reset();
}

// Timers count milliseconds: each record is played at the one that is nearest to its time.
milliseconds Replay::left(Time time) const
{
    return round<milliseconds>(time - this->time());
}

void Replay::playDue()
{
    while (m_next && left(m_next->time).count() <= 0) {
        const CaptureRecord record = *m_next;
        readNext();
        emit due(record);
        if (m_isPaused)
            return;
    }
    if (m_rushUntil && left(*m_rushUntil).count() <= 0)
        arrive();
    if (!m_isPaused)
        playNextInTime();
}

void Replay::playNextInTime()
{
    if (!m_next && (!end || !m_reader.error().isEmpty() || left(*end).count() <= 0)) {
        if (m_rushUntil)
            arrive();
        pause();
        emit finished();
        return;
    }
    skipGap();
    const Time next = m_next ? m_next->time : *end;
    m_timer.start(std::max(left(m_rushUntil ? std::min(next, *m_rushUntil) : next), 0ms));
}

void Replay::skipGap()
{
    if (m_rushUntil || !m_next || !longestGap || m_next->time - time() <= *longestGap)
        return;
    m_rushUntil = m_next->time;
    m_isSkipping = true;
    setPace();
}

void Replay::arrive()
{
    m_rushUntil.reset();
    setPace();
    if (!std::exchange(m_isSkipping, false))
        emit arrived();
}
