#pragma once

#include "format.h"
#include "output.h"

#include <array>
#include <functional>

namespace protocol {

/// What is made of the units of the inputs.
class Consumer
{
public:
    virtual ~Consumer() = default;
    /// A line of a capture's header.
    virtual void takeHeader(std::string_view) {}
    /// The next unit; the selection @p wants it or not. @return whether it is shown by itself
    virtual bool take(const Item& item, bool wants) = 0;
    /// Nothing more comes for a while: hands out what is kept back.
    virtual void settle() {}
    /// The inputs are over.
    virtual void finish() { settle(); }
};

/// Lines in the order of their units, each kept until its answer has come: an FF or F0 answers the oldest
/// frame of the other direction that waits, at most 250 ms long. Without directions nothing waits.
class AnswerQueue
{
public:
    using Sink = std::function<void(std::string& line, bool waited, Answer answer)>;

    explicit AnswerQueue(Sink sink)
        : m_sink(std::move(sink))
    {
    }

    /// @return whether @p item is the answer to a frame that waits
    bool isTaken(const Item& item);
    /// @return where the line of @p item is to be put, empty
    std::string& add(const Item& item);
    /// Hands on the lines that need not wait any more at @p time.
    void release(int64_t time);
    /// Hands on all lines.
    void flush();

private:
    struct Entry
    {
        std::string line;
        Side side = Side::Either;
        int64_t time = 0;
        bool waits = false;
        Answer answer = Answer::None;
    };

    void handOn();

    Sink m_sink;
    std::array<Entry, 64> m_entries; // a ring
    size_t m_first = 0;
    size_t m_count = 0;
};

/// Writes a line for each unit.
class LineWriter : public Consumer
{
public:
    LineWriter(Format& format, Output& output);
    bool take(const Item& item, bool wants) override;
    void settle() override { m_queue.flush(); }

private:
    Format& m_format;
    Output& m_output;
    AnswerQueue m_queue;
};

} // namespace protocol
