#pragma once

#include "expectation.h"

#include <deque>
#include <optional>

/// What has happened, the last 1000 events, and how much of it expectations have used up.
class History
{
public:
    void add(const Event& event);

    /// A command was carried out at @p time: expectations look for what comes from now on.
    void begin(const QString& command, std::chrono::nanoseconds time);

    /// Whether what is left, or only the newest event with what is before it, meets @p expected, which is no
    /// state. One that is no absence then uses up everything up to where it was met.
    bool meets(const Expectation& expected, bool isNew = false);

    /// The event, or the bytes as one, that is nearest to what was @p expected; none where nothing is like
    /// it.
    std::optional<Event> nearest(const Expectation& expected) const;

    /// What has happened since the last command, in lines that begin with a line's end: times, names, decoded
    /// frames, repeats summed up.
    QString told() const;

private:
    using Index = std::size_t;

    Index bytesBefore(const Expectation& expected) const;

    std::deque<Event> m_events; // the oldest is forgotten again and again, so not a vector
    Index m_begin = 0;          // the first since the last command
    Index m_next = 0;           // the first that is not used up
    int m_usedBytes = 0;        // of that one
    bool m_isCut = false;       // events since the last command are forgotten
    QString m_command;
    std::chrono::nanoseconds m_commandTime{0};
};

/// A failed expectation, as people read it: what was expected, @p nearest and in what it differs, and what
/// has happened.
QString failureText(const Expectation& expected, const std::optional<Event>& nearest, const History& history);
