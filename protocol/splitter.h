#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>

namespace protocol {

/// What some bytes of one direction are.
enum class UnitKind : uint8_t {
    Frame,           ///< a frame with the right checksum
    BadFrame,        ///< a frame with a wrong one
    Acknowledgement, ///< an FF outside frames
    Rejection,       ///< an F0 outside frames
    Noise,           ///< other bytes outside frames, at most Splitter::MostNoise
    Unfinished       ///< a frame that was given up before its end
};

/// Some bytes of one direction that belong together.
struct Unit
{
    UnitKind kind;
    const uint8_t* bytes; ///< as they came, with header and checksum; they last as long as the call
    size_t size;          ///< never 0
    int64_t time;         ///< of the chunk that brought the last of them
    uint64_t place;       ///< of that chunk
    uint64_t offset;      ///< of the first of them in the direction

    /// Whether it is a frame, or the beginning of one, whose type came.
    bool hasType() const
    {
        return (kind == UnitKind::Frame || kind == UnitKind::BadFrame || kind == UnitKind::Unfinished) &&
               size > 1;
    }
    uint8_t type() const { return bytes[1]; }
    const uint8_t* payload() const { return bytes + 3; }
    /// Of a whole frame, good or bad.
    size_t payloadSize() const { return size - 4; }
};

/// The checksum that a frame with these @p bytes, the last of @p size being its checksum, must have.
uint8_t checksumOf(const uint8_t* bytes, size_t size);

/// Cuts the bytes of one direction into units, whatever chunks they come in. Every byte is in exactly one
/// unit, and the units come in the order of the bytes. What is kept meanwhile is never more than one frame.
///
/// Outside a frame everything up to the next header, FF or F0 is noise. A frame is taken as long as its
/// length byte says; nothing in it is looked at for a header, also where its checksum turns out to be wrong.
///
/// A frame that stops arriving is given up as its receiver gives it up. The head unit's watchdog is started
/// by a chunk that comes while a frame is unfinished, and 500 ms later ends the frame that is unfinished
/// then; a good frame stops it, a bad one does not. What a real box does is not known: a frame to it is given
/// up by the next chunk behind a pause of more than 500 ms, as the simulated box does it. Bytes that all have
/// the same time are never given up.
class Splitter
{
public:
    enum class Receiver { HeadUnit, Box };
    using Sink = std::function<void(const Unit&)>;
    static constexpr size_t MostNoise = 32;

    Splitter(Receiver receiver, Sink sink)
        : m_sink(std::move(sink))
        , m_receiver(receiver)
    {
    }

    /// Takes the next @p size bytes, which came at @p time, in microseconds; @p place is what the caller
    /// knows them by.
    void feed(const uint8_t* bytes, size_t size, int64_t time, uint64_t place = 0);
    /// Hands on noise that more noise might follow.
    void settle();
    /// Hands on what is unfinished, and begins anew.
    void finish();

private:
    static constexpr size_t LongestFrame = 3 + 255 + 1;
    static constexpr int64_t Never = std::numeric_limits<int64_t>::max();

    bool isWithinFrame() const;
    void giveUp(int64_t time);
    size_t take(const uint8_t* bytes, size_t size);
    size_t takeNoise(const uint8_t* bytes, size_t size);
    size_t takeOfFrame(const uint8_t* bytes, size_t size);
    void handOn(UnitKind kind, const uint8_t* bytes, size_t size);
    void handOnFrame(const uint8_t* bytes, size_t size);

    Sink m_sink;
    Receiver m_receiver;
    uint8_t m_kept[LongestFrame] = {}; // the beginning of a frame, or noise
    size_t m_size = 0;                 // of what is kept
    int64_t m_time = 0;                // of the last chunk
    uint64_t m_place = 0;              // of that chunk
    int64_t m_due = Never;             // when the watchdog ends the frame
    uint64_t m_offset = 0;             // of the next unit
};

} // namespace protocol
