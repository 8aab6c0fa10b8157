#include "stream.h"

#include <cstring>

namespace protocol {

Stream::Stream(const Description& description, Sink sink)
    : m_description(description)
    , m_sink(std::move(sink))
    , m_splitters{
          Splitter(Splitter::Receiver::HeadUnit, [this](const Unit& unit) { handOn(Side::Rx, unit); }),
          Splitter(Splitter::Receiver::Box, [this](const Unit& unit) { handOn(Side::Tx, unit); }),
          Splitter(Splitter::Receiver::Box, [this](const Unit& unit) { handOn(Side::Either, unit); })}
{
}

void Stream::take(const Chunk& chunk)
{
    m_placeOf = chunk.placeOf;
    m_hasAnswers = chunk.hasAnswers && chunk.placeOf != PlaceOf::Byte;
    if (chunk.placeOf == PlaceOf::Byte)
        m_base = chunk.place - m_undirected;
    if (chunk.side == Side::Either)
        m_undirected += chunk.size;
    Splitter& splitter = m_splitters[static_cast<size_t>(chunk.side)];
    splitter.feed(chunk.bytes, chunk.size, chunk.time, chunk.place);
    if (chunk.isWhole)
        splitter.finish();
}

void Stream::settle()
{
    for (Splitter& splitter : m_splitters)
        splitter.settle();
}

void Stream::finish()
{
    for (Splitter& splitter : m_splitters)
        splitter.finish();
}

void Stream::handOn(Side source, const Unit& unit)
{
    Item item{unit, source, m_placeOf, unit.place, nullptr, nullptr, 0, m_hasAnswers};
    if (m_placeOf == PlaceOf::Byte)
        item.place = m_base + unit.offset;
    if (item.hasType())
        item.frame = m_description.frame(unit.type());
    if (source == Side::Either && item.frame)
        item.side = item.frame->direction == Direction::FromBox ? Side::Rx : Side::Tx;
    if (!item.isFrame()) {
        m_sink(item);
        return;
    }
    std::unique_ptr<Payload>& last = m_last[static_cast<size_t>(source)][unit.type()];
    if (last) {
        item.before = last->bytes;
        item.beforeSize = last->size;
    }
    m_sink(item);
    if (!last)
        last = std::make_unique<Payload>();
    last->size = static_cast<uint8_t>(unit.payloadSize());
    std::memcpy(last->bytes, unit.payload(), unit.payloadSize());
}

} // namespace protocol
