#pragma once

#include "capturereader.h"
#include "clock.h"

#include <QObject>
#include <QTimer>

/// Plays a capture: hands out each record at its time by the one clock. Times count from the start, in the
/// capture's time, so that no delay adds up. It claims time while it runs, and at another speed than 1 it
/// needs the VirtualClock, whose pace it sets.
class Replay : public QObject
{
    Q_OBJECT

public:
    using Time = std::chrono::nanoseconds; ///< in the capture's time

    /// @p reader is open and outlives this.
    explicit Replay(CaptureReader& reader);

    std::optional<Time> end;        ///< what the capture holds behind it is not played
    std::optional<Time> longestGap; ///< a longer time without a record is passed in virtual time

    /// Plays the reader's next record and what is behind it, from time 0.
    void start();

    /// Plays up to @p until in virtual time, then tells that it has arrived. It runs then, also where it was
    /// paused.
    void rush(Time until);

    /// Lets the capture's time stand, and go on. A rush is over with that.
    void pause();
    bool isPaused() const { return m_isPaused; }
    void resume();

    /// How many seconds of the capture pass in a real one; 0 stands for virtual time.
    void setSpeed(double speed);
    double speed() const { return m_speed; }

    /// The capture's time.
    Time time() const { return m_isPaused ? m_stoodAt : now() - m_begin; }

signals:
    void due(const CaptureRecord& record);

    /// What rush() was to do is done, or the end has come first.
    void arrived();

    /// There are no more records; the reader's error() tells whether damage is the reason.
    void finished();

private:
    std::chrono::milliseconds left(Time time) const;
    void readNext();
    void playDue();
    void playNextInTime();
    void skipGap();
    void arrive();
    void setPace();

    CaptureReader& m_reader;
    std::optional<CaptureRecord> m_next;
    Time m_begin{0}; // when the capture's time was 0, by now()
    QTimer m_timer;
    TimeClaim m_claim; // unless it is paused
    bool m_isPaused = true;
    Time m_stoodAt{0};
    double m_speed;
    std::optional<Time> m_rushUntil;
    bool m_isSkipping = false; // the rush is over a gap
};
