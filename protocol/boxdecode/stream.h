#pragma once

#include "decoder.h"
#include "inputreader.h"
#include "splitter.h"

#include <array>
#include <functional>
#include <memory>

namespace protocol {

/// A unit of the line, with what is known of it.
struct Item
{
    Unit unit;
    Side side;
    PlaceOf placeOf;
    uint64_t place; ///< the line or packet that brought the last of its bytes; its first byte in raw bytes
    const Frame* frame;    ///< of a frame, good or bad; nullptr where its type is unknown
    const uint8_t* before; ///< the payload of the last good frame of its type; nullptr before the first
    size_t beforeSize;     ///< of that payload
    bool hasAnswers;       ///< answers would be part of the input

    bool isTimed() const { return placeOf != PlaceOf::Byte; }
    bool isFrame() const { return unit.kind == UnitKind::Frame; }
    bool isAnswer() const
    {
        return unit.kind == UnitKind::Acknowledgement || unit.kind == UnitKind::Rejection;
    }
    bool isProblem() const { return !isFrame() && !isAnswer(); }
    /// A frame that its receiver answers.
    bool isAnswered() const { return isFrame() || unit.kind == UnitKind::BadFrame; }
    /// Whether the type byte came.
    bool hasType() const { return unit.hasType(); }
};

/// Puts the chunks of an input together to items: each direction for itself, in the order in which they end.
class Stream
{
public:
    using Sink = std::function<void(const Item&)>;

    Stream(const Description& description, Sink sink);

    void take(const Chunk& chunk);
    /// Hands on what more bytes might belong to only if they come at once.
    void settle();
    /// The input is over.
    void finish();

private:
    struct Payload
    {
        uint8_t size = 0;
        uint8_t bytes[255];
    };

    void handOn(Side source, const Unit& unit);

    const Description& m_description;
    Sink m_sink;
    std::array<Splitter, 3> m_splitters;     // by side
    std::unique_ptr<Payload> m_last[3][256]; // of each side and type, once it came
    PlaceOf m_placeOf = PlaceOf::Line;       // as in the last chunk
    bool m_hasAnswers = true;
    uint64_t m_undirected = 0; // bytes without a direction so far
    uint64_t m_base = 0;       // where the first of them stands in raw bytes
};

} // namespace protocol
