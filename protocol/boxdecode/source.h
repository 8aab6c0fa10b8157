#pragma once

#include "stream.h"

#include <functional>
#include <string>

namespace protocol {

/// What went wrong on the line or cannot be read.
struct Problems
{
    uint64_t badFrames = 0;
    uint64_t noise = 0; ///< pieces
    uint64_t noiseBytes = 0;
    uint64_t unfinished = 0;
    uint64_t refused = 0; ///< places of an input

    void add(const Item& item);
    /// In words; empty where there is nothing to tell.
    std::string text() const;
};

/// Where one input comes from: an open file, pipe or terminal, or bytes that are at hand.
class Source : private InputSink
{
public:
    /// Who is told of what comes. All but unit may be empty.
    struct Listener
    {
        std::function<void(const Item&)> unit;
        std::function<void(std::string_view)> header;
        std::function<void(const std::string&)> problem; ///< in words, with its place
    };
    enum Event {
        Data,        ///< something came
        Pause,       ///< nothing more is there at the moment
        Silence,     ///< nothing came for 50 ms
        End,         ///< the input is over
        Interrupted, ///< a signal asked for the end
        Failed       ///< errno tells why
    };

    Source(std::string name, InputKind kind, const Description& description, Listener listener);
    ~Source() override;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// Opens @p path; "-" is standard input. @return the errno of what went wrong, else 0
    int open(const std::string& path);
    /// Takes what comes from @p descriptor, which is closed at the end, for the input.
    void use(int descriptor) { m_file = descriptor; }
    /// Takes @p bytes for the input.
    void give(const std::string& bytes) { m_given = bytes; }

    /// Waits for what comes next of the input or at @p endSignal, a descriptor that becomes readable when the
    /// program is to end, and hands it on.
    Event read(int endSignal);
    /// Hands on what is kept back, at a pause.
    void settle() { m_stream.settle(); }

    const std::string& name() const { return m_name; }
    /// How much of a file has been read, 0 to 100; -1 where that is not known.
    int percent() const;

    Problems problems;

private:
    void take(const Chunk& chunk) override { m_stream.take(chunk); }
    void takeHeader(std::string_view line) override { m_listener.header(line); }
    void refuse(uint64_t place, std::string_view text, const char* why) override;
    void guess(const char* what) override { m_listener.problem(m_name + ": " + what); }
    Event wait(int endSignal);
    Event end();

    std::string m_name;
    Listener m_listener;
    Stream m_stream;
    InputReader m_reader;
    std::string m_given;
    std::string m_block;
    int m_file = -1;
    int64_t m_size = 0; // of a file
    int64_t m_read = 0;
    Event m_last = Data;
};

} // namespace protocol
