#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <deque>

/// Compares what the head unit sends while a capture is played with what it sent when that was recorded.
///
/// Each write has to come within two seconds of its time, since timers of a recorded head unit may have been
/// that coarse; an answer of one byte has to come behind the same chunk. The first differences are told as
/// they are found, with time, bytes and what the simulated box makes of them.
class SentCheck
{
public:
    using Time = std::chrono::nanoseconds; ///< in the capture's time

    /// The capture holds that @p bytes were sent.
    void expect(Time time, const QByteArray& bytes);
    /// The head unit sends @p bytes.
    void add(Time time, const QByteArray& bytes);
    /// The next chunk is received.
    void countChunk() { ++m_chunk; }
    /// The capture is over: what the head unit sends behind it and the capture does not hold is no
    /// difference.
    void stopAdding() { m_isOver = true; }

    /// Tells what is left and the result. @return how many differences there were.
    int finish();

private:
    struct Write
    {
        Time time;
        QByteArray bytes;
        int chunk; // behind which it came
    };
    using Writes = std::deque<Write>;

    bool takeMatch(Writes& writes, const Write& write);
    void tellUpTo(Time time);
    void tell(Writes& writes, const QString& what);

    Writes m_expected; // and not sent so far
    Writes m_sent;     // and not expected so far
    int m_chunk = 0;
    int m_matches = 0;
    int m_differences = 0;
    bool m_isOver = false;
};
