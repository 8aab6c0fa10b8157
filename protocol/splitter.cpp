#include "splitter.h"

#include <algorithm>
#include <cstring>

namespace protocol {

namespace {

constexpr uint8_t Header = 0x2E;
constexpr uint8_t Good = 0xFF;
constexpr uint8_t Bad = 0xF0;
constexpr size_t Preamble = 3; // header, type, length
constexpr size_t Envelope = Preamble + 1;
constexpr int64_t GiveUpAfter = 500'000; // µs

bool isNoise(uint8_t byte)
{
    return byte != Header && byte != Good && byte != Bad;
}

} // namespace

uint8_t checksumOf(const uint8_t* bytes, size_t size)
{
    unsigned sum = 0;
    for (size_t i = 1; i + 1 < size; ++i)
        sum += bytes[i];
    return static_cast<uint8_t>(~sum);
}

bool Splitter::isWithinFrame() const
{
    return m_size > 0 && m_kept[0] == Header;
}

void Splitter::feed(const uint8_t* bytes, size_t size, int64_t time, uint64_t place)
{
    if (time != m_time)
        giveUp(time);
    m_time = time;
    m_place = place;
    if (m_receiver == Receiver::HeadUnit && isWithinFrame() && m_due == Never)
        m_due = time + GiveUpAfter;
    while (size > 0) {
        const size_t taken = take(bytes, size);
        bytes += taken;
        size -= taken;
    }
}

// What the time that passed up to the chunk at @p time brings to an end.
void Splitter::giveUp(int64_t time)
{
    settle();
    const bool isOver = m_receiver == Receiver::HeadUnit ? time >= m_due : time - m_time > GiveUpAfter;
    if (!isOver)
        return;
    m_due = Never;
    if (isWithinFrame())
        handOn(UnitKind::Unfinished, m_kept, m_size);
}

void Splitter::settle()
{
    if (m_size > 0 && !isWithinFrame())
        handOn(UnitKind::Noise, m_kept, m_size);
}

void Splitter::finish()
{
    settle();
    if (isWithinFrame())
        handOn(UnitKind::Unfinished, m_kept, m_size);
    m_due = Never;
}

// @return how many of the bytes it took, at least one.
size_t Splitter::take(const uint8_t* bytes, size_t size)
{
    if (isWithinFrame())
        return takeOfFrame(bytes, size);
    if (isNoise(*bytes))
        return takeNoise(bytes, size);
    settle();
    if (*bytes != Header) {
        handOn(*bytes == Good ? UnitKind::Acknowledgement : UnitKind::Rejection, bytes, 1);
        return 1;
    }
    if (size < Preamble || size < Envelope + bytes[2])
        return takeOfFrame(bytes, size);
    const size_t frame = Envelope + bytes[2];
    handOnFrame(bytes, frame);
    return frame;
}

size_t Splitter::takeNoise(const uint8_t* bytes, size_t size)
{
    const size_t room = std::min(size, MostNoise - m_size);
    const auto count = static_cast<size_t>(std::find_if_not(bytes, bytes + room, isNoise) - bytes);
    std::memcpy(m_kept + m_size, bytes, count);
    m_size += count;
    if (m_size == MostNoise)
        settle();
    return count;
}

// Keeps what the frame still needs: the preamble at first, then all that its length says.
size_t Splitter::takeOfFrame(const uint8_t* bytes, size_t size)
{
    const size_t whole = m_size < Preamble ? Preamble : Envelope + m_kept[2];
    const size_t count = std::min(size, whole - m_size);
    std::memcpy(m_kept + m_size, bytes, count);
    m_size += count;
    if (m_size >= Envelope && m_size == Envelope + m_kept[2])
        handOnFrame(m_kept, m_size);
    return count;
}

void Splitter::handOnFrame(const uint8_t* bytes, size_t size)
{
    const bool isGood = bytes[size - 1] == checksumOf(bytes, size);
    if (isGood)
        m_due = Never;
    handOn(isGood ? UnitKind::Frame : UnitKind::BadFrame, bytes, size);
}

void Splitter::handOn(UnitKind kind, const uint8_t* bytes, size_t size)
{
    const Unit unit{kind, bytes, size, m_time, m_place, m_offset};
    m_offset += size;
    m_size = 0;
    m_sink(unit);
}

} // namespace protocol
