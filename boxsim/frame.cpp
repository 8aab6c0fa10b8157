#include "frame.h"

#include <numeric>

namespace boxsim {

namespace {

constexpr quint8 Header = 0x2E;
constexpr quint8 AckByte = 0xFF;
constexpr quint8 NakByte = 0xF0;
constexpr int Envelope = 4; // header, type, length, checksum
constexpr qint64 GiveUpAfterMs = 500;

quint8 byteAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes[index]);
}

// The inverted 8-bit sum of @p body, which is a frame without its header and checksum.
char checksum(const QByteArray& body)
{
    return static_cast<char>(~std::accumulate(body.begin(), body.end(), 0));
}

// What the byte at the start of a unit announces.
Received::Kind kindOf(char first)
{
    switch (static_cast<quint8>(first)) {
    case Header:
        return Received::Good;
    case AckByte:
        return Received::Ack;
    case NakByte:
        return Received::Nak;
    default:
        return Received::Noise;
    }
}

} // namespace

QByteArray encode(const Frame& frame)
{
    QByteArray body;
    body.append(static_cast<char>(frame.type)).append(static_cast<char>(frame.payload.size()));
    body.append(frame.payload);
    return body.prepend(static_cast<char>(Header)).append(checksum(body.mid(1)));
}

QVector<Received> Receiver::feed(const QByteArray& chunk, qint64 now)
{
    QVector<Received> out;
    if (!m_pending.isEmpty() && now - m_lastChunk > GiveUpAfterMs) {
        out.append({Received::Unfinished, m_pending, {}});
        m_pending.clear();
    }
    m_lastChunk = now;
    m_pending += chunk;
    while (takeNext(out)) {
    }
    return out;
}

// Moves the first complete unit from the pending bytes to @p out. @return false when there is none.
bool Receiver::takeNext(QVector<Received>& out)
{
    if (m_pending.isEmpty())
        return false;
    Received unit{kindOf(m_pending[0]), {}, {}};
    int size = 1;
    if (unit.kind == Received::Good) {
        size = m_pending.size() < 3 ? Envelope : Envelope + byteAt(m_pending, 2);
        if (m_pending.size() < size)
            return false;
        const QByteArray body = m_pending.mid(1, size - 2);
        unit.frame = {byteAt(body, 0), body.mid(2)};
        if (checksum(body) != m_pending[size - 1])
            unit.kind = Received::BadChecksum;
    } else if (unit.kind == Received::Noise) {
        while (size < m_pending.size() && kindOf(m_pending[size]) == Received::Noise)
            ++size;
    }
    unit.bytes = m_pending.left(size);
    m_pending.remove(0, size);
    out.append(unit);
    return true;
}

} // namespace boxsim
