#pragma once

#include "splitter.h"

#include <QStringList>
#include <QTimer>

#include <array>
#include <chrono>
#include <deque>
#include <optional>
#include <vector>

/// What one direction of the line has carried.
struct Traffic
{
    quint64 bytes = 0;
    quint64 frames = 0;    ///< with the right checksum
    quint64 badFrames = 0; ///< with a wrong one
    quint64 dropped = 0;   ///< bytes that belong to no whole frame and are no answer
    quint64 acknowledgements = 0;
    quint64 rejections = 0;
};

/// The good frames of one type in one direction.
struct FrameState
{
    quint64 count = 0;
    QByteArray payload;               ///< of the last one
    std::chrono::nanoseconds time{0}; ///< of the last one, by now()
    int longest = 0;                  ///< the size of the longest payload
    std::chrono::nanoseconds longestTime{0};

    /// When each bit of each byte last changed, the lowest bit first; 0 where it never has.
    std::vector<std::array<std::chrono::nanoseconds, 8>> changes;
    std::chrono::seconds second{0}; ///< of the last one
    int inSecond = 0;               ///< how many came in it
    int inSecondBefore = 0;

    /// Takes the next one.
    void take(const QByteArray& next, std::chrono::nanoseconds at);
    /// How many came in the last full second before @p at.
    int rate(std::chrono::nanoseconds at) const;

private:
    void noteChanges(const QByteArray& next, std::chrono::nanoseconds at);
};

/// How long the head unit takes from a chunk to what follows from it.
struct Delay
{
    std::chrono::nanoseconds last{0};
    std::chrono::nanoseconds longest{0};
    void add(std::chrono::nanoseconds delay)
    {
        last = delay;
        longest = std::max(longest, delay);
    }
};

/// What the serial line has carried since the service began, and what is wrong with it. Looks on through
/// LineWatch.
class LinkState : public QObject
{
public:
    LinkState();

    /// The service has emitted a signal.
    void addSignal();

    const Traffic& fromBox() const { return m_fromBox.traffic; }
    const Traffic& toBox() const { return m_toBox.traffic; }
    /// The frames that came from the box, or went to it, by type.
    const std::array<FrameState, 256>& framesFromBox() const { return m_fromBox.frames; }
    const std::array<FrameState, 256>& framesToBox() const { return m_toBox.frames; }
    int losses() const { return m_losses; } ///< how often the device has gone
    /// Good frames of the box in the last second.
    int frameRate() const;
    /// The part of the line's capacity that the box took in the last second, 0 to 1.
    double load() const;
    const Delay& acknowledgement() const { return m_acknowledgement; } ///< to the answer
    const Delay& announcement() const { return m_announcement; }       ///< to the last signal

    /// What is wrong, with what may mend it, as docs/troubleshooting.md lists it; empty where nothing is.
    QString diagnosis() const;
    /// The counters in one sentence: "1200 frames (0 bad) and 12 answers from the box, ..."
    QString summary() const;
    /// The counters, a line each.
    QStringList lines() const;

private:
    struct Side
    {
        explicit Side(protocol::Splitter::Receiver receiver);
        Q_DISABLE_COPY(Side) // the splitter hands its units to this very object
        void take(const QByteArray& chunk);

        void takeFrame(const protocol::Unit& unit);

        Traffic traffic;
        std::array<FrameState, 256> frames;
        protocol::Splitter splitter;
        std::chrono::nanoseconds last{0}; // by now(), when bytes last passed
    };
    struct Chunk
    {
        std::chrono::nanoseconds time; // by now()
        quint64 bytes;
        quint64 frames;
    };

    void take(const QByteArray& chunk);
    void takeSent(const QByteArray& bytes);
    void forgetOld();
    template<typename Count> quint64 inLastSecond(Count count) const;

    Side m_fromBox;
    Side m_toBox;
    std::deque<Chunk> m_recent;                        // of the last second
    std::chrono::nanoseconds m_begin;                  // by now()
    std::optional<std::chrono::nanoseconds> m_askedAt; // by now(): a frame went, and nothing has come since
    std::chrono::nanoseconds m_chunkAt{0};             // by realTime()
    bool m_isHandling = false;                         // the service is at work on the chunk
    Delay m_acknowledgement;
    Delay m_announcement;
    int m_losses = 0;
    QTimer m_warning;         // runs once bytes have come that are no frame
    bool m_hasWarned = false; // and no good frame has come since
};
